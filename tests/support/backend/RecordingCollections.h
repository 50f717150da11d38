#pragma once

#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "tests/support/backend/Recorder.h"

// The collection builders and cursors of the recording back end. Builders only log; cursors walk the entries
// stored in the recorder and throw BackEndFailure when read beyond the end.

/// Part of the recording classes whose interface has NeedsDeletion.
template <class Interface> class RecordedCollection : public Interface, public RecordedObject {
 public:
  using RecordedObject::RecordedObject;
  bool NeedsDeletion() const override { return AnswerNeedsDeletion(); }
};

template <class T> class RecordingListWriter : public RecordedCollection<cls_WriteListPrim<T>> {
 public:
  explicit RecordingListWriter(Recorder& recorder)
      : RecordedCollection<cls_WriteListPrim<T>>(recorder, "listWriter") {}
  void AppendRun(int count, T const* elements) override {
    std::string shown;
    for (int i = 0; i < count; ++i) shown += (i == 0 ? "" : ", ") + ShownScalar(elements[i]);
    this->m_Recorder.LogCall(this->ObjectName(), "AppendRun", shown);
  }
  void Append(T const& element) override { this->Log("Append", element); }
};

template <class K, class T, class Interface> class RecordingMapWriter : public RecordedCollection<Interface> {
 public:
  explicit RecordingMapWriter(Recorder& recorder) : RecordedCollection<Interface>(recorder, "mapWriter") {}
  void Insert(K const& key, T const& value) override { this->Log("Insert", key, value); }
};

class RecordingListObjWriter : public RecordedCollection<cls_WriteListObj> {
 public:
  explicit RecordingListObjWriter(Recorder& recorder) : RecordedCollection(recorder, "listObjWriter") {}
  cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) override;
  cls_MementoWrite* MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                        void const* object) override;
  int Count() const override {
    Log("Count");
    return Answer(m_Count);
  }

 private:
  int m_Count = 0;
};

template <class K, class Interface> class RecordingMapObjWriter : public RecordedCollection<Interface> {
 public:
  explicit RecordingMapObjWriter(Recorder& recorder)
      : RecordedCollection<Interface>(recorder, "mapObjWriter") {}
  cls_MementoWrite* MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) override;
  cls_MementoWrite* MakeWriteObjWithPtr(K const& key, unsigned int classId, cls_Uid const& uid,
                                        void const* object) override;
  int Count() const override {
    this->Log("Count");
    return this->Answer(m_Count);
  }

 private:
  int m_Count = 0;
};

class RecordingIntTableWriter : public cls_WriteIntTableInt, public RecordedObject {
 public:
  explicit RecordingIntTableWriter(Recorder& recorder) : RecordedObject(recorder, "intTableWriter") {}
  void Insert(int key, int value) override { Log("Insert", key, value); }
};

/// A position in stored entries.
template <class Entry> class RecordedWalk {
 public:
  explicit RecordedWalk(std::vector<Entry> entries) : m_Entries(std::move(entries)) {}
  [[nodiscard]] int Size() const { return static_cast<int>(m_Entries.size()); }
  [[nodiscard]] bool AtEnd() const { return m_Next == m_Entries.size(); }
  [[nodiscard]] int Position() const { return static_cast<int>(m_Next); }
  Entry Next() {
    if (AtEnd()) throw BackEndFailure("read beyond the end");
    return m_Entries[m_Next++];
  }
  [[nodiscard]] Entry Last() const {
    if (m_Next == 0) throw BackEndFailure("no entry read yet");
    return m_Entries[m_Next - 1];
  }
  bool Find(Entry const& entry) {
    for (std::size_t i = 0; i < m_Entries.size(); ++i)
      if (m_Entries[i] == entry) {
        m_Next = i + 1;
        return true;
      }
    return false;
  }

 private:
  std::vector<Entry> m_Entries;
  std::size_t m_Next = 0;
};

