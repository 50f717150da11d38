#pragma once

#include "examples/heat/mesh/heat_MeshData.h"
#include "examples/heat/model/heat_ModelPart.h"
#include "persist/identity/cls_OwnUid.h"
#include "wrappers/cls_xp1DArray.h"
#include "wrappers/cls_xp1DArrayList.h"

// A stored mesh: node coordinates [m], node tags, element connectivity and element regions.
class heat_MeshModel : public heat_ModelPart {
 public:
  static constexpr unsigned int TypeId() { return 0x640002; }

  heat_MeshModel(cow_String name, heat_MeshData const& mesh);
  explicit heat_MeshModel(cls_ReadVisitor const& visitor);
  void DBWrite(cls_WriteVisitor const& visitor) const override;
  static void Declare(cls_ClassRegistrar& registrar);

  int NodeCount() const { return m_NodeTags.Count(); }

  // The mesh as plain data. Throws heat_ModelError if the stored lists contradict each other.
  heat_MeshData ToData() const;

 private:
  cls_xp1DArrayDouble m_Coordinates; // x, y, z of each node
  cls_xp1DArrayListUint m_NodeTags;  // one for each node
  cls_xp1DArrayInt m_Connectivity;   // three zero-based node indexes for each triangle
  cls_xp1DArrayListInt m_Regions;    // one for each triangle
  cls_OwnUid m_Uid;
};
