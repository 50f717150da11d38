#include "examples/heat/plot/heat_Svg.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>

namespace {

using Steps = std::array<long, 2>; // hundredths of a pixel

Steps Rounded(heat_Pixel const& point) {
  auto const round = [](double x) {
    return std::isfinite(x) ? std::lround(100 * std::clamp(x, -1e7, 1e7)) : 0;
  };
  return {round(point[0]), round(point[1])};
}

void AppendHundredths(long value, std::string& text) {
  if (value < 0) text += '-';
  auto const size = std::abs(value);
  auto const whole = size / 100;
  auto const rest = size % 100;
  if (whole != 0 || rest == 0) text += std::to_string(whole);
  if (rest == 0) return;
  text += '.';
  text += static_cast<char>('0' + rest / 10);
  if (rest % 10 != 0) text += static_cast<char>('0' + rest % 10);
}

void AppendPair(long x, long y, std::string& text) {
  AppendHundredths(x, text);
  if (y >= 0) text += ' ';
  AppendHundredths(y, text);
}

// The length of the UTF-8 sequence at the start of text; 0 if there is none. XML allows every character from
// the blank upwards except two and the surrogates, which are not valid UTF-8 anyway.
std::size_t SequenceLength(std::string_view text) {
  auto const byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  auto const first = byte(0);
  std::size_t const length = first < 0x80 ? 1 : first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  if (length == 0 || first > 0xF4 || length > text.size()) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  bool const tooLong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
  bool const tooHigh = (first == 0xED && byte(1) > 0x9F) || (first == 0xF4 && byte(1) > 0x8F);
  bool const noCharacter = first == 0xEF && byte(1) == 0xBF && byte(2) >= 0xBE;
  return tooLong || tooHigh || noCharacter ? 0 : length;
}

std::string EscapedCharacter(std::string_view sequence) {
  switch (sequence.front()) {
  case '&':
    return "&amp;";
  case '<':
    return "&lt;";
  case '>':
    return "&gt;";
  case '"':
    return "&quot;";
  case '\'':
    return "&#39;";
  case '\t':
  case '\n':
  case '\r':
    return " ";
  default:
    break;
  }
  auto const code = static_cast<unsigned char>(sequence.front());
  return code < 0x20 || code == 0x7F ? std::string() : std::string(sequence);
}

} // namespace

void heat_SvgPath::Add(std::vector<heat_Pixel> const& points, bool closed) {
  std::vector<Steps> course;
  for (auto const& point : points) {
    auto const steps = Rounded(point);
    if (course.empty() || course.back() != steps) course.push_back(steps);
  }
  if (closed && course.size() > 1 && course.front() == course.back()) course.pop_back();
  if (course.size() < (closed ? 3u : 2u)) return;
  m_Text += 'M';
  AppendPair(course[0][0], course[0][1], m_Text);
  for (std::size_t i = 1; i < course.size(); ++i) {
    auto const x = course[i][0] - course[i - 1][0];
    if (i == 1) {
      m_Text += 'l';
    } else if (x >= 0) {
      m_Text += ' ';
    }
    AppendPair(x, course[i][1] - course[i - 1][1], m_Text);
  }
  if (closed) m_Text += 'z';
}

heat_Svg::heat_Svg(double width, double height) {
  auto const w = Number(width);
  auto const h = Number(height);
  m_Body = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" +
           w + "\" height=\"" + h + "\" viewBox=\"0 0 " + w + " " + h +
           "\" font-family=\"Helvetica, Arial, 'DejaVu Sans', sans-serif\">\n";
}

void heat_Svg::Path(heat_SvgPath const& path, std::string_view attributes) {
  if (path.IsEmpty()) return;
  m_Body.append("<path ").append(attributes).append(" d=\"").append(path.Text()).append("\"/>\n");
}

void heat_Svg::Line(heat_Pixel const& from, heat_Pixel const& to, std::string_view attributes) {
  m_Body += "<line x1=\"" + Number(from[0]) + "\" y1=\"" + Number(from[1]) + "\" x2=\"" + Number(to[0]) +
            "\" y2=\"" + Number(to[1]) + "\" ";
  m_Body.append(attributes).append("/>\n");
}

void heat_Svg::Rectangle(heat_Pixel const& corner, double width, double height, std::string_view attributes) {
  m_Body += "<rect x=\"" + Number(corner[0]) + "\" y=\"" + Number(corner[1]) + "\" width=\"" + Number(width) +
            "\" height=\"" + Number(height) + "\" ";
  m_Body.append(attributes).append("/>\n");
}

void heat_Svg::Text(heat_Pixel const& place, std::string_view text, std::string_view attributes) {
  m_Body += "<text x=\"" + Number(place[0]) + "\" y=\"" + Number(place[1]) + "\" ";
  m_Body.append(attributes).append(">").append(Escaped(text)).append("</text>\n");
}

void heat_Svg::OpenGroup(std::string_view attributes) {
  m_Body.append("<g ").append(attributes).append(">\n");
}

void heat_Svg::CloseGroup() {
  m_Body += "</g>\n";
}

std::string heat_Svg::Document() const {
  return m_Body + "</svg>\n";
}

std::string heat_Svg::Number(double value) {
  std::string text;
  AppendHundredths(Rounded({value, 0})[0], text);
  return text;
}

std::string heat_Svg::Escaped(std::string_view text) {
  std::string escaped;
  while (!text.empty()) {
    auto const length = SequenceLength(text);
    escaped += length == 0 ? "?" : EscapedCharacter(text.substr(0, length));
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return escaped;
}
