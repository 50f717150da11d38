#include "tools/kvlstore/emit/kvs_EmitPython.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "tools/kvlstore/emit/kvs_CppType.h"
#include "tools/kvlstore/emit/kvs_EmitDefault.h"
#include "tools/kvlstore/emit/kvs_EmitText.h"

namespace {

constexpr kvs_Language Python{kvs_IsTakenInPython, true};

std::string PythonElement(cls_AttributeType element) {
  switch (element) {
  case ATTR_BOOL:
    return "bool";
  case ATTR_STRING:
  case ATTR_TRSTRING:
    return "str";
  case ATTR_FLOAT:
  case ATTR_DOUBLE:
    return "float";
  case ATTR_COMPLEX_FLOAT:
  case ATTR_COMPLEX_DOUBLE:
    return "complex";
  default:
    return "int";
  }
}

/// A field's type, and what makes its value.
struct Field {
  std::string m_Type;
  std::string m_Default;
};

class ModuleWriter {
 public:
  ModuleWriter(kvs_EmitModel const& model, std::ostream& out)
      : m_Model(model), m_Plan(kvs_MakePlan(model, Python)), m_Out(out) {}

  void Write() {
    m_Out << "# The classes of the store \"" << kvs_CommentText(m_Model.m_Store) << "\", made by kvlstore.\n"
          << "from __future__ import annotations\n\n"
          << "import enum\nfrom dataclasses import dataclass, field\nfrom typing import ClassVar, Optional\n";
    for (kvs_PlannedClass const& planned : m_Plan.m_Classes) {
      for (kvs_Member const& member : planned.m_Members)
        if (member.m_Shape.m_Form == kvs_Form::Enum) Enumeration(member);
      Class(planned);
    }
    m_Out << "\n\n# The classes by their IDs.\nCLASSES = {\n";
    for (kvs_PlannedClass const& planned : m_Plan.m_Classes)
      m_Out << "    " << kvs_ClassIdText(planned.m_Class->m_Id) << ": " << planned.m_Identifier << ",\n";
    m_Out << "}\n";
  }

 private:
  void Enumeration(kvs_Member const& member) {
    m_Out << "\n\nclass " << member.m_EnumIdentifier << "(enum.IntEnum):\n";
    if (member.m_Attribute.m_Enumerators.empty()) m_Out << "    pass  # the store does not name the values\n";
    kvs_NameScope scope(Python);
    for (sto_EnumeratorDescription const& each : member.m_Attribute.m_Enumerators) {
      std::string const identifier = scope.Take(each.m_Name);
      m_Out << "    " << identifier << " = " << each.m_Value;
      if (identifier != each.m_Name) m_Out << "  # \"" << kvs_CommentText(each.m_Name) << '"';
      m_Out << '\n';
    }
  }

  void Class(kvs_PlannedClass const& planned) {
    kvs_EmitClass const& from = *planned.m_Class;
    kvs_PlannedClass const* const base = m_Plan.Find(planned.m_BaseId);
    m_Out << "\n\n@dataclass(eq=False)\nclass " << planned.m_Identifier
          << (base ? "(" + base->m_Identifier + ")" : "") << ":\n"
          << "    CLASS_ID: ClassVar[int] = " << kvs_ClassIdText(from.m_Id) << '\n'
          << "    VERSION: ClassVar[int] = " << from.Newest().m_Version << '\n'
          << "    STORED_NAME: ClassVar[str] = " << kvs_PythonLiteral(from.Newest().m_Name) << '\n';
    for (sto_NoteDescription const& note : from.Newest().m_Notes)
      m_Out << "    # " << kvs_CommentText(note.m_Name) << ": " << kvs_CommentText(note.m_Text) << '\n';
    for (kvs_LeftOut const& left : planned.m_LeftOut)
      m_Out << "    # Left out: " << kvs_CommentText(left.m_Name) << ", " << kvs_CommentText(left.m_Why)
            << ".\n";
    for (kvs_Member const& member : planned.m_Members) Declaration(planned, member);
  }

