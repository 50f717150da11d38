#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "persist/pointers/cls_BuildFailure.h"
#include "persist/pointers/cls_LoadedObjects.h"
#include "platform/kvl_Export.h"

class cls_ClassMetadata;

/// What the functions that read pointers (cls_Pointers.h) need of a back end: which metadata builds a stored
/// object, how classes derive from each other, the objects of the running load, and its way to raise errors.
/// A back end derives its session, or whatever its reading mementos share, from this class, and answers with
/// it in cls_StoredObject::StoredAt. cls_RegistrarSource has the answers of a class registrar.
///
/// Numbers: the source numbers its stored objects, from 1 on, as it likes. A number means one stored object
/// for as long as a load or a scope lasts.
///
/// The order of the virtual operations is frozen. Lifetime: the source outlives its mementos. Thread rule: one
/// thread.
class KVL_EXPORT cls_ObjectSource {
 public:
  cls_ObjectSource();
  cls_ObjectSource(cls_ObjectSource const&) = delete;
  cls_ObjectSource& operator=(cls_ObjectSource const&) = delete;
  virtual ~cls_ObjectSource();

  /// The metadata that builds an object which was stored by this version of its class; null if there is none.
  /// Must outlive the load.
  [[nodiscard]] virtual cls_ClassMetadata const* MetadataOf(unsigned int classId, int version) const = 0;
  /// Whether a class derives from another. Not called for two equal classes.
  [[nodiscard]] virtual bool IsDerived(unsigned int derived, unsigned int base) const = 0;
  /// Raises an exception: `failure` says why an object is not built. Must not return.
  [[noreturn]] virtual void RaiseNotBuilt(cls_BuildFailure const& failure) const = 0;

  /// The name of a class for messages, to follow "is of class ". The default is its ID.
  [[nodiscard]] virtual std::string NameOf(unsigned int classId) const;
  /// The same where no "class" precedes it. The default is NameOf.
  [[nodiscard]] virtual std::string Describe(unsigned int classId) const;
  /// Whether an identity in memory is tied to a stored object. It says, in a scope, whether an object that was
  /// loaded for one owner has been destroyed since, so that it may be loaded again. So a memento makes the
  /// identity when it is asked for it (GetUid), not before. With cls_IdentityMap: EntryOf(id) != nullptr. The
  /// default is true: such an object is loaded once in a scope.
  [[nodiscard]] virtual bool HasIdentity(std::int64_t id) noexcept;

  [[nodiscard]] cls_LoadedObjects& Loaded() const noexcept { return *m_Loaded; }
  /// What the back end offers for objects that are read after their holders; null if nothing.
  [[nodiscard]] cls_LaterSource* Later() const noexcept { return m_Later; }
  /// The same for a scope, which may outlive the source.
  [[nodiscard]] std::shared_ptr<cls_LoadedObjects> const& SharedLoaded() const noexcept { return m_Loaded; }

 protected:
  /// For the constructor of a back end's source that derives from cls_LaterSource too.
  void OffersLater(cls_LaterSource& later) noexcept { m_Later = &later; }

 private:
  std::shared_ptr<cls_LoadedObjects> m_Loaded;
  cls_LaterSource* m_Later = nullptr;
};
