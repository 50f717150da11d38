#include "examples/failures/fail_Message.h"

#include "platform/atr/atr_translate.h"

#include <cstdio>

atr_String fail_Message(char const* format, std::initializer_list<std::string> texts) {
  atr_translate message(format);
  int position = 0;
  for (std::string const& text : texts)
    atr_SubstituteFormat(message, ++position, atr_StringBase(cow_String(text)));
  return message.Result();
}

std::string fail_Text(int number) {
  return std::to_string(number);
}

std::string fail_Text(std::size_t number) {
  return std::to_string(number);
}

std::string fail_Text(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.4g", number);
  return text;
}
