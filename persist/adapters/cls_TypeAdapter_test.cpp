#include "persist/adapters/cls_TypeAdapter.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <type_traits>

#include "metadata/cls_ClassRegistrar.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "tests/support/backend/RecordingBackEnd.h"

namespace {

using CowData = cow_COW<int, cow_Direct<int>>;

/// Counts, over the persisted classes of this test, of objects made from storage and deleted.
struct Counts {
  static inline int s_Shapes = 0;  // made from storage, including derived ones
  static inline int s_Deleted = 0; // shapes and surfaces
  static inline int s_BoltsDeleted = 0;
  static inline int s_Labels = 0; // alive
};

/// A root with virtual operations. A program can construct one, but it must never be made from storage.
class Shape {
 public:
  explicit Shape(cls_Uid const& uid) : m_Uid(uid) {}
  explicit Shape(cls_ReadVisitor const& visitor)
      : m_Uid(visitor.GetUid()), m_Color(visitor.Read(cls_FieldHandle(0, "m_Color"_cow), 0)) {
    ++Counts::s_Shapes;
  }
  virtual ~Shape() { ++Counts::s_Deleted; }
  Shape(Shape const&) = delete;
  Shape& operator=(Shape const&) = delete;

  static unsigned int TypeId() { return 0x7C0001; }

  virtual void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid) == 0) return;
    visitor.Write(cls_FieldHandle(0, "m_Color"_cow), m_Color);
  }

  cls_Uid m_Uid;
  int m_Color = 0;
};

class Bolt : public Shape {
 public:
  explicit Bolt(cls_Uid const& uid) : Shape(uid) {}
  explicit Bolt(cls_ReadVisitor const& visitor)
      : Shape(cls_ReadVisitor(visitor)), m_Length(visitor.Read(cls_FieldHandle(0, "m_Length"_cow), 0.0)) {
    if (m_Length < 0) throw std::domain_error("a bolt has a length");
  }
  ~Bolt() override { ++Counts::s_BoltsDeleted; }

  static unsigned int TypeId() { return 0x7C0002; }

  void DBWrite(cls_WriteVisitor const& visitor) const override {
    if (visitor.StartWrite(TypeId(), m_Uid) == 0) return;
    visitor.Write(cls_FieldHandle(0, "m_Length"_cow), m_Length);
  }

  double m_Length = 0;
};

/// An abstract class: it cannot be constructed at all.
class Surface {
 public:
  virtual ~Surface() { ++Counts::s_Deleted; }
  static unsigned int TypeId() { return 0x7C0003; }
  virtual void DBWrite(cls_WriteVisitor const& visitor) const = 0;
};

class Plane : public Surface {
 public:
  ~Plane() override { ++Counts::s_BoltsDeleted; }
  void DBWrite(cls_WriteVisitor const& visitor) const override {
    visitor.Write(cls_FieldHandle(5, "m_Normal"_cow), 2.5);
  }
};

/// Has no virtual operations; a derived class hides its operations.
class Label {
 public:
  Label() { ++Counts::s_Labels; }
  explicit Label(cls_ReadVisitor const& visitor)
      : m_Text(visitor.Read(cls_FieldHandle(0, "m_Text"_cow), "default"_cow)) {
    ++Counts::s_Labels;
  }
  ~Label() { --Counts::s_Labels; }
  Label(Label const&) = delete;
  Label& operator=(Label const&) = delete;

  static unsigned int TypeId() { return s_TypeId; }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    visitor.Write(cls_FieldHandle(0, "m_Text"_cow), m_Text);
  }

  static inline unsigned int s_TypeId = 0x7C0004;
  cow_String m_Text;
};
class HiddenLabel : public Label {
 public:
  void DBWrite(cls_WriteVisitor const& visitor) const {
    visitor.Write(cls_FieldHandle(1, "m_Hidden"_cow), m_Text);
  }
};

/// Has its own operator new, which returns null on request.
class Pooled {
 public:
  explicit Pooled(cls_ReadVisitor const&) {
    ++s_Made;
    if (s_Fail) throw std::domain_error("refused");
  }
  static unsigned int TypeId() { return 0x7C0005; }
  void DBWrite(cls_WriteVisitor const&) const {}

