#include "store/postgres/sto_PostgresPlace.h"

#include <algorithm>
#include <string_view>

#include "store/base/sto_Exception.h"
#include "store/sto_Servers.h"

namespace {

/// Takes the password out of "//user:password@host".
void HideInAuthority(std::string& location) {
  std::size_t const begin = location.find("//") + 2;
  // A password may have any character that was not encoded by mistake, so the last '@' counts.
  std::size_t const query = std::min(location.find('?', begin), location.size());
  std::size_t const at = location.rfind('@', query);
  std::size_t const colon = location.find(':', begin);
  if (at != std::string::npos && at >= begin && colon < at) location.erase(colon, at - colon);
}

/// Takes the values out of "password=value" and "sslpassword=value".
void HideInQuery(std::string& location) {
  constexpr std::string_view Word = "password=";
  for (std::size_t at = location.find(Word); at != std::string::npos; at = location.find(Word, at)) {
    at += Word.size();
    std::size_t const end = std::min(location.find_first_of("&#", at), location.size());
    location.replace(at, end - at, "...");
  }
}

} // namespace

bool sto_IsOnServer(std::string_view location) noexcept {
  return location.starts_with("postgresql://") || location.starts_with("postgres://");
}

std::string sto_ShownLocation(std::string const& location) {
  if (!sto_IsOnServer(location)) return location;
  std::string shown = location;
  HideInAuthority(shown);
  HideInQuery(shown);
  return shown;
}

sto_PostgresPlace sto_PostgresPlace::Of(std::string const& location) {
  std::size_t const hash = location.find('#');
  sto_PostgresPlace place{location.substr(0, hash),
                          hash == std::string::npos ? std::string() : location.substr(hash + 1),
                          sto_ShownLocation(location)};
  if (place.m_Store.empty())
    sto_Raise(sto_ErrorKind::Misuse,
              place.m_Name + ": The location names no store: write \"postgresql://host/database#store\".");
  if (location.find('\0') != std::string::npos)
    sto_Raise(sto_ErrorKind::Misuse, place.m_Name + ": The location contains a NUL character.");
  return place;
}
