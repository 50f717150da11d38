#include "examples/backend-jsonl/jsl_Elements.h"

namespace {

jsl_Json NewPart(jsl_Session& session, unsigned int classId, cls_Uid const& uid) {
  int const version = session.VersionToWrite(classId);
  return {
      {"id", session.IdOf(uid)}, {"class", classId}, {"version", version}, {"fields", jsl_Json::object()}};
}

// Writes one part of an object.
class Writer : public cls_IndexedMementoWrite<Writer, jsl_Elements>, jsl_Object {
 public:
  Writer(jsl_Object const& object, jsl_Session::Written written)
      : jsl_Object(object), m_Written(std::move(written)) {}

  int FieldIsPresent(cls_FieldHandle const& field) const override { return Has(field) ? 1 : 0; }
  cls_MementoWrite* MakeFieldWriteObj(cls_FieldHandle const& field, unsigned int classId, cls_Uid const& uid,
                                      void const*) override {
    Value(field) = {{"object", Session()->IdOf(uid)}};
    return jsl_MakeWriter(*Session(), classId, uid);
  }
  cls_MementoWrite* MakeBaseWriteObj(unsigned int classId, cls_Uid const& uid) override {
    Change()["parts"].push_back(NewPart(*Session(), classId, uid));
    return new Writer({m_Link, m_Id, Line()["parts"].size() - 1}, m_Written);
  }
  void WriteReference(cls_FieldHandle const& field, cls_Uid const& uid) override {
    Value(field) = {{"reference", Session()->IdOf(uid)}};
  }
  void WriteBytes(cls_FieldHandle const& field, void const* bytes, int size) override {
    auto const* const first = static_cast<unsigned char const*>(bytes);
    Value(field) = {{"bytes", jsl_Bytes(first, first + size)}};
  }
  void CheckCollectionType(cls_CollectionType type, cow_String const& name) override {
    Value(cls_FieldHandle(name))["type"] = static_cast<int>(type);
  }

  template <class T> void WriteScalar(cls_FieldHandle const& field, T const& value) {
    Value(field) = jsl_Encode(value);
  }
  jsl_Elements Restart(cls_ElementKind kind, int width) const {
    jsl_Elements elements(*this, kind);
    Change() = {
        {"id", m_Id}, {"parts", Line()["parts"]}, {"width", width}, {elements.Name(), jsl_Json::array()}};
    return elements;
  }
  jsl_Elements GoOn(cls_ElementKind kind, int sizeHint) const {
    jsl_Elements elements(*this, kind);
    if (!Line().contains(elements.Name())) Restart(kind, 1);
    Change()["hint"] = sizeHint;
    return elements;
  }

 private:
  jsl_Json& Value(cls_FieldHandle const& field) { return Change()["parts"][m_Part]["fields"][field.Key()]; }

  jsl_Session::Written m_Written;
};

} // namespace

cls_MementoWrite* jsl_MakeWriter(jsl_Session& session, unsigned int classId, cls_Uid const& uid) {
  jsl_Object const object{session.Link(), session.IdOf(uid)};
  jsl_Session::Written const written = session.WrittenIds();
  bool const isCollection = cls_IsCollectionTypeId(classId);
  if (!written->m_Ids.insert(object.m_Id).second && !isCollection) return nullptr;
  jsl_Json& line = session.LineOf(object.m_Id);
  if (!isCollection) line = nullptr; // a collection keeps its elements
  line["id"] = object.m_Id;
  line["parts"] = jsl_Json::array({NewPart(session, classId, uid)});
  return new Writer(object, written);
}
