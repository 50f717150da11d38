// Compiles as it is. With SLIP defined it must not, and the compiler prints why.
#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "describe/dsc_Functions.h"
#include "persist/identity/cls_OwnUid.h"

#if !defined(SLIP)
#define SLIP 0
#endif

struct Gauge {
  struct Point {
    double x;
    double y;
  };
  explicit Gauge(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const;

  long m_Count = 0;
  std::vector<double> m_Values;
  std::vector<std::vector<double>> m_Rows;
  std::map<int, double> m_Map;
  Point m_Point{};
  std::array<unsigned char, 4> m_Bytes{};
  std::string_view m_View;
  double* m_Raw = nullptr;
  cls_OwnUid m_ValuesUid;
};

void Gauge::DBWrite(cls_WriteVisitor const& visitor) const {
  kvl::Write(visitor, cls_FieldHandle(0, "m_Count"_cow), m_Count);
  kvl::Write(visitor, cls_FieldHandle(1, "m_Values"_cow), m_Values, m_ValuesUid);
  kvl::Write(visitor, cls_FieldHandle(2, "m_View"_cow), m_View);
#if SLIP == 1 // a list without an identity
  kvl::Write(visitor, cls_FieldHandle(1, "m_Values"_cow), m_Values);
#elif SLIP == 2 // a type of several attributes
  kvl::Write(visitor, cls_FieldHandle(3, "m_Point"_cow), m_Point);
#elif SLIP == 3 // a map
  kvl::Write(visitor, cls_FieldHandle(3, "m_Map"_cow), m_Map);
#elif SLIP == 4 // a list of lists
  kvl::Write(visitor, cls_FieldHandle(3, "m_Rows"_cow), m_Rows, m_ValuesUid);
#elif SLIP == 5 // a plain pointer
  kvl::Write(visitor, cls_FieldHandle(3, "m_Raw"_cow), m_Raw);
#elif SLIP == 8 // bytes that would be a list
  kvl::Write(visitor, cls_FieldHandle(3, "m_Bytes"_cow), m_Bytes, m_ValuesUid);
#endif
}

Gauge::Gauge(cls_ReadVisitor const& visitor) {
  kvl::Read(visitor, cls_FieldHandle(0, "m_Count"_cow), m_Count);
  kvl::Read(visitor, cls_FieldHandle(1, "m_Values"_cow), m_Values, m_ValuesUid);
#if SLIP == 6 // a view has no place for a text
  kvl::Read(visitor, cls_FieldHandle(2, "m_View"_cow), m_View);
#elif SLIP == 7 // a list without an identity
  kvl::Read(visitor, cls_FieldHandle(1, "m_Values"_cow), m_Values);
#endif
}
