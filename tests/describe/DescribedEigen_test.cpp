// Matrices, vectors, rotations and sparse matrices of Eigen come back, and are stored as the arrays and lists of the
// standard library that they are alike.

#define EIGEN_MAX_STATIC_ALIGN_BYTES 32 // more than memory has that nobody asked to align

#include <Eigen/Geometry>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "describe/dsc_EigenSparse.h"
#include "persist/identity/cls_OwnUid.h"
#include "tests/describe/DescribedContent.h"
#include "tests/describe/DescribedRoundTrip.h"

namespace {

using Complex = std::complex<double>;
using RowMajorXd = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using Few = Eigen::Matrix<double, Eigen::Dynamic, 1, Eigen::ColMajor, 4, 1>;
using FewRows = Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::ColMajor, 3, 3>;
using ByColumns = Eigen::SparseMatrix<double>;
using ByRows = Eigen::SparseMatrix<Complex, Eigen::RowMajor, short>;
template <class T, int Rows, int Cols> using Table = Eigen::Array<T, Rows, Cols>;
constexpr int Any = Eigen::Dynamic;

constexpr double Infinity = std::numeric_limits<double>::infinity();
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double Denormal = std::numeric_limits<double>::denorm_min();
constexpr double Greatest = std::numeric_limits<double>::max();

/// Whether two values are the same, number by number and bit by bit.
template <class T> bool IsSame(T const& a, T const& b);
/// The visitor of Describe that compares two objects.
template <class T> struct SameMembers {
  void operator()(auto, auto T::*member, auto const&...) {
    m_AreSame = m_AreSame && IsSame(m_A.*member, m_B.*member);
  }
  T const& m_A;
  T const& m_B;
  bool m_AreSame = true;
};
template <class T> bool AreSame(T const* a, T const* b, Eigen::Index count) {
  return count == 0 || std::memcmp(a, b, static_cast<std::size_t>(count) * sizeof(T)) == 0;
}
template <class A, class B> bool IsSame(std::pair<A, B> const& a, std::pair<A, B> const& b) {
  return IsSame(a.first, b.first) && IsSame(a.second, b.second);
}
template <class T> bool IsSame(T const& a, T const& b) {
  if constexpr (dsc_IsDense<T>) {
    auto const& one = dsc_Dense<T>::Of(a);
    auto const& other = dsc_Dense<T>::Of(b);
    return one.rows() == other.rows() && one.cols() == other.cols() &&
           AreSame(one.data(), other.data(), one.size());
  } else if constexpr (dsc_IsSparse<T>) {
    return a.rows() == b.rows() && a.cols() == b.cols() && a.nonZeros() == b.nonZeros() &&
           AreSame(a.outerIndexPtr(), b.outerIndexPtr(), a.outerSize() + 1) &&
           AreSame(a.innerIndexPtr(), b.innerIndexPtr(), a.nonZeros()) &&
           AreSame(a.valuePtr(), b.valuePtr(), a.nonZeros());
  } else if constexpr (dsc_IsOptional<T>) {
    return a.has_value() == b.has_value() && (!a.has_value() || IsSame(*a, *b));
  } else if constexpr (requires { typename T::kvl_Self; }) {
    SameMembers<T> members{a, b};
    T::Describe(members);
    return members.m_AreSame;
  } else if constexpr (requires { a.begin(); }) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](auto const& x, auto const& y) { return IsSame(x, y); });
  } else {
    return a == b;
  }
}

class DescribedEigen : public DescribedRoundTrip {
 protected:
  /// Saves an object, loads it, and saves it again, which adds nothing.
  template <class T> void CheckObject(T const& object) {
    std::string const name = std::to_string(m_Names++) + ".kvs";
    SaveNew(object, name);
    std::size_t const count = ObjectCount(name);
    EXPECT_TRUE(IsSame(*Load<T>(name), object));
    SaveAgain<T>(name);
    EXPECT_EQ(ObjectCount(name), count);
    EXPECT_TRUE(IsSame(*Load<T>(name), object));
  }
  /// What is said when an object is loaded whose field was saved as another type.
  template <class As, class T> std::string RefusalOf(T const& saved) {
    std::string const name = std::to_string(m_Names++) + ".kvs";
    SaveNew(Kept<T>(saved), name);
    return DescribedRoundTrip::RefusalOf([&] { static_cast<void>(Load<Kept<As>>(name)); });
  }

 private:
  int m_Names = 0;
};

