#pragma once

#include <memory>

#include "persist/backend/cls_WriteObjects.h"
#include "store/format/sto_CollectionFields.h"
#include "store/objects/sto_ListWriter.h"
#include "store/objects/sto_MementoWrite.h"

/// Builder of an object's list of objects, which is stored as a list of their ids. The list is complete when
/// the builder is deleted. Internal to the module.
class sto_ObjectListWriter final : public cls_WriteListObj, public cls_AppendsLater {
 public:
  explicit sto_ObjectListWriter(sto_RecordInProgressRef object)
      : m_Object(*object), m_Ids(std::move(object), 1) {}

  cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) override {
    return MakeWriteObjWithPtr(classId, uid, nullptr);
  }
  cls_MementoWrite* MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                        void const* object) override {
    std::int64_t id = 0;
    std::unique_ptr<sto_MementoWrite> element =
        sto_MementoWrite::ForElement(m_Object, classId, uid, object, id);
    m_Ids.Append({id});
    return element.release();
  }
  int Count() const override { return m_Ids.Count(); }

  bool IsDeep() const noexcept override { return m_Object.IsDeep(); }
  bool AppendLater(cls_LaterWrite object) override {
    if (sto_IsCollectionClass(object.m_ClassId)) return false;
    sto_Session& session = m_Object.Session();
    cls_IdentityMap::Tie const& tie = session.TieOf(object.m_Uid);
    m_Ids.Append({tie.Id()});
    m_Object.PutWhole([&] { session.Save().AddLater({std::move(object), m_Object.Id()}, tie); });
    return true;
  }
  void AppendNull() override { m_Ids.Append({0}); }
  /// Appends an object that is stored already.
  void AppendId(std::int64_t id) { m_Ids.Append({id}); }

 private:
  sto_RecordInProgress& m_Object; // m_Ids keeps it alive
  sto_ListWriter<sto_ObjectId> m_Ids;
};
