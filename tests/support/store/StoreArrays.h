#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "collections/cls_2dArrayPrim.h"
#include "collections/cls_ArrayPrim.h"
#include "collections/cls_SimpleArrayPrim.h"
#include "tests/support/store/StoreTest.h"

// Objects with bulk arrays, for tests of what happens to arrays in saves and transactions.

/// An object with a bulk array in a field, written between `m_Before` and `m_After`, which may throw.
template <class Array> struct ArrayHolder {
  static constexpr unsigned int TypeId() noexcept { return 0x740011; }
  static cls_FieldHandle Field() { return {0, "m_Array"_cow}; }

  ArrayHolder() = default;
  explicit ArrayHolder(cls_ReadVisitor const& visitor)
      : m_Array(cls_ReadVisitor(visitor, Field())),
        m_Number(visitor.Read(cls_FieldHandle(1, "m_Number"_cow), 0)), m_Uid(visitor.GetUid()) {}
  ~ArrayHolder() {
    try {
      m_Array.Release();
    } catch (...) {
      m_Array.Detach(); // frees its blocks for collection
    }
    m_Array.DropBlocks();
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    if (m_Before) m_Before();
    m_Array.DBWrite(cls_WriteVisitor(visitor, Field(), nullptr, &m_Array));
    visitor.Write(cls_FieldHandle(1, "m_Number"_cow), m_Number);
    if (m_After) m_After();
  }

  Array m_Array;
  int m_Number = 0;
  cls_Uid m_Uid;
  std::function<void()> m_Before;
  std::function<void()> m_After;
};

using DoubleHolder = ArrayHolder<cls_ArrayPrim<double>>;

/// Fixture with stores of such objects, with double elements.
class StoreArrayTest : public StoreFileTest {
 protected:
  static cls_ClassRegistrar const& Classes() {
    static cls_ClassRegistrar const& registrar = [&]() -> cls_ClassRegistrar const& {
      static cls_ClassRegistrar classes;
      classes.CreateClassMD("ArrayHolder"_cow, DoubleHolder::TypeId(), 1, nullptr, 1)
          .AddAttribute(DoubleHolder::Field(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
          .AddAttribute(cls_FieldHandle(1, "m_Number"_cow), ATTR_INT, 1, COLLECTION_NONE);
      DeclareNode(classes);
      DeclareScripted(classes);
      DeclareLevels(classes, 4, 7, 2);
      return classes;
    }();
    return registrar;
  }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite, std::string_view name = "test.kvs",
                 sto_Options const& options = {}) const {
    return sto_Store::Open(Path(name), mode, Classes(), Strict(options));
  }
  sto_Store Create(std::string_view name = "test.kvs") const { return Open(sto_Mode::Create, name); }

  template <class Array> static void Fill(Array& array, int count) {
    for (int i = array.Size(); i < count; ++i) array.Append(i / 2.0);
  }
  /// An object with this many elements, saved as "array" in a new store.
  void Make(int count, std::string_view name = "test.kvs") const {
    sto_Store store = Create(name);
    DoubleHolder holder;
    Fill(holder.m_Array, count);
    store.Save("array", holder);
  }
  static std::vector<double> Elements(cls_ArrayPrim<double> const& array) {
    std::vector<double> elements;
    for (int i = 0; i < array.Size(); ++i) elements.push_back(array.ConstGet(i));
    return elements;
  }
  static std::vector<double> Numbers(int count) {
    std::vector<double> numbers;
    for (int i = 0; i < count; ++i) numbers.push_back(i / 2.0);
    return numbers;
  }
  /// Loads the object in another session.
  std::vector<double> Stored(std::string_view name = "test.kvs", std::string_view root = "array") const {
    sto_Store store = Open(sto_Mode::ReadOnly, name);
    return Elements(store.Load<DoubleHolder>(root)->m_Array);
  }
  /// Saves an object and then throws.
  static void SaveThatFails(sto_Store& store) {
    EXPECT_THROW(SaveFields(
                     store, [](cls_WriteVisitor const&) { throw std::runtime_error("no"); }, "other"),
                 std::runtime_error);
  }
};
