#include "tools/kvlstore/report/kvs_Page.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <ostream>
#include <string>

#include "tools/kvlstore/report/kvs_VisibleText.h"

namespace {

/// 1234567 as "1 234 567", with spaces that do not break.
std::string Grouped(std::int64_t number) {
  std::string text = std::to_string(number);
  for (std::ptrdiff_t at = static_cast<std::ptrdiff_t>(text.size()) - 3; at > (number < 0 ? 1 : 0); at -= 3)
    text.insert(static_cast<std::size_t>(at), "\xE2\x80\xAF");
  return text;
}

std::string Size(std::int64_t bytes) {
  constexpr std::array<char const*, 5> Units = {"bytes", "KiB", "MiB", "GiB", "TiB"};
  if (bytes < 1024) return Grouped(bytes) + " bytes";
  auto size = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; size >= 1024 && unit + 1 < Units.size(); ++unit) size /= 1024;
  std::array<char, 32> text{};
  static_cast<void>(
      std::snprintf(text.data(), text.size(), size < 10 ? "%.2f %s" : "%.1f %s", size, Units[unit]));
  return text.data();
}

std::string Time(std::int64_t milliseconds) {
  using namespace std::chrono;
  constexpr std::int64_t Limit = 253402300800000; // the year 10000
  if (milliseconds < 0 || milliseconds >= Limit) return "at an unknown time";
  sys_time<std::chrono::milliseconds> const time{std::chrono::milliseconds(milliseconds)};
  sys_days const day = floor<days>(time);
  year_month_day const date(day);
  hh_mm_ss const clock(floor<minutes>(time - day));
  std::array<char, 64> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%04d-%02u-%02u %02d:%02d UTC",
                                  static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                                  static_cast<unsigned>(date.day()), static_cast<int>(clock.hours().count()),
                                  static_cast<int>(clock.minutes().count())));
  return text.data();
}

void Fact(std::ostream& out, char const* name, std::string const& value) {
  out << "<div><dt>" << name << "</dt><dd>" << kvs_HtmlText(value) << "</dd></div>\n";
}

std::ostream& operator<<(std::ostream& out, kvs_Assets::Pieces pieces) {
  for (std::string_view const piece : pieces) out << piece;
  return out;
}

void WriteFacts(std::ostream& out, kvs_Facts const& facts) {
  out << "<dl class=\"facts\">\n";
  if (facts.m_Objects) Fact(out, "Objects", Grouped(*facts.m_Objects));
  if (!facts.m_Roots.empty()) Fact(out, "Roots", Grouped(static_cast<std::int64_t>(facts.m_Roots.size())));
  if (facts.m_Info) {
    Fact(out, "Size", Size(facts.m_Info->m_SizeBytes));
    Fact(out, "Format", std::to_string(facts.m_Info->m_Format));
    if (std::optional<sto_SaveEntry> const& save = facts.m_Info->m_NewestSave) {
      Fact(out, "Saves", Grouped(save->m_Number));
      Fact(out, "Last saved", Time(save->m_Milliseconds));
      if (!save->m_Program.empty()) Fact(out, "By", std::string(kvs_FirstBytes(save->m_Program, 200)));
    }
    if (!facts.m_Info->m_Uuid.empty()) Fact(out, "UUID", facts.m_Info->m_Uuid);
  }
  out << "</dl>\n";
}

} // namespace

void kvs_BeginPage(std::ostream& out, kvs_Facts const& facts) {
  std::string const name = kvs_HtmlText(kvs_FirstBytes(facts.m_Name, 500));
  out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta http-equiv=\"Content-Security-Policy\" content=\""
      << kvs_Assets::Policy()
      << "\">\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         "<meta name=\"color-scheme\" content=\"light dark\">\n<title>"
      << name << " \xE2\x80\x93 store report</title>\n<style>" << kvs_Assets::Style()
      << "</style>\n</head>\n<body>\n<a class=\"skip\" href=\"#objects\">Skip to the objects</a>\n"
         "<header>\n<p class=\"kicker\">Store report</p>\n<h1>"
      << name << "</h1>\n";
  WriteFacts(out, facts);
  out << "</header>\n" << kvs_Assets::Body();
}

void kvs_BeginData(std::ostream& out, std::string_view name) {
  out << "<script type=\"application/json\" id=\"data-" << name << "\">";
}

void kvs_EndData(std::ostream& out) {
  out << "</script>\n";
}

void kvs_EndPage(std::ostream& out) {
  out << "<script>" << kvs_Assets::Script() << "</script>\n</body>\n</html>\n";
}
