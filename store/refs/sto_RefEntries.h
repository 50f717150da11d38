#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "store/refs/sto_RefCollection.h"

/// The entries of a sto_Map with keys of type K (int or std::string), ascending, whatever the class of their objects; see
/// sto_RefCollection. Internal to store/refs.
template <class K> class KVL_EXPORT sto_RefEntries : public sto_RefCollection {
 public:
  sto_RefEntries() noexcept : sto_RefCollection("map") {}
  sto_RefEntries(sto_RefEntries const& other);
  sto_RefEntries(sto_RefEntries&& other) noexcept : sto_RefEntries() { SwapEntries(other); }
  /// Keeps the map's own place in its store, as assigning to a container that is there does.
  sto_RefEntries& operator=(sto_RefEntries const& other);
  sto_RefEntries& operator=(sto_RefEntries&& other) noexcept {
    sto_RefEntries taken(std::move(other));
    SwapEntries(taken);
    return *this;
  }
  ~sto_RefEntries() = default;

  [[nodiscard]] std::size_t Size() const;
  /// The same, with the entries in memory.
  [[nodiscard]] std::size_t NeedSize() const;
  /// The place of the first key that is not less than another one.
  [[nodiscard]] std::size_t LowerBound(K const& key) const;
  /// The place of a key; Size() if it is not there.
  [[nodiscard]] std::size_t Find(K const& key) const;
  /// Misuse if there is no such place, here and below.
  [[nodiscard]] K const& KeyAt(std::size_t index) const;
  [[nodiscard]] sto_Resident* At(std::size_t index) const {
    Need();
    return ResidentAt(index);
  }
  /// Returns whether the key is new. Misuse for a null reference.
  bool Put(K const& key, sto_Resident* resident);
  void Erase(std::size_t index);
  void Clear() noexcept;
  [[noreturn]] void RaiseNoKey(K const& key) const;

  void Write(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, sto_RefClass const& asked) const;
  void Read(cls_ReadVisitor const& visitor, cls_FieldHandle const& field);

 private:
  void SwapEntries(sto_RefEntries& other) noexcept {
    Swap(other);
    m_Keys.swap(other.m_Keys);
  }
  /// Reads the entries if they are not in memory.
  void Need() const {
    if (!m_IsRead) ReadEntries();
  }
  void ReadEntries() const;

  mutable std::vector<K> m_Keys; // as many as words
};

extern template class sto_RefEntries<int>;
extern template class sto_RefEntries<std::string>;
