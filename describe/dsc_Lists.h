#pragma once

#include <cstddef>
#include <vector>

#include "describe/dsc_Pointers.h"
#include "describe/dsc_Scalars.h"
#include "metadata/cls_CollectionType.h"
#include "persist/backend/cls_CollectionTypeIds.h"
#include "persist/backend/cls_DeleteWhenNeeded.h"
#include "persist/backend/cls_MoreLists.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteObjects.h"

// Members that are sequences or sets: std::vector, std::deque, std::list, std::set and whatever else has their
// operations. Scalars make a list of them, objects a list of objects.

/// What a list has for an element of type T: bool, an integer, float, double, cls_Complex or cow_String; void for a type
/// that it has nothing for.
template <class T> struct dsc_PlainElement { using Type = void; };
template <dsc_IsInteger T> struct dsc_PlainElement<T> {
  using Type = typename dsc_SizedInteger<sizeof(T), std::is_signed_v<T>>::Type;
};
template <dsc_IsInteger T>
requires(sizeof(T) == 1 && std::is_unsigned_v<T>) struct dsc_PlainElement<T> {
  using Type = unsigned char;
};
template <dsc_IsEnum T> struct dsc_PlainElement<T> {
  using Type = std::conditional_t<dsc_IsUnsignedEnum<T>, unsigned int, int>;
};
template <> struct dsc_PlainElement<std::byte> { using Type = unsigned char; };
template <dsc_IsComplex T> struct dsc_PlainElement<T> { using Type = cls_Complex<typename T::value_type>; };
template <dsc_IsText T> struct dsc_PlainElement<T> { using Type = cow_String; };
template <> struct dsc_PlainElement<bool> { using Type = bool; };
template <> struct dsc_PlainElement<float> { using Type = float; };
template <> struct dsc_PlainElement<double> { using Type = double; };
template <dsc_IsLike T> struct dsc_PlainElement<T> : dsc_PlainElement<typename dsc_Like<T>::Type> {};

template <class T>
concept dsc_IsElement = !std::is_void_v<typename dsc_PlainElement<T>::Type>;

/// A container of one type that can be walked, emptied, and added to at its end.
template <class T>
concept dsc_IsSequence = !dsc_IsText<T> && !requires {
  typename T::mapped_type;
}
&&requires(T& container, typename T::value_type&& value) {
  container.begin() != container.end();
  container.size();
  container.clear();
  container.insert(container.end(), static_cast<typename T::value_type&&>(value));
};

/// Bytes, which are a blob and no list; see dsc_Blobs.h.
template <class T> inline constexpr bool dsc_IsBytes = false;
template <class Allocator> inline constexpr bool dsc_IsBytes<std::vector<unsigned char, Allocator>> = true;
template <class Allocator> inline constexpr bool dsc_IsBytes<std::vector<std::byte, Allocator>> = true;

/// The collection type of a list of T: what cls_CollectionTypeFix makes of COLLECTION_LIST, without a call.
template <class T>
inline constexpr cls_CollectionType dsc_ListCode = COLLECTION_LIST; // with the element's own
template <> inline constexpr cls_CollectionType dsc_ListCode<bool> = COLLECTION_LIST_BOOL;
template <> inline constexpr cls_CollectionType dsc_ListCode<double> = COLLECTION_LIST_DOUBLE;
template <> inline constexpr cls_CollectionType dsc_ListCode<float> = COLLECTION_LIST_FLOAT;
template <> inline constexpr cls_CollectionType dsc_ListCode<int> = COLLECTION_LIST_INT;
template <> inline constexpr cls_CollectionType dsc_ListCode<cow_String> = COLLECTION_LIST_STRING;
template <> inline constexpr cls_CollectionType dsc_ListCode<unsigned int> = COLLECTION_LIST_UINT;

