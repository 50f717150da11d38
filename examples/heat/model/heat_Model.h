#pragma once

#include "describe/dsc_Described.h"
#include "examples/heat/physics/heat_Problem.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// A stored analysis whose parts contradict each other; what() is one line for the user.
class heat_ModelError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The base class of all objects in a stored analysis: a named object. Version 1 also held the next part of a
// chain, which heat_AnalysisModel makes a list of.
class heat_ModelPart : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(heat_ModelPart, kvl::Polymorphic, 0x640001, "heat_ModelPart", 2)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(KVL_F(m_Name));
    field("m_Next"_field, Dropped(&heat_ModelPart::SetOldNext));
    field(KVL_F(m_OldNext), Transient());
  }
  explicit heat_ModelPart(std::string name) : m_Name(std::move(name)) {}
  heat_ModelPart(heat_ModelPart const&) = delete;
  heat_ModelPart& operator=(heat_ModelPart const&) = delete;

  std::string const& Name() const { return m_Name; }
  std::shared_ptr<heat_ModelPart> OldNext() const { return m_OldNext.lock(); } // while a load runs

 private:
  void SetOldNext(std::shared_ptr<heat_ModelPart> const& next) { m_OldNext = next; }

  std::string m_Name;
  std::weak_ptr<heat_ModelPart> m_OldNext; // weak, because damaged chains may lead back into themselves
};

// A stored mesh. Indexes of nodes are zero-based. The notes say to programs without these classes how a mesh is drawn.
class heat_MeshModel : public heat_ModelPart {
 public:
  KVL_PERSISTED(heat_MeshModel, heat_ModelPart, 0x640002, "heat_MeshModel", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Coordinates), kvl::Unit("m"), kvl::Note("picture.points", "3"));
    field(KVL_F(m_NodeTags));
    field(KVL_F(m_Connectivity), kvl::Note("picture.cells", "triangles"));
    field(KVL_F(m_Regions));
  }
  heat_MeshModel(std::string name, heat_MeshData const& mesh);
  int NodeCount() const { return static_cast<int>(m_NodeTags.size()); }
  int TriangleCount() const { return static_cast<int>(m_Regions.size()); }

  // The mesh as plain data. Throws heat_ModelError if the stored lists contradict each other.
  heat_MeshData ToData() const;

 private:
  std::vector<double> m_Coordinates; // x, y, z of each node [m]
  std::vector<unsigned int> m_NodeTags;
  std::vector<int> m_Connectivity; // three nodes of each triangle
  std::vector<int> m_Regions;      // one for each triangle
};

// A stored material. Version 2 added density and specific heat, which transient runs need.
class heat_MaterialModel : public heat_ModelPart {
 public:
  KVL_PERSISTED(heat_MaterialModel, heat_ModelPart, 0x640003, "heat_MaterialModel", 2)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Conductivity), kvl::Unit("W/(m K)"));
    field(KVL_F(m_Thickness), kvl::Unit("m"));
    field(KVL_F(m_HeatSource), kvl::Unit("W/m^3"));
    field(KVL_F(m_Density), kvl::Since(2), kvl::Unit("kg/m^3"));
    field(KVL_F(m_SpecificHeat), kvl::Since(2), kvl::Unit("J/(kg K)"));
  }
  explicit heat_MaterialModel(heat_Material const& from)
      : heat_ModelPart(from.name), m_Conductivity(from.conductivity), m_Thickness(from.thickness),
        m_HeatSource(from.heatSource), m_Density(from.density), m_SpecificHeat(from.specificHeat) {}
  heat_Material ToData() const {
    return {Name(), m_Conductivity, m_Thickness, m_HeatSource, m_Density, m_SpecificHeat};
  }

 private:
  double m_Conductivity = 0; // [W/(m K)]
  double m_Thickness = 0;    // [m]
  double m_HeatSource = 0;   // [W/m^3]
  double m_Density = 0;      // [kg/m^3], 0 in stores of version 1
  double m_SpecificHeat = 0; // [J/(kg K)], 0 in stores of version 1
};

