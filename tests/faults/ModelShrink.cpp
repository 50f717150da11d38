#include "tests/faults/ModelShrink.h"

#include <algorithm>
#include <chrono>

namespace {

constexpr std::chrono::seconds Patience{120};

bool DropParts(ModelScript& script, std::size_t size, std::function<bool(ModelScript const&)> const& fails) {
  bool hasDropped = false;
  for (std::size_t first = 0; first < script.m_Steps.size();) {
    ModelScript shorter = script;
    auto const begin = shorter.m_Steps.begin() + static_cast<std::ptrdiff_t>(first);
    auto const count = std::min(size, script.m_Steps.size() - first);
    shorter.m_Steps.erase(begin, begin + static_cast<std::ptrdiff_t>(count));
    if (fails(shorter)) {
      script = std::move(shorter);
      hasDropped = true;
    } else {
      first += size;
    }
  }
  return hasDropped;
}

void Simplify(ModelScript& script, std::function<bool(ModelScript const&)> const& fails) {
  auto const attempt = [&](std::size_t i, auto change) {
    ModelScript simpler = script;
    change(simpler.m_Steps[i]);
    if (fails(simpler)) script = std::move(simpler);
  };
  for (std::size_t i = 0; i < script.m_Steps.size(); ++i) {
    if (script.m_Steps[i].m_Fault != 0) attempt(i, [](ModelStep& step) { step.m_Fault = 0; });
    for (int arg = 0; arg < 3; ++arg)
      for (int const limit : {0, 10, 100, 1000})
        if (script.m_Steps[i].m_Args[arg] > limit)
          attempt(i, [&](ModelStep& step) { step.m_Args[arg] %= limit + 1; });
  }
}

} // namespace

ModelScript ModelShrink(ModelScript script, std::function<bool(ModelScript const&)> const& fails) {
  auto const end = std::chrono::steady_clock::now() + Patience;
  auto const inTime = [&](ModelScript const& tried) {
    return std::chrono::steady_clock::now() < end && fails(tried);
  };
  for (std::size_t size = script.m_Steps.size() / 2; size > 0; size /= 2) DropParts(script, size, inTime);
  while (DropParts(script, 1, inTime)) {
  }
  Simplify(script, inTime);
  return script;
}
