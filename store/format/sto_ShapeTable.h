#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "store/format/sto_RecordBuilder.h"
#include "store/format/sto_Shape.h"

/// The shapes of a store. Internal to the module. Thread rule: one thread.
class sto_ShapeTable {
 public:
  /// Takes a stored shape. The bytes are not trusted. False if they are damaged or the number or the shape is
  /// there already.
  [[nodiscard]] bool Take(std::int64_t number, sto_ByteView stored);

  /// The shape with a number, null if there is none. Valid until Clear.
  [[nodiscard]] sto_NumberedShape* Find(std::int64_t number) noexcept {
    auto const index = static_cast<std::uint64_t>(number);
    return index < m_Shapes.size() ? m_Shapes[static_cast<std::size_t>(index)].get() : nullptr;
  }

  /// The same, for whoever may outlive the table's knowledge of it. Valid until the table changes. REQUIRES:
  /// there is such a shape.
  [[nodiscard]] std::shared_ptr<sto_NumberedShape> const& Share(std::int64_t number) const {
    return m_Shapes[static_cast<std::size_t>(number)];
  }

  /// The shape of an object that is being built, null if it is not known.
  [[nodiscard]] sto_NumberedShape* Find(sto_RecordBuilder& builder);

  /// Adds the shape of an object; `stored` gets what is to be stored. Null if the object's class has as many
  /// shapes as it may have: the record begins with its shape then. REQUIRES: it is not known.
  [[nodiscard]] sto_NumberedShape* Add(sto_RecordBuilder& builder, sto_Bytes& stored);

  void Clear() noexcept;

 private:
  static std::string Key(sto_Shape const& shape);
  sto_NumberedShape* Keep(std::int64_t number, sto_Shape shape, std::string key);

  std::vector<std::shared_ptr<sto_NumberedShape>> m_Shapes; // by number; number 0 is no shape
  std::unordered_map<std::string, sto_NumberedShape*> m_ByContent;
  std::map<std::pair<unsigned int, int>, int> m_CountOfClass; // by class ID and version
};
