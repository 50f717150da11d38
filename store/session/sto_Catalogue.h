#pragma once

#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "store/base/sto_AnswerTable.h"
#include "store/base/sto_ClassDescription.h"
#include "store/driver/sto_Driver.h"
#include "store/format/sto_ShapeTable.h"
#include "store/session/sto_ClassInUse.h"
#include "store/session/sto_Classes.h"
#include "store/session/sto_DeletedObjects.h"
#include "store/session/sto_StoredClass.h"
#include "store/session/sto_StoredNotes.h"

/// What a session knows about classes and attribute names: the program's classes, the store's descriptions of
/// classes, and the store's dictionary of names. The last two grow when new classes or names are written.
/// Internal to the module. Thread rule: the thread of the session.
///
/// "REQUIRES: Load" below means that Load has succeeded in the open transaction.
class sto_Catalogue {
 public:
  /// `registrar` must outlive the catalogue; see sto_Classes. `location` is the store's, for messages.
  sto_Catalogue(cls_ClassRegistrar const& registrar, std::string location)
      : m_Location(std::move(location)), m_Classes(registrar) {}

  [[nodiscard]] sto_Classes const& Classes() const noexcept { return m_Classes; }

  /// Reads the store's classes and names, unless they are still known. Damaged, naming the table, if they
  /// contradict each other; then nothing is known.
  void Load(sto_Driver& driver) {
    if (!m_IsLoaded) ReadAll(driver);
  }
  /// Forgets what was read from the store, because it may have changed.
  void Forget() noexcept;
  /// Changes whenever the numbers of names and shapes may have changed their meaning.
  [[nodiscard]] std::int64_t Generation() const noexcept { return m_Generation; }
  /// Work of the transaction is undone: forgets what was read, if the transaction has written to the
  /// catalogue.
  void ForgetWritten() noexcept {
    if (m_HasWritten) Forget();
  }
  /// The transaction is over: nothing of it can be undone any more.
  void EndTransaction() noexcept { m_HasWritten = false; }

  /// The name of a class, from the program or the store, for a message that has the word "class" before it;
  /// its ID if neither knows it.
  [[nodiscard]] std::string ClassName(unsigned int classId) const;
  /// The same for a message without that word: "Beam", or "class 0x650001".
  [[nodiscard]] std::string DescribeClass(unsigned int classId) const;

  /// A class for writing; describes it in the store first if needed. Null if the program does not declare it.
  /// Valid as long as the catalogue. Conflict if the store describes the class version differently.
  [[nodiscard]] sto_ClassInUse* ToWrite(sto_Driver& driver, unsigned int classId);

  /// What ToWrite returned last, null if that is not known any more.
  [[nodiscard]] sto_ClassInUse* LatestToWrite() const noexcept { return m_LatestToWrite; }

  /// Copies another store's description of a class version, with its enumerators and notes, unless there are
  /// such. False if the store describes the class version differently. `other`, `otherDriver`: of that store.
  [[nodiscard]] bool Adopt(sto_Driver& driver, sto_ClassRow const& row, sto_Catalogue& other,
                           sto_Driver& otherDriver);

  /// The descriptions of a class's versions, ascending by version; none for a class that the store does not
  /// know. Damaged.
  [[nodiscard]] std::vector<sto_ClassDescription> Describe(sto_Driver& driver, unsigned int classId);

  /// Those of all classes, ascending by class ID and version. Damaged.
  [[nodiscard]] std::vector<sto_ClassDescription> DescribeAll(sto_Driver& driver);

  /// The store's description of a class version, null if it has none. Valid until Forget. REQUIRES: Load.
  [[nodiscard]] sto_ClassRow const* FindStored(unsigned int classId, int version) const;

  /// Whether the store may have what remains of deleted objects. REQUIRES: Load.
  [[nodiscard]] bool HasDeletedObjects() const noexcept { return m_HasDeletedObjects; }

