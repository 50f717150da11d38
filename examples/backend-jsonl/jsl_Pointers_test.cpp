#include "examples/backend-jsonl/jsl_Session.h"

#include "examples/backend-jsonl/jsl_TestFolder.h"
#include "persist/pointers/cls_ReadCow.h"

#include <fstream>
#include <functional>
#include <sstream>

// Objects that are held through pointers come back shared, checked, and as the class that they are of.

namespace {

cls_FieldHandle Field(char const* name) {
  return cls_FieldHandle(cow_String(name));
}

class Material {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x740051; }
  explicit Material(int strength) : m_Strength(strength) {}
  explicit Material(cls_ReadVisitor const& visitor)
      : m_Strength(visitor.Read(Field("m_Strength"), -1)), m_Uid(visitor.GetUid()) {}
  virtual ~Material() = default;
  virtual void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid) != 0) visitor.Write(Field("m_Strength"), m_Strength);
  }
  int m_Strength;
  cls_Uid m_Uid;
};

class Alloy : public Material {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x740052; }
  Alloy(int strength, int parts) : Material(strength), m_Parts(parts) {}
  explicit Alloy(cls_ReadVisitor const& visitor)
      : Material(cls_ReadVisitor(visitor)), m_Parts(visitor.Read(Field("m_Parts"), -1)),
        m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const override {
    if (visitor.StartWrite(TypeId(), m_Uid) == 0) return;
    Material::DBWrite(cls_WriteVisitor(visitor, Material::TypeId()));
    visitor.Write(Field("m_Parts"), m_Parts);
  }
  int m_Parts;
  cls_Uid m_Uid;
};

/// A class that nothing derives from and that is not a material.
struct Label {
  static constexpr unsigned int TypeId() noexcept { return 0x740053; }
  explicit Label(cls_ReadVisitor const&) {}
  virtual ~Label() = default;
  void DBWrite(cls_WriteVisitor const&) const {}
};

using MaterialCow = cow_COW<Material, cow_Direct<Material>>;

class Frame {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x740054; }
  Frame() = default;
  explicit Frame(cls_ReadVisitor const& visitor)
      : m_Own(cls_ReadOwned<Material>(visitor, Field("m_Own"))),
        m_First(cls_ReadShared<Material>(visitor, Field("m_First"))),
        m_Second(cls_ReadShared<Material>(visitor, Field("m_Second"))),
        m_FirstCow(cls_ReadCow<Material, cow_Direct<Material>>(visitor, Field("m_FirstCow"))),
        m_SecondCow(cls_ReadCow<Material, cow_Direct<Material>>(visitor, Field("m_SecondCow"))),
        m_Next(cls_ReadShared<Frame>(visitor, Field("m_Next"))), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid) == 0) return;
    Write(visitor, "m_Own", m_Own.get());
    Write(visitor, "m_First", m_First.get());
    Write(visitor, "m_Second", m_Second.get());
    Write(visitor, "m_FirstCow", m_FirstCow.ConstPtr());
    Write(visitor, "m_SecondCow", m_SecondCow.ConstPtr());
    Write(visitor, "m_Next", m_Next.lock().get());
  }
  template <class T> static void Write(cls_WriteVisitor const& visitor, char const* name, T const* object) {
    if (object != nullptr) object->DBWrite(cls_WriteVisitor(visitor, Field(name), nullptr, object));
  }

  std::unique_ptr<Material> m_Own;
  std::shared_ptr<Material> m_First;
  std::shared_ptr<Material> m_Second;
  MaterialCow m_FirstCow;
  MaterialCow m_SecondCow;
  std::weak_ptr<Frame> m_Next;
  cls_Uid m_Uid;
};

class JslPointers : public jsl_TestFolder {
 protected:
  JslPointers() {
    m_Classes.AddClassMD(new cls_TypeAdapter<Material>("Material"_cow, 1, 1));
    m_Classes.AddClassMD(new cls_TypeAdapter<Alloy>("Alloy"_cow, 1, Material::TypeId()));
    m_Classes.AddClassMD(new cls_TypeAdapter<Label>("Label"_cow, 1, 1));
    m_Classes.AddClassMD(new cls_TypeAdapter<Frame>("Frame"_cow, 1, 1));
  }
  void Save(Frame const& frame) { jsl_Session(NewPath(), jsl_Mode::Create, m_Classes).Save("frame", frame); }
  /// The text of what loading the file raises.
  std::string RaisedByLoading() {
    try {
      static_cast<void>(jsl_Session(Path(), jsl_Mode::ReadOnly, m_Classes).Load<Frame>("frame"));
    } catch (nex_Exception& exception) {
      return exception.AsString().Chars();
    }
    return "nothing was raised";
  }
  /// Replaces a class of the file by another, at the first object that is of it.
  void ChangeClass(unsigned int from, unsigned int to) {
    std::stringstream text;
    text << std::ifstream(Path()).rdbuf();
    std::string content = text.str();
    std::string const before = "\"class\":" + std::to_string(from) + ",";
    std::size_t const at = content.find(before);
    ASSERT_NE(at, std::string::npos);
    content.replace(at, before.size(), "\"class\":" + std::to_string(to) + ",");
    std::ofstream(Path()) << content;
  }

