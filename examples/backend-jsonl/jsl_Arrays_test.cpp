#include "examples/backend-jsonl/jsl_Session.h"

#include "collections/cls_2dArrayPrim.h"
#include "collections/cls_ArrayPrim.h"
#include "collections/cls_SimpleArrayPrim.h"
#include "examples/backend-jsonl/jsl_TestFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <optional>

// Bulk arrays that are assigned, detached, saved again and destroyed, before and after their session ends, in
// every order. What can go wrong is a read of freed memory, which the address sanitizer reports.

// Nothing here loses power, and waiting for the disk would take most of the time.
extern "C" int fsync(int) {
  return 0;
}

namespace {

constexpr int Count = 3; // of arrays, and of the elements of each

/// What arrays in blocks have in common, of one and of two dimensions.
template <class Blocks> struct InBlocks {
  using Array = Blocks;
  static Array Make(int value) {
    Array array;
    for (int i = 0; i < Count; ++i) array.Append(value);
    return array;
  }
  static void FillStored(Array&, int) {}
  static void Free(Array& array) {
    array.Release();
    array.DropBlocks();
  }
};

struct OneDimension : InBlocks<cls_ArrayPrimInt> {
  static int ValueIn(Array& array) { return array.Size() == Count ? array.ConstGet(Count - 1) : -1; }
};

struct TwoDimensions : InBlocks<cls_2dArrayPrimDouble> {
  static int ValueIn(Array& array) {
    return array.Size() == Count ? static_cast<int>(array.ConstGet(Count - 1, 0)) : -1;
  }
};

struct Simple {
  using Array = cls_SimpleArrayPrimInt;
  static Array Make(int) { return Array(Count); }
  static void FillStored(Array& array, int value) {
    std::array<int, Count> const values{value, value, value};
    array.Write(values.data(), Count);
    array.Flush();
  }
  static void Free(Array&) {}
  static int ValueIn(Array& array) {
    std::array<int, Count> values{};
    array.Seek(0);
    return array.Read(values.data(), Count) == Count ? values.back() : -1;
  }
};

cls_FieldHandle FieldOf(std::size_t i) {
  return cls_FieldHandle(static_cast<int>(i), cow_String(std::string("m_") + static_cast<char>('A' + i)));
}

template <class Kind> struct Owner {
  static constexpr unsigned int TypeId() noexcept { return 0x740031; }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid) == 0) return;
    for (std::size_t i = 0; i < Count; ++i)
      if (m_Arrays[i]) m_Arrays[i]->DBWrite(cls_WriteVisitor(visitor, FieldOf(i), nullptr, &*m_Arrays[i]));
  }
  std::array<std::unique_ptr<typename Kind::Array>, Count> m_Arrays; // on the heap, where its end is noticed
  cls_Uid m_Uid;
};

enum class Step { Assign, Destroy, Close, Save, Detach };

