#pragma once

#include <algorithm>
#include <vector>

#include "describe/dsc_Lists.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_TypedMementoRead.h"
#include "persist/backend/cls_WriteMapPrim.h"

// Members that are maps from texts, integers of up to 32 bits or enumerations to scalars or objects. Entries are
// written in the order of the keys, so that equal maps have equal bytes.

template <class T>
concept dsc_IsMap = requires(T& container) {
  typename T::key_type;
  typename T::mapped_type;
  container.begin() != container.end();
  container.clear();
};

/// What a map has for a key of type T: int or cow_String; void for a type that it has nothing for.
template <class T> struct dsc_PlainKey { using Type = void; };
template <class T>
requires(dsc_IsInteger<T> && sizeof(T) <= 4) || dsc_IsEnum<T> struct dsc_PlainKey<T> {
  using Type = int;
};
template <dsc_IsText T> struct dsc_PlainKey<T> { using Type = cow_String; };
template <dsc_IsLike T> struct dsc_PlainKey<T> {
  using Type = std::conditional_t<dsc_IsText<typename dsc_Like<T>::Type>, cow_String, void>;
};

template <class T>
concept dsc_IsKey = !std::is_void_v<typename dsc_PlainKey<T>::Type>;

/// What a map has for a value: int, unsigned int, float, double or cow_String; void for a type that it has nothing for.
template <class T> struct dsc_PlainValue { using Type = void; };
template <class T>
requires dsc_IsInteger<T> &&(sizeof(T) <= 4) struct dsc_PlainValue<T> {
  using Type = std::conditional_t<std::is_signed_v<T>, int, unsigned int>;
};
template <dsc_IsEnum T> struct dsc_PlainValue<T> {
  using Type = std::conditional_t<dsc_IsUnsignedEnum<T>, unsigned int, int>;
};
template <dsc_IsText T> struct dsc_PlainValue<T> { using Type = cow_String; };
template <> struct dsc_PlainValue<float> { using Type = float; };
template <> struct dsc_PlainValue<double> { using Type = double; };
template <dsc_IsLike T> struct dsc_PlainValue<T> : dsc_PlainValue<typename dsc_Like<T>::Type> {};

template <class T>
concept dsc_IsMapValue = !std::is_void_v<typename dsc_PlainValue<T>::Type>;

/// Calls `act` with each entry in the order of the keys.
template <class T, class Act> void dsc_ForEachSorted(T const& map, Act act) {
  if constexpr (requires { typename T::hasher; }) {
    std::vector<typename T::value_type const*> entries;
    entries.reserve(map.size());
    for (auto const& entry : map) entries.push_back(&entry);
    std::sort(entries.begin(), entries.end(),
              [](auto const* a, auto const* b) { return a->first < b->first; });
    for (auto const* const entry : entries) act(*entry);
  } else {
    for (auto const& entry : map) act(entry);
  }
}

/// Adds a stored entry. Refuses one that the map does not take, because it has its key: it would be lost.
template <class Map, class Key, class Value>
void dsc_AddEntry(Map& map, Key&& key, Value&& value, dsc_Where const& where) {
  auto const before = map.size();
  map.emplace(std::forward<Key>(key), std::forward<Value>(value));
  if (map.size() == before) dsc_Raise(where.m_Class, where.m_Field, "two stored elements are one here.");
}

/// The collection type of a map from K (int or cow_String) to T. Maps from int have no code of their own for
/// what they hold; a map's codes count from its generic one.
template <class K, class T> [[nodiscard]] cls_CollectionType dsc_MapCode() noexcept {
  constexpr cls_CollectionType Generic = std::is_same_v<K, int> ? COLLECTION_KIND_70 : COLLECTION_MAP_STRING;
  return cls_CollectionTypeFix(Generic, static_cast<T*>(nullptr));
}

