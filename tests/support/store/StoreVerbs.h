#pragma once

#include <complex>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "describe/dsc_Described.h"
#include "describe/dsc_Variant.h"
#include "store/arrays/sto_Array.h"
#include "store/base/sto_Exception.h"
#include "store/refs/sto_Ref.h"
#include "tests/support/store/OpenStoreTest.h"
#include "tests/support/store/StoreFaultVfs.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

// What the tests of the verbs share: classes whose objects have something of everything, and a fixture.

namespace kvlstore_test {

using nlohmann::json;

enum class Material { Wood = -1, Steel = 7 };

struct Point {
  KVL_VALUE(Point)
  static constexpr void Describe(auto& field) {
    field(KVL_F(x));
    field(KVL_F(y));
  }
  double x = 0;
  double y = 0;
};

struct Sample {
  KVL_VALUE(Sample)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Points));
    field(KVL_F(m_Names));
  }
  std::vector<Point> m_Points;
  std::map<std::string, int> m_Names;
};

class Part : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Part, kvl::Polymorphic, 0x7C0011, "Part", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Name));
    field(KVL_F(m_Next));
  }
  explicit Part(std::string name = {}) : m_Name(std::move(name)) {}
  std::string m_Name;
  std::shared_ptr<Part> m_Next;
};

class Beam : public Part {
 public:
  KVL_PERSISTED(Beam, Part, 0x7C0012, "Beam", 3)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Length), kvl::Unit("mm")); }
  explicit Beam(std::string name = {}) : Part(std::move(name)) {}
  double m_Length = 2.5;
};

/// Lists, maps and a blob, of each type of elements.
class Lists {
 public:
  KVL_PERSISTED(Lists, 0x7C0013, "Lists", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Doubles), kvl::Unit("MPa"));
    field(KVL_F(m_Floats));
    field(KVL_F(m_Bytes));
    field(KVL_F(m_Shorts));
    field(KVL_F(m_UShorts));
    field(KVL_F(m_Ints));
    field(KVL_F(m_UInts));
    field(KVL_F(m_Longs));
    field(KVL_F(m_ULongs));
    field(KVL_F(m_Complexes));
    field(KVL_F(m_ComplexFloats));
    field(KVL_F(m_Bools));
    field(KVL_F(m_Texts));
    field(KVL_F(m_Parts));
    field(KVL_F(m_Blob));
    field(KVL_F(m_ByName));
    field(KVL_F(m_ByNumber));
    field(KVL_F(m_PartByName));
    field(KVL_F(m_Array), kvl::Unit("K"));
    field(KVL_F(m_Rows));
    field(KVL_F(m_Planes));
    field(KVL_F(m_Cubes));
  }
  explicit Lists(int count = 0) {
    for (int i = 0; i < count; ++i) Add(i);
    m_PartByName["beam"] = std::make_shared<Beam>("by name");
  }
  void Add(int i) {
    m_Doubles.push_back(i + 0.5);
    m_Floats.push_back(static_cast<float>(i) / 4);
    m_Bytes.push_back(static_cast<signed char>(-i));
    m_Shorts.push_back(static_cast<short>(-i));
    m_UShorts.push_back(static_cast<unsigned short>(65535 - i));
    m_Ints.push_back(-i);
    m_UInts.push_back(0xFFFFFFFF - static_cast<unsigned int>(i));
    m_Longs.push_back(-(1LL << 60) + i);
    m_ULongs.push_back(~0ULL - static_cast<unsigned int>(i));
    m_Complexes.emplace_back(i, -i);
    m_ComplexFloats.emplace_back(-0.5F, static_cast<float>(i));
    m_Bools.push_back(i % 3 == 0);
    m_Texts.push_back(i % 5 == 0 ? cow_String() : cow_String("t\"" + std::to_string(i) + ",\n"));
    m_Parts.push_back(i % 5 == 1 ? std::make_shared<Part>(std::to_string(i)) : nullptr);
    m_Blob.push_back(static_cast<unsigned char>(i));
    m_ByName["key " + std::to_string(i)] = i / 2.0;
    m_ByNumber[i - 2] = std::to_string(i);
    double const row[8] = {i + 0.0, i + 0.125, i + 0.25, i + 0.375, i + 0.5, i + 0.625, i + 0.75, i + 0.875};
    m_Array.Append(i + 0.5);
    m_Rows.Append(std::span(row).first(3));
    m_Planes.Append(std::span(row).first(4));
    m_Cubes.Append(std::span(row));
  }
  std::vector<double> m_Doubles;
  std::vector<float> m_Floats;
  std::vector<signed char> m_Bytes;
  std::vector<short> m_Shorts;
  std::vector<unsigned short> m_UShorts;
  std::vector<int> m_Ints;
  std::vector<unsigned int> m_UInts;
  std::vector<long long> m_Longs;
  std::vector<unsigned long long> m_ULongs;
  std::vector<std::complex<double>> m_Complexes;
  std::vector<std::complex<float>> m_ComplexFloats;
  std::vector<bool> m_Bools;
  std::vector<cow_String> m_Texts;
  std::vector<std::shared_ptr<Part>> m_Parts;
  std::vector<unsigned char> m_Blob;
  std::map<std::string, double> m_ByName;
  std::map<int, std::string> m_ByNumber;
  std::map<std::string, std::shared_ptr<Part>> m_PartByName;
  sto_Array<double> m_Array;
  sto_Array<double> m_Rows = sto_Array<double>::OfRows({3});
  sto_Array<double> m_Planes = sto_Array<double>::OfRows({2, 2});
  sto_Array<double> m_Cubes = sto_Array<double>::OfRows({2, 2, 2});
};

