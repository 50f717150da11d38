#include "platform/omni/omni_Layout.h"

kvl_Layout const& omni_Layout() noexcept {
  return omni_LayoutAccess::Layout;
}
