#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Texts of a store as a report shows them.

/// Valid UTF-8 without characters that act on what is around them: control characters become pictures of them (U+2400 ...), marks
/// of direction and other invisible ones their number, a byte that is no UTF-8 the replacement character.
[[nodiscard]] std::string kvs_VisibleText(std::string_view bytes);

/// The first bytes of a text: at most `limit`, and whole characters.
[[nodiscard]] std::string_view kvs_FirstBytes(std::string_view bytes, std::int64_t limit) noexcept;

/// A visible text in HTML, also in an attribute in quotes.
[[nodiscard]] std::string kvs_HtmlText(std::string_view bytes);
