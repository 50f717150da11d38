/// Measures what it costs to describe a class instead of writing it by hand: the same objects of both kinds of class,
/// for a profiler that counts instructions.
///
///     describe_bench hand|described save|load [COUNT [FOLDER]]    COUNT objects of two levels (default: 50000)
///     describe_bench hand-lists|described-lists save|load ...     objects with a list of three numbers each
///     describe_bench --smoke                                      everything once, small
///
/// `load` reads what `save` wrote to FOLDER (default: the system's temporary folder). Both kinds of class have the
/// same class IDs and write the same bytes. To count:
///
///     valgrind --tool=callgrind --callgrind-out-file=/dev/null describe_bench described load

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_Program.h"
#include "describe/dsc_Described.h"
#include "persist/identity/cls_OwnUid.h"
#include "store/sto_Store.h"

namespace {

namespace hand {

class Part {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x672001; }
  Part(cow_String name, int number) : m_Name(std::move(name)), m_Number(number) {}
  explicit Part(cls_ReadVisitor const& visitor)
      : m_Name(visitor.Read(NameField(), cow_String())), m_Number(visitor.Read(NumberField(), 0)),
        m_Uid(visitor.GetUid()) {}
  virtual ~Part() = default;
  virtual void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    visitor.Write(NameField(), m_Name);
    visitor.Write(NumberField(), m_Number);
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    registrar.AddClassMD(new cls_TypeAdapter<Part>("Part"_cow, 1, cls_ClassMetadata::RootClassId))
        .AddAttribute(NameField(), ATTR_STRING, 1, COLLECTION_NONE)
        .AddAttribute(NumberField(), ATTR_INT, 1, COLLECTION_NONE);
  }
  [[nodiscard]] int Number() const { return m_Number; }

 private:
  static cls_FieldHandle NameField() { return {0, "m_Name"_cow}; }
  static cls_FieldHandle NumberField() { return {1, "m_Number"_cow}; }
  cow_String m_Name;
  int m_Number;
  cls_OwnUid m_Uid;
};

class Note : public Part {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x672002; }
  Note(cow_String name, int number, cow_String message)
      : Part(std::move(name), number), m_Message(std::move(message)) {}
  explicit Note(cls_ReadVisitor const& visitor)
      : Part(cls_ReadVisitor(visitor)), m_Message(visitor.Read(MessageField(), cow_String())),
        m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const override {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    Part::DBWrite(cls_WriteVisitor(visitor, Part::TypeId()));
    visitor.Write(MessageField(), m_Message);
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    registrar.AddClassMD(new cls_TypeAdapter<Note>("Note"_cow, 1, Part::TypeId()))
        .AddAttribute(MessageField(), ATTR_STRING, 1, COLLECTION_NONE);
  }

 private:
  static cls_FieldHandle MessageField() { return {0, "m_Message"_cow}; }
  cow_String m_Message;
  cls_OwnUid m_Uid;
};

class Curve : public Part {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x672003; }
  Curve(cow_String name, int number, std::vector<double> values)
      : Part(std::move(name), number), m_Values(std::move(values)) {}
  explicit Curve(cls_ReadVisitor const& visitor)
      : Part(cls_ReadVisitor(visitor)), m_Values(), m_Uid(visitor.GetUid()) {
    cls_ReadVisitor const values(visitor, ValuesField());
    m_ValuesUid = values.GetUid();
    double tag = 0;
    cls_Received<cls_ReadListPrim<double>> const cursor(values.Memento()->MakeReadListPrim(&tag));
    m_Values.resize(static_cast<std::size_t>(cursor->Count()));
    cursor->NextRun(cursor->Count(), m_Values.data());
  }
  void DBWrite(cls_WriteVisitor const& visitor) const override {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    Part::DBWrite(cls_WriteVisitor(visitor, Part::TypeId()));
    cls_WriteVisitor const values(visitor, ValuesField(), nullptr, &m_Values);
    values.StartWrite(cls_InternalListTypeId, m_ValuesUid);
    values.CheckCollectionType(COLLECTION_LIST_DOUBLE);
    double const tag = 0;
    cls_Received<cls_WriteListPrim<double>> const builder(values.Memento()->MakeWriteListPrim(&tag, 1));
    builder->AppendRun(static_cast<int>(m_Values.size()), m_Values.data());
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    registrar.AddClassMD(new cls_TypeAdapter<Curve>("Curve"_cow, 1, Part::TypeId()))
        .AddAttribute(ValuesField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
  }

 private:
  static cls_FieldHandle ValuesField() { return {0, "m_Values"_cow}; }
  std::vector<double> m_Values;
  cls_OwnUid m_ValuesUid;
  cls_OwnUid m_Uid;
};

class Holding {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x672004; }
  Holding() = default;
  explicit Holding(cls_ReadVisitor const& visitor)
      : m_PartsUid(cls_ReadVisitor(visitor, PartsField()).GetUid()), m_Uid(visitor.GetUid()) {
    cls_Received<cls_ReadListObj> const parts(visitor.Memento()->MakeFieldReadListObj(PartsField()));
    m_Parts.reserve(static_cast<std::size_t>(parts->Count()));
    while (parts->More() != 0) m_Parts.push_back(cls_Construct<Part>(cls_ReadVisitor(parts->Next())));
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    cls_Received<cls_WriteListObj> const parts(
        visitor.Memento()->MakeFieldWriteListObj(PartsField(), m_PartsUid));
    for (auto const& part : m_Parts) {
      cls_WriteRequestListObj const request(parts.get());
      part->DBWrite(cls_WriteVisitor(request, part.get()));
    }
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    Part::Declare(registrar);
    Note::Declare(registrar);
    Curve::Declare(registrar);
    registrar.AddClassMD(new cls_TypeAdapter<Holding>("Holding"_cow, 1, cls_ClassMetadata::RootClassId))
        .AddAttribute(PartsField(), ATTR_OBJECT, 1, COLLECTION_OBJ);
  }
  std::vector<std::unique_ptr<Part>> m_Parts;

 private:
  static cls_FieldHandle PartsField() { return {0, "m_Parts"_cow}; }
  cls_OwnUid m_PartsUid;
  cls_OwnUid m_Uid;
};

} // namespace hand