  /// Whether a stored part is known to fit the store's description of its class version, and this program can
  /// read it. Much cheaper than Problem: ask this first. False proves nothing.
  [[nodiscard]] bool IsKnown(sto_Part const& part) const noexcept {
    sto_StoredClass const* const* const stored =
        m_Readable.Find(part.m_ClassId, static_cast<unsigned int>(part.m_Version));
    return stored != nullptr && (*stored)->Knows(part);
  }
  /// What does not fit between a stored part and the store's description of its class version; empty if all
  /// fits. Then IsKnown remembers the part, provided `isReadable`: this program can read it in any object.
  /// REQUIRES: Load.
  [[nodiscard]] std::string Problem(sto_Part const& part, bool isReadable);

  /// Whether a stored class version has the same base class as the program's newest version, or one that this
  /// says it can read. True also if either of them is unknown. REQUIRES: Load.
  [[nodiscard]] bool HasNewestBase(sto_Part const& part);

  /// Whether some version of a class declares an attribute, in the program or in the store. REQUIRES: Load.
  [[nodiscard]] bool IsDeclared(unsigned int classId, cls_FieldHandle const& field) const;

  /// The shape with a number, null if the store has none. Valid until Forget. REQUIRES: Load.
  [[nodiscard]] sto_NumberedShape* FindShape(std::int64_t number) noexcept { return m_Shapes.Find(number); }

  /// The same, for whoever may outlive the catalogue's knowledge of it. REQUIRES: the store has the shape.
  [[nodiscard]] std::shared_ptr<sto_NumberedShape> const& ShareShape(std::int64_t number) const {
    return m_Shapes.Share(number);
  }

  /// The shape of an object that is being built; adds it to the store if it is new. Null if the record must
  /// begin with its shape. Valid until Forget. `inUse`: the object's class, or null.
  [[nodiscard]] sto_NumberedShape const* ShapeToWrite(sto_Driver& driver, sto_RecordBuilder& builder,
                                                      sto_ClassInUse* inUse);

  /// The number of an attribute name. Adds the name to the dictionary if it is new.
  [[nodiscard]] std::int64_t AddName(sto_Driver& driver, std::string_view name);

  /// The number of an attribute name; 0 if the store has never seen it, so no object has such a field.
  [[nodiscard]] std::int64_t FindName(sto_Driver& driver, std::string_view name);

  /// The name with a number; empty if the dictionary does not have it. Valid until Forget.
  [[nodiscard]] std::string_view NameOf(std::int64_t id) const noexcept;

  /// The name of a field of a class version; empty if it is not known. Valid until Forget. REQUIRES: Load.
  [[nodiscard]] std::string_view FieldName(unsigned int classId, int version, sto_FieldKey const& key) const;
  /// The base class of a class, as the program says, otherwise as the newest version in the store; 0 if there is none.
  /// REQUIRES: Load.
  [[nodiscard]] unsigned int BaseOf(unsigned int classId) const;

  /// Whether a stored key is that of a field with a name, and was recognised as such before. False proves
  /// nothing.
  [[nodiscard]] bool IsKnownKey(sto_FieldKey const& key, cls_FieldHandle const& field) const noexcept {
    auto const index = static_cast<std::size_t>(key.m_NameId);
    return index < m_Names.size() && m_Names[index].SharesBufferWith(field.Name()) && field.Name().HasText();
  }
  /// Whether a stored key is known to be that of a field. Much cheaper than looking up the field's key. May
  /// be false for a matching key if nothing was read from the store yet.
  [[nodiscard]] bool IsKey(sto_FieldKey const& key, cls_FieldHandle const& field) const noexcept {
    if (key.m_NameId == 0) return field.Name().IsEmpty() && key.m_FieldId == field.FieldId();
    auto const index = static_cast<std::size_t>(key.m_NameId);
    if (index >= m_Names.size()) return false;
    cow_String& known = m_Names[index];
    if (!known.HasText()) return false;
    if (known.SharesBufferWith(field.Name())) return true;
    if (known != field.Name()) return false;
    known = field.Name(); // next time the shared buffer is recognised at once
    return true;
  }