  static void* operator new(std::size_t size) noexcept {
    if (s_Empty) return nullptr;
    ++s_Allocated;
    return ::operator new(size);
  }
  static void operator delete(void* memory) noexcept {
    --s_Allocated;
    ::operator delete(memory);
  }

  static inline bool s_Empty = false;
  static inline bool s_Fail = false;
  static inline int s_Made = 0;
  static inline int s_Allocated = 0;
};

CowData* s_DeletedData = nullptr;

class TypeAdapter : public ::testing::Test {
 protected:
  TypeAdapter() {
    Counts::s_Shapes = Counts::s_Deleted = Counts::s_BoltsDeleted = 0;
    Pooled::s_Empty = Pooled::s_Fail = false;
    Pooled::s_Made = Pooled::s_Allocated = 0;
    m_Recorder.Name(m_Uid, "U");
    m_Recorder.KeepAll(); // so that the log shows only the calls of the adapters
  }

  /// The calls that writing an object makes.
  Lines Written(cls_ClassMetadata const& metadata, void const* object) {
    cls_WriteVisitor const visitor(m_Recorder.NewWriter());
    metadata.DBWrite(object, visitor);
    return m_Recorder.TakeLines();
  }

  Recorder m_Recorder;
  cls_Uid m_Uid;
  cls_AbsTypeAdapter<Shape> m_Shapes{"Shape"_cow, 800, 1};
  cls_TypeAdapter<Bolt> m_Bolts{"Bolt"_cow, 871, Shape::TypeId()};
  cls_AbsTypeAdapter<Surface> m_Surfaces{"Surface"_cow, 1, 1};
  cls_TypeAdapter<Label> m_Labels{"Label"_cow, 1, 1};
  cls_TypeAdapter<Pooled> m_Pool{"Pooled"_cow, 1, 1};
};

using TypeAdapterDeathTest = TypeAdapter;

} // namespace

// --- What an adapter describes.

TEST_F(TypeAdapter, AbstractAdapterDescribesItsType) {
  cow_String const name("Shape");
  cls_AbsTypeAdapter<Shape> const adapter(name, -7, 0xFFFFFFFFU);
  EXPECT_TRUE(adapter.Name().SharesBufferWith(name));
  EXPECT_EQ(adapter.ClassId(), 0x7C0001U);
  EXPECT_EQ(adapter.Version(), -7);
  EXPECT_EQ(adapter.BaseClassId(), 0xFFFFFFFFU);
}

TEST_F(TypeAdapter, ConcreteAdapterDescribesItsType) {
  cow_String const name("Bolt");
  cls_TypeAdapter<Bolt> const adapter(name, 871, Shape::TypeId());
  EXPECT_TRUE(adapter.Name().SharesBufferWith(name));
  EXPECT_EQ(adapter.ClassId(), 0x7C0002U);
  EXPECT_EQ(adapter.Version(), 871);
  EXPECT_EQ(adapter.BaseClassId(), 0x7C0001U);
}

TEST_F(TypeAdapter, StartsWithTheDefaultsOfClassMetadata) {
  for (cls_ClassMetadata const* adapter :
       {static_cast<cls_ClassMetadata*>(&m_Shapes), static_cast<cls_ClassMetadata*>(&m_Bolts)}) {
    EXPECT_FALSE(adapter->HasDtor());
    EXPECT_EQ(adapter->TableExtentQuantum(), 4);
    EXPECT_EQ(adapter->GetAttributes().Count(), 0U);
    EXPECT_EQ(adapter->MaxFieldID(), -1);
  }
}

TEST_F(TypeAdapter, AsksTheTypeForItsIdWhenItIsMade) {
  Label::s_TypeId = 0x7C0009;
  cls_TypeAdapter<Label> const adapter("Label"_cow, 1, 1);
  Label::s_TypeId = 0x7C0004;
  EXPECT_EQ(adapter.ClassId(), 0x7C0009U);
  EXPECT_EQ(m_Labels.ClassId(), 0x7C0004U);
}

