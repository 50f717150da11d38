#pragma once

#include <cstdint>
#include <functional>

#include "store/inspect/sto_Inspection.h"
#include "tools/kvlstore/report/kvs_Json.h"
#include "tools/kvlstore/report/kvs_Problems.h"
#include "tools/kvlstore/report/kvs_Report.h"
#include "tools/kvlstore/report/kvs_ValueJson.h"

class kvs_ArraySummary;

/// Writes what an object has beside its fields: a list, a map or a blob. Of lists and maps of objects it writes the first part; the
/// rest comes later, if there is room.
class kvs_ContentJson {
 public:
  /// Gets the id of each object that is written.
  using OnObject = std::function<void(std::int64_t id)>;

  kvs_ContentJson(sto_Inspection const& inspection, kvs_Json& json, kvs_ReportOptions const& options,
                  kvs_Problems const& problems)
      : m_Inspection(inspection), m_Json(json), m_Options(options), m_Problems(problems),
        m_Value(json, options), m_Elements(options.m_MaxElements) {}

  /// Writes one object of JSON, also if the content is damaged: then it has the problem, which is returned, too.
  std::string Write(sto_InspectedObject const& object, OnObject const& onObject);

  /// Writes entries of a map as an array: at most `most`. Returns how many.
  std::int64_t Entries(sto_InspectedMap& map, std::int64_t most, OnObject const& onObject);
  /// Writes elements of a list of objects as an array.
  void Ids(sto_InspectedList& list, std::int64_t first, std::int64_t count, OnObject const& onObject);

  static constexpr std::int64_t FirstObjects = 200; ///< of a list or map of objects
  static constexpr std::int64_t MaxTexts = 200;     ///< of a list or map of other values
  static constexpr std::int64_t MaxNumbers = 24;    ///< of a list that is longer than MaxWhole
  static constexpr std::int64_t MaxWhole = 64;

 private:
  void List(sto_InspectedObject const& object, OnObject const& onObject);
  void Map(sto_InspectedObject const& object, OnObject const& onObject);
  void Blob(sto_InspectedObject const& object);
  void Texts(sto_InspectedList& list);
  void Numbers(sto_InspectedList& list);
  void Statistics(kvs_ArraySummary const& summary);
  void Curves(kvs_ArraySummary const& summary);
  void FirstNumbers(sto_InspectedList& list);
  /// Of the next plot: fewer when many plots have taken much of the room.
  [[nodiscard]] std::int64_t MaxPoints() const noexcept;

  sto_Inspection const& m_Inspection;
  kvs_Json& m_Json;
  kvs_ReportOptions const& m_Options;
  kvs_Problems const& m_Problems;
  kvs_ValueJson m_Value;
  std::int64_t m_Elements; // that may still be read
};
