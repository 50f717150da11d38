#include "bench/objects_Holding.h"

#include <algorithm>
#include <string>
#include <utility>

#include "persist/adapters/cls_TypeAdapter.h"

namespace {

cls_FieldHandle HasHoldersField() {
  return {0, "m_HasHolders"_cow};
}

std::vector<cls_FieldHandle> const& ChildFields() {
  static std::vector<cls_FieldHandle> const fields = [] {
    std::vector<cls_FieldHandle> made;
    for (int i = 0; i < objects_Holding::FanOut; ++i)
      made.emplace_back(i + 1, cow_String("m_Child" + std::to_string(i)));
    return made;
  }();
  return fields;
}

template <class T>
void WriteAll(std::vector<std::unique_ptr<T>> const& all, cls_WriteVisitor const& visitor) {
  for (std::size_t i = 0; i < all.size(); ++i)
    all[i]->DBWrite(cls_WriteVisitor(visitor, ChildFields()[i], nullptr, all[i].get()));
}

template <class T> void ReadAll(std::vector<std::unique_ptr<T>>& all, cls_ReadVisitor const& visitor) {
  for (cls_FieldHandle const& field : ChildFields()) {
    std::unique_ptr<T> child = sto_ReadOwned<T>(visitor, field);
    if (child == nullptr) return;
    all.push_back(std::move(child));
  }
}

} // namespace

void objects_Holding::Declare(cls_ClassRegistrar& registrar) {
  cls_ClassMetadata& metadata = registrar.AddClassMD(
      new cls_TypeAdapter<objects_Holding>("Holding"_cow, 1, cls_ClassMetadata::RootClassId));
  metadata.AddAttribute(HasHoldersField(), ATTR_BOOL, 1, COLLECTION_NONE);
  for (cls_FieldHandle const& field : ChildFields())
    metadata.AddAttribute(field, ATTR_OBJECT, 1, COLLECTION_NONE);
}

objects_Holding::objects_Holding(Objects objects) {
  std::size_t share = 1; // objects a child
  while (share * FanOut < objects.size()) share *= FanOut;
  if (share == 1) {
    for (std::unique_ptr<objects_Part>& object : objects) m_Objects.push_back(std::move(object));
    return;
  }
  for (std::size_t i = 0; i < objects.size(); i += share)
    m_Holders.push_back(
        std::make_unique<objects_Holding>(objects.subspan(i, std::min(share, objects.size() - i))));
}

objects_Holding::objects_Holding(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
  if (visitor.Read(HasHoldersField(), false))
    ReadAll(m_Holders, visitor);
  else
    ReadAll(m_Objects, visitor);
}

void objects_Holding::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  visitor.Write(HasHoldersField(), !m_Holders.empty());
  WriteAll(m_Holders, visitor);
  WriteAll(m_Objects, visitor);
}

void objects_Holding::AddTo(objects_Tally& tally) const {
  for (auto const& holder : m_Holders) holder->AddTo(tally);
  for (auto const& object : m_Objects) object->AddTo(tally);
}
