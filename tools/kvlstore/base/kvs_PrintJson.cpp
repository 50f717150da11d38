#include "tools/kvlstore/base/kvs_PrintJson.h"

#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_Text.h"

void kvs_PrintJson(kvs_Output& out, nlohmann::ordered_json const& value, bool isOneLine) {
  out.Write(value.dump(isOneLine ? -1 : 2, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
  out.Write("\n");
}

nlohmann::ordered_json kvs_TextOrNull(std::string const& text) {
  return text.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(text);
}

nlohmann::ordered_json kvs_SaveJson(sto_SaveEntry const& save, bool withIds) {
  nlohmann::ordered_json json{{"save", save.m_Number},
                              {"time", kvs_Time(save.m_Milliseconds)},
                              {"milliseconds", save.m_Milliseconds},
                              {"program", kvs_TextOrNull(save.m_Program)},
                              {"note", kvs_TextOrNull(save.m_Note)}};
  if (withIds) {
    json["objects"] = save.m_Objects;
    json["arrays"] = save.m_Lists;
  } else {
    json["objects"] = save.m_Objects.size();
    json["arrays"] = save.m_Lists.size();
  }
  json["roots"] = save.m_Roots;
  return json;
}
