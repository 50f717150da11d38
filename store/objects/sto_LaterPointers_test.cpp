#include <random>
#include <set>

#include "collections/cls_ArrayPrim.h"
#include "metadata/cls_CollectionType.h"
#include "store/sto_LoadScope.h"
#include "store/sto_Proxy.h"
#include "store/sto_Shared.h"
#include "tests/support/Seeds.h"
#include "tests/support/backend/PassingMemento.h"
#include "tests/support/store/StoreTest.h"

// Objects behind pointers: inside their holders, or written and read after them.

namespace {

/// How many links lead to what a test is about: its objects are nested in the first case, and left for later in the
/// second.
constexpr int Depths[] = {0, cls_LaterReads::MaxNested + 3};

/// A link of a chain, a ring or a web. Its pointers may lead anywhere.
class Link {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x7000A1; }
  static constexpr int Bad = -7; // a link that cannot be written or read

  explicit Link(int value = 0) : m_Value(value) {}
  explicit Link(cls_ReadVisitor const& visitor)
      : m_Value(visitor.Read(Field(0), 0)), m_Uid(visitor.GetUid()) {
    if (m_Value == Bad && s_BadRaises) throw std::runtime_error("bad link");
    if (s_OnRead) s_OnRead(*this);
    sto_ReadLater(visitor, Field(1), m_Next);
    cls_ReadLater(visitor, Field(2), m_Other);
    cls_ReadLater(visitor, Field(3), m_Owned);
    ReadList(visitor);
    sto_AfterLoad(visitor, *this, visitor.Memento() == nullptr ? 0 : visitor.Memento()->ClassVersion(),
                  [](void* link, int version) { static_cast<Link*>(link)->AfterLoad(version); });
  }
  Link(Link const& other) : m_Value(other.m_Value), m_Uid(other.m_Uid) {}
  Link& operator=(Link const&) = delete;
  virtual ~Link() = default;

