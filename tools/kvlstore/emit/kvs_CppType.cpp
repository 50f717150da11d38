#include "tools/kvlstore/emit/kvs_CppType.h"

#include <array>
#include <cstdio>
#include <limits>

#include "tools/kvlstore/emit/kvs_EmitDefault.h"
#include "tools/kvlstore/emit/kvs_EmitText.h"

namespace {

std::string ElementText(cls_AttributeType element) {
  switch (element) {
  case ATTR_BOOL:
    return "bool";
  case ATTR_INT:
    return "int";
  case ATTR_UINT:
    return "unsigned int";
  case ATTR_STRING:
    return "std::string";
  case ATTR_TRSTRING:
    return "atr_String";
  case ATTR_FLOAT:
    return "float";
  case ATTR_DOUBLE:
    return "double";
  case ATTR_SCHAR:
    return "signed char";
  case ATTR_UCHAR:
    return "unsigned char";
  case ATTR_SHORT:
    return "short";
  case ATTR_USHORT:
    return "unsigned short";
  case ATTR_LONGLONG:
    return "long long";
  case ATTR_ULONGLONG:
    return "unsigned long long";
  case ATTR_COMPLEX_FLOAT:
    return "std::complex<float>";
  case ATTR_COMPLEX_DOUBLE:
    return "std::complex<double>";
  default:
    return "";
  }
}

std::string TargetText(kvs_EmitPlan const& plan, kvs_PlannedClass const& in, unsigned int target) {
  switch (target) {
  case 0:
    return in.m_Identifier;
  case kvs_ExceptionClassId:
    return "nex_Exception";
  case kvs_TextClassId:
    return "cls_xpString";
  case kvs_TranslatedTextClassId:
    return "cls_xpTrString";
  default:
    return plan.Find(target)->m_Identifier;
  }
}

bool IsText(unsigned int target) {
  return target == kvs_TextClassId || target == kvs_TranslatedTextClassId;
}

std::string Number(double value, bool isFloat) {
  std::array<char, 40> text{};
  std::snprintf(text.data(), text.size(), isFloat ? "%.9g" : "%.17g", value);
  std::string result = text.data();
  if (!isFloat) return result;
  if (result.find_first_of(".e") == std::string::npos) result += ".0";
  return result + 'F';
}

std::string Integer(std::int64_t value) {
  // No literal is the least number: the minus is not part of it.
  if (value == std::numeric_limits<std::int64_t>::min()) return std::to_string(value + 1) + "LL - 1";
  return std::to_string(value);
}

std::string ValueText(kvs_DefaultValue const& value, kvs_Member const& member) {
  if (auto const* const flag = std::get_if<bool>(&value)) return *flag ? "true" : "false";
  if (auto const* const number = std::get_if<double>(&value))
    return Number(*number, member.m_Shape.m_Element == ATTR_FLOAT);
  if (auto const* const text = std::get_if<std::string>(&value)) return kvs_CppLiteral(*text);
  if (auto const* const integer = std::get_if<std::uint64_t>(&value)) return std::to_string(*integer) + "U";
  std::string const integer = Integer(std::get<std::int64_t>(value));
  return member.m_Shape.m_Form == kvs_Form::Enum
             ? "static_cast<" + member.m_EnumIdentifier + ">(" + integer + ")"
             : integer;
}

} // namespace

