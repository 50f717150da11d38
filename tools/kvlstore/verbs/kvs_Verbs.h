#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/kvlstore/base/kvs_Error.h"

class kvs_Output;

// The verbs of the program. Each prints to `out`, and returns the status that the program ends with. Errors: kvs_Error,
// kvs_Interrupted, and those of the library.

/// Rows `first` to before `end`; negative numbers count from the end. "10:20", ":5", "-3:", and "7" for one row.
struct kvs_Slice {
  std::int64_t m_First = 0;
  std::optional<std::int64_t> m_End;

  /// kvs_Error if the text is not a slice.
  [[nodiscard]] static kvs_Slice Parse(std::string const& text);
  struct Range {
    std::int64_t m_First;
    std::int64_t m_Count;
  };
  /// For a list of so many rows; what is beyond them is left out.
  [[nodiscard]] Range Of(std::int64_t count) const noexcept;
};

/// What the store is, without reading data.
kvs_Status kvs_Info(std::string const& store, bool json, kvs_Output& out);

struct kvs_LsOptions {
  std::string m_Store;
  std::string m_Pattern = "*"; ///< of root names
  std::string m_Class; ///< only objects of the class with this name or ID, and of those derived from it
  bool m_Long = false;
  bool m_All = false; ///< all objects, not only roots
  bool m_Json = false;
};
kvs_Status kvs_Ls(kvs_LsOptions const& options, kvs_Output& out);

struct kvs_ShowOptions {
  std::string m_Store;
  std::string m_Object;
  int m_Depth = 3;
  std::int64_t m_Elements = 10; ///< of each list and map
  bool m_Json = false;
};
kvs_Status kvs_Show(kvs_ShowOptions const& options, kvs_Output& out);

enum class kvs_DumpFormat { Json, Csv, Npy };
struct kvs_DumpOptions {
  std::string m_Store;
  std::string m_Object; ///< empty: all objects
  kvs_DumpFormat m_Format = kvs_DumpFormat::Json;
  kvs_Slice m_Slice;
};
kvs_Status kvs_Dump(kvs_DumpOptions const& options, kvs_Output& out);

struct kvs_PlotOptions {
  std::string m_Store;
  std::string m_Y;
  std::string m_X; ///< empty: the index
  kvs_Slice m_Slice;
  std::int64_t m_Column = 0; ///< of arrays with rows
  bool m_Svg = false;        ///< otherwise characters
  bool m_Json = false;       ///< the points of the drawing
  int m_Width = 0;           ///< in characters or pixels; 0: what suits
  int m_Height = 0;
};
kvs_Status kvs_Plot(kvs_PlotOptions const& options, kvs_Output& out);

struct kvs_DiffOptions {
  std::string m_First;
  std::string m_Second;
  std::string m_FirstObject; ///< empty: all roots
  std::string m_SecondObject;
  double m_Absolute = 0; ///< of numbers that are no integers; the same for the next one
  double m_Relative = 0;
  bool m_IsNanEqual = true;
  /// Reads stores whose sums are equal, too: a file that was damaged later still has the sum of its last save.
  bool m_Full = false;
  std::vector<std::string> m_Excluded; ///< patterns of addresses; what is below one is left out, too
  std::int64_t m_MaxListed = 100;
  bool m_Json = false;
};
/// Reads all that it compares, so damage is an error even if the stores have equal sums.
kvs_Status kvs_Diff(kvs_DiffOptions const& options, kvs_Output& out);

struct kvs_LogOptions {
  std::string m_Store;
  std::int64_t m_Last = 0; ///< only so many of the newest; 0: all
  bool m_Long = false;     ///< with what each save changed
  bool m_Json = false;
};
kvs_Status kvs_Log(kvs_LogOptions const& options, kvs_Output& out);

struct kvs_WatchOptions {
  std::string m_Store;
  double m_Seconds = 1;
  std::int64_t m_Saves = 0; ///< ends after so many; 0: never
  bool m_Json = false;
};
kvs_Status kvs_Watch(kvs_WatchOptions const& options, kvs_Output& out);

kvs_Status kvs_Check(std::string const& store, bool full, bool json, kvs_Output& out);
kvs_Status kvs_Stat(std::string const& store, std::int64_t maxArrays, bool json, kvs_Output& out);
kvs_Status kvs_Classes(std::string const& store, bool json, kvs_Output& out);
/// Prints the classes as source code that reads the store. `language`: "c++" or "python".
kvs_Status kvs_EmitClasses(std::string const& store, std::string const& language, kvs_Output& out);
kvs_Status kvs_Copy(std::string const& from, std::string const& to, bool json, kvs_Output& out);
kvs_Status kvs_Compact(std::string const& store, bool json, kvs_Output& out);
/// Takes what is readable of a damaged store into a new one. The old one is only read.
kvs_Status kvs_Recover(std::string const& from, std::string const& to, bool json, kvs_Output& out);

struct kvs_ReportVerbOptions {
  std::string m_Store;
  std::int64_t m_MaxObjects = 100'000; ///< in the tree
};
/// Prints an HTML file about the store.
kvs_Status kvs_Report(kvs_ReportVerbOptions const& options, kvs_Output& out);