  virtual void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    if (m_Value == Bad && s_BadRaises) throw std::runtime_error("bad link");
    visitor.Write(Field(0), m_Value);
    sto_WriteLater(visitor, Field(1), m_Next);
    cls_WriteLater(visitor, Field(2), m_MakesOther ? MakeOther() : m_Other);
    cls_WriteLater(visitor, Field(3), m_Owned);
    WriteList(visitor);
  }

  static cls_FieldHandle Field(int number) {
    static cow_String const names[] = {"m_Value"_cow, "m_Next"_cow, "m_Other"_cow, "m_Owned"_cow,
                                       "m_List"_cow};
    return {number, names[number]};
  }

  static std::shared_ptr<Link> Chain(int length) {
    std::shared_ptr<Link> first;
    for (int i = length; i > 0; --i) {
      auto link = std::make_shared<Link>(i);
      link->m_Next = std::move(first);
      first = std::move(link);
    }
    return first;
  }
  /// A chain of some links before `last`.
  static std::shared_ptr<Link> ChainTo(std::shared_ptr<Link> last, int count) {
    for (int i = 0; i < count; ++i) {
      auto link = std::make_shared<Link>(1000 + i);
      link->m_Next = std::move(last);
      last = std::move(link);
    }
    return last;
  }
  /// Frees a chain link by link; the destructors of its pointers would nest.
  static void Free(std::shared_ptr<Link> first) {
    while (first != nullptr) first = std::exchange(first->m_Next, nullptr);
  }
  /// The links that can be reached.
  static std::vector<Link*> Reached(Link& from) {
    std::vector<Link*> all{&from};
    std::set<Link*> seen(all.begin(), all.end());
    for (std::size_t i = 0; i < all.size(); ++i) {
      std::vector<Link*> held{all[i]->m_Next.get(), all[i]->m_Other.get(), all[i]->m_Owned.get()};
      for (auto const& each : all[i]->m_List) held.push_back(each.get());
      for (Link* const each : held)
        if (each != nullptr && seen.insert(each).second) all.push_back(each);
    }
    return all;
  }
  /// Takes the pointers of a web away, so that it is freed.
  static void Cut(Link& from) {
    std::vector<std::shared_ptr<Link>> kept;
    std::vector<std::unique_ptr<Link>> owned;
    for (Link* const link : Reached(from)) {
      kept.push_back(std::exchange(link->m_Next, nullptr));
      kept.push_back(std::exchange(link->m_Other, nullptr));
      owned.push_back(std::move(link->m_Owned));
      for (auto& each : link->m_List) kept.push_back(std::exchange(each, nullptr));
    }
  }

  int m_Value;
  std::shared_ptr<Link> m_Next, m_Other;
  std::unique_ptr<Link> m_Owned;
  std::vector<std::shared_ptr<Link>> m_List;
  bool m_MakesOther = false; // writes a link that nothing else owns
  int m_Calls = 0;           // of AfterLoad
  bool m_WasWhole = false;   // then
  cls_Uid m_Uid, m_ListUid;

  /// Counts the links, also one whose constructor raises.
  struct Alive {
    Alive() { ++s_Alive; }
    Alive(Alive const&) { ++s_Alive; }
    Alive& operator=(Alive const&) = delete;
    ~Alive() { --s_Alive; }
  } m_Alive;

  static inline int s_Alive = 0;
  static inline bool s_BadRaises = true;
  static inline std::function<void(Link&)> s_OnRead;
  static inline std::function<void(Link&)> s_AfterLoad;

 private:
  static std::shared_ptr<Link> MakeOther() {
    auto other = std::make_shared<Link>(4);
    other->m_Owned = std::make_unique<Link>(5);
    return other;
  }
  void AfterLoad(int version) {
    EXPECT_EQ(version, 1);
    ++m_Calls;
    m_WasWhole = m_Next != nullptr;
    if (s_AfterLoad) s_AfterLoad(*this);
  }
  void WriteList(cls_WriteVisitor const& visitor) const {
    if (m_List.empty()) return;
    std::unique_ptr<cls_WriteListObj> const list(visitor.MakeFieldWriteListObj(Field(4), m_ListUid));
    for (auto const& each : m_List)
      EXPECT_TRUE(cls_AppendLater(*list, cls_AppendsLater::Of(list.get()), each));
  }
  void ReadList(cls_ReadVisitor const& visitor) {
    if (visitor.DataIsPresent(Field(4)) == 0) return;
    std::unique_ptr<cls_ReadListObj> const list(visitor.MakeFieldReadListObj(Field(4)));
    m_List.resize(static_cast<std::size_t>(list->Count()));
    for (auto& each : m_List) cls_ReadNextLater(*list, cls_NamesElements::Of(list.get()), each);
  }
};

/// A link of a derived class.
class Heavy : public Link {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x7000A2; }
  explicit Heavy(int value, double mass) : Link(value), m_Mass(mass) {}
  explicit Heavy(cls_ReadVisitor const& visitor)
      : Link(cls_ReadVisitor(visitor)), m_Mass(visitor.Read(cls_FieldHandle(0, "m_Mass"_cow), 0.0)),
        m_HeavyUid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const override {
    if (!visitor.StartWrite(TypeId(), m_HeavyUid)) return;
    Link::DBWrite(cls_WriteVisitor(visitor, Link::TypeId()));
    visitor.Write(cls_FieldHandle(0, "m_Mass"_cow), m_Mass);
  }
  double m_Mass;
  cls_Uid m_HeavyUid;
};

template <class Adapter> void DeclareLink(cls_ClassRegistrar& classes) {
  cls_ClassMetadata& link = classes.AddClassMD(new Adapter("Link"_cow, 1, 1));
  link.AddAttribute(Link::Field(0), ATTR_INT, 1, COLLECTION_NONE);
  for (int const field : {1, 2, 3}) link.AddAttribute(Link::Field(field), ATTR_OBJECT, 1, COLLECTION_NONE);
  link.AddAttribute(Link::Field(4), ATTR_OBJECT, 1, COLLECTION_LIST);
}

