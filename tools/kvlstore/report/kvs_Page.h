#pragma once

#include <iosfwd>
#include <string_view>

#include "tools/kvlstore/report/kvs_Facts.h"

/// The frame of a report in HTML: its head, what is seen before and without the script, and the script. The order: Begin, then data,
/// then End.

/// What the page is made of; the build makes it of the files in this folder.
struct kvs_Assets {
  static std::string_view Style() noexcept;
  static std::string_view Body() noexcept; ///< the sections, without content
  static std::string_view Script() noexcept;
  static std::string_view Policy() noexcept; ///< allows this style and this script, and no network
};

void kvs_BeginPage(std::ostream& out, kvs_Facts const& facts);
/// Data for the script, under a name.
void kvs_BeginData(std::ostream& out, std::string_view name);
void kvs_EndData(std::ostream& out);
void kvs_EndPage(std::ostream& out);