  void Declaration(kvs_PlannedClass const& planned, kvs_Member const& member) {
    for (sto_NoteDescription const& note : member.m_Attribute.m_Notes)
      m_Out << "    # " << kvs_CommentText(note.m_Name) << ": " << kvs_CommentText(note.m_Text) << '\n';
    Field const field = FieldOf(planned, member);
    m_Out << "    " << member.m_Identifier << ": " << field.m_Type << " = field(" << field.m_Default
          << ", metadata={\"name\": " << kvs_PythonLiteral(member.m_Attribute.m_Name);
    if (!member.m_OtherUnits.empty())
      m_Out << ", \"units\": " << kvs_PythonLiteral(member.m_OtherUnits);
    else if (!member.m_Attribute.m_Unit.empty())
      m_Out << ", \"unit\": " << kvs_PythonLiteral(member.m_Attribute.m_Unit);
    if (member.m_IsDropped) m_Out << ", \"versions\": " << kvs_PythonLiteral(member.m_Versions);
    m_Out << "})\n";
  }

  [[nodiscard]] std::string Target(kvs_PlannedClass const& planned, unsigned int target) const {
    if (target == 0) return planned.m_Identifier;
    kvs_PlannedClass const* const found = m_Plan.Find(target);
    return found == nullptr ? "object" : found->m_Identifier;
  }

  [[nodiscard]] Field FieldOf(kvs_PlannedClass const& planned, kvs_Member const& member) const {
    kvs_Shape const& shape = member.m_Shape;
    std::string const element = PythonElement(shape.m_Element);
    std::string const key = shape.m_HasIntKeys ? "int" : "str";
    switch (shape.m_Form) {
    case kvs_Form::Value:
    case kvs_Form::Enum:
      return member.m_IsOptional ? Field{"Optional[" + Scalar(member) + "]", "default=None"}
                                 : Field{Scalar(member), "default=" + Default(member)};
    case kvs_Form::Ref:
      return {"Optional[" + Target(planned, shape.m_Target) + "]", "default=None"};
    case kvs_Form::Blob:
      return {"bytes", "default=b\"\""};
    case kvs_Form::Rows:
    case kvs_Form::Table:
      return {"list[list[" + element + "]]", "default_factory=list"};
    case kvs_Form::Map:
      return {"dict[" + key + ", " + element + "]", "default_factory=dict"};
    case kvs_Form::ObjectList:
      return {"list[Optional[" + Target(planned, shape.m_Target) + "]]", "default_factory=list"};
    case kvs_Form::ObjectMap:
      return {"dict[" + key + ", " + Target(planned, shape.m_Target) + "]", "default_factory=dict"};
    default:
      return {"list[" + element + "]", "default_factory=list"};
    }
  }

  [[nodiscard]] static std::string Scalar(kvs_Member const& member) {
    return member.m_Shape.m_Form == kvs_Form::Enum ? member.m_EnumIdentifier
                                                   : PythonElement(member.m_Shape.m_Element);
  }

  /// An enumeration's value is a number if it has no name.
  [[nodiscard]] static std::string Default(kvs_Member const& member) {
    auto const value = kvs_DefaultOf(member.m_Attribute, member.m_Shape);
    if (member.m_Shape.m_Form == kvs_Form::Enum) {
      std::int64_t const number = value ? std::get<std::int64_t>(*value) : 0;
      bool const isNamed = std::ranges::any_of(member.m_Attribute.m_Enumerators,
                                               [&](auto const& each) { return each.m_Value == number; });
      return isNamed ? member.m_EnumIdentifier + "(" + std::to_string(number) + ")" : std::to_string(number);
    }
    if (value) return ValueText(*value);
    std::string const type = PythonElement(member.m_Shape.m_Element);
    return type == "bool" ? "False" : type == "str" ? "\"\"" : type == "float" ? "0.0" : "0";
  }

  [[nodiscard]] static std::string ValueText(kvs_DefaultValue const& value) {
    if (auto const* const flag = std::get_if<bool>(&value)) return *flag ? "True" : "False";
    if (auto const* const text = std::get_if<std::string>(&value)) return kvs_PythonLiteral(*text);
    if (auto const* const integer = std::get_if<std::int64_t>(&value)) return std::to_string(*integer);
    if (auto const* const integer = std::get_if<std::uint64_t>(&value)) return std::to_string(*integer);
    std::array<char, 40> number{};
    std::snprintf(number.data(), number.size(), "%.17g", std::get<double>(value));
    std::string const text = number.data();
    return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
  }

  kvs_EmitModel const& m_Model;
  kvs_EmitPlan m_Plan;
  std::ostream& m_Out;
};

} // namespace

void kvs_EmitPython(kvs_EmitModel const& model, std::ostream& out) {
  ModuleWriter(model, out).Write();
}
