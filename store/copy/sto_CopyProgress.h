#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// How far a copy has come. Each of its transactions has it as the note of its save, so a copy that was interrupted can
/// be continued. A plain value.
struct sto_CopyProgress {
  enum class Part { Objects, Blocks, Rest, Done };

  std::string m_Source;        ///< which state of which store is copied
  Part m_Part = Part::Objects; ///< what comes next,
  std::int64_t m_Next = 0;     ///< and the first id or key of that

  [[nodiscard]] std::string Note() const;
  /// Empty if the note is not one of a copy of `source`.
  [[nodiscard]] static std::optional<sto_CopyProgress> Of(std::string_view note, std::string const& source);
};
