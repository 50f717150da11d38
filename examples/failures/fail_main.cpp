// failures: analyses of trusses that fail, each in a way of its own, and the failures kept in a store.
//
// Exit status: 0 done, whether the analyses succeeded or not; 1 something is wrong with the store or the
// system; 2 something is wrong with how the program was called: bad arguments, a store that is not there, or
// is there already.

#include "examples/failures/fail_AnalysisModel.h"
#include "examples/failures/fail_Commands.h"
#include "examples/failures/fail_Library.h"
#include "metadata/cls_MetadataRegistrar.h"
#include "store/sto_Exception.h"

#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

namespace {

constexpr int Failed = 1;
constexpr int CalledWrongly = 2;

int Complain(char const* message, int status) {
  std::fprintf(stderr, "failures: %s\n", message);
  return status;
}

bool IsAboutTheCall(sto_ErrorKind kind) {
  return kind == sto_ErrorKind::NotFound || kind == sto_ErrorKind::Conflict;
}

int Do(void (*command)(std::string const& storePath), char const* storePath) {
  try {
    command(storePath);
    return 0;
  } catch (sto_Exception const& failure) {
    return Complain(failure.UserReport().CharsOrEmpty(),
                    IsAboutTheCall(failure.Kind()) ? CalledWrongly : Failed);
  } catch (nex_Exception const& failure) {
    return Complain(failure.UserReport().CharsOrEmpty(), Failed);
  } catch (std::exception const& failure) {
    return Complain(failure.what(), Failed);
  }
}

} // namespace

int main(int argc, char** argv) {
  std::string_view const command = argc == 3 ? argv[1] : "";
  if (command != "run" && command != "list")
    return Complain("call it as: failures run STORE, or: failures list STORE", CalledWrongly);
  fail_Library const library;
  omi_Singleton<cls_MetadataRegistrar>::Instance().initClassMetadata(&fail_AnalysisModel::Declare, 1);
  return Do(command == "run" ? &fail_Commands::Run : &fail_Commands::List, argv[2]);
}