std::string kvs_CppType(kvs_EmitPlan const& plan, kvs_PlannedClass const& in, kvs_Member const& member) {
  kvs_Shape const& shape = member.m_Shape;
  std::string element = ElementText(shape.m_Element);
  std::string const key = shape.m_HasIntKeys ? "int" : "std::string";
  switch (shape.m_Form) {
  case kvs_Form::Value:
    return element;
  case kvs_Form::Enum:
    return member.m_EnumIdentifier;
  case kvs_Form::Ref:
    if (IsText(shape.m_Target)) return TargetText(plan, in, shape.m_Target);
    return "sto_Ref<" + TargetText(plan, in, shape.m_Target) + ">";
  case kvs_Form::Blob:
    return "std::vector<std::byte>";
  case kvs_Form::List: // a vector of unsigned bytes would be a blob
    return (shape.m_Element == ATTR_UCHAR ? "std::deque<" : "std::vector<") + element + ">";
  case kvs_Form::Rows:
    return "std::vector<std::array<" + element + ", " + std::to_string(shape.m_RowSize) + ">>";
  case kvs_Form::Array:
    return "sto_Array<" + element + ">";
  case kvs_Form::Table:
    return shape.m_Element == ATTR_DOUBLE ? "cls_xp2DArrayDouble" : "cls_xp2DArray<" + element + ">";
  case kvs_Form::Map:
    return "std::map<" + key + ", " + element + ">";
  case kvs_Form::ObjectList:
    return "sto_List<" + TargetText(plan, in, shape.m_Target) + ">";
  case kvs_Form::ObjectMap:
    return "sto_Map<" + key + ", " + TargetText(plan, in, shape.m_Target) + ">";
  case kvs_Form::None:
    break;
  }
  return "";
}

std::string kvs_CppInitialiser(kvs_Member const& member) {
  kvs_Shape const& shape = member.m_Shape;
  if (member.m_IsOptional) return "";
  if (auto const value = kvs_DefaultOf(member.m_Attribute, shape)) return " = " + ValueText(*value, member);
  if (shape.m_Form == kvs_Form::Table) return "{0, 0}";
  if (shape.m_Form == kvs_Form::Enum) return "{}";
  if (shape.m_Form != kvs_Form::Value || shape.m_Element == ATTR_STRING || shape.m_Element == ATTR_TRSTRING)
    return "";
  return shape.m_Element == ATTR_BOOL ? " = false" : " = 0";
}

std::set<std::string> kvs_CppHeaders(kvs_Member const& member) {
  kvs_Shape const& shape = member.m_Shape;
  std::set<std::string> headers;
  if (member.m_IsOptional) headers.insert("<optional>");
  if (member.m_IsDropped) headers.insert("<utility>");
  if (shape.m_Element == ATTR_STRING) headers.insert("<string>");
  if (shape.m_Element == ATTR_COMPLEX_FLOAT || shape.m_Element == ATTR_COMPLEX_DOUBLE)
    headers.insert("<complex>");
  switch (shape.m_Form) {
  case kvs_Form::Ref:
    headers.insert(IsText(shape.m_Target) ? "describe/dsc_Wrappers.h" : "store/refs/sto_Ref.h");
    break;
  case kvs_Form::Blob:
    headers.insert({"<cstddef>", "<vector>"});
    break;
  case kvs_Form::List:
    headers.insert(shape.m_Element == ATTR_UCHAR ? "<deque>" : "<vector>");
    break;
  case kvs_Form::Rows:
    headers.insert({"<array>", "<vector>"});
    break;
  case kvs_Form::Array:
    headers.insert("store/arrays/sto_Array.h");
    break;
  case kvs_Form::Table:
    headers.insert("describe/dsc_Wrappers.h");
    break;
  case kvs_Form::Map:
    headers.insert({"<map>", "<string>"});
    break;
  case kvs_Form::ObjectList:
    headers.insert("store/refs/sto_List.h");
    break;
  case kvs_Form::ObjectMap:
    headers.insert({"store/refs/sto_Map.h", "<string>"});
    break;
  default:
    break;
  }
  if (shape.m_Target == kvs_ExceptionClassId) headers.insert("errors/nex_Exception.h");
  return headers;
}

bool kvs_HasUnit(kvs_Shape const& shape) noexcept {
  return shape.m_Type != ATTR_STRING && shape.m_Type != ATTR_TRSTRING && shape.m_Type != ATTR_BOOL &&
         shape.m_Type != ATTR_OBJECT && shape.m_Type != ATTR_REFERENCE;
}
