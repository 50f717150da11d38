#pragma once

#include "store/base/sto_Progress.h"

#include <cstdint>

// A progress function for the long operations of a store. It shows the share of the work on a bar, or what is done so
// far if the whole is not known: with bar.Update(double share) or bar.UpdateCount(std::int64_t done). It never cancels.
// The bar must outlive it.
template <class Bar> sto_Progress exa_ShowOn(Bar& bar) {
  return [&bar](sto_ProgressStep const& step) {
    if (step.m_IsTotalKnown)
      bar.Update(static_cast<double>(step.m_Done) / static_cast<double>(step.m_Total));
    else
      bar.UpdateCount(step.m_Done);
    return true;
  };
}
