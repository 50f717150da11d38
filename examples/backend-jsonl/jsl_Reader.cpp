#include "examples/backend-jsonl/jsl_Elements.h"

namespace {

// Reads one part of an object.
class Reader : public cls_IndexedMementoRead<Reader, jsl_Elements> {
 public:
  Reader(jsl_Object const& object, std::size_t part)
      : m_Object(object), m_Part(part),
        m_Uid(IsAbsent() ? cls_Uid() : object.Session()->UidOf(ThisPart()["id"].get<jsl_Id>())) {}

  cow_String DbId() override { return cow_String(m_Object.Session()->Name()); }
  cls_Uid const& GetUid() override { return m_Uid; }
  int FieldIsPresent(cls_FieldHandle const& field) const override { return Find(field) == nullptr ? 0 : 1; }
  int DataIsPresent(cls_FieldHandle const& field) const override {
    bool const isReference = FieldIsPresent(field) != 0 && Find(field)->contains("reference");
    if (!isReference) return FieldIsPresent(field);
    return jsl_Object{m_Object.m_Link, Get<jsl_Id>(field, "reference")}.IsStored() ? 1 : 0;
  }
  cls_MementoRead* MakeFieldReadObj(cls_FieldHandle const& field) override {
    if (FieldIsPresent(field) == 0) return jsl_MakeReader({m_Object.m_Link});
    bool const isReference = Find(field)->contains("reference");
    jsl_Object const held{m_Object.m_Link, Get<jsl_Id>(field, isReference ? "reference" : "object")};
    if (!isReference && !held.Line().contains("parts"))
      m_Object.Raise("object " + std::to_string(held.m_Id) + " of " + jsl_KeyOf(field) + " is missing");
    return jsl_MakeReader(held);
  }
  cls_MementoRead* Clone() override { return jsl_MakeReader(m_Object, m_Part + 1); }

  int ReadEnum(cls_FieldHandle const& field) override { return ReadScalar(field, 0); }
  cls_Uid ReadReference(cls_FieldHandle const& field) override {
    return FieldIsPresent(field) == 0 ? cls_Uid()
                                      : m_Object.Session()->UidOf(Get<jsl_Id>(field, "reference"));
  }
  int ReadBytes(cls_FieldHandle const& field, void* bytes, int capacityBytes) override {
    if (FieldIsPresent(field) == 0) return -1;
    std::string const stored = m_Object.FromHex(Get<cow_String>(field, "bytes").View());
    stored.copy(static_cast<char*>(bytes), static_cast<std::size_t>(std::max(0, capacityBytes)));
    return static_cast<int>(stored.size());
  }
  unsigned int ClassId() const override { return IsAbsent() ? 1 : ThisPart()["class"].get<unsigned int>(); }
  int ClassVersion() const override { return IsAbsent() ? -1 : ThisPart()["version"].get<int>(); }

  void CheckCollectionType(cls_CollectionType type, cow_String const& name) override {
    std::string const key(name.View());
    if (IsAbsent() || !ThisPart().contains("types") || !ThisPart()["types"].contains(key)) return;
    auto const stored = static_cast<cls_CollectionType>(m_Object.Get<int>(ThisPart()["types"], key));
    if (!cls_CollectionsMatch(stored, type))
      m_Object.Raise(key + " is a collection of type " + std::to_string(stored) + ", not " +
                     std::to_string(type));
  }

 private:
  friend cls_TypedMementoRead<Reader>;
  friend cls_IndexedMementoRead<Reader, jsl_Elements>;
  template <class T> T ReadScalar(cls_FieldHandle const& field, T const& defaultValue) {
    return FieldIsPresent(field) == 0 ? defaultValue
                                      : m_Object.Get<T>(ThisPart()["fields"], jsl_KeyOf(field));
  }
  bool IsAbsent() const { return m_Object.m_Id == 0; }
  jsl_Json const& ThisPart() const { return m_Object.Line()["parts"][m_Part]; }
  jsl_Elements ElementsOf(cls_ElementKind kind) const { return {m_Object, kind}; }
  jsl_Json const* Find(cls_FieldHandle const& field) const {
    if (IsAbsent()) return nullptr;
    auto const found = ThisPart()["fields"].find(jsl_KeyOf(field));
    return found == ThisPart()["fields"].end() ? nullptr : &*found;
  }
  // What {"member": ...} of a field has.
  template <class T> T Get(cls_FieldHandle const& field, char const* member) const {
    if (!Find(field)->contains(member)) m_Object.Raise(jsl_KeyOf(field) + " is no " + member);
    return m_Object.Get<T>(*Find(field), member);
  }

  jsl_Object m_Object; // its id is 0 if it is absent
  std::size_t m_Part;
  cls_Uid m_Uid;
};

} // namespace

cls_MementoRead* jsl_MakeReader(jsl_Object const& object, std::size_t part) {
  bool const isThere = object.Line().contains("parts") && part < object.Line()["parts"].size();
  return new Reader(isThere ? object : jsl_Object{object.m_Link}, part);
}
