#pragma once

#include <string>

/// The tables of stores in a PostgreSQL database and the functions that get at them, all in the schema `kvl`;
/// docs/server.md says what the rows are. Each key begins with the store, so that one database keeps many stores.
/// `extent` brings neighbours together and spreads long lists: it is what rows could be spread over servers by.
///
/// Nobody but their owner has rights on the tables. The functions run with the owner's rights, and look up first what
/// the user of the connection may do with a store.
namespace sto_PostgresSchema {

/// The version of the tables and of the functions: whoever changes one of them gives it the next number.
inline constexpr int Format = 1;

/// What makes all of it, unless it is there. One statement.
[[nodiscard]] std::string TextOfMake();

} // namespace sto_PostgresSchema
