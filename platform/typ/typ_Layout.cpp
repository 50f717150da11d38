#include "platform/typ/typ_Layout.h"

kvl_Layout const& typ_Layout() noexcept {
  return typ_LayoutAccess::Layout;
}
