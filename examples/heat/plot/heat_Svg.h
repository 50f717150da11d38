#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

// A point of a drawing in pixels, x to the right and y downward.
using heat_Pixel = std::array<double, 2>;

// The path data of a path element, in steps of a hundredth of a pixel. Points that coincide after rounding
// are written once.
class heat_SvgPath {
 public:
  // Adds a course through the points, closed to an outline or open. A course that shrinks to a point is
  // omitted.
  void Add(std::vector<heat_Pixel> const& points, bool closed);

  bool IsEmpty() const { return m_Text.empty(); }
  std::string const& Text() const { return m_Text; }

 private:
  std::string m_Text;
};

// Builds the text of an SVG document. Attributes are inserted as given; text contents are escaped.
class heat_Svg {
 public:
  heat_Svg(double width, double height);

  // Adds a path; an empty one is omitted.
  void Path(heat_SvgPath const& path, std::string_view attributes);
  void Line(heat_Pixel const& from, heat_Pixel const& to, std::string_view attributes);
  void Rectangle(heat_Pixel const& corner, double width, double height, std::string_view attributes);
  void Text(heat_Pixel const& place, std::string_view text, std::string_view attributes);

  // Opens a group: everything until Close shares its attributes.
  void OpenGroup(std::string_view attributes);
  void CloseGroup();

  // The whole document.
  std::string Document() const;

  // A number with at most two decimals, without trailing zeros and independent of the locale; 0 if it is not
  // finite.
  static std::string Number(double value);

  // The text with XML's special characters escaped and characters that XML forbids removed; bytes that are
  // not UTF-8 become question marks.
  static std::string Escaped(std::string_view text);

 private:
  std::string m_Body;
};
