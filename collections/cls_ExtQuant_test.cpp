#include "collections/cls_ExtQuant.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/support/OnThread.h"

namespace {

using QuantBase = thr_ThreadSingletonBase<cls_ExtQuant>;

constexpr char Switch[] = "EXTENT_QUANTUM_OVERRIDE";
constexpr char Activated[] = "***** EXTENT_QUANTUM_OVERRIDE activated.\n";

cls_ExtQuant& Quant() {
  return thr_ThreadSingleton<cls_ExtQuant>::Instance();
}

/// Removes all the variables, and restores the environment afterwards.
class ExtQuant : public ::testing::Test {
 protected:
  ExtQuant() {
    for (char const* const name : Variables) {
      if (char const* const value = std::getenv(name)) m_Before[name] = value;
      unsetenv(name);
    }
  }
  ~ExtQuant() override {
    for (char const* const name : Variables) unsetenv(name);
    for (auto const& [name, value] : m_Before) setenv(name.c_str(), value.c_str(), 1);
  }

  static void Set(char const* name, char const* value) { setenv(name, value, 1); }

  /// What `function` prints to the standard output on a thread that has not asked for a quantum yet.
  template <class Function> std::string PrintedOnThread(Function function) {
    testing::internal::CaptureStdout();
    OnThread(function);
    return testing::internal::GetCapturedStdout();
  }

  static constexpr char const* Variables[] = {Switch,
                                              "EXTENT_QUANTUM_TINY",
                                              "EXTENT_QUANTUM_SMALL",
                                              "EXTENT_QUANTUM_MEDIUM",
                                              "EXTENT_QUANTUM_LARGE",
                                              "EXTENT_QUANTUM_HUGE",
                                              "OWN_QUANTUM"};
  std::map<std::string, std::string> m_Before;
};

} // namespace

TEST_F(ExtQuant, DefaultsApplyWithoutOverride) {
  EXPECT_EQ(PrintedOnThread([] {
              EXPECT_EQ(Quant().ExtentQuantumConstTiny(), 4);
              EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 512);
              EXPECT_EQ(Quant().ExtentQuantumConstMedium(), 1024);
              EXPECT_EQ(Quant().ExtentQuantumConstLarge(), 2048);
              EXPECT_EQ(Quant().ExtentQuantumConstHuge(), 4096);
            }),
            "");
}

TEST_F(ExtQuant, WithoutSwitchTheVariablesAreNotRead) {
  for (char const* const name : Variables)
    if (std::string(name) != Switch) Set(name, "64");
  EXPECT_EQ(PrintedOnThread([] {
              EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 512);
              EXPECT_EQ(Quant().ExtentQuantumConstHuge(), 4096);
              EXPECT_EQ(Quant().ExtentQuantum("OWN_QUANTUM"_cow, 7), 7);
            }),
            "");
}

TEST_F(ExtQuant, WithoutSwitchEachCallGetsItsOwnDefault) {
  EXPECT_EQ(PrintedOnThread([] {
              for (int const quantum : {7, 9, 0, -5})
                EXPECT_EQ(Quant().ExtentQuantum("OWN_QUANTUM"_cow, quantum), quantum);
            }),
            "");
}

TEST_F(ExtQuant, EmptySwitchActivatesTheOverrides) {
  Set(Switch, "");
  Set("EXTENT_QUANTUM_SMALL", "64");
  EXPECT_EQ(PrintedOnThread([] {
              EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 64);
              EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 64);
            }),
            std::string(Activated) + "***** EXTENT_QUANTUM_SMALL = 64\n");
}

TEST_F(ExtQuant, SecondCallPrintsNothing) {
  Set(Switch, "");
  Set("EXTENT_QUANTUM_SMALL", "64");
  OnThread([] {
    testing::internal::CaptureStdout();
    Quant().ExtentQuantumConstSmall();
    EXPECT_NE(testing::internal::GetCapturedStdout(), "");
    testing::internal::CaptureStdout();
    EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 64);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  });
}

TEST_F(ExtQuant, ValueOfTheSwitchDoesNotMatter) {
  for (char const* const value : {"", "0", "no", "1", "off"}) {
    Set(Switch, value);
    Set("EXTENT_QUANTUM_TINY", "5");
    EXPECT_EQ(PrintedOnThread([] { EXPECT_EQ(Quant().ExtentQuantumConstTiny(), 5); }),
              std::string(Activated) + "***** EXTENT_QUANTUM_TINY = 5\n")
        << value;
  }
}