cls_ClassRegistrar const& Links() {
  static cls_ClassRegistrar const& registrar = [&]() -> cls_ClassRegistrar const& {
    static cls_ClassRegistrar classes;
    DeclareLink<cls_TypeAdapter<Link>>(classes);
    classes.AddClassMD(new cls_TypeAdapter<Heavy>("Heavy"_cow, 1, Link::TypeId()))
        .AddAttribute(cls_FieldHandle(0, "m_Mass"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE);
    DeclareScripted(classes);
    return classes;
  }();
  return registrar;
}

class StoreLaterPointers : public StoreFileTest {
 protected:
  void SetUp() override { Link::s_Alive = 0; }
  void TearDown() override {
    Link::s_OnRead = Link::s_AfterLoad = nullptr;
    Link::s_BadRaises = true;
  }
  sto_Store Create(std::string_view name = "links.kvs") {
    return sto_Store::Open(Path(name), sto_Mode::Create, Links());
  }
  sto_Store Open() { return sto_Store::Open(Path("links.kvs"), sto_Mode::ReadWrite, Links()); }
  /// Saves a chain in a store of its own, and frees it.
  void SaveChain(int length) {
    sto_Store store = Create();
    std::shared_ptr<Link> chain = Link::Chain(length);
    store.Save("chain", *chain);
    Link::Free(std::move(chain));
  }
};

// --- Graphs

TEST_F(StoreLaterPointers, ChainOfAnyLengthIsSavedAndLoaded) {
  int const length = TestsAllSeeds() ? 1'000'000 : 60'000;
  SaveChain(length);
  sto_Store store = Open();
  EXPECT_EQ(store.ObjectCount(), length);
  std::shared_ptr<Link> chain = store.LoadShared<Link>("chain");
  int value = 0;
  for (Link const* link = chain.get(); link != nullptr; link = link->m_Next.get())
    ASSERT_EQ(link->m_Value, ++value);
  EXPECT_EQ(value, length);
  Link::Free(std::move(chain));
  EXPECT_EQ(Link::s_Alive, 0);
}

TEST_F(StoreLaterPointers, LongChainIsCheckedCollectedAndCopied) {
  SaveChain(5000);
  sto_Store store = Open();
  EXPECT_TRUE(store.Check(sto_CheckDepth::Full).m_Findings.empty());
  EXPECT_EQ(store.CollectGarbage(), 0);
  sto_Store other = Create("other.kvs");
  sto_CopyRoot(store, "chain", other, "copy");
  EXPECT_EQ(other.ObjectCount(), 5000);
}

TEST_F(StoreLaterPointers, RingLeadsBackToItsFirstObject) {
  sto_Store store = Create();
  std::shared_ptr<Link> ring = Link::Chain(3);
  ring->m_Next->m_Next->m_Next = ring;
  store.Save("ring", *ring);
  EXPECT_EQ(store.ObjectCount(), 3);
  Link::Cut(*ring);
  std::shared_ptr<Link> loaded = store.LoadShared<Link>("ring");
  EXPECT_EQ(loaded->m_Next->m_Next->m_Next, loaded);
  Link::Cut(*loaded);
}

TEST_F(StoreLaterPointers, WebBecomesTheSameWeb) {
  for (unsigned int const seed : Seeds({1U, 2U, 3U, 4U, 5U})) {
    std::mt19937 random(seed);
    std::vector<std::shared_ptr<Link>> links;
    for (int i = 0; i < 500; ++i)
      links.push_back(i % 3 == 0 ? std::make_shared<Heavy>(i, i / 2.0) : std::make_shared<Link>(i));
    auto const any = [&] { return links[random() % links.size()]; };
    for (auto const& link : links) {
      link->m_Next = any();
      if (random() % 2 == 0) link->m_Other = any();
      for (auto n = random() % 4; n > 0; --n) link->m_List.push_back(random() % 5 == 0 ? nullptr : any());
      if (random() % 4 == 0) link->m_Owned = std::make_unique<Link>(-100);
    }
    sto_Store store = Create("web" + std::to_string(seed));
    store.Save("web", *links[0]);
    std::shared_ptr<Link> loaded = store.LoadShared<Link>("web");
    std::vector<Link*> const was = Link::Reached(*links[0]);
    std::vector<Link*> const is = Link::Reached(*loaded);
    ASSERT_EQ(is.size(), was.size());
    for (std::size_t i = 0; i < was.size(); ++i) {
      EXPECT_EQ(is[i]->m_Value, was[i]->m_Value);
      Link const &loadedLink = *is[i], &savedLink = *was[i];
      EXPECT_EQ(typeid(loadedLink), typeid(savedLink));
      EXPECT_EQ(is[i]->m_List.size(), was[i]->m_List.size());
      EXPECT_EQ(is[i]->m_Owned == nullptr, was[i]->m_Owned == nullptr);
    }
    Link::Cut(*loaded);
    for (auto const& link : links) Link::Cut(*link);
  }
  EXPECT_EQ(Link::s_Alive, 0);
}

TEST_F(StoreLaterPointers, ObjectOfADerivedClassMayBeLedBackTo) {
  sto_Store store = Create();
  auto const heavy = std::make_shared<Heavy>(1, 2.5);
  heavy->m_Next = std::make_shared<Link>(2);
  heavy->m_Next->m_Next = heavy;
  store.Save("ring", *heavy->m_Next);
  Link::Cut(*heavy);
  std::shared_ptr<Link> const loaded = store.LoadShared<Link>("ring");
  auto* const found = dynamic_cast<Heavy*>(loaded->m_Next.get());
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->m_Mass, 2.5);
  EXPECT_EQ(found->m_Next, loaded);
  Link::Cut(*loaded);
}

