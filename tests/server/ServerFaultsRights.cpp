#include <memory>
#include <vector>

#include "store/sto_Servers.h"
#include "tests/server/ServerMessages.h"
#include "tests/support/server/PostgresServer.h"

// Who may do what with a store, and connections that are encrypted.

namespace ServerFaults {

/// Two users, ann and bob, and a store that kvl has made.
class ServerRightsTest : public ServerMessagesTest {
 protected:
  ServerRightsTest() {
    for (char const* const user : {"ann", "bob"}) m_Sql.Run(std::string("CREATE ROLE ") + user + " LOGIN");
    static_cast<void>(NewStore());
  }
  ~ServerRightsTest() override {
    for (char const* const user : {"ann", "bob"})
      m_Sql.Run(std::string("DROP OWNED BY ") + user + "; DROP ROLE " + user);
  }
  [[nodiscard]] std::string For(char const* user) const {
    return Location(m_Place.Uri({}, "postgres", user));
  }
  /// A role of the present store: owner, writer or reader.
  [[nodiscard]] std::string Role(std::string const& right) {
    return m_Sql.Text("SELECT " + right + " FROM kvl.stores WHERE name = '" + NameOfStore() + "'");
  }
  void Grant(std::string const& right, std::string const& user) {
    m_Sql.Run("GRANT " + Role(right) + " TO " + user);
  }
  [[nodiscard]] std::string Number() {
    return m_Sql.Text("SELECT store_id FROM kvl.store WHERE name = '" + NameOfStore() + "'");
  }
  /// What bob is told who bypasses the library.
  [[nodiscard]] std::string Refusal(std::string const& sql) const {
    try {
      ServerSql(m_Place.Uri({}, "postgres", "bob")).Run(sql);
    } catch (std::runtime_error const& failure) {
      return failure.what();
    }
    return "done";
  }
  void ExpectRefused(std::string const& sql, std::string const& word) const {
    EXPECT_NE(Refusal(sql).find(word), std::string::npos) << sql << "\n" << Refusal(sql);
  }

