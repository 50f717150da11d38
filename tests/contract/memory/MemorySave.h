#pragma once

#include "persist/backend/cls_RootRequest.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "tests/contract/memory/MemoryReader.h"
#include "tests/contract/memory/MemoryWriter.h"

// Saving and loading: what users of MemoryStorage include.

template <class T> void MemoryStorage::Save(std::string const& name, T const& object) {
  m_Holders->Flush();
  auto const pass = std::make_shared<Pass>(*this);
  m_Saving = pass;
  try {
    Stored* root = nullptr;
    cls_RootRequest const request([&](unsigned int classId, cls_Uid const& uid, void const*) {
      Pass::Opened opened = pass->Open(classId, uid);
      root = opened.m_Object;
      return opened.m_Memento.release();
    });
    object.DBWrite(cls_WriteVisitor(request, &object));
    if (!request.IsStarted()) Raise("The object of " + name + " wrote nothing.");
    pass->Check();
    m_Roots[name] = root;
    pass->Keep();
    m_Saving.reset();
  } catch (...) {
    pass->Undo();
    m_Saving.reset();
    throw;
  }
}

template <class T> std::unique_ptr<T> MemoryStorage::Load(std::string const& name) {
  auto const root = m_Roots.find(name);
  if (root == m_Roots.end()) Raise("There is no object " + name + ".");
  m_Holders->Flush(); // what arrays have not written back yet
  cls_ReadVisitor const visitor(new MemoryReader(*this, root->second));
  return std::make_unique<T>(visitor);
}
