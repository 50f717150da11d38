#include "platform/cow/cow_Layout.h"

kvl_Layout const& cow_Layout() noexcept {
  return cow_LayoutAccess::Layout;
}
