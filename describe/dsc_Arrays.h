#pragma once

#include "collections/cls_2dArrayPrim.h"
#include "collections/cls_ArrayPrim.h"
#include "collections/cls_SimpleArrayPrim.h"
#include "describe/dsc_Described.h"
#include "describe/dsc_WritesItself.h"

// Members that are bulk arrays. Include this header beside dsc_Described.h. They are stored as they are by a class
// written by hand, and obey the rules of their own headers:
//
// - Loading an object opens its arrays; no element is read before it is touched.
// - An array is a handle. A copy of the object has the same array: what is written through one is seen by the other,
//   and both are one stored list. To give a copy an array of its own, assign a new one to the member.
// - The object's destructor calls Release and DropBlocks if it wants the memory back (cls_ArrayPrim, Memory).
// - The columns of a cls_2dArrayPrim are not stored. The member keeps those that it is initialised with; if they
//   differ from object to object, describe a member with their number, and call SetColumns in AfterRead.
// - A cls_SimpleArrayPrim hands its identity back to nobody once it was loaded.
//
// A std::vector of the same element type is stored in the same way as a cls_ArrayPrim, so a member may change from one
// to the other.

template <class T>
struct dsc_Stored<cls_ArrayPrim<T>>
    : dsc_WritesItself<cls_ArrayPrim<T>, dsc_AttributeType<T>, dsc_ListCode<T>> {};

/// Assigned as the base class, whose assignment registers with the store; that keeps the number of columns, too.
template <class T>
struct dsc_Stored<cls_2dArrayPrim<T>>
    : dsc_WritesItself<cls_2dArrayPrim<T>, dsc_AttributeType<T>, dsc_TableCode<T>, cls_ArrayPrim<T>> {};

template <class T>
struct dsc_Stored<cls_SimpleArrayPrim<T>>
    : dsc_WritesItself<cls_SimpleArrayPrim<T>, dsc_AttributeType<T>, dsc_ListCode<T>> {};
