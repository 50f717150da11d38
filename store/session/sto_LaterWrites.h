#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "persist/pointers/cls_LaterReads.h"
#include "persist/pointers/cls_LaterWrites.h"

class cls_ClassMetadata;
class sto_Session;
struct cls_AttributeMetadata;

/// An object that a save has reached and writes after its holder.
struct sto_LaterWrite {
  cls_LaterWrite m_Object;
  std::int64_t m_Holder;                              ///< the id of what holds it
  cls_ClassMetadata const* m_HolderClass = nullptr;   ///< with the attribute; null for an element
  cls_AttributeMetadata const* m_Attribute = nullptr; ///< that holds it
};

/// Writes such an object. Implemented in store/objects/, the layer above.
void sto_WriteLaterObject(sto_Session& session, sto_LaterWrite const& object);
/// Writes an object that nothing holds here: it is in the store already, under an id. Misuse if the object's identity has
/// another one. Implemented there, too.
void sto_WriteObjectAgain(sto_Session& session, std::int64_t id, void const* object,
                          void (*write)(void const* object, cls_WriteVisitor const& visitor));

/// The objects that the running save has still to write, in the order in which a load reads them (cls_LaterOrder): so
/// objects that lead to each other are close together in the store, and a load finds them one after the other. None is
/// written while another one is, so an object has been written before a copy of it with the same identity is compared
/// with it. Internal to the module. Thread rule: the thread of the session.
class sto_LaterWrites {
 public:
  /// Whether an object whose holder is nested so deeply is left for later: the same as in a load.
  [[nodiscard]] bool IsDeep(int depth) const noexcept {
    return depth >= cls_LaterReads::MaxNested && m_AtOnce == 0;
  }
  /// Adds an object that is left because of that, unless it was added a short time ago: many holders may share one.
  void Add(sto_LaterWrite object, std::int64_t id) {
    Known& known = m_Known[static_cast<std::size_t>(id) % KnownCount];
    if (known.m_Id == id && known.m_Address == object.m_Object.m_Object.get()) return;
    m_IsUsed = true;
    m_Objects.push_back(std::move(object));
    known = {id, m_Objects.back().m_Object.m_Object.get()};
  }

  /// While the count is not 0, nothing is left for later: what is written is about to end.
  void CountAtOnce(int change) noexcept { m_AtOnce += change; }

  /// Writes all objects, also those that are added meanwhile. If one fails, the others stay unwritten.
  void WriteAll(sto_Session& session);

  /// Forgets the objects: the save is over.
  void Clear() noexcept {
    if (m_IsUsed) ClearAll();
  }

 private:
  struct Known {
    std::int64_t m_Id = 0;
    void const* m_Address = nullptr;
  };
  static constexpr std::size_t KnownCount = 64;

  void ClearAll() noexcept;

  std::vector<sto_LaterWrite> m_Objects;
  std::vector<std::shared_ptr<void const>>
      m_Kept; // written, and owned by nothing else: others may lie in them
  int m_AtOnce = 0;
  bool m_IsUsed = false; // since the last Clear
  bool m_IsWriting = false;
  Known m_Known[KnownCount];
};
