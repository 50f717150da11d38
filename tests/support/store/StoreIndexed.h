#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "describe/dsc_Described.h"
#include "store/session/sto_ClassScan.h"
#include "store/session/sto_IndexSearch.h"
#include "store/session/sto_OwnTransaction.h"
#include "store/session/sto_Session.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "store/sto_Proxy.h"
#include "store/sto_Store.h"
#include "tests/support/store/StoreFaultDriver.h"
#include "tests/support/store/StoreOldFormat.h"
#include "tests/support/store/StoreRows.h"
#include "tests/support/store/StoreTest.h"

// Classes with indexes, and the same classes as a program without indexes has them.

/// Raises for -1, so that a save fails in the middle.
[[nodiscard]] constexpr int StoredNumber(int number) {
  if (number == -1) throw std::runtime_error("this object cannot be saved");
  return number;
}
[[nodiscard]] constexpr int NumberOfStored(int number) {
  return number;
}

class IndexedPart : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(IndexedPart, kvl::Polymorphic, 0x760001, "Part", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id), kvl::Indexed{}, kvl::As<int>(StoredNumber, NumberOfStored));
    field(KVL_F(m_Note));
  }
  IndexedPart() = default;
  explicit IndexedPart(int id, std::string note = {}) : m_Id(id), m_Note(std::move(note)) {}

  int m_Id = 0;
  std::string m_Note;
};

class IndexedBolt : public IndexedPart {
 public:
  KVL_PERSISTED(IndexedBolt, IndexedPart, 0x760002, "Bolt", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Length)); }
  IndexedBolt() = default;
  IndexedBolt(int id, double length) : IndexedPart(id), m_Length(length) {}

  double m_Length = 0;
};

class PlainPart : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(PlainPart, kvl::Polymorphic, 0x760001, "Part", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id), kvl::As<int>(StoredNumber, NumberOfStored));
    field(KVL_F(m_Note));
  }
  PlainPart() = default;
  explicit PlainPart(int id) : m_Id(id) {}

  int m_Id = 0;
  std::string m_Note;
};

class PlainBolt : public PlainPart {
 public:
  KVL_PERSISTED(PlainBolt, PlainPart, 0x760002, "Bolt", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Length)); }
  PlainBolt() = default;
  PlainBolt(int id, double length) : PlainPart(id), m_Length(length) {}

  double m_Length = 0;
};

/// The next version of the class of parts.
class RenamedPart : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(RenamedPart, kvl::Polymorphic, 0x760001, "Part", 2)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Key), kvl::Was<"m_Id">(), kvl::Indexed{});
    field(KVL_F(m_Note));
  }
  RenamedPart() = default;
  explicit RenamedPart(int key) : m_Key(key) {}

  int m_Key = 0;
  std::string m_Note;
};

class IndexedBox {
 public:
  KVL_PERSISTED(IndexedBox, 0x760003, "IndexedBox", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Parts)); }
  IndexedBox() = default;
  explicit IndexedBox(int count) {
    for (int i = 1; i <= count; ++i) m_Parts.push_back(std::make_shared<IndexedPart>(i));
  }

  std::vector<std::shared_ptr<IndexedPart>> m_Parts;
};

class Unrelated {
 public:
  KVL_PERSISTED(Unrelated, 0x760004, "Unrelated", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Value)); }
  Unrelated() = default;

  int m_Value = 0;
};

/// An index of each kind of value.
class IndexedValues {
 public:
  KVL_PERSISTED(IndexedValues, 0x760005, "Values", 1)
  enum class Kind { First = -7, Second = 3 };
  struct Inner {
    KVL_VALUE(Inner)
    static constexpr void Describe(auto& field) { field(KVL_F(m_Depth)); }
    int m_Depth = 0;
  };
  static constexpr void Describe(auto& field) {
    using kvl::Indexed;
    field(KVL_F(m_Label));
    field(KVL_F(m_Real), Indexed{});
    field(KVL_F(m_Number), Indexed{});
    field(KVL_F(m_Text), Indexed{});
    field(KVL_F(m_Signed), Indexed{});
    field(KVL_F(m_Letter), Indexed{});
    field(KVL_F(m_IsOdd), Indexed{});
    field(KVL_F(m_Kind), Indexed{});
    field(KVL_F(m_Inner));
    field(KVL_F(m_Single), Indexed{});
  }
  IndexedValues() = default;
  IndexedValues(int label, double real, std::uint64_t number, std::string text)
      : m_Label(label), m_Real(real), m_Number(number), m_Text(std::move(text)), m_Signed(-label),
        m_Letter(static_cast<char>('a' + label)), m_IsOdd(label % 2 == 1),
        m_Kind(label % 2 == 1 ? Kind::Second : Kind::First), m_Single(0.5F) {
    m_Inner.m_Depth = label;
  }

  int m_Label = 0;
  double m_Real = 0;
  std::uint64_t m_Number = 0;
  std::string m_Text;
  long long m_Signed = 0;
  char m_Letter = 0;
  bool m_IsOdd = false;
  Kind m_Kind = Kind::First;
  Inner m_Inner;
  float m_Single = 0;
};

/// Tests of indexes: a store on a driver that counts its calls, and fails on request.
class StoreIndexedTest : public StoreFileTest {
 protected:
  using Values = std::vector<int>;
  struct Plan : StoreFaultDriver::Plan {
    std::map<std::string, int> m_Calls;
  };

