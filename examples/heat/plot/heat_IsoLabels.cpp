#include "examples/heat/plot/heat_IsoLabels.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

constexpr double cellSize = 24;                  // pixels
constexpr double pieceSize = 2;                  // pieces of a line are visible or not as a whole [pixels]
constexpr std::size_t mostPerLevel = 3;          // most labels per level
constexpr double shortestLine = 6;               // shortest line that gets a label [pixels]
constexpr double shortestFurther = 1.6;          // shortest further line of a level, in widths of the text
constexpr double straightest = 0.96;             // smallest ratio of chord to length of a straight stretch
constexpr double wideRoom = 1.8, narrowRoom = 1; // length of line for a label, in widths of the text
constexpr double endTolerance = 100;             // tolerance at a label's ends, relative to that on the line
constexpr double margin = 4;                     // space around a label [pixels]
constexpr double degrees = 180 / 3.14159265358979323846;

double Distance(heat_Pixel const& a, heat_Pixel const& b) {
  return std::hypot(b[0] - a[0], b[1] - a[1]);
}

heat_Pixel PixelBetween(heat_Pixel const& a, heat_Pixel const& b, double share) {
  return {a[0] + share * (b[0] - a[0]), a[1] + share * (b[1] - a[1])};
}

double Turn(heat_Pixel const& a, heat_Pixel const& b, heat_Pixel const& c) {
  return (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);
}

// The barycentric coordinates of a place; none outside of the triangle.
std::optional<std::array<double, 3>> SharesAt(heat_SeenTriangle const& triangle, heat_Pixel const& place) {
  auto const& c = triangle.corners;
  double const whole = Turn(c[0], c[1], c[2]);
  if (whole == 0) return std::nullopt;
  std::array<double, 3> const shares{Turn(c[1], c[2], place) / whole, Turn(c[2], c[0], place) / whole,
                                     Turn(c[0], c[1], place) / whole};
  bool const isInside =
      std::all_of(shares.begin(), shares.end(), [](double share) { return share >= -1e-9; });
  return isInside ? std::optional(shares) : std::nullopt;
}

double Mean(std::array<double, 3> const& values, std::array<double, 3> const& shares) {
  return std::inner_product(values.begin(), values.end(), shares.begin(), 0.0);
}

// A line, addressed by length along it.
class Walk {
 public:
  explicit Walk(std::vector<heat_Pixel> const& course) : m_Course(course), m_Lengths{0} {
    for (std::size_t i = 1; i < course.size(); ++i)
      m_Lengths.push_back(m_Lengths.back() + Distance(course[i - 1], course[i]));
  }

  double Length() const { return m_Lengths.back(); }

  heat_Pixel At(double length) const {
    auto const place = std::lower_bound(m_Lengths.begin() + 1, m_Lengths.end() - 1, length);
    auto const i = static_cast<std::size_t>(place - m_Lengths.begin());
    double const step = m_Lengths[i] - m_Lengths[i - 1];
    double const share = step > 0 ? (length - m_Lengths[i - 1]) / step : 0;
    return PixelBetween(m_Course[i - 1], m_Course[i], std::clamp(share, 0.0, 1.0));
  }

 private:
  std::vector<heat_Pixel> const& m_Course;
  std::vector<double> m_Lengths; // length up to each point
};

// The direction from one place to another, turned so that text along it is upright.
double ReadableAngle(heat_Pixel const& from, heat_Pixel const& to) {
  double const angle = std::atan2(to[1] - from[1], to[0] - from[0]) * degrees;
  if (angle >= 90) return angle - 180; // straight down becomes upward
  return angle < -90 ? angle + 180 : angle;
}

class Placing {
 public:
  Placing(std::vector<heat_IsoLevel> const& levels, double height, double tolerance,
          heat_SeenField const& seen)
      : m_Levels(levels), m_Height(height), m_Tolerance(tolerance), m_Seen(seen) {}

