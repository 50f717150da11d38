#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "persist/backend/cls_AgentBlob.h"
#include "persist/visitors/cls_BlobReader.h"
#include "persist/visitors/cls_BlobWriter.h"
#include "tests/support/store/StoreTest.h"

namespace {

// Blobs in a real store.

cls_FieldHandle ImageField() {
  return {0, "m_Image"_cow};
}

using Content = std::vector<unsigned char>;

/// An object with a blob; the test scripts its writing and reading.
struct BlobPicture {
  static constexpr unsigned int TypeId() noexcept { return 0x750001; }
  using Act = std::function<void(cls_AgentBlob&)>;

  explicit BlobPicture(Act write) : m_Write(std::move(write)) {}
  explicit BlobPicture(cls_ReadVisitor const& visitor)
      : m_Reader(std::make_unique<cls_BlobReader>(visitor, ImageField(), m_ImageUid)),
        m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    cls_BlobWriter const writer(visitor, ImageField(), m_ImageUid);
    m_Write(writer.Agent());
  }
  cls_AgentBlob& Blob() const { return m_Reader->Agent(); }

  Act m_Write;
  cls_Uid m_ImageUid;
  std::unique_ptr<cls_BlobReader> m_Reader;
  cls_Uid m_Uid;
};

Content AllOf(cls_AgentBlob& blob) {
  Content content(static_cast<std::size_t>(blob.Size()) + 3);
  content.resize(
      static_cast<std::size_t>(blob.Read(0, static_cast<long long>(content.size()), content.data())));
  return content;
}

Content Pattern(std::size_t size) {
  Content content(size);
  for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<unsigned char>(i * 131 + i / 251);
  return content;
}

class StoreBlob : public StoreFileTest {
 protected:
  StoreBlob() {
    m_Registrar.CreateClassMD("Picture"_cow, BlobPicture::TypeId(), 1, nullptr, 1)
        .AddAttribute(ImageField(), ATTR_OBJECT, 1, COLLECTION_NONE);
  }
  sto_Store Create() { return sto_Store::Open(Path(), sto_Mode::Create, m_Registrar); }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite) { return sto_Store::Open(Path(), mode, m_Registrar); }
  static BlobPicture With(Content const& content) {
    return BlobPicture([content](cls_AgentBlob& blob) {
      blob.Write(0, static_cast<long long>(content.size()), content.data());
    });
  }

  cls_ClassRegistrar m_Registrar;
};

TEST_F(StoreBlob, ComesBackInAnotherSessionWhateverItsSize) {
  for (std::size_t const size : {0, 1, 16383, 16384, 16385, 100'000}) {
    std::string const path = Path(std::to_string(size));
    cls_Uid image;
    { sto_Store::Open(path, sto_Mode::Create, m_Registrar).Save("picture", With(Pattern(size))); }
    sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, m_Registrar);
    auto const picture = store.Load<BlobPicture>("picture");
    EXPECT_EQ(picture->Blob().Size(), static_cast<long long>(size));
    EXPECT_TRUE(AllOf(picture->Blob()) == Pattern(size)) << size;
    EXPECT_TRUE(picture->Blob().ReadOnly());
    EXPECT_NE(picture->m_ImageUid.Entry(), picture->m_Uid.Entry());
    EXPECT_EQ(IntegrityOf(path), "ok");
  }
}

