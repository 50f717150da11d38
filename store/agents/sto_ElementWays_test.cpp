#include <array>
#include <optional>

#include "tests/support/store/StoreCollections.h"

namespace {

// An object must be the same by whichever way it is reached: as a root, in a field, and as an element of a
// list or map, through a cursor or an agent. The way must not affect what is built, what is refused, and what
// is shared.

class Animal {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x770001; }
  Animal() = default;
  explicit Animal(cls_ReadVisitor const& visitor)
      : m_Name(visitor.Read(Field("m_Name"), "default"_cow)), m_AnimalUid(visitor.GetUid()) {}
  virtual ~Animal() = default;
  virtual void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_AnimalUid)) return;
    visitor.Write(Field("m_Name"), m_Name);
  }
  [[nodiscard]] virtual std::string Describe() const { return "animal " + std::string(m_Name.View()); }
  cow_String m_Name = "anon"_cow;
  cls_Uid m_AnimalUid;
};

class Dog : public Animal {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x770002; }
  Dog() = default;
  explicit Dog(cls_ReadVisitor const& visitor)
      : Animal(cls_ReadVisitor(visitor)), m_Legs(visitor.Read(Field("m_Legs"), -1)), m_Uid(visitor.GetUid()) {
  }
  void DBWrite(cls_WriteVisitor const& visitor) const override {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    Animal::DBWrite(cls_WriteVisitor(visitor, Animal::TypeId()));
    visitor.Write(Field("m_Legs"), m_Legs);
  }
  [[nodiscard]] std::string Describe() const override {
    return "dog " + std::string(m_Name.View()) + " on " + std::to_string(m_Legs);
  }
  int m_Legs = 4;
  cls_Uid m_Uid;
};

/// An unrelated class.
class Stone {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x770003; }
  void DBWrite(cls_WriteVisitor const& visitor) const { visitor.StartWrite(TypeId(), m_Uid); }
  cls_Uid m_Uid;
};

enum class Way {
  Root,
  FieldOf,
  ListCursor,
  IntMapCursor,
  TextMapCursor,
  ListAgent,
  IntMapAgent,
  TextMapAgent,
};
constexpr std::array Ways{Way::Root,          Way::FieldOf,   Way::ListCursor,  Way::IntMapCursor,
                          Way::TextMapCursor, Way::ListAgent, Way::IntMapAgent, Way::TextMapAgent};

class StoreElementWays : public StoreFileTest {
 protected:
  static void Declare(cls_ClassRegistrar& registrar, int dogVersion = 1) {
    DeclareCollections(registrar);
    registrar.AddClassMD(new cls_TypeAdapter<Animal>("Animal"_cow, 1, 1))
        .AddAttribute(Field("m_Name"), ATTR_STRING, 1, COLLECTION_NONE);
    registrar.AddClassMD(new cls_TypeAdapter<Dog>("Dog"_cow, dogVersion, Animal::TypeId()))
        .AddAttribute(Field("m_Legs"), ATTR_INT, 1, COLLECTION_NONE);
    registrar.CreateClassMD("Stone"_cow, Stone::TypeId(), 1, nullptr, 1);
  }
  StoreElementWays() {
    Declare(m_Classes);
    Declare(m_NewerClasses, 2);
  }