/// Values, and objects that are shared, referred to, and in circles.
class Values {
 public:
  KVL_PERSISTED(Values, 0x7C0014, "Values", 2)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Double), kvl::Unit("mm"));
    field(KVL_F(m_Int));
    field(KVL_F(m_Text));
    field(KVL_F(m_NoText));
    field(KVL_F(m_Material));
    field(KVL_F(m_There));
    field(KVL_F(m_Absent));
    field(KVL_F(m_Variant));
    field(KVL_F(m_Point));
    field(KVL_F(m_Tuple));
    field(KVL_F(m_Complex));
    field(KVL_F(m_Samples));
    field(KVL_F(m_First));
    field(KVL_F(m_Second));
    field(KVL_F(m_Ref));
  }
  Values() = default;
  double m_Double = 1.5;
  int m_Int = 3;
  std::string m_Text = "text";
  cow_String m_NoText;
  Material m_Material = Material::Steel;
  std::optional<int> m_There = 5;
  std::optional<int> m_Absent;
  std::variant<int, std::string> m_Variant = "chosen";
  Point m_Point{1, 2};
  std::tuple<int, std::string> m_Tuple{3, "three"};
  std::complex<double> m_Complex{4, -5};
  std::vector<Sample> m_Samples{{{{1, 2}}, {}}, {{{3, 4}, {5, 6}}, {{"n", 7}}}};
  std::shared_ptr<Part> m_First;
  std::shared_ptr<Part> m_Second;
  sto_Ref<Part> m_Ref;
};

inline void DeclareAll(cls_ClassRegistrar& registrar) {
  Beam::Declare(registrar);
  Lists::Declare(registrar);
  Values::Declare(registrar);
  registrar.NotesOf(Values::TypeId(), 2).Enumerator("m_Material", "Steel", 7);
}

/// What a verb has done.
struct Done {
  kvs_Status m_Status = kvs_Status::Failed;
  std::string m_Text;  ///< what it printed
  std::string m_Error; ///< the one of its failure
};

/// Nothing waits for the disk while it lives.
class WithoutWaiting {
 private:
  StoreFaultVfs m_Vfs;
};

class VerbTest : private WithoutWaiting, public OpenStoreTest {
 protected:
  VerbTest() : OpenStoreTest(DeclareAll) {}

  /// Calls a verb with an output to a file. Errors that are not those of the verbs fail the test.
  template <class Verb> [[nodiscard]] Done Run(Verb verb) const {
    std::string const file = Path("printed");
    std::filesystem::remove(file);
    Done done;
    try {
      kvs_Output out(file);
      done.m_Status = verb(out);
      out.Finish();
      StoreBytes const bytes = FileBytes(file);
      done.m_Text.assign(reinterpret_cast<char const*>(bytes.data()), bytes.size());
    } catch (kvs_Error const& failure) {
      done.m_Error = failure.what();
    } catch (sto_Exception const& failure) {
      done.m_Error = failure.UserReport().CharsOrEmpty();
    }
    EXPECT_EQ(done.m_Status == kvs_Status::Failed, !done.m_Error.empty());
    EXPECT_EQ(std::filesystem::exists(file), done.m_Error.empty()); // nothing is left of a failure
    return done;
  }

  [[nodiscard]] Done Dump(std::string const& object, kvs_DumpFormat format = kvs_DumpFormat::Json,
                          std::string const& slice = ":") const {
    kvs_DumpOptions const options{Path(), object, format, kvs_Slice::Parse(slice)};
    return Run([&](kvs_Output& out) { return kvs_Dump(options, out); });
  }
  [[nodiscard]] Done Show(std::string const& object, bool isJson = false, int depth = 3) const {
    kvs_ShowOptions options{Path(), object};
    options.m_Json = isJson;
    options.m_Depth = depth;
    return Run([&](kvs_Output& out) { return kvs_Show(options, out); });
  }
  [[nodiscard]] Done Ls(bool isAll, bool isJson = false, std::string const& pattern = "*",
                        std::string const& className = {}, bool isLong = false) const {
    kvs_LsOptions const options{Path(), pattern, className, isLong, isAll, isJson};
    return Run([&](kvs_Output& out) { return kvs_Ls(options, out); });
  }
  [[nodiscard]] Done Log(bool isLong, bool isJson, std::int64_t last = 0) const {
    return Run([&](kvs_Output& out) { return kvs_Log({Path(), last, isLong, isJson}, out); });
  }
  /// With the elements "differ" of the store "second.kvs".
  [[nodiscard]] Done Diff(kvs_DiffOptions options = {}) const {
    options.m_First = Path();
    if (options.m_Second.empty()) options.m_Second = Path("second.kvs");
    return Run([&](kvs_Output& out) { return kvs_Diff(options, out); });
  }
  /// Each line as JSON. Fails the test if one is none.
  static std::vector<json> Lines(std::string const& text) {
    std::vector<json> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
      lines.push_back(json::parse(line, nullptr, false));
      EXPECT_FALSE(lines.back().is_discarded()) << line.substr(0, 500);
    }
    return lines;
  }
  /// Fails the test if a text has what a terminal would obey.
  static void ExpectPrintable(std::string_view text) {
    for (char const c : text)
      if ((static_cast<unsigned char>(c) < 0x20 && c != '\n') || c == 0x7F) {
        ADD_FAILURE() << "a control character in " << text.substr(0, 300);
        return;
      }
    EXPECT_FALSE(Contains(text, "\xC2\x9B"));
    EXPECT_FALSE(Contains(text, "\u202E"));
  }
};

} // namespace kvlstore_test
