#include "tests/faults/ModelScript.h"

#include <array>
#include <random>
#include <sstream>
#include <stdexcept>

namespace {

struct Entry {
  char const* m_Name;
  int m_Weight;
  int m_FaultWeight; ///< percentage of steps with a fault
};

// In the order of ModelOp.
constexpr std::array<Entry, static_cast<std::size_t>(ModelOp::Count_)> Entries{{
    {"New", 30, 0},     {"Drop", 8, 0},        {"Load", 30, 4},           {"Values", 25, 0},
    {"Append", 120, 8}, {"AppendRun", 12, 10}, {"Set", 100, 8},           {"Get", 60, 3},
    {"Flush", 15, 15},  {"Release", 10, 15},   {"Copies", 8, 0},          {"Check", 40, 0},
    {"Save", 60, 15},   {"SaveThrows", 20, 0}, {"SaveUndeclared", 15, 0}, {"Begin", 28, 5},
    {"Commit", 25, 15}, {"Rollback", 18, 0},   {"RemoveRoot", 6, 10},     {"Collect", 5, 10},
    {"Write", 70, 10},  {"Cut", 20, 10},       {"Futile", 30, 4},         {"Conflict", 10, 0},
    {"Reopen", 6, 0},   {"Verify", 15, 0},
}};

Entry const& EntryOf(ModelOp op) {
  return Entries[static_cast<std::size_t>(op)];
}

} // namespace

ModelScript ModelGenerate(unsigned int seed, int steps) {
  std::mt19937 random(seed);
  auto const below = [&](int end) { return static_cast<int>(random() % static_cast<unsigned int>(end)); };
  int total = 0;
  for (Entry const& entry : Entries) total += entry.m_Weight;
  bool const hasFaults = below(3) != 0;
  ModelScript script;
  script.m_ReadersBesideWriter = seed % 2 == 0;
  for (int i = 0; i < steps; ++i) {
    ModelStep step;
    int choice = below(total);
    std::size_t op = 0;
    while ((choice -= Entries[op].m_Weight) >= 0) ++op;
    step.m_Op = static_cast<ModelOp>(op);
    step.m_Session = below(5) == 0 ? 1 : 0;
    for (int& arg : step.m_Args) arg = below(10'000);
    if (hasFaults && below(100) < Entries[op].m_FaultWeight) {
      step.m_Fault = below(2) + 1;
      step.m_FaultAt = below(below(4) == 0 ? 60 : 12) + 1;
    }
    script.m_Steps.push_back(step);
  }
  script.m_Steps.push_back({});
  return script;
}

std::string ModelText(ModelStep const& step) {
  std::ostringstream text;
  text << EntryOf(step.m_Op).m_Name << ' ' << step.m_Session;
  for (int const arg : step.m_Args) text << ' ' << arg;
  if (step.m_Fault != 0) text << (step.m_Fault == 1 ? " io " : " full ") << step.m_FaultAt;
  return text.str();
}

std::string ModelText(ModelScript const& script) {
  std::string text = script.m_ReadersBesideWriter ? "log\n" : "journal\n";
  for (ModelStep const& step : script.m_Steps) text += ModelText(step) + '\n';
  return text;
}

ModelScript ModelParse(std::string const& text) {
  ModelScript script;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string name;
    if (!(words >> name) || name[0] == '#') continue;
    if (name == "log" || name == "journal") {
      script.m_ReadersBesideWriter = name == "log";
      continue;
    }
    ModelStep step;
    std::size_t op = 0;
    while (op < Entries.size() && name != Entries[op].m_Name) ++op;
    if (op == Entries.size()) throw std::runtime_error("no such step: " + line);
    step.m_Op = static_cast<ModelOp>(op);
    words >> step.m_Session >> step.m_Args[0] >> step.m_Args[1] >> step.m_Args[2];
    if (std::string fault; words >> fault >> step.m_FaultAt) step.m_Fault = fault == "io" ? 1 : 2;
    script.m_Steps.push_back(step);
  }
  return script;
}
