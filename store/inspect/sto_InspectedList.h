#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/kvl_Export.h"
#include "store/inspect/sto_InspectedValue.h"

class sto_InspectState;

/// The list or array of a stored object, read in slices; see sto_Inspection. A slice reads the blocks that it lies in, and no
/// others; whole blocks of numbers go straight to where they belong.
///
/// Memory: the object's record, one block, and the slice. Errors: as sto_Inspection; Misuse also for a slice that is out of
/// range. Thread rule: as the store.
class KVL_EXPORT sto_InspectedList {
 public:
  sto_InspectedList(sto_InspectedList&&) noexcept;
  sto_InspectedList& operator=(sto_InspectedList&&) noexcept;
  ~sto_InspectedList();

  [[nodiscard]] sto_InspectedType Type() const noexcept;
  /// "double", "unsigned int", "string", "objects" ...
  [[nodiscard]] std::string TypeName() const;
  /// How many elements there are.
  [[nodiscard]] std::int64_t Count() const noexcept;
  /// The extents of one row of an array or table, whose elements lie row by row; empty for one dimension. The first extent
  /// is Count() divided by their product.
  [[nodiscard]] std::vector<std::int64_t> Row() const;
  /// The unit that is stored with the elements. A member's unit is rather in sto_InspectedField. Empty: none.
  [[nodiscard]] std::string const& Unit() const noexcept;

  /// The elements from `first` on, `count` of them; in std::vector of the stored type.
  [[nodiscard]] sto_InspectedElements Read(std::int64_t first, std::int64_t count);

  /// The same for numbers, into memory of the caller. Misuse if T is not the type of the elements.
  template <class T> void ReadInto(std::int64_t first, std::span<T> to) {
    static_assert(sto_InspectedTypeOf<T> <= sto_InspectedType::ComplexDouble,
                  "no list has elements of this type");
    ReadNumbers(sto_InspectedTypeOf<T>, first, static_cast<std::int64_t>(to.size()), to.data());
  }

 private:
  friend class sto_Inspection;
  class Reader;

  explicit sto_InspectedList(std::unique_ptr<Reader> reader) noexcept;
  void ReadNumbers(sto_InspectedType type, std::int64_t first, std::int64_t count, void* to);

  std::unique_ptr<Reader> m_Reader;
};
