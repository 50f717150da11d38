#include <algorithm>
#include <cstdio>

#include "describe/dsc_Stored.h"
#include "errors/nex_TextException.h"
#include "persist/backend/cls_StoredSigns.h"

void dsc_Raise(char const* className, std::string_view field, std::string_view problem) {
  std::string text;
  if (*className != 0) text.append("Class ").append(className);
  if (!field.empty()) text.append(text.empty() ? "Field " : ", field ").append(field);
  if (!text.empty()) text.append(": ");
  text.append(problem);
  nex_TextException(atr_String(cow_String(std::string_view(text)))).Throw("dsc_Failures", __LINE__);
}

void dsc_RaiseValue(char const* className, std::string_view field, long long value) {
  dsc_Raise(className, field, "the stored value " + std::to_string(value) + " is none that it may have.");
}

bool dsc_HasOtherSign(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, bool isSigned,
                      int version) noexcept {
  cls_MementoRead const* const memento = visitor.Memento();
  if (memento == nullptr || (version != 0 && memento->ClassVersion() >= version)) return false;
  cls_StoredSigns const* const signs = cls_StoredSigns::Of(memento);
  using Sign = cls_StoredSigns::Sign;
  return signs != nullptr && signs->SignOf(field) == (isSigned ? Sign::Unsigned : Sign::Signed);
}

void dsc_RaiseRows(char const* className, std::string_view field, int stored, int asked) {
  dsc_Raise(className, field,
            "the stored list has " + std::to_string(stored) + " numbers or texts for each element, and not " +
                std::to_string(asked) + ".");
}

void dsc_RaiseClass(dsc_Where const& where, unsigned int stored, unsigned int asked) {
  char text[96];
  std::snprintf(text, sizeof text, "what is stored is an object of class 0x%06x, and not of class 0x%06x.",
                stored, asked);
  dsc_Raise(where.m_Class, where.m_Field, text);
}

void dsc_CheckUnit(dsc_Declaring const& declared, std::string_view field) {
  std::string_view const unit = declared.m_Unit.m_Text == nullptr ? "" : declared.m_Unit.m_Text;
  if (unit.empty()) return;
  auto const& notes =
      declared.m_Registrar.NotesOf(declared.m_Metadata.ClassId(), declared.m_Metadata.Version());
  bool const isNoted = std::ranges::any_of(notes.OfAttributes(), [field](auto const& entry) {
    std::string_view const attribute = entry.first;
    bool const isOfField = attribute == field || attribute.starts_with(std::string(field) + ".");
    return isOfField && !entry.second.m_Unit.empty();
  });
  if (!isNoted)
    dsc_Raise(declared.m_Metadata.Name().CharsOrEmpty(), field,
              "kvl::Unit is said of a field that stores no numbers.");
}

void dsc_RaiseNoList(cls_FieldHandle const& field) {
  dsc_Raise("", field.Name().View(),
            "this back end has no lists of bytes, of integers of 16 or 64 bits, or of complex numbers.");
}

void dsc_RaiseCount(dsc_Where const& where, long long stored, long long asked) {
  dsc_Raise(where.m_Class, where.m_Field,
            "the stored list has " + std::to_string(stored) + " numbers, and not " + std::to_string(asked) +
                ".");
}

void dsc_RaiseSizes(dsc_Where const& where, long long rows, long long columns) {
  std::string const sizes = std::to_string(rows) + " rows and " + std::to_string(columns) + " columns";
  dsc_Raise(where.m_Class, where.m_Field, "the stored matrix has " + sizes + ", which it cannot have.");
}

void dsc_RaiseUnsaved(char const* className, std::string_view field, std::string_view value) {
  dsc_Raise(className, field,
            "the value " + std::string(value) + " is none that it may have. It is not saved.");
}

void dsc_RaiseDerived(char const* className) {
  dsc_Raise(className, {},
            "an object of a class derived from it is saved, which has no KVL_PERSISTED of its own.");
}
