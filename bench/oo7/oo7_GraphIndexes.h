#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "bench/oo7/oo7_Pointers.h"

/// The atoms of a graph by id and by date.
template <class Classes> class oo7_AtomIndex {
 public:
  using Atom = typename Classes::Atom;

  explicit oo7_AtomIndex(typename Classes::Library const& library) {
    for (auto const& part : library.m_Composites) Add(*part);
  }

  void Add(typename Classes::Composite const& part) {
    for (auto const& atom : part.m_Parts) {
      m_ById.emplace(atom->m_Id, oo7_Get(atom));
      m_ByDate[atom->m_BuildDate].insert(oo7_Get(atom));
    }
  }
  void Remove(typename Classes::Composite const& part) {
    for (auto const& atom : part.m_Parts) {
      m_ById.erase(atom->m_Id);
      m_ByDate[atom->m_BuildDate].erase(oo7_Get(atom));
    }
  }
  void Move(Atom& atom, int date) { m_ByDate[date].insert(m_ByDate[atom.m_BuildDate].extract(&atom)); }

  [[nodiscard]] Atom* Find(int id) const {
    auto const found = m_ById.find(id);
    return found == m_ById.end() ? nullptr : found->second;
  }
  template <class Visit> void EachBuilt(int first, int last, Visit visit) const {
    auto const end = m_ByDate.upper_bound(last);
    for (auto at = m_ByDate.lower_bound(first); at != end; ++at)
      for (Atom* const atom : at->second) visit(*atom);
  }

 private:
  std::unordered_map<int, Atom*> m_ById;
  std::map<int, std::unordered_set<Atom*>> m_ByDate;
};

/// The composite parts, documents and base assemblies of a graph by id, and documents by title.
template <class Classes> class oo7_PartIndex {
 public:
  using Composite = typename Classes::Composite;
  using Base = typename Classes::Base;

  explicit oo7_PartIndex(typename Classes::Library const& library) {
    for (auto const& part : library.m_Composites) Add(*part);
    for (auto const& assembly : library.m_Module->m_Assemblies)
      if (oo7_Get(assembly)->IsBase()) {
        auto base = ToBase(oo7_Share(assembly));
        int const id = base->m_Id;
        m_Bases.emplace(id, std::move(base));
      }
  }

  void Add(Composite& part) {
    m_Parts.emplace(part.m_Id, &part);
    m_Titles.emplace(part.m_Documentation->m_Title, &part);
  }
  void Remove(Composite const& part) {
    m_Parts.erase(part.m_Id);
    m_Titles.erase(part.m_Documentation->m_Title);
  }

  /// A document has the id of its composite part.
  [[nodiscard]] Composite* Find(int id) const { return In(m_Parts, id); }
  [[nodiscard]] Composite* FindTitle(std::string const& title) const { return In(m_Titles, title); }
  [[nodiscard]] typename Classes::template Ref<Base> FindBase(int id) const { return m_Bases.at(id); }

 private:
  template <class Key> static Composite* In(std::unordered_map<Key, Composite*> const& map, Key const& key) {
    auto const found = map.find(key);
    return found == map.end() ? nullptr : found->second;
  }
  template <class Assembly> static Base* ToBase(Assembly* assembly) { return static_cast<Base*>(assembly); }
  template <class Assembly> static std::shared_ptr<Base> ToBase(std::shared_ptr<Assembly> const& assembly) {
    return std::static_pointer_cast<Base>(assembly);
  }

  std::unordered_map<int, Composite*> m_Parts;
  std::unordered_map<std::string, Composite*> m_Titles;
  std::unordered_map<int, typename Classes::template Ref<Base>> m_Bases;
};
