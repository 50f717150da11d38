#pragma once

#include <string>
#include <vector>

#include "bench/oo7/oo7_Pointers.h"

// The classes of the database as plain C++, with plain or with shared pointers.

namespace oo7_graph {

template <class Pointers> struct Atom;
template <class Pointers> struct Base;
template <class Pointers> struct Complex;
template <class Pointers> struct Composite;
template <class Pointers> struct Module;

struct DesignObject {
  DesignObject() = default;
  DesignObject(DesignObject const&) = delete;
  DesignObject& operator=(DesignObject const&) = delete;
  virtual ~DesignObject() = default;
  int m_Id = 0;
  std::string m_Type;
  int m_BuildDate = 0;
};

template <class Pointers> struct Connection {
  std::string m_Type;
  int m_Length = 0;
  typename Pointers::template Back<Atom<Pointers>> m_From;
  typename Pointers::template Ref<Atom<Pointers>> m_To;
};

template <class Pointers> struct Atom : DesignObject {
  int m_X = 0;
  int m_Y = 0;
  int m_DocId = 0;
  std::vector<typename Pointers::template Own<Connection<Pointers>>> m_To;
  std::vector<typename Pointers::template Back<Connection<Pointers>>> m_From;
  typename Pointers::template Back<Composite<Pointers>> m_PartOf;
  int m_Mark = 0; // of the last search that came here
};

template <class Pointers> struct Document {
  int m_Id = 0;
  std::string m_Title;
  std::string m_Text;
  typename Pointers::template Back<Composite<Pointers>> m_Part;
};

template <class Pointers> struct Composite : DesignObject {
  ~Composite() override {
    for (auto const& atom : m_Parts) atom->m_To.clear(); // rings of shared pointers
  }
  typename Pointers::template Own<Document<Pointers>> m_Documentation;
  std::vector<typename Pointers::template Own<Atom<Pointers>>> m_Parts;
  typename Pointers::template Ref<Atom<Pointers>> m_RootPart{};
  std::vector<typename Pointers::template Back<Base<Pointers>>> m_UsedInPrivate;
  std::vector<typename Pointers::template Back<Base<Pointers>>> m_UsedInShared;
};

template <class Pointers> struct Assembly : DesignObject {
  [[nodiscard]] virtual bool IsBase() const = 0;
  typename Pointers::template Back<Complex<Pointers>> m_Super{};
  typename Pointers::template Back<Module<Pointers>> m_Module{};
};

template <class Pointers> struct Complex : Assembly<Pointers> {
  [[nodiscard]] bool IsBase() const override { return false; }
  std::vector<typename Pointers::template Own<Assembly<Pointers>>> m_SubAssemblies;
};

template <class Pointers> struct Base : Assembly<Pointers> {
  [[nodiscard]] bool IsBase() const override { return true; }
  std::vector<typename Pointers::template Ref<Composite<Pointers>>> m_Private;
  std::vector<typename Pointers::template Ref<Composite<Pointers>>> m_Shared;
};

template <class Pointers> struct Manual {
  int m_Id = 0;
  std::string m_Title;
  std::string m_Text;
  int m_TextLength = 0;
  typename Pointers::template Back<Module<Pointers>> m_Module{};
};

template <class Pointers> struct Module : DesignObject {
  typename Pointers::template Own<Manual<Pointers>> m_Manual;
  std::vector<typename Pointers::template Back<Assembly<Pointers>>> m_Assemblies;
  typename Pointers::template Own<Complex<Pointers>> m_DesignRoot;
};

/// The root: the module, and the library of composite parts that it uses.
template <class Pointers> struct Library {
  typename Pointers::template Own<Module<Pointers>> m_Module;
  std::vector<typename Pointers::template Own<Composite<Pointers>>> m_Composites;
};

/// What oo7_Graph wants to know.
template <class Pointers> struct Classes : Pointers {
  using Atom = oo7_graph::Atom<Pointers>;
  using Base = oo7_graph::Base<Pointers>;
  using Complex = oo7_graph::Complex<Pointers>;
  using Composite = oo7_graph::Composite<Pointers>;
  using Connection = oo7_graph::Connection<Pointers>;
  using Document = oo7_graph::Document<Pointers>;
  using Library = oo7_graph::Library<Pointers>;
  using Manual = oo7_graph::Manual<Pointers>;
  using Module = oo7_graph::Module<Pointers>;
};

} // namespace oo7_graph
