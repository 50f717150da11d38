#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "collections/cls_ArrayPrim.h"
#include "store/sto_Store.h"
#include "tests/faults/FaultsFrame.h"
#include "tests/support/server/ServerPlace.h"
#include "tests/support/server/ServerSql.h"

// Shared by the tests of what goes wrong between a program and a server.

namespace ServerFaults {

/// A small object.
class Piece {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x770001; }
  explicit Piece(int value) : m_Value(value) {}
  explicit Piece(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const;

  int m_Value;
  cls_Uid m_Uid;
};

/// An object whose record is too long for a pack, with a list in blocks.
class Plate {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x770002; }
  static constexpr int Elements = 6000;
  Plate() = default;
  explicit Plate(cls_ReadVisitor const& visitor);
  ~Plate();
  void DBWrite(cls_WriteVisitor const& visitor) const;

  int m_Number = 0;
  cls_ArrayPrim<int> m_Values;
  cls_Uid m_Uid;
};

/// An object of one of many classes, so that a save can describe a new one.
class Described {
 public:
  static constexpr int Classes = 40;
  explicit Described(int number) : m_Number(number) {}
  explicit Described(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const;

  int m_Number;
  cls_Uid m_Uid;
};

cls_ClassRegistrar const& Registrar();

/// A session that saves step after step. A step changes small objects, a long record, elements in two blocks of a list,
/// replaces a root, and describes a new class.
class Writer {
 public:
  static constexpr int Pieces = 5;
  static constexpr int LastStep = Described::Classes - 1;

  explicit Writer(std::string const& location, sto_Options const& options = {});
  /// Makes a store, at step 0.
  static void Make(std::string const& location);

  /// Changes everything to a step and saves it, without the commit. REQUIRES: an open transaction.
  void SaveStep(int step);
  /// The same in a transaction of its own.
  void CommitStep(int step);
  /// Loads what the store has, and returns its step.
  int Reload();
  [[nodiscard]] sto_Store& Store() noexcept { return m_Store; }

 private:
  sto_Store m_Store;
  std::vector<std::unique_ptr<Piece>> m_Pieces;
  std::unique_ptr<Plate> m_Plate;
};

/// The step that a store is at. Throws std::runtime_error if not everything is of one step.
int StepOf(sto_Store& store);
/// What Check finds in a store; empty: nothing.
std::string DamageOf(sto_Store& store);

/// A fixture with stores on the server of the environment.
class ServerFaultsTest : public testing::Test {
 protected:
  /// A location of a store that no other test has.
  [[nodiscard]] std::string NewStore(std::string const& uri) const;
  [[nodiscard]] std::string NameOfStore() const { return "store " + std::to_string(s_Stores); }
  [[nodiscard]] std::string NewStore() const { return NewStore(m_Place.Uri()); }
  [[nodiscard]] std::string Location(std::string const& uri) const { return uri + "#" + NameOfStore(); }
  static sto_Store Open(std::string const& location, sto_Mode mode = sto_Mode::ReadOnly,
                        sto_Options const& options = {}) {
    return sto_Store::Open(location, mode, Registrar(), options);
  }
  /// Expects the present store to be sound and at a step, for a session that comes new.
  void ExpectStep(int step) const;

  ServerPlace m_Place = ServerPlace::OfEnvironment();

 private:
  static inline int s_Stores = 0;
};

/// While this lives, commits of programs that are called "slow" sleep in the server before they are complete.
class SlowCommits {
 public:
  SlowCommits(ServerPlace const& place, double seconds);
  SlowCommits(SlowCommits const&) = delete;
  SlowCommits& operator=(SlowCommits const&) = delete;
  ~SlowCommits();

 private:
  std::string m_Uri;
};

} // namespace ServerFaults
