// Objects and stored values that are refused, by name, when they are saved or loaded.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/describe/DescribedTest.h"

namespace {

std::string Refusal(std::function<void()> const& act) {
  try {
    act();
  } catch (nex_Exception const& failure) {
    return failure.UserReport().CharsOrEmpty();
  }
  return "done";
}

using DescribedRefusals = DescribedTest;

// --- Derived classes that are not described.

class Bar : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Bar, kvl::Polymorphic, 0x770001, "Bar", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Area)); }
  Bar() = default;
  double m_Area = 0;
};
class Undescribed : public Bar {
 public:
  double m_Length = 3;
};
/// Written by hand.
class Rod : public Bar {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x770002; }
  Rod() = default;
  explicit Rod(cls_ReadVisitor const& visitor)
      : Bar(cls_ReadVisitor(visitor.Memento()->Clone())), m_Length(visitor.Read(LengthField(), 0.0)),
        m_Own(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const override {
    if (visitor.StartWrite(TypeId(), m_Own) == 0) return;
    Bar::DBWrite(cls_WriteVisitor(visitor, Bar::TypeId()));
    visitor.Write(LengthField(), m_Length);
  }
  [[nodiscard]] cls_Uid const& Uid() const override { return m_Own; }
  static void Declare(cls_ClassRegistrar& registrar) {
    Bar::Declare(registrar);
    registrar.AddClassMD(new cls_TypeAdapter<Rod>("Rod"_cow, 1, Bar::TypeId()))
        .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
  }
  double m_Length = 3;

 private:
  static cls_FieldHandle LengthField() { return {0, "m_Length"_cow}; }
  cls_Uid m_Own;
};
class Frame {
 public:
  KVL_PERSISTED(Frame, 0x770003, "Frame", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Bars)); }
  static void DeclareAll(cls_ClassRegistrar& registrar) {
    Declare(registrar);
    Rod::Declare(registrar);
  }
  Frame() = default;
  std::vector<std::shared_ptr<Bar>> m_Bars;
};

TEST_F(DescribedRefusals, ObjectOfADerivedClassThatIsNotDescribed) {
  std::string const expected =
      "Class Bar: an object of a class derived from it is saved, which has no KVL_PERSISTED of its own.";
  EXPECT_EQ(Refusal([&] { SaveNew(Undescribed()); }), expected);
  Frame frame;
  frame.m_Bars = {std::make_shared<Bar>(), std::make_shared<Undescribed>()};
  EXPECT_EQ(Refusal([&] { SaveNew(frame, "frame.kvs"); }), expected);
}

TEST_F(DescribedRefusals, ClassByHandMayDeriveFromADescribedOne) {
  cls_ClassRegistrar registrar;
  Frame::DeclareAll(registrar);
  Frame frame;
  frame.m_Bars = {std::make_shared<Rod>(), std::make_shared<Bar>()};
  frame.m_Bars[0]->m_Area = 7;
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, registrar, StrictOptions());
  store.Save("frame", frame);
  std::unique_ptr<Frame> const loaded = store.Load<Frame>("frame");
  auto const& rod = dynamic_cast<Rod const&>(*loaded->m_Bars.at(0));
  EXPECT_EQ(rod.m_Area, 7);
  EXPECT_EQ(rod.m_Length, 3);
}

} // namespace
