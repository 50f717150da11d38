#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/check/sto_CheckCatalogue.h"
#include "store/check/sto_CheckObjects.h"
#include "store/check/sto_CheckResults.h"
#include "store/graph/sto_IdSet.h"

/// A link from an object to another one.
struct sto_CheckLink {
  std::int64_t m_Holder = 0;
  unsigned int m_HolderClass = 0;        ///< 0: not known
  sto_FieldKey const* m_Field = nullptr; ///< null: the other one is an element of a list or map
  std::int64_t m_Target = 0;
};

/// Looks whether what roots and objects lead to is there, and of the right kind. Memory: a bit for each base-class
/// part, and some bytes for each reference to an object that is not there. Thread rule: one thread.
class sto_CheckLinks {
 public:
  /// REQUIRES: the arguments live as long as this object.
  sto_CheckLinks(sto_CheckResults& results, sto_CheckObjects const& objects,
                 sto_CheckCatalogue const& catalogue) noexcept
      : m_Results(results), m_Objects(objects), m_Catalogue(catalogue) {}

  /// The id that is given out next: no object has it, or a greater one.
  void SetNextId(std::int64_t id) noexcept { m_NextId = id; }
  [[nodiscard]] std::int64_t NextId() const noexcept { return m_NextId; }

  /// A root: its object must be there. `classId`: of the object when it got the name; 0 if that is not known.
  void Root(std::string const& name, std::int64_t id, unsigned int classId);
  /// An object that another one holds: it must be there. Notes one that was deleted, as Refer does.
  void Hold(sto_CheckLink const& link);
  /// An object to which another one refers: it may be missing, unless the store never had it.
  void Refer(sto_CheckLink const& link);
  /// An object in a field for a collection: what it has must fit the attribute.
  void HoldCollection(sto_CheckLink const& link, sto_AttributeRow const& declared);
  /// A base-class part: others may refer to it, though it has no row of its own.
  void AddPart(std::int64_t id) { m_Parts.Add(id); }
  /// Notes the references that lead nowhere. Call it after all parts.
  void End();

  /// The name of an object's class, empty if it is not known.
  [[nodiscard]] std::string ClassOf(std::int64_t id) const;

 private:
  struct Reference {
    std::int64_t m_Holder;
    unsigned int m_HolderClass;
    sto_FieldKey m_Field;
    std::int64_t m_Target;
  };

  void NoteDeleted(sto_CheckLink const& link);
  [[nodiscard]] unsigned int ClassIdOf(std::int64_t id) const;
  [[nodiscard]] sto_CheckFinding Finding(sto_CheckKind kind, sto_CheckLink const& link,
                                         std::string const& end) const;

  sto_CheckResults& m_Results;
  sto_CheckObjects const& m_Objects;
  sto_CheckCatalogue const& m_Catalogue;
  std::int64_t m_NextId = sto_Format::MaxObjectId;
  sto_IdSet m_Parts;
  std::vector<Reference> m_Dangling;
};
