#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <random>
#include <stdexcept>

#include "tests/support/Seeds.h"
#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreStream.h"

namespace {

namespace fs = std::filesystem;

/// A seeded random walk of a stored list and a plain vector: runs of any length at any place, transactions,
/// rollbacks, failing saves, whole saves of the list, reopened stores. With a rollback journal, where blocks
/// move, and with a write-ahead log, where they do not.
class MovedBlocksModel : public StoreStreamTest,
                         public testing::WithParamInterface<std::pair<unsigned int, bool>> {
 protected:
  void SetUp() override {
    sto_Options options;
    options.m_ReadersBesideWriter = GetParam().second;
    options.m_PageBytes = options.m_ReadersBesideWriter ? 4096 : 16384;
    Make(50 * BlockSize, options);
    for (int i = 0; i < 50 * BlockSize; ++i) m_Model.push_back(i);
    m_Committed = m_Model;
    Reopen();
  }
  int Below(int limit) { return static_cast<int>(m_Random() % static_cast<unsigned int>(limit)); }
  [[nodiscard]] int Size() const { return static_cast<int>(m_Model.size()); }

  void Reopen() {
    EndTransaction(false);
    m_Stream.reset();
    m_Store.reset();
    ExpectTables();
    m_Store = std::make_unique<sto_Store>(Open());
    m_Stream = m_Store->Load<Stream>("stream");
  }
  void EndTransaction(bool commits) {
    if (m_Transaction == nullptr) return;
    if (commits) m_Transaction->Commit();
    m_Transaction.reset();
    if (commits)
      m_Committed = m_Model;
    else
      m_Model = m_Committed;
  }

  void Write(int first, std::vector<int> const& run) {
    m_Stream->Write(first, run);
    if (Size() < first + static_cast<int>(run.size()))
      m_Model.resize(static_cast<std::size_t>(first) + run.size());
    std::copy(run.begin(), run.end(), m_Model.begin() + first);
  }
  void WriteRun() {
    int const chance = Below(100);
    int const length = chance < 40   ? 1 + Below(10)
                       : chance < 80 ? 1 + Below(5000)
                                     : 1 + Below(80 * BlockSize);
    int const first = Below(10) == 0 ? Size() : Below(Size());
    if (Size() > 150 * BlockSize && first + length > Size()) return;
    std::vector<int> run(static_cast<std::size_t>(length));
    for (int& value : run) value = static_cast<int>(m_Random());
    Write(first, run);
  }
  void WriteManyBlocks() {
    int const stride = 1 + Below(4);
    for (int block = Below(10); block * BlockSize < Size(); block += stride)
      Write(std::min(Size() - 1, block * BlockSize + Below(BlockSize)), {static_cast<int>(m_Random())});
  }
  void SaveThatFails() {
    std::vector<int> const before = m_Model;
    EXPECT_THROW(m_Store->Save("acting", Acting([&] {
                                 for (int i = Below(4); i >= 0; --i) WriteRun();
                                 if (Below(2) == 0) WriteManyBlocks();
                                 throw std::runtime_error("the save fails");
                               })),
                 std::runtime_error);
    m_Model = before;
  }
  void SaveWhole() {
    m_Stream.reset();
    std::unique_ptr<Listed> const listed = m_Store->Load<Listed>("stream");
    ASSERT_EQ(listed->m_List.Count(), Size());
    int const kept = std::max(BlockSize + 1, Size() - Below(40 * BlockSize));
    if (Size() > kept) listed->m_List.Truncate(kept);
    if (Below(2) == 0) listed->m_List.Append(7);
    m_Store->Save("stream", *listed);
    m_Model.clear();
    for (int i = 0; i < listed->m_List.Count(); ++i) m_Model.push_back(listed->m_List.ConstGet(i));
    m_Stream = m_Store->Load<Stream>("stream");
  }
  void Read() {
    int const first = Below(Size());
    std::vector<int> run(static_cast<std::size_t>(1 + Below(Below(3) == 0 ? 60 * BlockSize : 3000)));
    int const expected = std::min(static_cast<int>(run.size()), Size() - first);
    m_Stream->m_List.Seek(first);
    ASSERT_EQ(m_Stream->m_List.Read(run.data(), static_cast<int>(run.size())), expected);
    ASSERT_TRUE(std::equal(run.begin(), run.begin() + expected, m_Model.begin() + first)) << first;
  }

  void Step() {
    int const chance = Below(100);
    if (chance < 30)
      WriteRun();
    else if (chance < 40 && m_Transaction)
      WriteManyBlocks();
    else if (chance < 75)
      Read();
    else if (chance < 80)
      SaveThatFails();
    else if (chance < 82)
      SaveWhole();
    else if (chance < 97) {
      if (m_Transaction)
        EndTransaction(Below(3) != 0);
      else
        m_Transaction = std::make_unique<sto_Transaction>(*m_Store);
    } else
      Reopen();
    if (!m_Transaction) m_Committed = m_Model;
  }

  std::mt19937 m_Random{GetParam().first};
  std::unique_ptr<sto_Store> m_Store;
  std::unique_ptr<Stream> m_Stream;
  std::unique_ptr<sto_Transaction> m_Transaction;
  std::vector<int> m_Model, m_Committed;
};

TEST_P(MovedBlocksModel, StoredListMatchesAVector) {
  std::int64_t moved = 0;
  for (int step = 0; step < 800; ++step) {
    SCOPED_TRACE("seed " + std::to_string(GetParam().first) + " step " + std::to_string(step));
    Step();
    if (HasFailure()) return;
    if (step % 50 != 0) continue;
    ASSERT_TRUE(m_Stream->ReadAll(1'000'000) == m_Model);
    EndTransaction(true);
    ExpectTables();
    moved += Moved();
  }
  EndTransaction(true);
  Reopen();
  EXPECT_TRUE(m_Stream->ReadAll(10'000) == m_Model);
  EXPECT_EQ(moved > 0, !GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(Seeds, MovedBlocksModel,
                         testing::ValuesIn(Seeds({std::pair{1U, false}, std::pair{2U, false},
                                                  std::pair{20240611U, false}, std::pair{3U, true}})),
                         [](auto const& seed) {
                           return (seed.param.second ? "Log" : "Journal") + std::to_string(seed.param.first);
                         });

/// A list of moved blocks, overwritten while the file system fails.
class MovedBlocksFault : public StoreStreamTest {
 protected:
  static constexpr int Count = 60 * BlockSize;

  static std::vector<int> Filled(int value) { return std::vector<int>(Count, value); }
  void MakeBase() {
    Make(Count);
    Overwrite(1);
    ASSERT_EQ(Moved(), 60 - 32);
    fs::rename(Path(), Path("base"));
  }
  void TakeBase() {
    fs::remove(Path() + "-journal");
    fs::copy_file(Path("base"), Path(), fs::copy_options::overwrite_existing);
  }
  void Overwrite(int value) {
    sto_Store store = Open();
    std::unique_ptr<Stream> const stream = store.Load<Stream>("stream");
    sto_Transaction transaction(store);
    stream->Write(0, Filled(value));
    transaction.Commit();
  }
};

TEST_F(MovedBlocksFault, KillAtEachOperationOnTheFileLeavesTheOldBlocksOrTheNew) {
  MakeBase();
  int olds = 0;
  int news = 0;
  for (int step = 1;; step += SweepStride) {
    SCOPED_TRACE("step " + std::to_string(step));
    TakeBase();
    pid_t const child = fork();
    if (child == 0) {
      int code = 0;
      try {
        StoreFaultVfs const vfs;
        StoreFaultVfs::StrikeAt(step, StoreFaultVfs::Fault::Kill);
        Overwrite(2);
      } catch (...) {
        code = 3;
      }
      _exit(code);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    bool const killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    ASSERT_TRUE(killed || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) << status;
    {
      sto_Store store = Open();
      std::unique_ptr<Stream> const stream = store.Load<Stream>("stream");
      bool const isNew = stream->ReadAll(Count).front() == 2;
      ++(isNew ? news : olds);
      ASSERT_TRUE(stream->ReadAll(Count) == Filled(isNew ? 2 : 1));
    }
    ExpectTables();
    if (step % 16 == 0) { // and the store can be used further
      Overwrite(3);
      ExpectTables();
      ASSERT_TRUE(Open().Load<Stream>("stream")->ReadAll(Count) == Filled(3));
    }
    if (HasFailure()) return;
    if (!killed) break;
  }
  EXPECT_GT(olds, 50 / SweepStride);
  EXPECT_GE(news, 1);
}

TEST_F(MovedBlocksFault, FailureAtEachOperationOnTheFileLeavesTheTransactionAllOrNothing) {
  MakeBase();
  StoreFaultVfs const vfs;
  for (int step = 1;; step += 2 * SweepStride) { // each fault at every second operation
    SCOPED_TRACE("step " + std::to_string(step));
    TakeBase();
    sto_Store store = Open();
    std::unique_ptr<Stream> const stream = store.Load<Stream>("stream");
    bool isCommitted = false;
    {
      StoreFaultVfs::StrikeAt(step,
                              step % 4 == 1 ? StoreFaultVfs::Fault::IoError : StoreFaultVfs::Fault::Full);
      try {
        sto_Transaction transaction(store);
        stream->Write(0, Filled(2));
        transaction.Commit();
        isCommitted = true;
      } catch (sto_Exception const&) {
      }
    }
    bool const struck = StoreFaultVfs::HasStruck();
    StoreFaultVfs::Disarm();
    ASSERT_TRUE(stream->ReadAll(Count) == Filled(isCommitted ? 2 : 1));
    ASSERT_TRUE(Open().Load<Stream>("stream")->ReadAll(Count) == Filled(isCommitted ? 2 : 1));
    sto_Transaction transaction(store); // the session can be used further
    stream->Write(0, Filled(3));
    transaction.Commit();
    ASSERT_TRUE(stream->ReadAll(Count) == Filled(3));
    ExpectTables();
    if (HasFailure() || !struck) break;
  }
}

TEST_F(MovedBlocksFault, CommitThatFailedIsTriedAgain) {
  MakeBase();
  StoreFaultVfs const vfs;
  int retried = 0;
  for (int step = 1;; ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    TakeBase();
    sto_Store store = Open();
    std::unique_ptr<Stream> const stream = store.Load<Stream>("stream");
    int expected = 1;
    sto_Transaction transaction(store);
    stream->Write(0, Filled(2));
    StoreFaultVfs::StrikeAt(step, StoreFaultVfs::Fault::IoError);
    try {
      transaction.Commit();
      expected = 2;
    } catch (sto_Exception const&) {
      StoreFaultVfs::Disarm();
      try {
        transaction.Commit();
        expected = 2;
        ++retried;
      } catch (sto_Exception const&) { // SQLite rolled it back
        transaction.Rollback();
      }
    }
    bool const struck = StoreFaultVfs::HasStruck();
    StoreFaultVfs::Disarm();
    ASSERT_TRUE(stream->ReadAll(Count) == Filled(expected));
    ExpectTables();
    ASSERT_TRUE(Open().Load<Stream>("stream")->ReadAll(Count) == Filled(expected));
    if (HasFailure() || !struck) break;
  }
  RecordProperty("retried", retried);
}

} // namespace
