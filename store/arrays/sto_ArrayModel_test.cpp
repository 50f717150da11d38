#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "describe/dsc_Described.h"
#include "store/arrays/sto_Array.h"
#include "store/sto_Store.h"
#include "tests/support/Seeds.h"
#include "tests/support/store/StoreFile.h"

// Random steps on arrays, compared with std::vector: in memory and in a store, with transactions that are committed or
// rolled back, saves that fail, new sessions, and a second session.

namespace array_model {
namespace {

template <class T> class Record {
 public:
  KVL_PERSISTED(Record, 0x7B0001, "Record", 1)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(KVL_F(m_Values));
    field(KVL_F(m_Count), As<int>(&Checked, [](int stored) { return stored; }));
  }
  Record() = default;
  static int Checked(int count) {
    if (count < 0) sto_Raise(sto_ErrorKind::Misuse, "A negative count is refused.");
    return count;
  }
  sto_Array<T> m_Values;
  int m_Count = 0; ///< negative: saving fails, after the array was written
};

template <class T> T Value(unsigned number) {
  if constexpr (std::is_same_v<T, std::string>)
    return std::to_string(number);
  else
    return static_cast<T>(number);
}

constexpr int Columns = 7; // blocks end within rows

template <class T> class Walk {
 public:
  Walk(std::string path, unsigned seed) : m_Path(std::move(path)), m_Random(seed) {
    Record<T>::Declare(m_Registrar);
    m_Record.m_Values = sto_Array<T>::OfRows({Columns});
    m_Store.emplace(sto_Store::Open(m_Path, sto_Mode::Create, m_Registrar));
  }

  void Step() {
    switch (Next(16)) {
    case 0:
    case 1:
    case 2:
    case 3:
      return Append(Next(4) == 0 ? Next(1500) : Next(20));
    case 4:
    case 5:
      return Overwrite();
    case 6:
      return Begin();
    case 7:
      return Commit();
    case 8:
      return RollBack();
    case 9:
      return Save();
    case 10:
      return FailSave();
    case 11:
      return Reopen();
    case 12:
      return AppendElsewhere();
    case 13:
      return Append(Next(2));
    default:
      return Compare();
    }
  }

  void Finish() {
    if (m_Transaction) Commit();
    Compare();
    Save();
    m_Store->Close();
    m_Store.emplace(sto_Store::Open(m_Path, sto_Mode::ReadOnly, m_Registrar));
    auto const loaded = m_Store->template Load<Record<T>>("record");
    ExpectEqual(loaded->m_Values, m_Expected);
    EXPECT_TRUE(m_Store->Check(sto_CheckDepth::Full).IsSound());
  }

 private:
  unsigned Next(unsigned end) { return static_cast<unsigned>(m_Random() % end); }

  std::vector<T> MakeRows(unsigned rows) {
    std::vector<T> values;
    values.reserve(rows * Columns);
    for (unsigned i = 0; i < rows * Columns; ++i)
      values.push_back(Value<T>(static_cast<unsigned>(m_Random())));
    return values;
  }

  void Append(unsigned rows) {
    std::vector<T> const values = MakeRows(rows);
    try {
      m_Record.m_Values.Append(values);
    } catch (sto_Exception const& failure) {
      ASSERT_EQ(failure.Kind(), sto_ErrorKind::Full) << failure.what(); // it needs the next list
      return;
    }
    m_Expected.insert(m_Expected.end(), values.begin(), values.end());
  }
  void Overwrite() {
    if (m_Expected.empty()) return;
    auto const first = Next(static_cast<unsigned>(m_Expected.size()));
    std::size_t const most = std::min<std::size_t>(m_Expected.size() - first, Next(3) == 0 ? 6000 : 30);
    std::vector<T> values = MakeRows(static_cast<unsigned>(most / Columns + 1));
    values.resize(1 + Next(static_cast<unsigned>(most)));
    m_Record.m_Values.Write(first, values);
    std::copy(values.begin(), values.end(), m_Expected.begin() + first);
  }

  void Begin() {
    if (m_Transaction) return;
    m_Transaction.emplace(*m_Store);
    m_ToRestore = m_Expected;
    m_SavedAtBegin = m_IsSaved;
  }
  void Commit() {
    if (!m_Transaction) return;
    m_Transaction->Commit();
    m_Transaction.reset();
  }
  void RollBack() {
    if (!m_Transaction) return;
    m_Transaction.reset();
    if (m_IsSaved) m_Expected = m_ToRestore; // a transaction knows nothing of what was only in memory
    m_IsSaved = m_SavedAtBegin;
    Compare();
  }

  void Save() {
    m_Record.m_Count = static_cast<int>(Next(100));
    if (!m_IsSaved) m_ToRestore = m_Expected;
    m_Store->Save("record", m_Record);
    m_IsSaved = true;
    EXPECT_TRUE(m_Record.m_Values.IsStored());
  }
  void FailSave() {
    m_Record.m_Count = -1;
    EXPECT_THROW(m_Store->Save("record", m_Record), sto_Exception);
    EXPECT_EQ(m_Record.m_Values.IsStored(), m_IsSaved);
    Compare();
  }
  void Reopen() {
    if (!m_IsSaved) return;
    if (m_Transaction) Commit();
    m_Store->Close();
    m_Store.emplace(sto_Store::Open(m_Path, sto_Mode::ReadWrite, m_Registrar));
    auto loaded = m_Store->template Load<Record<T>>("record");
    m_Record.m_Values = std::move(loaded->m_Values);
    Compare();
  }
  void AppendElsewhere() {
    if (!m_IsSaved || m_Transaction) return;
    m_Record.m_Values.Flush();
    sto_Store other = sto_Store::Open(m_Path, sto_Mode::ReadWrite, m_Registrar);
    auto const theirs = other.Load<Record<T>>("record");
    std::vector<T> const values = MakeRows(1 + Next(500));
    try {
      theirs->m_Values.Append(values);
    } catch (sto_Exception const& failure) {
      ASSERT_EQ(failure.Kind(), sto_ErrorKind::Full) << failure.what();
      return;
    }
    theirs->m_Values.Flush();
    m_Expected.insert(m_Expected.end(), values.begin(), values.end());
    EXPECT_TRUE(m_Record.m_Values.Refresh());
    Compare();
  }

  void Compare() { ExpectEqual(m_Record.m_Values, m_Expected); }
  void ExpectEqual(sto_Array<T> const& array, std::vector<T> const& expected) {
    ASSERT_EQ(array.Size(), static_cast<long long>(expected.size()));
    ASSERT_EQ(array.RowSize(), Columns);
    std::vector<T> values(expected.size());
    array.Read(0, values);
    ASSERT_EQ(values, expected);
    if (expected.empty()) return;
    auto const index = Next(static_cast<unsigned>(expected.size()));
    ASSERT_EQ(array.Get(index), expected[index]);
    ASSERT_EQ(array.Row(index / Columns)[index % Columns], expected[index]);
  }

  std::string m_Path;
  std::mt19937 m_Random;
  cls_ClassRegistrar m_Registrar;
  std::optional<sto_Store> m_Store;
  Record<T> m_Record;
  std::optional<sto_Transaction> m_Transaction;
  std::vector<T> m_Expected;
  std::vector<T> m_ToRestore; ///< by a rollback
  bool m_IsSaved = false;
  bool m_SavedAtBegin = false;
};

template <class T> class ArrayModel : public StoreFileTest {};
using Elements = testing::Types<double, std::int64_t, std::string>;
TYPED_TEST_SUITE(ArrayModel, Elements);

TYPED_TEST(ArrayModel, ShowsWhatAVectorShows) {
  char const* const many = std::getenv("KVL_ARRAY_SEEDS"); // for long runs
  unsigned const last = many == nullptr ? 9 : static_cast<unsigned>(std::atoi(many));
  for (unsigned seed = 1; seed <= last; seed += static_cast<unsigned>(SweepStride)) {
    SCOPED_TRACE(seed);
    int const before = sto_ArrayListSize();
    if (seed % 3 == 0) sto_SetArrayListSize(4000);
    Walk<TypeParam> walk(this->Path("walk" + std::to_string(seed) + ".kvs"), seed);
    for (int step = 0; step < 120 && !this->HasFatalFailure(); ++step) walk.Step();
    walk.Finish();
    sto_SetArrayListSize(before);
    if (this->HasFailure()) return;
  }
}

} // namespace
} // namespace array_model
