#pragma once

#include <optional>
#include <string>
#include <vector>

#include "store/inspect/sto_Inspection.h"
#include "store/sto_Store.h"
#include "tools/kvlstore/report/kvs_Json.h"
#include "tools/kvlstore/report/kvs_Problems.h"
#include "tools/kvlstore/report/kvs_Report.h"

/// What a report says about a store as a whole. What could not be read is empty.
struct kvs_Facts {
  std::string m_Name; ///< of the store
  std::optional<sto_StoreInfo> m_Info;
  std::optional<sto_Stat> m_Stat;
  std::optional<std::int64_t> m_Objects;
  std::vector<sto_ClassDescription> m_Classes;
  std::vector<sto_InspectedRoot> m_Roots;
  std::vector<sto_SaveEntry> m_Saves; ///< the newest ones
};

/// Reads them. Damage becomes a problem.
[[nodiscard]] kvs_Facts kvs_ReadFacts(sto_Store& store, sto_Inspection const& inspection,
                                      kvs_ReportOptions const& options, kvs_Problems& problems);

/// The name of the store: that of the options, or of its file.
[[nodiscard]] std::string kvs_NameOf(sto_Store const& store, kvs_ReportOptions const& options);

/// Writes members of an open object: "facts", "classes", "roots", "saves", "space", "largest".
void kvs_WriteFacts(kvs_Json& json, kvs_Facts const& facts, kvs_ReportOptions const& options);