template <class T> class RecordingListReader : public RecordedCollection<cls_ReadListPrim<T>> {
 public:
  explicit RecordingListReader(Recorder& recorder)
      : RecordedCollection<cls_ReadListPrim<T>>(recorder, "listReader"), m_Walk(recorder.List<T>()) {}
  int Count() override {
    this->Log("Count");
    return this->Answer(this->m_Recorder.Count());
  }
  int RowWidth() override {
    this->Log("RowWidth");
    return this->Answer(this->m_Recorder.RowWidth());
  }
  int More() override {
    this->Log("More");
    return this->Answer(m_Walk.AtEnd() ? 0 : 1);
  }
  int NextRun(int count, T* destination) override {
    this->Log("NextRun", count);
    int read = 0;
    while (read < count && !m_Walk.AtEnd()) destination[read++] = m_Walk.Next();
    return this->Answer(read);
  }
  T Next() override {
    this->Log("Next");
    return this->Answer(m_Walk.Next());
  }

 private:
  RecordedWalk<T> m_Walk;
};

template <class K, class T, class Interface> class RecordingMapReader : public RecordedCollection<Interface> {
 public:
  explicit RecordingMapReader(Recorder& recorder)
      : RecordedCollection<Interface>(recorder, "mapReader"), m_Walk(recorder.Map<K, T>()) {}
  int Count() override {
    this->Log("Count");
    return this->Answer(m_Walk.Size());
  }
  int More() override {
    this->Log("More");
    return this->Answer(m_Walk.AtEnd() ? 0 : 1);
  }
  T Next() override {
    this->Log("Next");
    return this->Answer(m_Walk.Next().second);
  }
  void Key(K& key) override {
    this->Log("Key");
    key = this->Answer(m_Walk.Last().first);
  }

 private:
  RecordedWalk<std::pair<K, T>> m_Walk;
};

class RecordingListObjReader : public RecordedCollection<cls_ReadListObj> {
 public:
  explicit RecordingListObjReader(Recorder& recorder)
      : RecordedCollection(recorder, "listObjReader"), m_Size(recorder.ObjectCount()) {}
  int Count() override {
    Log("Count");
    return Answer(m_Size);
  }
  int Position() override {
    Log("Position");
    return Answer(m_Next);
  }
  int More() override {
    Log("More");
    return Answer(m_Next < m_Size ? 1 : 0);
  }
  void Skip(int count) override {
    Log("Skip", count);
    m_Next = std::min(m_Size, m_Next + count);
  }
  cls_MementoRead* Next() override;
  cls_MementoRead* At(int index) override;

 private:
  int m_Size;
  int m_Next = 0;
};

template <class K, class Interface> class RecordingMapObjReader : public RecordedCollection<Interface> {
 public:
  explicit RecordingMapObjReader(Recorder& recorder)
      : RecordedCollection<Interface>(recorder, "mapObjReader"), m_Walk(recorder.Keys<K>()) {}
  int More() override {
    this->Log("More");
    return this->Answer(m_Walk.AtEnd() ? 0 : 1);
  }
  void Next() override {
    this->Log("Next");
    m_Walk.Next();
  }
  int Count() override {
    this->Log("Count");
    return this->Answer(m_Walk.Size());
  }
  cls_MementoRead* Fetch(K& key) override;

 protected:
  RecordedWalk<K> m_Walk;
};

class RecordingMapInt2ObjReader : public RecordingMapObjReader<int, cls_ReadMapInt2Obj> {
 public:
  using RecordingMapObjReader::RecordingMapObjReader;
  bool Find(int const& key) override {
    Log("Find", key);
    return Answer(m_Walk.Find(key));
  }
};

class RecordingIntTableReader : public cls_ReadIntTableInt, public RecordedObject {
 public:
  explicit RecordingIntTableReader(Recorder& recorder)
      : RecordedObject(recorder, "intTableReader"), m_Walk(recorder.Map<int, int>()) {}
  int Count() override {
    Log("Count");
    return Answer(m_Walk.Size());
  }
  int More() override {
    Log("More");
    return Answer(m_Walk.AtEnd() ? 0 : 1);
  }
  int Next() override {
    Log("Next");
    return Answer(m_Walk.Next().second);
  }
  void Key(int& key) override {
    Log("Key");
    key = Answer(m_Walk.Last().first);
  }

 private:
  RecordedWalk<std::pair<int, int>> m_Walk;
};
