#pragma once

#include <memory>

#include "store/sto_MementoWriteGaps.h"
#include "store/sto_ObjectWriter.h"

/// Writes one object, or one base-class part of it, into the record that its parts share. Internal to the
/// module.
class sto_MementoWrite : public sto_MementoWriteGaps {
 public:
  /// Stands on a part of `object`, which is of class `inUse`.
  sto_MementoWrite(std::shared_ptr<sto_ObjectWriter> object, std::size_t part, sto_ClassInUse& inUse)
      : m_Object(std::move(object)), m_Part(part), m_Class(inUse) {}

  /// The memento of an object of a save that `depth` objects hold, and its id in `id`; null when the object
  /// was reached in this save before. The collection classes and blobs always get one: their writers do not
  /// look.
  static std::unique_ptr<sto_MementoWrite> ForObject(sto_Session& session, unsigned int classId,
                                                     cls_Uid const& uid, int depth, std::int64_t& id);

  int FieldIsPresent(cls_FieldHandle const& field) const override;
  cls_MementoWrite* MakeFieldWriteObj(cls_FieldHandle const& field, unsigned int classId, cls_Uid const& uid,
                                      void const* object) override;
  cls_MementoWrite* MakeFieldWriteObjCow(cls_FieldHandle const& field, unsigned int classId,
                                         cls_Uid const& uid,
                                         cow_COW<int, cow_Direct<int>> const* cow) override;
  cls_MementoWrite* MakeBaseWriteObj(unsigned int classId, cls_Uid const& uid) override;

  void Write(cls_FieldHandle const& field, bool const& value) override;
  void Write(cls_FieldHandle const& field, cow_String const& value) override;
  void Write(cls_FieldHandle const& field, float const& value) override;
  void Write(cls_FieldHandle const& field, double const& value) override;
  void Write(cls_FieldHandle const& field, unsigned int const& value) override;
  void Write(cls_FieldHandle const& field, int const& value) override;
  void Write(cls_FieldHandle const& field, signed char const& value) override;
  void Write(cls_FieldHandle const& field, short const& value) override;
  void Write(cls_FieldHandle const& field, unsigned short const& value) override;
  void Write(cls_FieldHandle const& field, long long const& value) override;
  void Write(cls_FieldHandle const& field, unsigned long long const& value) override;
  void WriteEnum(cls_FieldHandle const& field, int const& value) override;
  void WriteReference(cls_FieldHandle const& field, cls_Uid const& uid) override;
  void WriteBytes(cls_FieldHandle const& field, void const* bytes, int sizeBytes) override;

  cls_WriteListPrim<bool>* MakeWriteListPrim(bool const* tag, int width) override;
  cls_WriteListPrim<cow_String>* MakeWriteListPrim(cow_String const* tag, int width) override;
  cls_WriteListPrim<float>* MakeWriteListPrim(float const* tag, int width) override;
  cls_WriteListPrim<double>* MakeWriteListPrim(double const* tag, int width) override;
  cls_WriteListPrim<unsigned int>* MakeWriteListPrim(unsigned int const* tag, int width) override;
  cls_WriteListPrim<int>* MakeWriteListPrim(int const* tag, int width) override;

  cls_AgentListPrim<bool>* MakeAgentListPrim(bool const* tag, int sizeHint) override;
  cls_AgentListPrim<double>* MakeAgentListPrim(double const* tag, int sizeHint) override;
  cls_AgentListPrim<float>* MakeAgentListPrim(float const* tag, int sizeHint) override;
  cls_AgentListPrim<int>* MakeAgentListPrim(int const* tag, int sizeHint) override;
  cls_AgentListPrim<cow_String>* MakeAgentListPrim(cow_String const* tag, int sizeHint) override;
  cls_AgentListPrim<unsigned int>* MakeAgentListPrim(unsigned int const* tag, int sizeHint) override;
  /// The blob begins empty, whatever was stored under its identity.
  cls_AgentBlob* MakeAgentBlob() override;

  /// Compares the type with the one that the attribute is declared with, and records it with the field, so
  /// that a reader without the classes knows what the collection is. Misuse on a mismatch.
  void CheckCollectionType(cls_CollectionType type, cow_String const& name) override;

 protected:
  void RaiseRefusal(char const* what) const override;

 private:
  [[nodiscard]] sto_Session& Session() const noexcept { return m_Object->Session(); }
  /// The declared attribute of a field. Misuse when the class's metadata has none.
  [[nodiscard]] sto_ClassInUse::Attribute const& Attribute(cls_FieldHandle const& field);
  /// Misuse unless an attribute that holds an object of this class is declared as one that does.
  void CheckHeldClass(sto_ClassInUse::Attribute const& attribute, unsigned int classId) const;
  [[noreturn]] void RaiseAttribute(cls_FieldHandle const& field, std::string const& problem) const;
  /// Starts a field with its tag; the value follows. Misuse when the attribute is not declared for it.
  [[nodiscard]] sto_ByteWriter StartField(cls_FieldHandle const& field, sto_Format::ValueTag tag);
  template <class T> void WriteNumber(cls_FieldHandle const& field, sto_Format::ValueTag tag, T value);
  void WriteBytesAs(cls_FieldHandle const& field, sto_Format::ValueTag tag, void const* bytes, int sizeBytes);
  template <class T> cls_WriteListPrim<T>* MakeList(int width);
  template <class T> cls_AgentListPrim<T>* MakeAgent(int sizeHint);

  std::shared_ptr<sto_ObjectWriter> m_Object;
  std::size_t m_Part;
  sto_ClassInUse& m_Class;
  bool m_HasBase = false;
};
