#include <filesystem>

#include "store/inspect/sto_Inspection.h"
#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_OutputStream.h"
#include "tools/kvlstore/emit/kvs_EmitCpp.h"
#include "tools/kvlstore/emit/kvs_EmitPython.h"
#include "tools/kvlstore/emit/kvs_EmitSurvey.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

kvs_Status kvs_EmitClasses(std::string const& location, std::string const& language, kvs_Output& out) {
  sto_Store store = kvs_OpenToRead(location);
  sto_Inspection const inspection(store);
  kvs_EmitModel const model =
      kvs_SurveyClasses(inspection, std::filesystem::path(location).filename().string());
  kvs_OutputStream stream(out);
  language == "python" ? kvs_EmitPython(model, stream) : kvs_EmitCpp(model, stream);
  return kvs_Status::Same;
}
