#include <string>
#include <vector>

#include "errors/nex_BadCastException.h"
#include "errors/nex_TextException.h"
#include "tests/support/store/StoreTest.h"

namespace {

// How a load chooses metadata and builds objects with it.

class Shape {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x730001; }
  Shape() = default;
  explicit Shape(cls_ReadVisitor const& visitor)
      : m_Name(visitor.Read(cls_FieldHandle(0, "m_Name"_cow), ""_cow)), m_ShapeUid(visitor.GetUid()) {}
  virtual ~Shape() { ++s_Destroyed; }
  virtual void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_ShapeUid)) return;
    visitor.Write(cls_FieldHandle(0, "m_Name"_cow), m_Name);
  }
  virtual int Sides() const = 0;

  cow_String m_Name;
  cls_Uid m_ShapeUid;
  static inline int s_Destroyed = 0;
};

template <int SideCount, unsigned int Id> class Polygon : public Shape {
 public:
  static constexpr unsigned int TypeId() noexcept { return Id; }
  Polygon() = default;
  explicit Polygon(cls_ReadVisitor const& visitor)
      : Shape(cls_ReadVisitor(visitor)), m_Area(visitor.Read(cls_FieldHandle(0, "m_Area"_cow), -1.0)),
        m_Neighbour(sto_ReadShared<Shape>(visitor, cls_FieldHandle(1, "m_Neighbour"_cow))),
        m_Inner(sto_ReadOwned<Shape>(visitor, cls_FieldHandle(2, "m_Inner"_cow))), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const override {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    Shape::DBWrite(cls_WriteVisitor(visitor, Shape::TypeId()));
    visitor.Write(cls_FieldHandle(0, "m_Area"_cow), m_Area);
    if (Shape const* const shape = m_Neighbour.lock().get())
      shape->DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(1, "m_Neighbour"_cow), nullptr, shape));
    if (m_Inner)
      m_Inner->DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(2, "m_Inner"_cow), nullptr, m_Inner.get()));
  }
  int Sides() const override { return SideCount; }

  double m_Area = 1;
  std::weak_ptr<Shape> m_Neighbour;
  std::unique_ptr<Shape> m_Inner;
  cls_Uid m_Uid;
};
using Triangle = Polygon<3, 0x730003>;
using Square = Polygon<4, 0x730004>;

template <class P>
cls_ClassMetadata& Declare(cls_ClassRegistrar& registrar, char const* name, int version = 1) {
  return registrar.AddClassMD(new cls_TypeAdapter<P>(cow_String(name), version, Shape::TypeId()))
      .AddAttribute(cls_FieldHandle(0, "m_Area"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(1, "m_Neighbour"_cow), ATTR_OBJECT, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(2, "m_Inner"_cow), ATTR_OBJECT, 1, COLLECTION_NONE);
}

void DeclareShape(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(new cls_AbsTypeAdapter<Shape>("Shape"_cow, 1, 1))
      .AddAttribute(cls_FieldHandle(0, "m_Name"_cow), ATTR_STRING, 1, COLLECTION_NONE);
}

class StoreBuilding : public StoreFileTest {
 protected:
  StoreBuilding() {
    DeclareShape(m_Registrar);
    Declare<Triangle>(m_Registrar, "Triangle");
    Declare<Square>(m_Registrar, "Square");
    DeclareNode(m_Registrar);
  }
  sto_Store Create() const { return sto_Store::Open(Path(), sto_Mode::Create, m_Registrar); }
  sto_Store Open(cls_ClassRegistrar const& registrar) const {
    return sto_Store::Open(Path(), sto_Mode::ReadWrite, registrar);
  }

  cls_ClassRegistrar m_Registrar;
};

TEST_F(StoreBuilding, StoredClassIsBuiltWhereItsBaseIsAskedFor) {
  sto_Store store = Create();
  Square square;
  square.m_Name = "s"_cow;
  square.m_Area = 9;
  store.Save("shape", square);
  store.Save("other", Triangle());
  std::unique_ptr<Shape> const shape = store.Load<Shape>("shape");
  EXPECT_EQ(shape->Sides(), 4);
  EXPECT_EQ(shape->m_Name.View(), "s");
  EXPECT_EQ(dynamic_cast<Square&>(*shape).m_Area, 9);
  EXPECT_EQ(shape->m_ShapeUid.Entry(), square.m_ShapeUid.Entry());
  EXPECT_EQ(store.LoadShared<Shape>("other")->Sides(), 3);
  Shape::s_Destroyed = 0;
  { auto const gone = store.Load<Shape>("other"); }
  { auto const gone = store.LoadShared<Shape>("other"); }
  EXPECT_EQ(Shape::s_Destroyed, 2);
}

TEST_F(StoreBuilding, ClassThatDoesNotDeriveFromTheOneAskedForIsRefusedNamingBoth) {
  sto_Store store = Create();
  store.Save("square", Square());
  store.Save("node", Node(1));
  for (std::function<void()> const& load : std::initializer_list<std::function<void()>>{
           [&] { static_cast<void>(store.Load<Triangle>("square")); },
           [&] { static_cast<void>(store.LoadShared<Triangle>("square")); }}) {
    std::string const message = MessageOf(sto_ErrorKind::WrongClass, load);
    EXPECT_TRUE(Contains(message, "Square") && Contains(message, "Triangle")) << message;
  }
  std::string const message =
      MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<Shape>("node")); });
  EXPECT_TRUE(Contains(message, "Node") && Contains(message, "Shape")) << message;
}

