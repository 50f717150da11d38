#pragma once

#include <algorithm>
#include <string_view>

#include "tests/support/backend/MementoSlots.h"
#include "tests/support/backend/Recorder.h"
#include "tests/support/backend/RecordingAgents.h"
#include "tests/support/backend/RecordingCollections.h"

/// A storage back end that stores nothing: each call becomes a line in the recorder's log, and answers come
/// from the recorder. See Recorder for its use in tests.

/// The recording class for each interface that a memento creates.
template <class Interface> struct RecordingOf;
template <class T> struct RecordingOf<cls_WriteListPrim<T>> { using Type = RecordingListWriter<T>; };
template <class T> struct RecordingOf<cls_WriteMapInt2Prim<T>> {
  using Type = RecordingMapWriter<int, T, cls_WriteMapInt2Prim<T>>;
};
template <class T> struct RecordingOf<cls_WriteMapString2Prim<T>> {
  using Type = RecordingMapWriter<cow_String, T, cls_WriteMapString2Prim<T>>;
};
template <> struct RecordingOf<cls_WriteListObj> { using Type = RecordingListObjWriter; };
template <> struct RecordingOf<cls_WriteMapInt2Obj> {
  using Type = RecordingMapObjWriter<int, cls_WriteMapInt2Obj>;
};
template <> struct RecordingOf<cls_WriteMapString2Obj> {
  using Type = RecordingMapObjWriter<cow_String, cls_WriteMapString2Obj>;
};
template <> struct RecordingOf<cls_WriteIntTableInt> { using Type = RecordingIntTableWriter; };
template <class T> struct RecordingOf<cls_ReadListPrim<T>> { using Type = RecordingListReader<T>; };
template <class T> struct RecordingOf<cls_ReadMapInt2Prim<T>> {
  using Type = RecordingMapReader<int, T, cls_ReadMapInt2Prim<T>>;
};
template <class T> struct RecordingOf<cls_ReadMapString2Prim<T>> {
  using Type = RecordingMapReader<cow_String, T, cls_ReadMapString2Prim<T>>;
};
template <> struct RecordingOf<cls_ReadListObj> { using Type = RecordingListObjReader; };
template <> struct RecordingOf<cls_ReadMapInt2Obj> { using Type = RecordingMapInt2ObjReader; };
template <> struct RecordingOf<cls_ReadMapString2Obj> {
  using Type = RecordingMapObjReader<cow_String, cls_ReadMapString2Obj>;
};
template <> struct RecordingOf<cls_ReadIntTableInt> { using Type = RecordingIntTableReader; };
template <class T> struct RecordingOf<cls_AgentListPrim<T>> { using Type = RecordingListAgent<T>; };
template <class K> struct RecordingOf<cls_AgentMapKey2Obj<K>> { using Type = RecordingMapAgent<K>; };
template <> struct RecordingOf<cls_AgentListObj> { using Type = RecordingListObjAgent; };
template <> struct RecordingOf<cls_AgentBlob> { using Type = RecordingBlobAgent; };

class RecordingMementoWrite : public MementoWriteSlots<RecordingMementoWrite>, public RecordedObject {
 public:
  explicit RecordingMementoWrite(Recorder& recorder) : RecordedObject(recorder, "write") {}

  template <class Operation, class... Args>
  auto Handle(char const* name, Operation, Args const&... args) const {
    using Result = std::invoke_result_t<Operation, cls_MementoWrite*, Args const&...>;
    Log(name, args...);
    if constexpr (std::is_same_v<Result, cls_MementoWrite*>)
      return static_cast<cls_MementoWrite*>(AnswerWriter());
    else if constexpr (std::is_pointer_v<Result>)
      return Result(AnswerMade(new typename RecordingOf<std::remove_pointer_t<Result>>::Type(m_Recorder)));
    else if constexpr (!std::is_void_v<Result>)
      return Reply(args...);
  }

  void WriteBytes(cls_FieldHandle const& field, void const* bytes, int sizeBytes) override {
    auto const* const chars = static_cast<char const*>(bytes);
    Log("WriteBytes", field, cow_String(std::string_view(chars, static_cast<std::size_t>(sizeBytes))));
  }

 private:
  bool Reply() const { return Answer(!m_Recorder.IsKept(ObjectName())); } // NeedsDeletion
  bool Reply(cls_AgentProxy* const&, cls_FieldHandle const&) const { return Answer(false); }
  int Reply(cls_FieldHandle const& field) const { return Answer(m_Recorder.FieldPresent(field)); }
};