class FixedSizes {
 public:
  KVL_PERSISTED(FixedSizes, 0x780040, "FixedSizes", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Point));
    field(KVL_F(m_Row));
    field(KVL_F(m_Stress));
    field(KVL_F(m_Turned));
    field(KVL_F(m_Counts));
    field(KVL_F(m_Flags));
    field(KVL_F(m_Phases));
    field(KVL_F(m_Wide));
    field(KVL_F(m_Rotation));
    field(KVL_F(m_Placement));
    field(KVL_F(m_Flat));
  }
  FixedSizes() = default;
  Eigen::Vector3d m_Point{NaN, Infinity, -Denormal};
  Eigen::RowVector2f m_Row{-0.0F, std::numeric_limits<float>::denorm_min()};
  Eigen::Matrix<double, 2, 3> m_Stress{{1, Greatest, -Infinity}, {4, 5, -0.0}};
  Eigen::Matrix<float, 2, 3, Eigen::RowMajor> m_Turned{{1, 2, 3}, {4, 5, 6}};
  Table<int, 2, 2> m_Counts{{std::numeric_limits<int>::min(), 1}, {2, std::numeric_limits<int>::max()}};
  Eigen::Matrix<bool, 1, 2> m_Flags{true, false};
  Eigen::Matrix2cd m_Phases{{Complex(1, NaN), Complex(2, -2)}, {Complex(), Complex(Infinity, 4)}};
  Eigen::Matrix<long long, 1, 1> m_Wide{std::numeric_limits<long long>::min()};
  Eigen::Quaterniond m_Rotation{1, 2, 3, 4};
  Eigen::Isometry3d m_Placement = Eigen::Isometry3d(Eigen::Quaterniond(0, 1, 0, 0));
  Eigen::Transform<float, 2, Eigen::AffineCompact> m_Flat{Eigen::Translation2f(7, 8)};
};

TEST_F(DescribedEigen, BytesAreListsOfNumbers) {
  using Bytes = Eigen::Matrix<unsigned char, Eigen::Dynamic, 1>;
  Bytes bytes(3);
  bytes << 0, 7, 255;
  Check<Bytes>({Bytes(), bytes});
  Eigen::SparseMatrix<unsigned char> sparse(3, 2);
  sparse.insert(2, 1) = 255;
  sparse.makeCompressed();
  SaveNew(Kept<Eigen::SparseMatrix<unsigned char>>(sparse), "sparse.kvs");
  EXPECT_EQ(Load<Kept<Eigen::SparseMatrix<unsigned char>>>("sparse.kvs")->m_Value.coeff(2, 1), 255);
}

TEST_F(DescribedEigen, FixedSizes) {
  CheckObject(FixedSizes());
}

class DynamicSizes {
 public:
  KVL_PERSISTED(DynamicSizes, 0x780041, "DynamicSizes", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Values));
    field(KVL_F(m_Row));
    field(KVL_F(m_Flags));
    field(KVL_F(m_Small));
    field(KVL_F(m_Phases));
    field(KVL_F(m_Matrix));
    field(KVL_F(m_Turned));
    field(KVL_F(m_Points));
    field(KVL_F(m_Normals));
    field(KVL_F(m_SmallTable));
    field(KVL_F(m_Wide));
    field(KVL_F(m_Stiffness), kvl::Unit("N/mm"));
    field(KVL_F(m_Admittance));
  }
  DynamicSizes() = default;
  Eigen::VectorXd m_Values;
  Eigen::Array<int, 1, Any> m_Row;
  Eigen::Matrix<bool, Any, 1> m_Flags;
  Few m_Small;
  Eigen::VectorXcd m_Phases;
  Eigen::MatrixXd m_Matrix;
  RowMajorXd m_Turned;
  Eigen::Matrix3Xd m_Points;
  Table<float, Any, 2> m_Normals;
  FewRows m_SmallTable;
  Eigen::Matrix<long long, Any, Any> m_Wide;
  ByColumns m_Stiffness;
  ByRows m_Admittance;
};

