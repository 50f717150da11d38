#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "describe/dsc_Pointers.h"
#include "store/refs/sto_RefAccess.h"
#include "store/sto_Store.h"

/// A reference to an object that stays in its store until it is asked for. It is one pointer wide, and as a member it is
/// stored as a std::shared_ptr is: a class may have one today and the other tomorrow without a new version.
///
///     class Part {
///      public:
///       KVL_PERSISTED(Part, 0x400010, "Part", 1)
///       static constexpr void Describe(auto& field) { field(KVL_F(m_Assembly)); }
///       sto_Ref<Assembly> m_Assembly;
///     };
///
///     sto_Ref<Part> const part = store.Ref<Part>("bracket");  // loads nothing
///     double const mass = part->m_Assembly->Mass();           // loads the part, then its assembly
///
///     sto_Transaction transaction(store);
///     part.Edit().m_Assembly = other;                         // Commit saves the part
///     transaction.Commit();
///
/// Take it for objects that are shared by id and that a program mostly does not need at once; take std::shared_ptr for
/// what always belongs together.
///
/// - Loading: `*reference`, `->`, Get and Edit load the object if it is not in memory, in the open transaction or in one
///   of their own; many loads are several times faster in one sto_ReadTransaction. An object is loaded once: all
///   references of a store to it lead to one object in memory. What the object holds through other pointers is loaded
///   with it.
/// - Staying: a loaded object stays in memory, and where it is, until the program lets go of it (Release,
///   sto_Store::ReleaseObjects), its transaction is rolled back, or the store is closed; also if all references to it are
///   gone. So what `*reference` returns is as good as a pointer into a container. A long walk lets go of what it has passed.
/// - Changing: only through Edit, in a sto_Transaction. The commit saves what was changed.
/// - Rollback: what was loaded in the transaction is let go, and if anything was changed through references, all that they
///   have loaded, because it may lead to what was changed. It is loaded again when it is asked for. What `*reference`
///   returned is invalid then; what Get returned is not, and has the values that were undone.
/// - Other sessions: an object is not loaded again when another session changes it. Edit raises Conflict then; see
///   sto_Store::ReleaseObjects.
/// - New objects: a reference is made from a std::shared_ptr. The object is saved when something that refers to it is
///   saved. Until then it is in memory only, and Edit is just access.
/// - One way to an object: what is a part of another object (a value, std::shared_ptr, std::unique_ptr) and is also
///   changed through references is in danger: its holder's save may overwrite it. Lead to an object by references only, or by
///   pointers only. A sto_LoadScope and loads through references exclude each other (Misuse).
/// - Copies of a reference refer to the same object. Equal are references to the same object of the same store; comparing
///   and hashing load nothing.
///
/// Errors, raised where the object is asked for: Misuse for a null reference; Unavailable if the store was closed, or
/// the work that made the object was undone; NotFound if the object was deleted or collected; WrongClass if it is not a T; those of
/// a load. REQUIRES: as for other pointers, T is the first base of the classes that derive from it, and has a virtual
/// destructor then. Thread rule: that of the store, for all copies, also for those that are destroyed.
template <class T> class sto_Ref {
 public:
  using element_type = T;

  sto_Ref() noexcept = default;
  sto_Ref(std::nullptr_t) noexcept {} // NOLINT(google-explicit-constructor): as with other pointers
  /// Refers to an object that the program has made; null for a null pointer. Throws std::bad_alloc.
  explicit sto_Ref(std::shared_ptr<T> object) {
    if (object == nullptr) return;
    std::type_info const& type = typeid(*object);
    m_Resident = &sto_Resident::InMemory(std::move(object), type, T::TypeId());
    m_Resident->Hold();
  }
  sto_Ref(sto_Ref const& other) noexcept : m_Resident(other.m_Resident) { Hold(); }
  sto_Ref(sto_Ref&& other) noexcept : m_Resident(std::exchange(other.m_Resident, nullptr)) {}
  template <class U>
  requires(!std::is_same_v<T, U> && std::is_convertible_v<U*, T*>) sto_Ref(sto_Ref<U> const& other)
  noexcept // NOLINT(google-explicit-constructor): as with other pointers
      : m_Resident(other.m_Resident) {
    Hold();
  }
  /// Not for a temporary reference, such as an element of a list: that would change nothing.
  sto_Ref& operator=(sto_Ref other) & noexcept {
    std::swap(m_Resident, other.m_Resident);
    return *this;
  }
  ~sto_Ref() {
    if (m_Resident != nullptr) m_Resident->LetGo();
  }

  /// Whether it refers to an object. Loads nothing.
  [[nodiscard]] explicit operator bool() const noexcept { return m_Resident != nullptr; }

  [[nodiscard]] T const& operator*() const { return *Reach(); }
  [[nodiscard]] T const* operator->() const { return Reach(); }

  /// The object, which the pointer then keeps in memory; null for a null reference.
  [[nodiscard]] std::shared_ptr<T const> Get() const {
    if (m_Resident == nullptr) return nullptr;
    T const* const object = Reach();
    return std::shared_ptr<T const>(m_Resident->Object(), object);
  }

  /// The object, for changing it until the open transaction ends. It is saved before the commit, and before the store is
  /// searched (sto_Find.h); to be found by what is changed after that, ask for it again. Assign copies to it: an object that
  /// is moved to it, such as a temporary one, brings its own identity along (Misuse at the commit). Misuse outside of a
  /// sto_Transaction, and while an object is being saved or loaded; Conflict if another session has changed it since it
  /// was loaded. An object that is in no store is just returned.
  [[nodiscard]] T& Edit() const {
    T* const object = Reach();
    sto_NoteEdit(*m_Resident, Class());
    return *object;
  }

  /// Deletes the object from its store, in the open sto_Transaction, without loading it, and at once: searches do not find
  /// it any more. What it leads to stays, also its lists, maps, blobs and arrays, because others may lead to them, too:
  /// sto_Store::CollectGarbage deletes what nobody leads to. What `*reference` returned is invalid then.
  ///
  /// References to it that are left lead to nothing: following one raises NotFound; a std::weak_ptr to it is null when its
  /// holder is loaded. Saving an object whose sto_Ref still leads to it raises NotFound, too. Lists and maps keep such an
  /// element until it is followed, so take it out of them first; sto_Store::Check notes what still leads to it. An object
  /// that leads to it by a pointer, or has it as a value, cannot be loaded any more: delete only what references lead to. If
  /// such a holder is in memory, saving it stores the object again, also in this transaction. A root keeps its name, and
  /// raises NotFound: see sto_Store::RemoveRoot. The object is not stored again through references: save it under a root, or
  /// with such a holder. Until it is collected it counts as an object, of class sto_DeletedObject.
  ///
  /// If it raises, nothing has changed: Misuse for a null reference, for an object that is in no store, outside of a
  /// sto_Transaction, and while an object is being saved or loaded; NotFound if it is not in the store any more; WrongClass
  /// if it is not a T; Conflict if another session has changed or deleted it since it was loaded; those of a save.
  void Delete() const {
    if (m_Resident == nullptr) sto_RaiseNullRef(Class());
    sto_Delete(*m_Resident, Class());
  }

  /// Whether the object is in memory.
  [[nodiscard]] bool IsLoaded() const noexcept {
    return m_Resident != nullptr && m_Resident->Object() != nullptr;
  }
  /// The object's number in its store, for messages and tables: it has it as long as it is stored. 0 for a null reference,
  /// and for an object that has not been saved through references yet.
  [[nodiscard]] std::int64_t Id() const noexcept { return m_Resident == nullptr ? 0 : m_Resident->Id(); }

  /// Lets go of the object, unless it is changed or the program owns it, too. It is loaded again when it is asked for.
  /// What `*reference` has returned before is invalid then. An object that is in no store stays.
  void Release() const noexcept {
    if (m_Resident != nullptr) sto_ReleaseObject(*m_Resident);
  }

  /// The same object as one of a derived class; null if it is not of that class. Loads the object.
  template <class U>
  requires std::is_convertible_v<U*, T*>
  [[nodiscard]] sto_Ref<U> As() const {
    if (m_Resident == nullptr) return nullptr;
    if (dynamic_cast<U const*>(Reach()) == nullptr) return nullptr;
    return sto_Ref<U>(*m_Resident);
  }

  friend bool operator==(sto_Ref const& a, sto_Ref const& b) noexcept {
    return a.m_Resident == b.m_Resident ||
           (a.IsLoaded() && b.IsLoaded() && a.m_Resident->Object() == b.m_Resident->Object());
  }
  friend bool operator==(sto_Ref const& a, std::nullptr_t) noexcept { return a.m_Resident == nullptr; }

  // --- for dsc_Stored, and for classes that are written by hand

  /// Writes a field; nothing for a null reference. Errors: Misuse for a reference to an object of another store, and if the
  /// visitor is not a store's; NotFound if the object was collected and is not in memory.
  void Write(cls_WriteVisitor const& visitor, cls_FieldHandle const& field) const {
    if (m_Resident != nullptr) sto_WriteResident(visitor, field, *m_Resident, Class());
  }
  /// Refers to the object that a field holds; null if it holds none.
  void Read(cls_ReadVisitor const& visitor, cls_FieldHandle const& field) {
    sto_Resident* const resident = sto_ReadResident(visitor, field);
    *this = resident == nullptr ? sto_Ref() : sto_Ref(*resident);
  }

 private:
  template <class> friend class sto_Ref;
  template <class> friend class sto_List;
  template <class, class> friend class sto_Map;
  friend class sto_Store;
  friend struct std::hash<sto_Ref>;

  explicit sto_Ref(sto_Resident& resident) noexcept : sto_Ref(&resident) {}
  explicit sto_Ref(sto_Resident* resident) noexcept : m_Resident(resident) { Hold(); }
  void Hold() const noexcept {
    if (m_Resident != nullptr) m_Resident->Hold();
  }
  [[nodiscard]] T* Reach() const {
    if (m_Resident == nullptr) [[unlikely]]
      sto_RaiseNullRef(Class());
    void* object = m_Resident->ObjectAs(T::TypeId());
    if (object == nullptr) [[unlikely]]
      object = sto_ReachObject(*m_Resident, Class());
    return static_cast<T*>(object);
  }
  [[nodiscard]] static sto_RefClass const& Class() noexcept {
    static constexpr sto_RefClass s_Class{T::TypeId(),
                                          [](cls_ReadVisitor const& visitor) -> std::shared_ptr<void> {
                                            return cls_ConstructShared<T>(visitor);
                                          },
                                          [](void const* object, cls_WriteVisitor const& visitor) {
                                            static_cast<T const*>(object)->DBWrite(visitor);
                                          },
                                          [](std::shared_ptr<void> const& object) {
                                            return cls_DescribeLater<T>(
                                                std::static_pointer_cast<T const>(object));
                                          }};
    return s_Class;
  }

  sto_Resident* m_Resident = nullptr; // held
};

/// A reference to a new object, made with these arguments. Throws std::bad_alloc and what the constructor raises.
template <class T, class... Arguments> [[nodiscard]] sto_Ref<T> sto_MakeRef(Arguments&&... arguments) {
  return sto_Ref<T>(std::make_shared<T>(std::forward<Arguments>(arguments)...));
}

template <class T> struct std::hash<sto_Ref<T>> {
  [[nodiscard]] std::size_t operator()(sto_Ref<T> const& reference) const noexcept {
    return std::hash<void const*>()(reference.m_Resident);
  }
};

/// A member is the object that it refers to, held by the field; absent for a null reference.
template <class T> struct dsc_Stored<sto_Ref<T>> : dsc_OneField<0> {
  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_CheckPersisted<T>();
    to.Add<Name>(at, ATTR_OBJECT, COLLECTION_NONE);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, sto_Ref<T> const& reference) {
    reference.Write(out.m_Visitor, Name::Handle(at.m_Number));
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, sto_Ref<T>& reference) {
    reference.Read(in.m_Visitor, Name::Handle(at.m_Number));
  }
  template <class Each> static void DeclareHeld(Each const& each) { each.template operator()<T>(); }
};
