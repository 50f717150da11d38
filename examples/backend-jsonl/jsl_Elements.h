#pragma once

#include "collections/cls_KeptArray.h"
#include "examples/backend-jsonl/jsl_Session.h"

// A handle on a part of an object. The object is absent if it is not stored, and when its session has ended.
struct jsl_Object {
  jsl_Session* Session() const { return *m_Link; }
  bool IsWritable() const { return IsStored() && !Session()->IsReadOnly(); }
  jsl_Json const& Line() const {
    static jsl_Json const None = jsl_Json::object();
    return Session() != nullptr && Session()->Lines().contains(m_Id) ? Session()->Lines().at(m_Id) : None;
  }
  bool IsStored() const { return Line().contains("parts") && m_Part < Line()["parts"].size(); }
  jsl_Json const& Part() const { return Line()["parts"][m_Part]; }
  bool Has(cls_FieldHandle const& field) const { return m_Id != 0 && Part()["fields"].contains(field.Key()); }
  // The line, for changing it.
  jsl_Json& Change() const {
    if (!IsWritable()) Raise("it cannot be written: it is not stored, or open for reading only");
    return Session()->LineOf(m_Id);
  }
  // A value of fields, by name, or of an array, by index.
  template <class T, class Place> T Get(jsl_Json const& values, Place const& place) const {
    try {
      T value = jsl_Decode<T>(values.at(place));
      if (jsl_Encode(value).dump() == values.at(place).dump()) return value;
    } catch (jsl_Json::exception const&) { // it has another type
    }
    Raise(jsl_Json(place).dump() + " is not of the type that is asked for");
  }
  [[noreturn]] void Raise(std::string const& text) const {
    std::string const file = Session() == nullptr ? "a closed file" : Session()->Name();
    jsl_Raise(file + ", object " + std::to_string(m_Id) + ": " + text + ".");
  }

  std::shared_ptr<jsl_Session*> m_Link;
  jsl_Id m_Id = 0;
  std::size_t m_Part = 0;
};

// A memento that writes an object; null if the mementos that are open have written it already.
cls_MementoWrite* jsl_MakeWriter(jsl_Session& session, unsigned int classId, cls_Uid const& uid);
// A memento that reads a part of an object; an absent one if there is no such part.
cls_MementoRead* jsl_MakeReader(jsl_Object const& object);

// The collection of an object: an array in its line, under the name of its kind. Elements that are objects are
// ids, 0 for an empty one; those of a map are pairs; those of a blob are its bytes.
class jsl_Elements : jsl_Object {
 public:
  jsl_Elements(jsl_Object const& object, cls_ElementKind kind) : jsl_Object(object), m_Kind(kind) {}
  char const* Name() const {
    static constexpr char const* Names[] = {"list", "map", "objects", "object map", "bytes"};
    return Names[static_cast<int>(m_Kind)];
  }

  int Count() const { return static_cast<int>(Items().size()); }
  template <class T> T Get(int index, int column) const {
    return IsMap() ? jsl_Object::Get<T>(Items().at(index), column) : jsl_Object::Get<T>(Items(), index);
  }
  template <class T> void Put(int index, int column, T const& value) {
    jsl_Json& element = Change()[Name()][index]; // made if it is not there
    (IsMap() ? element[column] : element) = jsl_Encode(value);
  }
  void Resize(int count) {
    jsl_Json& items = Change()[Name()];
    if (count != Count()) items.get_ref<jsl_Json::array_t&>().resize(static_cast<std::size_t>(count), 0);
  }
  void Erase(int index) { Change()[Name()].erase(index); }
  cls_MementoRead* ReadObject(int index, int column) const {
    jsl_Object const element{m_Link, index < 0 ? 0 : Get<jsl_Id>(index, column)};
    if (element.m_Id != 0 && !element.IsStored()) Raise("element " + std::to_string(index) + " is missing");
    return jsl_MakeReader(element);
  }
  cls_MementoWrite* WriteObject(int index, int column, unsigned int classId, cls_Uid const& uid) {
    jsl_Session::Written const written = Session()->WrittenIds(); // so that a failure undoes this too
    Put(index, column, Session()->IdOf(uid));
    return jsl_MakeWriter(*Session(), classId, uid);
  }
  int RowWidth() const { return Line().contains("width") ? jsl_Object::Get<int>(Line(), "width") : 1; }
  int SizeHint() const { return Line().contains("hint") ? jsl_Object::Get<int>(Line(), "hint") : 1; }
  int ForeignChanges() const { return Session()->m_Foreign[m_Id]; }
  template <class T> void Keep(cls_PC& holder) const {
    cls_KeepArray<T>(*Session(), holder, Count(), [this](std::string const& text) { Raise(text); });
  }
  using jsl_Object::IsWritable, jsl_Object::Raise, jsl_Object::Session;

 private:
  bool IsMap() const {
    return m_Kind == cls_ElementKind::Entries || m_Kind == cls_ElementKind::ObjectEntries;
  }
  jsl_Json const& Items() const {
    static jsl_Json const None = jsl_Json::array();
    auto const items = Line().find(Name());
    if (items == Line().end() && !IsStored()) return None;
    if (items == Line().end() || !items->is_array()) Raise("it holds no " + std::string(Name()));
    return *items;
  }

  cls_ElementKind m_Kind;
};
