#pragma once

#include <string>

#include "store/format/sto_NestedValue.h"
#include "store/inspect/sto_InspectState.h"
#include "store/inspect/sto_InspectedObject.h"

/// Turns a decoded record into what programs see of it. Internal to store/inspect. Thread rule: the thread of the session.
class sto_FieldInspector {
 public:
  explicit sto_FieldInspector(sto_InspectState& state) : m_State(state), m_Session(state.Session()) {}

  /// REQUIRES: `record` is one of the state's session. Damaged.
  [[nodiscard]] sto_InspectedObject Object(sto_Record const& record);

  /// What an object is: "object", "list of double", "map from string to int", "blob", "deleted object".
  [[nodiscard]] static std::string KindOf(sto_Record const& record);

 private:
  [[nodiscard]] sto_InspectedPart Part(sto_Part const& part, std::int64_t object);
  [[nodiscard]] sto_InspectedField Field(sto_Part const& part, sto_Field const& field, std::int64_t object);
  /// What the store says about an attribute.
  void Describe(sto_Part const& part, sto_Field const& field, sto_InspectedField& inspected);
  [[nodiscard]] std::string KindOfHeld(std::int64_t id);
  [[nodiscard]] std::string KindOfLeaf(std::uint8_t tag, std::int64_t id);
  [[nodiscard]] sto_InspectedMember Nested(sto_NestedValue const& value);
  [[nodiscard]] sto_InspectedTree Tree(sto_NestedValue const& value);

  sto_InspectState& m_State;
  sto_Session& m_Session;
  sto_Record m_Held; // scratch: of an object that a field holds
};
