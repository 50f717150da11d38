#include "examples/heat/model/heat_MeshModel.h"

#include "persist/adapters/cls_TypeAdapter.h"

#include "examples/heat/model/heat_ModelError.h"

#include <string>

namespace {

// The field handles of the mesh.
cls_FieldHandle CoordinatesField() {
  return {0, "m_Coordinates"_cow};
}
cls_FieldHandle NodeTagsField() {
  return {1, "m_NodeTags"_cow};
}
cls_FieldHandle ConnectivityField() {
  return {2, "m_Connectivity"_cow};
}
cls_FieldHandle RegionsField() {
  return {3, "m_Regions"_cow};
}

} // namespace

heat_MeshModel::heat_MeshModel(cow_String name, heat_MeshData const& mesh) : heat_ModelPart(std::move(name)) {
  cow_1DArray<double> coordinates(static_cast<int>(3 * mesh.nodes.size()));
  int next = 0;
  for (heat_Vector const& node : mesh.nodes)
    for (double const coordinate : node) coordinates.Get(next++) = coordinate;
  m_Coordinates = coordinates;

  for (int const tag : mesh.nodeTags) m_NodeTags.Append(static_cast<unsigned int>(tag));

  cow_1DArray<int> connectivity(static_cast<int>(3 * mesh.triangles.size()));
  next = 0;
  for (auto const& triangle : mesh.triangles)
    for (int const node : triangle) connectivity.Get(next++) = node;
  m_Connectivity = connectivity;

  for (int const region : mesh.regions) m_Regions.Append(region);
}

heat_MeshModel::heat_MeshModel(cls_ReadVisitor const& visitor)
    : heat_ModelPart(cls_ReadVisitor(visitor)), m_Coordinates(cls_ReadVisitor(visitor, CoordinatesField())),
      m_NodeTags(cls_ReadVisitor(visitor, NodeTagsField()), nullptr),
      m_Connectivity(cls_ReadVisitor(visitor, ConnectivityField())),
      m_Regions(cls_ReadVisitor(visitor, RegionsField()), nullptr), m_Uid(visitor.GetUid()) {}

void heat_MeshModel::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  heat_ModelPart::DBWrite(cls_WriteVisitor(visitor, heat_ModelPart::TypeId()));
  heat_WriteField(visitor, CoordinatesField(), &m_Coordinates);
  heat_WriteField(visitor, NodeTagsField(), &m_NodeTags);
  heat_WriteField(visitor, ConnectivityField(), &m_Connectivity);
  heat_WriteField(visitor, RegionsField(), &m_Regions);
}

heat_MeshData heat_MeshModel::ToData() const {
  int const nodeCount = m_NodeTags.Count();
  int const triangleCount = m_Regions.Count();
  if (m_Coordinates.Length() / 3 != nodeCount || m_Coordinates.Length() % 3 != 0 ||
      m_Connectivity.Length() / 3 != triangleCount || m_Connectivity.Length() % 3 != 0)
    throw heat_ModelError("the lists of mesh " + std::string(Name().View()) + " do not fit together");

  heat_MeshData mesh;
  for (int i = 0; i < nodeCount; ++i) {
    mesh.nodes.push_back({m_Coordinates.ConstGet(3 * i), m_Coordinates.ConstGet(3 * i + 1),
                          m_Coordinates.ConstGet(3 * i + 2)});
    mesh.nodeTags.push_back(static_cast<int>(m_NodeTags.ConstGet(i)));
  }
  for (int i = 0; i < triangleCount; ++i) {
    mesh.triangles.push_back({m_Connectivity.ConstGet(3 * i), m_Connectivity.ConstGet(3 * i + 1),
                              m_Connectivity.ConstGet(3 * i + 2)});
    for (int const node : mesh.triangles.back())
      if (node < 0 || node >= nodeCount)
        throw heat_ModelError("triangle " + std::to_string(i) + " of mesh " + std::string(Name().View()) +
                              " has a node that does not exist");
    mesh.regions.push_back(m_Regions.ConstGet(i));
  }
  return mesh;
}

void heat_MeshModel::Declare(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(new cls_TypeAdapter<heat_MeshModel>("heat_MeshModel"_cow, 1, heat_ModelPart::TypeId()))
      .AddAttribute(CoordinatesField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
      .AddAttribute(NodeTagsField(), ATTR_UINT, 1, COLLECTION_LIST_UINT)
      .AddAttribute(ConnectivityField(), ATTR_INT, 1, COLLECTION_LIST_INT)
      .AddAttribute(RegionsField(), ATTR_INT, 1, COLLECTION_LIST_INT);
}
