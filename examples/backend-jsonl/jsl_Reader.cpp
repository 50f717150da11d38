#include "examples/backend-jsonl/jsl_Elements.h"

namespace {

// Reads one part of an object, or an absent one, whose id is 0.
class Reader : public cls_IndexedMementoRead<Reader, jsl_Elements>, public cls_StoredObject, jsl_Object {
 public:
  explicit Reader(jsl_Object const& object) : jsl_Object(object) {}

  Place StoredAt() noexcept override { return {Session(), m_Id}; }
  cow_String DbId() override { return cow_String(Session()->Name()); }
  cls_Uid const& GetUid() override {
    if (!m_Uid) m_Uid = m_Id == 0 ? cls_Uid() : Session()->IdentityOf(Part()["id"].get<jsl_Id>());
    return *m_Uid;
  }
  int FieldIsPresent(cls_FieldHandle const& field) const override { return Has(field) ? 1 : 0; }
  int DataIsPresent(cls_FieldHandle const& field) const override {
    return Has(field) && (!IsReference(field) || HeldBy(field).IsStored()) ? 1 : 0;
  }
  cls_MementoRead* MakeFieldReadObj(cls_FieldHandle const& field) override {
    jsl_Object const held = HeldBy(field);
    if (held.m_Id != 0 && !IsReference(field) && !held.IsStored())
      Raise("object " + std::to_string(held.m_Id) + " of " + field.Key() + " is missing");
    return jsl_MakeReader(held);
  }
  cls_MementoRead* Clone() override { return jsl_MakeReader({m_Link, m_Id, m_Part + 1}); }

  cls_Uid ReadReference(cls_FieldHandle const& field) override {
    return Has(field) ? Session()->IdentityOf(HeldBy(field).m_Id) : cls_Uid();
  }
  int ReadBytes(cls_FieldHandle const& field, void* bytes, int capacityBytes) override {
    if (!Has(field)) return -1;
    auto const stored = GetMember<jsl_Bytes>(field, "bytes");
    auto const size = static_cast<int>(stored.size());
    std::copy_n(stored.begin(), std::clamp(capacityBytes, 0, size), static_cast<unsigned char*>(bytes));
    return size;
  }
  unsigned int ClassId() const override { return m_Id == 0 ? 1 : Part()["class"].get<unsigned int>(); }
  int ClassVersion() const override { return m_Id == 0 ? -1 : Part()["version"].get<int>(); }

  void CheckCollectionType(cls_CollectionType type, cow_String const& name) override {
    cls_FieldHandle const field(name);
    if (!Has(field) || !Value(field).contains("type")) return;
    auto const stored = static_cast<cls_CollectionType>(GetMember<int>(field, "type"));
    if (!cls_CollectionsMatch(stored, type))
      Raise(field.Key() + " is a collection of type " + std::to_string(stored) + ", not " +
            std::to_string(type));
  }

  template <class T> T ReadScalar(cls_FieldHandle const& field, T const& defaultValue) {
    return Has(field) ? Get<T>(Part()["fields"], field.Key()) : defaultValue;
  }
  jsl_Elements ElementsOf(cls_ElementKind kind) const { return {*this, kind}; }

 private:
  jsl_Json const& Value(cls_FieldHandle const& field) const { return Part()["fields"][field.Key()]; }
  bool IsReference(cls_FieldHandle const& field) const { return Value(field).contains("reference"); }
  // What {"member": ...} of a field has.
  template <class T> T GetMember(cls_FieldHandle const& field, char const* member) const {
    if (!Value(field).contains(member)) Raise(field.Key() + " is no " + member);
    return Get<T>(Value(field), member);
  }
  // The object that a field holds or refers to.
  jsl_Object HeldBy(cls_FieldHandle const& field) const {
    if (!Has(field)) return {m_Link};
    return {m_Link, GetMember<jsl_Id>(field, IsReference(field) ? "reference" : "object")};
  }

  std::optional<cls_Uid> m_Uid;
};
cls_StoredMementoType<Reader> const s_Reader; // so that what is behind a pointer is found fast

} // namespace

cls_MementoRead* jsl_MakeReader(jsl_Object const& object) {
  return new Reader(object.IsStored() ? object : jsl_Object{object.m_Link});
}