TEST_F(TypeAdapter, AddsNoData) {
  static_assert(sizeof(cls_AbsTypeAdapter<Shape>) == sizeof(cls_ClassMetadata));
  static_assert(sizeof(cls_TypeAdapter<Bolt>) == sizeof(cls_ClassMetadata));
  static_assert(std::is_base_of_v<cls_AbsTypeAdapter<Bolt>, cls_TypeAdapter<Bolt>>);
  static_assert(std::is_base_of_v<cls_ClassMetadata, cls_AbsTypeAdapter<Bolt>>);
}

TEST_F(TypeAdapterDeathTest, TypeThatIsItsOwnBaseEndsTheProcess) {
  EXPECT_EXIT(cls_TypeAdapter<Bolt>("Bolt"_cow, 1, Bolt::TypeId()), ::testing::KilledBySignal(SIGABRT),
              ::testing::Eq("ODB metadat for class: Bolt\n"
                            "  Is incorrectly defined.  The base class ID is\n"
                            "  the same as the class ID.  Please correct this.\n"));
}

// --- Writing.

TEST_F(TypeAdapter, WritesAnObjectOfItsType) {
  Shape shape(m_Uid);
  shape.m_Color = 7;
  EXPECT_EQ(Written(m_Shapes, &shape), Lines({R"(write1.Write(field 0 "m_Color", int 7))"}));
}

TEST_F(TypeAdapter, PassesTheVisitorItself) {
  Shape const shape(m_Uid);
  m_Recorder.Name(&shape, "S");
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_FieldHandle const field(3, "m_Shape"_cow);
  cls_WriteVisitor const visitor(parent, field, nullptr, &shape);
  m_Shapes.DBWrite(&shape, visitor);
  EXPECT_NE(visitor.Memento(), nullptr);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(write1.MakeFieldWriteObj(field 3 "m_Shape", uint 0x7c0001, uid U, S) = write2)",
                   R"(write2.Write(field 0 "m_Color", int 0))"}));
}

TEST_F(TypeAdapter, AdapterOfABaseWritesADerivedObjectAsItsOwnClass) {
  Bolt bolt(m_Uid);
  bolt.m_Length = 2.5;
  EXPECT_EQ(Written(m_Shapes, static_cast<Shape*>(&bolt)),
            Lines({R"(write1.Write(field 0 "m_Length", double 2.5))"}));
}

TEST_F(TypeAdapter, ConcreteAdapterWritesLikeTheAbstract) {
  Bolt const bolt(m_Uid);
  EXPECT_EQ(Written(m_Bolts, &bolt), Lines({R"(write1.Write(field 0 "m_Length", double 0))"}));
}

TEST_F(TypeAdapter, WritesATypeThatCannotBeConstructed) {
  Plane const plane;
  EXPECT_EQ(Written(m_Surfaces, static_cast<Surface const*>(&plane)),
            Lines({R"(write1.Write(field 5 "m_Normal", double 2.5))"}));
}

TEST_F(TypeAdapter, WritesATypeWithoutVirtualOperationsDirectly) {
  HiddenLabel label;
  label.m_Text = cow_String("text");
  EXPECT_EQ(Written(m_Labels, static_cast<Label*>(&label)),
            Lines({R"(write1.Write(field 0 "m_Text", string "text"))"}));
}

TEST_F(TypeAdapter, WriteFailurePassesThrough) {
  Shape const shape(m_Uid);
  m_Recorder.FailAt("Write");
  EXPECT_THROW(Written(m_Shapes, &shape), BackEndFailure);
}

// --- Deleting.

TEST_F(TypeAdapter, DeleteOfNullDoesNothing) {
  for (cls_ClassMetadata const* adapter :
       {static_cast<cls_ClassMetadata*>(&m_Shapes), static_cast<cls_ClassMetadata*>(&m_Bolts),
        static_cast<cls_ClassMetadata*>(&m_Surfaces), static_cast<cls_ClassMetadata*>(&m_Labels),
        static_cast<cls_ClassMetadata*>(&m_Pool)})
    adapter->Delete(nullptr);
  EXPECT_EQ(Counts::s_Deleted, 0);
  EXPECT_EQ(Counts::s_Labels, 0);
  EXPECT_EQ(Pooled::s_Allocated, 0);
}