namespace described {

class Part : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Part, kvl::Polymorphic, 0x672001, "Part", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Name));
    field(KVL_F(m_Number));
  }
  Part(cow_String name, int number) : m_Name(std::move(name)), m_Number(number) {}
  [[nodiscard]] int Number() const { return m_Number; }

 private:
  cow_String m_Name;
  int m_Number = 0;
};

class Note : public Part {
 public:
  KVL_PERSISTED(Note, Part, 0x672002, "Note", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Message)); }
  Note(cow_String name, int number, cow_String message)
      : Part(std::move(name), number), m_Message(std::move(message)) {}

 private:
  cow_String m_Message;
};

class Curve : public Part {
 public:
  KVL_PERSISTED(Curve, Part, 0x672003, "Curve", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Values)); }
  Curve(cow_String name, int number, std::vector<double> values)
      : Part(std::move(name), number), m_Values(std::move(values)) {}

 private:
  std::vector<double> m_Values;
};

class Holding {
 public:
  KVL_PERSISTED(Holding, 0x672004, "Holding", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Parts)); }
  static void DeclareAll(cls_ClassRegistrar& registrar) {
    Declare(registrar);
    Note::Declare(registrar);
    Curve::Declare(registrar);
  }
  Holding() = default;
  std::vector<std::unique_ptr<Part>> m_Parts;
};

} // namespace described

struct Run {
  std::size_t m_Count = 50'000;
  std::filesystem::path m_Folder = std::filesystem::temp_directory_path();
  bool m_HasLists = false;

  [[nodiscard]] std::string Path(char const* kind) const {
    return (m_Folder / (std::string("describe_bench_") + kind + (m_HasLists ? "_lists" : "") + ".kvs"))
        .string();
  }
};

cow_String TextOf(char const* what, std::size_t number) {
  std::string const text = std::string(what) + std::to_string(number);
  return cow_String(std::string_view(text));
}

template <class Holding, class Note, class Curve>
void Save(Run const& run, char const* kind, cls_ClassRegistrar const& registrar) {
  Holding holding;
  holding.m_Parts.reserve(run.m_Count);
  for (std::size_t i = 0; i < run.m_Count; ++i) {
    cow_String name = TextOf("part ", i);
    auto const number = static_cast<int>(i);
    if (run.m_HasLists)
      holding.m_Parts.push_back(
          std::make_unique<Curve>(std::move(name), number, std::vector<double>{1.0 * number, 2, 3}));
    else
      holding.m_Parts.push_back(
          std::make_unique<Note>(std::move(name), number, TextOf("a message of some length, number ", i)));
  }
  std::filesystem::remove(run.Path(kind));
  sto_Store store = sto_Store::Open(run.Path(kind), sto_Mode::Create, registrar);
  store.Save("parts", holding);
  store.Close();
}

template <class Holding> void Load(Run const& run, char const* kind, cls_ClassRegistrar const& registrar) {
  sto_Store store = sto_Store::Open(run.Path(kind), sto_Mode::ReadOnly, registrar);
  std::unique_ptr<Holding> const holding = store.Load<Holding>("parts");
  bench_Require(holding->m_Parts.size() == run.m_Count, "other objects were loaded");
  for (std::size_t i = 0; i < run.m_Count; ++i)
    bench_Require(holding->m_Parts[i]->Number() == static_cast<int>(i), "another object was loaded");
}

void Perform(Run const& run, bool isDescribed, bool isSave) {
  cls_ClassRegistrar registrar;
  char const* const kind = isDescribed ? "described" : "hand";
  if (isDescribed) {
    described::Holding::DeclareAll(registrar);
    if (isSave)
      Save<described::Holding, described::Note, described::Curve>(run, kind, registrar);
    else
      Load<described::Holding>(run, kind, registrar);
  } else {
    hand::Holding::Declare(registrar);
    if (isSave)
      Save<hand::Holding, hand::Note, hand::Curve>(run, kind, registrar);
    else
      Load<hand::Holding>(run, kind, registrar);
  }
}

void Smoke() {
  Run run;
  run.m_Count = 100;
  for (bool const hasLists : {false, true}) {
    run.m_HasLists = hasLists;
    for (bool const isDescribed : {false, true}) {
      Perform(run, isDescribed, true);
      Perform(run, isDescribed, false);
      std::filesystem::remove(run.Path(isDescribed ? "described" : "hand"));
    }
  }
}

void Main(std::vector<std::string> const& arguments) {
  if (arguments.size() == 1 && arguments[0] == "--smoke") return Smoke();
  bench_Require(arguments.size() >= 2, "describe_bench hand|described[-lists] save|load [COUNT [FOLDER]]");
  Run run;
  run.m_HasLists = arguments[0].ends_with("-lists");
  if (arguments.size() > 2) run.m_Count = std::stoul(arguments[2]);
  if (arguments.size() > 3) run.m_Folder = arguments[3];
  Perform(run, arguments[0].starts_with("described"), arguments[1] == "save");
}

} // namespace

int main(int argc, char** argv) {
  return bench_RunProgram(argc, argv, &Main);
}
