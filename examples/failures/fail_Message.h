#pragma once

#include "platform/atr/atr_String.h"

#include <cstddef>
#include <initializer_list>
#include <string>

// A message for users: the translated format, with each "%s" replaced by the next text.
atr_String fail_Message(char const* format, std::initializer_list<std::string> texts);

// Numbers as such texts.
std::string fail_Text(int number);
std::string fail_Text(std::size_t number);
std::string fail_Text(double number); // four digits
