// Compiles as it is. With SLIP defined it must not, and the compiler prints why.
#include <array>
#include <filesystem>
#include <vector>

#include "collections/cls_ArrayPrim.h"
#include "describe/dsc_Chrono.h"
#include "describe/dsc_Described.h"
#include "wrappers/cls_xp1DArrayList.h"
#include "wrappers/cls_xpString.h"

#if !defined(SLIP)
#define SLIP 0
#endif

namespace {

struct Part {
  KVL_VALUE(Part)
  static constexpr void Describe(auto& field) {
    field(KVL_F(x));
#if SLIP == 6 // a bulk array without its header, in a value
    field(KVL_F(history));
#endif
  }
  double x = 0;
  cls_ArrayPrimDouble history;
};

class Track {
 public:
  KVL_PERSISTED(Track, 0x700001, "Track", 2)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Axis));
    field(KVL_F(m_Timeout));
    field(KVL_F(m_Part));
#if SLIP == 1 // a wrapper without its header
    field(KVL_F(m_Stations));
#elif SLIP == 2  // a bulk array without its header
    field(KVL_F(m_History));
#elif SLIP == 3  // a text with an identity without its header
    field(KVL_F(m_Title));
#elif SLIP == 4  // a time that means nothing to another run
    field(KVL_F(m_Started));
#elif SLIP == 5  // a path without its header
    field(KVL_F(m_Path));
#elif SLIP == 7  // an array that gets a value of another length
    field(KVL_F(m_Later), kvl::Since(2, std::array<int, 3>{1, 2, 3}));
#elif SLIP == 8  // an array that gets one number
    field(KVL_F(m_Later), kvl::Since(2, 1));
#elif SLIP == 9  // a list of wrappers
    field(KVL_F(m_Lists));
#elif SLIP == 10 // numbers that no attribute has
    field(KVL_F(m_Precise));
#endif
  }

 protected:
  double m_Axis[3] = {};
  std::chrono::milliseconds m_Timeout{};
  Part m_Part;
  cls_xp1DArrayListDouble m_Stations;
  cls_ArrayPrimDouble m_History;
  cls_xpString m_Title{"title"_cow};
  std::chrono::steady_clock::time_point m_Started;
  std::filesystem::path m_Path;
  int m_Later[2] = {};
  std::vector<cls_xp1DArrayListDouble> m_Lists;
  std::chrono::duration<long double> m_Precise{};
};

} // namespace

void DescribedTypeSlips(cls_ClassRegistrar& registrar) {
  Track::Declare(registrar);
}
