#pragma once

#include <memory>

#include "store/sto_Session.h"

/// One object on its way into the store: collects its parts and its list, and writes the record when the last
/// memento or builder of the object is deleted. Internal to the module.
///
/// When an exception is passing through at that moment, nothing is written: the save is being undone.
class sto_ObjectWriter {
 public:
  /// `depth` is how many objects hold this one.
  sto_ObjectWriter(sto_Session& session, std::int64_t id, sto_ClassInUse& inUse, int depth);
  sto_ObjectWriter(sto_ObjectWriter const&) = delete;
  sto_ObjectWriter& operator=(sto_ObjectWriter const&) = delete;
  ~sto_ObjectWriter();

  [[nodiscard]] sto_Session& Session() noexcept { return m_Session; }
  [[nodiscard]] sto_RecordBuilder& Record() noexcept { return m_Record; }
  [[nodiscard]] std::int64_t Id() const noexcept { return m_Id; }
  [[nodiscard]] sto_ClassInUse& Class() noexcept { return m_Class; }
  [[nodiscard]] int Depth() const noexcept { return m_Depth; }

  /// "object 7 (heat_Mesh)", for messages.
  [[nodiscard]] std::string Describe() const;

  /// Writes the next block of the object's list; `elements` gets its checksum appended.
  void WriteBlock(sto_Bytes& elements);

  /// How many blocks have been written.
  [[nodiscard]] int BlockCount() const noexcept { return m_BlockCount; }

  /// Starts the list over: a later list of the object replaces the first.
  void RestartList() noexcept { m_BlockCount = 0; }

  /// Whether an exception began after this object did.
  [[nodiscard]] bool IsUnwinding() const noexcept { return std::uncaught_exceptions() > m_Exceptions; }

 private:
  void Finish();

  sto_Session& m_Session;
  std::int64_t m_Id;
  sto_ClassInUse& m_Class;
  int m_Depth;
  int m_BlockCount = 0;
  int m_Exceptions = std::uncaught_exceptions();
  sto_RecordBuilder m_Record;
};
