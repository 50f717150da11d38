#include "examples/heat/model/heat_Model.h"

#include <array>
#include <cstddef>

namespace {

// Rows of N values as one list, and back. Throws heat_ModelError with the message if the last row is too short.
template <class T, std::size_t N> std::vector<T> ToFlat(std::vector<std::array<T, N>> const& rows) {
  std::vector<T> values;
  values.reserve(N * rows.size());
  for (auto const& row : rows) values.insert(values.end(), row.begin(), row.end());
  return values;
}
template <std::size_t N, class T>
std::vector<std::array<T, N>> ToRows(std::vector<T> const& values, std::string const& message) {
  if (values.size() % N != 0) throw heat_ModelError(message);
  std::vector<std::array<T, N>> rows(values.size() / N);
  for (std::size_t i = 0; i < values.size(); ++i) rows[i / N][i % N] = values[i];
  return rows;
}

} // namespace

heat_MeshModel::heat_MeshModel(std::string name, heat_MeshData const& mesh)
    : heat_ModelPart(std::move(name)), m_Coordinates(ToFlat(mesh.nodes)),
      m_NodeTags(mesh.nodeTags.begin(), mesh.nodeTags.end()), m_Connectivity(ToFlat(mesh.triangles)),
      m_Regions(mesh.regions) {}

heat_MeshData heat_MeshModel::ToData() const {
  std::string const message = "the lists of mesh " + Name() + " do not fit together";
  heat_MeshData mesh{ToRows<3>(m_Coordinates, message),
                     {m_NodeTags.begin(), m_NodeTags.end()},
                     ToRows<3>(m_Connectivity, message),
                     m_Regions};
  if (mesh.nodes.size() != mesh.nodeTags.size() || mesh.triangles.size() != mesh.regions.size())
    throw heat_ModelError(message);
  for (std::size_t i = 0; i < m_Connectivity.size(); ++i)
    if (m_Connectivity[i] < 0 || m_Connectivity[i] >= NodeCount())
      throw heat_ModelError("triangle " + std::to_string(i / 3) + " of mesh " + Name() +
                            " has a node that does not exist");
  return mesh;
}

std::vector<int> heat_ConditionModel::Flat(std::vector<heat_Edge> const& edges) {
  return ToFlat(edges);
}

std::vector<heat_Edge> heat_ConditionModel::Edges() const {
  return ToRows<2>(m_Where, "condition " + Name() + " has an odd number of edge nodes");
}
