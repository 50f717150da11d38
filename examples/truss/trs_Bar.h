#pragma once

#include "examples/truss/trs_Model.h"

enum class trs_Coating { None, Paint, Zinc };

// A bar as the program of today has it. trs_BarV1.cpp and trs_BarV2.cpp show what it was; Describe says what has
// changed since.
class trs_Bar : public trs_Member {
 public:
  KVL_PERSISTED(trs_Bar, trs_Member, 0x65000A, "Bar", 3)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(KVL_F(m_Material));
    field(KVL_F(m_Area), Was<"m_A">(), As<double>(ToStored, FromStored), Unit("mm2"));
    field(KVL_F(m_Prestress), Since(2, 0.0), Unit("N"));
    field(KVL_F(m_Coating), Since(3), Among(trs_Coating::None, trs_Coating::Paint, trs_Coating::Zinc));
    field("m_Painted"_field, Dropped(&trs_Bar::TakePainted));
    field(ClassWas("Rod"));
  }
  trs_Bar(Ends ends, std::shared_ptr<trs_Material> material, double area)
      : trs_Member(std::move(ends)), m_Material(std::move(material)), m_Area(area) {}

  double Force(double elongation) const override { return m_Prestress + Tangent(0) * elongation; }
  double Tangent(double) const override { return m_Material->m_Modulus * m_Area / Length(); }
  double Mass() const override { return m_Material->m_Density * m_Area * Length(); }
  std::string Text() const override {
    char const* const coatings[] = {"", ", painted", ", galvanised"};
    return "bar, " + m_Material->m_Name + coatings[static_cast<int>(m_Coating)];
  }

  std::shared_ptr<trs_Material> m_Material;
  double m_Area = 0; // m2; stores have mm2
  double m_Prestress = 0;
  trs_Coating m_Coating = trs_Coating::Zinc;

 private:
  static constexpr double ToStored(double area) { return area * 1e6; }
  static constexpr double FromStored(double area) { return area / 1e6; }
  void TakePainted(bool isPainted) { m_Coating = isPainted ? trs_Coating::Paint : trs_Coating::None; }
};
