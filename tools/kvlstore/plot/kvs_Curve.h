#pragma once

#include <cstdint>
#include <vector>

/// A curve of any number of points, thinned out so that its extremes survive: of each group of neighbouring points the
/// first, the lowest, the highest and the last are kept. Points that are not finite leave a gap. Memory: a few thousand
/// points. Not copied between threads.
class kvs_Curve {
 public:
  struct Point {
    double m_X;
    double m_Y;
    bool m_IsAfterGap; ///< the line does not go on to this point
  };

  /// `count`: how many points will be added; it says how many are one group.
  explicit kvs_Curve(std::int64_t count);
  void Add(double x, double y);
  /// Call after the last point.
  void Finish();

  [[nodiscard]] std::vector<Point> const& Points() const noexcept { return m_Points; }
  [[nodiscard]] std::int64_t Added() const noexcept { return m_Added; }
  [[nodiscard]] std::int64_t NotFinite() const noexcept { return m_NotFinite; }

 private:
  static constexpr std::int64_t Groups = 1000;

  void EndGroup();

  std::int64_t m_PerGroup;
  std::vector<Point> m_Group, m_Points;
  std::int64_t m_InGroup = 0;
  std::int64_t m_Added = 0;
  std::int64_t m_NotFinite = 0;
  bool m_IsGap = true;
};