TEST_F(StoreBuilding, HeldObjectsAreBuiltAsTheirOwnClass) {
  sto_Store store = Create();
  auto const neighbour = std::make_shared<Triangle>();
  Square outer;
  outer.m_Neighbour = neighbour;
  outer.m_Inner = std::make_unique<Triangle>();
  dynamic_cast<Triangle&>(*outer.m_Inner).m_Inner = std::make_unique<Square>();
  store.Save("outer", outer);
  std::unique_ptr<Square> const loaded = store.Load<Square>("outer");
  EXPECT_EQ(loaded->m_Inner->Sides(), 3);
  EXPECT_EQ(dynamic_cast<Triangle&>(*loaded->m_Inner).m_Inner->Sides(), 4);
  EXPECT_EQ(dynamic_cast<Triangle&>(*loaded->m_Inner).m_Neighbour.lock(), nullptr);
}

TEST_F(StoreBuilding, AbsentHeldObjectIsNull) {
  sto_Store store = Create();
  store.Save("square", Square());
  EXPECT_EQ(store.Load<Square>("square")->m_Inner, nullptr);
}

TEST_F(StoreBuilding, CycleThroughABaseClassIsRefusedAndLeavesTheStoreUsable) {
  sto_Store store = Create();
  auto const one = std::make_shared<Square>();
  auto const two = std::make_shared<Triangle>();
  one->m_Neighbour = two;
  two->m_Neighbour = one;
  store.Save("one", *one);
  // The square is loaded as itself, so its address is known; the triangle refers back to it.
  EXPECT_EQ(store.LoadShared<Square>("one")->Sides(), 4);
  std::string const message =
      MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.LoadShared<Shape>("one")); });
  EXPECT_TRUE(Contains(message, "leads back") && Contains(message, "type adapter")) << message;
  EXPECT_EQ(store.LoadShared<Square>("one")->Sides(), 4);
}

TEST_F(StoreBuilding, AbstractStoredClassCannotBeBuilt) {
  sto_Store store = Create();
  store.Save("square", Square());
  cls_ClassRegistrar abstractly;
  DeclareShape(abstractly);
  abstractly.AddClassMD(new cls_AbsTypeAdapter<Square>("Square"_cow, 1, Shape::TypeId()));
  sto_Store reader = Open(abstractly);
  for (std::function<void()> const& load : std::initializer_list<std::function<void()>>{
           [&] { static_cast<void>(reader.Load<Square>("square")); },
           [&] { static_cast<void>(reader.Load<Shape>("square")); },
           [&] { static_cast<void>(reader.LoadShared<Square>("square")); }}) {
    std::string const message = MessageOf(sto_ErrorKind::Misuse, load);
    EXPECT_TRUE(Contains(message, "Square") && Contains(message, "without a constructor function"))
        << message;
  }
}

TEST_F(StoreBuilding, MetadataWithoutConstructorFunctionLeavesTheBuildingToTheClassAskedFor) {
  { Create().Save("square", Square()); }
  cls_ClassRegistrar plain;
  DeclareShape(plain);
  plain.CreateClassMD("Square"_cow, Square::TypeId(), 1, nullptr, Shape::TypeId());
  sto_Store reader = Open(plain);
  EXPECT_EQ(reader.Load<Square>("square")->Sides(), 4);
  MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(reader.Load<Shape>("square")); });
}

TEST_F(StoreBuilding, AdapterOfAnotherClassIsNotTakenForTheOneAskedFor) {
  { Create().Save("square", Square()); }
  struct Impostor : Shape {
    static constexpr unsigned int TypeId() noexcept { return Square::TypeId(); }
    explicit Impostor(cls_ReadVisitor const& visitor) : Shape(cls_ReadVisitor(visitor)) {}
    int Sides() const override { return 0; }
  };
  cls_ClassRegistrar mistaken;
  DeclareShape(mistaken);
  Declare<Impostor>(mistaken, "Square");
  sto_Store reader = Open(mistaken);
  std::string const message =
      MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(reader.Load<Square>("square")); });
  EXPECT_TRUE(Contains(message, "Square") && Contains(message, "another C++ class")) << message;
}

