#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/kvl_Export.h"
#include "store/base/sto_ClassDescription.h"
#include "store/inspect/sto_InspectedBlob.h"
#include "store/inspect/sto_InspectedList.h"
#include "store/inspect/sto_InspectedMap.h"
#include "store/inspect/sto_InspectedObject.h"
#include "store/inspect/sto_InspectedWalk.h"

class sto_InspectState;
class sto_Store;

/// Looks at stored objects without the program's C++ classes: the store says what they have.
///
///     cls_ClassRegistrar const none;
///     sto_Store store = sto_Store::Open("plate.kvs", sto_Mode::ReadOnly, none);
///     sto_Inspection const inspection(store);
///     sto_InspectedObject const plate = inspection.Root("plate");
///     for (sto_InspectedField const& field : plate.m_Parts.front().m_Fields) Show(field);
///
/// It holds a read transaction of the store, so all that it and its lists, maps, blobs and walks return is of one state.
/// Meanwhile other sessions cannot commit, unless the store has a write-ahead log, and the program cannot write to the
/// store (Misuse). What bulk arrays of this session have in memory only is not seen. Reads stores of all formats.
///
/// Memory: one record and one block, and the descriptions of the classes that were met. A value of values takes a few
/// hundred bytes for each value in it.
///
/// Errors, of each function: Damaged, naming the object and what is wrong; Misuse after the store is closed, and in another
/// thread; Busy, Unavailable. NewerFormat only if the store's registrar declares an older version of a class. What the
/// inspection returned stays usable after an error.
///
/// REQUIRES: the store outlives it (otherwise Misuse). Thread rule: as the store.
class KVL_EXPORT sto_Inspection {
 public:
  /// Begins a read transaction. Misuse if the store has a transaction open.
  explicit sto_Inspection(sto_Store& store);
  sto_Inspection(sto_Inspection const&) = delete;
  sto_Inspection& operator=(sto_Inspection const&) = delete;
  /// Ends the transaction. Lists, maps, blobs and walks of this inspection raise Misuse from then on.
  ~sto_Inspection();

  /// The object with an id, also what remains of a deleted one. NotFound if there is none: the id of a base class's part is
  /// no object.
  [[nodiscard]] sto_InspectedObject Object(std::int64_t id) const;
  /// The object under a root name. NotFound if there is no such root, or its object is missing.
  [[nodiscard]] sto_InspectedObject Root(std::string_view name) const;
  /// The roots whose names begin with `prefix`, in the order of their names' bytes. Reads the record of each.
  [[nodiscard]] std::vector<sto_InspectedRoot> Roots(std::string_view prefix = {}) const;

  /// The list that an object has. NotFound as Object; Misuse if it has none. The same below.
  [[nodiscard]] sto_InspectedList List(std::int64_t id) const;
  /// The map or int table.
  [[nodiscard]] sto_InspectedMap Map(std::int64_t id) const;
  /// The bytes of a blob.
  [[nodiscard]] sto_InspectedBlob Blob(std::int64_t id) const;

  /// All versions of all classes that have written to the store, ascending by class ID and version; see
  /// sto_Store::Describe. Also the library's own classes, such as those of lists.
  [[nodiscard]] std::vector<sto_ClassDescription> Classes() const;

  /// Goes over all objects, in the order of their ids; also over what remains of deleted ones.
  [[nodiscard]] sto_InspectedWalk Objects() const;
  /// Goes over the objects of a class and of those that the store describes as derived from it. None for a class that the
  /// store does not know.
  [[nodiscard]] sto_InspectedWalk ObjectsOf(unsigned int classId) const;

 private:
  std::shared_ptr<sto_InspectState> m_State;
};
