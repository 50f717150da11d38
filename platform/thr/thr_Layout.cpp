#include "platform/thr/thr_Layout.h"

kvl_Layout const& thr_Layout() noexcept {
  return thr_LayoutAccess::Layout;
}
