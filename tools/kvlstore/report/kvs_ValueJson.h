#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "store/inspect/sto_InspectedMap.h"
#include "store/inspect/sto_InspectedObject.h"
#include "tools/kvlstore/report/kvs_Json.h"
#include "tools/kvlstore/report/kvs_Report.h"

/// Writes values of a store into a report. Long texts and bytes, and values of many values, are cut, with their full sizes.
class kvs_ValueJson {
 public:
  kvs_ValueJson(kvs_Json& json, kvs_ReportOptions const& options) : m_Json(json), m_Options(options) {}

  void Field(sto_InspectedField const& field);
  void Value(sto_InspectedValue const& value, std::string const& kind);
  void Key(sto_InspectedKey const& key);
  void Text(sto_InspectedText const& text);
  /// Bytes of which only the first ones are there.
  void Bytes(std::span<std::byte const> first, std::int64_t count);

 private:
  static constexpr std::size_t MaxMembers = 100;
  static constexpr std::size_t MaxBytes = 48;
  static constexpr int MaxDepth = 12;

  void Tree(sto_InspectedTree const& tree);
  void Member(sto_InspectedMember const& member);

  kvs_Json& m_Json;
  kvs_ReportOptions const& m_Options;
  int m_Depth = 0;
};