class RecordingMementoRead : public MementoReadSlots<RecordingMementoRead>, public RecordedObject {
 public:
  explicit RecordingMementoRead(Recorder& recorder) : RecordedObject(recorder, "read") {}

  template <class Operation, class... Args>
  auto Handle(char const* name, Operation, Args const&... args) const {
    using Result = std::invoke_result_t<Operation, cls_MementoRead*, Args const&...>;
    Log(name, args...);
    if constexpr (std::is_same_v<Result, cls_MementoRead*>)
      return static_cast<cls_MementoRead*>(AnswerReader());
    else if constexpr (std::is_pointer_v<Result>)
      return Result(AnswerMade(new typename RecordingOf<std::remove_pointer_t<Result>>::Type(m_Recorder)));
    else if constexpr (!std::is_void_v<Result>)
      return Answer(Reply(std::type_identity<Result>(), name, args...));
  }

  cls_Uid const& HandleGetUid() const {
    Log("GetUid");
    Answer(m_Recorder.m_Uid);
    return m_Recorder.m_Uid;
  }

 private:
  template <class T> using Of = std::type_identity<T>;

  bool Reply(Of<bool>, std::string_view) const { return !m_Recorder.IsKept(ObjectName()); } // NeedsDeletion
  cow_String Reply(Of<cow_String>, std::string_view) const { return m_Recorder.m_DbId; }
  unsigned int Reply(Of<unsigned int>, std::string_view) const { return m_Recorder.ClassId(); }
  int Reply(Of<int>, std::string_view) const { return m_Recorder.ClassVersion(); }

  int Reply(Of<int>, std::string_view name, cls_FieldHandle const& field) const {
    if (name == "FieldIsPresent") return m_Recorder.FieldPresent(field);
    if (name == "DataIsPresent") return m_Recorder.DataPresent(field);
    return Reply(Of<int>(), name, field, 0); // ReadEnum
  }
  cls_Uid Reply(Of<cls_Uid>, std::string_view, cls_FieldHandle const& field) const {
    auto const* const stored = m_Recorder.Stored<cls_Uid>(ObjectName(), field);
    return stored == nullptr ? cls_Uid() : *stored;
  }
  template <class T>
  T Reply(Of<T>, std::string_view, cls_FieldHandle const& field, T const& defaultValue) const {
    T const* const stored = m_Recorder.Stored<T>(ObjectName(), field);
    return stored == nullptr ? defaultValue : *stored;
  }
  int Reply(Of<int>, std::string_view, cls_FieldHandle const& field, void* bytes, int capacityBytes) const {
    auto const* const stored = m_Recorder.Stored<cow_String>(ObjectName(), field);
    if (stored == nullptr) return -1;
    std::copy_n(stored->CharsOrEmpty(), std::min(stored->Length(), capacityBytes), static_cast<char*>(bytes));
    return stored->Length();
  }
};

// --- Operations that create mementos, which the collections' header cannot see.

template <class K, class Interface>
cls_MementoWrite* RecordingMapObjWriter<K, Interface>::MakeWriteObj(K const& key, unsigned int classId,
                                                                    cls_Uid const& uid) {
  this->Log("MakeWriteObj", key, classId, uid);
  ++m_Count;
  return this->AnswerWriter();
}
template <class K, class Interface>
cls_MementoWrite* RecordingMapObjWriter<K, Interface>::MakeWriteObjWithPtr(K const& key, unsigned int classId,
                                                                           cls_Uid const& uid,
                                                                           void const* object) {
  this->Log("MakeWriteObjWithPtr", key, classId, uid, object);
  ++m_Count;
  return this->AnswerWriter();
}
template <class K, class Interface> cls_MementoRead* RecordingMapObjReader<K, Interface>::Fetch(K& key) {
  this->Log("Fetch");
  key = m_Walk.Last();
  return this->AnswerReader();
}
template <class K> cls_MementoRead* RecordingMapAgent<K>::MakeReadObj(K const& key) {
  this->Log("MakeReadObj", key);
  return this->AnswerReader();
}
template <class K>
cls_MementoWrite* RecordingMapAgent<K>::MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) {
  this->Log("MakeWriteObj", key, classId, uid);
  return this->AnswerWriter();
}
template <class K>
cls_MementoWrite* RecordingMapAgent<K>::MakeWriteObjWithPtr(K const& key, unsigned int classId,
                                                            cls_Uid const& uid, void const* object) {
  this->Log("MakeWriteObjWithPtr", key, classId, uid, object);
  return this->AnswerWriter();
}
