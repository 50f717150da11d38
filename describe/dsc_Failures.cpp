#include "describe/dsc_Stored.h"
#include "errors/nex_TextException.h"

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
