#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bench/oo7/oo7_Pointers.h"
#include "describe/dsc_Described.h"

// The classes of the database as described classes, for the store.

namespace oo7_described {

class Atom;
class Base;
class Complex;
class Composite;
class Module;

class DesignObject : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(DesignObject, kvl::Polymorphic, 0x674001, "DesignObject", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id));
    field(KVL_F(m_Type));
    field(KVL_F(m_BuildDate));
  }
  DesignObject() = default;
  int m_Id = 0;
  std::string m_Type;
  int m_BuildDate = 0;
};

class Connection {
 public:
  KVL_PERSISTED(Connection, 0x674002, "Connection", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Type));
    field(KVL_F(m_Length));
    field(KVL_F(m_From));
    field(KVL_F(m_To));
  }
  Connection() = default;
  std::string m_Type;
  int m_Length = 0;
  std::weak_ptr<Atom> m_From;
  std::shared_ptr<Atom> m_To;
};

class Atom : public DesignObject {
 public:
  KVL_PERSISTED(Atom, DesignObject, 0x674003, "Atom", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_X));
    field(KVL_F(m_Y));
    field(KVL_F(m_DocId));
    field(KVL_F(m_To));
    field(KVL_F(m_From));
    field(KVL_F(m_PartOf));
    field(KVL_F(m_Mark), kvl::Transient());
  }
  Atom() = default;
  int m_X = 0;
  int m_Y = 0;
  int m_DocId = 0;
  std::vector<std::shared_ptr<Connection>> m_To;
  std::vector<std::weak_ptr<Connection>> m_From;
  std::weak_ptr<Composite> m_PartOf;
  int m_Mark = 0; // of the last search that came here
};

class Document {
 public:
  KVL_PERSISTED(Document, 0x674004, "Document", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id));
    field(KVL_F(m_Title));
    field(KVL_F(m_Text));
    field(KVL_F(m_Part));
  }
  Document() = default;
  int m_Id = 0;
  std::string m_Title;
  std::string m_Text;
  std::weak_ptr<Composite> m_Part;
};

class Composite : public DesignObject {
 public:
  KVL_PERSISTED(Composite, DesignObject, 0x674005, "Composite", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Documentation));
    field(KVL_F(m_Parts));
    field(KVL_F(m_RootPart));
    field(KVL_F(m_UsedInPrivate));
    field(KVL_F(m_UsedInShared));
  }
  Composite() = default;
  ~Composite() override {
    for (auto const& atom : m_Parts) atom->m_To.clear(); // rings of shared pointers
  }
  std::shared_ptr<Document> m_Documentation;
  std::vector<std::shared_ptr<Atom>> m_Parts;
  std::shared_ptr<Atom> m_RootPart;
  std::vector<std::weak_ptr<Base>> m_UsedInPrivate;
  std::vector<std::weak_ptr<Base>> m_UsedInShared;
};

class Assembly : public DesignObject {
 public:
  KVL_PERSISTED(Assembly, DesignObject, 0x674006, "Assembly", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Super));
    field(KVL_F(m_Module));
  }
  [[nodiscard]] virtual bool IsBase() const = 0;
  std::weak_ptr<Complex> m_Super;
  std::weak_ptr<Module> m_Module;

 protected:
  Assembly() = default;
};

class Complex : public Assembly {
 public:
  KVL_PERSISTED(Complex, Assembly, 0x674007, "Complex", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_SubAssemblies)); }
  Complex() = default;
  [[nodiscard]] bool IsBase() const override { return false; }
  std::vector<std::shared_ptr<Assembly>> m_SubAssemblies;
};

class Base : public Assembly {
 public:
  KVL_PERSISTED(Base, Assembly, 0x674008, "Base", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Private));
    field(KVL_F(m_Shared));
  }
  Base() = default;
  [[nodiscard]] bool IsBase() const override { return true; }
  std::vector<std::shared_ptr<Composite>> m_Private;
  std::vector<std::shared_ptr<Composite>> m_Shared;
};

class Manual {
 public:
  KVL_PERSISTED(Manual, 0x674009, "Manual", 1)
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
  std::weak_ptr<Module> m_Module;
};

class Module : public DesignObject {
 public:
  KVL_PERSISTED(Module, DesignObject, 0x67400a, "Module", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Manual));
    field(KVL_F(m_Assemblies));
    field(KVL_F(m_DesignRoot));
  }
  Module() = default;
  std::shared_ptr<Manual> m_Manual;
  std::vector<std::weak_ptr<Assembly>> m_Assemblies;
  std::shared_ptr<Complex> m_DesignRoot;
};

/// The root: the module, and the library of composite parts that it uses.
class Library {
 public:
  KVL_PERSISTED(Library, 0x67400b, "Library", 1)
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
  std::shared_ptr<Module> m_Module;
  std::vector<std::shared_ptr<Composite>> m_Composites;
};

/// What oo7_Graph wants to know.
struct Classes : oo7_SharedPointers {
  using Atom = oo7_described::Atom;
  using Base = oo7_described::Base;
  using Complex = oo7_described::Complex;
  using Composite = oo7_described::Composite;
  using Connection = oo7_described::Connection;
  using Document = oo7_described::Document;
  using Library = oo7_described::Library;
  using Manual = oo7_described::Manual;
  using Module = oo7_described::Module;
};

} // namespace oo7_described