TEST_F(ExtQuant, EachQuantumHasItsVariable) {
  Set(Switch, "1");
  Set("EXTENT_QUANTUM_TINY", "11");
  Set("EXTENT_QUANTUM_SMALL", "22");
  Set("EXTENT_QUANTUM_MEDIUM", "33");
  Set("EXTENT_QUANTUM_LARGE", "44");
  Set("EXTENT_QUANTUM_HUGE", "55");
  EXPECT_EQ(PrintedOnThread([] {
              for (int round = 0; round < 2; ++round) {
                EXPECT_EQ(Quant().ExtentQuantumConstHuge(), 55);
                EXPECT_EQ(Quant().ExtentQuantumConstTiny(), 11);
                EXPECT_EQ(Quant().ExtentQuantumConstLarge(), 44);
                EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 22);
                EXPECT_EQ(Quant().ExtentQuantumConstMedium(), 33);
              }
            }),
            std::string(Activated) + "***** EXTENT_QUANTUM_HUGE = 55\n"
                                     "***** EXTENT_QUANTUM_TINY = 11\n"
                                     "***** EXTENT_QUANTUM_LARGE = 44\n"
                                     "***** EXTENT_QUANTUM_SMALL = 22\n"
                                     "***** EXTENT_QUANTUM_MEDIUM = 33\n");
}

TEST_F(ExtQuant, DefaultIsPrintedOnceWhenTheNameHasNoVariable) {
  Set(Switch, "1");
  EXPECT_EQ(PrintedOnThread([] {
              for (int round = 0; round < 3; ++round) {
                EXPECT_EQ(Quant().ExtentQuantumConstTiny(), 4);
                EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 512);
                EXPECT_EQ(Quant().ExtentQuantumConstMedium(), 1024);
                EXPECT_EQ(Quant().ExtentQuantumConstLarge(), 2048);
                EXPECT_EQ(Quant().ExtentQuantumConstHuge(), 4096);
              }
            }),
            std::string(Activated) + "***** EXTENT_QUANTUM_TINY = 4\n"
                                     "***** EXTENT_QUANTUM_SMALL = 512\n"
                                     "***** EXTENT_QUANTUM_MEDIUM = 1024\n"
                                     "***** EXTENT_QUANTUM_LARGE = 2048\n"
                                     "***** EXTENT_QUANTUM_HUGE = 4096\n");
}

TEST_F(ExtQuant, ValueBelowOneYieldsTheDefault) {
  Set(Switch, "1");
  for (char const* const value : {"0", "-5", "many", "", "-2147483648", "0x10", "  ", "k300"}) {
    Set("EXTENT_QUANTUM_HUGE", value);
    EXPECT_EQ(PrintedOnThread([] { EXPECT_EQ(Quant().ExtentQuantumConstHuge(), 4096); }),
              std::string(Activated) + "***** EXTENT_QUANTUM_HUGE = 4096\n")
        << value;
  }
}

TEST_F(ExtQuant, ValueIsItsLeadingNumber) {
  Set(Switch, "1");
  std::map<std::string, int> const values{{"300k", 300}, {"1", 1},    {" 12", 12},
                                          {"+7", 7},     {"0009", 9}, {"5.9", 5},
                                          {"64 32", 64}, {"1e3", 1},  {"2147483647", 2147483647}};
  for (auto const& [text, quantum] : values) {
    Set("OWN_QUANTUM", text.c_str());
    EXPECT_EQ(PrintedOnThread(
                  [quantum = quantum] { EXPECT_EQ(Quant().ExtentQuantum("OWN_QUANTUM"_cow, 77), quantum); }),
              std::string(Activated) + "***** OWN_QUANTUM = " + std::to_string(quantum) + "\n");
  }
}

TEST_F(ExtQuant, FirstLookUpOfANameFixesItsValue) {
  Set(Switch, "1");
  EXPECT_EQ(PrintedOnThread([] {
              EXPECT_EQ(Quant().ExtentQuantum("OWN_QUANTUM"_cow, 7), 7);
              EXPECT_EQ(Quant().ExtentQuantum("OWN_QUANTUM"_cow, 9), 7);
              EXPECT_EQ(Quant().ExtentQuantum(cow_String(std::string("OWN_QUANTUM").c_str()), 11), 7);
            }),
            std::string(Activated) + "***** OWN_QUANTUM = 7\n");
}

TEST_F(ExtQuant, DefaultBelowOneIsTakenUnchanged) {
  Set(Switch, "1");
  Set("OWN_QUANTUM", "-3");
  EXPECT_EQ(PrintedOnThread([] { EXPECT_EQ(Quant().ExtentQuantum("OWN_QUANTUM"_cow, -9), -9); }),
            std::string(Activated) + "***** OWN_QUANTUM = -9\n");
}

TEST_F(ExtQuant, LaterChangeOfTheVariableIsNotSeen) {
  Set(Switch, "1");
  Set("OWN_QUANTUM", "64");
  EXPECT_EQ(PrintedOnThread([] {
              EXPECT_EQ(Quant().ExtentQuantum("OWN_QUANTUM"_cow, 7), 64);
              Set("OWN_QUANTUM", "65");
              EXPECT_EQ(Quant().ExtentQuantum("OWN_QUANTUM"_cow, 7), 64);
              unsetenv("OWN_QUANTUM");
              EXPECT_EQ(Quant().ExtentQuantum("OWN_QUANTUM"_cow, 7), 64);
            }),
            std::string(Activated) + "***** OWN_QUANTUM = 64\n");
}