// A stored boundary condition: the place on a mesh where it acts (nodes, edges as pairs of nodes, or
// triangles), and two numbers whose meaning the derived class defines.
class heat_ConditionModel : public heat_ModelPart {
 public:
  KVL_PERSISTED(heat_ConditionModel, heat_ModelPart, 0x640010, "heat_ConditionModel", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Mesh));
    field(KVL_F(m_Where));
    field(KVL_F(m_Value));
    field(KVL_F(m_Ambient));
  }
  virtual void AddTo(heat_Problem& problem) const = 0;

 protected:
  using Mesh = std::shared_ptr<heat_MeshModel>; // the conditions of an analysis share it
  heat_ConditionModel(std::string name, Mesh mesh, std::vector<int> where, double value, double ambient = 0)
      : heat_ModelPart(std::move(name)), m_Mesh(std::move(mesh)), m_Where(std::move(where)), m_Value(value),
        m_Ambient(ambient) {}
  static std::vector<int> Flat(std::vector<heat_Edge> const& edges);
  std::vector<heat_Edge> Edges() const; // throws heat_ModelError for an odd number of nodes

  Mesh m_Mesh;
  std::vector<int> m_Where;
  double m_Value = 0;   // temperature, film coefficient or flux
  double m_Ambient = 0; // of a convection
};

class heat_FixedTemperatureModel : public heat_ConditionModel {
 public:
  KVL_PERSISTED(heat_FixedTemperatureModel, heat_ConditionModel, 0x640011, "heat_FixedTemperatureModel", 1)
  static constexpr void Describe(auto&) {}
  heat_FixedTemperatureModel(heat_FixedTemperature const& from, Mesh mesh)
      : heat_ConditionModel(from.name, std::move(mesh), from.nodes, from.temperature) {}
  void AddTo(heat_Problem& to) const override { to.fixedTemperatures.push_back({Name(), m_Where, m_Value}); }
};

class heat_EdgeConvectionModel : public heat_ConditionModel {
 public:
  KVL_PERSISTED(heat_EdgeConvectionModel, heat_ConditionModel, 0x640012, "heat_EdgeConvectionModel", 1)
  static constexpr void Describe(auto&) {}
  heat_EdgeConvectionModel(heat_EdgeConvection const& from, Mesh mesh)
      : heat_ConditionModel(from.name, std::move(mesh), Flat(from.edges), from.film, from.ambient) {}
  void AddTo(heat_Problem& to) const override {
    to.edgeConvections.push_back({Name(), Edges(), m_Value, m_Ambient});
  }
};

class heat_FaceConvectionModel : public heat_ConditionModel {
 public:
  KVL_PERSISTED(heat_FaceConvectionModel, heat_ConditionModel, 0x640013, "heat_FaceConvectionModel", 1)
  static constexpr void Describe(auto&) {}
  heat_FaceConvectionModel(heat_FaceConvection const& from, Mesh mesh)
      : heat_ConditionModel(from.name, std::move(mesh), from.triangles, from.film, from.ambient) {}
  void AddTo(heat_Problem& to) const override {
    to.faceConvections.push_back({Name(), m_Where, m_Value, m_Ambient});
  }
};

class heat_EdgeFluxModel : public heat_ConditionModel {
 public:
  KVL_PERSISTED(heat_EdgeFluxModel, heat_ConditionModel, 0x640014, "heat_EdgeFluxModel", 1)
  static constexpr void Describe(auto&) {}
  heat_EdgeFluxModel(heat_EdgeFlux const& from, Mesh mesh)
      : heat_ConditionModel(from.name, std::move(mesh), Flat(from.edges), from.flux) {}
  void AddTo(heat_Problem& to) const override { to.edgeFluxes.push_back({Name(), Edges(), m_Value}); }
};
