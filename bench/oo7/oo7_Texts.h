#pragma once

#include <string>

// The texts of the databases. They follow from ids.

[[nodiscard]] std::string oo7_TypeText(int type);
[[nodiscard]] std::string oo7_DocumentTitle(int id);
[[nodiscard]] std::string oo7_DocumentText(int id, int bytes);
[[nodiscard]] std::string oo7_ManualTitle(int id);
[[nodiscard]] std::string oo7_ManualText(int id, int bytes);
[[nodiscard]] std::string oo7_Oo1PartType(int type);
[[nodiscard]] std::string oo7_Oo1ConnectionType(int type);
