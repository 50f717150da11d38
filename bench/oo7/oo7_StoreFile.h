#pragma once

#include <memory>
#include <string>

#include "store/sto_Store.h"

/// A library of described classes under one root of a store, as oo7_Graph wants it.
template <class Library> class oo7_StoreFile {
 public:
  oo7_StoreFile() { Library::DeclareAll(m_Registrar); }

  void Create(std::string const& path, std::unique_ptr<Library> library) {
    m_Store = std::make_unique<sto_Store>(sto_Store::Open(path, sto_Mode::Create, m_Registrar));
    Save(*library, false);
    Close(std::move(library));
  }
  std::unique_ptr<Library> Open(std::string const& path) {
    m_Store = std::make_unique<sto_Store>(sto_Store::Open(path, sto_Mode::ReadWrite, m_Registrar));
    return m_Store->Load<Library>(Root);
  }
  void Close(std::unique_ptr<Library> library) {
    library.reset();
    m_Store.reset();
  }
  /// Deleted objects are in the store until its garbage is collected, so that is a part of the deletion.
  void Save(Library const& library, bool hasDeleted) {
    sto_Transaction transaction(*m_Store);
    m_Store->Save(Root, library);
    if (hasDeleted) m_Store->CollectGarbage();
    transaction.Commit();
  }

 private:
  static constexpr char Root[] = "module";
  cls_ClassRegistrar m_Registrar;
  std::unique_ptr<sto_Store> m_Store;
};
