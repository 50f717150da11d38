#pragma once

#include <memory>
#include <string>

#include "describe/dsc_Described.h"
#include "store/refs/sto_List.h"

// The classes of the database as described classes whose associations are references: each object stays in the store
// until it is asked for.

namespace oo7_lazy {

class Atom;
class Base;
class Complex;
class Composite;
class Module;

/// Ids are counted apart for each class, and only the dates of atoms are looked up. So the classes that are derived from
/// this one have them, each with an index of its own.
class DesignObject : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(DesignObject, kvl::Polymorphic, 0x674021, "DesignObject", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Type)); }
  DesignObject() = default;
  std::string m_Type;
};

class Connection {
 public:
  KVL_PERSISTED(Connection, 0x674022, "Connection", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Type));
    field(KVL_F(m_Length));
    field(KVL_F(m_From));
    field(KVL_F(m_To));
  }
  Connection() = default;
  std::string m_Type;
  int m_Length = 0;
  sto_Ref<Atom> m_From;
  sto_Ref<Atom> m_To;
};

class Atom : public DesignObject {
 public:
  KVL_PERSISTED(Atom, DesignObject, 0x674023, "Atom", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id), kvl::Indexed{});
    field(KVL_F(m_BuildDate), kvl::Indexed{});
    field(KVL_F(m_X));
    field(KVL_F(m_Y));
    field(KVL_F(m_DocId));
    field(KVL_F(m_To));
    field(KVL_F(m_From));
    field(KVL_F(m_PartOf));
    field(KVL_F(m_Mark), kvl::Transient());
  }
  Atom() = default;
  int m_Id = 0;
  int m_BuildDate = 0;
  int m_X = 0;
  int m_Y = 0;
  int m_DocId = 0;
  sto_List<Connection> m_To;
  sto_List<Connection> m_From;
  sto_Ref<Composite> m_PartOf;
  mutable int m_Mark = 0; // of the last search that came here; a search changes nothing that is stored
};

class Document {
 public:
  KVL_PERSISTED(Document, 0x674024, "Document", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id), kvl::Indexed{});
    field(KVL_F(m_Title), kvl::Indexed{});
    field(KVL_F(m_Text));
    field(KVL_F(m_Part));
  }
  Document() = default;
  int m_Id = 0;
  std::string m_Title;
  std::string m_Text;
  sto_Ref<Composite> m_Part;
};

class Composite : public DesignObject {
 public:
  KVL_PERSISTED(Composite, DesignObject, 0x674025, "Composite", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id), kvl::Indexed{});
    field(KVL_F(m_BuildDate));
    field(KVL_F(m_Documentation));
    field(KVL_F(m_Parts));
    field(KVL_F(m_RootPart));
    field(KVL_F(m_UsedInPrivate));
    field(KVL_F(m_UsedInShared));
  }
  Composite() = default;
  int m_Id = 0;
  int m_BuildDate = 0;
  sto_Ref<Document> m_Documentation;
  sto_List<Atom> m_Parts;
  sto_Ref<Atom> m_RootPart;
  sto_List<Base> m_UsedInPrivate;
  sto_List<Base> m_UsedInShared;
};

class Assembly : public DesignObject {
 public:
  KVL_PERSISTED(Assembly, DesignObject, 0x674026, "Assembly", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_BuildDate));
    field(KVL_F(m_Super));
    field(KVL_F(m_Module));
  }
  [[nodiscard]] virtual bool IsBase() const = 0;
  int m_BuildDate = 0;
  sto_Ref<Complex> m_Super;
  sto_Ref<Module> m_Module;

 protected:
  Assembly() = default;
};

class Complex : public Assembly {
 public:
  KVL_PERSISTED(Complex, Assembly, 0x674027, "Complex", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id));
    field(KVL_F(m_SubAssemblies));
  }
  Complex() = default;
  int m_Id = 0;
  [[nodiscard]] bool IsBase() const override { return false; }
  sto_List<Assembly> m_SubAssemblies;
};

class Base : public Assembly {
 public:
  KVL_PERSISTED(Base, Assembly, 0x674028, "Base", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id), kvl::Indexed{});
    field(KVL_F(m_Private));
    field(KVL_F(m_Shared));
  }
  Base() = default;
  int m_Id = 0;
  [[nodiscard]] bool IsBase() const override { return true; }
  sto_List<Composite> m_Private;
  sto_List<Composite> m_Shared;
};

class Manual {
 public:
  KVL_PERSISTED(Manual, 0x674029, "Manual", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id));
    field(KVL_F(m_Title));
    field(KVL_F(m_Text));
    field(KVL_F(m_TextLength));
    field(KVL_F(m_Module));
  }
  Manual() = default;
  int m_Id = 0;
  std::string m_Title;
  std::string m_Text;
  int m_TextLength = 0;
  sto_Ref<Module> m_Module;
};

class Module : public DesignObject {
 public:
  KVL_PERSISTED(Module, DesignObject, 0x67402a, "Module", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id), kvl::Indexed{});
    field(KVL_F(m_BuildDate));
    field(KVL_F(m_Manual));
    field(KVL_F(m_Assemblies));
    field(KVL_F(m_DesignRoot));
  }
  Module() = default;
  int m_Id = 0;
  int m_BuildDate = 0;
  sto_Ref<Manual> m_Manual;
  sto_List<Assembly> m_Assemblies;
  sto_Ref<Complex> m_DesignRoot;
};

/// The root: the module, and the library of composite parts that it uses.
class Library {
 public:
  KVL_PERSISTED(Library, 0x67402b, "Library", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Module));
    field(KVL_F(m_Composites));
  }
  static void DeclareAll(cls_ClassRegistrar& registrar) {
    Declare(registrar);
    Complex::Declare(registrar);
    Base::Declare(registrar);
  }
  Library() = default;
  sto_Ref<Module> m_Module;
  sto_List<Composite> m_Composites;
};

/// What oo7_GraphBuilder wants to know.
struct Classes {
  template <class T> using Own = sto_Ref<T>;
  template <class T> using Ref = sto_Ref<T>;
  template <class T> static Own<T> Make() { return sto_Ref<T>(std::make_shared<T>()); }

  using Atom = oo7_lazy::Atom;
  using Base = oo7_lazy::Base;
  using Complex = oo7_lazy::Complex;
  using Composite = oo7_lazy::Composite;
  using Connection = oo7_lazy::Connection;
  using Document = oo7_lazy::Document;
  using Library = oo7_lazy::Library;
  using Manual = oo7_lazy::Manual;
  using Module = oo7_lazy::Module;
};

} // namespace oo7_lazy

template <class T> sto_Ref<T> oo7_Share(sto_Ref<T> const& reference) {
  return reference;
}
