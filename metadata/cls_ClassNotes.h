#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/kvl_Export.h"

/// What a program says about a class version beside its metadata: units and defaults of attributes, names of
/// enumerators, and free notes. A store writes them with the description of the class, so that a reader without
/// the program knows them. Whether an array is compressed, and which attributes are indexed, can be said here too; that
/// is not written with the description.
///
///     registrar.NotesOf(Bolt::TypeId(), 1)
///         .Note("source", "catalogue of 2026")
///         .Unit("m_Length", "mm")
///         .Enumerator("m_Head", "hexagonal", 0);
///
/// Texts are UTF-8 by convention. What is said later about the same thing replaces what was said before. Thread
/// rule: as cls_ClassRegistrar, which owns it.
class KVL_EXPORT cls_ClassNotes {
 public:
  using Texts = std::map<std::string, std::string, std::less<>>;        ///< by name
  using Enumerators = std::map<std::string, std::int64_t, std::less<>>; ///< by name; two may have one value

  /// What is said about one attribute.
  struct Attribute {
    std::string m_Unit;                   ///< empty: nothing is said
    std::optional<std::string> m_Default; ///< the value of an attribute that is not stored, as a text
    Enumerators m_Enumerators;
    Texts m_Notes;
    std::optional<bool> m_Compress; ///< empty: as the options of the store say
    bool m_MayBeAbsent = false;     ///< an object may have no value of it
    bool m_IsIndexed = false;       ///< objects are found by its value
  };
  using Attributes = std::map<std::string, Attribute, std::less<>>; ///< by the attribute's name

  /// A note on the class.
  cls_ClassNotes& Note(std::string_view name, std::string_view text);
  // On an attribute of the class itself, not of a base class, by its name.
  cls_ClassNotes& Note(std::string_view attribute, std::string_view name, std::string_view text);
  cls_ClassNotes& Unit(std::string_view attribute, std::string_view unit);
  cls_ClassNotes& Default(std::string_view attribute, std::string_view text);
  cls_ClassNotes& Enumerator(std::string_view attribute, std::string_view name, std::int64_t value);

  /// Whether the list, array or blob in the attribute is compressed when it is written, whatever the options of the
  /// store say. Counts for what this program writes from now on; what is stored keeps its form. Maps of objects are
  /// not compressed. A store refuses it (Misuse) for an attribute that holds none of these.
  cls_ClassNotes& Compress(std::string_view attribute, bool compresses = true);

  /// An object may have no value of the attribute, although the class declares it. Strict stores accept that then.
  /// Not written, either.
  cls_ClassNotes& MayBeAbsent(std::string_view attribute);

  /// Stores keep an index of the attribute, by which objects of the class, and of those derived from it, are found. For
  /// an attribute of a single number, bool, enumeration or string, in the notes on the newest version; a store refuses
  /// it for others (Misuse). docs/indexes.md says when an index is made and what it costs.
  cls_ClassNotes& Index(std::string_view attribute);

  [[nodiscard]] Texts const& Notes() const noexcept { return m_Notes; }
  [[nodiscard]] Attributes const& OfAttributes() const noexcept { return m_Attributes; }
  /// Null if nothing is said about the attribute.
  [[nodiscard]] Attribute const* Find(std::string_view attribute) const noexcept;

 private:
  Attribute& Of(std::string_view attribute) { return m_Attributes[std::string(attribute)]; }

  Texts m_Notes;
  Attributes m_Attributes;
};
