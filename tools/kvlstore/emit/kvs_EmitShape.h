#pragma once

#include <string>

#include "metadata/cls_AttributeType.h"
#include "tools/kvlstore/emit/kvs_EmitModel.h"

// What kind of member reads an attribute.

enum class kvs_Form {
  None,  ///< no member of a described class reads it
  Value, ///< a number, bool or text
  Enum,  ///< an enumeration
  Ref,   ///< an object that is stored on its own
  Blob,  ///< bytes
  List,  ///< of values
  Rows,  ///< a list of rows of the same few elements
  Array, ///< a list that stays in the store: long, or of rows of any size
  Table, ///< of numbers
  Map,   ///< from texts or integers to values
  ObjectList,
  ObjectMap,
};

/// What reads an attribute, for any language.
struct kvs_Shape {
  kvs_Form m_Form = kvs_Form::None;
  cls_AttributeType m_Element = ATTR_INT; ///< of a value, or of what a collection has
  bool m_HasIntKeys = false;              ///< of a map
  int m_RowSize = 1;                      ///< of Rows
  unsigned int m_Target =
      0; ///< class of the objects; 0: the class that has the attribute, because none is known
  bool m_IsFloatTable = false;
  int m_Type = 0;       ///< what a described class declares such a member as: cls_AttributeType
  int m_Collection = 0; ///< cls_CollectionType
  std::string m_Why;    ///< what is to be said about it; for None, why
};

/// The classes of exceptions and texts of the library, as targets.
inline constexpr unsigned int kvs_ExceptionClassId = 0x1F0001;
inline constexpr unsigned int kvs_TextClassId = 0x1A0001;
inline constexpr unsigned int kvs_TranslatedTextClassId = 0x1A0007;

/// `hasMore`: there is an attribute for more lists, which a sto_Array has.
[[nodiscard]] kvs_Shape kvs_ShapeOf(kvs_EmitModel const& model, kvs_Attribute const& attribute, bool hasMore);

/// The nearest class that all of these are or derive from; 0 if there is none.
[[nodiscard]] unsigned int kvs_CommonBase(kvs_EmitModel const& model, std::set<unsigned int> const& classes);