TEST_F(StoreBlob, ReadsAndWritesAtAnyPlaceAreThoseOfAByteVector) {
  sto_Store store = Create();
  store.Save("picture", With({}));
  auto const picture = store.Load<BlobPicture>("picture");
  cls_AgentBlob& blob = picture->Blob();
  Content model;
  std::mt19937 random(20240611);
  auto const below = [&](std::size_t count) { return random() % count; };
  sto_Transaction transaction(store);
  for (int step = 0; step < 2000; ++step) {
    SCOPED_TRACE(step);
    switch (below(8)) {
    case 0: {
      std::size_t const size = below(model.size() + 20'000);
      blob.Truncate(static_cast<long long>(size));
      if (size < model.size()) model.resize(size);
      break;
    }
    case 1:
    case 2:
    case 3: {
      Content bytes(below(40'000) + 1);
      for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
      std::size_t const at = below(8) == 0 ? model.size() + below(50'000) : below(model.size() + 1);
      blob.Write(static_cast<long long>(at), static_cast<long long>(bytes.size()), bytes.data());
      if (model.size() < at + bytes.size()) model.resize(at + bytes.size());
      std::copy(bytes.begin(), bytes.end(), model.begin() + static_cast<std::ptrdiff_t>(at));
      break;
    }
    default: {
      std::size_t const at = below(model.size() + 100);
      Content bytes(below(40'000) + 1);
      auto const got = static_cast<std::size_t>(
          blob.Read(static_cast<long long>(at), static_cast<long long>(bytes.size()), bytes.data()));
      ASSERT_EQ(got, at >= model.size() ? 0 : std::min(bytes.size(), model.size() - at));
      ASSERT_EQ(std::memcmp(bytes.data(), model.data() + at, got), 0);
    }
    }
    ASSERT_EQ(blob.Size(), static_cast<long long>(model.size()));
  }
  transaction.Commit();
  EXPECT_TRUE(AllOf(Open().Load<BlobPicture>("picture")->Blob()) == model);
  EXPECT_EQ(SqlFile(Path()).Integer("SELECT count(*) FROM stored_block"),
            static_cast<std::int64_t>((model.size() + 16383) / 16384));
}

TEST_F(StoreBlob, SavingAgainBeginsWithAnEmptyBlob) {
  sto_Store store = Create();
  BlobPicture picture = With(Pattern(50'000));
  store.Save("picture", picture);
  picture.m_Write = With(Pattern(10)).m_Write;
  store.Save("picture", picture);
  EXPECT_TRUE(AllOf(store.Load<BlobPicture>("picture")->Blob()) == Pattern(10));
  EXPECT_EQ(SqlFile(Path()).Integer("SELECT count(*) FROM stored_block"), 1);
}

TEST_F(StoreBlob, RollbackTakesItsBytesBack) {
  sto_Store store = Create();
  store.Save("picture", With(Pattern(20'000)));
  auto const picture = store.Load<BlobPicture>("picture");
  {
    sto_Transaction transaction(store);
    picture->Blob().Write(100, 3, "abc");
    picture->Blob().Truncate(200);
  }
  EXPECT_TRUE(AllOf(picture->Blob()) == Pattern(20'000));
}

TEST_F(StoreBlob, AgentOfABlobWhoseSaveIsUndoneNeverWritesUnderItsId) {
  struct Kept {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(BlobPicture::TypeId(), m_Uid)) return;
      m_Writer = std::make_unique<cls_BlobWriter>(visitor, ImageField(), m_ImageUid);
      m_Writer->Agent().Write(0, 3, "abc");
      if (m_Fails) throw std::runtime_error("failed");
    }
    bool m_Fails = false;
    cls_Uid m_ImageUid;
    cls_Uid m_Uid;
    mutable std::unique_ptr<cls_BlobWriter> m_Writer;
  };
  sto_Store store = Create();
  Kept rolledBack;
  {
    sto_Transaction transaction(store);
    store.Save("gone", rolledBack);
    EXPECT_EQ(rolledBack.m_Writer->Agent().Size(), 3);
  }
  Kept failed;
  failed.m_Fails = true;
  EXPECT_THROW(store.Save("gone", failed), std::runtime_error);
  store.Save("picture", With(Pattern(100))); // reuses the ids
  for (Kept const* const gone : {&rolledBack, &failed}) {
    cls_AgentBlob& blob = gone->m_Writer->Agent();
    EXPECT_TRUE(blob.ReadOnly());
    char byte = 0;
    for (std::function<void()> const& use : std::initializer_list<std::function<void()>>{
             [&] { blob.Size(); }, [&] { blob.Changed(); }, [&] { blob.Read(0, 1, &byte); },
             [&] { blob.Read(0, 0, &byte); }, [&] { blob.Write(0, 3, "xyz"); }, [&] { blob.Truncate(0); }})
      EXPECT_TRUE(Contains(MessageOf(sto_ErrorKind::Unavailable, use), "work that was undone"));
  }
  EXPECT_TRUE(AllOf(store.Load<BlobPicture>("picture")->Blob()) == Pattern(100));
  EXPECT_EQ(store.CollectGarbage(), 0);
  Open().Save("picture", With(Pattern(50)));
  EXPECT_TRUE(AllOf(store.Load<BlobPicture>("picture")->Blob()) == Pattern(50));
}

TEST_F(StoreBlob, AgentOfAnUndoneSaveDoesNotMakeObjectsThatTheStoreNeverHad) {
  sto_Store store = Create();
  std::unique_ptr<cls_BlobWriter> writer;
  struct Kept {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(BlobPicture::TypeId(), m_Uid)) return;
      m_Writer = std::make_unique<cls_BlobWriter>(visitor, ImageField(), m_ImageUid);
    }
    std::unique_ptr<cls_BlobWriter>& m_Writer;
    cls_Uid m_ImageUid;
    cls_Uid m_Uid;
  };
  {
    sto_Transaction transaction(store);
    store.Save("gone", Kept{writer, {}, {}});
  }
  MessageOf(sto_ErrorKind::Unavailable, [&] { writer->Agent().Write(0, 3, "xyz"); });
  EXPECT_EQ(store.ObjectCount(), 0);
  store.Save("picture", With(Pattern(10))); // the store is still writable
  EXPECT_TRUE(AllOf(Open().Load<BlobPicture>("picture")->Blob()) == Pattern(10));
}

TEST_F(StoreBlob, AgentOutlivesTheSaveAndNoticesOtherSessions) {
  sto_Store one = Create();
  one.Save("picture", With(Pattern(1000)));
  sto_Store two = Open();
  auto const mine = one.Load<BlobPicture>("picture");
  auto const theirs = two.Load<BlobPicture>("picture");
  EXPECT_FALSE(mine->Blob().Changed());
  theirs->Blob().Write(5, 1, "x"); // an implicit transaction
  EXPECT_TRUE(mine->Blob().Changed());
  EXPECT_FALSE(mine->Blob().Changed());
  EXPECT_FALSE(theirs->Blob().Changed());
  EXPECT_EQ(AllOf(mine->Blob())[5], 'x');
}

TEST_F(StoreBlob, AgentThatOutlivesItsSessionAnswersWithAnError) {
  std::unique_ptr<BlobPicture> picture;
  {
    sto_Store store = Create();
    store.Save("picture", With(Pattern(10)));
    picture = store.Load<BlobPicture>("picture");
  }
  std::string const message =
      MessageOf(sto_ErrorKind::Unavailable, [&] { static_cast<void>(picture->Blob().Size()); });
  EXPECT_TRUE(Contains(message, "closed") && Contains(message, Path())) << message;
  EXPECT_TRUE(picture->Blob().ReadOnly());
}

TEST_F(StoreBlob, ReadOnlyStoreAndReadTransactionRefuseToWrite) {
  { Create().Save("picture", With(Pattern(10))); }
  {
    sto_Store store = Open(sto_Mode::ReadOnly);
    auto const picture = store.Load<BlobPicture>("picture");
    MessageOf(sto_ErrorKind::ReadOnly, [&] { picture->Blob().Write(0, 1, "x"); });
    MessageOf(sto_ErrorKind::ReadOnly, [&] { picture->Blob().Truncate(1); });
  }
  sto_Store store = Open();
  auto const picture = store.Load<BlobPicture>("picture");
  sto_ReadTransaction const reading(store);
  MessageOf(sto_ErrorKind::Misuse, [&] { picture->Blob().Write(0, 1, "x"); });
}

TEST_F(StoreBlob, AbsentBlobIsEmptyAndReadOnly) {
  sto_Store store = Create();
  struct Bare {
    static constexpr unsigned int TypeId() noexcept { return BlobPicture::TypeId(); }
    void DBWrite(cls_WriteVisitor const& visitor) const { visitor.StartWrite(TypeId(), m_Uid); }
    cls_Uid m_Uid;
  };
  store.Save("bare", Bare());
  auto const picture = store.Load<BlobPicture>("bare");
  EXPECT_EQ(picture->Blob().Size(), 0);
  char byte = 0;
  EXPECT_EQ(picture->Blob().Read(0, 1, &byte), 0);
  MessageOf(sto_ErrorKind::ReadOnly, [&] { picture->Blob().Write(0, 1, "x"); });
}

TEST_F(StoreBlob, DamagedBlockIsAnErrorThatNamesIt) {
  { Create().Save("picture", With(Pattern(50'000))); }
  SqlFile(Path()).Run("UPDATE stored_block SET data = zeroblob(length(data)) WHERE key % 1048576 = 2");
  sto_Store store = Open();
  auto const picture = store.Load<BlobPicture>("picture");
  char bytes[10];
  EXPECT_EQ(picture->Blob().Read(0, 10, bytes), 10);
  std::string const message =
      MessageOf(sto_ErrorKind::Damaged, [&] { picture->Blob().Read(40'000, 10, bytes); });
  EXPECT_TRUE(Contains(message, "Block 2")) << message;
}

TEST_F(StoreBlob, SizeWhoseLastBlockIsMissingIsDamage) {
  { Create().Save("picture", With(Pattern(50'000))); }
  SqlFile(Path()).Run("DELETE FROM stored_block WHERE key % 1048576 = 3");
  sto_Store store = Open();
  auto const picture = store.Load<BlobPicture>("picture");
  std::string const message =
      MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(picture->Blob().Size()); });
  EXPECT_TRUE(Contains(message, "it says 50000 bytes, and its last block is missing")) << message;
}

TEST_F(StoreBlob, BeyondTheGreatestSizeIsRefused) {
  sto_Store store = Create();
  store.Save("picture", With(Pattern(10)));
  auto const picture = store.Load<BlobPicture>("picture");
  MessageOf(sto_ErrorKind::Full, [&] { picture->Blob().Write((1LL << 34) - 1, 2, "xy"); });
  MessageOf(sto_ErrorKind::Full, [&] { picture->Blob().Write(-1, 2, "xy"); });
  EXPECT_TRUE(AllOf(picture->Blob()) == Pattern(10));
}

} // namespace
