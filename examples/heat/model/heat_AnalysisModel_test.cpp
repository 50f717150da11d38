#include "examples/heat/model/heat_AnalysisModel.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "store/sto_Store.h"
#include "tests/support/InitialisedModule.h"
#include "tests/support/store/StoreFile.h"

namespace {

// Writes the object that a field holds; writes nothing for a null pointer.
template <class T>
void WriteField(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, T const* object) {
  if (object != nullptr) object->DBWrite(cls_WriteVisitor(visitor, field, nullptr, object));
}

// A part of an analysis, and nothing else.
struct ChainedPart {
  static constexpr unsigned int TypeId() { return heat_ModelPart::TypeId(); }

  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid)) visitor.Write({0, "m_Name"_cow}, "part"_cow);
  }

  cls_Uid m_Uid;
};

// A material as version 1 wrote it, when each part held the next one.
struct ChainedMaterial {
  static constexpr unsigned int TypeId() { return heat_MaterialModel::TypeId(); }

  explicit ChainedMaterial(cow_String name) : m_Name(std::move(name)) {}

  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    cls_WriteVisitor const part(visitor, heat_ModelPart::TypeId());
    if (!part.StartWrite(heat_ModelPart::TypeId(), m_PartUid)) return;
    part.Write({0, "m_Name"_cow}, m_Name);
    WriteField(part, {1, "m_Next"_cow}, m_Next);
    WriteField(part, {1, "m_Next"_cow}, m_Other);
  }

  cow_String m_Name;
  ChainedMaterial const* m_Next = nullptr;
  ChainedPart const* m_Other = nullptr; // if the next part is no material
  cls_Uid m_Uid;
  cls_Uid m_PartUid;
};

// An analysis of that version.
struct ChainedAnalysis {
  static constexpr unsigned int TypeId() { return heat_AnalysisModel::TypeId(); }

  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    {
      cls_WriteVisitor const part(visitor, heat_ModelPart::TypeId());
      if (!part.StartWrite(heat_ModelPart::TypeId(), m_PartUid)) return;
      part.Write({0, "m_Name"_cow}, "plate"_cow);
    }
    WriteField(visitor, {4, "m_Materials"_cow}, m_First);
  }

  ChainedMaterial const* m_First = nullptr;
  cls_Uid m_Uid;
  cls_Uid m_PartUid;
};

