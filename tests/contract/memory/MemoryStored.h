#pragma once

#include <any>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "errors/nex_TextException.h"
#include "metadata/cls_CollectionType.h"
#include "persist/identity/cls_Uid.h"
#include "persist/visitors/cls_FieldHandle.h"

// What the back end in memory keeps. A field holds a value, the identity of an object (a reference), or an
// object. An object is a sequence of parts; one that is a collection has a list or a map as well.

struct Stored;

using Bytes = std::vector<char>;
using Value = std::variant<bool, cow_String, float, double, unsigned int, int, signed char, short,
                           unsigned short, long long, unsigned long long, cls_Uid, Bytes, Stored*>;

// What one class of an object's hierarchy has written.
struct Part {
  unsigned int m_ClassId;
  int m_Version;
  cls_Uid m_Uid;
  std::map<std::string, Value> m_Fields;
  std::map<std::string, cls_CollectionType> m_Types; // of the fields that hold collections
};

// The collections. Objects are kept as pointers; null is an empty object.
template <class T> struct List {
  std::deque<T> m_Elements;
  int m_RowWidth = 1;
  int m_SizeHint = 1;
};
template <class K, class T> struct Map {
  std::vector<std::pair<K, T>> m_Entries; // in the order of writing
  int m_SizeHint = 1;
};

struct Stored {
  cls_Uid m_Uid;             // keeps the record of the identity
  std::vector<Part> m_Parts; // the most derived class first
  std::any m_Collection;     // a shared_ptr to a List, a Map or Bytes; builders and agents share it

  template <class C> std::shared_ptr<C> Restart() {
    auto collection = std::make_shared<C>();
    m_Collection = collection;
    return collection;
  }
};

[[noreturn]] inline void Raise(std::string const& text) {
  nex_TextException(atr_String(text.c_str())).Throw("memory", 0);
}
