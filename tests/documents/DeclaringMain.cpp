// The example of docs/declaring-classes.md: its classes, and for each row of its tables a class that saves an
// example of the member and loads it again. Prints to standard error what did not come back.

#include <iostream>
#include <memory>
#include <type_traits>

#include <kvlpersist/collections/cls_2dArrayPrim.h>
#include <kvlpersist/collections/cls_ArrayPrim.h>
#include <kvlpersist/collections/cls_SimpleArrayPrim.h>
#include <kvlpersist/module/nex_initialize.h>
#include <kvlpersist/persist/identity/cls_OwnUid.h>
#include <kvlpersist/store/sto_ReadCow.h>
#include <kvlpersist/store/sto_Store.h>
#include <kvlpersist/wrappers/cls_xoMap.h>
#include <kvlpersist/wrappers/cls_xp1DArray.h>
#include <kvlpersist/wrappers/cls_xp1DArrayList.h>
#include <kvlpersist/wrappers/cls_xp2DArray.h>
#include <kvlpersist/wrappers/cls_xpBtree.h>
#include <kvlpersist/wrappers/cls_xpList.h>
#include <kvlpersist/wrappers/cls_xpMap.h>

#include <blocks/docs/declaring-classes/a-class-by-hand-1>

#include <blocks/docs/declaring-classes/a-class-by-hand-2>

#include <blocks/docs/declaring-classes/starting-the-library-1>

#include <blocks/docs/declaring-classes/base-classes-1>

#include <blocks/docs/declaring-classes/lists-and-maps-of-objects-1>

#include <blocks/docs/declaring-classes/bytes-1>

#include <blocks/docs/declaring-classes/blobs-1>

