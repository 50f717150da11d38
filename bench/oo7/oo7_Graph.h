#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "bench/oo7/oo7_Adapter.h"
#include "bench/oo7/oo7_GraphBuilder.h"
#include "bench/oo7/oo7_GraphIndexes.h"

/// A database that is in memory as a whole (an oo7_Adapter), and how it gets there:
///
/// - `File::Create(path, library)` keeps a new library durably;
/// - `File::Open(path)` returns the library, `File::Close(library)` ends its use;
/// - `File::Save(library, hasDeleted)` keeps its changes durably; `hasDeleted`: parts are gone that it had before.
///
/// Indexes are not kept. The first operation of a session that needs one builds it; from then on it follows changes.
template <class Classes, class File> class oo7_Graph {
 public:
  using Atom = typename Classes::Atom;
  using Base = typename Classes::Base;
  using Complex = typename Classes::Complex;
  using Composite = typename Classes::Composite;
  using Library = typename Classes::Library;

  void Build(oo7_Rows const& rows, std::string const& path) {
    auto library = std::make_unique<Library>();
    oo7_GraphBuilder<Classes>::Build(rows, *library);
    m_File.Create(path, std::move(library));
  }
  void Open(std::string const& path, oo7_Parameters const& parameters) {
    m_Parameters = parameters;
    m_Library = m_File.Open(path);
  }
  void Close() {
    m_Atoms.reset();
    m_Parts.reset();
    m_File.Close(std::move(m_Library));
  }
  void Begin(bool) {}
  void End() {}
  void Commit() {
    m_File.Save(*m_Library, m_HasDeleted);
    m_HasDeleted = false;
  }

  [[nodiscard]] oo7_Parameters const& Parameters() const { return m_Parameters; }
  Complex& DesignRoot() { return *m_Library->m_Module->m_DesignRoot; }

  template <class OnComplex, class OnBase>
  void EachSub(Complex& complex, OnComplex&& onComplex, OnBase&& onBase) {
    for (auto const& sub : complex.m_SubAssemblies)
      if (sub->IsBase())
        onBase(static_cast<Base&>(*sub));
      else
        onComplex(static_cast<Complex&>(*sub));
  }
  template <class Visit> void EachPrivate(Base& base, Visit&& visit) {
    for (auto const& part : base.m_Private) visit(*part);
  }
  template <class Visit> void EachPrivateUser(Composite& part, Visit&& visit) {
    for (auto const& base : part.m_UsedInPrivate) visit(*oo7_Get(base));
  }
  Complex* Super(auto& assembly) { return oo7_Get(assembly.m_Super); }
  Atom& RootPart(Composite& part) { return *part.m_RootPart; }
  Composite& PartOf(Atom& atom) { return *oo7_Get(atom.m_PartOf); }
  template <class Visit> void EachTo(Atom& atom, Visit&& visit) {
    for (auto const& connection : atom.m_To) visit(*connection->m_To);
  }

  Atom* FindAtom(int id) { return Atoms().Find(id); }
  Composite* FindPartOfTitle(std::string const& title) { return Parts().FindTitle(title); }
  template <class Visit> void EachAtomBuilt(int first, int last, Visit&& visit) {
    Atoms().EachBuilt(first, last, visit);
  }
  template <class Visit> void EachAtom(Visit&& visit) {
    for (auto const& part : m_Library->m_Composites)
      for (auto const& atom : part->m_Parts) visit(*atom);
  }
  template <class Visit> void EachBase(Visit&& visit) {
    for (auto const& assembly : m_Library->m_Module->m_Assemblies)
      if (auto* const object = oo7_Get(assembly); object->IsBase()) visit(static_cast<Base&>(*object));
  }
  template <class Visit> void EachAtomWithDocument(Visit&& visit) {
    EachAtom([&](Atom& atom) {
      if (Composite* const part = Parts().Find(atom.m_DocId)) visit(atom, *part->m_Documentation);
    });
  }

  std::string_view DocumentText(Composite& part) { return part.m_Documentation->m_Text; }
  std::string_view ManualText() { return m_Library->m_Module->m_Manual->m_Text; }
  int ManualLength() { return m_Library->m_Module->m_Manual->m_TextLength; }
  char ManualByte(int at) { return ManualText()[static_cast<std::size_t>(at)]; }

  void SetPosition(Atom& atom, int x, int y) {
    atom.m_X = x;
    atom.m_Y = y;
  }
  void SetBuildDate(Atom& atom, int date) {
    Atoms().Move(atom, date);
    atom.m_BuildDate = date;
  }
  void SetDocumentText(Composite& part, std::string text) { part.m_Documentation->m_Text = std::move(text); }

  void Insert(oo7_CompositeRow const& row, int baseId) {
    auto const base = Parts().FindBase(baseId);
    oo7_GraphBuilder<Classes>::AddComposite(m_Parameters, row, *m_Library);
    auto const part = oo7_Share(m_Library->m_Composites.back());
    oo7_GraphBuilder<Classes>::Use(base, part, true);
    Parts().Add(*part);
    Atoms().Add(*part);
  }
  int Delete(int id) {
    Composite& part = *Parts().Find(id);
    auto const isThis = [&part](auto const& other) { return oo7_Get(other) == &part; };
    for (auto const& base : part.m_UsedInPrivate) std::erase_if(oo7_Get(base)->m_Private, isThis);
    for (auto const& base : part.m_UsedInShared) std::erase_if(oo7_Get(base)->m_Shared, isThis);
    Parts().Remove(part);
    Atoms().Remove(part);
    int const atoms = static_cast<int>(part.m_Parts.size());
    std::erase_if(m_Library->m_Composites, isThis);
    m_HasDeleted = true;
    return atoms;
  }

 private:
  oo7_AtomIndex<Classes>& Atoms() {
    if (!m_Atoms) m_Atoms.emplace(*m_Library);
    return *m_Atoms;
  }
  oo7_PartIndex<Classes>& Parts() {
    if (!m_Parts) m_Parts.emplace(*m_Library);
    return *m_Parts;
  }

  oo7_Parameters m_Parameters;
  File m_File;
  std::unique_ptr<Library> m_Library;
  bool m_HasDeleted = false;
  std::optional<oo7_AtomIndex<Classes>> m_Atoms;
  std::optional<oo7_PartIndex<Classes>> m_Parts;
};
