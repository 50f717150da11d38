// Compiles as it is. With SLIP defined it must not, and the compiler prints why.
#include <vector>

#include "describe/dsc_EigenSparse.h"

#if !defined(SLIP)
#define SLIP 0
#endif

namespace {

class Plank {
 public:
  KVL_PERSISTED(Plank, 0x700001, "Plank", 2)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Axis));
    field(KVL_F(m_Stiffness));
#if SLIP == 1 // numbers that something else has
    field(KVL_F(m_View));
#elif SLIP == 2 // the same in a list
    field(KVL_F(m_Views));
#elif SLIP == 3 // a vector that gets one number, which would be its size
    field(KVL_F(m_Values), kvl::Since(2, 3));
#elif SLIP == 4 // a sparse matrix of such numbers as no list has
    field(KVL_F(m_Precise));
#endif
  }

 protected:
  Eigen::Vector3d m_Axis = Eigen::Vector3d::Zero();
  Eigen::SparseMatrix<double> m_Stiffness;
  Eigen::Map<Eigen::VectorXd> m_View{nullptr, 0};
  std::vector<Eigen::Ref<Eigen::VectorXd const>> m_Views;
  Eigen::VectorXd m_Values;
  Eigen::SparseMatrix<long double> m_Precise;
};

} // namespace

void DescribedEigenSlips(cls_ClassRegistrar& registrar) {
  Plank::Declare(registrar);
}
