// Who holds what.

#include <algorithm>
#include <limits>
#include <memory>
#include <unordered_map>
#include <utility>

#include "store/driver/sto_StorageWalk.h"
#include "store/format/sto_IdCodec.h"
#include "store/format/sto_MapWalk.h"
#include "store/format/sto_NestedWalk.h"
#include "store/format/sto_TypeNames.h"
#include "store/graph/sto_IdSet.h"
#include "store/recover/sto_RecoverMender.h"
#include "store/session/sto_DeletedObjects.h"

/// A walk over all links. Memory: a bit for each object, some bytes for each list of objects in blocks.
class sto_RecoverMender::Links final : public sto_StorageVisitor {
 public:
  struct Holder {
    std::int64_t m_Id;
    unsigned int m_Class;
    sto_FieldKey m_Key;
  };

  explicit Links(sto_RecoverMender& mender) : m_Mender(mender) {}

  void Find(sto_CheckFinding&&) override {} // the store was checked
  void TakeRoot(std::string_view name, std::int64_t id, unsigned int /*classId*/) override {
    Hold(id);
    m_Roots.try_emplace(id, name);
  }
  void TakeRecord(std::int64_t id, sto_StoredRecord& record) override {
    std::swap(m_Record.Stored(), record);
    sto_NumberedShape const* const shape = m_Mender.m_Shapes.Find(m_Record.Stored().m_Shape);
    std::string problem;
    if (!m_Record.Decode(id, shape == nullptr ? nullptr : &shape->m_Shape, problem)) return;
    for (sto_Part const& part : m_Record.Parts())
      for (sto_Field const& field : part.m_Fields) TakeField(id, field);
    if (m_Record.List()) TakeList(id, *m_Record.List());
    if (m_Record.Map()) TakeMap(id, *m_Record.Map());
  }
  void TakeBlock(std::int64_t key, sto_ByteView data) override {
    std::int64_t const id = key >> sto_Format::BlockIndexBits;
    auto const list = m_Lists.find(id);
    auto const map = m_Maps.find(id);
    if (list == m_Lists.end() && map == m_Maps.end()) return;
    std::optional<sto_ByteView> const content = m_Mender.m_Codec.Open(data, m_Restored);
    if (!content) return;
    if (list != m_Lists.end()) return TakeIds(id, *content, list->second);
    sto_MapHeader entries = map->second;
    entries.m_InChunks = false;
    entries.m_Count =
        std::numeric_limits<int>::max(); // what is no chunk ends at once, or names what is held anyway
    entries.m_Entries = *content;
    for (sto_MapWalk walk(entries); walk.Next();) Hold(static_cast<std::int64_t>(walk.ObjectId()));
  }

  [[nodiscard]] bool IsHeld(std::int64_t id) const { return m_Held.Has(id); }

  std::set<std::int64_t> m_Watched;                   // whose holders are asked for
  std::unordered_map<std::int64_t, Holder> m_Holders; // of those
  std::set<std::int64_t> m_Broken;                    // what has a nested value that holds a lost object
  std::unordered_map<std::int64_t, std::string> m_Roots;

