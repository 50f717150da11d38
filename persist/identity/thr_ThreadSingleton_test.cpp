#include "persist/identity/thr_ThreadSingleton.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "persist/identity/cls_Static.h"
#include "platform/thr/thr_ThrSingletonRegistry.h"
#include "platform/thr/thr_ThreadSlot.h"
#include "tests/support/OnThread.h"
#include "tests/support/ThreadRegistry.h"

namespace {

/// A per-thread service; each test uses its own `Number`.
template <int Number, int Level = 7> class Service : public thr_ThreadSingleton<Service<Number, Level>> {
 public:
  static constexpr int DestructLevel = Level;
  static inline std::atomic<int> s_Made = 0;
  static inline std::atomic<int> s_Gone = 0;

  Service* m_SeenInConstructor;

 private:
  friend class thr_ThreadSingleton<Service>;
  friend class thr_ThreadSingletonBase<Service>;
  Service() : m_SeenInConstructor(thr_ThreadSingletonBase<Service>::Instance()) {
    ++s_Made;
    this->SetDestructLevel();
  }
  ~Service() { ++s_Gone; }
};

template <class T> using Base = thr_ThreadSingletonBase<T>;

TEST(thr_ThreadSingleton, BaseAccessorNeverMakesAnInstance) {
  using S = Service<1>;
  EXPECT_EQ(Base<S>::Instance(), nullptr);
  EXPECT_EQ(S::s_Made, 0);
  EXPECT_EQ(Base<S>::UserCount(), 0);
  EXPECT_EQ(Base<S>::Slot(), -1);
}

TEST(thr_ThreadSingleton, AccessorMakesOneInstanceForEachThread) {
  using S = Service<2>;
  OnThread([] {
    S& instance = S::Instance();
    EXPECT_EQ(&S::Instance(), &instance);
    EXPECT_EQ(Base<S>::Instance(), &instance);
    EXPECT_EQ(S::s_Made, 1);
    OnThread([&] {
      EXPECT_EQ(Base<S>::Instance(), nullptr);
      EXPECT_NE(&S::Instance(), &instance);
    });
    EXPECT_EQ(S::s_Made, 2);
    EXPECT_EQ(S::s_Gone, 1);
    EXPECT_EQ(Base<S>::Instance(), &instance);
  });
  EXPECT_EQ(S::s_Gone, 2);
}

TEST(thr_ThreadSingleton, IsBoundToTheThreadBeforeItsOwnConstructorRuns) {
  using S = Service<3>;
  OnThread([] { EXPECT_EQ(S::Instance().m_SeenInConstructor, &S::Instance()); });
}

TEST(thr_ThreadSingleton, SlotLivesFromTheFirstInstanceToTheLast) {
  using S = Service<4>;
  EXPECT_EQ(Base<S>::Slot(), -1);
  OnThread([] {
    S::Instance();
    int const slot = Base<S>::Slot();
    EXPECT_GE(slot, 0);
    EXPECT_EQ(thr_TlsGetValue(slot), &S::Instance());
    OnThread([slot] {
      S::Instance();
      EXPECT_EQ(Base<S>::Slot(), slot);
    });
    EXPECT_EQ(Base<S>::Slot(), slot);
  });
  EXPECT_EQ(Base<S>::Slot(), -1);
}

TEST(thr_ThreadSingleton, FreedSlotCanBeUsedByAnotherType) {
  using First = Service<5>;
  using Second = Service<6>;
  int slot = -1;
  OnThread([&] {
    First::Instance();
    slot = Base<First>::Slot();
    EXPECT_TRUE(Base<First>::Finalize());
    EXPECT_EQ(Base<Second>::Instance(), nullptr);
    Second::Instance();
    EXPECT_EQ(Base<Second>::Slot(), slot);
    EXPECT_EQ(Base<First>::Instance(), nullptr);
    First::Instance();
    EXPECT_NE(Base<First>::Slot(), slot);
  });
  EXPECT_EQ(First::s_Gone, 2);
  EXPECT_EQ(Second::s_Gone, 1);
}

TEST(thr_ThreadSingleton, CountsTheThreadsThatHaveAnInstance) {
  using S = Service<8>;
  constexpr int Threads = 6;
  std::barrier together(Threads + 1);
  std::vector<std::thread> threads;
  for (int t = 0; t < Threads; ++t)
    threads.emplace_back([&] {
      S::Instance();
      S::Instance();
      together.arrive_and_wait(); // every thread has one
      together.arrive_and_wait(); // and has been counted
    });
  together.arrive_and_wait();
  EXPECT_EQ(Base<S>::UserCount(), Threads);
  EXPECT_EQ(Base<S>::Instance(), nullptr);
  EXPECT_FALSE(Base<S>::Finalize());
  EXPECT_EQ(Base<S>::UserCount(), Threads);
  together.arrive_and_wait();
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Base<S>::UserCount(), 0);
  EXPECT_EQ(Base<S>::Slot(), -1);
}

