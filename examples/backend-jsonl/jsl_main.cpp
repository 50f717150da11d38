#include "examples/backend-jsonl/jsl_Session.h"

#include "collections/cls_ArrayPrim.h"
#include "module/nex_initialize.h"
#include "persist/adapters/cls_TypeAdapter.h"

#include <fstream>
#include <iostream>

// Saves a model in a file of JSON lines, loads it again, and prints the file.

namespace {

class Truss {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x400031; }
  Truss() = default;
  explicit Truss(cls_ReadVisitor const& visitor)
      : m_Name(visitor.Read(cls_FieldHandle(0, "m_Name"_cow), cow_String())),
        m_Span(visitor.Read(cls_FieldHandle(1, "m_Span"_cow), 0.0)),
        m_Forces(cls_ReadVisitor(visitor, cls_FieldHandle(2, "m_Forces"_cow))), m_Uid(visitor.GetUid()) {}
  ~Truss() {
    m_Forces.Release();
    m_Forces.DropBlocks();
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid) == 0) return;
    visitor.Write(cls_FieldHandle(0, "m_Name"_cow), m_Name);
    visitor.Write(cls_FieldHandle(1, "m_Span"_cow), m_Span);
    m_Forces.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(2, "m_Forces"_cow), nullptr, &m_Forces));
  }

  cow_String m_Name;
  double m_Span = 0;            // metres
  cls_ArrayPrimDouble m_Forces; // newtons, tied to its stored list once it is saved

 private:
  cls_Uid m_Uid;
};

void Run(std::string const& path) {
  cls_ClassRegistrar classes;
  classes.AddClassMD(new cls_TypeAdapter<Truss>("Truss"_cow, 1, 1));
  {
    jsl_Session session(path, jsl_Mode::Create, classes);
    Truss bridge;
    bridge.m_Name = "bridge"_cow;
    bridge.m_Span = 24.5;
    for (int i = 0; i < 5; ++i) bridge.m_Forces.Append(1000.0 / (i + 1));
    session.Save("bridge", bridge);
    bridge.m_Forces.Get(0) = -0.0; // reaches the file when the session is closed
    session.Close();
  }
  jsl_Session session(path, jsl_Mode::ReadOnly, classes);
  std::unique_ptr<Truss> const bridge = session.Load<Truss>("bridge");
  std::cout << bridge->m_Name.CharsOrEmpty() << ": " << bridge->m_Span << " m, " << bridge->m_Forces.Size()
            << " forces, the last one " << bridge->m_Forces.ConstGet(4) << " N\n\n"
            << std::ifstream(path).rdbuf();
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: jsonl NEW-FILE\n";
    return 2;
  }
  int callers = 0;
  nex_initialize(callers);
  int status = 0;
  try {
    Run(argv[1]);
  } catch (nex_Exception const& failure) {
    std::cerr << "jsonl: " << failure.UserReport().CharsOrEmpty() << "\n";
    status = 1;
  }
  nex_finalize(callers);
  return std::cout.flush() ? status : 1;
}
