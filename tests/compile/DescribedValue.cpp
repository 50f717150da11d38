// Compiles as it is. With SLIP defined it must not, and the compiler prints why.
#include <functional>
#include <vector>

#include "describe/dsc_Described.h"
#include "describe/dsc_Variant.h"

#if !defined(SLIP)
#define SLIP 0
#endif

namespace {

struct Base {
  double w = 0;
};

struct Point : Base {
  KVL_VALUE(Point)
  static constexpr void Describe(auto& field) {
    field(KVL_F(x));
#if SLIP == 1 // an option that only a class's field has
    field(KVL_F(y), kvl::Since(2, 0.0));
#elif SLIP == 2 // a type that cannot be stored
    field(KVL_F(law));
#elif SLIP == 3 // a member of the base class
    field(KVL_F(w));
#else
    field(KVL_F(y));
#endif
  }
  double x = 0;
  double y = 0;
  std::function<double(double)> law;
};

struct Cache {
  KVL_VALUE(Cache)
  static constexpr void Describe(auto& field) { field(KVL_F(sum), kvl::Transient()); }
  double sum = 0;
};

struct Plain {
  double x = 0;
};

class Joint {
 public:
  KVL_PERSISTED(Joint, 0x700002, "Joint", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_X)); }
  Joint() = default;

 private:
  double m_X = 0;
};
struct Link {
  KVL_VALUE(Link)
  static constexpr void Describe(auto& field) { field(KVL_F(to)); }
  Joint to; // an object by value, which no list of values has
};

class Track {
 public:
  KVL_PERSISTED(Track, 0x700001, "Track", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Start));
#if SLIP != 2
    field(KVL_F(m_Points));
#endif
#if SLIP == 5 // a member that no list can have
    field(KVL_F(m_Links));
#endif
#if SLIP == 6 // lists that would lose their lengths
    field(KVL_F(m_Caches));
#elif SLIP == 7
    field(KVL_F(m_Nothings));
#elif SLIP == 8
    field(KVL_F(m_InLists));
#endif
#if SLIP == 4 // a struct without KVL_VALUE
    field(KVL_F(m_Plains));
#endif
  }
  Point m_Start;
  std::vector<Point> m_Points;
  std::vector<Plain> m_Plains;
  std::vector<Link> m_Links;
  std::vector<Cache> m_Caches;
  std::vector<std::tuple<>> m_Nothings;
  std::vector<std::vector<std::monostate>> m_InLists;
};

} // namespace

void DescribedValueSlips(cls_ClassRegistrar& registrar) {
  Track::Declare(registrar);
}
