#include "collections/cls_ExtQuant.h"

#include <cstdio>
#include <cstdlib>

template class thr_ThreadSingletonBase<cls_ExtQuant>;
template class thr_ThreadSingleton<cls_ExtQuant>;

namespace {

int Chosen(cow_String const& name, int defaultQuantum) {
  char const* const text = std::getenv(name.CharsOrEmpty()); // NOLINT(concurrency-mt-unsafe)
  if (text == nullptr) return defaultQuantum;
  int const quantum = std::atoi(text);
  return quantum < 1 ? defaultQuantum : quantum;
}

} // namespace

int cls_ExtQuant::ExtentQuantum(cow_String const& name, int defaultQuantum) {
  if (m_State == Off) return defaultQuantum;
  if (m_State == NotLookedAt) {
    if (std::getenv("EXTENT_QUANTUM_OVERRIDE") == nullptr) { // NOLINT(concurrency-mt-unsafe)
      m_State = Off;
      return defaultQuantum;
    }
    m_State = Active;
    std::printf("***** EXTENT_QUANTUM_OVERRIDE activated.\n");
  }
  if (auto const* const known = m_Cache.ConstFind(name)) return known->second; // even if the default differs
  int const quantum = Chosen(name, defaultQuantum);
  std::printf("***** %s = %d\n", name.CharsOrEmpty(), quantum);
  m_Cache.InsertUnlessMember(name, quantum);
  return quantum;
}

int cls_ExtQuant::ExtentQuantumConstTiny() {
  return ExtentQuantum("EXTENT_QUANTUM_TINY"_cow, 4);
}
int cls_ExtQuant::ExtentQuantumConstSmall() {
  return ExtentQuantum("EXTENT_QUANTUM_SMALL"_cow, 512);
}
int cls_ExtQuant::ExtentQuantumConstMedium() {
  return ExtentQuantum("EXTENT_QUANTUM_MEDIUM"_cow, 1024);
}
int cls_ExtQuant::ExtentQuantumConstLarge() {
  return ExtentQuantum("EXTENT_QUANTUM_LARGE"_cow, 2048);
}
int cls_ExtQuant::ExtentQuantumConstHuge() {
  return ExtentQuantum("EXTENT_QUANTUM_HUGE"_cow, 4096);
}