/// An application's own adapter, which counts what it builds.
class CountingAdapter : public cls_TypeAdapter<Link> {
 public:
  using cls_TypeAdapter<Link>::cls_TypeAdapter;
  void* Ctor(cls_ReadVisitor const& reader) const override {
    ++s_Built;
    return cls_TypeAdapter<Link>::Ctor(reader);
  }
  static inline int s_Built = 0;
};

TEST_F(StoreLaterPointers, DerivedAdapterKeepsRings) {
  cls_ClassRegistrar classes;
  DeclareLink<CountingAdapter>(classes);
  {
    std::shared_ptr<Link> ring = Link::Chain(3);
    ring->m_Next->m_Next->m_Next = ring;
    ring->m_Other = ring;
    ring->m_List = {ring, ring->m_Next};
    Create().Save("ring", *ring);
    Link::Cut(*ring);
  }
  sto_Store store = sto_Store::Open(Path("links.kvs"), sto_Mode::ReadOnly, classes);
  std::shared_ptr<Link> const loaded = store.LoadShared<Link>("ring");
  EXPECT_EQ(CountingAdapter::s_Built, 3);
  EXPECT_EQ(loaded->m_Next->m_Next->m_Next, loaded);
  EXPECT_EQ(loaded->m_Other, loaded);
  EXPECT_EQ(loaded->m_List, (std::vector{loaded, loaded->m_Next}));
  Link::Cut(*loaded);
}

TEST_F(StoreLaterPointers, SharedObjectIsOneObject) {
  sto_Store store = Create();
  Link first(1);
  first.m_Next = first.m_Other = std::make_shared<Link>(2);
  first.m_List = {first.m_Next, nullptr, first.m_Next};
  store.Save("root", first);
  EXPECT_EQ(store.ObjectCount(), 3); // with the list
  std::unique_ptr<Link> const loaded = store.Load<Link>("root");
  EXPECT_EQ(loaded->m_Next, loaded->m_Other);
  EXPECT_EQ(loaded->m_List, (std::vector{loaded->m_Next, std::shared_ptr<Link>(), loaded->m_Next}));
  EXPECT_EQ(loaded->m_Next.use_count(), 4);
}

