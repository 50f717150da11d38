#include "tools/kvlstore/report/kvs_ObjectWalk.h"

#include <algorithm>
#include <utility>

#include "store/base/sto_Exception.h"

kvs_ObjectWalk::kvs_ObjectWalk(sto_Inspection const& inspection, kvs_Json& json,
                               kvs_ReportOptions const& options, kvs_Problems& problems,
                               kvs_PictureNotes const& notes, sto_Progress const& progress)
    : m_Inspection(inspection), m_Json(json), m_Options(options), m_Problems(problems), m_Notes(notes),
      m_Progress(progress), m_Content(inspection, json, options, problems), m_Value(json, options) {}

void kvs_ObjectWalk::Enqueue(std::int64_t id, std::int64_t holder) {
  if (m_Known.contains(id)) return;
  if (static_cast<std::int64_t>(m_Known.size()) >= m_Options.m_MaxObjects) {
    m_IsCut = true;
    return;
  }
  m_Known.insert(id);
  m_Queue.push_back({id, holder});
}

void kvs_ObjectWalk::ShowProgress() {
  constexpr std::int64_t Interval = 256;
  if (!m_Progress || m_Rows % Interval != 0) return;
  if (!m_Progress({m_Rows, std::max(m_Rows, m_Expected), true}))
    sto_Raise(sto_ErrorKind::Cancelled, "The report was cancelled.");
}

void kvs_ObjectWalk::WriteQueued() {
  while (!m_Queue.empty()) {
    if (IsFull()) {
      m_IsCut = true;
      m_Queue.clear();
      return;
    }
    Pending const next = m_Queue.front();
    m_Queue.pop_front();
    WriteRow(next);
  }
}

void kvs_ObjectWalk::WriteRow(Pending const& pending) {
  ShowProgress();
  try {
    WriteObject(m_Inspection.Object(pending.m_Id), pending.m_Holder);
  } catch (sto_Exception const& failure) {
    if (!kvs_Problems::IsOfContent(failure.Kind())) throw;
    bool const isMissing = failure.Kind() == sto_ErrorKind::NotFound;
    m_Missing += isMissing ? 1 : 0;
    // A reference may lead to an object that was never saved, which is no damage.
    if (!isMissing || pending.m_Holder == OfRoot)
      m_Problems.Add("object " + std::to_string(pending.m_Id), m_Problems.TextOf(failure));
    WriteProblem(pending, m_Problems.TextOf(failure));
  }
  if (m_IsUnreached) ++m_OfNoRoot;
  ++m_Rows;
}

void kvs_ObjectWalk::WriteProblem(Pending const& pending, std::string const& problem) {
  m_Json.Begin('[').Int(pending.m_Id).Int(-1).Int(pending.m_Holder).Text(problem).End(']');
}

void kvs_ObjectWalk::WriteObject(sto_InspectedObject const& object, std::int64_t holder) {
  m_Json.Begin('[').Int(object.m_Id).UInt(m_Shapes.Number(object)).Int(holder);
  for (sto_InspectedPart const& part : object.m_Parts) {
    for (sto_InspectedField const& field : part.m_Fields) {
      m_Value.Field(field);
      FollowField(field.m_Value, field.m_Kind, object.m_Id);
    }
    m_Notes.AddSources(object, part, m_Pictures);
  }
  if (object.m_Content != sto_InspectedContent::None) {
    std::string const problem = m_Content.Write(object, [&](std::int64_t id) { Enqueue(id, m_Rows); });
    if (problem.empty())
      NoteLong(object);
    else
      m_Problems.Add("object " + std::to_string(object.m_Id), problem);
  }
  m_Json.End(']');
}

