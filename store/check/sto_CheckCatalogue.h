#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "store/check/sto_CheckResults.h"
#include "store/driver/sto_Driver.h"
#include "store/format/sto_ShapeTable.h"
#include "store/session/sto_StoredClass.h"

/// The catalogue of a store that is checked. Unlike sto_Catalogue it knows what can be known although some rows are
/// damaged, and it does not know the program's classes. Thread rule: one thread.
class sto_CheckCatalogue {
 public:
  /// REQUIRES: `results` lives as long as this object.
  explicit sto_CheckCatalogue(sto_CheckResults& results) noexcept : m_Results(results) {}

  void TakeClass(sto_ClassRow const& row, bool isSound);
  void TakeName(sto_NameRow const& row, bool isSound);
  void TakeShape(sto_ShapeRow const& row, bool isSound);
  /// Compares the shapes with the classes and names. Call it after all rows.
  void Finish();

  /// The shape with a number, null if there is none, or it is damaged.
  [[nodiscard]] sto_Shape const* FindShape(std::int64_t number) const noexcept;
  /// Whether a shape was reported as damaged: its objects cannot be read.
  [[nodiscard]] bool IsShapeDamaged(std::int64_t number) const { return m_DamagedShapes.contains(number); }
  /// What the attribute of each field of a shape declares, in the order of the fields; null for a field that holds
  /// no collection. Empty if the shape has no such field.
  [[nodiscard]] std::vector<sto_AttributeRow const*> const& CollectionsOf(std::int64_t shape) const;

  /// The name of a field of a part; empty if it is not known.
  [[nodiscard]] std::string_view FieldName(sto_ShapePart const& part, sto_FieldKey const& key) const;
  /// The name of a class for messages, its ID if it is not known.
  [[nodiscard]] std::string ClassName(unsigned int classId) const;
  /// The name of a field's attribute; its number if it has no name.
  [[nodiscard]] std::string AttributeName(sto_FieldKey const& key) const;
  /// What does not fit between a part of an object and the catalogue; empty if all fits, or the class's row was
  /// reported as damaged.
  [[nodiscard]] std::string Problem(sto_Part const& part);

 private:
  struct Class {
    sto_StoredClass m_Stored;
    bool m_IsSound;
  };

  void AddFinding(char const* table, std::int64_t key, std::string text, unsigned int classId = 0);
  void CheckShape(sto_NumberedShape const& shape);
  void NoteCollections(sto_NumberedShape const& shape);
  [[nodiscard]] sto_AttributeRow const* FindAttribute(sto_ShapePart const& part,
                                                      sto_FieldKey const& key) const;
  [[nodiscard]] std::string_view NameOf(std::int64_t id) const noexcept;

  sto_CheckResults& m_Results;
  std::map<std::pair<unsigned int, int>, Class> m_Classes;
  std::unordered_map<std::int64_t, std::string> m_Names;
  std::unordered_set<std::string> m_Texts;
  mutable sto_ShapeTable m_Shapes;     // finding changes nothing
  std::vector<std::int64_t> m_Numbers; // of the shapes in m_Shapes
  std::unordered_set<std::int64_t> m_DamagedShapes;
  std::unordered_map<std::int64_t, std::vector<sto_AttributeRow const*>> m_Collections; // by shape
};
