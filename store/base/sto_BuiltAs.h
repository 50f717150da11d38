#pragma once

/// What is known about the C++ class as which an object is built or requested.
enum class sto_BuiltAs {
  Unchecked, ///< nothing: the class has no TypeId
  Itself,    ///< it is exactly the object's class
  ByMetadata ///< it is the class that the object's metadata builds, or a base of that class
};
