#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_IndexKey.h"
#include "store/format/sto_Shape.h"

/// Where the records of a shape have the values that indexes are about. It follows from the names of the fields in the
/// shape alone, so that a program keeps the indexes of classes which it does not know.
///
/// Internal to the module. Thread rule: a plain value.
class sto_IndexPlan {
 public:
  /// The name of a field of a part; empty if it is not known.
  using NameOf = std::function<std::string_view(sto_ShapePart const&, sto_FieldKey const&)>;

  sto_IndexPlan() = default;
  /// `indexes`: those of a store; the plan refers to them by their position.
  sto_IndexPlan(sto_Shape const& shape, std::span<sto_IndexRow const> indexes, NameOf const& nameOf);

  /// Whether no index is about objects of the shape.
  [[nodiscard]] bool IsEmpty() const noexcept { return m_Wanted.empty(); }

  /// Calls `take` with the position of each index and the object's key in it. The bytes are not trusted: false if they
  /// are not along the shape; then `take` may have been called. `shape`: that of the plan.
  template <class Take>
  [[nodiscard]] bool ForEachKey(sto_Shape const& shape, std::int64_t id, sto_ByteView values,
                                Take take) const {
    Reader reader(shape, id, values);
    for (Wanted const& wanted : m_Wanted) {
      if (!reader.GoTo(wanted.m_Field)) return false;
      take(wanted.m_Index, reader.Key());
    }
    return true;
  }

 private:
  struct Wanted {
    std::size_t m_Index;
    std::size_t m_Field; // its number in the shape
  };

  /// Passes the values of a record, one by one.
  class Reader {
   public:
    Reader(sto_Shape const& shape, std::int64_t id, sto_ByteView values) noexcept
        : m_Shape(shape), m_Id(id), m_Reader(values) {}
    /// Passes the values up to a field. False if there are not so many bytes. REQUIRES: not one before the latest.
    [[nodiscard]] bool GoTo(std::size_t field);
    /// The key of that field.
    [[nodiscard]] std::string Key() const { return sto_IndexKey::OfField(m_Tag, m_Payload); }

   private:
    [[nodiscard]] bool Pass();
    void PassPartIds();

    sto_Shape const& m_Shape;
    std::int64_t m_Id;
    sto_ByteReader m_Reader;
    std::size_t m_Next = 0;      // the field after the one that was passed last
    std::size_t m_Part = 0;      // of m_Next
    std::size_t m_EndOfPart = 0; // the number of the first field that is not in an earlier part or this one
    bool m_IsInPart = false;     // m_Part and m_EndOfPart are valid
    std::size_t m_Nested = 0;    // how many nested values were passed
    std::uint8_t m_Tag = 0;
    sto_ByteView m_Payload;
  };

  std::vector<Wanted> m_Wanted; // ascending by field
};
