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

/// The mistakes in the declarations of a registrar, all at once, a sentence each; none when there is nothing
/// to say. The sentences are ascending by class ID and version, and do not depend on the order in which
/// different classes were registered. For a test of a program's own:
///
///     EXPECT_EQ(sto_CheckClasses(registrar), std::vector<std::string>());
///
/// sto_Store::Open refuses what can only be a slip, and what would be found in stores for ever:
///
/// | refused | because |
/// |---|---|
/// | a class version that is registered again with another name or base class | the first registration stays,
/// so the order of registrations decides | | an attribute that is declared again with another number, type,
/// type argument or collection type | as above | | an attribute of a repeated registration that is lost,
/// because it came with metadata that was dropped | as above | | two attributes of one class version with one
/// number (-1 is no number) | a handle without name finds one of them only | | one name for two classes | the
/// registrar finds one of them only, and messages do not tell them apart | | a class with the ID of one of
/// the library's under another name | the library's declaration holds | | classes that derive from each other
/// in a circle, by their newest versions | the walk to a base class would not end |
///
/// These are reported and not refused, because programs may have reason for them:
///
/// | reported only | what it leads to |
/// |---|---|
/// | a base class that neither the registrar nor the library has | Misuse when its part is written; objects
/// that have it can be read | | other names in other versions of a class | the registrar finds the class by
/// one of them; a class that was renamed can have the new name in all versions | | a class of the program
/// with the name of one of the library's | messages do not tell them apart | | an attribute whose type and
/// collection type no collection has | Misuse when a collection is written into it | | an attribute whose
/// type is not that of the elements that its collection type says | a description that misleads; ATTR_OBJECT
/// and types of the host's are not compared | | version -1 | the registrar's answers take it for no version |
/// | class ID 1 | it says of other classes that they have no base class |
///
/// Not seen: a registration that differs in its constructor function or type adapter, and attributes that a
/// repeated registration leaves out or adds (those are added).
///
/// Cost: with sto_ClassChecks::Refused some milliseconds for ten thousand class versions. Errors: only
/// std::bad_alloc. Thread rule: any number of threads, while nobody registers.
[[nodiscard]] KVL_EXPORT std::vector<std::string>
sto_CheckClasses(cls_ClassRegistrar const& registrar, sto_ClassChecks checks = sto_ClassChecks::All);
