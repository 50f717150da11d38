#pragma once

#include <algorithm>

#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "tests/support/backend/Recorder.h"

// The agents of the recording back end: they log, count references and answer from the recorder.

/// The slots that all agents have.
template <class Interface> class RecordedAgent : public Interface, public RecordedObject {
 public:
  using RecordedObject::RecordedObject;
  bool Changed() override {
    Log("Changed");
    return Answer(false);
  }
  void EndFlush() override { Log("EndFlush"); }
  void AddReference() override {
    Log("AddReference");
    ++m_References;
  }
  void DropReference() override {
    Log("DropReference");
    --m_References;
  }
  bool StillReferenced() override {
    Log("StillReferenced");
    return Answer(m_References > 0);
  }
  bool ReadOnly() override {
    Log("ReadOnly");
    return Answer(false);
  }

 private:
  int m_References = 0;
};

template <class T> class RecordingListAgent : public RecordedAgent<cls_AgentListPrim<T>> {
 public:
  explicit RecordingListAgent(Recorder& recorder)
      : RecordedAgent<cls_AgentListPrim<T>>(recorder, "listAgent"), m_Elements(recorder.List<T>()) {}
  int Count() override {
    this->Log("Count");
    return this->Answer(static_cast<int>(m_Elements.size()));
  }
  int SizeHint() override {
    this->Log("SizeHint");
    return this->Answer(1);
  }
  void WriteRun(int firstIndex, int count, T const* values) override {
    this->Log("WriteRun", firstIndex, count);
    auto const end = static_cast<std::size_t>(firstIndex + count);
    if (m_Elements.size() < end) m_Elements.resize(end);
    std::copy_n(values, count, m_Elements.begin() + firstIndex);
  }
  int ReadRun(int firstIndex, int count, T* destination) override {
    this->Log("ReadRun", firstIndex, count);
    int const read = std::clamp(static_cast<int>(m_Elements.size()) - firstIndex, 0, count);
    std::copy_n(m_Elements.begin() + firstIndex, read, destination);
    return this->Answer(read);
  }
  void RegisterHolder(cls_PC* holder) override {
    this->Log("RegisterHolder", static_cast<void const*>(holder));
  }

 private:
  std::vector<T> m_Elements;
};

class RecordingListObjAgent : public RecordedAgent<cls_AgentListObj> {
 public:
  explicit RecordingListObjAgent(Recorder& recorder)
      : RecordedAgent(recorder, "listObjAgent"), m_Count(recorder.ObjectCount()) {}
  int Count() override {
    Log("Count");
    return Answer(m_Count);
  }
  int SizeHint() override {
    Log("SizeHint");
    return Answer(1);
  }
  void SetCount(int count) override {
    Log("SetCount", count);
    m_Count = count;
  }
  cls_MementoRead* MakeReadObj(int index) override;
  cls_MementoWrite* MakeWriteObj(int index, unsigned int classId, cls_Uid const& uid) override;
  cls_MementoWrite* MakeWriteObjWithPtr(int index, unsigned int classId, cls_Uid const& uid,
                                        void const* object) override;
  void RegisterHolder(cls_PC* holder) override { Log("RegisterHolder", static_cast<void const*>(holder)); }
  void Remove(int index) override {
    Log("Remove", index);
    --m_Count;
  }

 private:
  int m_Count;
};

/// The keys are kept in ascending order.
template <class K> class RecordingMapAgent : public RecordedAgent<cls_AgentMapKey2Obj<K>> {
 public:
  explicit RecordingMapAgent(Recorder& recorder)
      : RecordedAgent<cls_AgentMapKey2Obj<K>>(recorder, "mapAgent"), m_Keys(recorder.Keys<K>()) {
    std::sort(m_Keys.begin(), m_Keys.end());
  }
  int Count() override {
    this->Log("Count");
    return this->Answer(static_cast<int>(m_Keys.size()));
  }
  int SizeHint() override {
    this->Log("SizeHint");
    return this->Answer(1);
  }
  bool Remove(K const& key) override {
    this->Log("Remove", key);
    return this->Answer(std::erase(m_Keys, key) != 0);
  }
  cls_MementoRead* MakeReadObj(K const& key) override;
  cls_MementoWrite* MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) override;
  cls_MementoWrite* MakeWriteObjWithPtr(K const& key, unsigned int classId, cls_Uid const& uid,
                                        void const* object) override;
  void RegisterHolder(cls_PC* holder) override {
    this->Log("RegisterHolder", static_cast<void const*>(holder));
  }
  bool Contains(K const& key) override {
    this->Log("Contains", key);
    return this->Answer(std::binary_search(m_Keys.begin(), m_Keys.end(), key));
  }
  bool FirstKey(K& key) override { return Walk("FirstKey", key, 0); }
  bool NextKey(K& key) override {
    return Walk("NextKey", key, std::upper_bound(m_Keys.begin(), m_Keys.end(), key) - m_Keys.begin());
  }
  bool LastKey(K& key) override {
    return Walk("LastKey", key, static_cast<std::ptrdiff_t>(m_Keys.size()) - 1);
  }
  bool PreviousKey(K& key) override {
    return Walk("PreviousKey", key, std::lower_bound(m_Keys.begin(), m_Keys.end(), key) - m_Keys.begin() - 1);
  }
  void Clear() override {
    this->Log("Clear");
    m_Keys.clear();
  }

 private:
  bool Walk(char const* operation, K& key, std::ptrdiff_t index) {
    this->Log(operation, key);
    bool const found = index >= 0 && index < static_cast<std::ptrdiff_t>(m_Keys.size());
    if (found) key = m_Keys[static_cast<std::size_t>(index)];
    return this->Answer(found);
  }

  std::vector<K> m_Keys;
};

class RecordingBlobAgent : public RecordedAgent<cls_AgentBlob> {
 public:
  explicit RecordingBlobAgent(Recorder& recorder) : RecordedAgent(recorder, "blobAgent") {}
  long long Size() override {
    Log("Size");
    return Answer(static_cast<long long>(m_Bytes.size()));
  }
  long long Read(long long offset, long long sizeBytes, void* destination) override {
    Log("Read", offset, sizeBytes);
    long long const read = std::clamp(static_cast<long long>(m_Bytes.size()) - offset, 0LL, sizeBytes);
    std::copy_n(m_Bytes.begin() + offset, read, static_cast<char*>(destination));
    return Answer(read);
  }
  void Write(long long offset, long long sizeBytes, void const* source) override {
    Log("Write", offset, sizeBytes);
    auto const end = static_cast<std::size_t>(offset + sizeBytes);
    if (m_Bytes.size() < end) m_Bytes.resize(end);
    std::copy_n(static_cast<char const*>(source), sizeBytes, m_Bytes.begin() + offset);
  }
  void Truncate(long long sizeBytes) override {
    Log("Truncate", sizeBytes);
    m_Bytes.resize(static_cast<std::size_t>(sizeBytes));
  }
  bool NeedsDeletion() const override { return AnswerNeedsDeletion(); }

 private:
  std::vector<char> m_Bytes;
};
