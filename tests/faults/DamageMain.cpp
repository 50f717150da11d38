#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>

#include "tests/faults/DamageContent.h"
#include "tests/faults/FaultsClasses.h"
#include "tests/faults/FaultsFrame.h"

// Damaged copies of a small store with every kind of object and row.
//
//     faults_damage [--short] [--copies 20000] [--seed 1]
//     faults_damage --copy N [--keep FILE]      one copy, to look at it
//
// Each copy is checked, opened, loaded, saved to, collected, and loaded again. Every result must be the original
// content or a store error, and whatever does not load as the original must have been found by the check. This format cannot detect two kinds of damage. They have their own columns and
// rules:
//
// known root   The root table, read bypassing the module, has other rows than the original. Each root that
//              loads is completely the original object with the id in its row (or in one of its rows, if
//              several have its name).
// known older  Only if pages of an older copy were put in. Each part of each root that loads is completely
//              what either the original or the older copy has there, and the roots are those of one of the
//              two. Or the older pages give out object ids again: the next id, read bypassing the module, is
//              less than the original's, and every part that matches neither copy is completely that of the
//              object saved afterwards.

namespace {

constexpr int PageBytes = 2048;
constexpr int CopiesOfChild = 40;
constexpr unsigned int SecondsOfCopy = 20;

enum class Verdict : char {
  Same = 's',
  Refused = 'r',
  KnownRoot = 'k',
  KnownOlder = 'o',
  Wrong = 'w',
  Lost = 'l'
};

struct Campaign {
  FaultsFolder m_Folder;
  std::string m_Bytes, m_OlderBytes;
  DamageContent m_Content, m_Older;
  DamageRows m_Rows;
  std::int64_t m_NextId = 0;
  std::map<std::int64_t, DamageParts> m_Objects;
  unsigned int m_Seed = 1;
};

void Prepare(Campaign& campaign) {
  std::string const path = campaign.m_Folder.Path("original");
  std::string const older = campaign.m_Folder.Path("older");
  DamageMake(path, older);
  campaign.m_Bytes = FaultsBytesOf(path);
  campaign.m_OlderBytes = FaultsBytesOf(older);
  campaign.m_Rows = DamageRootRows(path);
  campaign.m_NextId = DamageNextId(path);
  campaign.m_Objects = DamageObjects(path, campaign.m_Folder.Path("objects"));
  auto const load = [](std::string const& file) {
    sto_Store store = sto_Store::Open(file, sto_Mode::ReadOnly, FaultsRegistrar());
    return DamageLoad(store);
  };
  campaign.m_Content = load(path);
  campaign.m_Older = load(older);
  if (campaign.m_Content.m_Refused != 0 || campaign.m_Content.m_Roots.size() != campaign.m_Rows.size())
    throw std::runtime_error("the original cannot be loaded");
  for (auto const& [root, id] : campaign.m_Rows)
    if (campaign.m_Objects[id] != campaign.m_Content.m_Roots[root])
      throw std::runtime_error("the ids are wrong");
}

/// Damages the bytes; returns a description. Sets `isOlder` if pages of the older copy were put in.
std::string Damage(Campaign const& campaign, std::mt19937& random, std::string& bytes, bool& isOlder) {
  auto const below = [&](std::size_t end) { return random() % end; };
  auto const pages = bytes.size() / PageBytes;
  auto const page = [&](std::size_t number) { return number * PageBytes; };
  // Half of the damage goes to the first pages: tables of names and roots, and inner pages.
  auto const anyPlace = [&] {
    return below(2) == 0 ? below(std::min<std::size_t>(bytes.size(), 60'000)) : below(bytes.size());
  };
  auto const anyPage = [&] { return anyPlace() / PageBytes; };
  switch (below(7)) {
  case 0: {
    std::size_t const count = below(3) == 0 ? below(20) + 1 : 1;
    std::string text = "bits flipped at";
    for (std::size_t i = 0; i < count; ++i) {
      std::size_t const place = anyPlace();
      bytes[place] = static_cast<char>(bytes[place] ^ (1 << below(8)));
      text += ' ' + std::to_string(place);
    }
    return text;
  }
  case 1: {
    std::size_t const number = anyPage();
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(page(number)), PageBytes, '\0');
    return "page " + std::to_string(number) + " zeroed";
  }
  case 2: {
    std::size_t const one = anyPage();
    std::size_t const two = below(3) == 0 ? anyPage() : below(pages);
    std::swap_ranges(bytes.begin() + static_cast<std::ptrdiff_t>(page(one)),
                     bytes.begin() + static_cast<std::ptrdiff_t>(page(one) + PageBytes),
                     bytes.begin() + static_cast<std::ptrdiff_t>(page(two)));
    return "pages " + std::to_string(one) + " and " + std::to_string(two) + " swapped";
  }
  case 3: {
    std::size_t const size = below(3) == 0 ? below(bytes.size()) : page(below(pages));
    bytes.resize(size);
    return "cut to " + std::to_string(size) + " bytes";
  }
  case 4: {
    std::size_t const place = anyPlace();
    std::size_t const from = below(bytes.size());
    std::size_t const size = std::min({below(300) + 1, bytes.size() - place, bytes.size() - from});
    bytes.replace(place, size, campaign.m_Bytes.substr(from, size));
    return std::to_string(size) + " bytes spliced from " + std::to_string(from) + " to " +
           std::to_string(place);
  }
  case 5: {
    std::size_t const place = anyPlace();
    std::size_t const size = std::min(below(60) + 1, bytes.size() - place);
    for (std::size_t i = 0; i < size; ++i) bytes[place + i] = static_cast<char>(random());
    return std::to_string(size) + " random bytes at " + std::to_string(place);
  }
  default: {
    isOlder = true;
    std::string text = "pages of the older copy:";
    for (std::size_t i = below(4) + 1; i > 0; --i) {
      std::size_t const number = below(campaign.m_OlderBytes.size() / PageBytes);
      bytes.replace(page(number), PageBytes, campaign.m_OlderBytes.substr(page(number), PageBytes));
      text += ' ' + std::to_string(number);
    }
    return text;
  }
  }
}

/// `given`: the parts of an object saved under an id that is given out again; may be empty.
bool IsKnownOlder(Campaign const& campaign, DamageContent const& found, DamageParts const& given) {
  for (auto const& [root, parts] : found.m_Roots) {
    auto const now = campaign.m_Content.m_Roots.find(root);
    auto const then = campaign.m_Older.m_Roots.find(root);
    bool const hasNow = now != campaign.m_Content.m_Roots.end();
    bool const hasThen = then != campaign.m_Older.m_Roots.end();
    if (!hasNow && !hasThen) return false;
    for (std::size_t i = 0; i < parts.size(); ++i)
      if (!(hasNow && i < now->second.size() && parts[i] == now->second[i]) &&
          !(hasThen && i < then->second.size() && parts[i] == then->second[i]) &&
          std::find(given.begin(), given.end(), parts[i]) == given.end())
        return false;
  }
  return true;
}

bool IsKnownRoot(Campaign const& campaign, DamageContent const& found, DamageRows const& rows) {
  if (rows == campaign.m_Rows) return false;
  for (auto const& known : found.m_Roots) {
    bool const isOfARow = std::any_of(rows.begin(), rows.end(), [&](auto const& row) {
      auto const object = campaign.m_Objects.find(row.second);
      return row.first == known.first && object != campaign.m_Objects.end() && object->second == known.second;
    });
    if (!isOfARow) return false;
  }
  return true;
}

/// Describes which roots show something else.
std::string DifferenceOf(Campaign const& campaign, DamageContent const& found) {
  std::string text =
      ": " + std::to_string(found.m_Roots.size()) + " roots, " + std::to_string(found.m_Refused) + " refused";
  std::size_t const enough = 300;
  for (auto const& [root, parts] : found.m_Roots) {
    if (text.size() > enough) return text + " ...";
    auto const original = campaign.m_Content.m_Roots.find(root);
    if (original == campaign.m_Content.m_Roots.end()) {
      text += "; '" + root + "' is new";
      continue;
    }
    for (std::size_t i = 0; i < parts.size(); ++i)
      if (i >= original->second.size() || parts[i] != original->second[i])
        text += "; part " + std::to_string(i) + " of '" + root + "' is " + parts[i].substr(0, 12);
  }
  return text;
}

/// Compares what a load showed with the original.
Verdict Judge(Campaign const& campaign, DamageContent const& found, DamageRows const& rows, bool isOlder,
              DamageParts const& given) {
  bool isSame =
      found.m_Roots.size() + static_cast<std::size_t>(found.m_Refused) == campaign.m_Content.m_Roots.size();
  for (auto const& [root, parts] : found.m_Roots) {
    auto const original = campaign.m_Content.m_Roots.find(root);
    isSame = isSame && original != campaign.m_Content.m_Roots.end() && original->second == parts;
  }
  if (isSame) return found.m_Refused == 0 ? Verdict::Same : Verdict::Refused;
  if (isOlder && IsKnownOlder(campaign, found, given)) return Verdict::KnownOlder;
  return IsKnownRoot(campaign, found, rows) ? Verdict::KnownRoot : Verdict::Wrong;
}

/// Checks a damaged copy. Returns whether a full check finds nothing; Lost in `verdict` if it raises, though the store
/// can be opened.
bool FindsNothing(std::string const& path, Verdict& verdict, std::string& text) {
  std::unique_ptr<sto_Store> store;
  auto const open = [&] {
    store = std::make_unique<sto_Store>(sto_Store::Open(path, sto_Mode::ReadOnly, FaultsRegistrar()));
  };
  if (!FaultsTry(open).IsDone()) return false;
  bool isSound = false;
  FaultsOutcome const outcome = FaultsTry([&] { isSound = store->Check(sto_CheckDepth::Full).IsSound(); });
  if (outcome.IsDone()) return isSound;
  text += ", a check raised: " + outcome.m_Text;
  verdict = Verdict::Lost;
  return false;
}

/// Tests one damaged copy: first as it is, then after saving to it and collecting.
Verdict TryCopy(Campaign const& campaign, int copy, std::string& text) {
  std::mt19937 random(campaign.m_Seed * 1'000'003U + static_cast<unsigned int>(copy));
  std::string bytes = campaign.m_Bytes;
  bool isOlder = false;
  text = Damage(campaign, random, bytes, isOlder);
  std::string const path = campaign.m_Folder.Path("damaged");
  unlink((path + "-journal").c_str()); // left by a copy whose process died
  FaultsPutBytes(path, bytes);
  auto const rows = DamageRootRows(path);
  bool const givesOutAgain = isOlder && DamageNextId(path) < campaign.m_NextId;
  Verdict verdict = Verdict::Same;
  bool const findsNothing = FindsNothing(path, verdict, text);
  if (verdict == Verdict::Lost) return verdict;
  bool isRefused = false;
  auto const look = [&](sto_Store& store, bool isAfter) {
    DamageContent found = DamageLoad(store);
    DamageParts const saved = found.m_Roots["new"];
    found.m_Roots.erase("new");
    Verdict const now =
        Judge(campaign, found, rows, isOlder, isAfter && givesOutAgain ? saved : DamageParts());
    if (now == Verdict::Wrong && isAfter) text += ", after a save and a collection";
    if (now == Verdict::Wrong) text += DifferenceOf(campaign, found);
    if (verdict != Verdict::Wrong && now != Verdict::Same) verdict = now;
  };
  FaultsOutcome outcome = FaultsTry([&] {
    sto_Store store = sto_Store::Open(path, sto_Mode::ReadWrite, FaultsRegistrar());
    look(store, false);
    for (auto const& act : std::initializer_list<std::function<void()>>{[&] { store.Save("new", Leaf(5)); },
                                                                        [&] { store.CollectGarbage(); }}) {
      FaultsOutcome const one = FaultsTry(act);
      isRefused = isRefused || !one.IsDone();
      if (!one.IsDone() && one.m_Way != FaultsOutcome::Way::Store) throw std::runtime_error(one.m_Text);
    }
  });
  if (outcome.IsDone())
    outcome = FaultsTry([&] {
      sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, FaultsRegistrar());
      look(store, true);
    });
  if (!outcome.IsDone() && outcome.m_Way != FaultsOutcome::Way::Store) {
    text += ": " + outcome.m_Text;
    return Verdict::Lost;
  }
  isRefused = isRefused || !outcome.IsDone();
  if (findsNothing && verdict != Verdict::Same) {
    text += ": a full check found nothing";
    return Verdict::Wrong;
  }
  return verdict == Verdict::Same && isRefused ? Verdict::Refused : verdict;
}

void Count(FaultsRow& row, int copy, Verdict verdict, std::string const& text) {
  row.Count();
  switch (verdict) {
  case Verdict::Same:
    return row.Besides("same");
  case Verdict::Refused:
    return row.Besides("refused");
  case Verdict::KnownRoot:
    return row.Besides("known root");
  case Verdict::KnownOlder:
    return row.Besides("known older");
  case Verdict::Wrong:
    return row.Wrong("copy " + std::to_string(copy) + ": " + text);
  case Verdict::Lost:
    return row.Lost("copy " + std::to_string(copy) + ": " + text);
  }
}

/// Runs copies in a child process until all are done or it dies. Returns the next copy to try.
int RunChild(Campaign const& campaign, FaultsRow& row, int first, int last) {
  FaultsEnd const end = FaultsChild(
      [&](int pipe) {
        for (int copy = first; copy < last; ++copy) {
          alarm(SecondsOfCopy);
          std::string text;
          Verdict const verdict = TryCopy(campaign, copy, text);
          FaultsTell(pipe, std::string(1, static_cast<char>(verdict)) + text + '\n');
        }
        return 0;
      },
      SecondsOfCopy);
  int copy = first;
  std::size_t at = 0;
  for (std::size_t newline = 0; copy < last && (newline = end.m_Output.find('\n', at)) != std::string::npos;
       ++copy) {
    Count(row, copy, static_cast<Verdict>(end.m_Output[at]), end.m_Output.substr(at + 1, newline - at - 1));
    at = newline + 1;
  }
  if (copy == last) return last;
  Count(row, copy, Verdict::Lost,
        "the process ended by " + FaultsEnd{end.m_ExitCode, end.m_Signal, ""}.AsText());
  return copy + 1;
}

int Run(FaultsOptions const& options) {
  Campaign campaign;
  campaign.m_Seed = static_cast<unsigned int>(options.Number("seed", 1));
  FaultsRow row("damaged copies of a small store");
  Prepare(campaign);
  int const only = options.Number("copy", -1);
  int const end = only >= 0 ? only + 1 : options.Number("copies", options.IsShort() ? 600 : 20'000);
  for (int copy = std::max(only, 0); copy < end;)
    copy = RunChild(campaign, row, copy, std::min(copy + CopiesOfChild, end));
  if (options.Has("keep")) { // the damaged copy itself, for one --copy
    std::mt19937 random(campaign.m_Seed * 1'000'003U + static_cast<unsigned int>(std::max(only, 0)));
    std::string bytes = campaign.m_Bytes;
    bool isOlder = false;
    static_cast<void>(Damage(campaign, random, bytes, isOlder));
    FaultsPutBytes(options.Text("keep", "damaged"), bytes);
  }
  return row.Print();
}

} // namespace

int main(int argc, char** argv) {
  int code = 3;
  FaultsOutcome const outcome = FaultsTry([&] { code = Run(FaultsOptions(argc, argv)); });
  if (!outcome.IsDone()) std::fprintf(stderr, "%s\n", outcome.m_Text.c_str());
  return code;
}
