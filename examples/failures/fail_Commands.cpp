#include "examples/failures/fail_Commands.h"

#include "errors/nex_AssertException.h"
#include "errors/nex_BadCastException.h"
#include "errors/nex_ExitException.h"
#include "errors/nex_InvalidObjException.h"
#include "errors/nex_OutOfMemoryException.h"
#include "errors/nex_SystemErrorException.h"
#include "errors/nex_TextException.h"
#include "examples/failures/fail_AnalysisModel.h"
#include "examples/failures/fail_Cases.h"
#include "metadata/cls_MetadataRegistrar.h"
#include "platform/typ/typ_ArchCompTable.h"
#include "store/sto_Store.h"

#include <cstdio>
#include <filesystem>
#include <sstream>

namespace {

constexpr std::string_view RootPrefix = "analysis/";

// The program's classes, as declared in fail_main.cpp.
cls_ClassRegistrar const& Classes() {
  return omi_Singleton<cls_MetadataRegistrar>::Instance().Registrar1();
}

fail_AnalysisModel Analyse(fail_Analysis const& analysis) {
  fail_Solver solver(analysis.truss, analysis.control);
  std::unique_ptr<nex_Exception> failure;
  try {
    solver.Run();
  } catch (nex_Exception const& thrown) {
    failure.reset(thrown.Copy());
  }
  return {analysis.name, solver.Steps(), std::move(failure)};
}

std::string ClassName(nex_Exception const& failure) {
  return std::string(typ_ArchCompTable::GetName(failure.DynTypeId()).View());
}

// How the analysis ended, in one line.
void PrintOutcome(std::string const& root, fail_AnalysisModel const& model) {
  std::printf("%s: ", root.c_str());
  if (nex_Exception const* const failure = model.Failure())
    std::printf("%s in file %s at line %d", ClassName(*failure).c_str(), failure->FromFile().CharsOrEmpty(),
                failure->FromLine());
  else
    std::printf("completed");
  std::printf(", %d load steps, load factor %.4g, largest displacement %.4g m\n", model.StepCount(),
              model.LastLoadFactor(), model.LargestDisplacement());
}

// A report can have several lines; each is marked by a bar.
void PrintReport(nex_Exception const& failure) {
  std::istringstream lines{std::string(failure.DeveloperReport().View())};
  for (std::string line; std::getline(lines, line);) std::printf("  | %s\n", line.c_str());
}

void PrintDetails(nex_Exception const& failure) {
  if (auto const* const exit = dynamic_cast<nex_ExitException const*>(&failure))
    std::printf("  exit code: %d\n", exit->Value().m_Err);
  if (auto const* const system = dynamic_cast<nex_SystemErrorException const*>(&failure))
    std::printf("  error numbers: system %u, errno %d\n", system->Value().m_NativeErrorCode,
                system->Value().m_CRTErrorCode);
  if (auto const* const memory = dynamic_cast<nex_OutOfMemoryException const*>(&failure))
    std::printf("  out of memory: %s\n",
                memory->Error() == NEX_OUTOFMEMORY_LIMIT ? "limit of the run" : "system");
}

// The identity of the class's own part, if the failure is of this class.
template <class Exception> cls_Uid const* ClassUid(nex_Exception const& failure) {
  auto const* const exception = dynamic_cast<Exception const*>(&failure);
  return exception == nullptr ? nullptr : &exception->Uid();
}

template <class... Exceptions> cls_Uid const* AnyClassUid(nex_Exception const& failure) {
  cls_Uid const* found = nullptr;
  ((found = found == nullptr ? ClassUid<Exceptions>(failure) : found), ...);
  return found;
}

// Each class level of an exception is a part with its own identity.
void PrintIdentities(nex_Exception const& failure) {
  cls_Uid const* const uid =
      AnyClassUid<nex_TextException, nex_AssertException, nex_BadCastException, nex_ExitException,
                  nex_InvalidObjException, nex_SystemErrorException, nex_OutOfMemoryException>(failure);
  if (uid == nullptr) return;
  bool const areDistinct = uid->Entry() != failure.RootUid().Entry();
  std::printf("  identities: nex_Exception part and %s part are %s\n", ClassName(failure).c_str(),
              areDistinct ? "distinct objects" : "one object");
}

} // namespace

void fail_Commands::Run(std::string const& storePath) {
  sto_Store store = sto_Store::Open(storePath, sto_Mode::Create, Classes());
  std::string const folder = std::filesystem::path(storePath).parent_path().string();
  for (fail_Analysis const& analysis : fail_Cases::All(folder)) {
    std::string const root = std::string(RootPrefix) + analysis.name;
    fail_AnalysisModel const model = Analyse(analysis);
    store.Save(root, model);
    PrintOutcome(root, model);
  }
}

// One analysis at a time: reading an out-of-memory exception makes the stored message the process-wide one.
// Print the report before the next analysis replaces that message.
void fail_Commands::List(std::string const& storePath) {
  sto_Store store = sto_Store::Open(storePath, sto_Mode::ReadOnly, Classes());
  for (std::string const& root : store.Roots()) {
    if (!root.starts_with(RootPrefix)) continue;
    auto const model = store.Load<fail_AnalysisModel>(root);
    PrintOutcome(root, *model);
    nex_Exception const* const failure = model->Failure();
    if (failure == nullptr) continue;
    PrintReport(*failure);
    PrintDetails(*failure);
    PrintIdentities(*failure);
  }
}
