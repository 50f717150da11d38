#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_Record.h"

/// A class version as a store describes it, and those of its fields that stored parts were seen to have.
/// Whoever wrote the part checked it against the same description, so a part that does not fit is damaged, or
/// the description is. Internal to the module. Thread rule: the thread of the session.
class sto_StoredClass {
 public:
  explicit sto_StoredClass(sto_ClassRow row) : m_Row(std::move(row)) {}

  [[nodiscard]] sto_ClassRow const& Row() const noexcept { return m_Row; }

  /// Whether the version has the base class that the program's newest version has; set by whoever knows that.
  std::optional<bool> m_HasNewestBase;

  /// Gives a class version of format 1 its attributes.
  void Describe(std::vector<sto_AttributeRow> attributes);

  /// Whether each field of a part is one that was seen before, in the order of then; some may be left out.
  [[nodiscard]] bool Knows(sto_Part const& part) const noexcept {
    auto known = m_Known.begin();
    for (sto_Field const& field : part.m_Fields) {
      while (known != m_Known.end() && !known->Fits(field)) ++known;
      if (known == m_Known.end()) return false;
      ++known;
    }
    return true;
  }

  /// What of a part does not fit the description; empty when all does, and then Knows knows it. `nameOf` says
  /// the name that a number stands for, empty for none.
  template <class NameOf> [[nodiscard]] std::string Problem(sto_Part const& part, NameOf nameOf) {
    std::size_t next = 0;
    for (sto_Field const& field : part.m_Fields) {
      if (!FindKnown(field, next)) {
        Known known{field.m_Key, 0};
        std::string_view const name =
            field.m_Key.m_NameId == 0 ? std::string_view() : nameOf(field.m_Key.m_NameId);
        if (std::string problem = Resolve(known, name); !problem.empty()) return problem;
        if (!known.Fits(field)) return TypeProblem(known, name);
        if (m_Known.size() == MaxKnown) continue;
        m_Known.insert(m_Known.begin() + static_cast<std::ptrdiff_t>(next), known);
      }
      ++next;
    }
    return {};
  }

 private:
  static constexpr std::size_t MaxKnown = 4096; // where nothing is described, there may be fields without end

  struct Known {
    sto_FieldKey m_Key;
    std::uint32_t m_Tags; // a bit for each type that its value may have

    [[nodiscard]] bool Fits(sto_Field const& field) const noexcept {
      return m_Key == field.m_Key && (m_Tags >> field.m_Tag & 1) != 0;
    }
  };

  /// Whether a field is known; `next`, where it was looked for first, is its place then.
  [[nodiscard]] bool FindKnown(sto_Field const& field, std::size_t& next) const noexcept;
  /// Finds the types that a key's value may have.
  [[nodiscard]] std::string Resolve(Known& known, std::string_view name) const;
  [[nodiscard]] std::string ResolveNumber(Known& known) const;
  [[nodiscard]] std::string TypeProblem(Known const& known, std::string_view name) const;
  [[nodiscard]] std::string Describe() const;

  sto_ClassRow m_Row;
  std::vector<Known> m_Known;
};
