#include "tests/support/backend/RecordingBackEnd.h"

#include <algorithm>
#include <charconv>

#include <gtest/gtest.h>

Recorder::~Recorder() {
  while (!m_Live.empty()) {
    RecordedObject* const object = m_Live.back();
    EXPECT_TRUE(IsKept(object->ObjectName())) << object->ObjectName() << " was never deleted";
    delete object; // removes it from m_Live
  }
}

RecordingMementoWrite* Recorder::NewWriter() {
  return new RecordingMementoWrite(*this);
}
RecordingMementoRead* Recorder::NewReader() {
  return new RecordingMementoRead(*this);
}

std::vector<std::string> Recorder::Live() const {
  std::vector<std::string> names;
  for (RecordedObject const* object : m_Live) names.push_back(object->ObjectName());
  return names;
}

void Recorder::LogCall(std::string const& object, char const* operation, std::string const& arguments) {
  m_Lines.push_back(object + "." + operation + "(" + arguments + ")");
  if (m_FailCountdown > 0 && m_FailOperation == operation && --m_FailCountdown == 0)
    throw BackEndFailure(operation);
}

std::string Recorder::NameOf(void const* object) const {
  if (object == nullptr) return "null";
  auto const found = m_Names.find(object);
  return found == m_Names.end() ? "?" : found->second;
}

std::string Recorder::Enter(RecordedObject* object, std::string const& kind) {
  m_Live.push_back(object);
  ++m_Made;
  return kind + std::to_string(++m_Numbers[kind]);
}

void Recorder::Leave(RecordedObject* object) {
  m_Lines.push_back("~" + object->ObjectName());
  EXPECT_EQ(std::erase(m_Live, object), 1U) << object->ObjectName() << " was deleted twice";
}

RecordingMementoWrite* RecordedObject::AnswerWriter() const {
  return AnswerMade(m_Recorder.DeclinesObjects() ? nullptr : m_Recorder.NewWriter());
}
RecordingMementoRead* RecordedObject::AnswerReader() const {
  return AnswerMade(m_Recorder.NewReader());
}

std::string ShownText(cow_String const& text) {
  return text.HasText() ? "\"" + std::string(text.View()) + "\"" : "no text";
}

std::string ShownNumber(double value) {
  char digits[32];
  return std::string(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

std::string ShownUnsigned(unsigned int value) {
  char digits[16];
  int const base = value < 0x10000 ? 10 : 16;
  std::string const number(digits, std::to_chars(digits, digits + sizeof digits, value, base).ptr);
  return base == 10 ? number : "0x" + number;
}

cls_MementoWrite* RecordingListObjWriter::MakeWriteObj(unsigned int classId, cls_Uid const& uid) {
  Log("MakeWriteObj", classId, uid);
  ++m_Count;
  return AnswerWriter();
}
cls_MementoWrite* RecordingListObjWriter::MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                                              void const* object) {
  Log("MakeWriteObjWithPtr", classId, uid, object);
  ++m_Count;
  return AnswerWriter();
}

cls_MementoRead* RecordingListObjReader::Next() {
  Log("Next");
  if (m_Next == m_Size) throw BackEndFailure("read beyond the end");
  ++m_Next;
  return AnswerReader();
}
cls_MementoRead* RecordingListObjReader::At(int index) {
  Log("At", index);
  if (index < 0 || index >= m_Size) throw BackEndFailure("no such element");
  return AnswerReader();
}

cls_MementoRead* RecordingListObjAgent::MakeReadObj(int index) {
  Log("MakeReadObj", index);
  return AnswerReader();
}
cls_MementoWrite* RecordingListObjAgent::MakeWriteObj(int index, unsigned int classId, cls_Uid const& uid) {
  Log("MakeWriteObj", index, classId, uid);
  return AnswerWriter();
}
cls_MementoWrite* RecordingListObjAgent::MakeWriteObjWithPtr(int index, unsigned int classId,
                                                             cls_Uid const& uid, void const* object) {
  Log("MakeWriteObjWithPtr", index, classId, uid, object);
  return AnswerWriter();
}