/// Writes a whole list of plain elements, in rows of `width`: `appendAll` gets the builder. `container` is the
/// address by which a store can tell a copy; null if there is none.
template <class Plain, class AppendAll>
void dsc_WriteList(cls_WriteVisitor const& parent, cls_FieldHandle const& field, cls_Uid const& uid,
                   void const* container, int width, AppendAll appendAll) {
  cls_WriteVisitor const visitor(parent, field, nullptr, container);
  // The result says whether the list was written already; lists are written each time, as wrappers are.
  visitor.StartWrite(cls_InternalListTypeId, uid);
  visitor.CheckCollectionType(dsc_ListCode<Plain>);
  if (visitor.Memento() == nullptr) return;
  cls_Received<cls_WriteListPrim<Plain>> const builder(cls_MakeWriteList<Plain>(*visitor.Memento(), width));
  if (builder == nullptr) dsc_RaiseNoList(field);
  appendAll(*builder);
}
template <class Name, class Plain, class AppendAll>
void dsc_WriteList(dsc_Out const& out, dsc_Place at, void const* container, int width, AppendAll appendAll) {
  dsc_WriteList<Plain>(out.m_Visitor, Name::Handle(at.m_Number),
                       out.m_Identity.OfCollection(at.m_Collection, out.m_Collections), container, width,
                       appendAll);
}

/// The memento of the collection that a field holds; also takes the collection's identity.
class dsc_StoredCollection {
 public:
  dsc_StoredCollection(dsc_In const& in, dsc_Place at, cls_FieldHandle const& field)
      : m_Visitor(in.m_Visitor, field) {
    cls_MementoRead* const memento = m_Visitor.Memento();
    if (memento != nullptr && at.m_Collection != dsc_NoCollection)
      in.m_Identity.TakeCollection(at.m_Collection, in.m_Collections, memento->GetUid());
  }
  [[nodiscard]] cls_MementoRead* Memento() const noexcept { return m_Visitor.Memento(); }

 private:
  cls_ReadVisitor m_Visitor;
};

/// Refuses a list whose rows have another width than those that are read from it. An empty list has no rows.
template <class Name, class Plain>
void dsc_CheckRows(dsc_In const& in, cls_ReadListPrim<Plain>& cursor, int width) {
  int const stored = cursor.RowWidth();
  if (stored != width && cursor.Count() != 0) dsc_RaiseRows(in.m_Class, Name::View(), stored, width);
}

/// The cursor over a list that a field holds.
template <class Plain>
[[nodiscard]] cls_Received<cls_ReadListPrim<Plain>> dsc_ListCursor(cls_MementoRead& memento,
                                                                   cls_FieldHandle const& field) {
  cls_Received<cls_ReadListPrim<Plain>> cursor(cls_MakeReadList<Plain>(memento));
  if (cursor == nullptr) dsc_RaiseNoList(field);
  return cursor;
}

/// Refuses a list that is too long for the format.
template <class Name> void dsc_CheckListSize(dsc_Out const& out, std::size_t size) {
  if (size > static_cast<std::size_t>(std::numeric_limits<int>::max()))
    dsc_Raise(out.m_Class, Name::View(), "a list has at most 2147483647 elements.");
}

/// Passes each element of a stored list to `add`.
template <class Plain, class Add> void dsc_ReadElements(cls_ReadListPrim<Plain>& cursor, Add add) {
  while (cursor.More() != 0) add(cursor.Next());
}

