#pragma once

#include <cstdint>
#include <string>

class sto_Session;

/// Counts the bytes of bulk arrays that must stay in memory until the transaction ends, and checks them
/// against sto_Options::m_MaxKeptBytes. Internal to the module. Thread rule: the thread of the session.
class sto_KeptBytes {
 public:
  /// `session` is used for messages.
  sto_KeptBytes(sto_Session const& session, std::int64_t limit) noexcept
      : m_Session(session), m_Limit(limit) {}

  /// Full if `more` bytes would exceed the limit; `describe` returns the name of what is saved.
  template <class Describe> void Check(std::int64_t more, Describe describe) const {
    if (more > m_Limit - m_Count) RaiseFull(more, describe());
  }
  /// Counts bytes that are kept now; a negative number for bytes that no longer need to be kept.
  void Add(std::int64_t bytes) noexcept { m_Count += bytes; }

 private:
  [[noreturn]] void RaiseFull(std::int64_t more, std::string const& what) const;

  sto_Session const& m_Session;
  std::int64_t m_Limit;
  std::int64_t m_Count = 0;
};
