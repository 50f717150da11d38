#pragma once

#include <iosfwd>
#include <span>
#include <string_view>

#include "tools/kvlstore/report/kvs_Facts.h"

/// The frame of a report in HTML: its head, what is seen before and without the script, and the script. The order: Begin, then data,
/// then End.

/// What the page is made of; the build makes it of the files in this folder.
struct kvs_Assets {
  using Pieces = std::span<std::string_view const>; ///< a compiler takes no longer literals

  static Pieces Style() noexcept;
  static Pieces Body() noexcept; ///< the sections, without content
  static Pieces Script() noexcept;
  static std::string_view Policy() noexcept; ///< allows this style and this script, and no network
};

void kvs_BeginPage(std::ostream& out, kvs_Facts const& facts);
/// Data for the script, under a name.
void kvs_BeginData(std::ostream& out, std::string_view name);
void kvs_EndData(std::ostream& out);
void kvs_EndPage(std::ostream& out);
