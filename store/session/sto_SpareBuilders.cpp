#include "store/session/sto_SpareBuilders.h"

#include <new>
#include <utility>

namespace {

/// A builder that has grown larger than this is not kept.
constexpr std::size_t MaxSpareBuilderBytes = 65536;
/// Each nesting level uses one builder; at most this many are kept.
constexpr std::size_t MaxSpareBuilders = 16;

} // namespace

std::unique_ptr<sto_RecordBuilder> sto_SpareBuilders::Take() {
  if (m_Builders.empty()) return std::make_unique<sto_RecordBuilder>();
  std::unique_ptr<sto_RecordBuilder> builder = std::move(m_Builders.back());
  m_Builders.pop_back();
  builder->Reset();
  return builder;
}

void sto_SpareBuilders::GiveBack(std::unique_ptr<sto_RecordBuilder> builder) noexcept {
  if (builder == nullptr || builder->Capacity() > MaxSpareBuilderBytes ||
      m_Builders.size() >= MaxSpareBuilders)
    return;
  try {
    m_Builders.push_back(std::move(builder));
  } catch (std::bad_alloc const&) { // then it is freed
  }
}
