#pragma once

#include "examples/heat/model/heat_ModelError.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/identity/cls_OwnUid.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "store/sto_Shared.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

// Parts of a stored analysis as a list of objects in a field of their owner, in order. The list has its own
// identity, so saving the owner again replaces it.
template <class Part> class heat_PartList {
 public:
  using Parts = std::vector<std::shared_ptr<Part>>;

  heat_PartList() = default;
  explicit heat_PartList(Parts parts) : m_Parts(std::move(parts)) {}

  // The list that a field holds. Throws heat_ModelError if an element is absent.
  heat_PartList(cls_ReadVisitor const& owner, cls_FieldHandle const& field) {
    cls_ReadVisitor const list(owner, field);
    m_Uid = list.GetUid();
    Held<cls_ReadListObj> const elements(list.Memento()->MakeReadListObj());
    while (elements->More() != 0) {
      m_Parts.push_back(sto_ConstructShared<Part>(cls_ReadVisitor(elements->Next())));
      if (m_Parts.back() == nullptr)
        throw heat_ModelError("element " + std::to_string(m_Parts.size() - 1) + " of " +
                              std::string(field.Name().View()) + " is missing");
    }
  }

  void Write(cls_WriteVisitor const& owner, cls_FieldHandle const& field) const {
    Held<cls_WriteListObj> const elements(owner.Memento()->MakeFieldWriteListObj(field, m_Uid));
    if (elements == nullptr) return;
    for (auto const& part : m_Parts) {
      cls_WriteRequestListObj const next(elements.get());
      part->DBWrite(cls_WriteVisitor(next, part.get()));
    }
  }

  void Append(std::shared_ptr<Part> part) { m_Parts.push_back(std::move(part)); }
  Parts const& All() const { return m_Parts; }

 private:
  // The caller deletes what a back end returns, unless the back end keeps it.
  struct Drop {
    template <class T> void operator()(T* made) const {
      if (made->NeedsDeletion()) delete made;
    }
  };
  template <class T> using Held = std::unique_ptr<T, Drop>;

  Parts m_Parts;
  cls_OwnUid m_Uid;
};
