#include "describe/dsc_Declaration.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

#include "describe/dsc_Stored.h"

namespace {

std::string Hex(unsigned int classId) {
  std::array<char, 16> digits{};
  auto const end = std::to_chars(digits.data(), digits.data() + digits.size(), classId, 16).ptr;
  std::string text = "0x";
  std::transform(digits.data(), end, std::back_inserter(text),
                 [](char digit) { return digit >= 'a' ? static_cast<char>(digit - 'a' + 'A') : digit; });
  return text;
}

/// "Bolt.h:12", without the folders; empty if it is not known.
std::string PlaceOf(dsc_DeclaredClass const& declared) {
  std::string_view const file = declared.m_File;
  if (file.empty()) return {};
  return std::string(file.substr(file.rfind('/') + 1)) + ":" + std::to_string(declared.m_Line);
}

/// "Bolt (Bolt.h:12)"
std::string WithPlace(std::string text, std::string const& place) {
  if (!place.empty()) text.append(" (").append(place).append(")");
  return text;
}

std::string PlaceIn(cls_ClassRegistrar const& registrar, unsigned int classId) {
  cls_ClassChanges const* const changes = registrar.FindChanges(classId);
  return changes == nullptr ? std::string() : changes->Place();
}

[[noreturn]] void RaiseTaken(cls_ClassRegistrar const& registrar, dsc_DeclaredClass const& declared,
                             cls_ClassMetadata const& other, std::string const& what) {
  std::string const mine = WithPlace(declared.m_Name, PlaceOf(declared));
  std::string const theirs = WithPlace(std::string(other.Name().View()), PlaceIn(registrar, other.ClassId()));
  dsc_Raise(declared.m_Name, {}, what + " is taken twice: by " + theirs + " and by " + mine + ".");
}

/// Metadata without an adapter of its own belongs to an older version of a class that is built by a function.
bool IsPlain(cls_ClassMetadata const& metadata) noexcept {
  return typeid(metadata) == typeid(cls_ClassMetadata);
}

} // namespace

bool dsc_IsDeclared(cls_ClassRegistrar const& registrar, dsc_DeclaredClass const& declared) {
  cow_String const name{std::string_view(declared.m_Name)};
  if (registrar.ClassVersionIsPresent(declared.m_ClassId, declared.m_Version)) {
    cls_ClassMetadata const& known = registrar.GetClassMetadata(declared.m_ClassId, declared.m_Version);
    if (typeid(known) == declared.m_Adapter && known.Name() == name) return true;
    RaiseTaken(registrar, declared, known, "class ID " + Hex(declared.m_ClassId));
  }
  if (registrar.ClassIsPresent(declared.m_ClassId)) {
    cls_ClassMetadata const& newest = registrar.ConstGet(declared.m_ClassId);
    if (!IsPlain(newest) && newest.Name() != name &&
        PlaceIn(registrar, declared.m_ClassId) != PlaceOf(declared))
      RaiseTaken(registrar, declared, newest, "class ID " + Hex(declared.m_ClassId));
  }
  if (registrar.ClassNameIsPresent(name)) {
    unsigned int const classId = registrar.GetClassID(name);
    if (classId != declared.m_ClassId && registrar.ClassIsPresent(classId))
      RaiseTaken(registrar, declared, registrar.ConstGet(classId), "its name");
  }
  return false;
}

void dsc_BeginDeclaring(cls_ClassRegistrar& registrar, dsc_DeclaredClass const& declared) {
  unsigned int const base = declared.m_BaseClassId;
  if (base != cls_ClassMetadata::RootClassId && !registrar.ClassIsPresent(base))
    dsc_Raise(declared.m_Name, {}, "its base class " + Hex(base) + " is not declared. Declare it first.");
  cls_ClassChanges& changes =
      registrar.ChangesOf(declared.m_ClassId); // also if nothing is said: stores check it
  if (std::string const place = PlaceOf(declared); !place.empty()) changes.DeclaredAt(place);
}

void dsc_CheckBaseOffset(cls_ClassRegistrar const& registrar, dsc_DeclaredClass const& declared,
                         std::size_t offset) {
  if (offset == 0) return;
  std::string const base(registrar.ConstGet(declared.m_BaseClassId).Name().View());
  dsc_Raise(declared.m_Name, {},
            "its base class " + base +
                " must be the first of its base classes, and does not lie first in it.");
}
