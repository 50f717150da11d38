#pragma once

#include <string>
#include <vector>

// Round values for axes and colours: multiples of 1, 2 or 5 times a power of ten.

// Equally spaced values within a range, ends included.
struct heat_Ticks {
  std::vector<double> values;
  int decimals = 0; // decimals needed to print them
};

// As many ticks between low and high (low < high) as round steps allow, at most the given number (two or
// more).
heat_Ticks heat_TicksFor(double low, double high, int atMost);

// Bands of equal height that together cover a range of values.
struct heat_Bands {
  double low = 0;  // start of the first band
  double step = 1; // height of a band
  int count = 1;
  double High() const { return low + step * count; }
  double Level(int band) const { return low + step * band; } // start of a band
};

// Bands of round height that cover low to high, at least atLeast of them. A range smaller than a millionth of
// its values is widened, by a half or more on both sides.
heat_Bands heat_BandsFor(double low, double high, int atLeast);

// A number with a fixed number of decimals, a true minus sign, no locale; never "-0". Very large numbers and
// more than six decimals give six significant digits instead, with an exponent if that is shorter.
std::string heat_NumberText(double value, int decimals);
