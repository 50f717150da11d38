#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <cstddef>
#include <sstream>
#include <string>

#include "tools/kvlstore/report/kvs_Report.h"

/// A report as a test reads it.
class ReportPage {
 public:
  explicit ReportPage(sto_Store& store, kvs_ReportOptions const& options = {}) {
    std::ostringstream out;
    kvs_WriteReport(store, out, options);
    m_Text = std::move(out).str();
    m_Summary = Data("report");
  }

  [[nodiscard]] std::string const& Text() const noexcept { return m_Text; }
  [[nodiscard]] nlohmann::json const& Summary() const noexcept { return m_Summary; }
  [[nodiscard]] std::size_t Count(std::string const& part) const {
    std::size_t count = 0;
    for (auto at = m_Text.find(part); at != std::string::npos; at = m_Text.find(part, at + 1)) ++count;
    return count;
  }

  /// Data for the page's script. Fails the test if it is no JSON.
  [[nodiscard]] nlohmann::json Data(std::string const& name) const {
    std::string const begin = "<script type=\"application/json\" id=\"data-" + name + "\">";
    std::size_t const first = m_Text.find(begin);
    if (first == std::string::npos) return {};
    std::size_t const last = m_Text.find("</script>", first);
    std::string const text = m_Text.substr(first + begin.size(), last - first - begin.size());
    nlohmann::json data = nlohmann::json::parse(text, nullptr, false);
    EXPECT_FALSE(data.is_discarded()) << text.substr(0, 2000);
    return data;
  }

  /// The rows of objects, without the pieces of lists between them.
  [[nodiscard]] nlohmann::json Rows() const {
    nlohmann::json rows = nlohmann::json::array();
    for (nlohmann::json const& row : Data("objects"))
      if (row.is_array()) rows.push_back(row);
    return rows;
  }
  /// The value of a field of an object, with what its shape says of it; null if there is none.
  [[nodiscard]] nlohmann::json Field(std::int64_t id, std::string const& name) const {
    nlohmann::json const shapes = Data("shapes");
    for (nlohmann::json const& row : Rows()) {
      if (row[0] != id || row[1] < 0) continue;
      std::size_t at = 3;
      for (nlohmann::json const& part : shapes[row[1].get<std::size_t>()]["p"])
        for (nlohmann::json const& field : part["f"]) {
          if (field["n"] == name)
            return {{"value", row[at]}, {"kind", field["k"]}, {"unit", field.value("u", "")}};
          ++at;
        }
    }
    return {};
  }
  /// What an object has beside its fields.
  [[nodiscard]] nlohmann::json Content(std::int64_t id) const {
    for (nlohmann::json const& row : Rows())
      if (row[0] == id) return row.back();
    return {};
  }
  [[nodiscard]] std::int64_t RootId(std::string const& name) const {
    for (nlohmann::json const& root : m_Summary["roots"])
      if (root[0] == name) return root[1];
    ADD_FAILURE() << "no root " << name;
    return 0;
  }
  [[nodiscard]] std::int64_t IdIn(std::int64_t id, std::string const& name) const {
    nlohmann::json const field = Field(id, name);
    return field.is_null() ? 0 : field["value"].get<std::int64_t>();
  }

 private:
  std::string m_Text;
  nlohmann::json m_Summary;
};
