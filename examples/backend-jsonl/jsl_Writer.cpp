#include "examples/backend-jsonl/jsl_Elements.h"

namespace {

// Writes one part of an object.
class Writer : public cls_IndexedMementoWrite<Writer, jsl_Elements> {
 public:
  Writer(jsl_Object const& object, std::size_t part) : m_Object(object), m_Part(part) {
    ++Session().m_Writers;
  }
  ~Writer() override {
    if (--Session().m_Writers == 0) Session().m_Written.clear();
  }

  int FieldIsPresent(cls_FieldHandle const& field) const override {
    return m_Object.Line()["parts"][m_Part]["fields"].contains(jsl_KeyOf(field)) ? 1 : 0;
  }
  cls_MementoWrite* MakeFieldWriteObj(cls_FieldHandle const& field, unsigned int classId, cls_Uid const& uid,
                                      void const*) override {
    Put(field, {{"object", Session().IdOf(uid)}});
    return jsl_MakeWriter(Session(), classId, uid);
  }
  cls_MementoWrite* MakeBaseWriteObj(unsigned int classId, cls_Uid const& uid) override {
    jsl_Json& parts = m_Object.Change()["parts"];
    parts.push_back(Session().NewPart(classId, uid));
    return new Writer(m_Object, parts.size() - 1);
  }
  void WriteEnum(cls_FieldHandle const& field, int const& value) override { Put(field, value); }
  void WriteReference(cls_FieldHandle const& field, cls_Uid const& uid) override {
    Put(field, {{"reference", Session().IdOf(uid)}});
  }
  void WriteBytes(cls_FieldHandle const& field, void const* bytes, int size) override {
    std::string_view const view(static_cast<char const*>(bytes), static_cast<std::size_t>(size));
    Put(field, {{"bytes", jsl_ToHex(view)}});
  }
  void CheckCollectionType(cls_CollectionType type, cow_String const& name) override {
    m_Object.Change()["parts"][m_Part]["types"][std::string(name.View())] = static_cast<int>(type);
  }

 private:
  friend cls_TypedMementoWrite<Writer>;
  friend cls_IndexedMementoWrite<Writer, jsl_Elements>;
  template <class T> void WriteScalar(cls_FieldHandle const& field, T const& value) {
    Put(field, jsl_Encode(value));
  }
  jsl_Session& Session() const { return *m_Object.Session(); }
  void Put(cls_FieldHandle const& field, jsl_Json value) {
    m_Object.Change()["parts"][m_Part]["fields"][jsl_KeyOf(field)] = std::move(value);
  }
  jsl_Elements Restart(cls_ElementKind kind, int width) const {
    jsl_Json const parts = m_Object.Line()["parts"];
    jsl_Elements const elements(m_Object, kind);
    m_Object.Change() = {
        {"id", m_Object.m_Id}, {"parts", parts}, {"width", width}, {elements.Name(), elements.Empty()}};
    return elements;
  }
  jsl_Elements GoOn(cls_ElementKind kind, int sizeHint) const {
    jsl_Elements const elements(m_Object, kind);
    if (!m_Object.Line().contains(elements.Name())) Restart(kind, 1);
    m_Object.Change()["hint"] = sizeHint;
    return elements;
  }

  jsl_Object m_Object;
  std::size_t m_Part;
};

} // namespace

cls_MementoWrite* jsl_MakeWriter(jsl_Session& session, unsigned int classId, cls_Uid const& uid) {
  jsl_Object const object{session.m_Link, session.IdOf(uid)};
  bool const isCollection =
      classId == cls_InternalListTypeId || classId == cls_InternalMapTypeId || classId == cls_BlobTypeId;
  if (!session.m_Written.insert(object.m_Id).second && !isCollection) return nullptr;
  jsl_Json& line = object.Change();
  if (!isCollection) line = nullptr; // a collection keeps its elements
  line["id"] = object.m_Id;
  line["parts"] = jsl_Json::array({session.NewPart(classId, uid)});
  return new Writer(object, 0);
}
