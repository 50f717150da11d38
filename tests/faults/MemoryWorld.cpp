#include "tests/faults/MemoryWorld.h"

#include <filesystem>
#include <stdexcept>

namespace {

void Require(bool isRight, std::string const& text) {
  if (!isRight) throw std::runtime_error(text);
}

void Fill(Carrier& carrier, MemoryModel::Arrays& arrays, int base) {
  for (int array = 0; array < Carrier::ArrayCount; ++array)
    for (int i = 0; i < (array == 1 ? 4500 : 2100 - array * 500); ++i) {
      carrier.Append(array, base + i);
      arrays[static_cast<std::size_t>(array)].push_back(base + i);
    }
}

constexpr int FirstItems = 5;

} // namespace

void MemoryWorld::MakeBase(std::string const& path) {
  sto_Options options;
  options.m_PageBytes = 4096;
  sto_Store store = sto_Store::Open(path, sto_Mode::Create, FaultsRegistrar(), options);
  MemoryModel::Arrays ignored;
  Carrier carrier;
  carrier.m_Number = 1;
  Fill(carrier, ignored, 1);
  store.Save("carrier", carrier);
  store.Save("picture", FaultsPicture(std::string(30'000, 'p')));
  Folder const folder;
  store.Save("folder", folder);
  for (int i = 0; i < FirstItems; ++i) {
    folder.Put(i, Leaf(i));
    folder.PutKey(i, Leaf(i));
  }
  store.Save("gone", Leaf(1));
  store.RemoveRoot("gone");
}

MemoryWorld::MemoryWorld(std::string const& base, std::string path) : m_Path(std::move(path)) {
  std::filesystem::remove(m_Path + "-journal");
  std::filesystem::copy_file(base, m_Path, std::filesystem::copy_options::overwrite_existing);
  m_Store = std::make_unique<sto_Store>(sto_Store::Open(m_Path, sto_Mode::ReadWrite, FaultsRegistrar()));
  m_Carrier = m_Store->Load<Carrier>("carrier");
  m_Picture = m_Store->Load<FaultsPicture>("picture");
  m_Folder = m_Store->Load<Folder>("folder");
  m_Leaf = std::make_unique<Leaf>(4711);
  for (int array = 0; array < Carrier::ArrayCount; ++array)
    m_Model.m_Stored[static_cast<std::size_t>(array)] = m_Carrier->All(array);
  m_Model.m_Carrier = m_Model.m_Stored;
  m_Model.m_Bytes = std::string(30'000, 'p');
  for (int i = 0; i < FirstItems; ++i) {
    m_Model.m_Items.push_back(i);
    m_Model.m_Keyed[i] = i;
  }
  m_Model.m_Roots = {"carrier", "folder", "picture"};
  m_Fresh = std::make_unique<Carrier>();
  Fill(*m_Fresh, m_Model.m_Fresh, 100'000);
  if (s_HasPending) ChangeArrays();
}

void MemoryWorld::ChangeArrays() {
  for (int array = 0; array < Carrier::ArrayCount; ++array) {
    std::vector<int>& model = m_Model.m_Carrier[static_cast<std::size_t>(array)];
    int const value = 50'000 + static_cast<int>(model.size());
    int const index = static_cast<int>(model.size()) - 1;
    m_Carrier->Set(array, index, value);
    model[static_cast<std::size_t>(index)] = value;
    m_Carrier->Append(array, value + 1);
    model.push_back(value + 1);
  }
}

void MemoryWorld::Begin() {
  m_Transaction = std::make_unique<sto_Transaction>(*m_Store);
  m_AtBegin = m_Model;
}

void MemoryWorld::Commit() {
  m_Transaction->Commit();
  m_Transaction.reset();
  m_Model.m_Stored = m_Model.m_Carrier;
}

void MemoryWorld::Rollback() {
  m_Transaction.reset();
  m_Model = m_AtBegin;
}

void MemoryWorld::CheckArrays(Carrier& carrier, MemoryModel::Arrays& expected,
                              MemoryModel::Arrays const& stored, char const* what) {
  for (int array = 0; array < Carrier::ArrayCount; ++array) {
    auto const place = static_cast<std::size_t>(array);
    std::vector<int> found;
    FaultsOutcome const outcome = FaultsTry([&] { found = carrier.All(array); });
    if (outcome.Is(sto_ErrorKind::Unavailable)) {
      m_IsUnavailable = true;
      expected[place] = stored[place];
      continue;
    }
    std::string const where = std::string(what) + ", array " + std::to_string(array);
    Require(outcome.IsDone(), where + ": " + outcome.m_Text);
    Require(found == expected[place], where + " has not its elements: " + std::to_string(found.size()) +
                                          " of " + std::to_string(expected[place].size()));
  }
}

void MemoryWorld::CheckMemory() {
  if (m_Carrier != nullptr) CheckArrays(*m_Carrier, m_Model.m_Carrier, m_Model.m_Stored, "the carrier");
  if (m_Fresh != nullptr) CheckArrays(*m_Fresh, m_Model.m_Fresh, {}, "the new object");
}

void MemoryWorld::CheckUse() {
  FaultsOutcome outcome;
  for (int attempt = 0; attempt < 2; ++attempt) {
    outcome = FaultsTry([&] { m_Store->Save("probe", *m_Leaf); });
    if (outcome.IsDone()) break;
  }
  Require(outcome.IsDone(), "the session cannot be used: " + outcome.m_Text);
  m_Model.m_Roots.insert("probe");
}

void MemoryWorld::CheckStored(bool mayLackPending) {
  m_Transaction.reset();
  m_Loaded.reset();
  m_Second.reset();
  m_Carrier.reset();
  m_Fresh.reset();
  m_Picture.reset();
  m_Folder.reset();
  m_Store.reset();
  sto_Store store = sto_Store::Open(m_Path, sto_Mode::ReadOnly, FaultsRegistrar());
  std::vector<std::string> const roots(m_Model.m_Roots.begin(), m_Model.m_Roots.end());
  Require(store.Roots() == roots, "a new session finds other roots");
  auto const carrier = store.Load<Carrier>("carrier");
  Require(carrier->m_Number == m_Model.m_Number, "a new session finds another number");
  for (int array = 0; array < Carrier::ArrayCount; ++array) {
    std::vector<int> const found = carrier->All(array);
    std::vector<int> const& pending = m_Model.m_Carrier[static_cast<std::size_t>(array)];
    std::vector<int> const& stored = m_Model.m_Stored[static_cast<std::size_t>(array)];
    bool isRight = found == pending;
    if (mayLackPending || m_IsUnavailable) {
      isRight = found.size() >= stored.size() && found.size() <= pending.size();
      for (std::size_t i = 0; isRight && i < found.size(); ++i)
        isRight = found[i] == pending[i] || (i < stored.size() && found[i] == stored[i]);
    }
    Require(isRight, "a new session finds other elements in array " + std::to_string(array) + ": " +
                         std::to_string(found.size()) + " of " + std::to_string(pending.size()));
  }
  if (m_Model.m_Roots.count("fresh") != 0) {
    auto const fresh = store.Load<Carrier>("fresh");
    for (int array = 0; array < Carrier::ArrayCount; ++array)
      Require(fresh->All(array) == m_Model.m_Fresh[static_cast<std::size_t>(array)],
              "a new session finds other elements in the new object");
  }
  Require(store.Load<FaultsPicture>("picture")->Bytes() == m_Model.m_Bytes,
          "a new session finds another blob");
  auto const folder = store.Load<Folder>("folder");
  Require(folder->AllItems() == m_Model.m_Items, "a new session finds another list of objects");
  std::map<int, int> keyed;
  for (auto const& [key, value] : folder->AllKeyed()) keyed[key] = value;
  Require(keyed == m_Model.m_Keyed, "a new session finds another map of objects");
}
