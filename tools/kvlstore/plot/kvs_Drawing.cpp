#include "tools/kvlstore/plot/kvs_Drawing.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <fmt/format.h>

#include "tools/kvlstore/base/kvs_Text.h"

namespace {

struct Span {
  double m_Low;
  double m_High;

  [[nodiscard]] double Share(double value) const { // the difference of two finite numbers may not be finite
    return (value / 2 - m_Low / 2) / (m_High / 2 - m_Low / 2);
  }
};

/// What the points cover, and more if that is too little to divide by.
template <class Of> Span SpanOf(kvs_Curve const& curve, Of of) {
  Span span{of(curve.Points().front()), of(curve.Points().front())};
  for (kvs_Curve::Point const& point : curve.Points()) {
    span.m_Low = std::min(span.m_Low, of(point));
    span.m_High = std::max(span.m_High, of(point));
  }
  constexpr double Least = 1e-300;
  if (span.m_High / 2 - span.m_Low / 2 > Least) return span;
  double const margin = std::fabs(span.m_Low) < Least ? 1 : std::fabs(span.m_Low) * 0.1;
  return {std::max(span.m_Low - margin, -std::numeric_limits<double>::max()),
          std::min(span.m_High + margin, std::numeric_limits<double>::max())};
}

Span SpanOfX(kvs_Curve const& curve) {
  return SpanOf(curve, [](kvs_Curve::Point const& point) { return point.m_X; });
}
Span SpanOfY(kvs_Curve const& curve) {
  return SpanOf(curve, [](kvs_Curve::Point const& point) { return point.m_Y; });
}

std::string TickText(double value) {
  return fmt::format("{:.6g}", value);
}

std::string Xml(std::string const& text) {
  std::string escaped;
  for (char const c : kvs_Printable(text)) {
    if (c == '<')
      escaped += "&lt;";
    else if (c == '>')
      escaped += "&gt;";
    else if (c == '&')
      escaped += "&amp;";
    else if (c == '"')
      escaped += "&quot;";
    else
      escaped += c;
  }
  return escaped;
}

/// Rows of Braille characters whose dots are set one by one.
class Dots {
 public:
  Dots(int width, int height)
      : m_Width(width), m_Height(height),
        m_Cells(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}

  void Line(double x0, double y0, double x1, double y1) {
    int const steps =
        1 + static_cast<int>(std::max(std::fabs(x1 - x0) * Columns(), std::fabs(y1 - y0) * Rows()));
    for (int i = 0; i <= steps; ++i) {
      double const share = static_cast<double>(i) / steps;
      Set(x0 + (x1 - x0) * share, y0 + (y1 - y0) * share);
    }
  }

  /// Without the empty characters at its end.
  [[nodiscard]] std::string Row(int row) const {
    int end = m_Width;
    while (end > 0 && m_Cells[At(end - 1, row)] == 0) --end;
    std::string text;
    for (int column = 0; column < end; ++column) {
      unsigned const code = 0x2800 + m_Cells[At(column, row)];
      text += static_cast<char>(0xE0 | (code >> 12));
      text += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      text += static_cast<char>(0x80 | (code & 0x3F));
    }
    return text;
  }

 private:
  [[nodiscard]] int Columns() const { return m_Width * 2; }
  [[nodiscard]] int Rows() const { return m_Height * 4; }
  [[nodiscard]] std::size_t At(int column, int row) const {
    return static_cast<std::size_t>(row) * static_cast<std::size_t>(m_Width) +
           static_cast<std::size_t>(column);
  }
  /// Both from 0 to 1; y upwards.
  void Set(double x, double y) {
    static constexpr unsigned char Dot[4][2] = {{0x01, 0x08}, {0x02, 0x10}, {0x04, 0x20}, {0x40, 0x80}};
    int const column = std::clamp(static_cast<int>(x * Columns()), 0, Columns() - 1);
    int const row = std::clamp(static_cast<int>((1 - y) * Rows()), 0, Rows() - 1);
    unsigned char& cell = m_Cells[At(column / 2, row / 4)];
    cell = static_cast<unsigned char>(cell | Dot[row % 4][column % 2]);
  }

  int m_Width, m_Height;
  std::vector<unsigned char> m_Cells;
};

} // namespace

std::vector<double> kvs_Ticks(double low, double high, int count) {
  double const raw = (high / count) - (low / count);
  double const power = std::pow(10.0, std::floor(std::log10(raw)));
  if (!(raw > 0) || !std::isfinite(power) || power == 0) return {low, high};
  double step = power;
  for (double const factor : {2.0, 5.0, 10.0})
    if (raw / power > factor * 0.75) step = factor * power;
  std::vector<double> ticks;
  double const first = std::ceil(low / step);
  for (int i = 0; i <= 2 * count + 2; ++i) {
    double const tick = (first + i) * step;
    if (tick > high) break;
    if (tick < low || (!ticks.empty() && tick <= ticks.back())) continue; // rounded
    ticks.push_back(std::fabs(tick) < step * 1e-9 ? 0 : tick);
  }
  return ticks;
}

