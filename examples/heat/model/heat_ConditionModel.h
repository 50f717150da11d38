#pragma once

#include "examples/heat/model/heat_MeshModel.h"
#include "examples/heat/model/heat_ModelPart.h"
#include "examples/heat/physics/heat_Problem.h"
#include "persist/identity/cls_OwnUid.h"
#include "wrappers/cls_xpList.h"

#include <memory>
#include <string>
#include <vector>

// A stored boundary condition: the place on a mesh where it acts (zero-based indexes of nodes, edges as pairs
// of nodes, or triangles), and two numbers whose meaning the derived class defines. The conditions of an
// analysis share the mesh.
class heat_ConditionModel : public heat_ModelPart {
 public:
  static constexpr unsigned int TypeId() { return 0x640010; }

  void DBWrite(cls_WriteVisitor const& visitor) const override;

  // Adds the condition to a problem.
  virtual void AddTo(heat_Problem& problem) const = 0;

  // Declares this class and the four concrete ones.
  static void Declare(cls_ClassRegistrar& registrar);

 protected:
  heat_ConditionModel(std::string const& name, std::shared_ptr<heat_MeshModel> mesh,
                      cow_List<int> const& where, double value, double ambient);
  explicit heat_ConditionModel(cls_ReadVisitor const& visitor);

  std::vector<int> Indexes() const;
  std::vector<heat_Edge> Edges() const;
  double Value() const { return m_Value; }
  double Ambient() const { return m_Ambient; }

 private:
  std::shared_ptr<heat_MeshModel> m_Mesh;
  cls_xpListInt m_Where;
  double m_Value;   // temperature, film coefficient or flux
  double m_Ambient; // of a convection
  cls_OwnUid m_Uid;
};

// The concrete conditions differ in class ID, in the meaning of `m_Where`, and in what they add to a problem.
template <class Condition, unsigned int Id> class heat_ConditionOf : public heat_ConditionModel {
 public:
  static constexpr unsigned int TypeId() { return Id; }

  heat_ConditionOf(Condition const& condition, std::shared_ptr<heat_MeshModel> mesh);
  explicit heat_ConditionOf(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const override;
  void AddTo(heat_Problem& problem) const override;

 private:
  cls_OwnUid m_Uid;
};

using heat_FixedTemperatureModel = heat_ConditionOf<heat_FixedTemperature, 0x640011>;
using heat_EdgeConvectionModel = heat_ConditionOf<heat_EdgeConvection, 0x640012>;
using heat_FaceConvectionModel = heat_ConditionOf<heat_FaceConvection, 0x640013>;
using heat_EdgeFluxModel = heat_ConditionOf<heat_EdgeFlux, 0x640014>;
