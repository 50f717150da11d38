#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// What a store knows about a root without loading its object. A plain value. See sto_Store::DescribeRoot.
struct sto_RootDescription {
  std::int64_t m_ObjectId = 0; ///< as in sto_SaveEntry
  unsigned int m_ClassId = 0;  ///< of the object
  std::string m_ClassName;     ///< "class 0x650001" if neither the program nor the store knows a name
  int m_Version = 0;           ///< of the class when it wrote the object
  /// What the object's own record takes, without checksums: its fields, its base-class parts, and the elements of
  /// a short list. Not what it holds, nor elements or bytes that are stored in blocks.
  std::int64_t m_Bytes = 0;

  /// The number and the time of the newest save that changed the root: gave it its name or another object, wrote
  /// the object's record with another content, or changed the object's own blocks. What changes in objects that it
  /// holds does not count. The time as in sto_SaveEntry. Both are empty in a store of an older format, which has no
  /// log, and if the open transaction has changed the root.
  std::optional<std::int64_t> m_Save;
  std::optional<std::int64_t> m_Milliseconds;
};