DynamicSizes MakeDynamic() {
  DynamicSizes all;
  all.m_Values = Eigen::Vector4d(NaN, -Infinity, Denormal, Greatest);
  all.m_Row.setConstant(1, -7);
  all.m_Flags = Eigen::Matrix<bool, 3, 1>(true, false, true);
  all.m_Small = Eigen::Vector4d(1, 2, 3, 4);
  all.m_Phases = Eigen::Vector2cd(Complex(1, -1), Complex(NaN, Infinity));
  all.m_Matrix = Eigen::Matrix<double, 2, 3>{{1, NaN, 3}, {-0.0, Denormal, 6}};
  all.m_Turned = all.m_Matrix;
  all.m_Points = Eigen::Matrix<double, 3, 2>{{1, 2}, {3, 4}, {5, 6}};
  all.m_Normals = Table<float, 1, 2>{{1, 2}};
  all.m_SmallTable = Eigen::Matrix<float, 3, 2>{{1, 2}, {3, 4}, {5, 6}};
  all.m_Wide.setConstant(1, 1, std::numeric_limits<long long>::max());
  all.m_Stiffness.resize(4, 3);
  all.m_Stiffness.insert(3, 0) = NaN;
  all.m_Stiffness.insert(1, 0) = -Infinity;
  all.m_Stiffness.insert(0, 2) = 0;
  all.m_Stiffness.makeCompressed();
  all.m_Admittance.resize(2, 3);
  all.m_Admittance.insert(1, 2) = Complex(1, -1);
  all.m_Admittance.makeCompressed();
  return all;
}

TEST_F(DescribedEigen, DynamicSizes) {
  CheckObject(DynamicSizes());
  CheckObject(MakeDynamic());
  DynamicSizes empty;
  empty.m_Matrix.resize(0, 3);
  empty.m_Turned.resize(5, 0);
  empty.m_Normals.resize(0, 2);
  empty.m_Stiffness.resize(0, 4);
  empty.m_Admittance.resize(2, 100'000); // more columns than its indices could name
  CheckObject(empty);
}

TEST_F(DescribedEigen, LargeOnes) {
  DynamicSizes large;
  large.m_Values.setConstant(200000, 0.1);
  large.m_Matrix.resize(300, 500); // copied in three runs of rows
  for (int i = 0; i < large.m_Matrix.size(); ++i) large.m_Matrix.data()[i] = i / 8.0;
  large.m_Turned = large.m_Matrix;
  large.m_Points = Eigen::Matrix3Xd::Constant(3, 30000, 0.1);
  large.m_Stiffness.resize(20000, 20000);
  large.m_Stiffness.setIdentity();
  CheckObject(large);
}

/// A value with members of Eigen's types.
struct Pose {
  KVL_VALUE(Pose)
  static constexpr void Describe(auto& field) {
    field(KVL_F(turn));
    field(KVL_F(at));
    field(KVL_F(path));
  }
  Eigen::Quaterniond turn = Eigen::Quaterniond::Identity();
  Eigen::Vector3d at = Eigen::Vector3d::Zero();
  Eigen::Matrix3Xd path;
};

class InValues {
 public:
  KVL_PERSISTED(InValues, 0x780042, "InValues", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Pose));
    field(KVL_F(m_Poses), kvl::Unit("mm"));
    field(KVL_F(m_Nodes));
    field(KVL_F(m_Lists));
    field(KVL_F(m_Matrices));
    field(KVL_F(m_Maybe));
    field(KVL_F(m_MaybeMatrix));
    field(KVL_F(m_Named));
    field(KVL_F(m_NamedMatrices));
    field(KVL_F(m_Corners));
    field(KVL_F(m_Sparse));
    field(KVL_F(m_Nested));
  }
  InValues() = default;
  Pose m_Pose;
  std::vector<Pose> m_Poses;
  std::vector<Eigen::Vector3d> m_Nodes;
  std::vector<Few> m_Lists;
  std::vector<Eigen::MatrixXd> m_Matrices;
  std::optional<Eigen::Matrix2d> m_Maybe;
  std::optional<Eigen::MatrixXf> m_MaybeMatrix;
  std::map<std::string, Eigen::Vector2d> m_Named;
  std::map<int, Eigen::VectorXd> m_NamedMatrices;
  std::array<Eigen::Vector2d, 2> m_Corners{Eigen::Vector2d(1, 2), Eigen::Vector2d(3, NaN)};
  std::vector<ByRows> m_Sparse;
  std::vector<std::vector<Table<bool, 2, 1>>> m_Nested;
};

