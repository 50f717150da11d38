#pragma once

#include <optional>

#include "bench/objects_Contender.h"
#include "bench/objects_Holding.h"

/// The classes of the measured objects.
cls_ClassRegistrar const& objects_StoreClasses();

/// The root name of an object.
std::string objects_RootName(int index);

/// The store, with all objects under one root.
class objects_StoreContender : public objects_Contender {
 public:
  explicit objects_StoreContender(std::vector<objects_Sample> const& samples);

  void Prepare(std::string const& path) override;
  void Save() override;
  void Close() override;
  void Load(std::string const& path) override;
  [[nodiscard]] objects_Tally Loaded() const override;
  void Release() override;

 private:
  std::unique_ptr<objects_Holding> m_Saved;
  std::unique_ptr<objects_Holding> m_Loaded;
  std::optional<sto_Store> m_Store;
};

/// The store, with each object under its own root.
class objects_RootsContender : public objects_Contender {
 public:
  explicit objects_RootsContender(std::vector<objects_Sample> const& samples);

  void Prepare(std::string const& path) override;
  void Save() override;
  void Close() override;
  void Load(std::string const& path) override;
  bool LoadShuffled(std::string const& path, std::vector<int> const& order) override;
  [[nodiscard]] objects_Tally Loaded() const override;
  void Release() override;

 private:
  std::vector<std::string> m_Names;
  std::vector<std::unique_ptr<objects_Note>> m_Saved;
  std::vector<std::unique_ptr<objects_Part>> m_Loaded;
  std::optional<sto_Store> m_Store;
};
