#include "tools/kvlstore/base/kvs_Bar.h"
#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_OutputStream.h"
#include "tools/kvlstore/report/kvs_Report.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

kvs_Status kvs_Report(kvs_ReportVerbOptions const& options, kvs_Output& out) {
  sto_Store store = kvs_OpenToRead(options.m_Store);
  kvs_ReportOptions limits;
  limits.m_MaxObjects = options.m_MaxObjects;
  kvs_OutputStream stream(out);
  kvs_Bar bar("reporting");
  kvs_WriteReport(store, stream, limits, bar.Progress());
  return kvs_Status::Same;
}
