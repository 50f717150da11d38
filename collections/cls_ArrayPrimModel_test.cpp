#include "collections/cls_ArrayPrim.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "tests/support/Seeds.h"
#include "tests/support/backend/ArrayCases.h"
#include "tests/support/backend/StoredList.h"

// Hundreds of thousands of random steps on arrays, mirrored in plain vectors, for every element type.

namespace {

constexpr int BlockElements = 2048;
int const ModelSteps = 200'000 / SweepStride;
constexpr int MostElements = 12000;

/// What both models need: a random generator, and the next element, which differs from all others.
template <class T> class ModelBase {
 public:
  explicit ModelBase(unsigned int seed) : m_Random(seed) {}

 protected:
  int Below(int limit) { return static_cast<int>(m_Random() % static_cast<unsigned int>(limit)); }
  bool OneIn(int chances) { return Below(chances) == 0; }
  T Fresh() { return NumberedElement<T>(m_Next++); }

 private:
  std::mt19937 m_Random;
  int m_Next = 0;
};

/// Arrays in memory, in groups of copies. A group's vector knows every slot that was ever written.
template <class T> class MemoryModel : public ModelBase<T> {
 public:
  explicit MemoryModel(unsigned int seed) : ModelBase<T>(seed) {
    for (int i = 0; i < Arrays; ++i) m_Members.push_back(std::make_unique<Member>());
  }
  ~MemoryModel() {
    for (auto& member : m_Members) {
      Forget(*member);
      member->m_Values.reset();
    }
  }
  MemoryModel(MemoryModel const&) = delete;
  MemoryModel& operator=(MemoryModel const&) = delete;

  /// One random step. Returns false when array and model differ.
  bool Step() {
    Member& member = *m_Members[static_cast<std::size_t>(this->Below(Arrays))];
    Values& values = *member.m_Values;
    auto& array = member.m_Array;
    int const choice = this->Below(10000);
    if (choice < 5000) {
      for (int i = this->Below(12); i >= 0 && array.Size() < MostElements; --i) {
        T const value = this->Fresh();
        Set(values, array.Size(), value);
        array.Append(value);
      }
    } else if (choice < 7000) {
      int const index = this->Below(array.Size() + 1); // also the slot after the last element
      T const value = this->Fresh();
      Set(values, index, value);
      array.Get(index) = value;
    } else if (choice < 9000) {
      int const index = this->Below(array.Size() + 1);
      return index == array.Size() || array.ConstGet(index) == values[static_cast<std::size_t>(index)];
    } else if (choice < 9500) {
      return RunIsRight(member, this->Below(array.Size() + 1));
    } else if (choice < 9530) {
      array.SetLength(this->Below(static_cast<int>(values.size()) + 1));
    } else if (choice < 9960) {
      array.Flush();
      array.Release();
      if (array.Refresh() != 0) return false;
      if (this->OneIn(2)) array.Detach();
    } else if (choice < 9997) {
      return Share(member, *m_Members[static_cast<std::size_t>(this->Below(Arrays))]);
    } else {
      return Drop(member);
    }
    return true;
  }

  /// Every element of every array.
  [[nodiscard]] bool IsRight() {
    for (auto const& member : m_Members)
      for (int i = 0; i < member->m_Array.Size(); ++i)
        if (!(member->m_Array.ConstGet(i) == (*member->m_Values)[static_cast<std::size_t>(i)])) return false;
    return true;
  }

  [[nodiscard]] int Largest() const {
    std::size_t largest = 0;
    for (auto const& member : m_Members) largest = std::max(largest, member->m_Values->size());
    return static_cast<int>(largest);
  }

 private:
  using Values = std::vector<T>;
  struct Member {
    cls_ArrayPrim<T> m_Array;
    std::shared_ptr<Values> m_Values = std::make_shared<Values>();
  };
  static constexpr int Arrays = 5;

  static void Set(Values& values, int index, T const& value) {
    if (index == static_cast<int>(values.size()))
      values.push_back(value);
    else
      values[static_cast<std::size_t>(index)] = value;
  }

  bool RunIsRight(Member const& member, int index) {
    auto const run = member.m_Array.ConstGetRun(index);
    int const end = std::min(member.m_Array.Size(), (index / BlockElements + 1) * BlockElements);
    if (run.m_Count != end - index) return false;
    for (int i = 0; i < run.m_Count; ++i)
      if (!(run.m_Values[i] == (*member.m_Values)[static_cast<std::size_t>(index + i)])) return false;
    return true;
  }

  /// The last array of a group drops the group's blocks.
  static void Forget(Member& member) {
    if (member.m_Values.use_count() == 1) member.m_Array.DropBlocks();
  }

  bool Share(Member& target, Member const& source) {
    if (target.m_Values == source.m_Values) {
      target.m_Array = source.m_Array;
    } else {
      Forget(target);
      if (this->OneIn(2)) {
        target.m_Array = source.m_Array;
      } else { // a copy, and then a copy of that
        cls_ArrayPrim<T> const copy(source.m_Array);
        target.m_Array = copy;
      }
      target.m_Values = source.m_Values;
    }
    return target.m_Array.Size() == source.m_Array.Size() &&
           target.m_Array.Uid().Entry() == source.m_Array.Uid().Entry();
  }

  /// Drops a group's blocks, or starts a new group with this array.
  bool Drop(Member& member) {
    if (this->OneIn(2)) {
      member.m_Array.DropBlocks();
      for (auto& other : m_Members)
        if (other->m_Values == member.m_Values) other->m_Array.SetLength(0);
      member.m_Values->clear();
    } else {
      Forget(member);
      member.m_Array = cls_ArrayPrim<T>();
      member.m_Values = std::make_shared<Values>();
    }
    return member.m_Array.Size() == 0;
  }

  std::vector<std::unique_ptr<Member>> m_Members;
};

/// Copies of one associated array, with a vector and the exact number of run reads and writes. At most one
/// block is in memory at any time; it is read when it is touched, and written if it was changed.
template <class T> class StoredModel : public ModelBase<T> {
 public:
  explicit StoredModel(unsigned int seed) : ModelBase<T>(seed) {
    m_List.m_KeepsCalls = false;
    Open();
  }
  ~StoredModel() { m_Arrays.front()->Release(); }
  StoredModel(StoredModel const&) = delete;
  StoredModel& operator=(StoredModel const&) = delete;

  /// One random step. Returns false when the array, its list or its calls differ from the model.
  bool Step() {
    int const choice = this->Below(10000);
    if (Size() > MostElements)
      Shorten(this->Below(Size()));
    else if (choice < 4000)
      Append();
    else if (choice < 6500)
      Write(Near());
    else if (choice < 9000) {
      if (!Read(Near())) return false;
    } else if (choice < 9300) {
      if (!Alternate()) return false;
    } else if (choice < 9400) {
      if (!RunIsRight(this->Below(Size() + 1))) return false;
    } else if (choice < 9600) {
      Flush();
      if (this->OneIn(10) && !ListIsRight()) return false;
    } else if (choice < 9700) {
      Release();
      if (this->OneIn(10) && !ListIsRight()) return false;
    } else if (choice < 9760)
      AppendBlock(1 + this->Below(this->OneIn(4) ? 5000 : 50));
    else if (choice < 9860)
      AddOrRemoveHolder();
    else if (choice < 9900)
      Shorten(this->Below(Size() + 1));
    else if (choice < 9930) {
      if (!ReadTheSlotBehindTheEnd()) return false;
    } else if (choice < 9950) {
      if (!RefreshAfterAnotherSession()) return false;
    } else if (choice < 9965) {
      if (!DetachAndStoreAgain()) return false;
    } else if (choice < 9975)
      Reopen();
    else if (Any().Refresh() != 0)
      return false;
    return m_List.m_Reads == m_Reads && m_List.m_Writes == m_Writes && m_List.m_LiveAgents == 1 &&
           m_List.m_References == static_cast<int>(m_Arrays.size()) && Any().Size() == Size();
  }

  [[nodiscard]] bool IsRight() {
    for (int i = 0; i < Size(); ++i)
      if (!Read(i)) return false;
    Release();
    return ListIsRight();
  }

  [[nodiscard]] long Reads() const { return m_Reads; }
  [[nodiscard]] int Associations() const { return m_Associations; }

 private:
  using Array = cls_ArrayPrim<T>;

  [[nodiscard]] int Size() const { return static_cast<int>(m_Values.size()); }
  Array& Any() { return *m_Arrays[static_cast<std::size_t>(this->Below(static_cast<int>(m_Arrays.size())))]; }

  /// Mostly an index in the same block as the previous one.
  int Near() {
    if (Size() == 0) return 0;
    if (this->OneIn(20)) return m_Near = this->Below(Size());
    m_Near = std::clamp(m_Near + this->Below(201) - 100, 0, Size() - 1);
    return m_Near;
  }

  /// The calls to the agent that touching an element makes.
  void Touch(int index) {
    int const start = index - index % BlockElements;
    if (start == m_Resident) return;
    Evict();
    m_Resident = start;
    if (index != start || index != Size()) ++m_Reads; // after a full last block there is nothing to read
  }
  void Evict() {
    if (m_Resident >= 0 && m_IsDirty) ++m_Writes;
    m_Resident = -1;
    m_IsDirty = false;
  }

  void Append() {
    for (int i = this->Below(12); i >= 0; --i) {
      Touch(Size());
      m_IsDirty = true;
      T const value = this->Fresh();
      Any().Append(value);
      m_Values.push_back(value);
      for (auto& array : m_Arrays) array->SetLength(Size());
    }
  }
  void Write(int index) {
    if (Size() == 0) return;
    Touch(index);
    m_IsDirty = true;
    T const value = this->Fresh();
    Any().Get(index) = value;
    m_Values[static_cast<std::size_t>(index)] = value;
  }
  bool Read(int index) {
    if (Size() == 0) return true;
    Touch(index);
    return Any().ConstGet(index) == m_Values[static_cast<std::size_t>(index)];
  }
  bool Alternate() {
    if (Size() == 0) return true;
    int const low = this->Below(Size());
    int const high = this->Below(Size());
    for (int i = 0; i < 4; ++i) {
      if (this->OneIn(3)) Write(low);
      if (!Read(high) || !Read(low) || m_List.m_Reads != m_Reads) return false;
    }
    return true;
  }
  bool RunIsRight(int index) {
    int const end = std::min(Size(), (index / BlockElements + 1) * BlockElements);
    if (index < Size()) Touch(index);
    auto const run = Any().ConstGetRun(index);
    if (run.m_Count != end - index) return false;
    for (int i = 0; i < run.m_Count; ++i)
      if (!(run.m_Values[i] == m_Values[static_cast<std::size_t>(index + i)])) return false;
    return true;
  }
  bool ReadTheSlotBehindTheEnd() {
    Touch(Size());
    m_IsDirty = true;
    T const value = this->Fresh();
    Any().Get(Size()) = value;
    return Any().ConstGet(Size()) == value;
  }
  void Flush() {
    if (m_Resident >= 0 && m_IsDirty && m_Resident < Size()) {
      ++m_Writes;
      m_IsDirty = false;
    }
    Any().Flush();
  }
  void Release() {
    Evict();
    Any().Release();
  }
  void Shorten(int size) {
    m_Values.resize(static_cast<std::size_t>(size));
    for (auto& array : m_Arrays) array->SetLength(size);
  }

  /// The resident block does not get the run, so it is dropped before an element of the run is touched. A
  /// changed block beyond the end, which no flush writes, is dropped before the run is written.
  void AppendBlock(int count) {
    if (m_Resident >= Size()) Release();
    if (this->OneIn(2)) Flush();
    bool const isWritten = std::exchange(m_IsDirty, false); // by the flush that precedes the run
    m_Writes += isWritten ? 2 : 1;
    std::unique_ptr<T[]> const values(new T[static_cast<std::size_t>(count)]);
    for (int i = 0; i < count; ++i) m_Values.push_back(values[static_cast<std::size_t>(i)] = this->Fresh());
    Any().AppendBlock(values.get(), count);
    for (auto& array : m_Arrays) array->SetLength(Size());
    Release();
  }

  void AddOrRemoveHolder() {
    std::size_t const last = m_Arrays.size() - 1;
    if (last < 3 && this->OneIn(2)) {
      m_Arrays.push_back(std::make_unique<Array>(Any()));
    } else if (last > 0 && this->OneIn(2)) {
      std::swap(m_Arrays[static_cast<std::size_t>(this->Below(static_cast<int>(last) + 1))], m_Arrays[last]);
      m_Arrays.pop_back();
    } else {
      Array& target = Any();
      target = Any();
    }
  }

  /// Another session rewrites the list.
  bool RefreshAfterAnotherSession() {
    Release();
    m_List.m_Elements.clear();
    for (int i = this->Below(6000); i > 0; --i) m_List.m_Elements.push_back(this->Fresh());
    m_Values.assign(m_List.m_Elements.begin(), m_List.m_Elements.end());
    m_List.m_Changed = true;
    bool refreshed = true;
    for (auto& array : m_Arrays) refreshed = array->Refresh() == 1 && refreshed;
    m_List.m_Changed = false;
    return refreshed;
  }

  /// After Detach the array has only the resident block. It can continue with that, and be stored again over
  /// what it left in storage.
  bool DetachAndStoreAgain() {
    if (Size() == 0) return true;
    m_Arrays.resize(1);
    Release();
    int const index = this->Below(Size());
    Write(index);
    Array& array = *m_Arrays.front();
    auto* const entry = array.Uid().Entry();
    cls_Uid const held(entry);
    ++m_Writes;
    m_IsDirty = false;
    array.Detach();
    if (array.IsAssociated() || m_List.m_LiveAgents != 0 || array.Uid().Entry() == entry) return false;
    int const end = std::min(Size(), m_Resident + BlockElements);
    for (int i = this->Below(10); i > 0; --i) {
      int const changed = m_Resident + this->Below(end - m_Resident);
      T const value = this->Fresh();
      array.Get(changed) = value;
      m_Values[static_cast<std::size_t>(changed)] = value;
      m_IsDirty = true;
    }
    ::testing::internal::CaptureStderr();
    StoreAs(array, m_List);
    ++m_Associations;
    std::string const said = ::testing::internal::GetCapturedStderr();
    if (m_IsDirty) ++m_Writes; // with the other blocks before the flush, or by the flush
    m_IsDirty = false;
    if (m_Resident != Size() - Size() % BlockElements) m_Resident = -1;
    return said == "cls_ArrayPrim::DBWrite: Index conflicts(s) in list.";
  }

  void Open() {
    m_Arrays.push_back(std::make_unique<Array>(cls_ReadVisitor(new StoredListReader<T>(m_List))));
    m_Values.assign(m_List.m_Elements.begin(), m_List.m_Elements.end());
  }
  void Reopen() {
    Release();
    m_Arrays.clear();
    Open();
  }

  /// Call after a flush. Beyond the end of a shortened array the list keeps its elements.
  [[nodiscard]] bool ListIsRight() {
    if (m_List.Count() < Size()) return false;
    for (int i = 0; i < Size(); ++i)
      if (!(T(m_List.m_Elements[static_cast<std::size_t>(i)]) == m_Values[static_cast<std::size_t>(i)]))
        return false;
    return true;
  }

  StoredList<T> m_List;
  std::vector<std::unique_ptr<Array>> m_Arrays;
  std::vector<T> m_Values;
  int m_Near = 0;
  int m_Resident = -1; ///< where the block in memory starts
  bool m_IsDirty = false;
  long m_Reads = 0;
  long m_Writes = 0;
  int m_Associations = 0;
};

template <class T> class ArrayPrimModel : public ::testing::Test {};
TYPED_TEST_SUITE(ArrayPrimModel, NumbersBitsAndTexts);

} // namespace

