#include "persist/pointers/cls_ReadCow.h"

#include <gtest/gtest.h>

#include <new>

#include "tests/support/backend/PointerBackEnd.h"
#include "tests/support/store/StoreNewFault.h"

namespace {

/// A payload that counts its objects.
class Section {
 public:
  explicit Section(cls_ReadVisitor const& visitor)
      : m_Value(visitor.Read(cls_FieldHandle("m_Value"_cow), -1)) {
    ++s_Living;
  }
  Section(Section const& other) : m_Value(other.m_Value) { ++s_Living; }
  ~Section() { --s_Living; }
  Section& operator=(Section const&) = delete;

  int m_Value;
  static inline int s_Living = 0;
};
using SectionCow = cow_COW<Section, cow_Direct<Section>>;

/// Holds one payload in two fields.
struct Beam {
  static constexpr unsigned int TypeId() noexcept { return 0x750001; }
  static SectionCow Read(cls_ReadVisitor const& visitor, char const* field) {
    return cls_ReadCow<Section, cow_Direct<Section>>(visitor, cls_FieldHandle(cow_String(field)));
  }
  explicit Beam(cls_ReadVisitor const& visitor)
      : m_Left(Read(visitor, "m_Left")), m_Right(Read(visitor, "m_Right")) {}
  void DBWrite(cls_WriteVisitor const&) const {}

  SectionCow m_Left;
  SectionCow m_Right;
};

} // namespace

TEST(ReadCow, LoadWithoutMemoryLeavesNoPayload) {
  cls_ClassRegistrar classes;
  classes.AddClassMD(new cls_TypeAdapter<Beam>("Beam"_cow, 1, 1));
  PointerBackEnd backEnd(classes);
  backEnd.m_Objects[1] = {Beam::TypeId(), 1, 1, {{"m_Left", 2}, {"m_Right", 2}}};
  backEnd.m_Objects[2] = {0x750002, 1, 2, {}};
  int failures = 0;
  for (bool fails = true; fails; failures += fails ? 1 : 0) {
    StoreNewFault::FailAt(failures + 1);
    try {
      std::unique_ptr<Beam> const beam = backEnd.Load<Beam>(1);
      StoreNewFault::FailAt(0);
      EXPECT_EQ(Section::s_Living, 1); // both fields share it
      EXPECT_EQ(beam->m_Right.ConstGet().m_Value, 2);
      fails = false;
    } catch (std::bad_alloc const&) {
      StoreNewFault::FailAt(0);
    }
    ASSERT_EQ(Section::s_Living, 0) << "after failure " << failures;
  }
  EXPECT_GT(failures, 5);
}