void DeclareChains(cls_ClassRegistrar& registrar) {
  registrar.CreateClassMD("heat_ModelPart"_cow, heat_ModelPart::TypeId(), 1, nullptr, 1)
      .AddAttribute({0, "m_Name"_cow}, ATTR_STRING, 1, COLLECTION_NONE)
      .AddAttribute({1, "m_Next"_cow}, ATTR_OBJECT, 1, COLLECTION_NONE);
  registrar
      .CreateClassMD("heat_MaterialModel"_cow, heat_MaterialModel::TypeId(), 1, nullptr,
                     heat_ModelPart::TypeId())
      .AddAttribute({0, "m_Conductivity"_cow}, ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute({1, "m_Thickness"_cow}, ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute({2, "m_HeatSource"_cow}, ATTR_DOUBLE, 1, COLLECTION_NONE);
  registrar
      .CreateClassMD("heat_AnalysisModel"_cow, heat_AnalysisModel::TypeId(), 1, nullptr,
                     heat_ModelPart::TypeId())
      .AddAttribute({4, "m_Materials"_cow}, ATTR_OBJECT, 1, COLLECTION_NONE);
}

class HeatAnalysisModel : public StoreFileTest {
 protected:
  HeatAnalysisModel() {
    heat_AnalysisModel::Declare(m_Classes);
    DeclareChains(m_OldClasses);
  }

  sto_Store Open(sto_Mode mode, sto_Options const& options = {}) const {
    return sto_Store::Open(Path(), mode, m_Classes, options);
  }

  std::shared_ptr<heat_AnalysisModel> Load(sto_Store& store) const {
    return store.LoadShared<heat_AnalysisModel>(heat_AnalysisModel::Root);
  }

  // Saves an analysis whose chain of materials starts with this one.
  void SaveChain(ChainedMaterial const* first) const {
    ChainedAnalysis analysis;
    analysis.m_First = first;
    sto_Store::Open(Path(), sto_Mode::Create, m_OldClasses).Save(heat_AnalysisModel::Root, analysis);
  }

  // Expects that loading the analysis fails with this text.
  void ExpectRefused(char const* text) const {
    sto_Store store = Open(sto_Mode::ReadOnly);
    try {
      static_cast<void>(Load(store));
      ADD_FAILURE();
    } catch (heat_ModelError const& error) {
      EXPECT_STREQ(error.what(), text);
    }
  }

  // The names of the materials, in order.
  static std::vector<std::string> Materials(heat_AnalysisModel const& analysis) {
    std::vector<std::string> names;
    for (auto const& material : analysis.ToProblem().materials) names.push_back(material.name);
    return names;
  }

 private:
  InitialisedModule m_Module;
  cls_ClassRegistrar m_Classes;
  cls_ClassRegistrar m_OldClasses;
};

std::vector<std::string> ConditionNames(heat_Problem const& problem) {
  std::vector<std::string> names;
  for (auto const& condition : problem.fixedTemperatures) names.push_back(condition.name);
  for (auto const& condition : problem.edgeConvections) names.push_back(condition.name);
  for (auto const& condition : problem.faceConvections) names.push_back(condition.name);
  for (auto const& condition : problem.edgeFluxes) names.push_back(condition.name);
  return names;
}

// A mesh of one triangle, three materials, and conditions of every kind.
heat_Problem Problem() {
  heat_Problem problem;
  for (char const* const name : {"steel", "copper", "air"}) problem.materials.push_back({name, 50, 0.01});
  problem.materialOf = {1};
  problem.fixedTemperatures = {{"base", {0}, 120}, {"top", {2}, 20}};
  problem.edgeConvections = {{"rim", {{0, 1}}, 10, 20}};
  problem.faceConvections = {{"front", {0}, 10, 20}, {"back", {0}, 5, 25}};
  problem.edgeFluxes = {{"burner", {{1, 2}}, 1000}};
  return problem;
}

std::shared_ptr<heat_MeshModel> Mesh() {
  heat_MeshData mesh;
  mesh.nodes = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
  mesh.nodeTags = {1, 2, 3};
  mesh.triangles = {{0, 1, 2}};
  mesh.regions = {1};
  return std::make_shared<heat_MeshModel>("triangle", mesh);
}

} // namespace

TEST_F(HeatAnalysisModel, MaterialsAndConditionsComeBackInTheirOrder) {
  Open(sto_Mode::Create).Save(heat_AnalysisModel::Root, heat_AnalysisModel("plate", Mesh(), Problem()));
  sto_Store store = Open(sto_Mode::ReadOnly);
  auto const analysis = Load(store);
  EXPECT_EQ(Materials(*analysis), (std::vector<std::string>{"steel", "copper", "air"}));
  EXPECT_EQ(ConditionNames(analysis->ToProblem()), ConditionNames(Problem()));
  EXPECT_EQ(analysis->ToProblem().faceConvections[1].ambient, 25);
}

TEST_F(HeatAnalysisModel, AnalysisWithoutPartsComesBack) {
  Open(sto_Mode::Create).Save(heat_AnalysisModel::Root, heat_AnalysisModel("plate", Mesh(), {}));
  sto_Store store = Open(sto_Mode::ReadOnly);
  EXPECT_TRUE(Materials(*Load(store)).empty());
}

TEST_F(HeatAnalysisModel, ListsAreSavedAgainInTheirPlace) {
  sto_Store store = Open(sto_Mode::Create);
  heat_AnalysisModel const analysis("plate", Mesh(), Problem());
  store.Save(heat_AnalysisModel::Root, analysis);
  auto const count = store.ObjectCount();
  store.Save(heat_AnalysisModel::Root, analysis);
  auto const loaded = Load(store);
  store.Save(heat_AnalysisModel::Root, *loaded);
  EXPECT_EQ(store.ObjectCount(), count);
  EXPECT_EQ(store.CountGarbage(), 0);
}

TEST_F(HeatAnalysisModel, ChainIsReadInItsOrder) {
  ChainedMaterial steel("steel"_cow), copper("copper"_cow), air("air"_cow);
  steel.m_Next = &copper;
  copper.m_Next = &air;
  SaveChain(&steel);
  sto_Store store = Open(sto_Mode::ReadOnly);
  EXPECT_EQ(Materials(*Load(store)), (std::vector<std::string>{"steel", "copper", "air"}));
}

TEST_F(HeatAnalysisModel, AnalysisWithoutAChainIsRead) {
  SaveChain(nullptr);
  sto_Store store = Open(sto_Mode::ReadOnly);
  EXPECT_TRUE(Materials(*Load(store)).empty());
}

TEST_F(HeatAnalysisModel, ChainThatLeadsBackIntoItselfIsRefused) {
  ChainedMaterial steel("steel"_cow), copper("copper"_cow);
  steel.m_Next = &copper;
  copper.m_Next = &steel;
  SaveChain(&steel);
  ExpectRefused("the chain of m_Materials leads back into itself");
}

TEST_F(HeatAnalysisModel, ChainThatLeadsToAnotherKindOfPartIsRefused) {
  ChainedMaterial steel("steel"_cow);
  ChainedPart const other;
  steel.m_Other = &other;
  SaveChain(&steel);
  ExpectRefused("the chain of m_Materials leads to another kind of part");
}

TEST_F(HeatAnalysisModel, AnalysisOfChainsIsSavedAgainWithLists) {
  std::filesystem::copy_file(std::string(HEAT_GOLDEN_DIR) + "/heat-1-steady.kvs", Path());
  sto_Options options;
  options.m_Upgrade = true;
  sto_Store store = Open(sto_Mode::ReadWrite, options);
  auto const count = store.ObjectCount();
  auto const analysis = Load(store);
  store.Save(heat_AnalysisModel::Root, *analysis);
  EXPECT_EQ(store.ObjectCount(), count + 2); // the lists
  EXPECT_EQ(store.CountGarbage(), 0);
  EXPECT_EQ(SqlFile(Path()).Integer("SELECT count(*) FROM class WHERE name = 'heat_AnalysisModel'"), 2);
  auto const again = Load(store);
  EXPECT_EQ(Materials(*again), Materials(*analysis));
  EXPECT_EQ(ConditionNames(again->ToProblem()), ConditionNames(analysis->ToProblem()));
  EXPECT_EQ(ConditionNames(again->ToProblem()).size(), 4u);
}
