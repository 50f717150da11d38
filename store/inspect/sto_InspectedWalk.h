#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/kvl_Export.h"

class sto_InspectState;

/// Goes over stored objects in the order of their ids; see sto_Inspection. The shape of an object says its class, so records
/// are not read, except of the few that have a shape of their own.
///
///     for (sto_InspectedWalk walk = inspection.Objects(); walk.Next();) Show(inspection.Object(walk.Id()));
///
/// Memory: a few hundred ids; in stores of the formats 1 to 3, 24 bytes for each object. Errors: as sto_Inspection. Damaged for
/// an object whose class cannot be read. Thread rule: as the store.
class KVL_EXPORT sto_InspectedWalk {
 public:
  sto_InspectedWalk(sto_InspectedWalk&&) noexcept;
  sto_InspectedWalk& operator=(sto_InspectedWalk&&) noexcept;
  ~sto_InspectedWalk();

  /// Goes on to the next object, at first to the first one; false at the end.
  bool Next();
  /// Its id. REQUIRES, for all three: Next was true.
  [[nodiscard]] std::int64_t Id() const noexcept;
  [[nodiscard]] unsigned int ClassId() const noexcept;
  /// As sto_InspectedPart::m_ClassName.
  [[nodiscard]] std::string const& ClassName() const noexcept;

 private:
  friend class sto_Inspection;
  class Reader;

  explicit sto_InspectedWalk(std::unique_ptr<Reader> reader) noexcept;

  std::unique_ptr<Reader> m_Reader;
};