TEST_F(ExtQuant, VariableIsReadAtTheFirstLookUpOfItsName) {
  Set(Switch, "1");
  EXPECT_EQ(PrintedOnThread([] {
              Quant().ExtentQuantumConstTiny();
              Set("OWN_QUANTUM", "65");
              EXPECT_EQ(Quant().ExtentQuantum("OWN_QUANTUM"_cow, 7), 65);
            }),
            std::string(Activated) + "***** EXTENT_QUANTUM_TINY = 4\n***** OWN_QUANTUM = 65\n");
}

TEST_F(ExtQuant, SwitchIsReadOncePerThread) {
  Set("EXTENT_QUANTUM_SMALL", "64");
  EXPECT_EQ(PrintedOnThread([] {
              EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 512);
              Set(Switch, "1");
              EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 512);
            }),
            "");
  EXPECT_EQ(PrintedOnThread([] {
              EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 64);
              unsetenv(Switch);
              EXPECT_EQ(Quant().ExtentQuantumConstTiny(), 4);
            }),
            std::string(Activated) + "***** EXTENT_QUANTUM_SMALL = 64\n***** EXTENT_QUANTUM_TINY = 4\n");
}

TEST_F(ExtQuant, MakingTheInstanceDoesNotReadTheSwitch) {
  EXPECT_EQ(PrintedOnThread([] {
              Quant();
              Set(Switch, "1");
              Set("EXTENT_QUANTUM_SMALL", "64");
              EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 64);
            }),
            std::string(Activated) + "***** EXTENT_QUANTUM_SMALL = 64\n");
}

TEST_F(ExtQuant, EachThreadPrintsForItself) {
  Set(Switch, "1");
  Set("EXTENT_QUANTUM_SMALL", "64");
  auto const ask = [] { EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 64); };
  std::string const once = std::string(Activated) + "***** EXTENT_QUANTUM_SMALL = 64\n";
  EXPECT_EQ(PrintedOnThread([&] {
              ask();
              OnThread(ask);
              ask(); // from the cache
              OnThread(ask);
            }),
            once + once + once);
}

TEST_F(ExtQuant, EachThreadReadsTheEnvironmentItself) {
  OnThread([] {
    EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 512);
    Set(Switch, "1");
    Set("EXTENT_QUANTUM_SMALL", "64");
    testing::internal::CaptureStdout();
    OnThread([] { EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 64); });
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              std::string(Activated) + "***** EXTENT_QUANTUM_SMALL = 64\n");
    EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 512);
  });
}

TEST_F(ExtQuant, ThreadsCanAskAtTheSameTime) {
  Set(Switch, "1");
  Set("EXTENT_QUANTUM_SMALL", "64");
  constexpr int Threads = 8;
  constexpr std::string_view Small = "***** EXTENT_QUANTUM_SMALL = 64\n";
  testing::internal::CaptureStdout();
  std::vector<std::thread> threads;
  for (int t = 0; t < Threads; ++t)
    threads.emplace_back([] {
      for (int round = 0; round < 1000; ++round) EXPECT_EQ(Quant().ExtentQuantumConstSmall(), 64);
    });
  for (std::thread& thread : threads) thread.join();
  std::string printed = testing::internal::GetCapturedStdout();
  int lines = 0;
  for (std::string_view const line : {std::string_view(Activated), Small})
    for (std::size_t at = printed.find(line); at != std::string::npos; at = printed.find(line)) {
      printed.erase(at, line.size());
      ++lines;
    }
  EXPECT_EQ(lines, 2 * Threads);
  EXPECT_EQ(printed, "");
}

TEST_F(ExtQuant, ManyNamesAreEachPrintedOnce) {
  Set(Switch, "1");
  std::string expected = Activated;
  for (int i = 0; i < 500; ++i)
    expected += "***** QUANTUM_" + std::to_string(i) + " = " + std::to_string(i + 1) + "\n";
  EXPECT_EQ(PrintedOnThread([] {
              for (int round = 0; round < 2; ++round)
                for (int i = 0; i < 500; ++i) {
                  cow_String const name(("QUANTUM_" + std::to_string(i)).c_str());
                  EXPECT_EQ(Quant().ExtentQuantum(name, i + 1 + 1000 * round), i + 1);
                }
            }),
            expected);
}

TEST_F(ExtQuant, EachThreadHasItsOwn) {
  OnThread([] {
    EXPECT_EQ(QuantBase::Instance(), nullptr);
    cls_ExtQuant* const own = &Quant();
    EXPECT_EQ(&Quant(), own);
    OnThread([own] { EXPECT_NE(&Quant(), own); });
    EXPECT_EQ(QuantBase::Instance(), own);
  });
}

TEST_F(ExtQuant, IsDestroyedWithItsThread) {
  Set(Switch, "1");
  int const before = QuantBase::UserCount();
  PrintedOnThread([before] {
    Quant().ExtentQuantumConstSmall(); // so that there is a cache to free
    EXPECT_EQ(QuantBase::UserCount(), before + 1);
  });
  EXPECT_EQ(QuantBase::UserCount(), before);
}

TEST_F(ExtQuant, DestructLevelIsThree) {
  OnThread([] { Quant(); });
  EXPECT_EQ(cls_ExtQuant::DestructLevel, 3);
  EXPECT_EQ(thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance().DestructLevel(&QuantBase::Finalize), 3);
}
