// The first version of the program: bars are called rods, and have their area in mm2, as drawings do.

#include "examples/truss/trs_Program.h"

namespace {

class Rod : public trs_Member {
 public:
  KVL_PERSISTED(Rod, trs_Member, 0x65000A, "Rod", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Material));
    field(KVL_F(m_A), kvl::Unit("mm2"));
    field(KVL_F(m_Painted));
  }
  Rod(Ends ends, std::shared_ptr<trs_Material> material, double area)
      : trs_Member(std::move(ends)), m_Material(std::move(material)), m_A(area * 1e6) {}

  double Force(double elongation) const override { return Tangent(0) * elongation; }
  double Tangent(double) const override { return m_Material->m_Modulus * m_A * 1e-6 / Length(); }
  double Mass() const override { return m_Material->m_Density * m_A * 1e-6 * Length(); }
  std::string Text() const override { return "rod, " + m_Material->m_Name + (m_Painted ? ", painted" : ""); }

  std::shared_ptr<trs_Material> m_Material;
  double m_A = 0; // mm2
  bool m_Painted = true;
};

} // namespace

int main(int argc, char** argv) {
  return trs_Main(argc, argv, &trs_MakeBarOf<Rod>, &Rod::Declare);
}
