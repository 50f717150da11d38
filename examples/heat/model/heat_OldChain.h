#pragma once

#include "examples/heat/model/heat_ModelError.h"
#include "examples/heat/model/heat_ModelPart.h"
#include "store/sto_Shared.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <vector>

// How materials and conditions were stored before version 2 of heat_AnalysisModel: a field of the analysis
// held the first one, and the base-class part of each (version 1 of heat_ModelPart) held the next. Delete
// this file when no such stores need to be read any more.
class heat_OldChain {
 public:
  // The parts of the chain that starts in a field of the analysis, in order; empty if the field is absent.
  // Throws heat_ModelError for a chain that leads back to one of its own parts.
  template <class Part>
  static std::vector<std::shared_ptr<Part>> Read(cls_ReadVisitor const& analysis,
                                                 cls_FieldHandle const& first) {
    std::vector<std::shared_ptr<Part>> parts;
    if (analysis.DataIsPresent(first) == 0) return parts;
    std::deque<cls_ReadVisitor> places; // visitors refer to their parent, so none may move
    places.emplace_back(analysis, first);
    for (;;) {
      auto part = sto_ConstructShared<Part>(places.back());
      if (std::find(parts.begin(), parts.end(), part) != parts.end()) RefuseCircle(first);
      parts.push_back(std::move(part));
      if (!MoveToNext(places)) return parts;
    }
  }

 private:
  // Adds the visitor of the next part; false after the last one.
  static bool MoveToNext(std::deque<cls_ReadVisitor>& places);
  [[noreturn]] static void RefuseCircle(cls_FieldHandle const& first);
};
