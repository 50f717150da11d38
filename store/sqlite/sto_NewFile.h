#pragma once

#include <string>

/// A file that is made beside its final name, and gets that name when it is complete. So under the name there is either
/// nothing or a complete store. The temporary file has a random name, which no other program chooses.
///
/// Thread rule: one thread.
class sto_NewFile {
 public:
  /// What the file is called in messages, such as "the copy", and in its temporary name, such as "copying".
  struct Words {
    char const* m_Noun;
    char const* m_Verb;
  };

  /// Conflict when something exists at `location`, or a journal or a log is beside it; Misuse for a location that no
  /// new store can have; Unavailable on a network file system.
  sto_NewFile(std::string const& location, Words words);
  sto_NewFile(sto_NewFile const&) = delete;
  sto_NewFile& operator=(sto_NewFile const&) = delete;
  /// Removes the temporary file and what SQLite keeps beside it, unless it was published.
  ~sto_NewFile() { Remove(); }

  /// The name under which the file is to be made.
  [[nodiscard]] std::string const& Temporary() const noexcept { return m_Temporary; }
  /// Gives the file its name, durably; once. Conflict when something has that name by now; Full, Unavailable. After a
  /// failure there is no such file. REQUIRES: the temporary file is complete, durable and closed.
  void Publish();
  /// Removes the temporary file. REQUIRES: it is closed.
  void Remove() noexcept;

 private:
  void CheckFree() const;
  [[noreturn]] void RaiseConflict() const;
  [[noreturn]] void RaiseSystem(int error) const;

  std::string m_Location;
  std::string m_Temporary; // empty when there is none any more
  Words m_Words;
};

/// If others may not read a file, they may not read what is made of it either.
void sto_RestrictAs(std::string const& source, std::string const& copy) noexcept;