TEST_F(DescribedEigen, InValuesListsAndMaps) {
  CheckObject(InValues());
  InValues all;
  all.m_Pose.at = {1, NaN, 3};
  all.m_Pose.path = Eigen::Matrix3d::Identity();
  all.m_Poses = {Pose(), all.m_Pose, all.m_Pose};
  all.m_Nodes = {{1, 2, 3}, {Denormal, -Infinity, Greatest}};
  all.m_Lists = {Few(), Eigen::Vector4d(1, 2, 3, 4)};
  all.m_Matrices = {Eigen::MatrixXd(0, 3), MakeDynamic().m_Matrix, Eigen::MatrixXd(2, 0)};
  all.m_Maybe = Eigen::Matrix2d{{1, 2}, {3, 4}};
  all.m_MaybeMatrix = Eigen::MatrixXf(0, 0);
  all.m_Named = {{"a", {1, 2}}, {"b", {3, 4}}};
  all.m_NamedMatrices = {{-1, Eigen::VectorXd()}, {7, MakeDynamic().m_Values}};
  all.m_Sparse = {ByRows(), MakeDynamic().m_Admittance, ByRows(3, 0)};
  all.m_Nested = {{}, {{true, false}, {false, true}}};
  CheckObject(all);
  EXPECT_EQ(UnitOf<InValues>("m_Poses.path.values.values"), "mm");
  EXPECT_EQ(UnitOf<InValues>("m_Poses.path.cols"), "");
  EXPECT_EQ(UnitOf<DynamicSizes>("m_Stiffness.values"), "N/mm");
  EXPECT_EQ(UnitOf<DynamicSizes>("m_Stiffness.rowIndices"), "");
}

TEST_F(DescribedEigen, MatrixThatIsNotCompressed) {
  Kept<ByColumns> kept(ByColumns(3, 3));
  kept.m_Value.reserve(Eigen::Vector3i(2, 2, 2));
  kept.m_Value.insert(2, 1) = 5;
  kept.m_Value.insert(0, 1) = 4;
  SaveNew(kept);
  EXPECT_FALSE(kept.m_Value.isCompressed());
  ByColumns const loaded = Load<Kept<ByColumns>>()->m_Value;
  EXPECT_TRUE(loaded.isCompressed());
  ByColumns expected = kept.m_Value;
  expected.makeCompressed();
  EXPECT_TRUE(IsSame(loaded, expected));
}

/// What members of Eigen's types are stored as, and those.
struct OfEigen {
  Eigen::VectorXd m_Values;
  Eigen::RowVectorXcd m_Phases;
  std::vector<Eigen::Vector3d> m_Nodes;
  Eigen::Matrix<double, 2, 3> m_Axes;
  std::vector<Eigen::Matrix<int, 2, 2>> m_Tables;
  std::vector<Eigen::VectorXf> m_Lists;
  Eigen::Isometry2d m_Placement;
};
struct OfStandard {
  std::vector<double> m_Values;
  std::vector<Complex> m_Phases;
  std::vector<std::array<double, 3>> m_Nodes;
  double m_Axes[2][3];
  std::vector<std::array<std::array<int, 2>, 2>> m_Tables;
  std::vector<std::vector<float>> m_Lists;
  std::array<std::array<double, 3>, 3> m_Placement;
};

template <class Of> class Alike {
 public:
  KVL_PERSISTED(Alike, 0x780043, "Alike", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Values));
    field(KVL_F(m_Phases));
    field(KVL_F(m_Nodes));
    field(KVL_F(m_Axes));
    field(KVL_F(m_Tables));
    field(KVL_F(m_Lists));
    field(KVL_F(m_Placement));
  }
  Alike() = default;
  decltype(Of::m_Values) m_Values{};
  decltype(Of::m_Phases) m_Phases{};
  decltype(Of::m_Nodes) m_Nodes{};
  decltype(Of::m_Axes) m_Axes{};
  decltype(Of::m_Tables) m_Tables{};
  decltype(Of::m_Lists) m_Lists{};
  decltype(Of::m_Placement) m_Placement{};
};

