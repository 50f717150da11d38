#include "store/sqlite/sto_SqliteChanges.h"

#include <algorithm>

#include "store/format/sto_BlockCodec.h"
#include "store/format/sto_Format.h"

void sto_SqliteChanges::Begin(std::int64_t firstNewId, sto_ContentSum const& sum) noexcept {
  m_Sum = sum;
  m_FirstNewId = firstNewId;
  m_List.m_Objects.clear(); // keeps its memory for the next transaction
  m_List.m_Lists.clear();
  m_List.m_Roots.clear();
  m_Objects = m_Lists = {};
  m_HasOther = false;
}

bool sto_SqliteChanges::Has(std::int64_t id) const noexcept {
  auto const isIn = [id](std::vector<std::int64_t> const& ids) {
    return std::ranges::find(ids, id) != ids.end();
  };
  return IsNew(id) || isIn(m_List.m_Objects) || isIn(m_List.m_Lists);
}

bool sto_SqliteChanges::HasRoot(std::string_view name) const noexcept {
  return std::ranges::find(m_List.m_Roots, name) != m_List.m_Roots.end();
}

void sto_SqliteChanges::Block(std::int64_t key) {
  List(key >> sto_Format::BlockIndexBits);
}

void sto_SqliteChanges::SetMark() noexcept {
  m_SumAtMark = m_Sum;
  m_Objects = {m_Objects.m_Limit, m_List.m_Objects.size(), false};
  m_Lists = {m_Lists.m_Limit, m_List.m_Lists.size(), false};
}

void sto_SqliteChanges::GoBackToMark() noexcept {
  m_Sum = m_SumAtMark;
  GoBack(m_List.m_Objects, m_Objects);
  GoBack(m_List.m_Lists, m_Lists);
}

void sto_SqliteChanges::Tidy(std::vector<std::int64_t>& ids, Section& section) {
  std::ranges::sort(ids);
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  section.m_Limit = std::max(FirstLimit, 2 * ids.size());
  section.m_IsTidied = true;
}

sto_ChangeList const& sto_SqliteChanges::List() {
  sto_SortChanges(m_List);
  m_Objects.m_IsTidied = m_Lists.m_IsTidied = true;
  return m_List;
}

sto_ContentSum sto_SqliteChanges::BlockTerm(std::int64_t key, sto_ByteView end) noexcept {
  return sto_ContentSum::OfHash(sto_ContentKind::Block, static_cast<std::uint64_t>(key),
                                sto_BlockCodec::ContentHash(end));
}

sto_ContentSum sto_SqliteChanges::RootTerm(std::string_view name, std::int64_t id,
                                           unsigned int classId) noexcept {
  std::uint64_t const content[] = {sto_ToLittleEndian(static_cast<std::uint64_t>(id)),
                                   sto_ToLittleEndian(std::uint64_t{classId})};
  return sto_ContentSum::Of(sto_ContentKind::Root, sto_AsBytes(name), std::as_bytes(std::span(content)));
}
