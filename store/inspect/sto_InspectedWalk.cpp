#include "store/inspect/sto_InspectedWalk.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "store/inspect/sto_InspectState.h"
#include "store/inspect/sto_Inspection.h"
#include "store/session/sto_ClassScan.h"

/// The walk itself. What a shape says of its class is worked out once.
class sto_InspectedWalk::Reader {
 public:
  /// `wanted`: a class; empty for all objects.
  Reader(std::shared_ptr<sto_InspectState> state, std::optional<unsigned int> wanted)
      : m_State(std::move(state)), m_Objects(m_State->Session()), m_Wanted(wanted) {}

  bool Next() {
    static_cast<void>(m_State->Session());
    while (m_Objects.Next()) {
      m_Now = &ClassOf(m_Objects.Object());
      if (m_Now->m_IsWanted) return true;
    }
    return false;
  }

  struct Class {
    unsigned int m_Id = 0;
    bool m_IsWanted = false;
    std::string m_Name;
  };
  [[nodiscard]] Class const& Now() const noexcept { return *m_Now; }
  [[nodiscard]] std::int64_t Id() const noexcept { return m_Objects.Object().m_Id; }

 private:
  [[nodiscard]] Class const& ClassOf(sto_ObjectShape const& object);
  [[nodiscard]] Class const& ClassOf(unsigned int classId, int version);
  [[nodiscard]] bool IsWanted(unsigned int classId, int version) const;

  std::shared_ptr<sto_InspectState> m_State;
  sto_ObjectWalk m_Objects;
  std::optional<unsigned int> m_Wanted;
  std::map<std::pair<unsigned int, int>, Class> m_Classes; // those that were met
  Class const* m_Now = nullptr;
  sto_Record m_Record; // scratch
};

auto sto_InspectedWalk::Reader::ClassOf(sto_ObjectShape const& object) -> Class const& {
  sto_Session& session = m_State->Session();
  if (sto_NumberedShape const* const shape = session.Catalogue().FindShape(object.m_Shape)) {
    sto_ShapePart const& own = shape->m_Shape.m_Parts.front();
    return ClassOf(own.m_ClassId, own.m_Version);
  }
  std::string problem;
  if (!session.Records().Fetch(object.m_Id, m_Record, problem)) problem = "its record is missing";
  if (!problem.empty()) m_State->RaiseDamaged(object.m_Id, problem);
  sto_Part const& own = m_Record.Parts().front();
  return ClassOf(own.m_ClassId, own.m_Version);
}

auto sto_InspectedWalk::Reader::ClassOf(unsigned int classId, int version) -> Class const& {
  auto const [place, isNew] = m_Classes.try_emplace({classId, version});
  if (isNew) place->second = {classId, IsWanted(classId, version), m_State->ClassName(classId, version)};
  return place->second;
}

bool sto_InspectedWalk::Reader::IsWanted(unsigned int classId, int version) const {
  if (!m_Wanted || classId == m_Wanted) return true;
  sto_Catalogue const& catalogue = m_State->Session().Catalogue();
  sto_ClassRow const* const row = catalogue.FindStored(classId, version);
  unsigned int base = row == nullptr ? 0 : row->m_BaseClassId;
  // A damaged store may have a circle of base classes.
  for (std::size_t depth = 0; depth < sto_Format::MaxParts; ++depth) {
    if (base == 0 || base == cls_ClassMetadata::RootClassId) return false;
    if (base == m_Wanted) return true;
    base = catalogue.BaseOf(base);
  }
  return false;
}

sto_InspectedWalk::sto_InspectedWalk(std::unique_ptr<Reader> reader) noexcept : m_Reader(std::move(reader)) {}
sto_InspectedWalk::sto_InspectedWalk(sto_InspectedWalk&&) noexcept = default;
sto_InspectedWalk& sto_InspectedWalk::operator=(sto_InspectedWalk&&) noexcept = default;
sto_InspectedWalk::~sto_InspectedWalk() = default;

bool sto_InspectedWalk::Next() {
  return m_Reader->Next();
}
std::int64_t sto_InspectedWalk::Id() const noexcept {
  return m_Reader->Id();
}
unsigned int sto_InspectedWalk::ClassId() const noexcept {
  return m_Reader->Now().m_Id;
}
std::string const& sto_InspectedWalk::ClassName() const noexcept {
  return m_Reader->Now().m_Name;
}

sto_InspectedWalk sto_Inspection::Objects() const {
  return sto_InspectedWalk(std::make_unique<sto_InspectedWalk::Reader>(m_State, std::nullopt));
}

sto_InspectedWalk sto_Inspection::ObjectsOf(unsigned int classId) const {
  return sto_InspectedWalk(std::make_unique<sto_InspectedWalk::Reader>(m_State, classId));
}