TEST_F(TypeAdapter, DeletesAnObjectOfItsType) {
  m_Shapes.Delete(new Shape(m_Uid));
  EXPECT_EQ(Counts::s_Deleted, 1);
  EXPECT_EQ(Counts::s_BoltsDeleted, 0);
  m_Bolts.Delete(new Bolt(m_Uid));
  EXPECT_EQ(Counts::s_Deleted, 2);
  EXPECT_EQ(Counts::s_BoltsDeleted, 1);
}

TEST_F(TypeAdapter, AdapterOfABaseRunsTheDerivedDestructor) {
  m_Shapes.Delete(static_cast<Shape*>(new Bolt(m_Uid)));
  EXPECT_EQ(Counts::s_BoltsDeleted, 1);
  EXPECT_EQ(Counts::s_Deleted, 1);
  m_Surfaces.Delete(static_cast<Surface*>(new Plane));
  EXPECT_EQ(Counts::s_BoltsDeleted, 2);
  EXPECT_EQ(Counts::s_Deleted, 2);
}

TEST_F(TypeAdapter, DeletesATypeWithoutVirtualOperations) {
  auto* const label = new Label;
  EXPECT_EQ(Counts::s_Labels, 1);
  m_Labels.Delete(label);
  EXPECT_EQ(Counts::s_Labels, 0);
}

TEST_F(TypeAdapter, DeleteCowIsInheritedFromTheMetadata) {
  CowData data(new int(1));
  m_Bolts.DeleteCow(&data);
  EXPECT_EQ(data.ConstGet(), 1);
  m_Bolts.AddDtor([](CowData* deleted) { s_DeletedData = deleted; });
  m_Bolts.DeleteCow(&data);
  EXPECT_EQ(s_DeletedData, &data);
}

// --- Building.

TEST_F(TypeAdapter, ConcreteAdapterBuildsAnObjectFromTheReader) {
  m_Recorder.Store("m_Length", 4.5);
  m_Recorder.Store("m_Color", 3);
  m_Recorder.m_Uid = m_Uid;
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  std::unique_ptr<Bolt> const bolt(static_cast<Bolt*>(m_Bolts.Ctor(visitor)));
  ASSERT_NE(bolt, nullptr);
  EXPECT_EQ(bolt->m_Length, 4.5);
  EXPECT_EQ(bolt->m_Color, 3);
  EXPECT_EQ(bolt->m_Uid.Entry(), m_Uid.Entry());
}

// A copy of the reader would read the base-class part.
TEST_F(TypeAdapter, BuildsFromTheReaderItselfAndNotFromACopy) {
  m_Recorder.Store("m_Text", "stored");
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  auto* const label = static_cast<Label*>(m_Labels.Ctor(visitor));
  EXPECT_EQ(label->m_Text, "stored");
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(read1.Read(field 0 "m_Text", string "default") = string "stored")"}));
  m_Labels.Delete(label);
}

TEST_F(TypeAdapter, BuildsANewObjectEachTime) {
  cls_ReadVisitor const visitor(nullptr);
  void* const first = m_Labels.Ctor(visitor);
  void* const second = m_Labels.Ctor(visitor);
  EXPECT_NE(first, second);
  EXPECT_EQ(Counts::s_Labels, 2);
  m_Labels.Delete(first);
  m_Labels.Delete(second);
}

TEST_F(TypeAdapter, AbstractAdapterNeverBuilds) {
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  EXPECT_EQ(m_Shapes.Ctor(visitor), nullptr);
  EXPECT_EQ(m_Surfaces.Ctor(visitor), nullptr);
  EXPECT_EQ(Counts::s_Shapes, 0);
  EXPECT_EQ(m_Recorder.Lines(), Lines());
}