// One order of the steps. The first array is assigned to from the second; the others are chosen.
template <class Kind> class Run {
 public:
  Run(std::string path, std::size_t destroyed, std::size_t detached)
      : m_Path(std::move(path)), m_Destroyed(destroyed), m_Detached(detached) {
    m_Session.emplace(m_Path, jsl_Mode::Create, m_Classes);
    for (std::size_t i = 0; i < Count; ++i)
      m_Owner.m_Arrays[i] = std::make_unique<typename Kind::Array>(Kind::Make(static_cast<int>(i) + 1));
    Save();
    for (std::size_t i = 0; i < Count; ++i) Kind::FillStored(*m_Owner.m_Arrays[i], static_cast<int>(i) + 1);
  }
  ~Run() {
    for (std::size_t i = 0; i < Count; ++i) Destroy(i);
  }

  void Do(Step step) {
    auto& [first, second, third] = m_Owner.m_Arrays;
    if (step == Step::Assign && first && second) {
      Kind::Free(*first); // an assignment frees no blocks
      *first = *second;
      m_IsAssigned = true;
    }
    if (step == Step::Destroy) Destroy(m_Destroyed);
    if (step == Step::Close) m_Session.reset();
    if (step == Step::Save && m_Session) Save();
    if (step == Step::Detach && m_Owner.m_Arrays[m_Detached]) {
      m_Owner.m_Arrays[m_Detached]->Detach();
      m_IsDetached = true;
    }
  }

  // What was saved last is in the file. Not looked at: arrays that share their blocks with one that was
  // detached, or that are it.
  void Check() {
    m_Session.reset();
    jsl_Session session(m_Path, jsl_Mode::ReadOnly, m_Classes);
    cls_ReadVisitor const visitor(session.MakeReader("owner"));
    for (std::size_t i = 0; i < Count; ++i) {
      bool const isShared = i < 2 && m_Detached < 2 && m_IsAssigned;
      if (m_Expected[i] == 0 || (m_IsDetached && (isShared || i == m_Detached))) continue;
      typename Kind::Array stored = Read(cls_ReadVisitor(visitor, FieldOf(i)));
      EXPECT_EQ(Kind::ValueIn(stored), m_Expected[i]) << i;
      Kind::Free(stored);
    }
  }

 private:
  static typename Kind::Array Read(cls_ReadVisitor const& visitor) {
    if constexpr (std::is_same_v<Kind, Simple>)
      return typename Kind::Array(visitor, nullptr);
    else
      return typename Kind::Array(visitor);
  }
  void Save() {
    try {
      m_Session->Save("owner", m_Owner);
    } catch (nex_Exception& exception) { // its only block was dropped with an array that it shared it with
      EXPECT_TRUE(m_IsDetached && m_IsAssigned);
      EXPECT_NE(std::string(exception.AsString().Chars()).find("are not in memory"), std::string::npos);
      return;
    }
    for (std::size_t i = 0; i < Count; ++i)
      m_Expected[i] = !m_Owner.m_Arrays[i] ? 0 : i == 0 && m_IsAssigned ? 2 : static_cast<int>(i) + 1;
  }
  void Destroy(std::size_t i) {
    if (!m_Owner.m_Arrays[i]) return;
    Kind::Free(*m_Owner.m_Arrays[i]);
    m_Owner.m_Arrays[i].reset();
  }

  cls_ClassRegistrar m_Classes;
  std::string m_Path;
  std::size_t m_Destroyed;
  std::size_t m_Detached;
  Owner<Kind> m_Owner;
  bool m_IsAssigned = false;
  bool m_IsDetached = false;
  std::array<int, Count> m_Expected{}; // the value in each array that was saved last; 0: it was not
  std::optional<jsl_Session> m_Session;
};

template <class Kind> class JslArrays : public jsl_TestFolder {};
using Kinds = testing::Types<OneDimension, TwoDimensions, Simple>;
TYPED_TEST_SUITE(JslArrays, Kinds);

std::string TextOf(std::array<Step, 5> const& steps) {
  std::string text;
  for (Step const step : steps) text += "ADCSX"[static_cast<int>(step)];
  return text;
}

} // namespace

TYPED_TEST(JslArrays, EveryOrderOfTheirEndsIsSafeAndKeepsWhatWasSaved) {
  for (std::size_t destroyed = 0; destroyed < Count; ++destroyed)
    for (std::size_t detached = 0; detached < Count; ++detached) {
      std::array steps{Step::Assign, Step::Destroy, Step::Close, Step::Save, Step::Detach};
      do {
        SCOPED_TRACE(TextOf(steps) + ", destroyed " + std::to_string(destroyed) + ", detached " +
                     std::to_string(detached));
        Run<TypeParam> run(this->NewPath(), destroyed, detached);
        for (Step const step : steps) run.Do(step);
        run.Check();
      } while (std::next_permutation(steps.begin(), steps.end()));
    }
}
