#pragma once

#include <string>
#include <vector>

#include "metadata/cls_ClassRegistrar.h"
#include "platform/kvl_Export.h"

/// Which mistakes sto_CheckClasses looks for.
enum class sto_ClassChecks {
  All,
  Refused, ///< those for which sto_Store::Open refuses a registrar
};

// clang-format off
/// The mistakes in the declarations of a registrar, all at once, a sentence each; none when there is nothing
/// to say. The sentences are ascending by class ID and version, and do not depend on the order in which
/// different classes were registered. For a test of a program's own:
///
///     EXPECT_EQ(sto_CheckClasses(registrar), std::vector<std::string>());
///
/// sto_Store::Open refuses what can only be a slip, because what is written under it is found in the store
/// for ever:
///
/// - a class version that is registered again with another name or base class. The first registration stays,
///   so the order of registrations decides;
/// - an attribute that is declared again with another number, type, type argument or collection type;
/// - an attribute that is lost, because it came with metadata of a repeated registration, which is dropped;
/// - two attributes of one class version with one number (-1 is no number). A handle without name finds one
///   of them only;
/// - one name for two classes. The registrar finds one of them only, and messages do not tell them apart;
/// - a class with the ID of one of the library's under another name;
/// - classes that derive from each other in a circle, by their newest versions. The walk to a base class
///   would not end.
///
/// It takes the following, which programs may have reason for. They are reported here:
///
/// - a base class that neither the registrar nor the library has. Its part cannot be written (Misuse), but a
///   program that only reads need not know it;
/// - another name in another version of a class. The registrar finds the class by one of them; a class that
///   was renamed can have the new name in all versions;
/// - a class of the program's with the name of one of the library's;
/// - an attribute with a type and a collection type that no collection has. Writing a collection into it is
///   Misuse;
/// - an attribute of a list or table whose type is not that of the elements, by the collection type.
///   ATTR_OBJECT and types of the host's are not compared;
/// - version -1, which the registrar's answers take for no version;
/// - class ID 1, which says of other classes that they have no base class.
///
/// Not seen: that two registrations of a class version have different constructor functions or type adapters,
/// and that the later one declares fewer attributes, or more (which are added).
///
/// Cost: with sto_ClassChecks::Refused some milliseconds for ten thousand class versions; with All, their
/// attributes are walked too. Errors: only std::bad_alloc. Thread rule: any number of threads, while nobody
/// registers.
// clang-format on
[[nodiscard]] KVL_EXPORT std::vector<std::string>
sto_CheckClasses(cls_ClassRegistrar const& registrar, sto_ClassChecks checks = sto_ClassChecks::All);