  /// Saves an object as a root, and again as the content of a field, a list and two maps of another root.
  template <class T> void Save(T const& object, bool isNewer = false) {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, isNewer ? m_NewerClasses : m_Classes);
    store.Save("object", object);
    SaveFields(
        store,
        [&](cls_WriteVisitor const& visitor) {
          object.DBWrite(cls_WriteVisitor(visitor, Field("m_Object"), nullptr, &object));
          {
            auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
            cls_WriteRequestListObj const request(list.get());
            object.DBWrite(cls_WriteVisitor(request, &object));
          }
          {
            auto const map = Own(visitor.Memento()->MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid()));
            cls_WriteRequestMapInt2Obj const request(map.get(), 1);
            object.DBWrite(cls_WriteVisitor(request, &object));
          }
          auto const map =
              Own(visitor.Memento()->MakeFieldWriteMapString2Obj(Field("m_ByString"), cls_Uid()));
          cow_String const key("key");
          cls_WriteRequestMapString2Obj const request(map.get(), key);
          object.DBWrite(cls_WriteVisitor(request, &object));
        },
        "holder");
  }
  sto_Store Open() const { return sto_Store::Open(Path(), sto_Mode::ReadOnly, m_Classes); }

  /// Calls `use` with a visitor at the object, reached by any way except Root. `holder` is the object that
  /// holds it. The collections' agents live during the call.
  template <class Use> static void Follow(Way way, cls_ReadVisitor const& holder, Use use) {
    std::unique_ptr<cls_MementoRead> memento;
    std::string const field = way == Way::ListCursor || way == Way::ListAgent       ? "m_Objects"
                              : way == Way::IntMapCursor || way == Way::IntMapAgent ? "m_ByInt"
                                                                                    : "m_ByString";
    std::unique_ptr<cls_MementoRead> const collection = ReadIn(holder, field);
    switch (way) {
    case Way::ListCursor:
      return use(cls_ReadVisitor(Own(collection->MakeReadListObj())->Next()));
    case Way::IntMapCursor: {
      auto const map = Own(collection->MakeReadMapInt2Obj());
      int key = 0;
      map->Next();
      return use(cls_ReadVisitor(map->Fetch(key)));
    }
    case Way::TextMapCursor: {
      auto const map = Own(collection->MakeReadMapString2Obj());
      cow_String key;
      map->Next();
      return use(cls_ReadVisitor(map->Fetch(key)));
    }
    case Way::ListAgent: {
      auto const agent = Own(collection->MakeAgentListObj());
      return use(cls_ReadVisitor(agent->MakeReadObj(0)));
    }
    case Way::IntMapAgent: {
      auto const agent = Own(collection->MakeAgentMapKey2Obj(static_cast<int*>(nullptr)));
      return use(cls_ReadVisitor(agent->MakeReadObj(1)));
    }
    case Way::TextMapAgent: {
      auto const agent = Own(collection->MakeAgentMapKey2Obj(static_cast<cow_String*>(nullptr)));
      return use(cls_ReadVisitor(agent->MakeReadObj("key"_cow)));
    }
    default:
      FAIL() << "no such way";
    }
  }

  template <class T> static std::unique_ptr<T> ReadOwned(Way way, cls_ReadVisitor const& holder) {
    if (way == Way::FieldOf) return sto_ReadOwned<T>(holder, Field("m_Object"));
    std::unique_ptr<T> object;
    Follow(way, holder, [&](cls_ReadVisitor const& visitor) { object = sto_Construct<T>(visitor); });
    return object;
  }
  template <class T> static std::shared_ptr<T> ReadShared(Way way, cls_ReadVisitor const& holder) {
    if (way == Way::FieldOf) return sto_ReadShared<T>(holder, Field("m_Object"));
    std::shared_ptr<T> object;
    Follow(way, holder, [&](cls_ReadVisitor const& visitor) { object = sto_ConstructShared<T>(visitor); });
    return object;
  }

  /// The result of reaching the object: what it says of itself, or the kind of error raised.
  std::string ByWay(Way way, bool isShared) const {
    sto_Store store = Open();
    std::string outcome = "nothing";
    auto const take = [&](auto const& object) {
      if (object != nullptr) outcome = object->Describe();
    };
    try {
      if (way == Way::Root) {
        isShared ? take(store.LoadShared<Animal>("object")) : take(store.Load<Animal>("object"));
      } else {
        static_cast<void>(LoadFields(
            store,
            [&](cls_ReadVisitor const& holder) {
              isShared ? take(ReadShared<Animal>(way, holder)) : take(ReadOwned<Animal>(way, holder));
            },
            "holder"));
      }
    } catch (sto_Exception const& exception) {
      outcome = "error " + std::to_string(static_cast<int>(exception.Kind()));
    }
    return outcome;
  }
  void ExpectByEachWay(std::string const& outcome) const {
    for (Way const way : Ways)
      for (bool const isShared : {false, true})
        EXPECT_EQ(ByWay(way, isShared), outcome)
            << "way " << static_cast<int>(way) << (isShared ? " shared" : " owned");
  }
  static std::string Error(sto_ErrorKind kind) { return "error " + std::to_string(static_cast<int>(kind)); }

  cls_ClassRegistrar m_Classes;
  cls_ClassRegistrar m_NewerClasses;
};