  // Puts a label on a line, as close to its middle as possible, on a stretch that is straight and entirely
  // visible. `room` is the length of that stretch in widths of the text; 0 accepts any place. Returns whether
  // a place was found.
  bool Put(heat_IsoLine const& line, double room) {
    Walk const walk(line.course);
    double const width = m_Levels[line.level].width + margin;
    double const half = std::min(width, walk.Length()) / 2;
    double const reach = std::max(half, room * width / 2);
    constexpr int candidates = 16; // on each side of the middle
    for (int i = 0; i <= 2 * candidates; ++i) {
      int const step = (i + 1) / 2; // alternately on one side and on the other
      double const at = walk.Length() * (0.5 + (i % 2 == 0 ? step : -step) / (2.0 * candidates));
      if (at < reach || at > walk.Length() - reach) continue;
      heat_IsoLabel const label{line.level, walk.At(at),
                                ReadableAngle(walk.At(at - half), walk.At(at + half))};
      if (!IsSeen(label.level, label.centre, m_Tolerance) || Overlaps(label)) continue;
      if (room > 0 && !IsFree(label.level, walk.At(at - reach), walk.At(at + reach), 2 * reach)) continue;
      m_Labels.push_back(label);
      return true;
    }
    return false;
  }

  std::vector<heat_IsoLabel> const& Labels() const { return m_Labels; }

 private:
  bool IsSeen(std::size_t level, heat_Pixel const& place, double tolerance) const {
    auto const value = m_Seen.At(place);
    return value && std::abs(*value - m_Levels[level].value) <= tolerance;
  }

  // Whether a stretch of a line is straight and visible at its ends.
  bool IsFree(std::size_t level, heat_Pixel const& from, heat_Pixel const& to, double length) const {
    return Distance(from, to) >= straightest * length && IsSeen(level, from, endTolerance * m_Tolerance) &&
           IsSeen(level, to, endTolerance * m_Tolerance);
  }

  // Circles that together cover a label.
  std::vector<heat_Pixel> Covers(heat_IsoLabel const& label) const {
    double const reach = std::max(0.0, (m_Levels[label.level].width - m_Height) / 2);
    auto const count = static_cast<int>(std::ceil(2 * reach / m_Height)) + 1;
    heat_Pixel const along{std::cos(label.angle / degrees), std::sin(label.angle / degrees)};
    std::vector<heat_Pixel> centres;
    for (int i = 0; i < count; ++i) {
      double const at = count == 1 ? 0 : reach * (2.0 * i / (count - 1) - 1);
      centres.push_back({label.centre[0] + at * along[0], label.centre[1] + at * along[1]});
    }
    return centres;
  }

  bool Overlaps(heat_IsoLabel const& label) const {
    auto const covers = Covers(label);
    for (auto const& other : m_Labels)
      for (auto const& a : Covers(other))
        for (auto const& b : covers)
          if (Distance(a, b) < m_Height + margin) return true;
    return false;
  }

  std::vector<heat_IsoLevel> const& m_Levels;
  double m_Height;
  double m_Tolerance;
  heat_SeenField const& m_Seen;
  std::vector<heat_IsoLabel> m_Labels;
};

} // namespace

heat_SeenField::heat_SeenField(std::vector<heat_SeenTriangle> triangles) : m_Triangles(std::move(triangles)) {
  heat_Pixel high{};
  bool isFirst = true;
  for (auto const& triangle : m_Triangles) {
    for (auto const& corner : triangle.corners) {
      for (std::size_t axis = 0; axis < 2; ++axis) {
        m_Low[axis] = isFirst ? corner[axis] : std::min(m_Low[axis], corner[axis]);
        high[axis] = isFirst ? corner[axis] : std::max(high[axis], corner[axis]);
      }
      isFirst = false;
    }
  }
  for (std::size_t axis = 0; axis < 2; ++axis)
    m_Size[axis] = static_cast<std::size_t>(std::min((high[axis] - m_Low[axis]) / cellSize, 1000.0)) + 1;
  m_Cells.resize(m_Size[0] * m_Size[1]);
  for (std::size_t t = 0; t < m_Triangles.size(); ++t) {
    auto const& c = m_Triangles[t].corners;
    auto const [left, right] = std::minmax({c[0][0], c[1][0], c[2][0]});
    auto const [top, bottom] = std::minmax({c[0][1], c[1][1], c[2][1]});
    auto const first = CellOf({left, top});
    auto const last = CellOf({right, bottom});
    for (auto row = first[1]; row <= last[1]; ++row)
      for (auto column = first[0]; column <= last[0]; ++column)
        m_Cells[row * m_Size[0] + column].push_back(t);
  }
}

