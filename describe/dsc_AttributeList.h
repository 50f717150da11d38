#pragma once

#include <vector>

#include "describe/dsc_Stored.h"
#include "platform/kvl_Export.h"

/// Which attributes a type has under a name: something declares them here, and not in a class.
///
///     dsc_AttributeList list("Bolt");
///     dsc_Stored<Point>::Declare<dsc_Name<"m_Head">>(list.To(), {});
///     list.InOrder(); // m_Head.x, m_Head.y
class KVL_EXPORT dsc_AttributeList {
 public:
  /// `className`: for messages.
  explicit dsc_AttributeList(char const* className);
  [[nodiscard]] dsc_Declaring To() noexcept { return {m_Registrar, m_Metadata}; }
  /// By their numbers.
  [[nodiscard]] std::vector<cls_AttributeMetadata> InOrder() const;
  /// The unit of one; empty if none is said.
  [[nodiscard]] std::string_view UnitOf(std::string_view attribute) const;

 private:
  static constexpr unsigned int NoClass = 2; // the class is not registered

  cls_ClassRegistrar m_Registrar;
  cls_ClassMetadata m_Metadata;
};

/// The attributes of a field that is stored by `Stored`, if it has the name `Name`.
template <class Stored, class Name>
[[nodiscard]] std::vector<cls_AttributeMetadata> dsc_AttributesOf(char const* className) {
  dsc_AttributeList list(className);
  Stored::template Declare<Name>(list.To(), dsc_Place{});
  return list.InOrder();
}