  /// Creates a store for a program with these classes.
  template <class... Classes> void Start() {
    Declare<Classes...>();
    Create();
  }
  void Create() { m_Store = Connect(sto_SqliteDriver::Create(Path(), {}), {}); }
  /// Closes it, and opens it for a program with these classes.
  template <class... Classes> void Reopen(sto_Mode mode = sto_Mode::ReadWrite) {
    m_Store.reset();
    Declare<Classes...>();
    Open(mode);
  }
  template <class... Classes> void Declare() {
    m_Registrar = m_Registrars.emplace_back(std::make_unique<cls_ClassRegistrar>()).get();
    (Classes::Declare(*m_Registrar), ...);
  }
  void Open(sto_Mode mode, std::string_view name = "test.kvs", sto_Options const& options = {}) {
    m_Store.reset();
    m_Store = Connect(sto_SqliteDriver::Open(Path(name), mode == sto_Mode::ReadOnly, options), options);
  }

  /// The values of the objects that are found, in their order; an empty bound is none.
  Values ValuesFound(std::optional<int> first, std::optional<int> last,
                     unsigned int classId = IndexedPart::TypeId(), std::string_view attribute = "m_Id") {
    sto_IndexSearch::Range range;
    if (first) range.m_First = sto_IndexKey::Of(*first);
    if (last) range.m_Last = sto_IndexKey::Of(*last);
    Values values;
    Search(classId, attribute, range,
           [&](sto_IndexSearch const& search) { values.push_back(NumberOf(search.Key())); });
    return values;
  }
  std::vector<std::int64_t> IdsFound(unsigned int classId, std::string_view attribute,
                                     sto_IndexSearch::Range const& range) {
    std::vector<std::int64_t> ids;
    Search(classId, attribute, range, [&](sto_IndexSearch const& search) { ids.push_back(search.Id()); });
    return ids;
  }
  /// How many objects a scan over a class visits. Expects them in their order.
  int Scanned(unsigned int classId) {
    sto_OwnTransaction const transaction(*m_Session, false);
    sto_ClassScan scan(*m_Session, classId);
    int count = 0;
    for (std::int64_t before = 0; scan.Next(); before = scan.Id(), ++count) EXPECT_LT(before, scan.Id());
    return count;
  }
  /// The first field of an object, which is an int.
  int LabelOf(std::int64_t id) {
    sto_OwnTransaction const transaction(*m_Session, false);
    sto_RecordRef const record = m_Session->Records().Read(id);
    return sto_ByteReader(record->Parts().front().m_Fields.front().m_Payload).Number<int>();
  }
  [[nodiscard]] std::int64_t Entries() const {
    return SqlFile(Path()).Integer("SELECT count(*) FROM index_entry");
  }
  [[nodiscard]] std::string Features() const {
    return SqlFile(Path()).Text("SELECT value FROM meta WHERE key = 'features_to_write'");
  }
  template <class Act> static sto_ErrorKind KindOf(Act act) {
    try {
      act();
    } catch (sto_Exception const& failure) {
      return failure.Kind();
    }
    ADD_FAILURE() << "nothing was raised";
    return {};
  }

  Plan m_Plan;
  std::vector<std::unique_ptr<cls_ClassRegistrar>> m_Registrars;
  cls_ClassRegistrar* m_Registrar = nullptr; // of the stores that are opened next
  std::unique_ptr<sto_Store> m_Store;
  sto_Session* m_Session = nullptr; // of m_Store
  bool m_UsedIndex = false;         // by the latest search

 private:
  class Driver : public StoreFaultDriver {
   public:
    Driver(std::unique_ptr<sto_Driver> real, StoreIndexedTest::Plan& plan)
        : StoreFaultDriver(std::move(real), plan), m_Calls(plan.m_Calls) {}

   protected:
    void Step(char const* call) override {
      ++m_Calls[call];
      StoreFaultDriver::Step(call);
    }

   private:
    std::map<std::string, int>& m_Calls;
  };

  std::unique_ptr<sto_Store> Connect(std::unique_ptr<sto_Driver> driver, sto_Options const& options) {
    auto session = std::make_unique<sto_Session>(Path(), std::make_unique<Driver>(std::move(driver), m_Plan),
                                                 *m_Registrar, options);
    if (!session->Driver().IsReadOnly()) session->Indexes().Prepare();
    m_Session = session.get();
    return std::make_unique<sto_Store>(std::move(session));
  }
  template <class Take>
  void Search(unsigned int classId, std::string_view attribute, sto_IndexSearch::Range const& range,
              Take take) {
    sto_OwnTransaction const transaction(*m_Session, false);
    sto_IndexSearch search(*m_Session, classId, attribute, range);
    m_UsedIndex = search.UsesIndex();
    while (search.Next()) take(search);
  }
  /// The number whose key it is, computed without the module. REQUIRES: it has a few digits.
  static int NumberOf(std::string key) {
    key.resize(9);
    std::uint64_t bits = 0;
    for (std::size_t i = 1; i < key.size(); ++i) bits = bits << 8 | static_cast<unsigned char>(key[i]);
    bits = (bits >> 63) != 0 ? bits & ~(std::uint64_t{1} << 63) : ~bits;
    return static_cast<int>(std::bit_cast<double>(bits));
  }
};
