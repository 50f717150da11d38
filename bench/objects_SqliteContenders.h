#pragma once

#include <memory>
#include <optional>

#include "bench/objects_Contender.h"
#include "bench/objects_PlainNote.h"
#include "bench/objects_SqliteFile.h"

/// What the three ways to use SQLite share. Objects have ids from 1.
class objects_SqliteContender : public objects_Contender {
 public:
  explicit objects_SqliteContender(std::vector<objects_Sample> const& samples);

  void Prepare(std::string const& path) override;
  void Close() override;
  [[nodiscard]] objects_Tally Loaded() const override;
  void Release() override;

 protected:
  [[nodiscard]] virtual char const* Tables() const = 0;
  objects_SqliteFile& Open(std::string const& path);

  std::vector<std::unique_ptr<objects_PlainNote>> m_Saved;
  std::vector<std::unique_ptr<objects_PlainPart>> m_Loaded;
  std::optional<objects_SqliteFile> m_File;
};

/// One row per object: its class and all its fields in one byte string.
class objects_PackedContender : public objects_SqliteContender {
 public:
  using objects_SqliteContender::objects_SqliteContender;

  void Save() override;
  void Load(std::string const& path) override;
  bool LoadShuffled(std::string const& path, std::vector<int> const& order) override;

 protected:
  [[nodiscard]] char const* Tables() const override;
  /// The fields, one after another.
  static void Pack(objects_PlainNote const& note, std::string& bytes);
  void AddUnpacked(std::string_view bytes);
};

/// One row per object, with a name for each object in a second table, by which it is loaded.
class objects_PackedByNameContender : public objects_PackedContender {
 public:
  explicit objects_PackedByNameContender(std::vector<objects_Sample> const& samples);

  void Save() override;
  void Load(std::string const& path) override;
  bool LoadShuffled(std::string const& path, std::vector<int> const& order) override;

 protected:
  [[nodiscard]] char const* Tables() const override;

 private:
  std::vector<std::string> m_Names;
};

/// One row per field: a row with the object's class, and one row for each field, keyed by object and field.
class objects_RowAFieldContender : public objects_SqliteContender {
 public:
  using objects_SqliteContender::objects_SqliteContender;

  void Save() override;
  void Load(std::string const& path) override;
  bool LoadShuffled(std::string const& path, std::vector<int> const& order) override;

 protected:
  [[nodiscard]] char const* Tables() const override;

 private:
  enum Field { Name, Number, Message };
};