  ServerSql m_Sql{m_Place.Uri()};
};

TEST_F(ServerRightsTest, AReaderReadsAndCannotWrite) {
  Grant("reader", "bob");
  sto_Store store = Open(For("bob"));
  EXPECT_EQ(StepOf(store), 0);
  EXPECT_EQ(DamageOf(store), "");
  Expect(TryOpen(For("bob")), sto_ErrorKind::ReadOnly, For("bob"), {"may only read", "GRANT", "_writer"});
  Expect(FaultsTry([&] { sto_RemoveFromServer(For("bob")); }), sto_ErrorKind::ReadOnly, For("bob"),
         {"GRANT"});
  for (char const* const call :
       {"open_draft($, 'x', '100')", "give_up($, 1, 'x', '100')", "take_ids($, 1, 1, '100')",
        "give_back_ids($, 1, 1, '100')", "send_pack($, 1, '{1}', '{x}')", "send_record($, 1, '{1}', '{x}')",
        "send_block($, 1, '{1}', '{x}')", "send_named($, 1, '{x}', '{x}')",
        "collect($, 'x', '{}', '{}', '{}', '{}')",
        "commit_draft($, 1, 'x', 1, false, '{}', '{}', '{}', '{}', '{}', 0, 0, false, 1, '', '', 1, '')"}) {
    std::string sql = std::string("SELECT kvl.") + call;
    sql.replace(sql.find('$'), 1, Number());
    ExpectRefused(sql, "may not write");
  }
  ExpectRefused("SELECT kvl.remove_store(" + Number() + ")", "may not own");
  ExpectRefused("SELECT kvl.rename_store(" + Number() + ", 'mine')", "may not own");
  ExpectStep(0);
}

TEST_F(ServerRightsTest, NobodyGetsAtTheTablesThemselves) {
  Grant("owner", "bob");
  for (char const* const table :
       {"store", "head", "draft", "save", "change", "pin", "pack", "record", "block", "named"}) {
    std::string const name = std::string("kvl.") + table;
    ExpectRefused("SELECT * FROM " + name, "permission denied");
    ExpectRefused("DELETE FROM " + name, "permission denied");
    ExpectRefused("INSERT INTO " + name + " DEFAULT VALUES", "permission denied");
    ExpectRefused("UPDATE " + name + " SET store_id = DEFAULT", "permission denied");
  }
  // Nor by functions of their own that take the place of the system's.
  m_Sql.Run("CREATE SCHEMA evil AUTHORIZATION bob");
  ServerSql bob(m_Place.Uri({}, "postgres", "bob"));
  bob.Run("CREATE FUNCTION evil.has_role(name) RETURNS bool LANGUAGE sql AS 'SELECT true'");
  bob.Run("SET search_path = evil, pg_catalog");
  EXPECT_EQ(bob.Number("SELECT count(*) FROM kvl.stores"), 1);
  m_Sql.Run("DROP SCHEMA evil CASCADE");
}

TEST_F(ServerRightsTest, AWriterWritesAndDoesNotOwn) {
  Grant("writer", "bob");
  Writer(For("bob")).CommitStep(1);
  ExpectStep(1);
  Expect(FaultsTry([&] { sto_RemoveFromServer(For("bob")); }), sto_ErrorKind::Unavailable, For("bob"),
         {"may not own", "GRANT"});
  ExpectStep(1);
}

TEST_F(ServerRightsTest, AUserSeesOnlyStoresThatWereGranted) {
  std::string const mine = For("bob"), role = Role("reader");
  static_cast<void>(NewStore()); // another one
  m_Sql.Run("GRANT " + role + " TO bob");
  EXPECT_EQ(TryOpen(mine, sto_Mode::ReadOnly).m_Text, "");
  Expect(TryOpen(For("bob"), sto_Mode::ReadOnly), sto_ErrorKind::NotFound, For("bob"), {"may not see it"});
  ServerSql bob(m_Place.Uri({}, "postgres", "bob"));
  EXPECT_EQ(bob.Number("SELECT count(*) FROM kvl.stores"), 1);
  EXPECT_EQ(bob.Text("SELECT reader FROM kvl.stores"), role);
  for (char const* const call :
       {"read_state($, 'x', 'x', 0)", "read_pack($, 9, '{}', 2, '{0}')", "scan_block($, 9, '{}', 2, 0, 9, 9)",
        "keys_of_record($, 9, '{}', 2, 0, 9)", "read_named($, 9, '{}', 2, '{x}')",
        "scan_named($, 9, '{}', 2, 'a', 'z', 9)", "saves_from($, 1)", "size_of($)"}) {
    std::string sql = std::string("SELECT * FROM kvl.") + call;
    sql.replace(sql.find('$'), 1, Number());
    ExpectRefused(sql, "may not read");
  }
}

TEST_F(ServerRightsTest, ARightThatIsTakenAwayIsGoneForOpenSessions) {
  Grant("writer", "bob");
  sto_Store reader = Open(For("bob"));
  EXPECT_EQ(reader.Load<Piece>("piece 0")->m_Value, 0);
  Writer writer(For("bob"));
  m_Sql.Run("REVOKE " + Role("writer") + " FROM bob");
  Expect(FaultsTry([&] { static_cast<void>(StepOf(reader)); }), sto_ErrorKind::Unavailable, For("bob"),
         {"may not read", "GRANT"});
  Expect(FaultsTry([&] { writer.CommitStep(1); }), sto_ErrorKind::Unavailable, For("bob"),
         {"may not", "GRANT"});
  ExpectStep(0);
  Grant("writer", "bob");
  writer.CommitStep(1);
  ExpectStep(1);
}

TEST_F(ServerRightsTest, WhoMakesAStoreOwnsIt) {
  m_Sql.Run("GRANT EXECUTE ON FUNCTION kvl.make_store TO ann");
  static_cast<void>(NewStore(m_Place.Uri({}, "postgres", "ann")));
  std::string const reader = Role("reader");
  ServerSql ann(m_Place.Uri({}, "postgres", "ann"));
  EXPECT_EQ(ann.Text("SELECT owner FROM kvl.stores"), Role("owner"));
  Expect(TryOpen(For("bob"), sto_Mode::ReadOnly), sto_ErrorKind::NotFound, For("bob"), {});
  ann.Run("GRANT " + reader + " TO bob");
  sto_Store store = Open(For("bob"));
  EXPECT_EQ(StepOf(store), 0);
  sto_RemoveFromServer(For("ann"));
  EXPECT_EQ(m_Sql.Number("SELECT count(*) FROM pg_roles WHERE rolname = '" + reader + "'"), 0);
  FaultsOutcome const outcome = FaultsTry([&] { static_cast<void>(StepOf(store)); });
  Expect(outcome, sto_ErrorKind::NotFound, For("bob"), {"removed"});
}

TEST_F(ServerRightsTest, AGroupPassesItsRightsOn) {
  m_Sql.Run("CREATE ROLE team");
  m_Sql.Run("GRANT team TO bob");
  Grant("writer", "team");
  Writer(For("bob")).CommitStep(1);
  m_Sql.Run("DROP ROLE team");
  Expect(TryOpen(For("bob"), sto_Mode::ReadOnly), sto_ErrorKind::NotFound, For("bob"), {});
  ExpectStep(1);
}

TEST_F(ServerRightsTest, WithoutTheRightToMakeRolesAStoreIsItsMakersOnly) {
  m_Sql.Run("CREATE DATABASE plain OWNER ann");
  std::string const ann = m_Place.Uri({}, "plain", "ann") + "#plates";
  Writer::Make(ann);
  Writer(ann).CommitStep(1);
  EXPECT_EQ(ServerSql(m_Place.Uri({}, "plain", "ann")).Text("SELECT reader FROM kvl.stores"), "ann");
  std::string const bob = m_Place.Uri({}, "plain", "bob") + "#plates";
  Expect(TryOpen(bob, sto_Mode::ReadOnly), sto_ErrorKind::NotFound, bob, {});
  Expect(TryOpen(bob + "2", sto_Mode::Create), sto_ErrorKind::Unavailable, bob, {"make_store"});
  sto_RemoveFromServer(ann);
  m_Sql.Run("DROP DATABASE plain WITH (FORCE)");
}

// --- encrypted connections

class ServerTlsTest : public ServerMessagesTest {
 protected:
  static void SetUpTestSuite() {
    s_Server = std::make_unique<PostgresServer>();
    s_Server->StartWithTls();
  }
  static void TearDownTestSuite() { s_Server.reset(); }
  [[nodiscard]] static std::string At(char const* host, std::string const& settings) {
    return "postgresql://kvl@" + std::string(host) + ":" + std::to_string(s_Server->Place().m_Port) +
           "/postgres?" + settings + "#plates";
  }
  static inline std::unique_ptr<PostgresServer> s_Server;
};

TEST_F(ServerTlsTest, AServerThatIsWhoItSaysIsUsed) {
  std::string const location = At("localhost", "sslmode=verify-full&sslrootcert=" + s_Server->Certificate());
  Writer::Make(location);
  Writer(location).CommitStep(1);
  sto_Store store = Open(location);
  EXPECT_EQ(StepOf(store), 1);
  EXPECT_EQ(
      ServerSql(s_Server->Place().Uri())
          .Number("SELECT count(*) FROM pg_stat_ssl s JOIN pg_stat_activity a USING(pid) WHERE s.ssl AND "
                  "a.application_name = 'kvlpersist'"),
      1);
}

TEST_F(ServerTlsTest, OthersAreRefused) {
  std::string const root = "sslmode=verify-full&sslrootcert=" + s_Server->Certificate();
  Expect(TryOpen(At("127.0.0.1", root)), sto_ErrorKind::Unavailable, "#plates",
         {"does not match host name", "sslrootcert"});
  PostgresServer other;
  other.StartWithTls();
  Expect(TryOpen(At("localhost", "sslmode=verify-full&sslrootcert=" + other.Certificate())),
         sto_ErrorKind::Unavailable, "#plates", {"certificate verify failed"});
  Expect(TryOpen(At("localhost", "sslmode=disable")), sto_ErrorKind::Unavailable, "#plates",
         {"no encryption"});
}

} // namespace ServerFaults
