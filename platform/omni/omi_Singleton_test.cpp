#include "platform/omni/omi_Singleton.h"

#include <gtest/gtest.h>

namespace {

struct Service : omi_Singleton<Service> {
  Service() : m_SeenInConstructor(&Instance()) { ++s_Made; }
  ~Service() { ++s_Gone; }
  Service* m_SeenInConstructor;

  static inline int s_Made = 0;
  static inline int s_Gone = 0;
};

struct Fragile : omi_Singleton<Fragile> {
  Fragile() {
    if (s_Fail) throw 1;
  }
  static inline bool s_Fail = true;
};

TEST(omi_Singleton, MakesTheInstanceOnlyAtTheFirstCall) {
  int const made = Service::s_Made;
  EXPECT_EQ(Service::InstanceIfAny(), nullptr);
  EXPECT_EQ(Service::s_Made, made);
  Service& first = Service::Instance();
  EXPECT_EQ(&Service::Instance(), &first);
  EXPECT_EQ(Service::InstanceIfAny(), &first);
  EXPECT_EQ(Service::s_Made, made + 1);
  delete &first;
}

TEST(omi_Singleton, IsReachableInsideItsOwnConstructor) {
  Service& service = Service::Instance();
  EXPECT_EQ(service.m_SeenInConstructor, &service);
  delete &service;
}

TEST(omi_Singleton, MakesANewInstanceAfterTheOldOneIsDeleted) {
  int const made = Service::s_Made;
  int const gone = Service::s_Gone;
  delete &Service::Instance();
  EXPECT_EQ(Service::InstanceIfAny(), nullptr);
  delete &Service::Instance();
  EXPECT_EQ(Service::s_Made, made + 2);
  EXPECT_EQ(Service::s_Gone, gone + 2);
}

TEST(omi_Singleton, FailedConstructorLeavesNoInstance) {
  Fragile::s_Fail = true;
  EXPECT_THROW(Fragile::Instance(), int);
  EXPECT_EQ(Fragile::InstanceIfAny(), nullptr);
  Fragile::s_Fail = false;
  Fragile& second = Fragile::Instance();
  EXPECT_EQ(Fragile::InstanceIfAny(), &second);
  delete &second;
}

} // namespace
