#include "persist/pointers/cls_RegistrarSource.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

struct Source final : cls_RegistrarSource {
  using cls_RegistrarSource::cls_RegistrarSource;
  [[noreturn]] void RaiseNotBuilt(cls_BuildFailure const& failure) const override {
    throw std::runtime_error(failure.m_Text);
  }
};

class RegistrarSource : public ::testing::Test {
 protected:
  RegistrarSource() {
    for (int const version : {2, 5}) m_Classes.CreateClassMD("Beam"_cow, 0x40, version, nullptr, 0x30);
    m_Classes.CreateClassMD("Part"_cow, 0x30, 1, nullptr, 1);
  }
  cls_ClassRegistrar m_Classes;
  Source m_Source{m_Classes};
};

} // namespace

TEST_F(RegistrarSource, VersionIsBuiltByItsMetadataOrTheNextAbove) {
  EXPECT_EQ(m_Source.MetadataOf(0x40, 1)->Version(), 2);
  EXPECT_EQ(m_Source.MetadataOf(0x40, 2)->Version(), 2);
  EXPECT_EQ(m_Source.MetadataOf(0x40, 3)->Version(), 5);
  EXPECT_EQ(m_Source.MetadataOf(0x40, 5)->Version(), 5);
  EXPECT_EQ(m_Source.MetadataOf(0x40, 6), nullptr);
  EXPECT_EQ(m_Source.MetadataOf(0x99, 1), nullptr);
}

TEST_F(RegistrarSource, NewestVersionIsWritten) {
  EXPECT_EQ(m_Source.VersionToWrite(0x40), 5);
  EXPECT_EQ(m_Source.VersionToWrite(0x30), 1);
  EXPECT_EQ(m_Source.VersionToWrite(0x99), 1);
}

TEST_F(RegistrarSource, KnowsBasesAndNames) {
  EXPECT_TRUE(m_Source.IsDerived(0x40, 0x30));
  EXPECT_FALSE(m_Source.IsDerived(0x30, 0x40));
  EXPECT_EQ(m_Source.NameOf(0x40), "Beam");
  EXPECT_EQ(m_Source.NameOf(0x9A), "0x9A");
  EXPECT_EQ(m_Source.Describe(0x30), "Part");
  EXPECT_TRUE(m_Source.HasIdentity(1));
}

TEST_F(RegistrarSource, TableOutlivesTheSource) {
  std::shared_ptr<cls_LoadedObjects> loaded;
  {
    Source const source(m_Classes);
    loaded = source.SharedLoaded();
    EXPECT_EQ(loaded.get(), &source.Loaded());
  }
  EXPECT_FALSE(loaded->InLoad());
}
