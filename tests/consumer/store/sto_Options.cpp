#include "store/sto_Options.h"

ShopOptions ReadShopOptions() {
  return {"shop.kvs", 2.5};
}
