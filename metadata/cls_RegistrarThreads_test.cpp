#include <gtest/gtest.h>

#include <barrier>
#include <string>
#include <thread>
#include <vector>

#include "metadata/cls_ClassRegistrar.h"
#include "persist/visitors/cls_FieldHandle.h"

namespace {

constexpr int Threads = 8;
constexpr unsigned int FirstId = 0x7C0001;
constexpr unsigned int Classes = 300;
constexpr int Versions = 3;

std::string NameOf(unsigned int id) {
  return "Class" + std::to_string(id);
}

/// A chain of classes with versions 1 to 3 and a few attributes each.
class RegistrarThreads : public ::testing::Test {
 protected:
  RegistrarThreads() {
    for (unsigned int id = FirstId; id < FirstId + Classes; ++id)
      for (int version = 1; version <= Versions; ++version) {
        cls_ClassMetadata& metadata = m_Registrar.CreateClassMD(cow_String(NameOf(id).c_str()), id, version,
                                                                nullptr, id == FirstId ? 1 : id - 1);
        for (int field = 0; field < 5; ++field)
          metadata.AddAttribute(cls_FieldHandle(field, cow_String(("m_" + std::to_string(field)).c_str())),
                                ATTR_INT, 1, COLLECTION_NONE);
      }
  }

  /// Runs the function on all threads at once with the thread's number. Returns how many checks failed on
  /// each.
  template <class Function> static std::vector<int> OnAllThreads(Function function) {
    std::vector<int> wrong(Threads, -1);
    std::barrier together(Threads);
    std::vector<std::thread> threads;
    for (unsigned int number = 0; number < Threads; ++number)
      threads.emplace_back([number, &wrong, &together, &function] {
        together.arrive_and_wait();
        wrong[number] = function(number);
      });
    for (std::thread& thread : threads) thread.join();
    return wrong;
  }

  /// The classes, each thread starting at another one.
  static unsigned int Id(unsigned int number, unsigned int step) {
    return FirstId + (number * 37 + step) % Classes;
  }

  cls_ClassRegistrar m_Registrar;
  std::vector<int> const m_NoneWrong = std::vector<int>(Threads, 0);
};

} // namespace

TEST_F(RegistrarThreads, EightThreadsLookUpClassesAtOnce) {
  auto const lookUp = [this](unsigned int number) {
    int wrong = 0;
    for (unsigned int step = 0; step < 10 * Classes; ++step) {
      unsigned int const id = Id(number, step);
      wrong += m_Registrar.ConstGet(id).ClassId() != id;
      wrong += m_Registrar.ConstGet(id).Version() != Versions;
      wrong += !m_Registrar.ClassIsPresent(id) || m_Registrar.ClassIsPresent(id + Classes);
      for (int version = 1; version <= Versions; ++version)
        wrong += m_Registrar.GetClassMetadata(id, version).Version() != version;
      wrong += m_Registrar.ClassVersionIsPresent(id, Versions + 1);
    }
    return wrong;
  };
  EXPECT_EQ(OnAllThreads(lookUp), m_NoneWrong);
}

TEST_F(RegistrarThreads, EightThreadsLookUpNamesWithTheirOwnStrings) {
  auto const lookUp = [this](unsigned int number) {
    int wrong = 0;
    for (unsigned int step = 0; step < 3 * Classes; ++step) {
      unsigned int const id = Id(number, step);
      cow_String const own(NameOf(id).c_str());
      wrong += m_Registrar.GetClassID(own) != id || !m_Registrar.ClassNameIsPresent(own);
      cow_String const copy(m_Registrar.ConstGet(id).Name()); // shares the registered buffer
      wrong += m_Registrar.GetClassID(copy) != id || copy != own;
    }
    return wrong;
  };
  EXPECT_EQ(OnAllThreads(lookUp), m_NoneWrong);
}

TEST_F(RegistrarThreads, EightThreadsAskForVersionsAtOnce) {
  auto const ask = [this](unsigned int number) {
    int wrong = 0;
    for (unsigned int step = 0; step < 20; ++step) {
      unsigned int const id = Id(number, step * 11);
      wrong += m_Registrar.GetLastClassVersionNumber(id) != Versions;
      wrong += m_Registrar.GetFirstClassVersionNumberGREQ(id, 2) != 2;
      wrong += m_Registrar.GetFirstClassVersionNumberGREQ(id, Versions + 1) != -1;
      wrong += m_Registrar.GetPreviousClassVersionNumber(id, 2) != 1;
      wrong += m_Registrar.GetPreviousClassVersionNumber(id, 1) != -1;
    }
    return wrong;
  };
  EXPECT_EQ(OnAllThreads(ask), m_NoneWrong);
}

TEST_F(RegistrarThreads, EightThreadsWalkUpTheChainAtOnce) {
  auto const walk = [this](unsigned int number) {
    int wrong = 0;
    for (unsigned int step = 0; step < 50; ++step) {
      unsigned int const id = Id(number, step * 7);
      wrong += !m_Registrar.InheritanceCheck(id, FirstId) || !m_Registrar.InheritanceCheck(id, 1);
      wrong += m_Registrar.InheritanceCheck(id, FirstId + Classes);
      wrong += m_Registrar.DeleteCow(id, nullptr);
    }
    return wrong;
  };
  EXPECT_EQ(OnAllThreads(walk), m_NoneWrong);
}

TEST_F(RegistrarThreads, EightThreadsLookUpAttributesAtOnce) {
  auto const lookUp = [this](unsigned int number) {
    int wrong = 0;
    cow_String const own(("m_" + std::to_string(number % 5)).c_str());
    for (unsigned int step = 0; step < 3 * Classes; ++step) {
      cls_ClassMetadata const& metadata = m_Registrar.ConstGet(Id(number, step));
      cls_AttributeMetadata const* const attribute = metadata.FindAttribute(own);
      wrong += attribute == nullptr || attribute->m_FieldId != static_cast<int>(number % 5);
      wrong += metadata.MaxFieldID() != 4 || metadata.GetAttributes().Count() != 5;
      wrong += metadata.FindAttribute("m_5"_cow) != nullptr;
    }
    return wrong;
  };
  EXPECT_EQ(OnAllThreads(lookUp), m_NoneWrong);
}
