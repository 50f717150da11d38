#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "metadata/cls_ClassRegistrar.h"

// Random registrations and queries on a registrar, mirrored in a model of standard containers. There are few
// keys, so that most steps find something already registered.
namespace {

using CowData = cow_COW<int, cow_Direct<int>>;

constexpr unsigned int ModelClasses = 12;
constexpr int LowestModelVersion = -3;
constexpr int GreatestModelVersion = 5;

struct NotRegistered {};

class Metadata : public cls_ClassMetadata {
 public:
  Metadata(cow_String const& name, unsigned int classId, int version, unsigned int baseClassId)
      : cls_ClassMetadata(name, classId, version, nullptr, baseClassId) {
    ++s_Alive;
  }
  ~Metadata() override { --s_Alive; }
  void DeleteCow(CowData*) const override { s_DeletedBy = this; }

  static inline int s_Alive = 0;
  static inline cls_ClassMetadata const* s_DeletedBy = nullptr;
};

class RegistrarModel {
 public:
  RegistrarModel(unsigned int seed, unsigned int firstId) : m_Random(seed), m_FirstId(firstId) {}

  /// A new, empty registrar.
  void Restart() {
    m_Registrar = std::make_unique<cls_ClassRegistrar>();
    m_ByIdVersion.clear();
    m_IdByName.clear();
  }

  /// One random step. Returns false when registrar and model differ.
  bool Step() {
    switch (Below(12)) {
    case 0:
    case 1:
      return Register();
    case 2:
      return DeleteClass();
    case 3:
      return LookUpClass();
    case 4:
      return LookUpVersion();
    case 5:
      return LookUpName();
    case 6:
      return FirstVersion();
    case 7:
      return PreviousVersion();
    case 8:
    case 9:
      return Inheritance();
    case 10:
      return DeleteCow();
    default:
      return Below(8) != 0 || Lists();
    }
  }

  /// How many registrations were duplicates, and how many deletions used a base's function.
  [[nodiscard]] long Duplicates() const { return m_Duplicates; }
  [[nodiscard]] long FarDeletions() const { return m_FarDeletions; }

 private:
  using Key = std::pair<unsigned int, int>;
  using ByIdVersion = std::map<Key, cls_ClassMetadata*, std::greater<>>;

  unsigned int Below(unsigned int limit) { return static_cast<unsigned int>(m_Random()) % limit; }
  unsigned int PickId() { return m_FirstId + Below(ModelClasses); }
  int PickVersion() {
    return LowestModelVersion +
           static_cast<int>(Below(static_cast<unsigned int>(GreatestModelVersion - LowestModelVersion) + 1));
  }
  std::string PickName() { return "Class" + std::to_string(Below(6)); }

  /// The newest metadata of a class, null when it is not registered.
  [[nodiscard]] cls_ClassMetadata* Newest(unsigned int id) const {
    auto const found = m_ByIdVersion.lower_bound({id, GreatestModelVersion});
    return found == m_ByIdVersion.end() || found->first.first != id ? nullptr : found->second;
  }

  bool Register() {
    unsigned int const id = PickId();
    int const version = PickVersion();
    std::string const name = PickName();
    // Bases have lower IDs, so there is no circle. Some are never registered, some are the root.
    unsigned int const base = Below(4) == 0 ? 1 : m_FirstId - 1 + Below(id - m_FirstId + 1);
    bool const isNew = Newest(id) == nullptr;
    auto* const made = new Metadata(cow_String(name.c_str()), id, version, base);
    if (Below(5) == 0) made->AddDtor([](CowData*) {});
    auto const [entry, isInserted] = m_ByIdVersion.try_emplace({id, version}, made);
    if (isNew) m_IdByName.try_emplace(name, id);
    if (!isInserted) ++m_Duplicates;
    return &m_Registrar->AddClassMD(made) == entry->second &&
           Metadata::s_Alive == static_cast<int>(m_ByIdVersion.size());
  }

  bool DeleteClass() {
    std::string const name = PickName();
    unsigned int const id = PickId();
    m_IdByName.try_emplace(name, id);
    m_Registrar->DeleteClass(cow_String(name.c_str()), id);
    return m_Registrar->GetClassID(cow_String(name.c_str())) == m_IdByName.at(name);
  }

  bool LookUpClass() {
    unsigned int const id = PickId();
    cls_ClassMetadata const* const newest = Newest(id);
    if (m_Registrar->ClassIsPresent(id) != (newest != nullptr)) return false;
    if (newest == nullptr) return Refuses([&] { static_cast<void>(m_Registrar->ConstGet(id)); });
    return &m_Registrar->ConstGet(id) == newest &&
           m_Registrar->GetLastClassVersionNumber(id) == newest->Version();
  }

  bool LookUpVersion() {
    Key const key(PickId(), PickVersion());
    auto const found = m_ByIdVersion.find(key);
    bool const isPresent = m_Registrar->ClassVersionIsPresent(key.first, key.second);
    if (found == m_ByIdVersion.end()) return !isPresent;
    return isPresent && &m_Registrar->GetClassMetadata(key.first, key.second) == found->second;
  }

