#include "platform/atr/atr_Layout.h"

kvl_Layout const& atr_Layout() noexcept {
  return atr_LayoutAccess::Layout;
}
