#pragma once

#include <cstdint>
#include <string>

#include "platform/kvl_Export.h"

/// Why an object behind a pointer is not built, or not handed out. OtherClass means that the stored object is
/// not of the class that is asked for; all others are mistakes of the program.
enum class cls_BuildFault : std::uint8_t {
  OtherClass,          ///< its class is neither the one that is asked for nor derived from it
  NoVirtualDestructor, ///< its class derives from the one that is asked for, which has no virtual destructor
  NotDeclared,         ///< the source has no metadata for its class and version
  NoConstructor,       ///< its metadata has no constructor function
  OtherCppClass,       ///< its metadata is the adapter of another C++ class
  TwoTypes,            ///< it is loaded already, as another C++ class
  HasOneOwner,         ///< this load builds it for one owner, and its own graph leads back to it
  IsUnfinished,        ///< this load builds it by its metadata, and its own graph leads back to it
  OwnedInScope,        ///< an earlier load of the scope gave it to one owner, who still has it
  IsInScope            ///< an earlier load of the scope has it, and this one would make a second
};

/// A failure, as the source of the object raises it (cls_ObjectSource::RaiseNotBuilt).
struct cls_BuildFailure {
  cls_BuildFault m_Fault;
  std::int64_t m_Id;      ///< the number of the stored object
  unsigned int m_ClassId; ///< its class
  std::string m_Text;     ///< one sentence in English that names the object; the source may use another
};

/// The text of the faults that concern pointers only, to follow "Object 5". Internal to the library.
[[nodiscard]] char const* cls_BuildFaultText(cls_BuildFault fault) noexcept;
