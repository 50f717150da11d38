#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "bench/oo7/oo7_Adapter.h"
#include "bench/oo7/oo7_LazyClasses.h"
#include "store/refs/sto_Find.h"

/// A session of a store whose objects refer to each other: an oo7_Adapter that loads each object when it is asked for.
/// What is loaded stays, except for what a scan loads. Operations that change nothing run in a sto_ReadTransaction.
/// Objects are found by the indexes of the store.
///
/// A composite part is deleted with its document, its atoms and their connections, and taken out of the lists that lead to
/// it. The lists of what is deleted stay in the file until garbage is collected, which no operation does.
class oo7_LazySession {
 public:
  // Objects are constant; Edit gives one to change.
  using Atom = oo7_lazy::Atom const;
  using Base = oo7_lazy::Base const;
  using Complex = oo7_lazy::Complex const;
  using Composite = oo7_lazy::Composite const;
  using Document = oo7_lazy::Document const;
  using AtomRef = sto_Ref<oo7_lazy::Atom>;

  oo7_LazySession() { oo7_lazy::Library::DeclareAll(m_Registrar); }

  void Build(oo7_Rows const& rows, std::string const& path);
  void Open(std::string const& path, oo7_Parameters const& parameters);
  void Close();
  void Begin(bool changes);
  void Commit();
  void End();
  [[nodiscard]] oo7_Parameters const& Parameters() const { return m_Parameters; }

  Complex& DesignRoot() { return *m_Library->m_Module->m_DesignRoot; }
  template <class OnComplex, class OnBase>
  void EachSub(Complex& complex, OnComplex&& onComplex, OnBase&& onBase) {
    for (sto_Ref<oo7_lazy::Assembly> const& sub : complex.m_SubAssemblies)
      if (sub->IsBase())
        onBase(static_cast<Base&>(*sub));
      else
        onComplex(static_cast<Complex&>(*sub));
  }
  template <class Visit> void EachPrivate(Base& base, Visit&& visit) { VisitEach(base.m_Private, visit); }
  template <class Visit> void EachPrivateUser(Composite& part, Visit&& visit) {
    VisitEach(part.m_UsedInPrivate, visit);
  }
  Complex* Super(auto& assembly) { return ToPointer(assembly.m_Super); }
  AtomRef const& RootPart(Composite& part) { return part.m_RootPart; }
  Composite& PartOf(Atom& atom) { return *atom.m_PartOf; }
  template <class Visit> void EachTo(AtomRef const& atom, Visit&& visit) {
    for (sto_Ref<oo7_lazy::Connection> const& connection : atom->m_To) visit(connection->m_To);
  }

  Atom* FindAtom(int id);
  Composite* FindPartOfTitle(std::string const& title);
  template <class Visit> void EachAtomBuilt(int first, int last, Visit&& visit) {
    VisitEach(m_Store->FindBetween<oo7_lazy::Atom>(&Atom::m_BuildDate, first, last), visit);
  }
  template <class Visit> void EachAtom(Visit&& visit) {
    m_Store->ForEach<oo7_lazy::Atom>([&visit](AtomRef const& atom) { visit(*atom); });
  }
  /// The module has a list of them; ForEach would look at what each object of the store is.
  template <class Visit> void EachBase(Visit&& visit) {
    for (sto_Ref<oo7_lazy::Assembly> const& assembly : m_Library->m_Module->m_Assemblies)
      if (assembly->IsBase()) visit(static_cast<Base&>(*assembly));
  }
  /// Many atoms name one document, so each is searched once.
  template <class Visit> void EachAtomWithDocument(Visit&& visit) {
    std::unordered_map<int, sto_Ref<oo7_lazy::Document>> documents;
    EachAtom([&](Atom& atom) {
      auto const [at, isNew] = documents.try_emplace(atom.m_DocId);
      if (isNew) at->second = FindDocument(atom.m_DocId);
      if (at->second) visit(atom, *at->second);
    });
  }

  std::string_view DocumentText(Composite& part) { return part.m_Documentation->m_Text; }
  std::string_view ManualText() { return Manual().m_Text; }
  int ManualLength() { return Manual().m_TextLength; }
  char ManualByte(int at) { return ManualText()[static_cast<std::size_t>(at)]; }

  void SetPosition(AtomRef const& atom, int x, int y);
  void SetBuildDate(AtomRef const& atom, int date) { atom.Edit().m_BuildDate = date; }
  void SetDocumentText(Composite& part, std::string text) {
    part.m_Documentation.Edit().m_Text = std::move(text);
  }
  void Insert(oo7_CompositeRow const& row, int baseId);
  int Delete(int id);

 private:
  template <class List, class Visit> static void VisitEach(List const& list, Visit& visit) {
    for (auto const& each : list) visit(*each);
  }
  template <class T> static T const* ToPointer(sto_Ref<T> const& reference) {
    return reference ? &*reference : nullptr;
  }
  [[nodiscard]] sto_Ref<oo7_lazy::Document> FindDocument(int id) {
    return m_Store->FindOne<oo7_lazy::Document>(&Document::m_Id, id);
  }
  oo7_lazy::Manual const& Manual() { return *m_Library->m_Module->m_Manual; }

  oo7_Parameters m_Parameters;
  cls_ClassRegistrar m_Registrar;
  std::optional<sto_Store> m_Store;
  sto_Ref<oo7_lazy::Library> m_Library;
  std::optional<sto_Transaction> m_Writing;
  std::optional<sto_ReadTransaction> m_Reading;
};