TEST_F(DescribedEigen, StoredAsThoseOfTheStandardLibrary) {
  Alike<OfEigen> eigen;
  eigen.m_Values = Eigen::Vector3d(1, 2, 3);
  eigen.m_Phases = Eigen::RowVector2cd(Complex(1, 2), Complex(3, 4));
  eigen.m_Nodes = {{1, 2, 3}, {4, 5, 6}};
  eigen.m_Axes << 1, 2, 3, 4, 5, 6;
  eigen.m_Tables = {Eigen::Matrix2i{{1, 2}, {3, 4}}};
  eigen.m_Lists = {Eigen::Vector2f(1, 2), Eigen::VectorXf()};
  eigen.m_Placement = Eigen::Isometry2d(Eigen::Translation2d(7, 8));
  Alike<OfStandard> standard;
  standard.m_Values = {1, 2, 3};
  standard.m_Phases = {{1, 2}, {3, 4}};
  standard.m_Nodes = {{1, 2, 3}, {4, 5, 6}};
  for (int i = 0; i < 6; ++i) standard.m_Axes[i / 3][i % 3] = i + 1;
  standard.m_Tables = {{{{1, 2}, {3, 4}}}};
  standard.m_Lists = {{1, 2}, {}};
  standard.m_Placement = {{{1, 0, 7}, {0, 1, 8}, {0, 0, 1}}};
  SaveNew(eigen, "eigen.kvs");
  SaveNew(standard, "standard.kvs");
  EXPECT_EQ(DescribedContent(Path("eigen.kvs")), DescribedContent(Path("standard.kvs")));
  auto const asStandard = Load<Alike<OfStandard>>("eigen.kvs");
  EXPECT_EQ(asStandard->m_Values, standard.m_Values);
  EXPECT_EQ(asStandard->m_Axes[1][0], 4);
  EXPECT_EQ(asStandard->m_Tables, standard.m_Tables);
  auto const asEigen = Load<Alike<OfEigen>>("standard.kvs");
  EXPECT_TRUE(IsSame(asEigen->m_Values, eigen.m_Values));
  EXPECT_TRUE(IsSame(asEigen->m_Axes, eigen.m_Axes));
  EXPECT_TRUE(IsSame(asEigen->m_Tables, eigen.m_Tables));
}

namespace byHand {
class Plank {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x780044; }
  static cls_FieldHandle Field(int number) {
    static constexpr char const* Names[] = {"m_Matrix.rows",       "m_Matrix.cols",  "m_Matrix.values",
                                            "m_Sparse.rows",       "m_Sparse.cols",  "m_Sparse.colStarts",
                                            "m_Sparse.rowIndices", "m_Sparse.values"};
    return {number, cow_String(Names[number])};
  }
  Plank() = default;
  explicit Plank(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    visitor.Write(Field(0), 2);
    visitor.Write(Field(1), 3);
    Write<double>(visitor, 2, {1, 2, 3, 4, 5, 6}, COLLECTION_LIST_DOUBLE);
    visitor.Write(Field(3), 3);
    visitor.Write(Field(4), 2);
    Write<int>(visitor, 5, {0, 2, 3}, COLLECTION_LIST_INT);
    Write<int>(visitor, 6, {0, 2, 1}, COLLECTION_LIST_INT);
    Write<double>(visitor, 7, {-1, -2, -3}, COLLECTION_LIST_DOUBLE);
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    auto& metadata = registrar.AddClassMD(new cls_TypeAdapter<Plank>("Plank"_cow, 1, 1));
    for (int const size : {0, 1, 3, 4}) metadata.AddAttribute(Field(size), ATTR_INT, 1, COLLECTION_NONE);
    for (int const list : {2, 7}) metadata.AddAttribute(Field(list), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
    for (int const list : {5, 6}) metadata.AddAttribute(Field(list), ATTR_INT, 1, COLLECTION_LIST_INT);
  }

 private:
  template <class T>
  void Write(cls_WriteVisitor const& visitor, int number, std::vector<T> const& values,
             cls_CollectionType type) const {
    cls_WriteVisitor const list(visitor, Field(number), nullptr, nullptr);
    list.StartWrite(cls_InternalListTypeId, m_Lists[number]);
    list.CheckCollectionType(type);
    T const tag = 0;
    std::unique_ptr<cls_WriteListPrim<T>> const builder(list.Memento()->MakeWriteListPrim(&tag, 1));
    builder->AppendRun(static_cast<int>(values.size()), values.data());
  }
  cls_OwnUid m_Lists[8];
  cls_OwnUid m_Uid;
};
} // namespace byHand

namespace described {
class Plank {
 public:
  KVL_PERSISTED(Plank, 0x780044, "Plank", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Matrix));
    field(KVL_F(m_Sparse));
  }
  Plank() = default;
  Eigen::MatrixXd m_Matrix = Eigen::Matrix<double, 2, 3>{{1, 2, 3}, {4, 5, 6}};
  ByColumns m_Sparse = Eigen::Matrix<double, 3, 2>{{-1, 0}, {0, -3}, {-2, 0}}.sparseView();
};
} // namespace described

