#include "examples/evolution/evo_Program.h"

#include "examples/shared/exa_Program.h"
#include "metadata/cls_MetadataRegistrar.h"
#include "module/nex_initialize.h"

#include <exception>
#include <filesystem>

namespace {

// Starts the library for as long as the program needs it, and declares the program's classes.
class Library {
 public:
  explicit Library(cls_MetadataRegistrar::InitFn declare) {
    nex_initialize(m_Count);
    omi_Singleton<cls_MetadataRegistrar>::Instance().initClassMetadata(declare, 1);
  }
  ~Library() { nex_finalize(m_Count); }
  Library(Library const&) = delete;
  Library& operator=(Library const&) = delete;

  static cls_ClassRegistrar const& Classes() {
    return omi_Singleton<cls_MetadataRegistrar>::Instance().Registrar1();
  }

 private:
  int m_Count = 0;
};

} // namespace

int evo_Program::Run(int argc, char** argv, Actions const& actions) {
  struct Command {
    std::string_view m_Name;
    sto_Mode m_Mode;
    void (*m_Action)(sto_Store& store);
  };
  Command const commands[] = {{"write", sto_Mode::Create, actions.m_Write},
                              {"read", sto_Mode::ReadOnly, actions.m_Read},
                              {"upgrade", sto_Mode::ReadWrite, actions.m_Upgrade}};
  std::string const program = std::filesystem::path(argv[0]).filename().string();
  Command const* chosen = nullptr;
  for (Command const& command : commands)
    if (argc == 3 && command.m_Name == argv[1]) chosen = &command;
  if (chosen == nullptr)
    return exa_Complain(program, "usage: write|read|upgrade STORE", exa_Status::CalledWrongly);

  try {
    Library const library(actions.m_Declare);
    // An exception of the library has identities, so it must be caught before the library shuts down.
    return exa_Run(program, [&] {
      sto_Options options;
      if (chosen->m_Mode == sto_Mode::ReadWrite) {
        // A store of an older format is upgraded when it is opened. A beam of a later version must be refused
        // before that, so that the store stays as it is.
        sto_Store readable = sto_Store::Open(argv[2], sto_Mode::ReadOnly, Library::Classes());
        actions.m_Check(readable);
        options.m_Upgrade = true;
      }
      sto_Store store = sto_Store::Open(argv[2], chosen->m_Mode, Library::Classes(), options);
      chosen->m_Action(store);
    });
  } catch (std::exception const& failure) {
    return exa_Complain(program, failure.what(), exa_Status::Failed);
  }
}