template <dsc_IsSequence T>
requires(dsc_IsElement<typename T::value_type> && !dsc_IsBytes<T>) struct dsc_Stored<T> : dsc_OneField<1> {
  using Element = typename T::value_type;
  using Plain = typename dsc_PlainElement<Element>::Type;
  /// Elements that lie in memory as a cursor copies them.
  static constexpr bool IsRun =
      std::is_same_v<Element, Plain> && !std::is_same_v<Plain, bool> && requires(T & container) {
    { container.data() } -> std::same_as<Plain*>;
    container.resize(std::size_t{});
  };

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_ForValue<Element>(to).template Add<Name>(at, dsc_AttributeType<Plain>, dsc_ListCode<Plain>);
  }

  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& container) {
    dsc_CheckListSize<Name>(out, container.size());
    dsc_WriteList<Name, Plain>(out, at, &container, 1, [&container](cls_WriteListPrim<Plain>& builder) {
      if constexpr (IsRun) {
        if (!container.empty()) builder.AppendRun(static_cast<int>(container.size()), container.data());
      } else {
        for (Element const& element : container) builder.Append(dsc_ToPlain<Plain>(element));
      }
    });
  }

  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& container) {
    cls_FieldHandle const field = Name::Handle(at.m_Number);
    dsc_StoredCollection const stored(in, at, field);
    if (stored.Memento() == nullptr) return;
    auto const cursor = dsc_ListCursor<Plain>(*stored.Memento(), field);
    if (cursor->Count() == 0 && in.m_Visitor.DataIsPresent(field) == 0) return; // absent lists are empty
    dsc_CheckRows<Name>(in, *cursor, 1);
    container.clear();
    if constexpr (IsRun) {
      container.resize(static_cast<std::size_t>(cursor->Count()));
      if (!container.empty()) cursor->NextRun(cursor->Count(), container.data());
    } else {
      dsc_ReadElements(*cursor, [&, where = in.Where<Name>()](Plain const& plain) {
        auto const before = container.size();
        container.insert(container.end(), dsc_FromPlain<Element>(plain, where));
        if (container.size() == before)
          dsc_Raise(where.m_Class, where.m_Field, "two stored elements are one here.");
      });
    }
  }
};

template <class T>
concept dsc_IsHeld = dsc_IsOwner<T> ||
    (dsc_IsPersisted<T> && !cls_NeedsStartedVisitor<T> && std::is_constructible_v<T, cls_ReadVisitor const&>);

/// The class of the objects that a container holds by pointer or by value.
template <class T> struct dsc_HeldObject { using Type = T; };
template <dsc_IsPointer T> struct dsc_HeldObject<T> {
  using Type = std::remove_cv_t<typename T::element_type>;
};

/// The object that a pointer leads to, or the object itself; null for a null pointer.
template <class T> [[nodiscard]] auto const* dsc_ObjectOf(T const& held) noexcept {
  if constexpr (dsc_IsOwner<T>)
    return held.get();
  else
    return &held;
}

/// An element or a value, which is moved into its container. `isKey`: the container orders it by what it has.
template <class T, bool IsKey>
[[nodiscard]] T dsc_ConstructHeld(cls_ReadVisitor const& visitor, dsc_Where const& where) {
  if constexpr (!dsc_IsPointer<T>) dsc_CheckStoredClass<T>(visitor, where);
  if constexpr (dsc_IsPointer<T>)
    return dsc_Construct<dsc_OwnerOf<T>>(visitor);
  else if constexpr (IsKey)
    return dsc_ConstructAtOnce<T>(visitor);
  else
    return dsc_ConstructToMove<T>(visitor);
}

/// Appends an object that is written later.
template <class T>
void dsc_Append(cls_WriteListObj& builder, cls_AppendsLater& later, std::shared_ptr<T> const& object) {
  static_cast<void>(cls_AppendLater(builder, &later, object)); // an object that writes nothing is no element
}

/// Writes a whole list of objects: `writeAll` gets a function, and calls it with each element. `areKept`: the elements
/// live until the save ends.
template <class Name, class WriteAll>
void dsc_WriteObjects(dsc_Out const& out, dsc_Place at, bool areKept, WriteAll writeAll) {
  cls_Received<cls_WriteListObj> const builder(out.m_Visitor.Memento()->MakeFieldWriteListObj(
      Name::Handle(at.m_Number), out.m_Identity.OfCollection(at.m_Collection, out.m_Collections)));
  cls_AppendsLater* const later = cls_AppendsLater::Of(builder.get());
  bool const isDeep = later != nullptr && later->IsDeep();
  writeAll([&]<class Element>(Element const& element) {
    auto const* const object = dsc_ObjectOf(element);
    if (object == nullptr && later != nullptr) return later->AppendNull();
    if (object == nullptr)
      dsc_Raise(out.m_Class, Name::View(),
                "one of its pointers is null, and this back end writes no null elements.");
    if constexpr (dsc_HoldingOf<Element> == dsc_Holding::Shared) {
      if (isDeep) return dsc_Append(*builder, *later, element);
    } else if (isDeep && areKept) {
      using Object = std::remove_pointer_t<decltype(object)>;
      return dsc_Append(*builder, *later, std::shared_ptr<Object>(std::shared_ptr<void>(), object));
    }
    cls_WriteRequestListObj const request(builder.get());
    object->DBWrite(cls_WriteVisitor(request, object));
  });
}