 private:
  void Hold(std::int64_t id) {
    if (id > 0 && id <= sto_Format::MaxObjectId) m_Held.Add(id);
  }
  void TakeField(std::int64_t id, sto_Field const& field) {
    if (field.m_Tag == sto_Format::Object) {
      if (field.m_ObjectId != id) Hold(field.m_ObjectId);
      if (m_Watched.contains(field.m_ObjectId))
        m_Holders.try_emplace(field.m_ObjectId, Holder{id, m_Record.ClassId(), field.m_Key});
    }
    if (field.m_Tag != sto_Format::Nested) return;
    auto const take = [&](std::uint8_t tag, std::int64_t object, sto_ByteView) {
      if (tag != sto_Format::Object) return true;
      Hold(object);
      if (!m_Mender.IsThere(object)) m_Broken.insert(id);
      return true;
    };
    sto_ByteReader reader(field.m_Payload);
    static_cast<void>(sto_NestedWalk(*field.m_Type, id, take).Pass(reader));
  }
  void TakeList(std::int64_t id, sto_ListHeader const& list) {
    if (list.m_ElementType != sto_Format::ElementObject) return;
    if (list.m_InBlocks)
      m_Lists.try_emplace(id, list.m_HasFixedIds);
    else if (sto_DecodeIds(list.m_Inline, list.m_Count, id, list.m_HasFixedIds, m_Ids))
      for (std::int64_t const element : m_Ids) Hold(element);
  }
  void TakeIds(std::int64_t id, sto_ByteView content, bool isFixed) {
    sto_ByteReader reader(content);
    sto_IdDecoder decoder(id);
    while (!reader.Failed() && reader.Remaining() > 0)
      Hold(isFixed ? reader.Number<std::int64_t>() : decoder.Next(reader));
  }
  void TakeMap(std::int64_t id, sto_MapHeader const& map) {
    if (map.m_IsTable || map.m_ElementType != sto_Format::ElementObject) return;
    if (map.m_InChunks) {
      sto_MapHeader header = map;
      header.m_Entries = {};
      m_Maps.try_emplace(id, header);
      return;
    }
    for (sto_MapWalk walk(map); walk.Next();) Hold(static_cast<std::int64_t>(walk.ObjectId()));
  }

  sto_RecoverMender& m_Mender;
  sto_IdSet m_Held;
  std::unordered_map<std::int64_t, bool> m_Lists; // of objects, in blocks: whether ids are of eight bytes
  std::unordered_map<std::int64_t, sto_MapHeader> m_Maps;
  sto_Record m_Record;
  sto_Bytes m_Restored;
  std::vector<std::int64_t> m_Ids;
};

void sto_RecoverMender::MendLinks(bool namesUnreachable) {
  sto_RecoverReport& report = m_Results.Report();
  Links links(*this);
  for (sto_LostItem const& item : report.m_Lost)
    if (item.m_HolderId == 0 && item.m_ObjectId != 0 && item.m_Count > 0)
      links.m_Watched.insert(item.m_ObjectId);
  {
    std::unique_ptr<sto_StorageWalk> const walk = m_Driver.NewWalk(links);
    walk->Tables();
    walk->Records();
    walk->Blocks();
  }
  for (std::int64_t const id : links.m_Broken)
    if (Read(id)) {
      m_Results.Changes().m_Objects.push_back(id);
      MendObject(id);
    }
  for (sto_LostItem& item : report.m_Lost) {
    auto const holder = links.m_Holders.find(item.m_ObjectId);
    if (item.m_HolderId == 0 && item.m_Count > 0 && holder != links.m_Holders.end()) {
      item.m_HolderId = holder->second.m_Id;
      item.m_Holder = ClassOf(holder->second.m_Class);
      item.m_Attribute = NameOf(holder->second.m_Key);
      item.m_Text +=
          " It is attribute " + item.m_Attribute + " of o" + Describe(item.m_HolderId, item.m_Holder) + ".";
    }
    auto const root = links.m_Roots.find(item.m_HolderId != 0 ? item.m_HolderId : item.m_ObjectId);
    if (item.m_Root.empty() && root != links.m_Roots.end()) item.m_Root = root->second;
  }
  if (!namesUnreachable) return;
  std::vector<sto_ObjectShape> objects;
  for (std::int64_t next = 1; next != 0;) {
    objects.clear();
    next = m_Driver.ObjectsFrom(next, objects);
    for (sto_ObjectShape const& object : objects) {
      if (links.IsHeld(object.m_Id) || !Read(object.m_Id)) continue;
      if (m_Record.ClassId() == sto_DeletedClassId) continue;
      std::string const name = ClassOf(m_Record.ClassId());
      std::string root = "recovered/" + (name.empty() ? sto_ClassIdText(m_Record.ClassId()) : name) + "-" +
                         std::to_string(object.m_Id);
      if (m_Driver.FindRoot(root)) continue;
      m_Driver.SetRoot(root, object.m_Id, m_Record.ClassId());
      m_Results.Changes().m_Roots.push_back(root);
      report.m_NewRoots.push_back(std::move(root));
    }
  }
}
