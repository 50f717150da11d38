#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "collections/cls_2dArrayPrim.h"
#include "collections/cls_ArrayPrim.h"
#include "collections/cls_SimpleArrayPrim.h"
#include "metadata/cls_ClassRegistrar.h"
#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_PC.h"
#include "persist/visitors/cls_BlobReader.h"
#include "persist/visitors/cls_BlobWriter.h"
#include "store/sto_Store.h"
#include "wrappers/cls_xp1DArrayList.h"

// What the programs of the fault campaign save: one class with every kind of member, and three whose members
// use agents. To the programs, elements of every type are numbers from 0.

/// Controls where a class fails while it is written.
struct FaultsFailure {
  enum class How { None, Throw, Undeclared };
  static inline How s_How = How::None;
  static inline int s_Point = 0; ///< number of members written before it fails
  /// Called between two members.
  static void Pass(cls_WriteVisitor const& visitor);
};

/// An object with one number, which others hold.
class Leaf {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x760003; }
  explicit Leaf(int value) : m_Value(value) {}
  explicit Leaf(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const;

  int m_Value;
  bool m_Fails = false;
  cls_Uid m_Uid;
};

/// The base part of Carrier.
class CarrierBase {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x760002; }
  CarrierBase() = default;
  explicit CarrierBase(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const;

  int m_BaseNumber = 0;
  cls_Uid m_BaseUid;
};

/// Values, a base part, a shared member and bulk arrays of four types.
class Carrier : public CarrierBase {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x760001; }
  static constexpr int ArrayCount = 4;

  Carrier() = default;
  explicit Carrier(cls_ReadVisitor const& visitor);
  /// Releases the blocks. The session keeps a failure.
  ~Carrier();
  void DBWrite(cls_WriteVisitor const& visitor) const;

  // The arrays by number.
  [[nodiscard]] int Size(int array) const;
  [[nodiscard]] bool IsAssociated(int array) const;
  [[nodiscard]] int Get(int array, int index) const;
  [[nodiscard]] std::vector<int> All(int array) const;
  void Set(int array, int index, int value);
  void Append(int array, int value);
  void AppendBlock(int array, std::vector<int> const& values);
  void Flush(int array) const;
  void Release(int array) const;
  int Refresh(int array);

  /// Makes, or removes, a copy of the arrays that shares their blocks.
  void MakeCopies();
  void DropCopies() noexcept { m_Copies.reset(); }
  [[nodiscard]] bool HasCopies() const noexcept { return m_Copies != nullptr; }
  [[nodiscard]] std::vector<int> AllOfCopy(int array) const;

  /// Assigns the table to another array without the store noticing, or removes that array.
  void AssignPast();
  void DropPast() noexcept { m_Past.reset(); }
  [[nodiscard]] bool HasPast() const noexcept { return m_Past != nullptr; }
  void ReadPast() const;
  void SavePast(sto_Store& store) const;

  int m_Number = 0;
  std::string m_Text;
  cls_xp1DArrayListInt m_List;
  std::shared_ptr<Leaf> m_Leaf; ///< in two fields
  cls_Uid m_Uid;

 private:
  struct Arrays {
    cls_ArrayPrim<double> m_Doubles;
    cls_ArrayPrim<int> m_Ints;
    cls_ArrayPrim<cow_String> m_Strings;
    cls_2dArrayPrim<double> m_Table;
  };
  template <class Self, class Act> static auto With(Self& arrays, int array, Act act);
  void WriteArrays(cls_WriteVisitor const& visitor) const;

  mutable Arrays m_Arrays;
  std::unique_ptr<Arrays> m_Copies;
  std::unique_ptr<cls_2dArrayPrim<double>> m_Past;
};

/// An object with a blob that keeps its agent.
class FaultsPicture {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x760004; }
  explicit FaultsPicture(std::string bytes) : m_First(std::move(bytes)) {}
  explicit FaultsPicture(cls_ReadVisitor const& visitor);
  /// Makes the blob: first from the constructor's bytes, later from its own content. Reading that raises an
  /// error if the blob was made in work that was undone.
  void DBWrite(cls_WriteVisitor const& visitor) const;
  [[nodiscard]] cls_AgentBlob& Blob() const;
  [[nodiscard]] bool HasBlob() const noexcept { return m_Reader != nullptr || m_Writer != nullptr; }
  [[nodiscard]] std::string Bytes() const;

  std::string m_First;
  cls_Uid m_BlobUid;
  cls_Uid m_Uid;

 private:
  std::unique_ptr<cls_BlobReader> m_Reader;
  mutable std::unique_ptr<cls_BlobWriter> m_Writer; // mutable: made when a const object is written
};

/// Holds an agent as an application's container does.
template <class Agent> class AgentHolder : public cls_PC {
 public:
  AgentHolder() = default;
  ~AgentHolder() override { LetGo(); }
  void Take(Agent* agent);
  void Flush() const override {}
  void Detach() override {
    Unlink();
    LetGo();
  }
  /// The agent; raises Unavailable if it is gone.
  Agent& Use() const;
  [[nodiscard]] bool WasTaken() const noexcept { return m_WasTaken; }

 private:
  void LetGo();
  Agent* m_Agent = nullptr;
  bool m_WasTaken = false;
};

/// An object that keeps a list and a map of objects open.
class Folder {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x760005; }
  using List = AgentHolder<cls_AgentListObj>;
  using Map = AgentHolder<cls_AgentMapKey2Obj<int>>;

  Folder() = default;
  explicit Folder(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const;

  cls_AgentListObj& Items() const { return m_Items.Use(); }
  cls_AgentMapKey2Obj<int>& Keyed() const { return m_Keyed.Use(); }
  void Put(int index, Leaf const& leaf) const;
  void PutKey(int key, Leaf const& leaf) const;
  /// Whether at least one of the agents was made.
  [[nodiscard]] bool HasAgents() const noexcept { return m_Items.WasTaken() || m_Keyed.WasTaken(); }
  [[nodiscard]] std::vector<int> AllItems() const; ///< -1 for an empty object
  [[nodiscard]] std::vector<std::pair<int, int>> AllKeyed() const;

  cls_Uid m_Uid;

 private:
  mutable List m_Items;
  mutable Map m_Keyed;
  cls_Uid m_ItemsUid;
  cls_Uid m_KeyedUid;
};

/// An object with a list that is written and read in runs.
class Stream {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x760006; }
  Stream() : m_List(0) {}
  explicit Stream(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const;
  void Write(int first, std::vector<int> const& run);
  [[nodiscard]] std::vector<int> All();

  cls_SimpleArrayPrim<int> m_List;
  cls_Uid m_Uid;
};

/// The registrar of all these classes.
cls_ClassRegistrar const& FaultsRegistrar();