TEST(thr_ThreadSingleton, FinaliserReportsWhetherItDestroyedAnInstance) {
  using S = Service<9>;
  OnThread([] {
    EXPECT_FALSE(Base<S>::Finalize()); // no thread has one
    S::Instance();
    EXPECT_TRUE(Base<S>::Finalize());
    EXPECT_EQ(S::s_Gone, 1);
    EXPECT_EQ(Base<S>::Instance(), nullptr);
    EXPECT_EQ(Base<S>::UserCount(), 0);
    EXPECT_EQ(Base<S>::Slot(), -1);
    EXPECT_FALSE(Base<S>::Finalize());
    S::Instance();
    OnThread([] { EXPECT_FALSE(Base<S>::Finalize()); }); // another thread has one
    EXPECT_EQ(Base<S>::UserCount(), 1);
  });
  EXPECT_EQ(S::s_Gone, 2);
}

TEST(thr_ThreadSingleton, NewInstanceFollowsAFinalisedOne) {
  using S = Service<10>;
  OnThread([] {
    for (int round = 1; round <= 100; ++round) {
      S::Instance();
      EXPECT_EQ(S::s_Made, round);
      Base<S>::Finalize();
      EXPECT_EQ(S::s_Gone, round);
    }
    EXPECT_EQ(Base<S>::UserCount(), 0);
  });
}

TEST(thr_ThreadSingleton, GivesTheRegistryItsLevel) {
  using S = Service<11, 9>;
  EXPECT_EQ(Registry().DestructLevel(&Base<S>::Finalize), -1);
  OnThread([] { S::Instance(); });
  EXPECT_EQ(Registry().DestructLevel(&Base<S>::Finalize), 9);
}

class Failing : public thr_ThreadSingleton<Failing> {
 public:
  static constexpr int DestructLevel = 7;
  static inline bool s_Fail = true;

 private:
  friend class thr_ThreadSingleton<Failing>;
  friend class thr_ThreadSingletonBase<Failing>;
  Failing() {
    if (s_Fail) throw std::runtime_error("not made");
    SetDestructLevel();
  }
  ~Failing() = default;
};

TEST(thr_ThreadSingleton, FailedConstructionLeavesNoInstanceAndNoSlot) {
  OnThread([] {
    EXPECT_THROW(Failing::Instance(), std::runtime_error);
    EXPECT_EQ(Base<Failing>::Instance(), nullptr);
    EXPECT_EQ(Base<Failing>::UserCount(), 0);
    EXPECT_EQ(Base<Failing>::Slot(), -1);
    Failing::s_Fail = false;
    EXPECT_EQ(Base<Failing>::Instance(), nullptr);
    Failing& made = Failing::Instance();
    EXPECT_EQ(Base<Failing>::Instance(), &made);
  });
  EXPECT_EQ(Base<Failing>::UserCount(), 0);
}

/// Uses a service with a lower level, so it must be destroyed first.
class Client : public thr_ThreadSingleton<Client> {
 public:
  static constexpr int DestructLevel = 8;
  static inline std::string s_Seen;

 private:
  friend class thr_ThreadSingleton<Client>;
  friend class thr_ThreadSingletonBase<Client>;
  Client() { SetDestructLevel(); }
  ~Client() {
    s_Seen += Base<Service<12, 7>>::Instance() != nullptr ? "service " : "";
    s_Seen += Base<cls_Static>::Instance() != nullptr ? "constants " : "";
    s_Seen += Base<cls_UidCatalog>::Instance() != nullptr ? "identities " : "";
  }
};

TEST(thr_ThreadSingleton, HigherLevelsAreDestroyedFirstInAnyOrderOfCreation) {
  for (bool const clientFirst : {true, false}) {
    Client::s_Seen.clear();
    OnThread([clientFirst] {
      if (clientFirst) Client::Instance();
      cls_Static::Instance();
      Service<12, 7>::Instance();
      if (!clientFirst) Client::Instance();
    });
    EXPECT_EQ(Client::s_Seen, "service constants identities ");
  }
}

struct UsesServiceAtItsEnd {
  ~UsesServiceAtItsEnd() { Service<13>::Instance(); }
  void Touch() const {}
};

TEST(thr_ThreadSingleton, InstanceMadeByAThreadLocalDestructorIsDestroyedToo) {
  OnThread([] {
    thread_local UsesServiceAtItsEnd const object;
    object.Touch();
  });
  EXPECT_EQ(Service<13>::s_Made, 1);
  EXPECT_EQ(Service<13>::s_Gone, 1);
  EXPECT_EQ(Base<Service<13>>::UserCount(), 0);
}

class Racing : public thr_ThreadSingleton<Racing> {
 public:
  static constexpr int DestructLevel = 7;
  Racing() { SetDestructLevel(); }
};

TEST(thr_ThreadSingleton, ThreadsRaceForTheFirstAndLastInstance) {
  std::vector<std::thread> threads;
  std::vector<int> wrong(8, 0);
  for (int& own : wrong)
    threads.emplace_back([&own] {
      for (int round = 0; round < 2000; ++round) {
        Racing& instance = Racing::Instance();
        if (Base<Racing>::Instance() != &instance || Base<Racing>::UserCount() < 1) ++own;
        if (!Base<Racing>::Finalize() || Base<Racing>::Instance() != nullptr) ++own;
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(8, 0));
  EXPECT_EQ(Base<Racing>::UserCount(), 0);
  EXPECT_EQ(Base<Racing>::Slot(), -1);
}

} // namespace