heat_SeenField::Cell heat_SeenField::CellOf(heat_Pixel const& place) const {
  Cell cell{};
  for (std::size_t axis = 0; axis < 2; ++axis) {
    double const at = std::max(0.0, (place[axis] - m_Low[axis]) / cellSize);
    cell[axis] = static_cast<std::size_t>(std::min(at, static_cast<double>(m_Size[axis] - 1)));
  }
  return cell;
}

std::optional<double> heat_SeenField::At(heat_Pixel const& place) const {
  std::optional<double> value;
  double nearest = 0;
  auto const cell = CellOf(place);
  for (auto const t : m_Cells[cell[1] * m_Size[0] + cell[0]]) {
    auto const shares = SharesAt(m_Triangles[t], place);
    if (!shares) continue;
    double const depth = Mean(m_Triangles[t].depths, *shares);
    if (value && depth <= nearest) continue;
    nearest = depth;
    value = Mean(m_Triangles[t].values, *shares);
  }
  return value;
}

std::vector<std::vector<heat_Pixel>> heat_SeenStretches(std::vector<heat_Pixel> const& course, double value,
                                                        double tolerance, heat_SeenField const& seen) {
  std::vector<std::vector<heat_Pixel>> stretches;
  bool goesOn = false;
  for (std::size_t i = 1; i < course.size(); ++i) {
    auto const pieces =
        std::max(1, static_cast<int>(std::ceil(Distance(course[i - 1], course[i]) / pieceSize)));
    for (int piece = 0; piece < pieces; ++piece) {
      auto const at = [&](double share) {
        return PixelBetween(course[i - 1], course[i], (piece + share) / pieces);
      };
      auto const found = seen.At(at(0.5));
      bool const isSeen = found && std::abs(*found - value) <= tolerance;
      if (isSeen && !goesOn) stretches.push_back({at(0)});
      // Within a straight segment, extend the stretch instead of adding points.
      if (isSeen && goesOn && piece > 0) stretches.back().pop_back();
      if (isSeen) stretches.back().push_back(at(1));
      goesOn = isSeen;
    }
  }
  return stretches;
}

std::vector<heat_IsoLabel> heat_PlaceLabels(std::vector<heat_IsoLine> const& lines,
                                            std::vector<heat_IsoLevel> const& levels, double height,
                                            double tolerance, heat_SeenField const& seen) {
  Placing placing(levels, height, tolerance, seen);
  for (std::size_t level = 0; level < levels.size(); ++level) {
    std::vector<std::pair<double, heat_IsoLine const*>> own; // with their lengths
    for (auto const& line : lines) {
      if (line.level != level || line.course.size() < 2) continue;
      double const length = Walk(line.course).Length();
      if (length >= shortestLine) own.emplace_back(length, &line);
    }
    std::stable_sort(own.begin(), own.end(), [](auto const& a, auto const& b) { return a.first > b.first; });
    std::size_t count = 0;
    for (auto const& [length, line] : own) {
      if (count == mostPerLevel || (count > 0 && length < shortestFurther * levels[level].width)) break;
      if (placing.Put(*line, wideRoom) || placing.Put(*line, narrowRoom)) ++count;
    }
    // A label across a bend is better than none.
    for (auto const& [length, line] : own)
      if (count == 0 && placing.Put(*line, 0)) ++count;
  }
  return placing.Labels();
}
