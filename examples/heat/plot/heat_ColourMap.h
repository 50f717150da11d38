#pragma once

#include <string>

// A colour in sRGB; components from 0 to 1.
struct heat_Colour {
  double red = 0;
  double green = 0;
  double blue = 0;
};

// The colour for a share from 0 (cold: dark violet) to 1 (hot: light yellow); other values are clamped.
// Lightness in the perceptual space OKLab grows linearly with the share, so equal steps look equal, while the
// hue turns from violet through red to yellow. Chroma is as high as sRGB can show, up to a limit. The map
// also reads well in grey and for colour-blind people.
heat_Colour heat_ColourOf(double share);

// The colour with less light: factor 1 leaves it unchanged, 0 is black.
heat_Colour heat_Shaded(heat_Colour const& colour, double factor);

// "#rrggbb"
std::string heat_Hex(heat_Colour const& colour);