TEST_F(DescribedEigen, BytesAreThoseOfTheClassByHand) {
  SaveNew(byHand::Plank(), "hand.kvs");
  SaveNew(described::Plank(), "described.kvs");
  EXPECT_EQ(DescribedContent(Path("described.kvs")), DescribedContent(Path("hand.kvs")));
  EXPECT_TRUE(IsSame(Load<described::Plank>("hand.kvs")->m_Sparse, described::Plank().m_Sparse));
}

class Substructure {
 public:
  KVL_PERSISTED(Substructure, 0x400028, "Substructure", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Placement));
    field(KVL_F(m_Nodes), kvl::Unit("mm"));
    field(KVL_F(m_Modes));
    field(KVL_F(m_Stiffness), kvl::Unit("N/mm"));
  }

  Substructure() = default;
  Eigen::Isometry3d m_Placement = Eigen::Isometry3d::Identity(); // a list of 16 numbers
  std::vector<Eigen::Vector3d> m_Nodes;                          // a list of rows of 3 numbers
  Eigen::MatrixXd m_Modes;                                       // m_Modes.rows, m_Modes.cols, m_Modes.values
  Eigen::SparseMatrix<double> m_Stiffness;                       // two sizes, three lists
};

TEST_F(DescribedEigen, ClassInTheDocument) {
  Substructure part;
  part.m_Placement(0, 3) = 7;
  part.m_Nodes = {{1, 2, 3}, {4, 5, 6}};
  part.m_Modes = MakeDynamic().m_Matrix;
  part.m_Stiffness = MakeDynamic().m_Stiffness;
  CheckObject(part);
}

class OldShell {
 public:
  KVL_PERSISTED(OldShell, 0x780045, "Shell", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Old));
    field(KVL_F(m_Gone));
  }
  OldShell() = default;
  Eigen::MatrixXd m_Old{{1, 2}, {3, 4}};
  Eigen::Vector2i m_Gone{20, 22};
};

class Shell {
 public:
  KVL_PERSISTED(Shell, 0x780045, "Shell", 2)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(KVL_F(m_Matrix), Was<"m_Old">());
    field(KVL_F(m_Normal), Since(2, std::array<double, 3>{0, 0, 1}));
    field(KVL_F(m_Table), Since(2, std::array<int, 4>{1, 2, 3, 4}));
    field(KVL_F(m_Weights), Since(2, std::array{0.5, 0.25}));
    field(KVL_F(m_Kept), Since(2));
    field(KVL_F(m_ByRows), Since(2), As<ByColumns>(ToColumns, ToRows));
    field("m_Gone"_field, Dropped(&Shell::TakeGone));
    field(KVL_F(m_Sum), Transient());
  }
  Shell() = default;
  RowMajorXd m_Matrix;
  Eigen::Vector3d m_Normal = Eigen::Vector3d::Zero();
  Eigen::Matrix2f m_Table = Eigen::Matrix2f::Zero();
  Eigen::VectorXd m_Weights;
  Eigen::Vector2d m_Kept{7, 8};
  Eigen::SparseMatrix<double, Eigen::RowMajor> m_ByRows{1, 2};
  int m_Sum = 0;

 private:
  static ByColumns ToColumns(Eigen::SparseMatrix<double, Eigen::RowMajor> const& matrix) { return matrix; }
  static Eigen::SparseMatrix<double, Eigen::RowMajor> ToRows(ByColumns const& matrix) { return matrix; }
  void TakeGone(Eigen::Vector2i const& gone) { m_Sum = gone.sum(); }
};

TEST_F(DescribedEigen, VersionThatHasOthers) {
  SaveNew(OldShell());
  auto shell = Load<Shell>();
  EXPECT_TRUE(shell->m_Matrix == OldShell().m_Old);
  EXPECT_EQ(shell->m_Sum, 42);
  SaveAgain<Shell>();
  shell = Load<Shell>();
  EXPECT_TRUE(shell->m_Matrix == OldShell().m_Old);
  EXPECT_TRUE(shell->m_Normal == Eigen::Vector3d::UnitZ());
  EXPECT_TRUE(shell->m_Table == (Eigen::Matrix2f{{1, 2}, {3, 4}}));
  EXPECT_TRUE(shell->m_Weights == Eigen::Vector2d(0.5, 0.25));
  EXPECT_TRUE(shell->m_Kept == Eigen::Vector2d(7, 8));
  EXPECT_EQ(shell->m_ByRows.cols(), 2);
  EXPECT_EQ(shell->m_Sum, 0);
}

