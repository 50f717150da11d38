#include "tests/faults/FaultsLoop.h"

#include <stdexcept>

#include "tests/faults/FaultsClasses.h"

namespace {

constexpr int AppendsOfCommit = 301; // a block is full every seventh commit
constexpr int KeptRoots = 3;

std::string RootOf(int number) {
  return "commit " + std::to_string(number);
}

int ValueAt(int index) {
  return index + 1;
}
/// Each commit changes one existing element.
int ChangedIndex(int number) {
  return number * 97 % (number * AppendsOfCommit);
}
std::string BytesOf(int number) {
  return std::string(static_cast<std::size_t>(number * 900 % 40000 + 10),
                     static_cast<char>('a' + number % 26));
}

void Require(bool isRight, std::string const& text) {
  if (!isRight) throw std::runtime_error(text);
}

void FillBoth(Carrier& carrier, int number) {
  for (int i = (number - 1) * AppendsOfCommit; i < number * AppendsOfCommit; ++i) {
    carrier.Append(1, ValueAt(i));
    if (i % 4 == 0) carrier.Append(2, ValueAt(i));
  }
  carrier.Set(1, ChangedIndex(number), -number);
}

std::vector<int> ExpectedInts(int number) {
  std::vector<int> expected;
  for (int commit = 1; commit <= number; ++commit) {
    for (int i = (commit - 1) * AppendsOfCommit; i < commit * AppendsOfCommit; ++i)
      expected.push_back(ValueAt(i));
    expected[static_cast<std::size_t>(ChangedIndex(commit))] = -commit;
  }
  return expected;
}

void ExpectCarrier(sto_Store& store, int number) {
  auto const carrier = store.Load<Carrier>("carrier");
  Require(carrier->m_Number == number &&
              carrier->m_Text == std::string(static_cast<std::size_t>(number), 't'),
          "the values are not those of commit " + std::to_string(number));
  Require(carrier->All(1) == ExpectedInts(number),
          "the array is not that of commit " + std::to_string(number));
  std::vector<int> const texts = carrier->All(2);
  Require(texts.size() == static_cast<std::size_t>((number * AppendsOfCommit + 3) / 4),
          "the array of texts is not that of commit " + std::to_string(number));
  for (std::size_t i = 0; i < texts.size(); ++i)
    Require(texts[i] == ValueAt(static_cast<int>(i) * 4), "a text is different");
}

} // namespace

void FaultsMakeLoop(std::string const& path, bool readersBesideWriter) {
  sto_Options options;
  options.m_PageBytes = 4096;
  options.m_ReadersBesideWriter = readersBesideWriter;
  sto_Store store = sto_Store::Open(path, sto_Mode::Create, FaultsRegistrar(), options);
  Carrier const carrier;
  FaultsPicture const picture(BytesOf(0));
  Folder const folder;
  sto_Transaction transaction(store);
  store.Save("carrier", carrier);
  store.Save("picture", picture);
  store.Save("folder", folder);
  transaction.Commit();
}

void FaultsRunLoop(std::string const& path, int count, std::function<void(int)> const& committed) {
  sto_Store store = sto_Store::Open(path, sto_Mode::ReadWrite, FaultsRegistrar());
  auto const carrier = store.Load<Carrier>("carrier");
  auto const picture = store.Load<FaultsPicture>("picture");
  auto const folder = store.Load<Folder>("folder");
  int number = carrier->m_Number;
  for (int i = 0; i < count; ++i) {
    ++number;
    sto_Transaction transaction(store);
    FillBoth(*carrier, number);
    carrier->m_Number = number;
    carrier->m_Text += 't';
    store.Save("carrier", *carrier);
    std::string const bytes = BytesOf(number);
    picture->Blob().Truncate(0);
    picture->Blob().Write(0, static_cast<long long>(bytes.size()), bytes.data());
    folder->Put(number - 1, Leaf(number));
    folder->PutKey(number % 10, Leaf(number));
    store.Save(RootOf(number), Leaf(number));
    if (number > KeptRoots) store.RemoveRoot(RootOf(number - KeptRoots));
    if (number % 5 == 0) store.CollectGarbage();
    transaction.Commit();
    committed(number);
  }
}

int FaultsStateOf(std::string const& path) {
  sto_Store store = sto_Store::Open(path, sto_Mode::ReadWrite, FaultsRegistrar());
  int const number = store.Load<Carrier>("carrier")->m_Number;
  ExpectCarrier(store, number);
  std::string const of = " is not that of commit " + std::to_string(number);
  Require(store.Load<FaultsPicture>("picture")->Bytes() == BytesOf(number), "the blob" + of);
  auto const folder = store.Load<Folder>("folder");
  std::vector<int> const items = folder->AllItems();
  Require(items.size() == static_cast<std::size_t>(number), "the list of objects" + of);
  for (std::size_t i = 0; i < items.size(); ++i)
    Require(items[i] == static_cast<int>(i) + 1, "an element of the list of objects" + of);
  for (auto const& [key, value] : folder->AllKeyed())
    Require(value == number - (number - key) % 10, "an element of the map of objects" + of);
  std::size_t const roots = 3 + static_cast<std::size_t>(std::min(number, KeptRoots));
  Require(store.Roots().size() == roots, "the roots" + of);
  for (int i = std::max(1, number - KeptRoots + 1); i <= number; ++i)
    Require(store.Load<Leaf>(RootOf(i))->m_Value == i, "a root" + of);
  return number;
}
