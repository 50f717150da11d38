// failures: analyses of trusses that fail, each in a way of its own, and the failures kept in a store.
//
// Exit status: 0 done, whether the analyses succeeded or not; 1 something is wrong with the store or the
// system, or standard output cannot be written; 2 something is wrong with how the program was called: bad
// arguments, a store that is not there, or is there already.

#include "examples/failures/fail_AnalysisModel.h"
#include "examples/failures/fail_Commands.h"
#include "examples/failures/fail_Library.h"
#include "examples/shared/exa_Program.h"
#include "metadata/cls_MetadataRegistrar.h"

#include <string_view>

int main(int argc, char** argv) {
  std::string_view const command = argc == 3 ? argv[1] : "";
  if (command != "run" && command != "list")
    return exa_Complain("failures", "call it as: failures run STORE, or: failures list STORE",
                        exa_Status::CalledWrongly);
  fail_Library const library;
  omi_Singleton<cls_MetadataRegistrar>::Instance().initClassMetadata(&fail_AnalysisModel::Declare, 1);
  return exa_Run("failures",
                 [&] { command == "run" ? fail_Commands::Run(argv[2]) : fail_Commands::List(argv[2]); });
}