TYPED_TEST(ArrayPrimModel, InMemoryArraysMatchVectorsSharedByCopies) {
  for (unsigned int const seed : Seeds({1U, 20260U})) {
    MemoryModel<TypeParam> model(seed);
    int largest = 0;
    for (int step = 0; step < ModelSteps; ++step) {
      ASSERT_TRUE(model.Step()) << "seed " << seed << ", step " << step;
      largest = std::max(largest, model.Largest());
      if (step % 10000 == 0) {
        ASSERT_TRUE(model.IsRight()) << "seed " << seed << ", step " << step;
      }
    }
    EXPECT_TRUE(model.IsRight()) << "seed " << seed;
    EXPECT_GT(largest, 3 * BlockElements) << "seed " << seed;
  }
}

TYPED_TEST(ArrayPrimModel, AssociatedArraysMatchVectorsWithOneBlockInMemory) {
  for (unsigned int const seed : Seeds({2U, 30260U})) {
    StoredModel<TypeParam> model(seed);
    for (int step = 0; step < ModelSteps; ++step)
      ASSERT_TRUE(model.Step()) << "seed " << seed << ", step " << step;
    EXPECT_TRUE(model.IsRight()) << "seed " << seed;
    EXPECT_GT(model.Reads(), 1000) << "seed " << seed;
    EXPECT_GT(model.Associations(), 50) << "seed " << seed;
  }
}
