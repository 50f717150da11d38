#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "bench/oo7/oo7_Pointers.h"
#include "bench/oo7/oo7_Rows.h"
#include "bench/oo7/oo7_Texts.h"

/// Builds the objects of a database. The parts that it adds to a library are in no index.
template <class Classes> class oo7_GraphBuilder {
 public:
  using Library = typename Classes::Library;
  template <class T> using Own = typename Classes::template Own<T>;
  template <class T> using Ref = typename Classes::template Ref<T>;

  static void Build(oo7_Rows const& rows, Library& library) {
    library.m_Composites.reserve(rows.m_Composites.size());
    for (oo7_CompositeRow const& row : rows.m_Composites) AddComposite(rows.m_Parameters, row, library);
    library.m_Module = MakeModule(rows);
    AddAssemblies(rows.m_Module, library);
  }

  /// Adds a composite part behind the others.
  static void AddComposite(oo7_Parameters const& parameters, oo7_CompositeRow const& row, Library& library) {
    auto made = Classes::template Make<typename Classes::Composite>();
    auto& part = oo7_Change(made);
    SetDesign(part, row);
    part.m_Documentation = Classes::template Make<typename Classes::Document>();
    auto& document = oo7_Change(part.m_Documentation);
    document.m_Id = row.m_Id;
    document.m_Title = oo7_DocumentTitle(row.m_Id);
    document.m_Text = oo7_DocumentText(row.m_Id, parameters.m_DocumentBytes);
    document.m_Part = oo7_Share(made);
    part.m_Parts.reserve(row.m_Atoms.size());
    for (oo7_AtomRow const& atom : row.m_Atoms) part.m_Parts.push_back(MakeAtom(atom, made));
    part.m_RootPart = oo7_Share(part.m_Parts.front());
    for (oo7_ConnectionRow const& connection : row.m_Connections) Connect(connection, part);
    library.m_Composites.push_back(std::move(made));
  }

  /// Adds a composite part to the private or shared ones of a base assembly, and the way back.
  static void Use(Ref<typename Classes::Base> const& base, Ref<typename Classes::Composite> const& part,
                  bool isPrivate) {
    auto& user = oo7_Change(base);
    auto& used = oo7_Change(part);
    (isPrivate ? user.m_Private : user.m_Shared).push_back(part);
    (isPrivate ? used.m_UsedInPrivate : used.m_UsedInShared).push_back(base);
  }

 private:
  static void SetDesign(auto& object, auto const& row) {
    object.m_Id = row.m_Id;
    object.m_Type = oo7_TypeText(row.m_Type);
    object.m_BuildDate = row.m_BuildDate;
  }

  static Own<typename Classes::Atom> MakeAtom(oo7_AtomRow const& row,
                                              Own<typename Classes::Composite> const& part) {
    auto made = Classes::template Make<typename Classes::Atom>();
    auto& atom = oo7_Change(made);
    SetDesign(atom, row);
    atom.m_X = row.m_X;
    atom.m_Y = row.m_Y;
    atom.m_DocId = row.m_DocId;
    atom.m_PartOf = oo7_Share(part);
    return made;
  }

  static void Connect(oo7_ConnectionRow const& row, typename Classes::Composite& part) {
    auto const atomOf = [&part](int id) {
      return oo7_Share(part.m_Parts[static_cast<std::size_t>(id - part.m_Parts.front()->m_Id)]);
    };
    auto const from = atomOf(row.m_From);
    auto const to = atomOf(row.m_To);
    auto made = Classes::template Make<typename Classes::Connection>();
    auto& connection = oo7_Change(made);
    connection.m_Type = oo7_TypeText(row.m_Type);
    connection.m_Length = row.m_Length;
    connection.m_From = from;
    connection.m_To = to;
    oo7_Change(to).m_From.push_back(oo7_Share(made));
    oo7_Change(from).m_To.push_back(std::move(made));
  }

  static Own<typename Classes::Module> MakeModule(oo7_Rows const& rows) {
    auto made = Classes::template Make<typename Classes::Module>();
    auto& module = oo7_Change(made);
    SetDesign(module, rows.m_Module);
    module.m_Manual = Classes::template Make<typename Classes::Manual>();
    auto& manual = oo7_Change(module.m_Manual);
    manual.m_Id = module.m_Id;
    manual.m_Title = oo7_ManualTitle(module.m_Id);
    manual.m_Text = oo7_ManualText(module.m_Id, rows.m_Parameters.m_ManualBytes);
    manual.m_TextLength = static_cast<int>(manual.m_Text.size());
    manual.m_Module = oo7_Share(made);
    return made;
  }

  static void AddAssemblies(oo7_ModuleRow const& module, Library& library) {
    std::vector<Ref<typename Classes::Complex>> complexes(1); // by id
    for (oo7_AssemblyRow const& row : module.m_Assemblies) {
      if (row.m_IsBase) {
        auto base = Classes::template Make<typename Classes::Base>();
        Ref<typename Classes::Base> const shared = oo7_Share(base);
        for (int const id : row.m_Private) Use(shared, PartOfId(library, id), true);
        for (int const id : row.m_Shared) Use(shared, PartOfId(library, id), false);
        Place(row, std::move(base), complexes, library);
      } else {
        auto complex = Classes::template Make<typename Classes::Complex>();
        complexes.push_back(oo7_Share(complex));
        Place(row, std::move(complex), complexes, library);
      }
    }
  }

  static Ref<typename Classes::Composite> PartOfId(Library& library, int id) {
    return oo7_Share(library.m_Composites[static_cast<std::size_t>(id - 1)]);
  }

  /// Puts an assembly into the tree.
  template <class Assembly>
  static void Place(oo7_AssemblyRow const& row, Own<Assembly> made,
                    std::vector<Ref<typename Classes::Complex>> const& complexes, Library& library) {
    auto& assembly = oo7_Change(made);
    auto& module = oo7_Change(library.m_Module);
    SetDesign(assembly, row);
    assembly.m_Module = oo7_Share(library.m_Module);
    module.m_Assemblies.push_back(oo7_Share(made));
    auto const& super = complexes[static_cast<std::size_t>(row.m_Super)];
    assembly.m_Super = super;
    if (super)
      oo7_Change(super).m_SubAssemblies.push_back(std::move(made));
    else if constexpr (std::is_same_v<Assembly, typename Classes::Complex>)
      module.m_DesignRoot = std::move(made);
  }
};
