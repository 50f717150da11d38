#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>

#include "platform/kvl_Export.h"
#include "store/inspect/sto_InspectedValue.h"

class sto_InspectState;

/// A key of a map.
using sto_InspectedKey = std::variant<std::int64_t, std::uint64_t, sto_InspectedText>;

/// The entries of the map or int table of a stored object, one after the other; see sto_Inspection.
///
///     for (sto_InspectedMap map = inspection.Map(id); map.Next();) Show(map.Key(), map.Value());
///
/// Memory: the object's record, one block, and a few bytes for each block that the map has. In stores of the formats 1 to 3
/// all entries are in the record. Errors: as sto_Inspection. Thread rule: as the store.
class KVL_EXPORT sto_InspectedMap {
 public:
  sto_InspectedMap(sto_InspectedMap&&) noexcept;
  sto_InspectedMap& operator=(sto_InspectedMap&&) noexcept;
  ~sto_InspectedMap();

  /// "map from string to double", "table from int to int" ...
  [[nodiscard]] std::string TypeName() const;
  [[nodiscard]] sto_InspectedType ValueType() const noexcept;
  /// How many entries there are.
  [[nodiscard]] std::int64_t Count() const noexcept;

  /// Goes on to the next entry, at first to the first one, in the order in which they are stored; false at the end.
  bool Next();
  /// The entry's key: std::int64_t, std::uint64_t or a text. Misuse unless Next was true. The same for Value.
  [[nodiscard]] sto_InspectedKey Key() const;
  [[nodiscard]] sto_InspectedValue Value() const;

 private:
  friend class sto_Inspection;
  class Reader;

  explicit sto_InspectedMap(std::unique_ptr<Reader> reader) noexcept;

  std::unique_ptr<Reader> m_Reader;
};
