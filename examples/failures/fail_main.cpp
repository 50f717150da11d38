// failures: runs truss analyses that fail, each in its own way, and keeps the failures in a store.
//
// Exit status: 0 success, whether the analyses succeeded or not; 1 a problem with the store or the system, or
// standard output cannot be written; 2 wrong call: bad arguments, or a store that is missing or already
// exists.

#include "examples/failures/fail_AnalysisModel.h"
#include "examples/failures/fail_Commands.h"
#include "examples/failures/fail_Library.h"
#include "examples/shared/exa_Program.h"
#include "metadata/cls_MetadataRegistrar.h"

#include <string_view>

int main(int argc, char** argv) {
  std::string_view const command = argc == 3 ? argv[1] : "";
  if (command != "run" && command != "list")
    return exa_Complain("failures", "usage: run|list STORE", exa_Status::CalledWrongly);
  fail_Library const library;
  omi_Singleton<cls_MetadataRegistrar>::Instance().initClassMetadata(&fail_AnalysisModel::Declare, 1);
  return exa_Run("failures",
                 [&] { command == "run" ? fail_Commands::Run(argv[2]) : fail_Commands::List(argv[2]); });
}