namespace {

enum class Grade { Black = 88, Stainless = 70 };

// --- An example of each kind of member, and a comparison of what was loaded with it.

template <class T>
constexpr bool IsTable = std::is_same_v<T, cls_xp2DArrayInt> || std::is_same_v<T, cls_xp2DArrayDouble>;
template <class T>
constexpr bool IsMap = std::is_same_v<T, cls_xpMapString2Float> || std::is_same_v<T, cls_xpMapString2String>;

/// A member without a value yet; built in place, because not every kind can be moved.
template <class T> T New() {
  if constexpr (IsTable<T>)
    return T(2, 3);
  else if constexpr (std::is_same_v<T, cls_SimpleArrayPrimInt>)
    return T(1);
  else if constexpr (std::is_same_v<T, Washer>)
    return T("M12"_cow, 2.5);
  else
    return T();
}

template <class T> void MakeExample(T& value) {
  if constexpr (std::is_same_v<T, bool>)
    value = true;
  else if constexpr (std::is_arithmetic_v<T>)
    value = static_cast<T>(42);
  else if constexpr (requires { value.Append(typename std::decay_t<decltype(value.ConstGet(0))>()); })
    value.Append(std::decay_t<decltype(value.ConstGet(0))>(7));
}
void MakeExample(cow_String& value) {
  value = "M12"_cow;
}
void MakeExample(atr_String& value) {
  value = atr_String("washer"_cow);
}
void MakeExample(Grade& value) {
  value = Grade::Stainless;
}
void MakeExample(std::unique_ptr<Washer>& value) {
  value = std::make_unique<Washer>("M12"_cow, 2.5);
}
void MakeExample(std::shared_ptr<Washer>& value) {
  value = std::make_shared<Washer>("M12"_cow, 2.5);
}
void MakeExample(cow_COW<Washer, cow_Direct<Washer>>& value) {
  value = cow_COW<Washer, cow_Direct<Washer>>(new Washer("M12"_cow, 2.5));
}
void MakeExample(cls_xp1DArrayDouble& value) {
  cow_1DArray<double> numbers(2);
  numbers.Get(1) = 7;
  value = numbers;
}
void MakeExample(cls_xpListFloat& value) {
  value.Append(7);
}
void MakeExample(cls_xp1DArrayListString& value) {
  value.Append("M12"_cow);
}
template <class T>
requires IsTable<T>
void MakeExample(T& value) {
  value.Get(1, 2) = 7;
}
void MakeExample(cls_xpMapString2Float& value) {
  value.Insert("M12"_cow, 2.5F);
}
void MakeExample(cls_xpMapString2String& value) {
  value.Insert("M12"_cow, "washer"_cow);
}
void MakeExample(cls_xpBtreeString2Uint& value) {
  value.InsertUnlessMember("M12"_cow, 7);
}
void MakeExample(cls_xoMap<cow_String, cls_xp1DArrayListFloat>& value) {
  cls_xp1DArrayListFloat numbers;
  numbers.Append(7);
  value.Insert("M12"_cow, numbers);
}
void MakeExample(cls_2dArrayPrimFloat& value) {
  value.Append(7);
}

/// Members that can only be filled after they were saved.
template <class T> void FillSaved(T&) {}
void FillSaved(cls_SimpleArrayPrimInt& value) {
  int const seven = 7;
  value.Write(&seven, 1);
}

/// Destroying a bulk array does not free its blocks, so do it here.
template <class T> void LetGo(T& value) {
  if constexpr (requires { value.Release(); }) value.Release();
}

template <class T> bool IsSame(T const& saved, T& loaded) {
  return saved == loaded;
}
bool IsSame(cls_Uid const& saved, cls_Uid& loaded) {
  return saved.Entry() == loaded.Entry();
}
bool IsSame(Washer const& saved, Washer& loaded) {
  return saved.Name() == loaded.Name() && saved.Thickness() == loaded.Thickness();
}
bool IsSame(std::unique_ptr<Washer> const& saved, std::unique_ptr<Washer>& loaded) {
  return loaded != nullptr && IsSame(*saved, *loaded);
}
bool IsSame(std::shared_ptr<Washer> const& saved, std::shared_ptr<Washer>& loaded) {
  return loaded != nullptr && IsSame(*saved, *loaded);
}
bool IsSame(cow_COW<Washer, cow_Direct<Washer>> const& saved, cow_COW<Washer, cow_Direct<Washer>>& loaded) {
  return !loaded.IsNull() && IsSame(saved.ConstGet(), loaded.Get());
}
template <class T>
requires requires(T& array) {
  array.Storage();
}
bool IsSame(T const& saved, T& loaded) {
  return loaded.Count() == 1 && loaded.ConstGet(0) == saved.ConstGet(0);
}
bool IsSame(cls_xp1DArrayDouble const&, cls_xp1DArrayDouble& loaded) {
  return loaded.Length() == 2 && loaded.ConstGet(0) == 0 && loaded.ConstGet(1) == 7;
}
bool IsSame(cls_xpListFloat const&, cls_xpListFloat& loaded) {
  return loaded.Count() == 1 && loaded.Iterator().ConstGet() == 7;
}
template <class T>
requires IsTable<T>
bool IsSame(T const&, T& loaded) {
  return loaded.Rows() == 2 && loaded.Cols() == 3 && loaded.ConstGet(0, 0) == 0 && loaded.ConstGet(1, 2) == 7;
}
template <class T>
requires IsMap<T>
bool IsSame(T const& saved, T& loaded) {
  return loaded.Count() == 1 && loaded.ConstGet("M12"_cow) == saved.ConstGet("M12"_cow);
}
bool IsSame(cls_xpBtreeString2Uint const&, cls_xpBtreeString2Uint& loaded) {
  return loaded.Count() == 1 && loaded.IsMember("M12"_cow) && *loaded.Find("M12"_cow) == 7;
}
bool IsSame(cls_xoMap<cow_String, cls_xp1DArrayListFloat> const&,
            cls_xoMap<cow_String, cls_xp1DArrayListFloat>& loaded) {
  return loaded.Count() == 1 && loaded.ConstGet("M12"_cow).Count() == 1 &&
         loaded.ConstGet("M12"_cow).ConstGet(0) == 7;
}
bool IsSame(cls_ArrayPrimDouble const&, cls_ArrayPrimDouble& loaded) {
  return loaded.Size() == 1 && loaded.ConstGet(0) == 7;
}
bool IsSame(cls_2dArrayPrimFloat const&, cls_2dArrayPrimFloat& loaded) {
  return loaded.Size() == 1 && loaded.ConstGet(0, 0) == 7;
}
bool IsSame(cls_SimpleArrayPrimInt const&, cls_SimpleArrayPrimInt& loaded) {
  int number = 0;
  return loaded.Size() == 1 && loaded.Read(&number, 1) == 1 && number == 7;
}

// --- A class for each row of the tables.

cls_FieldHandle const field(0, "m_Value"_cow);

#define UNWRAP(...) __VA_ARGS__
#define DOCUMENT_ROW(row, member, declaration, write, read)                                                  \
  class Member##row {                                                                                        \
   public:                                                                                                   \
    using Value = UNWRAP member;                                                                             \
    static constexpr unsigned int TypeId() noexcept { return 0x410000 + row; }                               \
    Member##row() : m_Value(New<Value>()) {}                                                                 \
    explicit Member##row(cls_ReadVisitor const& visitor) : UNWRAP read, m_Uid(visitor.GetUid()) {}           \
    void DBWrite(cls_WriteVisitor const& visitor) const {                                                    \
      if (!visitor.StartWrite(TypeId(), m_Uid)) return;                                                      \
      UNWRAP write                                                                                           \
    }                                                                                                        \
    static void Declare(cls_ClassRegistrar& registrar) {                                                     \
      registrar.AddClassMD(new cls_TypeAdapter<Member##row>("Member" #row##_cow, 1, 1))                      \
          .AddAttribute(field, UNWRAP declaration);                                                          \
    }                                                                                                        \
    Value m_Value;                                                                                           \
                                                                                                             \
   private:                                                                                                  \
    cls_Uid m_Uid;                                                                                           \
  };
#include <blocks/docs/declaring-classes/members-table-1>
#include <blocks/docs/declaring-classes/members-table-2>
#include <blocks/docs/declaring-classes/members-table-3>
#undef DOCUMENT_ROW

int s_Members = 0;
int s_Classes = 0;

void Expect(bool cameBack, int& count, char const* what) {
  if (cameBack)
    ++count;
  else
    std::cerr << what << " did not come back\n";
}

/// Saves and loads in two sessions: the member must be in the store, not only in what a session remembers.
template <class Member> void TrySaving(char const* kind) {
  cls_ClassRegistrar registrar;
  Washer::Declare(registrar);
  Member::Declare(registrar);
  std::string const file = std::to_string(Member::TypeId()) + ".kvs";
  Member saved;
  MakeExample(saved.m_Value);
  {
    sto_Store store = sto_Store::Open(file, sto_Mode::Create, registrar);
    store.Save("member", saved);
    FillSaved(saved.m_Value);
    std::unique_ptr<Member> const loaded = store.Load<Member>("member");
    if constexpr (std::is_same_v<typename Member::Value, cls_Uid>) {
      Expect(IsSame(saved.m_Value, loaded->m_Value), s_Members, kind);
      return; // another session makes its own identities
    }
    LetGo(saved.m_Value);
    store.Close();
  }
  sto_Store store = sto_Store::Open(file, sto_Mode::ReadOnly, registrar);
  std::unique_ptr<Member> const loaded = store.Load<Member>("member");
  Expect(IsSame(saved.m_Value, loaded->m_Value), s_Members, kind);
  LetGo(loaded->m_Value);
}

template <class Member> void Try(char const* kind) {
  try {
    TrySaving<Member>(kind);
  } catch (nex_Exception const& failure) {
    std::cerr << kind << ": " << failure.UserReport().CharsOrEmpty() << '\n';
  }
}

void TryMembers() {
#define DOCUMENT_ROW(row, member, declaration, write, read) Try<Member##row>(#member " of line " #row);
#include <blocks/docs/declaring-classes/members-table-1>
#include <blocks/docs/declaring-classes/members-table-2>
#include <blocks/docs/declaring-classes/members-table-3>
#undef DOCUMENT_ROW
}

bool IsFull(Rack const& rack) {
  return rack.m_Shelf.size() == 2 && rack.m_Shelf[1]->Name() == "M16"_cow && rack.m_Labels.size() == 1 &&
         rack.m_Labels.at("spare"_cow)->Thickness() == 3;
}

void TryClasses() {
  for (cls_MetadataRegistrar::InitFn const declare :
       {&Rack::Declare, &Seal::Declare, &Picture::Declare, &DeclareBolts})
    DeclareToAll(declare);
  sto_Store store = sto_Store::Open("classes.kvs", sto_Mode::Create, ClassesOfAll());
  {
    Rack rack;
    rack.m_Shelf.push_back(std::make_unique<Washer>("M12"_cow, 2.5));
    rack.m_Shelf.push_back(std::make_unique<Washer>("M16"_cow, 3));
    rack.m_Labels["spare"_cow] = std::make_unique<Washer>("M20"_cow, 3);
    Seal seal;
    seal.m_Digest[15] = 0xFF;
    store.Save("washer", *rack.m_Shelf[1]);
    store.Save("rack", rack);
    store.Save("seal", seal);
    store.Save("picture", Picture({1, 2, 3, 4, 5}));
    store.Save("bolt", Bolt(80, 2));
  }
  std::unique_ptr<Part> const washer = store.Load<Part>("washer");
  auto const* const derived = dynamic_cast<Washer const*>(washer.get());
  Expect(derived != nullptr && derived->Thickness() == 3 && derived->Name() == "M16"_cow, s_Classes,
         "Washer as Part");
  Expect(store.Load<Bolt>("bolt")->Length() == 80, s_Classes, "Bolt");
  std::unique_ptr<Rack> const rack = store.Load<Rack>("rack");
  std::int64_t const objects = store.ObjectCount();
  store.Save("rack", *rack);
  Expect(IsFull(*rack) && IsFull(*store.Load<Rack>("rack")) && store.ObjectCount() == objects, s_Classes,
         "Rack");
  Expect(store.Load<Seal>("seal")->m_Digest[15] == 0xFF, s_Classes, "Seal");
  store.Save("picture", *store.Load<Picture>("picture")); // the blob is kept
  std::unique_ptr<Picture> const picture = store.Load<Picture>("picture");
  Expect(picture->m_SizeBytes == 5 && picture->m_Header[3] == 4, s_Classes, "Picture");
}

} // namespace

int main() {
  int modules = 0;
  nex_initialize(modules);
  TryMembers();
  TryClasses();
  nex_finalize(modules);
  std::cout << s_Members << " members and " << s_Classes << " classes came back\n";
}
