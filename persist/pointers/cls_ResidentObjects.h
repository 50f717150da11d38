#pragma once

#include <cstdint>
#include <memory>

/// Objects of a source that are in memory already when a load begins, and that the load leads to instead of building
/// them again. Thread rule: as the source.
class cls_ResidentObjects {
 public:
  /// Null if the object with this number is not in memory.
  [[nodiscard]] virtual std::shared_ptr<void> FindObject(std::int64_t id) noexcept = 0;
  /// The load builds an object that others may hold. Throws std::bad_alloc.
  virtual void NoteShared(std::int64_t id, std::shared_ptr<void> const& object) = 0;

 protected:
  cls_ResidentObjects() = default;
  cls_ResidentObjects(cls_ResidentObjects const&) = default;
  cls_ResidentObjects& operator=(cls_ResidentObjects const&) = default;
  ~cls_ResidentObjects() = default;
};
