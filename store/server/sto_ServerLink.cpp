#include "store/server/sto_ServerLink.h"

#include <algorithm>
#include <limits>

#include "store/format/sto_Checksum.h"

bool sto_ServerView::Sees(std::int64_t draft) const noexcept {
  return draft <= m_Head && !std::ranges::binary_search(m_Open, draft);
}

sto_ConflictUnit sto_UnitOfName(std::string_view name) noexcept {
  std::uint64_t const hash = sto_Checksum(0, sto_AsBytes(name));
  return {sto_ConflictUnit::Kind::Name,
          static_cast<std::int64_t>(hash & std::numeric_limits<std::int64_t>::max())};
}
