#include "examples/heat/model/heat_OldChain.h"

#include <string>

namespace {

// The field handle of version 1 of heat_ModelPart.
cls_FieldHandle NextField() {
  return {1, "m_Next"_cow};
}

constexpr unsigned int NoClass = 1; // class ID of an absent part

} // namespace

bool heat_OldChain::MoveToNext(std::deque<cls_ReadVisitor>& places) {
  // Copying a visitor moves it to the base-class part.
  while (places.back().Memento()->ClassId() != heat_ModelPart::TypeId()) {
    if (places.back().Memento()->ClassId() == NoClass) return false;
    places.emplace_back(places.back());
  }
  if (places.back().DataIsPresent(NextField()) == 0) return false;
  places.emplace_back(places.back(), NextField());
  return true;
}

void heat_OldChain::RefuseCircle(cls_FieldHandle const& first) {
  throw heat_ModelError("the chain of " + std::string(first.Name().View()) + " leads back into itself");
}
