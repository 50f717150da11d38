#pragma once

/// What is known of the C++ class that an object is built, or asked for, as.
enum class sto_BuiltAs {
  Unchecked, ///< nothing: the class has no TypeId
  Itself,    ///< it is the object's very class
  ByMetadata ///< it is one that the object's metadata builds, or a base of that
};
