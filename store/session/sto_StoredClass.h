#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_Record.h"

/// A class version as a store describes it, and its fields that were found in stored parts so far. A part is
/// checked against this description when it is written, so if a stored part does not fit, either the part or
/// the description is damaged. Internal to the module. Thread rule: the thread of the session.
class sto_StoredClass {
 public:
  explicit sto_StoredClass(sto_ClassRow row) : m_Row(std::move(row)) {}

  [[nodiscard]] sto_ClassRow const& Row() const noexcept { return m_Row; }

  /// Whether the version has the same base class as the program's newest version. Set by
  /// sto_Catalogue::HasNewestBase.
  std::optional<bool> m_HasNewestBase;

  /// Gives a class version of format 1 its attributes.
  void Describe(std::vector<sto_AttributeRow> attributes);

  /// Takes over units and defaults that are not known yet. Returns the name of an attribute where `declared`
  /// says something else than is known; empty if there is none. Then `isChanged` says whether it took any.
  /// REQUIRES: both have the same attributes.
  [[nodiscard]] std::string TakeUnits(std::vector<sto_AttributeRow> const& declared, bool& isChanged);

  /// Whether all fields of a part were seen before, in the same order; known fields may be missing.
  [[nodiscard]] bool Knows(sto_Part const& part) const noexcept {
    auto known = m_Known.begin();
    for (sto_Field const& field : part.m_Fields) {
      while (known != m_Known.end() && !known->Fits(field)) ++known;
      if (known == m_Known.end()) return false;
      ++known;
    }
    return true;
  }

  /// What in a part does not fit the description; empty if all fits. Then Knows usually knows the part.
  /// `nameOf` returns the name with a number, empty if there is none.
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
  static constexpr std::size_t MaxKnown = 4096; // a class without described attributes can have any fields

  struct Known {
    sto_FieldKey m_Key;
    std::uint32_t m_Tags; // a bit for each type that its value may have

    [[nodiscard]] bool Fits(sto_Field const& field) const noexcept {
      return m_Key == field.m_Key && (m_Tags >> field.m_Tag & 1) != 0;
    }
  };

  /// Whether a field is known. Looks at index `next` first, and sets `next` to the field's index if found.
  [[nodiscard]] bool FindKnown(sto_Field const& field, std::size_t& next) const noexcept;
  /// Sets the types that the value of `known` may have. Returns the problem if there are none, else empty.
  [[nodiscard]] std::string Resolve(Known& known, std::string_view name) const;
  [[nodiscard]] std::string ResolveNumber(Known& known) const;
  [[nodiscard]] std::string TypeProblem(Known const& known, std::string_view name) const;
  [[nodiscard]] std::string Describe() const;

  sto_ClassRow m_Row;
  std::vector<Known> m_Known;
};
