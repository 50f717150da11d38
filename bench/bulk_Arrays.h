#pragma once

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <string>
#include <type_traits>
#include <vector>

#include "collections/cls_ArrayPrim.h"
#include "metadata/cls_ClassRegistrar.h"
#include "store/sto_Store.h"
#include "wrappers/cls_xp1DArrayList.h"

inline constexpr int BlockCount = 2048; // elements in a block

/// An object with a bulk array of double, int or float.
template <class T> struct Result {
  static constexpr unsigned int TypeId() noexcept {
    return std::is_same_v<T, double> ? 0x670001 : std::is_same_v<T, int> ? 0x670002 : 0x670003;
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    cls_ClassMetadata& metadata = registrar.CreateClassMD(ClassName(), TypeId(), 1, nullptr, 1);
    if constexpr (std::is_same_v<T, double>)
      metadata.AddAttribute(Field(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
    else if constexpr (std::is_same_v<T, int>)
      metadata.AddAttribute(Field(), ATTR_INT, 1, COLLECTION_LIST_INT);
    else
      metadata.AddAttribute(Field(), ATTR_FLOAT, 1, COLLECTION_LIST_FLOAT);
  }

  Result() = default;
  explicit Result(cls_ReadVisitor const& visitor)
      : m_History(cls_ReadVisitor(visitor, Field())), m_Uid(visitor.GetUid()) {}
  Result(Result const&) = delete;
  Result& operator=(Result const&) = delete;
  ~Result() { m_History.Release(); }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_History.DBWrite(cls_WriteVisitor(visitor, Field(), nullptr, &m_History));
  }

  cls_ArrayPrim<T> m_History;
  cls_Uid m_Uid;

 private:
  static cls_FieldHandle Field() { return {0, "m_History"_cow}; }
  static cow_String ClassName() {
    return std::is_same_v<T, double> ? "Result"_cow
           : std::is_same_v<T, int>  ? "IntResult"_cow
                                     : "FloatResult"_cow;
  }
};

/// An object with a list of doubles that is in memory and saved whole.
struct ListResult {
  static constexpr unsigned int TypeId() noexcept { return 0x670004; }
  static void Declare(cls_ClassRegistrar& registrar) {
    registrar.CreateClassMD("ListResult"_cow, TypeId(), 1, nullptr, 1)
        .AddAttribute(Field(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_List.DBWrite(cls_WriteVisitor(visitor, Field(), nullptr, &m_List));
  }

  cls_xp1DArrayListDouble m_List;
  cls_Uid m_Uid;

 private:
  static cls_FieldHandle Field() { return {0, "m_List"_cow}; }
};

/// Writes the elements block by block, in the same pieces as the peers.
template <class T> void WriteBlocks(Result<T>& result, int count) {
  std::vector<T> block(BlockCount);
  for (int first = 0; first < count; first += BlockCount) {
    int const length = std::min(BlockCount, count - first);
    for (int i = 0; i < length; ++i) block[static_cast<std::size_t>(i)] = static_cast<T>((first + i) * 0.5);
    result.m_History.AppendBlock(block.data(), length);
  }
}

template <class T> void WriteOneByOne(Result<T>& result, int count) {
  for (int i = 0; i < count; ++i) result.m_History.Append(static_cast<T>(i * 0.5));
}

template <class T>
void WriteStore(std::string const& path, cls_ClassRegistrar const& registrar, int count,
                void (*write)(Result<T>&, int)) {
  std::filesystem::remove(path);
  sto_Store store = sto_Store::Open(path, sto_Mode::Create, registrar);
  Result<T> result;
  sto_Transaction transaction(store);
  store.Save("result", result);
  write(result, count);
  transaction.Commit();
}

/// The sum of all elements of the array of a store.
inline double ScanStore(std::string const& path, cls_ClassRegistrar const& registrar) {
  sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, registrar);
  sto_ReadTransaction const transaction(store);
  auto const result = store.Load<Result<double>>("result");
  double sum = 0;
  int const count = result->m_History.Size();
  for (int i = 0; i < count;) {
    auto const [values, length] = result->m_History.ConstGetRun(i);
    sum += std::accumulate(values, values + length, 0.0);
    i += length;
  }
  return sum;
}
