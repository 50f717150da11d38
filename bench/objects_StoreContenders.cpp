#include "bench/objects_StoreContenders.h"

#include <cstdio>
#include <filesystem>
#include <numeric>

cls_ClassRegistrar const& objects_StoreClasses() {
  static cls_ClassRegistrar registrar;
  static bool const isFilled = [] {
    objects_Part::Declare(registrar);
    objects_Note::Declare(registrar);
    objects_Holding::Declare(registrar);
    return true;
  }();
  static_cast<void>(isFilled);
  return registrar;
}

std::string objects_RootName(int index) {
  char text[32];
  std::snprintf(text, sizeof text, "object/%08d", index);
  return text;
}

// ---- All objects under one root

objects_StoreContender::objects_StoreContender(std::vector<objects_Sample> const& samples) {
  std::vector<std::unique_ptr<objects_Part>> objects;
  for (objects_Sample const& sample : samples) objects.push_back(std::make_unique<objects_Note>(sample));
  m_Saved = std::make_unique<objects_Holding>(objects);
}

void objects_StoreContender::Prepare(std::string const& path) {
  std::filesystem::remove(path);
  m_Store.emplace(sto_Store::Open(path, sto_Mode::Create, objects_StoreClasses()));
}

void objects_StoreContender::Save() {
  sto_Transaction transaction(*m_Store);
  m_Store->Save("objects", *m_Saved);
  transaction.Commit();
}

void objects_StoreContender::Close() {
  m_Store.reset();
}

void objects_StoreContender::Load(std::string const& path) {
  m_Store.emplace(sto_Store::Open(path, sto_Mode::ReadOnly, objects_StoreClasses()));
  m_Loaded = m_Store->Load<objects_Holding>("objects");
}

objects_Tally objects_StoreContender::Loaded() const {
  objects_Tally tally;
  m_Loaded->AddTo(tally);
  return tally;
}

void objects_StoreContender::Release() {
  m_Loaded.reset();
}

// ---- A root for each object

objects_RootsContender::objects_RootsContender(std::vector<objects_Sample> const& samples) {
  for (objects_Sample const& sample : samples) {
    m_Names.push_back(objects_RootName(static_cast<int>(m_Names.size())));
    m_Saved.push_back(std::make_unique<objects_Note>(sample));
  }
}

void objects_RootsContender::Prepare(std::string const& path) {
  std::filesystem::remove(path);
  m_Store.emplace(sto_Store::Open(path, sto_Mode::Create, objects_StoreClasses()));
}

void objects_RootsContender::Save() {
  sto_Transaction transaction(*m_Store);
  for (std::size_t i = 0; i < m_Saved.size(); ++i) m_Store->Save(m_Names[i], *m_Saved[i]);
  transaction.Commit();
}

void objects_RootsContender::Close() {
  m_Store.reset();
}

void objects_RootsContender::Load(std::string const& path) {
  std::vector<int> order(m_Names.size());
  std::iota(order.begin(), order.end(), 0);
  LoadShuffled(path, order);
}

bool objects_RootsContender::LoadShuffled(std::string const& path, std::vector<int> const& order) {
  m_Store.emplace(sto_Store::Open(path, sto_Mode::ReadOnly, objects_StoreClasses()));
  m_Loaded.reserve(order.size());
  sto_ReadTransaction const transaction(*m_Store);
  for (int const index : order)
    m_Loaded.push_back(m_Store->Load<objects_Part>(m_Names[static_cast<std::size_t>(index)]));
  return true;
}

objects_Tally objects_RootsContender::Loaded() const {
  return objects_TallyOf(m_Loaded);
}

void objects_RootsContender::Release() {
  std::vector<std::unique_ptr<objects_Part>>().swap(m_Loaded);
}