TEST_F(StoreElementWays, ObjectOfTheVeryClassIsTheSameByEachWay) {
  Animal animal;
  animal.m_Name = "cat"_cow;
  Save(animal);
  ExpectByEachWay("animal cat");
}

TEST_F(StoreElementWays, DerivedObjectIsBuiltAsWhatItIsByEachWay) {
  Dog dog;
  dog.m_Name = "rex"_cow;
  dog.m_Legs = 3;
  Save(dog);
  ExpectByEachWay("dog rex on 3");
}

TEST_F(StoreElementWays, ObjectOfAForeignClassIsRefusedByEachWay) {
  Save(Stone());
  ExpectByEachWay(Error(sto_ErrorKind::WrongClass));
}

TEST_F(StoreElementWays, ObjectOfANewerVersionIsRefusedByEachWay) {
  Save(Dog(), true);
  ExpectByEachWay(Error(sto_ErrorKind::NewerFormat));
}

TEST_F(StoreElementWays, SharedObjectIsOneObjectWhicheverWaysLeadToItInOneLoad) {
  Save(Dog());
  sto_Store store = Open();
  for (Way const first : Ways)
    for (Way const second : Ways) {
      if (first == Way::Root || second == Way::Root) continue; // another root is a separate load
      SCOPED_TRACE(std::to_string(static_cast<int>(first)) + " and " +
                   std::to_string(static_cast<int>(second)));
      static_cast<void>(LoadFields(
          store,
          [&](cls_ReadVisitor const& holder) {
            std::shared_ptr<Animal> const one = ReadShared<Animal>(first, holder);
            ASSERT_NE(one, nullptr);
            EXPECT_EQ(ReadShared<Animal>(second, holder), one);
            EXPECT_EQ(std::dynamic_pointer_cast<Dog>(one), ReadShared<Dog>(second, holder));
            EXPECT_NE(ReadOwned<Animal>(second, holder).get(), one.get());
          },
          "holder"));
    }
}

TEST_F(StoreElementWays, SharedObjectIsReadInALoadOfItsOwnThroughAnAgentThatOutlivesItsLoad) {
  Save(Dog());
  sto_Store store = Open();
  std::unique_ptr<cls_AgentListObj> agent;
  static_cast<void>(LoadFields(
      store,
      [&](cls_ReadVisitor const& holder) { agent = Own(ReadIn(holder, "m_Objects")->MakeAgentListObj()); },
      "holder"));
  std::shared_ptr<Animal> const one = sto_ConstructShared<Animal>(cls_ReadVisitor(agent->MakeReadObj(0)));
  EXPECT_EQ(one->Describe(), "dog anon on 4");
  {
    cls_ReadVisitor const first(agent->MakeReadObj(0)); // keeps a load open
    cls_ReadVisitor const second(agent->MakeReadObj(0));
    EXPECT_EQ(sto_ConstructShared<Animal>(first), sto_ConstructShared<Animal>(second));
  }
  MessageOf(sto_ErrorKind::WrongClass,
            [&] { static_cast<void>(sto_Construct<Node>(cls_ReadVisitor(agent->MakeReadObj(0)))); });
}

} // namespace
