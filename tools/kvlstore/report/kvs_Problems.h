#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/base/sto_Exception.h"

/// What could not be read of a store.
class kvs_Problems {
 public:
  static constexpr std::size_t MaxListed = 200;

  struct Problem {
    std::string m_Where;
    std::string m_Text;
  };

  /// `location`: of the store, which failures begin with. It is left out: it says where the report was made.
  explicit kvs_Problems(std::string const& location) : m_Prefix(location + ": ") {}

  /// What a failure says.
  [[nodiscard]] std::string TextOf(sto_Exception const& failure) const {
    std::string_view const text = failure.what();
    return std::string(text.starts_with(m_Prefix) ? text.substr(m_Prefix.size()) : text);
  }

  void Add(std::string where, std::string text) {
    if (m_Listed.size() < MaxListed)
      m_Listed.push_back({std::move(where), std::move(text)});
    else
      ++m_Further;
  }

  /// Calls `read`; damage becomes a problem, and false is returned. Other failures pass.
  template <class Read> bool Try(std::string const& where, Read read) {
    try {
      read();
      return true;
    } catch (sto_Exception const& failure) {
      if (!IsOfContent(failure.Kind())) throw;
      Add(where, TextOf(failure));
      return false;
    }
  }

  /// Whether a failure is about what is stored, and other parts of the store may be readable.
  [[nodiscard]] static bool IsOfContent(sto_ErrorKind kind) noexcept {
    return kind == sto_ErrorKind::Damaged || kind == sto_ErrorKind::NotFound ||
           kind == sto_ErrorKind::NewerFormat || kind == sto_ErrorKind::WrongClass;
  }

  [[nodiscard]] std::vector<Problem> const& Listed() const noexcept { return m_Listed; }
  [[nodiscard]] std::int64_t Further() const noexcept { return m_Further; }

 private:
  std::string m_Prefix;
  std::vector<Problem> m_Listed;
  std::int64_t m_Further = 0;
};
