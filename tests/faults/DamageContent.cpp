#include "tests/faults/DamageContent.h"

#include <sqlite3.h>

#include <filesystem>
#include <stdexcept>

#include "tests/faults/FaultsClasses.h"
#include "tests/faults/FaultsFrame.h"
#include "tests/faults/ModelState.h"
#include "tests/support/store/StoreRows.h"

namespace {

constexpr int LeafCount = 20;

void Fill(Carrier& carrier, int seed) {
  carrier.m_Number = seed;
  carrier.m_BaseNumber = seed + 1;
  carrier.m_Text = std::string(static_cast<std::size_t>(seed * 300), 't');
  cow_1DArrayList<int> list;
  for (int i = 0; i < seed * 50; ++i) list.Append(i);
  carrier.m_List = list;
  carrier.m_Leaf = std::make_shared<Leaf>(seed);
  for (int array = 0; array < Carrier::ArrayCount; ++array)
    for (int i = 0; i < 700 * array + seed * 300; ++i) carrier.Append(array, i + seed);
}

/// Overwrites so many blocks in one transaction that some of them move.
void MoveBlocks(sto_Store& store) {
  Stream stream;
  store.Save("stream", stream);
  std::vector<int> run(2048 * 36, 5);
  stream.Write(0, run);
  sto_Transaction transaction(store);
  for (int block = 0; block < 36; ++block) stream.Write(block * 2048 + 7, {block, block + 1});
  transaction.Commit();
}

std::string TextOf(std::vector<int> const& numbers) {
  return {reinterpret_cast<char const*>(numbers.data()), numbers.size() * sizeof(int)};
}

DamageParts PartsOf(Carrier const& carrier) {
  std::string values =
      std::to_string(carrier.m_Number) + ' ' + std::to_string(carrier.m_BaseNumber) + ' ' + carrier.m_Text;
  std::string list;
  for (int i = 0; i < carrier.m_List.Count(); ++i) list += std::to_string(carrier.m_List.ConstGet(i)) + ' ';
  DamageParts parts{values, list, carrier.m_Leaf == nullptr ? "" : std::to_string(carrier.m_Leaf->m_Value)};
  for (int array = 0; array < Carrier::ArrayCount; ++array) parts.push_back(TextOf(carrier.All(array)));
  return parts;
}

DamageParts PartsOf(Folder const& folder) {
  std::string keyed;
  for (auto const& [key, value] : folder.AllKeyed())
    keyed += std::to_string(key) + ':' + std::to_string(value) + ' ';
  return {TextOf(folder.AllItems()), keyed};
}

/// The object under a root, loaded as one class.
DamageParts LoadAs(sto_Store& store, std::string const& root, ModelKind kind, bool isLeaf) {
  if (isLeaf) return {std::to_string(store.Load<Leaf>(root)->m_Value)};
  switch (kind) {
  case ModelKind::Carrier:
    return PartsOf(*store.Load<Carrier>(root));
  case ModelKind::Picture:
    return {store.Load<FaultsPicture>(root)->Bytes()};
  case ModelKind::Folder:
    return PartsOf(*store.Load<Folder>(root));
  default:
    return {TextOf(store.Load<Stream>(root)->All())};
  }
}

/// The object under a root, loaded as the class that its name says, or else as the first that fits.
DamageParts LoadRoot(sto_Store& store, std::string const& root) {
  constexpr std::pair<char const*, ModelKind> Names[] = {{"carrier", ModelKind::Carrier},
                                                         {"picture", ModelKind::Picture},
                                                         {"folder", ModelKind::Folder},
                                                         {"stream", ModelKind::Stream}};
  if (root.starts_with("leaf")) return LoadAs(store, root, {}, true);
  for (auto const& [name, kind] : Names)
    if (root.starts_with(name)) return LoadAs(store, root, kind, false);
  for (auto const& [name, kind] : Names) {
    try {
      return LoadAs(store, root, kind, false);
    } catch (sto_Exception const& exception) {
      if (exception.Kind() != sto_ErrorKind::WrongClass) throw;
    }
  }
  return LoadAs(store, root, {}, true);
}

/// An SQLite connection to a file, without the module.
class Raw {
 public:
  explicit Raw(std::string const& path) {
    m_IsOpen = sqlite3_open_v2(path.c_str(), &m_Handle, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK;
  }
  ~Raw() { sqlite3_close(m_Handle); }
  Raw(Raw const&) = delete;
  Raw& operator=(Raw const&) = delete;
  /// Calls `onRow` for each row; false if SQLite fails.
  template <class OnRow> bool ForEach(std::string const& sql, OnRow onRow) {
    sqlite3_stmt* statement = nullptr;
    if (!m_IsOpen || sqlite3_prepare_v2(m_Handle, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
      return false;
    int code = SQLITE_OK;
    while ((code = sqlite3_step(statement)) == SQLITE_ROW) onRow(statement);
    sqlite3_finalize(statement);
    return code == SQLITE_DONE;
  }

 private:
  sqlite3* m_Handle = nullptr;
  bool m_IsOpen = false;
};

} // namespace

void DamageMake(std::string const& path, std::string const& older) {
  sto_Options options;
  options.m_PageBytes = 2048;
  Carrier first;
  Carrier second;
  Fill(first, 1);
  Fill(second, 6);
  Folder folder;
  {
    sto_Store store = sto_Store::Open(path, sto_Mode::Create, FaultsRegistrar(), options);
    store.Save("carrier 1", first);
    store.Save("carrier 2", second);
    store.Save("picture 1", FaultsPicture(std::string(40'000, 'p')));
    store.Save("picture 2", FaultsPicture(std::string(500, 'q')));
    store.Save("folder", folder);
    {
      sto_Transaction transaction(store);
      for (int i = 0; i < 700; ++i) folder.Put(i, Leaf(i));
      for (int i = 0; i < 40; ++i) folder.PutKey(i * 3, Leaf(i));
      for (int i = 0; i < LeafCount; ++i) store.Save("leaf " + std::to_string(i), Leaf(i));
      transaction.Commit();
    }
    MoveBlocks(store);
    store.Save("gone", Leaf(99));
    store.RemoveRoot("gone"); // leaves something to collect
    std::filesystem::copy_file(path, older);
    sto_Transaction transaction(store);
    first.m_Number = 77;
    first.Set(1, 5, 4711);
    first.Append(0, 4712);
    store.Save("carrier 1", first);
    for (int i = 0; i < LeafCount; i += 2) store.Save("leaf " + std::to_string(i), Leaf(1000 + i));
    folder.Put(3, Leaf(4713));
    transaction.Commit();
  }
}

DamageContent DamageLoad(sto_Store& store) {
  DamageContent content;
  for (std::string const& root : store.Roots()) {
    DamageParts parts;
    FaultsOutcome const outcome = FaultsTry([&] { parts = LoadRoot(store, root); });
    if (outcome.IsDone())
      content.m_Roots[root] = parts;
    else if (outcome.m_Way == FaultsOutcome::Way::Store)
      ++content.m_Refused;
    else
      throw std::runtime_error("loading " + root + " raised " + outcome.m_Text);
  }
  return content;
}

DamageRows DamageRootRows(std::string const& path) {
  DamageRows rows;
  Raw raw(path);
  bool const isWhole = raw.ForEach("SELECT name, object_id FROM root", [&](sqlite3_stmt* row) {
    auto const* const bytes = static_cast<char const*>(sqlite3_column_blob(row, 0));
    auto const size = static_cast<std::size_t>(sqlite3_column_bytes(row, 0));
    rows.emplace(std::string(bytes == nullptr ? "" : bytes, size), sqlite3_column_int64(row, 1));
  });
  if (!isWhole) rows.clear();
  return rows;
}

std::int64_t DamageNextId(std::string const& path) {
  std::int64_t next = 0;
  Raw raw(path);
  raw.ForEach("SELECT next_object_id FROM save ORDER BY no DESC LIMIT 1",
              [&](sqlite3_stmt* row) { next = sqlite3_column_int64(row, 0); });
  return next;
}

std::map<std::int64_t, DamageParts> DamageObjects(std::string const& path, std::string const& copy) {
  std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing);
  {
    std::int64_t const last = DamageNextId(copy);
    SqlFile file(copy);
    file.Run("BEGIN");
    for (std::int64_t id = 1; id < last; ++id) PutRoot(file, "id " + std::to_string(id), std::to_string(id));
    file.Run("COMMIT");
  }
  sto_Store store = sto_Store::Open(copy, sto_Mode::ReadOnly, FaultsRegistrar());
  std::map<std::int64_t, DamageParts> objects;
  for (auto const& [root, parts] : DamageLoad(store).m_Roots)
    if (root.starts_with("id ")) objects[std::stoll(root.substr(3))] = parts;
  return objects;
}
