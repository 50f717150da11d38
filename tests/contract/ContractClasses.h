#pragma once

#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "metadata/cls_CollectionType.h"
#include "persist/backend/cls_MoreLists.h"
#include "tests/contract/ContractPointers.h"
#include "tests/support/PersistedClasses.h"

// The classes of the contract tests: Scripted with attributes of every kind, GraphNode for graphs, three
// levels of inheritance, and those of ContractPointers.h. Also numbered sample values of every type that a back end keeps.

/// The name of a type in attributes: "m_Int", "m_ListInt" ...
template <class T> inline constexpr char const* ContractTypeName = nullptr;
template <> inline constexpr char const* ContractTypeName<bool> = "Bool";
template <> inline constexpr char const* ContractTypeName<cow_String> = "String";
template <> inline constexpr char const* ContractTypeName<float> = "Float";
template <> inline constexpr char const* ContractTypeName<double> = "Double";
template <> inline constexpr char const* ContractTypeName<unsigned int> = "UInt";
template <> inline constexpr char const* ContractTypeName<int> = "Int";
template <> inline constexpr char const* ContractTypeName<signed char> = "SChar";
template <> inline constexpr char const* ContractTypeName<short> = "Short";
template <> inline constexpr char const* ContractTypeName<unsigned short> = "UShort";
template <> inline constexpr char const* ContractTypeName<long long> = "LongLong";
template <> inline constexpr char const* ContractTypeName<unsigned long long> = "ULongLong";
template <> inline constexpr char const* ContractTypeName<unsigned char> = "UChar";
template <> inline constexpr char const* ContractTypeName<cls_Complex<float>> = "ComplexFloat";
template <> inline constexpr char const* ContractTypeName<cls_Complex<double>> = "ComplexDouble";

inline cls_FieldHandle FieldOf(std::string const& name) {
  return cls_FieldHandle(cow_String("m_" + name));
}
/// The attribute "m_Int", or with prefix "List" "m_ListInt".
template <class T> cls_FieldHandle FieldFor(std::string const& prefix = "") {
  return FieldOf(prefix + ContractTypeName<T>);
}

/// Calls `act` with std::type_identity of each type.
template <class... Types, class Act> void ForTypes(Act act) {
  (act(std::type_identity<Types>()), ...);
}
template <class Act> void ForListTypes(Act act) {
  ForTypes<bool, cow_String, float, double, unsigned int, int>(act);
}
/// Elements of lists that some back ends have, with their attribute types.
template <class Act> void ForMoreListTypes(Act act) {
  act(std::type_identity<signed char>(), ATTR_SCHAR);
  act(std::type_identity<unsigned char>(), ATTR_UCHAR);
  act(std::type_identity<short>(), ATTR_SHORT);
  act(std::type_identity<unsigned short>(), ATTR_USHORT);
  act(std::type_identity<long long>(), ATTR_LONGLONG);
  act(std::type_identity<unsigned long long>(), ATTR_ULONGLONG);
  act(std::type_identity<cls_Complex<float>>(), ATTR_COMPLEX_FLOAT);
  act(std::type_identity<cls_Complex<double>>(), ATTR_COMPLEX_DOUBLE);
}
template <class Act> void ForMapTypes(Act act) {
  ForTypes<cow_String, float, double, unsigned int, int>(act);
}
template <class Act> void ForScalarTypes(Act act) {
  ForTypes<bool, cow_String, float, double, unsigned int, int, signed char, short, unsigned short, long long,
           unsigned long long>(act);
}

/// A kind of collection that is declared for several element types.
struct ContractKind {
  char const* m_Name; ///< prefix of the attributes
  unsigned int m_ClassId;
  cls_CollectionType m_Generic;
};
inline constexpr ContractKind ListKind{"List", cls_InternalListTypeId, COLLECTION_LIST};
inline constexpr ContractKind MapStringKind{"MapString", cls_InternalMapTypeId, COLLECTION_MAP_STRING};
inline constexpr ContractKind MapIntKind{"MapInt", cls_InternalMapTypeId, COLLECTION_KIND_70};
// These have one type only. An int table has the type of a map from int to int.
inline constexpr ContractKind ListObjKind{"ListObj", cls_InternalListTypeId, COLLECTION_OBJ};
inline constexpr ContractKind MapIntObjKind{"MapIntObj", cls_InternalMapTypeId, COLLECTION_MAP_INT_OBJ};
inline constexpr ContractKind MapStringObjKind{"MapStringObj", cls_InternalMapTypeId,
                                               COLLECTION_MAP_STRING_OBJ};
inline constexpr ContractKind IntTableKind{"IntTable", cls_InternalMapTypeId,
                                           static_cast<cls_CollectionType>(74)};

template <class T> cls_CollectionType CodeOf(ContractKind const& kind) {
  return cls_CollectionTypeFix(kind.m_Generic, static_cast<T*>(nullptr));
}

inline constexpr int ScriptedVersion = 3;
inline constexpr unsigned int GraphNodeId = 0x700002; ///< class GraphNode, in ContractGraph.h

