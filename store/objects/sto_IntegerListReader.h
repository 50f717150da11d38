#pragma once

#include <concepts>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "store/objects/sto_ListReader.h"

/// An integer of any type.
struct sto_AnyInteger {
  bool m_IsNegative;
  unsigned long long m_Bits; ///< of the integer as one of 64 bits

  [[nodiscard]] std::string Text() const {
    return m_IsNegative ? std::to_string(static_cast<long long>(m_Bits)) : std::to_string(m_Bits);
  }
};

/// Cursor over a list of integers whose type is known when it runs. Internal to the module.
class sto_AnyIntegerList {
 public:
  /// REQUIRES: the list of `record` has integers (sto_IsIntegerElement).
  sto_AnyIntegerList(sto_Session& session, std::int64_t id, sto_RecordRef record);

  [[nodiscard]] int Count() const { return m_Count; }
  [[nodiscard]] int RowWidth() const { return m_RowWidth; }
  [[nodiscard]] sto_AnyInteger Next() { return m_Next(*m_Cursor); }

 private:
  void Open(sto_Session& session, std::int64_t id, sto_RecordRef record);
  template <class T> void OpenAs(sto_Session& session, std::int64_t id, sto_RecordRef record);

  std::unique_ptr<cls_ReadCollectionBase> m_Cursor;
  sto_AnyInteger (*m_Next)(cls_ReadCollectionBase& cursor) = nullptr;
  int m_Count = 0;
  int m_RowWidth = 0;
};

/// Cursor over a list of integers that is read as one of integers of another type, because the class has another one
/// today. WrongClass for an element that this cannot have. Internal to the module.
template <std::integral T> class sto_IntegerListReader final : public cls_ReadListPrim<T> {
 public:
  sto_IntegerListReader(sto_Session& session, std::int64_t id, sto_RecordRef record)
      : m_Session(session), m_Id(id), m_List(session, id, std::move(record)) {}

  int Count() override { return m_List.Count(); }
  int RowWidth() override { return m_List.RowWidth(); }
  int More() override { return m_Index < m_List.Count() ? 1 : 0; }
  int NextRun(int count, T* destination) override {
    int done = 0;
    for (; done < count && More(); ++done) destination[done] = Next();
    return done;
  }
  T Next() override {
    sto_AnyInteger const stored = m_List.Next();
    ++m_Index;
    if (!Fits(stored))
      m_Session.Raise(sto_ErrorKind::WrongClass,
                      "Element " + std::to_string(m_Index - 1) + " of the list of object " +
                          std::to_string(m_Id) + " is " + stored.Text() + ", which no " +
                          sto_ElementTypeName(sto_ElementCodec<T>::ElementType) + " can be.");
    return static_cast<T>(stored.m_Bits);
  }

 private:
  [[nodiscard]] static bool Fits(sto_AnyInteger const& stored) noexcept {
    using Limits = std::numeric_limits<T>;
    if (stored.m_IsNegative)
      return std::is_signed_v<T> &&
             static_cast<long long>(stored.m_Bits) >= static_cast<long long>(Limits::min());
    return stored.m_Bits <= static_cast<unsigned long long>(Limits::max());
  }

  sto_Session& m_Session;
  std::int64_t m_Id;
  sto_AnyIntegerList m_List;
  int m_Index = 0;
};

/// Whether elements of this type are integers.
[[nodiscard]] constexpr bool sto_IsIntegerElement(std::uint8_t type) noexcept {
  return type == sto_Format::ElementInt || type == sto_Format::ElementUInt ||
         (type >= sto_Format::ElementInt8 && type <= sto_Format::ElementUInt64);
}

/// Whether a list of integers is read as one of another type. Lists that every back end has are read as what they are.
[[nodiscard]] constexpr bool sto_AreIntegersConverted(std::uint8_t stored, std::uint8_t asked) noexcept {
  bool const areOld = stored <= sto_Format::LastOldElementType && asked <= sto_Format::LastOldElementType;
  return stored != asked && !areOld && sto_IsIntegerElement(stored) && sto_IsIntegerElement(asked);
}