TEST_F(StoreBuilding, ClassThatTheRegistrarDoesNotHaveCannotBeLoadedByItsClass) {
  { Create().Save("square", Square()); }
  cls_ClassRegistrar const empty;
  sto_Store reader = Open(empty);
  std::string const message =
      MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(reader.Load<Square>("square")); });
  EXPECT_TRUE(Contains(message, "Square") && Contains(message, "not declared")) << message;
}

int s_BuiltBy = 0;
template <int Version> void* BuildSquare(cls_ReadVisitor& visitor) {
  s_BuiltBy = Version;
  auto* const square = new Square(visitor);
  square->m_Area *= 10;
  return square;
}

TEST_F(StoreBuilding, StoredVersionsOwnMetadataBuildsElseTheNextOneAbove) {
  for (int const stored : {1, 2, 3, 4, 5}) {
    cls_ClassRegistrar writer;
    DeclareShape(writer);
    Declare<Square>(writer, "Square", stored);
    std::string const path = Path(std::to_string(stored));
    sto_Store::Open(path, sto_Mode::Create, writer).Save("square", Square());
    cls_ClassRegistrar reader;
    DeclareShape(reader);
    reader.CreateClassMD("Square"_cow, Square::TypeId(), 2, &BuildSquare<2>, Shape::TypeId());
    reader.CreateClassMD("Square"_cow, Square::TypeId(), 4, &BuildSquare<4>, Shape::TypeId());
    Declare<Square>(reader, "Square", 5);
    sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, reader);
    for (int shared = 0; shared < 2; ++shared) {
      s_BuiltBy = 5;
      double const area =
          shared != 0 ? store.LoadShared<Square>("square")->m_Area : store.Load<Square>("square")->m_Area;
      EXPECT_EQ(s_BuiltBy, stored <= 2 ? 2 : stored <= 4 ? 4 : 5) << stored;
      EXPECT_EQ(area, stored == 5 ? 1 : 10) << stored;
    }
  }
}

TEST_F(StoreBuilding, RecordAboveAllRegisteredVersionsIsRefusedNamingThemAll) {
  cls_ClassRegistrar writer;
  DeclareShape(writer);
  Declare<Square>(writer, "Square", 9);
  { sto_Store::Open(Path(), sto_Mode::Create, writer).Save("square", Square()); }
  cls_ClassRegistrar reader;
  DeclareShape(reader);
  for (int const version : {7, 2, 5}) Declare<Square>(reader, "Square", version);
  sto_Store store = Open(reader);
  std::string const message =
      MessageOf(sto_ErrorKind::NewerFormat, [&] { static_cast<void>(store.Load<Square>("square")); });
  EXPECT_TRUE(Contains(message, "version 9") && Contains(message, "Square") &&
              Contains(message, "versions 2, 5 and 7"))
      << message;
}

TEST_F(StoreBuilding, FailureOfAConstructorFunctionIsPassedOnAndTheStoreGoesOn) {
  { Create().Save("square", Square()); }
  cls_ClassRegistrar reader;
  DeclareShape(reader);
  reader.CreateClassMD(
      "Square"_cow, Square::TypeId(), 1,
      [](cls_ReadVisitor&) -> void* { throw std::runtime_error("old data"); }, Shape::TypeId());
  sto_Store store = Open(reader);
  for (int i = 0; i < 2; ++i) {
    EXPECT_THROW(static_cast<void>(store.Load<Shape>("square")), std::runtime_error);
    EXPECT_THROW(static_cast<void>(store.LoadShared<Shape>("square")), std::runtime_error);
  }
  EXPECT_TRUE(store.HasRoot("square"));
}

TEST_F(StoreBuilding, ExceptionsComeBackAsTheirOwnClassThroughTheRoot) {
  sto_Store store = Create();
  store.Save("text", nex_TextException(atr_String("no convergence")));
  store.Save("cast", nex_BadCastException(atr_String("bad cast")));
  std::unique_ptr<nex_Exception> const text = store.Load<nex_Exception>("text");
  EXPECT_EQ(text->DynTypeId(), nex_TextException::TypeId());
  EXPECT_EQ(text->AsString().View(), "no convergence");
  EXPECT_EQ(store.LoadShared<nex_Exception>("cast")->DynTypeId(), nex_BadCastException::TypeId());
  MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<nex_BadCastException>("text")); });
}

} // namespace
