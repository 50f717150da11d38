#pragma once

/// The options of a shop, which has nothing to do with a database: a header of the application's own, with the name
/// of one of the library's.
struct ShopOptions {
  char const* m_File;
  double m_Price;
};

ShopOptions ReadShopOptions();
