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
/// Returns all mistakes in the declarations of a registrar, one sentence each; empty if there are none. The
/// sentences are sorted by class ID and version. They do not depend on the order in which different classes
/// were registered. Use it in a program's own tests:
///
///     EXPECT_EQ(sto_CheckClasses(registrar), std::vector<std::string>());
///
/// sto_Store::Open refuses declarations that can only be mistakes, because everything written under them
/// stays in the store:
///
/// - a class version that is registered again with another name or base class. The first registration stays,
///   so the order of registrations decides;
/// - an attribute that is declared again with another number, type, type argument or collection type;
/// - an attribute that is lost because it was declared in a repeated registration, which is dropped;
/// - two attributes of one class version with the same number (-1 is no number). A handle without a name
///   finds only one of them;
/// - one name for two classes. The registrar finds only one of them, and messages cannot tell them apart;
/// - a class that has the ID of a library class but another name;
/// - classes whose newest versions derive from each other in a circle. A walk up the base classes would never
///   end;
/// - notes on an attribute that the class version does not declare itself, and whether an attribute is compressed
///   that is no list, array or blob (cls_ClassNotes). Nothing would heed them.
///
/// Open accepts the following, because a program may have a reason for them. They are reported here only:
///
/// - a base class that neither the registrar nor the library has. Its part cannot be written (Misuse), but a
///   program that only reads does not need to declare it;
/// - another name in another version of a class. The registrar finds the class by only one of the names. A
///   renamed class can have the new name in all versions;
/// - a program class that has the name of a library class;
/// - an attribute whose type and collection type match no collection. Writing a collection into it is Misuse;
/// - an attribute of a list or table whose type differs from the element type that its collection type
///   implies. ATTR_OBJECT and host types are not compared;
/// - version -1, which the registrar uses for "no version";
/// - class ID 1, which as a base class ID means "no base class";
/// - notes on a class version that is not declared. A plug-in may declare it later.
///
/// Not detected: two registrations of a class version that differ in their constructor functions or type
/// adapters; a later registration that declares fewer attributes, or more (these are added).
///
/// Cost: with sto_ClassChecks::Refused, a few milliseconds for ten thousand class versions; All also walks
/// their attributes.
/// Errors: only std::bad_alloc. Thread rule: any number of threads while no thread registers classes.
// clang-format on
[[nodiscard]] KVL_EXPORT std::vector<std::string>
sto_CheckClasses(cls_ClassRegistrar const& registrar, sto_ClassChecks checks = sto_ClassChecks::All);
