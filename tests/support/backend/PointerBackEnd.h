#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "persist/identity/cls_IdentityMap.h"
#include "persist/pointers/cls_Pointers.h"
#include "persist/pointers/cls_RegistrarSource.h"
#include "tests/support/backend/PassingMemento.h"
#include "tests/support/backend/RecordingBackEnd.h"

/// What PointerBackEnd raises.
struct NotBuilt : std::runtime_error {
  explicit NotBuilt(cls_BuildFailure const& failure)
      : runtime_error("graph: " + failure.m_Text), m_Failure(failure) {}
  cls_BuildFailure m_Failure;
};

/// A reading back end over objects that a test writes down: each has a number, a class, an int and names of
/// fields with the numbers of the objects that they hold. It says what is behind pointers.
class PointerBackEnd final : public cls_RegistrarSource, public cls_IdentityOwner {
 public:
  struct Object {
    unsigned int m_ClassId;
    int m_Version = 1;
    int m_Value = 0;
    std::map<std::string, std::int64_t> m_Held; ///< 0 for an object that is not stored
  };
  /// How a load puts other mementos before those of the back end.
  using Wrap = std::function<cls_MementoRead*(cls_MementoRead*)>;

  using cls_RegistrarSource::cls_RegistrarSource;

  [[nodiscard]] bool HasIdentity(std::int64_t id) noexcept override {
    return m_Identities.EntryOf(id) != nullptr;
  }
  [[noreturn]] void RaiseNotBuilt(cls_BuildFailure const& failure) const override { throw NotBuilt(failure); }

  template <class T> [[nodiscard]] std::unique_ptr<T> Load(std::int64_t id) {
    return cls_LoadOwned<T>(*this, cls_ReadVisitor(m_Wrap(NewMemento(id))));
  }
  template <class T> [[nodiscard]] std::shared_ptr<T> LoadShared(std::int64_t id) {
    return cls_LoadShared<T>(*this, cls_ReadVisitor(m_Wrap(NewMemento(id))));
  }
  template <class Read> auto Load(std::int64_t id, Read read) {
    cls_OneLoad load(Loaded());
    auto object = read(cls_ReadVisitor(m_Wrap(NewMemento(id))));
    load.Complete();
    return object;
  }
  /// The memento of an object, of an absent one for 0; the receiver deletes it.
  [[nodiscard]] cls_MementoRead* NewMemento(std::int64_t id);

  std::map<std::int64_t, Object> m_Objects;
  cls_IdentityMap m_Identities{this};
  int m_BuiltByMetadata = 0; ///< how often a memento noted that its metadata builds the object
  Wrap m_Wrap = [](cls_MementoRead* memento) { return memento; };

 private:
  friend class PointerMemento;
  Recorder m_Recorder;
  RecordingMementoRead m_Rest{m_Recorder}; // answers what has nothing to do with pointers
};

/// The memento of PointerBackEnd.
class PointerMemento : public ForwardingMementoRead, public cls_StoredObject {
 public:
  PointerMemento(PointerBackEnd& backEnd, std::int64_t id)
      : ForwardingMementoRead(backEnd.m_Rest), m_BackEnd(backEnd), m_Id(id),
        m_Object(id == 0 ? nullptr : &backEnd.m_Objects.at(id)) {}

  Place StoredAt() noexcept override { return {&m_BackEnd, m_Id}; }
  void NoteBuiltByMetadata() override { ++m_BackEnd.m_BuiltByMetadata; }

  bool NeedsDeletion() const override { return true; }
  unsigned int ClassId() const override { return m_Object == nullptr ? 1 : m_Object->m_ClassId; }
  int ClassVersion() const override { return m_Object == nullptr ? -1 : m_Object->m_Version; }
  cls_Uid const& GetUid() override {
    if (!m_Uid) m_Uid = m_Id == 0 ? cls_Uid() : m_BackEnd.m_Identities.IdentityOf(m_Id);
    return *m_Uid;
  }
  int DataIsPresent(cls_FieldHandle const& field) const override { return Held(field) == 0 ? 0 : 1; }
  cls_MementoRead* MakeFieldReadObj(cls_FieldHandle const& field) override {
    return m_BackEnd.NewMemento(Held(field));
  }
  cls_MementoRead* Clone() override { return m_BackEnd.NewMemento(m_Id); }
  using ForwardingMementoRead::Read;
  int Read(cls_FieldHandle const&, int const& defaultValue) override {
    return m_Object == nullptr ? defaultValue : m_Object->m_Value;
  }

 private:
  [[nodiscard]] std::int64_t Held(cls_FieldHandle const& field) const {
    if (m_Object == nullptr) return 0;
    auto const found = m_Object->m_Held.find(std::string(field.Name().View()));
    return found == m_Object->m_Held.end() ? 0 : found->second;
  }

  PointerBackEnd& m_BackEnd;
  std::int64_t m_Id;
  PointerBackEnd::Object const* m_Object;
  std::optional<cls_Uid> m_Uid; // not before it is asked for: see cls_ObjectSource::HasIdentity
};

inline cls_MementoRead* PointerBackEnd::NewMemento(std::int64_t id) {
  return new PointerMemento(*this, id);
}
