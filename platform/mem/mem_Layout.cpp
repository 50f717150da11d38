#include "platform/mem/mem_Layout.h"

kvl_Layout const& mem_Layout() noexcept {
  return mem_LayoutAccess::Layout;
}
