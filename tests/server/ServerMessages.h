#pragma once

#include <initializer_list>
#include <string>

#include "tests/server/ServerFaults.h"

namespace ServerFaults {

/// For tests of what programs are told when a server refuses.
class ServerMessagesTest : public ServerFaultsTest {
 protected:
  /// Expects an error of a kind, whose message names the location and has all of some words, and no password.
  static void Expect(FaultsOutcome const& outcome, sto_ErrorKind kind, std::string const& shown,
                     std::initializer_list<char const*> words) {
    EXPECT_TRUE(outcome.Is(kind)) << outcome.m_Text;
    EXPECT_NE(outcome.m_Text.find(shown), std::string::npos) << outcome.m_Text << "\nlacks " << shown;
    for (char const* const word : words)
      EXPECT_NE(outcome.m_Text.find(word), std::string::npos) << outcome.m_Text << "\nlacks " << word;
    EXPECT_EQ(outcome.m_Text.find("Sesame"), std::string::npos) << outcome.m_Text;
  }
  static FaultsOutcome TryOpen(std::string const& location, sto_Mode mode = sto_Mode::ReadWrite) {
    return FaultsTry([&] { static_cast<void>(Open(location, mode)); });
  }
};

} // namespace ServerFaults