template <dsc_IsMap T>
requires dsc_IsKey<typename T::key_type> && dsc_IsMapValue<typename T::mapped_type>
struct dsc_Stored<T> : dsc_OneField<1> {
  using Key = typename T::key_type;
  using Value = typename T::mapped_type;
  using PlainKey = typename dsc_PlainKey<Key>::Type;
  using Plain = typename dsc_PlainValue<Value>::Type;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_ForValue<Value>(to).template Add<Name>(at, dsc_AttributeType<Plain>, dsc_MapCode<PlainKey, Plain>());
  }

  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& map) {
    cls_WriteVisitor const visitor(out.m_Visitor, Name::Handle(at.m_Number), nullptr, &map);
    visitor.StartWrite(cls_InternalMapTypeId,
                       out.m_Identity.OfCollection(at.m_Collection, out.m_Collections));
    visitor.CheckCollectionType(dsc_MapCode<PlainKey, Plain>());
    if (visitor.Memento() == nullptr) return;
    auto const builder = Builder(*visitor.Memento());
    dsc_ForEachSorted(map, [&](auto const& entry) {
      builder->Insert(dsc_ToPlain<PlainKey>(entry.first), dsc_ToPlain<Plain>(entry.second));
    });
  }

  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& map) {
    cls_FieldHandle const field = Name::Handle(at.m_Number);
    if (in.m_Visitor.DataIsPresent(field) == 0) return;
    dsc_StoredCollection const stored(in, at, field);
    auto const cursor = Cursor(*stored.Memento());
    map.clear();
    dsc_Where const where = in.Where<Name>();
    while (cursor->More() != 0) {
      Plain const plain = cursor->Next(); // moves to the entry, so it comes before the key
      PlainKey key{};
      cursor->Key(key);
      dsc_AddEntry(map, dsc_FromPlain<Key>(key, where), dsc_FromPlain<Value>(plain, where), where);
    }
  }

 private:
  static auto Builder(cls_MementoWrite& memento) {
    Plain const tag{};
    if constexpr (std::is_same_v<PlainKey, int>)
      return cls_Received<cls_WriteMapInt2Prim<Plain>>(memento.MakeWriteMapInt2Prim(&tag));
    else
      return cls_Received<cls_WriteMapString2Prim<Plain>>(memento.MakeWriteMapString2Prim(&tag));
  }
  static auto Cursor(cls_MementoRead& memento) {
    Plain tag{};
    if constexpr (std::is_same_v<PlainKey, int>)
      return cls_Received<cls_ReadMapInt2Prim<Plain>>(memento.MakeReadMapInt2Prim(&tag));
    else
      return cls_Received<cls_ReadMapString2Prim<Plain>>(memento.MakeReadMapString2Prim(&tag));
  }
};

template <dsc_IsMap T>
requires dsc_IsKey<typename T::key_type> && dsc_IsHeld<typename T::mapped_type>
struct dsc_Stored<T> : dsc_OneField<1> {
  using Key = typename T::key_type;
  using Value = typename T::mapped_type;
  using Object = typename dsc_HeldObject<Value>::Type;
  using PlainKey = typename dsc_PlainKey<Key>::Type;
  static constexpr bool IsByInt = std::is_same_v<PlainKey, int>;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_CheckPersisted<Object>();
    to.Add<Name>(at, ATTR_OBJECT, IsByInt ? COLLECTION_MAP_INT_OBJ : COLLECTION_MAP_STRING_OBJ);
  }

  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& map) {
    auto const builder = Builder(*out.m_Visitor.Memento(), Name::Handle(at.m_Number),
                                 out.m_Identity.OfCollection(at.m_Collection, out.m_Collections));
    dsc_ForEachSorted(map, [&](auto const& entry) {
      Object const* const object = dsc_ObjectOf(entry.second);
      if (object == nullptr)
        dsc_Raise(out.m_Class, Name::View(), "one of its pointers is null, and a map has no null values.");
      PlainKey const key = dsc_ToPlain<PlainKey>(entry.first);
      Request const request(builder.get(), key);
      object->DBWrite(cls_WriteVisitor(request, object));
    });
  }

  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& map) {
    cls_FieldHandle const field = Name::Handle(at.m_Number);
    if (in.m_Visitor.DataIsPresent(field) == 0) return;
    dsc_StoredCollection const stored(in, at, field);
    auto const cursor = Cursor(*stored.Memento());
    map.clear();
    while (cursor->More() != 0) {
      cursor->Next();
      PlainKey key{};
      cls_ReadVisitor const visitor(cursor->Fetch(key));
      dsc_Where const where = in.Where<Name>();
      dsc_AddEntry(map, dsc_FromPlain<Key>(key, where), dsc_ConstructHeld<Value, false>(visitor, where),
                   where);
    }
  }
  template <class Each> static void DeclareHeld(Each const& each) { each.template operator()<Object>(); }

 private:
  using Request = std::conditional_t<IsByInt, cls_WriteRequestMapInt2Obj, cls_WriteRequestMapString2Obj>;

  static auto Builder(cls_MementoWrite& memento, cls_FieldHandle const& field, cls_Uid const& uid) {
    if constexpr (IsByInt)
      return cls_Received<cls_WriteMapInt2Obj>(memento.MakeFieldWriteMapInt2Obj(field, uid));
    else
      return cls_Received<cls_WriteMapString2Obj>(memento.MakeFieldWriteMapString2Obj(field, uid));
  }
  static auto Cursor(cls_MementoRead& memento) {
    if constexpr (IsByInt)
      return cls_Received<cls_ReadMapInt2Obj>(memento.MakeReadMapInt2Obj());
    else
      return cls_Received<cls_ReadMapString2Obj>(memento.MakeReadMapString2Obj());
  }
};