TEST_F(StoreLaterPointers, ScopeSharesObjectsOfTwoLoads) {
  SaveChain(3);
  sto_Store store = Open();
  sto_LoadScope const scope(store);
  std::shared_ptr<Link> const one = store.LoadShared<Link>("chain");
  std::shared_ptr<Link> const other = store.LoadShared<Link>("chain");
  EXPECT_EQ(one, other);
}

TEST_F(StoreLaterPointers, LoadedGraphIsSavedAgainUnchanged) {
  SaveChain(100);
  sto_Store store = Open();
  std::shared_ptr<Link> const chain = store.LoadShared<Link>("chain");
  chain->m_Next->m_Next->m_Value = 77;
  store.Save("chain", *chain);
  EXPECT_EQ(store.ObjectCount(), 100);
  EXPECT_EQ(store.LoadShared<Link>("chain")->m_Next->m_Next->m_Value, 77);
}

// --- When the graph is whole

TEST_F(StoreLaterPointers, CallAfterTheLoadSeesTheWholeGraph) {
  SaveChain(3);
  sto_Store store = Open();
  std::shared_ptr<Link> const chain = store.LoadShared<Link>("chain");
  for (Link const* link = chain.get(); link != nullptr; link = link->m_Next.get()) {
    EXPECT_EQ(link->m_Calls, 1);
    EXPECT_EQ(link->m_WasWhole, link->m_Value < 3);
  }
}

TEST_F(StoreLaterPointers, FailureOfSuchACallFailsTheLoad) {
  SaveChain(3);
  sto_Store store = Open();
  Link::s_AfterLoad = [](Link& link) {
    if (link.m_Value == 2) throw std::runtime_error("no");
  };
  EXPECT_THROW(static_cast<void>(store.LoadShared<Link>("chain")), std::runtime_error);
  EXPECT_EQ(Link::s_Alive, 0);
  Link::s_AfterLoad = nullptr;
  EXPECT_NE(store.LoadShared<Link>("chain")->m_Next->m_Next, nullptr);
}

TEST_F(StoreLaterPointers, LoadInsideALoadReturnsAWholeGraph) {
  SaveChain(3);
  sto_Store store = Open();
  store.Save("other", *Link::Chain(2));
  bool wasWhole = false;
  Link::s_OnRead = [&](Link& link) {
    if (link.m_Value != 3) return;
    Link::s_OnRead = nullptr;
    std::shared_ptr<Link> const other = store.LoadShared<Link>("other");
    wasWhole = other->m_Next != nullptr && other->m_Calls == 1;
  };
  std::shared_ptr<Link> const chain = store.LoadShared<Link>("chain");
  EXPECT_TRUE(wasWhole);
  EXPECT_NE(chain->m_Next->m_Next, nullptr);
}

// --- Failures

TEST_F(StoreLaterPointers, ObjectThatCannotBeBuiltFailsTheLoadAndLeavesNothing) {
  sto_Store store = Create();
  for (int const depth : Depths) {
    SCOPED_TRACE(depth);
    Link::s_BadRaises = false;
    std::shared_ptr<Link> chain = Link::Chain(4);
    chain->m_Next->m_Next->m_Value = Link::Bad;
    chain = Link::ChainTo(chain, depth);
    store.Save("chain", *chain);
    int const alive = Link::s_Alive;
    Link::s_BadRaises = true;
    EXPECT_THROW(static_cast<void>(store.LoadShared<Link>("chain")), std::runtime_error);
    {
      sto_LoadScope const scope(store);
      EXPECT_THROW(static_cast<void>(store.LoadShared<Link>("chain")), std::runtime_error);
      EXPECT_EQ(Link::s_Alive, alive) << "a scope keeps nothing of a load that failed";
    }
    Link::s_BadRaises = false;
    EXPECT_EQ(Link::Reached(*store.LoadShared<Link>("chain")).size(), 4U + static_cast<unsigned int>(depth));
    EXPECT_EQ(Link::s_Alive, alive);
  }
}