 private:
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
      return std::hash<std::string_view>()(text);
    }
  };

  /// Empty if neither the program nor the store knows the class.
  [[nodiscard]] std::string KnownClassName(unsigned int classId) const;
  /// Makes sure that the store describes a class.
  void Record(sto_Driver& driver, cls_ClassMetadata const& metadata);
  void WriteClass(sto_Driver& driver, sto_ClassRow const& row);
  void NoteClass(sto_ClassRow const& row) noexcept {
    m_HasDeletedObjects = m_HasDeletedObjects || row.m_ClassId == sto_DeletedClassId;
  }

  // Of units, defaults, enumerators and notes; see sto_CatalogueNotes.cpp.
  /// Misuse if the program says something about an attribute that the class does not declare.
  void CheckNotes(cls_ClassNotes const& notes, sto_ClassRow const& declared) const;
  /// Writes units and defaults that the store does not have. Conflict if it has others.
  void RecordUnits(sto_Driver& driver, sto_StoredClass& stored, sto_ClassRow const& declared);
  /// Writes enumerators and notes that the store does not have. Conflict if it has an enumerator with another
  /// value.
  void RecordNotes(sto_Driver& driver, cls_ClassNotes const& notes, sto_ClassRow const& declared);
  /// Copies another store's enumerators and notes on a class or attribute; false if an enumerator has another
  /// value.
  [[nodiscard]] bool AdoptNotes(sto_Driver& driver, sto_OnAttribute const& on, sto_StoredNotes const& from);
  [[nodiscard]] sto_StoredNotes& LoadNotes(sto_Driver& driver);
  /// The same; Damaged if one of them belongs to nothing.
  [[nodiscard]] sto_StoredNotes const& LoadCheckedNotes(sto_Driver& driver);
  /// Damaged if a row of a table belongs to no class version or attribute.
  void CheckOn(sto_OnAttribute const& on, char const* table) const;

  /// Conflict if two descriptions of one class version differ.
  void CheckSame(sto_ClassRow const& stored, sto_ClassRow const& declared) const;

  void ReadAll(sto_Driver& driver);
  void ReadClasses(sto_Driver& driver);
  /// Refuses classes whose changes since the store's versions are not all said (cls_ClassChanges): Misuse;
  /// Conflict for a class that differs from the store's description of the same version.
  void CheckChanges() const;
  /// The same for one stored class version.
  void CheckChangesOf(sto_ClassRow const& stored) const;
  /// Misuse unless `problem` is empty.
  void RaiseProblem(std::string const& problem) const;
  void ReadNames(sto_Driver& driver);
  void ReadShapes(sto_Driver& driver);
  /// Notes a name of the dictionary; false if the text is empty, or the text or the number already exists.
  [[nodiscard]] bool TakeName(std::string_view name, std::int64_t id);
  [[noreturn]] void RaiseDamaged(std::string const& problem) const;

  std::string m_Location;
  sto_Classes m_Classes;
  std::unordered_map<unsigned int, sto_ClassInUse> m_InUse; // ToWrite adds; Forget resets, removes none
  sto_AnswerTable<sto_ClassInUse*> m_Recorded; // by class ID: those of m_InUse that the store describes

  sto_ClassInUse* m_LatestToWrite = nullptr; // set by ToWrite, cleared by Forget

  // From the store: set by Load, extended by Record, Adopt and AddName, cleared by Forget.
  bool m_IsLoaded = false;
  std::int64_t m_Generation = 1;    // counted up by Forget
  bool m_HasWritten = false;        // in the open transaction; Forget leaves it
  bool m_HasDeletedObjects = false; // the store describes their class
  std::map<std::pair<unsigned int, int>, sto_StoredClass> m_StoredClasses;
  // By class ID and version: those of m_StoredClasses that were met and that this program can read.
  sto_AnswerTable<sto_StoredClass const*> m_Readable;
  std::unordered_map<std::string, std::int64_t, TextHash, std::equal_to<>> m_NameIds;
  mutable std::vector<cow_String> m_Names;                       // names with small numbers, by number
  std::unordered_map<std::int64_t, std::string_view> m_FarNames; // the others; the texts are in m_NameIds
  std::int64_t m_NextNameId = 1;
  sto_ShapeTable m_Shapes;
  sto_StoredNotes m_Notes; // read when they are needed first
};