/// A container of weak pointers is stored with the objects that these lead to, because a list has no references. They are
/// there after a load if something else holds their objects.
template <dsc_IsSequence T>
requires dsc_IsHeld<typename T::value_type> || dsc_IsWeak<typename T::value_type>
struct dsc_Stored<T> : dsc_OneField<1> {
  using Element = typename T::value_type;
  using Object = typename dsc_HeldObject<Element>::Type;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_CheckPersisted<Object>();
    to.Add<Name>(at, dsc_ObjectsType<Element>, COLLECTION_OBJ);
  }

  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& container) {
    dsc_WriteObjects<Name>(out, at, out.m_Bytes.Has(&container), [&container](auto write) {
      for (Element const& element : container)
        if constexpr (dsc_IsPointer<Element>)
          write(dsc_ToOwner(element));
        else
          write(element);
    });
  }

  /// Pointers whose container is a member of the object can be found again when they are filled.
  static constexpr bool IsFilledLater = dsc_IsPointer<Element> && requires(T & container) {
    container.resize(std::size_t{});
    { container[std::size_t{}] } -> std::same_as<Element&>;
  };

  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& container) {
    cls_FieldHandle const field = Name::Handle(at.m_Number);
    if (in.m_Visitor.DataIsPresent(field) == 0) return;
    dsc_StoredCollection const stored(in, at, field);
    cls_Received<cls_ReadListObj> const cursor(stored.Memento()->MakeReadListObj());
    container.clear();
    if constexpr (IsFilledLater)
      if (ReadNamed(in, *cursor, container)) return;
    if constexpr (requires { container.reserve(std::size_t{}); })
      container.reserve(static_cast<std::size_t>(cursor->Count()));
    constexpr bool IsSet = requires {
      typename T::key_type;
    };
    while (cursor->More() != 0)
      container.insert(container.end(),
                       dsc_ConstructHeld<Element, IsSet>(cls_ReadVisitor(cursor->Next()), in.Where<Name>()));
  }
  template <class Each> static void DeclareHeld(Each const& each) { each.template operator()<Object>(); }

 private:
  /// Reads elements by the names of their objects, so that they can be left for later; false if that cannot be done.
  static bool ReadNamed(dsc_In const& in, cls_ReadListObj& cursor, T& container) {
    cls_NamesElements* const names = cls_NamesElements::Of(&cursor);
    if (names == nullptr || !in.m_Bytes.Has(&container) || dsc_LaterOf(in.m_Visitor) == nullptr) return false;
    auto const count = static_cast<std::size_t>(cursor.Count());
    container.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
      cls_HeldObject const held = names->NextHeld();
      if (held.m_Id != 0 &&
          !IsLeft({held, &container, &FillElement, &in.m_Identity, i, dsc_SharedAs<Element>()}))
        container[i] = Construct(held);
    }
    return true;
  }
  /// Whether an element is left for later. Nothing can lead back to an object with one owner while it is built.
  [[nodiscard]] static bool IsLeft(cls_LaterReads::Read const& read) {
    bool const isOwned = dsc_HoldingOf<Element> == dsc_Holding::Unique;
    if (isOwned && read.m_Held.m_Depth < cls_LaterReads::MaxNested) return false;
    return cls_LaterPlace::Leave(read);
  }
  [[nodiscard]] static auto Construct(cls_HeldObject const& held) {
    if constexpr (dsc_HoldingOf<Element> == dsc_Holding::Unique)
      return dsc_ConstructStored<Element>(cls_ReadVisitor(held.m_Source->MakeReadObj(held)));
    else
      return cls_ConstructSharedHeld<Object>(held);
  }
  static void FillElement(cls_LaterReads::Read const& read) {
    auto element = Construct(read.m_Held);
    if (read.m_Target == nullptr) return;
    T& container = *static_cast<T*>(read.m_Target);
    if (read.m_Index < container.size()) container[read.m_Index] = std::move(element);
  }
};
