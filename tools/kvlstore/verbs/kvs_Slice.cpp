#include <algorithm>
#include <charconv>
#include <limits>

#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

namespace {

std::optional<std::int64_t> Bound(std::string_view text, std::string const& all) {
  if (text.empty()) return std::nullopt;
  std::int64_t number = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size())
    throw kvs_Error(kvs_Quoted(all) + " is no slice: write first:end, such as 10:20, :5 or -3:.");
  return number;
}

} // namespace

kvs_Slice kvs_Slice::Parse(std::string const& text) {
  std::size_t const colon = text.find(':');
  std::string_view const view = text;
  kvs_Slice slice;
  if (colon == std::string::npos) {
    std::optional<std::int64_t> const index = Bound(view, text);
    if (!index) throw kvs_Error("A slice is empty: write first:end, such as 10:20, :5 or -3:.");
    slice.m_First = *index;
    if (*index != -1 && *index != std::numeric_limits<std::int64_t>::max()) slice.m_End = *index + 1;
    return slice;
  }
  slice.m_First = Bound(view.substr(0, colon), text).value_or(0);
  slice.m_End = Bound(view.substr(colon + 1), text);
  return slice;
}

kvs_Slice::Range kvs_Slice::Of(std::int64_t count) const noexcept {
  auto const place = [count](std::int64_t at) {
    return std::clamp<std::int64_t>(at < 0 ? std::max(at, -count) + count : at, 0, count);
  };
  std::int64_t const first = place(m_First);
  std::int64_t const end = m_End ? place(*m_End) : count;
  return {first, std::max<std::int64_t>(0, end - first)};
}
