#pragma once

#include "describe/dsc_Described.h"
#include "describe/dsc_WritesItself.h"
#include "wrappers/cls_xoMap.h"
#include "wrappers/cls_xp1DArray.h"
#include "wrappers/cls_xp1DArrayList.h"
#include "wrappers/cls_xp2DArray.h"
#include "wrappers/cls_xpBtree.h"
#include "wrappers/cls_xpList.h"
#include "wrappers/cls_xpMap.h"
#include "wrappers/cls_xpString.h"
#include "wrappers/cls_xpTrString.h"

// Members that are wrappers. Include this header beside dsc_Described.h. They are stored as they are by a class written
// by hand, under their own identities. So a copy of the object holds the same stored list, map or text as its original,
// until something else is assigned to the member; lists and maps of other types are those of their object alone. See
// docs/copies-and-identity.md.

template <class T>
struct dsc_Stored<cls_xp1DArray<T>>
    : dsc_WritesItself<cls_xp1DArray<T>, dsc_AttributeType<T>, dsc_ListCode<T>> {};
template <class T>
struct dsc_Stored<cls_xp1DArrayList<T>>
    : dsc_WritesItself<cls_xp1DArrayList<T>, dsc_AttributeType<T>, dsc_ListCode<T>> {};
template <class T>
struct dsc_Stored<cls_xpList<T>> : dsc_WritesItself<cls_xpList<T>, dsc_AttributeType<T>, dsc_ListCode<T>> {};
template <class T>
struct dsc_Stored<cls_xp2DArray<T>>
    : dsc_WritesItself<cls_xp2DArray<T>, dsc_AttributeType<T>, dsc_TableCode<T>> {};
template <>
struct dsc_Stored<cls_xp2DArrayDouble>
    : dsc_WritesItself<cls_xp2DArrayDouble, ATTR_DOUBLE, COLLECTION_TABLE_DOUBLE> {};

template <>
struct dsc_Stored<cls_xpMapString2Float>
    : dsc_WritesItself<cls_xpMapString2Float, ATTR_FLOAT, COLLECTION_MAP_STRING_FLOAT> {};
template <>
struct dsc_Stored<cls_xpMapString2String>
    : dsc_WritesItself<cls_xpMapString2String, ATTR_STRING, COLLECTION_MAP_STRING_STRING> {};
template <>
struct dsc_Stored<cls_xpBtreeString2Uint>
    : dsc_WritesItself<cls_xpBtreeString2Uint, ATTR_UINT, COLLECTION_MAP_STRING_UINT> {};
template <class T>
struct dsc_Stored<cls_xoMap<cow_String, T>>
    : dsc_WritesItself<cls_xoMap<cow_String, T>, ATTR_OBJECT, COLLECTION_MAP_STRING_OBJ> {};

template <> struct dsc_Stored<cls_xpString> : dsc_WritesItself<cls_xpString, ATTR_OBJECT, COLLECTION_NONE> {};
template <>
struct dsc_Stored<cls_xpTrString> : dsc_WritesItself<cls_xpTrString, ATTR_OBJECT, COLLECTION_NONE> {};