std::string kvs_DrawSvg(kvs_Curve const& curve, kvs_PlotLabels const& labels, int width, int height) {
  if (width <= 0) width = 800;
  if (height <= 0) height = 450;
  constexpr double Left = 90, Right = 20, Top = 20, Bottom = 55;
  Span const spanX = SpanOfX(curve);
  Span const spanY = SpanOfY(curve);
  double const innerWidth = std::max(width - Left - Right, 1.0);
  double const innerHeight = std::max(height - Top - Bottom, 1.0);
  auto const x = [&](double value) { return Left + spanX.Share(value) * innerWidth; };
  auto const y = [&](double value) { return Top + (1 - spanY.Share(value)) * innerHeight; };
  std::string svg;
  auto const print = [&]<class... A>(fmt::format_string<A...> format, A&&... arguments) {
    fmt::format_to(std::back_inserter(svg), format, std::forward<A>(arguments)...);
  };
  print(
      "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0} {1}\" width=\"{0}\" height=\"{1}\" role=\"img\" "
      "font-family=\"sans-serif\" font-size=\"12\" fill=\"#1f2933\">\n<title>{2} over {3}</title>\n"
      "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n",
      width, height, Xml(labels.m_Y), Xml(labels.m_X));
  for (double const tick : kvs_Ticks(spanX.m_Low, spanX.m_High, 7))
    print("<path d=\"M{0:.1f} {1}V{2:.1f}\" stroke=\"#d5dbe1\"/><text x=\"{0:.1f}\" y=\"{3:.1f}\" "
          "text-anchor=\"middle\">{4}</text>\n",
          x(tick), Top, height - Bottom, height - Bottom + 18, TickText(tick));
  for (double const tick : kvs_Ticks(spanY.m_Low, spanY.m_High, 6))
    print(
        "<path d=\"M{0} {1:.1f}H{2:.1f}\" stroke=\"#d5dbe1\"/><text x=\"{3}\" y=\"{4:.1f}\" text-anchor=\"end\">{5}</text>\n",
        Left, y(tick), width - Right, Left - 8, y(tick) + 4, TickText(tick));
  print("<text x=\"{:.1f}\" y=\"{}\" text-anchor=\"middle\">{}</text>\n", Left + innerWidth / 2, height - 14,
        Xml(labels.m_X));
  print("<text transform=\"translate(18 {:.1f}) rotate(-90)\" text-anchor=\"middle\">{}</text>\n",
        Top + innerHeight / 2, Xml(labels.m_Y));
  print(
      "<path fill=\"none\" stroke=\"#0b62a8\" stroke-width=\"1.5\" stroke-linejoin=\"round\" stroke-linecap=\"round\" d=\"");
  for (kvs_Curve::Point const& point : curve.Points())
    print("{}{:.2f} {:.2f}{}", point.m_IsAfterGap ? 'M' : 'L', x(point.m_X), y(point.m_Y),
          point.m_IsAfterGap ? "h0" : ""); // so that a point by itself is a dot
  print("\"/>\n</svg>\n");
  return svg;
}

std::string kvs_DrawText(kvs_Curve const& curve, kvs_PlotLabels const& labels, int width, int height) {
  if (width <= 0) width = 72;
  if (height <= 0) height = 18;
  Span const spanX = SpanOfX(curve);
  Span const spanY = SpanOfY(curve);
  Dots dots(width, height);
  kvs_Curve::Point before{};
  for (kvs_Curve::Point const& point : curve.Points()) {
    kvs_Curve::Point const& from = point.m_IsAfterGap ? point : before;
    dots.Line(spanX.Share(from.m_X), spanY.Share(from.m_Y), spanX.Share(point.m_X), spanY.Share(point.m_Y));
    before = point;
  }
  std::vector<std::string> ticks(static_cast<std::size_t>(height)); // by row
  std::size_t margin = 0;
  for (double const tick : kvs_Ticks(spanY.m_Low, spanY.m_High, std::max(height / 4, 1))) {
    auto const row = static_cast<std::size_t>(
        std::clamp(static_cast<int>((1 - spanY.Share(tick)) * height), 0, height - 1));
    ticks[row] = TickText(tick);
    margin = std::max(margin, ticks[row].size());
  }
  std::string text = kvs_Printable(labels.m_Y) + "\n";
  for (int row = 0; row < height; ++row) {
    std::string const& tick = ticks[static_cast<std::size_t>(row)];
    text += fmt::format("{:>{}} {}{}\n", tick, margin, tick.empty() ? "\u2502" : "\u2524", dots.Row(row));
  }
  std::string const left = TickText(spanX.m_Low), right = TickText(spanX.m_High);
  std::size_t const room = static_cast<std::size_t>(width);
  std::size_t const gap = room > left.size() + right.size() ? room - left.size() - right.size() : 1;
  text += fmt::format("{:{}}  {}{:{}}{}\n", "", margin, left, "", gap, right);
  text += fmt::format("{:{}}  {}\n", "", margin, kvs_Printable(labels.m_X));
  if (curve.NotFinite() > 0) text += fmt::format("{} not finite\n", kvs_Count(curve.NotFinite(), "value"));
  return text;
}
