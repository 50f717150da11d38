#pragma once

#include <cstddef>

#include "store/refs/sto_RefCollection.h"

class sto_ObjectListWriter;
class sto_Record;

/// The elements of a sto_List, whatever their class; see sto_RefCollection. Internal to store/refs.
class KVL_EXPORT sto_RefElements : public sto_RefCollection {
 public:
  sto_RefElements() noexcept : sto_RefCollection("list") {}
  sto_RefElements(sto_RefElements const& other);
  sto_RefElements(sto_RefElements&& other) noexcept : sto_RefElements() { Swap(other); }
  /// Keeps the list's own place in its store, as assigning to a container that is there does.
  sto_RefElements& operator=(sto_RefElements const& other);
  sto_RefElements& operator=(sto_RefElements&& other) noexcept {
    sto_RefElements taken(std::move(other));
    Swap(taken);
    return *this;
  }
  ~sto_RefElements() = default;

  [[nodiscard]] std::size_t Size() const;
  /// The same, with the elements in memory.
  [[nodiscard]] std::size_t NeedSize() const {
    Need();
    return m_Words.size();
  }
  /// Null for an element without an object. Misuse if there is no such element.
  [[nodiscard]] sto_Resident* At(std::size_t index) const {
    if (index < m_Words.size() && !IsNumber(m_Words[index])) return ResidentOf(m_Words[index]);
    Need();
    return ResidentAt(index);
  }
  void Set(std::size_t index, sto_Resident* resident);
  /// Misuse if `index` is behind the end.
  void Insert(std::size_t index, sto_Resident* resident);
  void Erase(std::size_t first, std::size_t count);
  /// Erases all elements without an object, or of one object; returns how many.
  std::size_t EraseAll(sto_Resident const* resident);
  void Clear() noexcept;
  void Reserve(std::size_t count);
  /// Where an object is first, from an element on; Size() if it is not there.
  [[nodiscard]] std::size_t Find(sto_Resident const* resident, std::size_t first = 0) const;

  void Write(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, sto_RefClass const& asked) const;
  void Read(cls_ReadVisitor const& visitor, cls_FieldHandle const& field);

 private:
  /// Reads the elements if they are not in memory.
  void Need() const {
    if (!m_IsRead) ReadElements(true);
  }
  /// Reads the count of a list in blocks only, unless `all`.
  void ReadElements(bool all) const;
  /// Reads the elements of a short list, which are in its record; false for any other, also a damaged one.
  [[nodiscard]] bool ReadFromRecord(sto_Session& session, sto_Record const& record,
                                    std::vector<Word>& words) const;
};
