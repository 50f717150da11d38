#pragma once

#include <string>

// A colour in the space sRGB, each part from 0 to 1.
struct heat_Colour {
  double red = 0;
  double green = 0;
  double blue = 0;
};

// The colour for a share from 0 (cold: dark violet) to 1 (hot: light yellow); other values are taken into
// that range. Equal steps of the share look like equal steps of lightness: the map runs straight up in the
// lightness of the perceptual space OKLab while its hue turns from violet through red to yellow, with as much
// chroma as sRGB can show up to a limit. It therefore also reads well in grey and for the colour-blind.
heat_Colour heat_ColourOf(double share);

// The same colour with less light: factor 1 leaves it as it is, 0 is black.
heat_Colour heat_Shaded(heat_Colour const& colour, double factor);

// "#rrggbb"
std::string heat_Hex(heat_Colour const& colour);
