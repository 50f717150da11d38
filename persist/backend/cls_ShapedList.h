#pragma once

#include <string>
#include <vector>

#include "persist/backend/cls_AgentListPrim.h"

/// What a list notes about the array whose elements it has.
struct cls_ListShape {
  /// The extents of one row: those of the array without its first one. None: the array has one dimension.
  std::vector<long long> m_Row;
  std::string m_Unit; ///< empty: none is said

  friend bool operator==(cls_ListShape const& a, cls_ListShape const& b) = default;
};

/// An agent of a list that notes its shape, as an offer of back ends: an agent derives from this class, too. Thread rule
/// and errors: those of the agent.
class cls_ShapedList {
 public:
  [[nodiscard]] virtual cls_ListShape Shape() = 0;
  /// REQUIRES: a row has 1 to 2^31 - 1 elements. While the list is no whole number of rows, no extents are stored.
  virtual void SetShape(cls_ListShape const& shape) = 0;

  /// What an agent offers; null if it is null or its list notes no shape.
  template <class T> [[nodiscard]] static cls_ShapedList* Of(cls_AgentListPrim<T>* agent) noexcept {
    return dynamic_cast<cls_ShapedList*>(agent);
  }

 protected:
  cls_ShapedList() = default;
  cls_ShapedList(cls_ShapedList const&) = default;
  cls_ShapedList& operator=(cls_ShapedList const&) = default;
  ~cls_ShapedList() = default;
};
