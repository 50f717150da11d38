#include "tools/kvlstore/base/kvs_PrintJson.h"

#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_Text.h"

namespace {

/// The number of a character that begins a text in UTF-8 and is to be escaped; 0: none. `bytes`: of how many it is.
unsigned Unsafe(std::string_view text, std::size_t& bytes) {
  auto const at = [&](std::size_t i) {
    return i < text.size() ? static_cast<unsigned>(static_cast<unsigned char>(text[i])) : 0U;
  };
  bytes = 1;
  if (at(0) == 0x7F) return 0x7F;
  bytes = 2;
  if (at(0) == 0xC2 && at(1) < 0xA0) return at(1);
  bytes = 3;
  if (at(0) != 0xE2) return 0;
  unsigned const code = 0x2000U + ((at(1) & 0x3FU) << 6U) + (at(2) & 0x3FU);
  return (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069) ? code : 0;
}

} // namespace

std::string kvs_SafeJson(std::string json) {
  constexpr std::string_view Firsts("\x7F\xC2\xE2");
  std::size_t at = json.find_first_of(Firsts);
  if (at == std::string::npos) return json;
  std::string safe;
  std::size_t done = 0;
  for (std::size_t bytes = 0; at != std::string::npos; at = json.find_first_of(Firsts, at)) {
    unsigned const code = Unsafe(std::string_view(json).substr(at), bytes);
    if (code == 0) {
      ++at;
      continue;
    }
    safe.append(json, done, at - done);
    fmt::format_to(std::back_inserter(safe), "\\u{:04x}", code);
    at += bytes;
    done = at;
  }
  return safe.append(json, done);
}

void kvs_PrintJson(kvs_Output& out, nlohmann::ordered_json const& value, bool isOneLine) {
  out.Write(kvs_SafeJson(
      value.dump(isOneLine ? -1 : 2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)));
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