void kvs_ObjectWalk::FollowField(sto_InspectedValue const& value, std::string const& kind,
                                 std::int64_t holder) {
  if (auto const* const id = std::get_if<sto_InspectedId>(&value)) {
    if (id->m_Id == 0) return;
    if (kind == "missing object")
      m_Problems.Add("object " + std::to_string(holder),
                     "It holds object " + std::to_string(id->m_Id) + ", which is missing.");
    else if (kind != "reference")
      Enqueue(id->m_Id, m_Rows);
    else if (static_cast<std::int64_t>(m_References.size()) < m_Options.m_MaxObjects)
      m_References.push_back({id->m_Id, m_Rows});
  } else if (auto const* const tree = std::get_if<sto_InspectedTree>(&value)) {
    for (sto_InspectedMember const& member : tree->m_Members)
      FollowField(member.m_Value, member.m_Kind, holder);
  }
}

void kvs_ObjectWalk::NoteLong(sto_InspectedObject const& object) {
  if (object.m_Count <= kvs_ContentJson::FirstObjects) return;
  bool const isMap = object.m_Content == sto_InspectedContent::Map;
  bool const hasObjects = isMap ? m_Inspection.Map(object.m_Id).ValueType() == sto_InspectedType::Object
                                : object.m_Content == sto_InspectedContent::List &&
                                      m_Inspection.List(object.m_Id).Type() == sto_InspectedType::Object;
  if (hasObjects)
    m_Long.push_back({object.m_Id, m_Rows, kvs_ContentJson::FirstObjects, object.m_Count, isMap});
}

void kvs_ObjectWalk::ExtendLong(Long& part, std::int64_t most) {
  auto const onObject = [&](std::int64_t id) { Enqueue(id, part.m_Row); };
  std::size_t const depth = m_Json.Depth();
  bool const isSound = m_Problems.Try("object " + std::to_string(part.m_Id), [&] {
    if (part.m_IsMap) {
      sto_InspectedMap map = m_Inspection.Map(part.m_Id);
      for (std::int64_t i = 0; i < part.m_Next && map.Next(); ++i) {
      }
      m_Json.Begin('{').Key("m").Int(part.m_Id).Key("e");
      m_Content.Entries(map, most, onObject);
    } else {
      sto_InspectedList list = m_Inspection.List(part.m_Id);
      most = std::min(most, list.Count() - part.m_Next);
      m_Json.Begin('{').Key("l").Int(part.m_Id).Key("e");
      m_Content.Ids(list, part.m_Next, most, onObject);
    }
  });
  m_Json.EndTo(depth);
  part.m_Next = isSound ? part.m_Next + most : part.m_Count;
}

bool kvs_ObjectWalk::ExtendLong() {
  if (m_Long.empty()) return false;
  m_Batch *= 4;
  for (Long& part : m_Long) {
    std::int64_t const room = m_Options.m_MaxObjects - static_cast<std::int64_t>(m_Known.size());
    if (IsFull() || room <= 0) {
      m_IsCut = true;
      m_Long.clear();
      return false;
    }
    ExtendLong(part, std::min(m_Batch, room));
  }
  std::erase_if(m_Long, [](Long const& part) { return part.m_Next >= part.m_Count; });
  return true;
}

bool kvs_ObjectWalk::FollowReferences() {
  for (Pending const& reference : std::exchange(m_References, {}))
    Enqueue(reference.m_Id, reference.m_Holder);
  return !m_Queue.empty();
}

void kvs_ObjectWalk::AddUnreached(std::int64_t objects) {
  if (m_IsCut || m_Rows - m_Missing >= objects) return;
  m_IsUnreached = true;
  m_Problems.Try("objects that no root leads to", [&] {
    for (sto_InspectedWalk walk = m_Inspection.Objects(); !m_IsCut && walk.Next();) {
      Enqueue(walk.Id(), OfNothing);
      WriteQueued();
    }
  });
}

void kvs_ObjectWalk::Run(std::int64_t objects) {
  m_Expected = std::min(objects, m_Options.m_MaxObjects);
  do WriteQueued();
  while (ExtendLong() || FollowReferences());
  AddUnreached(objects);
  while (ExtendLong() || FollowReferences()) WriteQueued();
}

void kvs_ObjectWalk::AddLargest(std::int64_t id) {
  if (!m_Known.insert(id).second) return;
  std::size_t const queued = m_Queue.size();
  WriteRow({id, OfLargest});
  m_Queue.resize(std::min(queued, m_Queue.size()));
}