  bool LookUpName() {
    std::string const name = PickName();
    auto const found = m_IdByName.find(name);
    cow_String const text(name.c_str());
    if (m_Registrar->ClassNameIsPresent(text) != (found != m_IdByName.end())) return false;
    return m_Registrar->GetClassID(text) == (found == m_IdByName.end() ? 0 : found->second);
  }

  // In both version queries -1 means "none found yet", even if -1 is a registered version.
  bool FirstVersion() {
    unsigned int const id = PickId();
    int const version = PickVersion();
    int expected = -1;
    for (auto const& [key, metadata] : m_ByIdVersion)
      if (key.first == id && key.second >= version && (expected == -1 || key.second < expected))
        expected = key.second;
    return m_Registrar->GetFirstClassVersionNumberGREQ(id, version) == expected;
  }

  bool PreviousVersion() {
    unsigned int const id = PickId();
    int const version = PickVersion();
    int expected = -1;
    for (auto const& [key, metadata] : m_ByIdVersion)
      if (key.first == id && key.second < version && (expected == -1 || key.second > expected))
        expected = key.second;
    return m_Registrar->GetPreviousClassVersionNumber(id, version) == expected;
  }

  bool Inheritance() {
    unsigned int const derived = PickId();
    unsigned int const base = Below(6) == 0 ? 1 : m_FirstId - 1 + Below(ModelClasses + 1);
    std::set<unsigned int> line = {derived};
    for (unsigned int id = derived; Newest(id) != nullptr; line.insert(id)) id = Newest(id)->BaseClassId();
    return m_Registrar->InheritanceCheck(derived, base) == line.contains(base);
  }

  bool DeleteCow() {
    unsigned int const first = PickId();
    unsigned int id = first;
    while (Newest(id) != nullptr && !Newest(id)->HasDtor()) id = Newest(id)->BaseClassId();
    Metadata::s_DeletedBy = nullptr;
    CowData data;
    if (id != 1 && Newest(id) == nullptr) return Refuses([&] { m_Registrar->DeleteCow(first, &data); });
    if (id == 1) return !m_Registrar->DeleteCow(first, &data) && Metadata::s_DeletedBy == nullptr;
    if (id != first) ++m_FarDeletions;
    return m_Registrar->DeleteCow(first, &data) && Metadata::s_DeletedBy == Newest(id);
  }

  bool Lists() {
    std::vector<cls_ClassMetadata*> history;
    std::vector<cls_ClassMetadata*> newest;
    for (auto const& [key, metadata] : m_ByIdVersion) history.push_back(metadata);
    for (unsigned int id = m_FirstId; id != m_FirstId + ModelClasses; ++id)
      if (cls_ClassMetadata* const metadata = Newest(id)) newest.push_back(metadata);
    return Objects(m_Registrar->GetHistoryMDList()) == history && Objects(m_Registrar->GetMDList()) == newest;
  }

  static std::vector<cls_ClassMetadata*> Objects(cow_1DArray<cls_ClassMetadataHld> const& list) {
    std::vector<cls_ClassMetadata*> objects;
    for (int i = 0; i < list.Length(); ++i) objects.push_back(list.ConstGet(i).Ptr());
    return objects;
  }

  template <class Function> static bool Refuses(Function function) {
    try {
      function();
    } catch (NotRegistered const&) {
      return true;
    }
    return false;
  }

  std::mt19937 m_Random;
  unsigned int m_FirstId;
  std::unique_ptr<cls_ClassRegistrar> m_Registrar = std::make_unique<cls_ClassRegistrar>();
  ByIdVersion m_ByIdVersion; // descending, as the registrar's
  std::map<std::string, unsigned int> m_IdByName;
  long m_Duplicates = 0;
  long m_FarDeletions = 0;
};

/// The seed, and the ID of the first class.
class cls_RegistrarModel : public ::testing::TestWithParam<std::pair<unsigned int, unsigned int>> {
 protected:
  cls_RegistrarModel() {
    cls_ClassRegistrar::SetConstGetCheck([](cls_ClassRegistrar const& registrar, unsigned int const& id) {
      if (!registrar.ClassIsPresent(id)) throw NotRegistered();
    });
  }
  ~cls_RegistrarModel() override { cls_ClassRegistrar::SetConstGetCheck(nullptr); }
};

TEST_P(cls_RegistrarModel, RegistrarMatchesTheModel) {
  constexpr int Registrars = 100;
  constexpr int Steps = 1000;
  SCOPED_TRACE(::testing::PrintToString(GetParam()));
  {
    RegistrarModel model(GetParam().first, GetParam().second);
    for (int registrar = 0; registrar < Registrars; ++registrar) {
      model.Restart();
      ASSERT_EQ(Metadata::s_Alive, 0);
      for (int step = 0; step < Steps; ++step)
        ASSERT_TRUE(model.Step()) << "registrar " << registrar << ", step " << step;
    }
    EXPECT_GT(model.Duplicates(), 1000);
    EXPECT_GT(model.FarDeletions(), 100);
  }
  EXPECT_EQ(Metadata::s_Alive, 0);
}

// The second set of IDs is on both sides of the greatest signed number.
INSTANTIATE_TEST_SUITE_P(SeedsAndIds, cls_RegistrarModel,
                         ::testing::Values(std::pair(1U, 0x7C0001U), std::pair(4711U, 0x7FFFFFFAU)));

} // namespace