/// An object that needs more alignment than memory has by itself.
class Aligned {
 public:
  KVL_PERSISTED(Aligned, 0x780046, "Aligned", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Number));
    field(KVL_F(m_Value));
    field(KVL_F(m_Shared));
    field(KVL_F(m_Owned));
  }
  Aligned() = default;
  [[nodiscard]] bool IsAligned() const { return reinterpret_cast<std::uintptr_t>(&m_Value) % 32 == 0; }
  int m_Number = 1;
  Eigen::Vector4d m_Value{1, 2, 3, 4};
  std::vector<std::shared_ptr<Aligned>> m_Shared;
  std::unique_ptr<Aligned> m_Owned;
};

TEST_F(DescribedEigen, ObjectsAreAligned) {
  static_assert(alignof(Aligned) == 32);
  Aligned root;
  for (int i = 0; i < 20; ++i) {
    root.m_Shared.push_back(std::make_shared<Aligned>());
    root.m_Shared.back()->m_Owned = std::make_unique<Aligned>();
  }
  SaveNew(root);
  auto const loaded = Load<Aligned>();
  EXPECT_TRUE(loaded->IsAligned());
  ASSERT_EQ(loaded->m_Shared.size(), 20U);
  for (auto const& shared : loaded->m_Shared) {
    EXPECT_TRUE(shared->IsAligned() && shared->m_Owned->IsAligned());
    EXPECT_TRUE(IsSame(shared->m_Owned->m_Value, root.m_Value));
  }
}

TEST_F(DescribedEigen, AnotherNumberOfElementsIsRefused) {
  using List = std::vector<double>;
  EXPECT_EQ((RefusalOf<Eigen::Vector3d>(List{1, 2, 3, 4})),
            "Class Kept, field m_Value: the stored list has 4 numbers, and not 3.");
  EXPECT_EQ((RefusalOf<Eigen::Vector3d>(List{})),
            "Class Kept, field m_Value: the stored list has 0 numbers, and not 3.");
  EXPECT_EQ((RefusalOf<Eigen::Matrix3d>(Eigen::Matrix<double, 2, 3>::Zero().eval())),
            "Class Kept, field m_Value: the stored list has 6 numbers, and not 9.");
  EXPECT_EQ((RefusalOf<Eigen::Matrix3d>(Eigen::Matrix2d::Zero().eval())),
            "Class Kept, field m_Value: the stored list has 2 numbers or texts for each element, and not 3.");
  EXPECT_EQ((RefusalOf<Few>(List(5))),
            "Class Kept, field m_Value: the stored value 5 is none that it may have.");
  EXPECT_EQ((RefusalOf<std::vector<Few>>(std::vector<List>{{1}, List(5)})),
            "Class Kept, field m_Value: the stored value 5 is none that it may have.");
}

/// What a matrix is stored as, so that a test can store what is none.
struct RawMatrix {
  KVL_VALUE(RawMatrix)
  static constexpr void Describe(auto& field) {
    field(KVL_F(rows));
    field(KVL_F(cols));
    field(KVL_F(values));
  }
  int rows = 0;
  int cols = 0;
  std::vector<double> values;
};

TEST_F(DescribedEigen, DamagedMatrixIsRefused) {
  using Eigen::MatrixXd;
  RawMatrix const good{2, 2, {1, 2, 3, 4}};
  EXPECT_EQ(RefusalOf<MatrixXd>(good), "");
  EXPECT_EQ(RefusalOf<MatrixXd>(RawMatrix{2, 3, {1, 2, 3, 4}}),
            "Class Kept, field m_Value.values: the stored list has 4 numbers, and not 6.");
  EXPECT_EQ(RefusalOf<MatrixXd>(RawMatrix{-2, -2, {1, 2, 3, 4}}),
            "Class Kept, field m_Value: the stored matrix has -2 rows and -2 columns, which it cannot have.");
  EXPECT_EQ(RefusalOf<MatrixXd>(RawMatrix{2147483647, 2147483647, {}}),
            "Class Kept, field m_Value.values: the stored list has 0 numbers, and not 4611686014132420609.");
  using List = std::vector<RawMatrix>;
  EXPECT_EQ(RefusalOf<std::vector<MatrixXd>>(List{good, good}), "");
  EXPECT_EQ(RefusalOf<std::vector<MatrixXd>>(List{good, {1, 2, {1}}}),
            "Class Kept, field m_Value: the stored list has 1 numbers, and not 2.");
  EXPECT_EQ(RefusalOf<std::vector<MatrixXd>>(List{good, {1, -1, {}}}),
            "Class Kept, field m_Value: the stored matrix has 1 rows and -1 columns, which it cannot have.");
}