TEST_F(StoreLaterPointers, ObjectThatCannotBeWrittenUndoesTheSave) {
  for (int const depth : Depths) {
    SCOPED_TRACE(depth);
    sto_Store store = Create("depth" + std::to_string(depth));
    std::shared_ptr<Link> chain = Link::Chain(4);
    chain->m_Next->m_Next->m_Value = Link::Bad;
    chain = Link::ChainTo(chain, depth);
    EXPECT_THROW(store.Save("chain", *chain), std::runtime_error);
    EXPECT_EQ(store.ObjectCount(), 0);
    EXPECT_FALSE(store.HasRoot("chain"));
    store.Save("other", Link(5)); // nothing of the failed save is written now
    EXPECT_EQ(store.ObjectCount(), 1);
  }
}

TEST_F(StoreLaterPointers, MissingObjectIsDamageThatNamesItsHolder) {
  for (int const depth : Depths) {
    SCOPED_TRACE(depth);
    int const holder = depth + 1; // objects are numbered as they are reached
    int const list = 2 * depth + 4;
    {
      sto_Store store = Create();
      auto const first = std::make_shared<Link>(1);
      first->m_Next = std::make_shared<Link>(2);
      store.Save("field", *Link::ChainTo(first, depth));
      auto const second = std::make_shared<Link>(3);
      second->m_List = {std::make_shared<Link>(4)};
      store.Save("list", *Link::ChainTo(second, depth));
    }
    SqlFile file(Path("links.kvs"));
    file.Unpack();
    file.Run("DELETE FROM object WHERE id IN (" + std::to_string(holder + 1) + ", " +
             std::to_string(list + 1) + ")");
    auto const messageOf = [&](char const* root) {
      sto_Store store = Open();
      return MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.LoadShared<Link>(root)); });
    };
    std::string const field = messageOf("field");
    EXPECT_TRUE(Contains(field, "Object " + std::to_string(holder + 1) +
                                    ", which attribute m_Next of object " + std::to_string(holder) +
                                    " (Link"))
        << field;
    EXPECT_TRUE(Contains(field, "holds, is missing.")) << field;
    EXPECT_TRUE(Contains(messageOf("list"), "Object " + std::to_string(list + 1) +
                                                ", an element of the list of object " + std::to_string(list) +
                                                ", is missing."))
        << messageOf("list");
    EXPECT_EQ(Link::s_Alive, 0);
    std::filesystem::remove(Path("links.kvs"));
  }
}

TEST_F(StoreLaterPointers, ChangedCopyIsAConflictThatNamesBothHolders) {
  sto_Store store = Create();
  Link first(1);
  first.m_Next = std::make_shared<Link>(2);
  first.m_Other = std::make_shared<Link>(*first.m_Next);
  store.Save("equal", first);
  EXPECT_EQ(store.ObjectCount(), 2);
  first.m_Other->m_Value = 3;
  std::string const message = MessageOf(sto_ErrorKind::Conflict, [&] { store.Save("changed", first); });
  EXPECT_TRUE(Contains(message, "identity of object 2 (Link)") && Contains(message, "attribute m_Next") &&
              Contains(message, "attribute m_Other"))
      << message;
}

TEST_F(StoreLaterPointers, UndeclaredAttributeIsRefusedAtOnce) {
  sto_Store store = Create();
  Scripted const object([](cls_WriteVisitor const& visitor) {
    cls_WriteLater(visitor, cls_FieldHandle("m_Nowhere"_cow), std::make_shared<Link>(1));
  });
  EXPECT_TRUE(Contains(MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("root", object); }), "m_Nowhere"));
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreLaterPointers, OwnedTemporaryObjectLivesUntilItIsWritten) {
  sto_Store store = Create();
  Scripted const object([](cls_WriteVisitor const& visitor) {
    cls_WriteLater(visitor, cls_FieldHandle("m_Child"_cow), std::make_shared<Link>(4));
  });
  store.Save("root", object);
  EXPECT_EQ(store.ObjectCount(), 2);
  EXPECT_EQ(Link::s_Alive, 0);
}

