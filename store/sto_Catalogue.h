#pragma once

#include <map>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "metadata/cls_RegistrarHook.h"
#include "store/sto_Driver.h"

/// What a session knows about classes and attribute names: the classes that the program declares, and the
/// dictionary of the store, which grows as new ones are written.
/// Thread rule: the thread of the session.
class sto_Catalogue {
 public:
  /// Declares the program's classes, besides the library's own. Of several versions the greatest is the one
  /// that this program writes. Misuse when one (class, version) is declared with two names.
  explicit sto_Catalogue(std::span<cls_ClassDeclaration const> classes);

  /// Forgets what was read from the store: it may have changed.
  void Forget();

  /// The declared version that this program writes, null for an undeclared class.
  [[nodiscard]] cls_ClassDeclaration const* Declared(unsigned int classId) const;

  /// The name of a class, from the program or the store, for messages: its number when nobody knows it.
  [[nodiscard]] std::string ClassName(unsigned int classId) const;

  /// Makes sure that the store's catalogue has a declared class. Conflict when it knows the same class and
  /// version under another name.
  void RecordClass(sto_Driver& driver, cls_ClassDeclaration const& declaration);

  /// The number of an attribute name, added to the dictionary when it is new.
  [[nodiscard]] std::int64_t AddName(sto_Driver& driver, std::string_view name);

  /// The number of an attribute name, 0 when the store has never seen it (no object has such a field).
  [[nodiscard]] std::int64_t FindName(sto_Driver& driver, std::string_view name);

 private:
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
      return std::hash<std::string_view>()(text);
    }
  };

  void Load(sto_Driver& driver);

  std::unordered_map<unsigned int, cls_ClassDeclaration> m_Declared;
  bool m_IsLoaded = false;
  std::map<std::pair<unsigned int, int>, std::string> m_StoredClasses;
  std::unordered_map<std::string, std::int64_t, TextHash, std::equal_to<>> m_NameIds;
  std::int64_t m_NextNameId = 1;
};