TEST_F(TypeAdapter, ConstructorFailurePassesThrough) {
  m_Recorder.Store("m_Length", -1.0);
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  EXPECT_THROW(m_Bolts.Ctor(visitor), std::domain_error);
  EXPECT_EQ(Counts::s_Shapes, 1);
  EXPECT_EQ(Counts::s_Deleted, 1); // the base part, which was complete
}

TEST_F(TypeAdapter, BackEndFailurePassesThrough) {
  m_Recorder.FailAt("Read");
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  EXPECT_THROW(m_Labels.Ctor(visitor), BackEndFailure);
  EXPECT_EQ(Counts::s_Labels, 0);
}

TEST_F(TypeAdapter, FailedConstructorLeaksNoMemory) {
  Pooled::s_Fail = true;
  EXPECT_THROW(m_Pool.Ctor(cls_ReadVisitor(nullptr)), std::domain_error);
  EXPECT_EQ(Pooled::s_Made, 1);
  EXPECT_EQ(Pooled::s_Allocated, 0);
}

TEST_F(TypeAdapter, NullFromOperatorNewBuildsNothing) {
  Pooled::s_Empty = true;
  EXPECT_EQ(m_Pool.Ctor(cls_ReadVisitor(nullptr)), nullptr);
  EXPECT_EQ(Pooled::s_Made, 0);
}

TEST_F(TypeAdapter, UsesTheTypesOwnNewAndDelete) {
  void* const object = m_Pool.Ctor(cls_ReadVisitor(nullptr));
  EXPECT_EQ(Pooled::s_Allocated, 1);
  m_Pool.Delete(object);
  EXPECT_EQ(Pooled::s_Allocated, 0);
}

// --- In a registrar, where only the base class is known.

TEST_F(TypeAdapter, WorksThroughTheRegistrar) {
  cls_ClassRegistrar registrar;
  registrar.AddClassMD(new cls_AbsTypeAdapter<Shape>("Shape"_cow, 800, 1))
      .AddAttribute(cls_FieldHandle(0, "m_Color"_cow), ATTR_INT, 1, COLLECTION_NONE);
  registrar.AddClassMD(new cls_TypeAdapter<Bolt>("Bolt"_cow, 800, Shape::TypeId()))
      .AddDtor([](CowData* data) { s_DeletedData = data; })
      .AddAttribute(cls_FieldHandle(0, "m_Length"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE);
  EXPECT_TRUE(registrar.InheritanceCheck(Bolt::TypeId(), Shape::TypeId()));
  cls_ClassMetadata const& metadata = registrar.ConstGet(registrar.GetClassID("Bolt"_cow));
  m_Recorder.Store("m_Length", 1.5);
  void* object = nullptr;
  {
    cls_ReadVisitor const reader(m_Recorder.NewReader());
    object = metadata.Ctor(reader);
  }
  ASSERT_NE(object, nullptr);
  m_Recorder.TakeLines();
  EXPECT_EQ(Written(metadata, object), Lines({R"(write1.Write(field 0 "m_Length", double 1.5))"}));
  metadata.Delete(object);
  EXPECT_EQ(Counts::s_BoltsDeleted, 1);
  CowData data;
  EXPECT_TRUE(registrar.DeleteCow(Bolt::TypeId(), &data));
  EXPECT_EQ(s_DeletedData, &data);
  EXPECT_EQ(registrar.ConstGet(Shape::TypeId()).Ctor(cls_ReadVisitor(nullptr)), nullptr);
}

TEST_F(TypeAdapter, IsDeletedThroughTheMetadata) {
  class Watched : public cls_TypeAdapter<Label> {
   public:
    explicit Watched(bool& gone) : cls_TypeAdapter<Label>("Label"_cow, 1, 1), m_Gone(gone) {}
    ~Watched() override { m_Gone = true; }

   private:
    bool& m_Gone;
  };
  bool gone = false;
  std::unique_ptr<cls_ClassMetadata> metadata = std::make_unique<Watched>(gone);
  metadata->AddAttribute(cls_FieldHandle(0, "m_Text"_cow), ATTR_STRING, 1, COLLECTION_NONE);
  metadata.reset();
  EXPECT_TRUE(gone);
}