TEST_F(StoreLaterPointers, WhatATemporaryObjectOwnsIsWrittenToo) {
  for (int const depth : Depths) {
    SCOPED_TRACE(depth);
    auto const last = std::make_shared<Link>(3);
    last->m_MakesOther = true;
    sto_Store store = Create("depth" + std::to_string(depth));
    store.Save("root", *Link::ChainTo(last, depth));
    std::shared_ptr<Link> loaded = store.LoadShared<Link>("root");
    while (loaded->m_Next != nullptr) loaded = loaded->m_Next;
    EXPECT_EQ(loaded->m_Other->m_Owned->m_Value, 5);
  }
}

TEST_F(StoreLaterPointers, SaveInsideALoadThatHasPointersToFillIsRefused) {
  sto_Store store = Create();
  store.Save("chain", *Link::ChainTo(Link::Chain(3), Depths[1]));
  std::string message;
  Link::s_OnRead = [&](Link& link) {
    if (link.m_Value != 3) return;
    Link::s_OnRead = nullptr;
    message = MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("half", link); });
  };
  {
    sto_Transaction transaction(store);
    Link::Free(store.LoadShared<Link>("chain"));
    transaction.Commit();
  }
  EXPECT_TRUE(Contains(message, "inside a load that has not filled all pointers yet")) << message;
  EXPECT_FALSE(store.HasRoot("half"));

  int saves = 0;
  Link::s_AfterLoad = [&](Link& link) {
    if (link.m_Value != 1) return;
    store.Save("whole", link);
    ++saves;
  };
  {
    sto_Transaction transaction(store);
    Link::Free(store.LoadShared<Link>("chain"));
    transaction.Commit();
  }
  Link::s_AfterLoad = nullptr;
  EXPECT_EQ(saves, 1);
  std::shared_ptr<Link> const whole = store.LoadShared<Link>("whole");
  EXPECT_EQ(whole->m_Next->m_Next->m_Value, 3);
}

// --- Where nothing can be left for later

TEST_F(StoreLaterPointers, ArrayIsWrittenAtOnceWithItsKind) {
  sto_Store store = Create();
  auto const array = std::make_shared<cls_ArrayPrim<int>>();
  for (int i = 0; i < 5000; ++i) array->Append(i);
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    sto_WriteLater(visitor, cls_FieldHandle("m_List"_cow), array);
  });
  int last = 0;
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    visitor.Memento()->CheckCollectionType(COLLECTION_LIST_INT, "m_List"_cow);
    cls_ArrayPrim<int> loaded(cls_ReadVisitor(visitor, cls_FieldHandle("m_List"_cow)));
    last = loaded.ConstGet(4999);
    loaded.Release();
  }));
  EXPECT_EQ(last, 4999);
  EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound());
  array->Release(); // an array frees nothing by itself
}

TEST_F(StoreLaterPointers, MementoThatPassesOnReadsAtOnce) {
  SaveChain(2);
  sto_Store store = Open();
  Scripted const holder([](cls_WriteVisitor const& visitor) {
    cls_WriteLater(visitor, cls_FieldHandle("m_Child"_cow), std::make_shared<Link>(4));
  });
  store.Save("holder", holder);
  bool wasThere = false;
  Scripted::s_Read = [&](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const outer(new PassingMemento(visitor.Memento(), false));
    std::shared_ptr<Link> child;
    cls_ReadLater(outer, cls_FieldHandle("m_Child"_cow), child);
    wasThere = child != nullptr && child->m_Value == 4;
  };
  static_cast<void>(store.Load<Scripted>("holder"));
  Scripted::s_Read = nullptr;
  EXPECT_TRUE(wasThere);
}

} // namespace