  cls_ClassRegistrar m_Classes;
};

} // namespace

TEST_F(JslPointers, ObjectsBehindPointersOfEachKindComeBack) {
  Frame frame;
  frame.m_Own = std::make_unique<Material>(1);
  frame.m_First = std::make_shared<Material>(2);
  frame.m_FirstCow = MaterialCow(new Material(3));
  Save(frame);

  jsl_Session session(Path(), jsl_Mode::ReadOnly, m_Classes);
  std::unique_ptr<Frame> const loaded = session.Load<Frame>("frame");
  EXPECT_EQ(loaded->m_Own->m_Strength, 1);
  EXPECT_EQ(loaded->m_First->m_Strength, 2);
  EXPECT_EQ(loaded->m_FirstCow.ConstGet().m_Strength, 3);
}

TEST_F(JslPointers, AnObjectThatTwoPointersHoldIsOneObject) {
  Frame frame;
  frame.m_First = frame.m_Second = std::make_shared<Material>(2);
  frame.m_FirstCow = frame.m_SecondCow = MaterialCow(new Material(3));
  Save(frame);

  jsl_Session session(Path(), jsl_Mode::ReadOnly, m_Classes);
  std::unique_ptr<Frame> const loaded = session.Load<Frame>("frame");
  EXPECT_EQ(loaded->m_First, loaded->m_Second);
  EXPECT_EQ(&loaded->m_FirstCow.ConstGet(), &loaded->m_SecondCow.ConstGet());
  EXPECT_NE(loaded->m_First->m_Uid.Entry(), loaded->m_FirstCow.ConstGet().m_Uid.Entry());

  std::unique_ptr<Frame> const again = session.Load<Frame>("frame"); // another object with the same identity
  EXPECT_NE(again->m_First, loaded->m_First);
  EXPECT_EQ(again->m_First->m_Uid.Entry(), loaded->m_First->m_Uid.Entry());
}

TEST_F(JslPointers, ANullPointerComesBackNull) {
  Save(Frame());
  jsl_Session session(Path(), jsl_Mode::ReadOnly, m_Classes);
  std::unique_ptr<Frame> const loaded = session.Load<Frame>("frame");
  EXPECT_EQ(loaded->m_Own, nullptr);
  EXPECT_EQ(loaded->m_First, nullptr);
  EXPECT_TRUE(loaded->m_FirstCow.IsNull());
  EXPECT_EQ(loaded->m_Next.lock(), nullptr);
}

TEST_F(JslPointers, ADerivedObjectComesBackAsItsOwnClass) {
  Frame frame;
  frame.m_Own = std::make_unique<Alloy>(4, 5);
  Save(frame);
  jsl_Session session(Path(), jsl_Mode::ReadOnly, m_Classes);
  std::unique_ptr<Frame> const loaded = session.Load<Frame>("frame");
  auto const* const alloy = dynamic_cast<Alloy const*>(loaded->m_Own.get());
  ASSERT_NE(alloy, nullptr);
  EXPECT_EQ(alloy->m_Strength, 4);
  EXPECT_EQ(alloy->m_Parts, 5);
}

TEST_F(JslPointers, ACycleLeadsBackToTheObjectThatIsLoadedShared) {
  auto const one = std::make_shared<Frame>();
  one->m_Next = one;
  Save(*one);
  jsl_Session session(Path(), jsl_Mode::ReadOnly, m_Classes);
  std::shared_ptr<Frame> const loaded = session.LoadShared<Frame>("frame");
  EXPECT_EQ(loaded->m_Next.lock(), loaded);

  std::string const raised = RaisedByLoading(); // for one owner, no pointer can lead back to it
  EXPECT_TRUE(raised.starts_with(Path() + ": Object ")) << raised;
  EXPECT_TRUE(
      raised.ends_with(" is loaded for one owner, and its own graph leads back to it: load it shared."))
      << raised;
}

TEST_F(JslPointers, AnObjectOfAnotherClassIsRefusedByName) {
  Frame frame;
  frame.m_Own = std::make_unique<Material>(1);
  Save(frame);
  ChangeClass(Material::TypeId(), Label::TypeId());
  std::string const raised = RaisedByLoading();
  EXPECT_TRUE(raised.starts_with(Path() + ": Object ")) << raised;
  EXPECT_TRUE(raised.ends_with(" is of class Label, not Material.")) << raised;
  ChangeClass(Label::TypeId(), 0x740059);
  EXPECT_TRUE(RaisedByLoading().ends_with(
      " is of class 0x740059, not Material. Class 0x740059 is not declared in the class registrar: declare it, if it "
      "derives from Material."))
      << RaisedByLoading();
}

TEST_F(JslPointers, AFailedLoadLeavesNothingForTheNext) {
  auto const one = std::make_shared<Frame>();
  one->m_Next = one;
  Save(*one);
  jsl_Session session(Path(), jsl_Mode::ReadOnly, m_Classes);
  EXPECT_THROW(static_cast<void>(session.Load<Frame>("frame")), nex_TextException);
  EXPECT_FALSE(session.Loaded().InLoad());
  std::shared_ptr<Frame> const loaded = session.LoadShared<Frame>("frame");
  EXPECT_EQ(loaded->m_Next.lock(), loaded);
}
