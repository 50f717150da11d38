#pragma once

#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "store/base/sto_RecentTable.h"
#include "store/driver/sto_Driver.h"
#include "store/session/sto_ClassInUse.h"
#include "store/session/sto_Classes.h"
#include "store/session/sto_StoredClass.h"

/// What a session knows about classes and attribute names: the program's classes, and the description of
/// classes and the dictionary of names in the store, which grow as new ones are written.
/// Thread rule: the thread of the session.
class sto_Catalogue {
 public:
  /// `registrar` must outlive the catalogue; see sto_Classes. `location` is the store's, for messages.
  sto_Catalogue(cls_ClassRegistrar const& registrar, std::string location)
      : m_Location(std::move(location)), m_Classes(registrar) {}

  [[nodiscard]] sto_Classes const& Classes() const noexcept { return m_Classes; }

  /// Reads the store's classes and names, unless that was done and nothing has changed since. Damaged, naming
  /// the table, when they contradict each other.
  void Load(sto_Driver& driver);
  /// Forgets what was read from the store: it may have changed.
  void Forget() noexcept;

  /// The name of a class, from the program or the store, for messages, after the word "class": its ID when
  /// nobody knows it.
  [[nodiscard]] std::string ClassName(unsigned int classId) const;
  /// The same for where that word does not come before: "Beam", or "class 0x650001".
  [[nodiscard]] std::string DescribeClass(unsigned int classId) const;

  /// A class that is to be written, described in the store; null when the program does not declare it. Valid
  /// as long as the catalogue. Conflict when the store has another description of the same class and version.
  [[nodiscard]] sto_ClassInUse* ToWrite(sto_Driver& driver, unsigned int classId);

  /// Makes sure that the store describes a class version as another store does, whose row this is. False when
  /// it has another description.
  [[nodiscard]] bool Adopt(sto_Driver& driver, sto_ClassRow const& row);

  /// The store's description of a class version, null when it has none. Valid until Forget. After Load.
  [[nodiscard]] sto_ClassRow const* FindStored(unsigned int classId, int version) const;

  /// Whether a stored part is certainly what the store's description of its class version says, and can be
  /// read by this program: much cheaper than Problem, to be asked first. False says nothing.
  [[nodiscard]] bool IsKnown(sto_Part const& part) const noexcept {
    sto_StoredClass const* const stored =
        m_RecentStored.Find(part.m_ClassId, static_cast<unsigned int>(part.m_Version));
    return stored != nullptr && stored->Knows(part);
  }
  /// What of a stored part does not fit the store's description of its class version; empty when all does.
  /// The part is remembered then, for IsKnown, when this program can read it whatever it is a part of
  /// (`isReadable`). After Load.
  [[nodiscard]] std::string Problem(sto_Part const& part, bool isReadable);

  /// Whether a stored class version has the base class of the program's newest version, or is unknown to it.
  /// After Load.
  [[nodiscard]] bool HasNewestBase(sto_Part const& part);

  /// Whether some version of a class declares an attribute, in the program or in the store. After Load.
  [[nodiscard]] bool IsDeclared(unsigned int classId, cls_FieldHandle const& field) const;

  /// The number of an attribute name, added to the dictionary when it is new.
  [[nodiscard]] std::int64_t AddName(sto_Driver& driver, std::string_view name);

  /// The number of an attribute name, 0 when the store has never seen it (no object has such a field).
  [[nodiscard]] std::int64_t FindName(sto_Driver& driver, std::string_view name);

  /// A name of the dictionary; empty for a number that it does not have.
  [[nodiscard]] std::string_view NameOf(std::int64_t id) const noexcept;

  /// Whether a stored key is certainly that of a field: much cheaper than looking the field's key up. False
  /// also when nothing was read from the store yet.
  [[nodiscard]] bool IsKey(sto_FieldKey const& key, cls_FieldHandle const& field) const noexcept {
    if (key.m_NameId == 0) return field.Name().IsEmpty() && key.m_FieldId == field.FieldId();
    auto const index = static_cast<std::size_t>(key.m_NameId);
    if (index >= m_Names.size()) return false;
    cow_String& known = m_Names[index];
    if (!known.HasText()) return false;
    if (known.SharesBufferWith(field.Name())) return true;
    if (known != field.Name()) return false;
    known = field.Name(); // the same text at the same place is seen at once
    return true;
  }

 private:
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
      return std::hash<std::string_view>()(text);
    }
  };

  /// Empty when nobody knows it.
  [[nodiscard]] std::string KnownClassName(unsigned int classId) const;
  /// Makes sure that the store describes a class.
  void Record(sto_Driver& driver, cls_ClassMetadata const& metadata);

  /// Conflict unless two descriptions of one class version are the same.
  void CheckSame(sto_ClassRow const& stored, sto_ClassRow const& declared) const;

  void ReadClasses(sto_Driver& driver);
  void ReadNames(sto_Driver& driver);
  /// Notes a name of the dictionary; false when the text or the number is there already, or the text is
  /// empty.
  [[nodiscard]] bool TakeName(std::string_view name, std::int64_t id);
  [[noreturn]] void RaiseDamaged(std::string const& problem) const;

  std::string m_Location;
  sto_Classes m_Classes;
  std::unordered_map<unsigned int, sto_ClassInUse> m_InUse;
  sto_RecentTable<sto_ClassInUse*> m_RecentInUse; // by class ID: some of m_InUse that the store describes
  bool m_IsLoaded = false;
  std::map<std::pair<unsigned int, int>, sto_StoredClass> m_StoredClasses;
  // By class ID and version: some of m_StoredClasses that this program can read.
  sto_RecentTable<sto_StoredClass const*> m_RecentStored;
  std::unordered_map<std::string, std::int64_t, TextHash, std::equal_to<>> m_NameIds;
  mutable std::vector<cow_String> m_Names;                       // those with a small number, by that number
  std::unordered_map<std::int64_t, std::string_view> m_FarNames; // the others, which are keys of m_NameIds
  std::int64_t m_NextNameId = 1;
};