inline void DeclareContractScripted(cls_ClassRegistrar& registrar) {
  cls_ClassMetadata& scripted =
      registrar.CreateClassMD("Scripted"_cow, Scripted::TypeId(), ScriptedVersion, nullptr, 1);
  int number = 0;
  auto const declare = [&](std::string const& name, cls_AttributeType type, cls_CollectionType collection) {
    scripted.AddAttribute(cls_FieldHandle(number++, cow_String("m_" + name)), type, 1, collection);
  };
  for (auto const& [name, type] : {std::pair{"Bool", ATTR_BOOL},
                                   {"String", ATTR_STRING},
                                   {"Float", ATTR_FLOAT},
                                   {"Double", ATTR_DOUBLE},
                                   {"UInt", ATTR_UINT},
                                   {"Int", ATTR_INT},
                                   {"SChar", ATTR_SCHAR},
                                   {"Short", ATTR_SHORT},
                                   {"UShort", ATTR_USHORT},
                                   {"LongLong", ATTR_LONGLONG},
                                   {"ULongLong", ATTR_ULONGLONG},
                                   {"Enum", ATTR_INT},
                                   {"TrString", ATTR_TRSTRING},
                                   {"Reference", ATTR_REFERENCE},
                                   {"Bytes", ATTR_BYTES},
                                   {"Object", ATTR_OBJECT},
                                   {"Second", ATTR_OBJECT},
                                   {"Blob", ATTR_OBJECT},
                                   {"Any", AnyType},
                                   {"Absent", AnyType}})
    declare(name, type, COLLECTION_NONE);
  ForListTypes([&]<class T>(std::type_identity<T>) {
    declare(std::string(ListKind.m_Name) + ContractTypeName<T>, AnyType, CodeOf<T>(ListKind));
  });
  ForMapTypes([&]<class T>(std::type_identity<T>) {
    for (ContractKind const& kind : {MapStringKind, MapIntKind})
      declare(std::string(kind.m_Name) + ContractTypeName<T>, AnyType, CodeOf<T>(kind));
  });
  declare("TableDouble", ATTR_DOUBLE, COLLECTION_TABLE_DOUBLE);
  for (ContractKind const& kind : {ListObjKind, MapIntObjKind, MapStringObjKind})
    declare(kind.m_Name, ATTR_OBJECT, kind.m_Generic);
  declare(IntTableKind.m_Name, ATTR_INT, IntTableKind.m_Generic);
  declare("SecondListInt", ATTR_INT, COLLECTION_LIST_INT);
  ForMoreListTypes([&]<class T>(std::type_identity<T>, cls_AttributeType type) {
    declare(std::string(ListKind.m_Name) + ContractTypeName<T>, type, COLLECTION_LIST);
  });
}

inline void DeclareGraphNode(cls_ClassRegistrar& registrar) {
  cls_ClassMetadata& node = registrar.CreateClassMD("GraphNode"_cow, GraphNodeId, 1, nullptr, 1);
  node.AddAttribute(cls_FieldHandle(0, "m_Value"_cow), ATTR_INT, 1, COLLECTION_NONE);
  int number = 1;
  for (char const* const name : {"m_Left", "m_Right", "m_Back"})
    node.AddAttribute(cls_FieldHandle(number++, cow_String(name)), ATTR_OBJECT, 1, COLLECTION_NONE);
}

inline void DeclareContractClasses(cls_ClassRegistrar& registrar, PointerClassVersions versions = {}) {
  DeclareContractScripted(registrar);
  DeclareGraphNode(registrar);
  DeclareLevels(registrar, 4, 7, 2);
  DeclarePointerClasses(registrar, versions);
}
inline cls_ClassRegistrar const& ContractClasses() {
  static cls_ClassRegistrar const& registrar = [&]() -> cls_ClassRegistrar const& {
    static cls_ClassRegistrar classes;
    DeclareContractClasses(classes);
    return classes;
  }();
  return registrar;
}

/// The sample with the given number. Texts are of every kind: none, empty, with a line feed, a null, and
/// non-ASCII.
template <class T> T SampleOf(int number) {
  auto const scattered = static_cast<unsigned int>(number) * 2654435761U + 12345U;
  if constexpr (std::is_same_v<T, bool>) {
    return (scattered >> 16 & 1U) != 0;
  } else if constexpr (std::is_same_v<T, cow_String>) {
    std::string const digits = std::to_string(number);
    switch (number % 7) {
    case 0:
      return cow_String();
    case 1:
      return ""_cow;
    case 2:
      return cow_String("line\n" + digits + "\r\n");
    case 3:
      return cow_String(std::string(1, '\0') + digits + std::string(2, '\0'));
    case 4:
      return cow_String("gr\xC3\xB6\xC3\x9F"
                        "er \xE2\x89\xA5 " +
                        digits);
    default:
      return cow_String("text " + digits);
    }
  } else if constexpr (requires(T value) { value.m_Imaginary; }) {
    using Number = decltype(T::m_Real);
    return {SampleOf<Number>(number), SampleOf<Number>(-number)};
  } else if constexpr (std::is_floating_point_v<T>) {
    return static_cast<T>(number) * static_cast<T>(-0.1);
  } else {
    return static_cast<T>(static_cast<unsigned long long>(scattered) * 0x9E3779B97F4A7C15ULL);
  }
}

/// Bitwise equality; "no text" is not empty text.
template <class T> bool IsSameValue(T const& a, T const& b) {
  if constexpr (std::is_same_v<T, cow_String>)
    return a.HasText() == b.HasText() && a == b;
  else
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}
