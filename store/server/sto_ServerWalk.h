#pragma once

#include <cstdint>
#include <optional>

#include "store/driver/sto_Driver.h"
#include "store/driver/sto_StorageWalk.h"
#include "store/server/sto_ServerBlocks.h"
#include "store/server/sto_ServerLink.h"
#include "store/server/sto_ServerNamed.h"
#include "store/server/sto_ServerNames.h"
#include "store/server/sto_ServerObjects.h"

/// A walk over all that a store on a server holds, as an open transaction sees it. The server itself keeps its tables in
/// order, so Structure finds nothing. Thread rule: one thread.
class sto_ServerWalk final : public sto_StorageWalk {
 public:
  /// `sum`: over the store as the transaction leaves it. REQUIRES: the arguments live as long as this object.
  sto_ServerWalk(sto_Driver& driver, sto_ServerLink& link, sto_ServerObjects& objects,
                 sto_ServerBlocks& blocks, sto_ServerNamed& named, sto_ServerRows& rows,
                 sto_ContentSum const& sum, sto_StorageVisitor& visitor);

  void Structure(bool isFull, sto_Meter* meter) override;
  void Tables() override;
  void Objects() override;
  void Records() override;
  void Blocks() override;
  void BlockRows() override;
  void IndexEntries() override;
  [[nodiscard]] std::int64_t BlockRowCount() override;
  std::optional<bool> IsSumRight() override;
  [[nodiscard]] sto_StorageSizes Sizes() override;

 private:
  template <class Row, class Take> void TakeAll(sto_NamedKind kind, Take take);
  /// Calls `take` with the id of each object; reports packs that cannot be read if `mayReport`.
  template <class Take> void ForEachObject(bool mayReport, Take take);
  void Report(sto_CheckKind kind, char const* table, std::int64_t row, std::string text);

  sto_Driver& m_Driver;
  sto_ServerLink& m_Link;
  sto_ServerObjects& m_Objects;
  sto_ServerBlocks& m_Blocks;
  sto_ServerNamed& m_Named;
  sto_ServerRows& m_Rows;
  sto_ContentSum m_Expected;
  sto_StorageVisitor& m_Visitor;
  sto_ContentSum m_Sum; // over what was read
  bool m_IsWhole = true;
};