struct RawSparse {
  KVL_VALUE(RawSparse)
  static constexpr void Describe(auto& field) {
    field(KVL_F(rows));
    field(KVL_F(cols));
    field(KVL_F(colStarts));
    field(KVL_F(rowIndices));
    field(KVL_F(values));
  }
  int rows = 0;
  int cols = 0;
  std::vector<int> colStarts;
  std::vector<int> rowIndices;
  std::vector<double> values;
};

TEST_F(DescribedEigen, DamagedSparseMatrixIsRefused) {
  auto const refusal = [this](RawSparse const& raw) {
    std::string const text = RefusalOf<ByColumns>(raw);
    std::string const begin = "Class Kept, field m_Value";
    EXPECT_TRUE(text.empty() || text.starts_with(begin)) << text;
    return text.empty() ? text : text.substr(begin.size());
  };
  EXPECT_EQ(refusal({3, 2, {0, 2, 3}, {0, 2, 1}, {1, 2, 3}}), "");
  EXPECT_EQ(refusal({-3, 2, {0, 2, 3}, {0, 2, 1}, {1, 2, 3}}),
            ": the stored matrix has -3 rows and 2 columns, which it cannot have.");
  EXPECT_EQ(refusal({3, 2147483647, {0, 2, 3}, {0, 2, 1}, {1, 2, 3}}),
            ".colStarts: the stored list has 3 numbers, and not 2147483648.");
  EXPECT_EQ(refusal({3, 2, {}, {}, {}}), ".colStarts: the stored list has 0 numbers, and not 3.");
  std::string const starts =
      ".colStarts: the numbers do not begin with 0, or one is less than that before it.";
  EXPECT_EQ(refusal({3, 2, {1, 2, 3}, {0, 2, 1}, {1, 2, 3}}), starts);
  EXPECT_EQ(refusal({3, 2, {0, 4, 3}, {0, 2, 1}, {1, 2, 3}}), starts);
  EXPECT_EQ(refusal({3, 2, {0, 2, -1}, {0, 2, 1}, {1, 2, 3}}), starts);
  EXPECT_EQ(refusal({3, 2, {0, 2, 2147483647}, {0, 2, 1}, {1, 2, 3}}),
            ".rowIndices: the list has 3 elements, and not 2147483647, as the matrix has numbers.");
  EXPECT_EQ(refusal({3, 2, {0, 2, 3}, {0, 2, 1}, {1, 2}}),
            ".values: the list has 2 elements, and not 3, as the matrix has numbers.");
  std::string const index = " is out of range, or not greater than that before it.";
  EXPECT_EQ(refusal({3, 2, {0, 2, 3}, {2, 0, 1}, {1, 2, 3}}), ".rowIndices: the index 0 in column 0" + index);
  EXPECT_EQ(refusal({3, 2, {0, 2, 3}, {0, 0, 1}, {1, 2, 3}}), ".rowIndices: the index 0 in column 0" + index);
  EXPECT_EQ(refusal({3, 2, {0, 2, 3}, {0, 2, 3}, {1, 2, 3}}), ".rowIndices: the index 3 in column 1" + index);
  EXPECT_EQ(refusal({3, 2, {0, 2, 3}, {0, 2, -1}, {1, 2, 3}}),
            ".rowIndices: the index -1 in column 1" + index);
}

TEST_F(DescribedEigen, WhatALoadWouldRefuseIsNotSaved) {
  Kept<ByColumns> kept(ByColumns(3, 1));
  kept.m_Value.resizeNonZeros(2);
  kept.m_Value.outerIndexPtr()[1] = 2;
  kept.m_Value.innerIndexPtr()[0] = 2;
  kept.m_Value.innerIndexPtr()[1] = 1;
  EXPECT_EQ(
      DescribedRoundTrip::RefusalOf([&] { SaveNew(kept); }),
      "Class Kept, field m_Value.rowIndices: the index 1 in column 0 is out of range, or not greater than "
      "that before it.");
  Kept<Eigen::MatrixXd> const tall(Eigen::MatrixXd(3'000'000'000, 0));
  EXPECT_EQ(DescribedRoundTrip::RefusalOf([&] { SaveNew(tall, "tall.kvs"); }),
            "Class Kept, field m_Value: a matrix has at most 2147483647 rows and columns.");
}

} // namespace
