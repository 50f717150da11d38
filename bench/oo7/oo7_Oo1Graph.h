#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/oo7/oo7_Oo1Rows.h"
#include "bench/oo7/oo7_Pointers.h"
#include "bench/oo7/oo7_Texts.h"

/// A parts database that is in memory as a whole (an oo7_Oo1Adapter). `File` is as for oo7_Graph. The index is the
/// library's list of parts: ids are consecutive.
template <class Classes, class File> class oo7_Oo1Graph {
 public:
  using Part = typename Classes::Part;
  using Library = typename Classes::Library;

  void Build(std::vector<oo7_Oo1Part> const& rows, std::string const& path) {
    auto library = std::make_unique<Library>();
    library->m_Parts.reserve(rows.size());
    for (oo7_Oo1Part const& row : rows) AddPart(*library, row);
    for (oo7_Oo1Part const& row : rows) Connect(*library, row);
    m_File.Create(path, std::move(library));
  }
  void Open(std::string const& path) { m_Library = m_File.Open(path); }
  void Close() { m_File.Close(std::move(m_Library)); }
  void Begin() {}
  void End() {}
  void Commit() { m_File.Save(*m_Library, false); }

  [[nodiscard]] int Size() const { return static_cast<int>(m_Library->m_Parts.size()); }
  Part* Find(int id) { return id >= 1 && id <= Size() ? oo7_Get(OfId(*m_Library, id)) : nullptr; }
  template <class Visit> void EachTo(Part& part, Visit&& visit) {
    for (auto const& connection : part.m_To) visit(*connection->m_To);
  }
  template <class Visit> void EachFrom(Part& part, Visit&& visit) {
    for (auto const& connection : part.m_From) visit(*oo7_Get(oo7_Get(connection)->m_From));
  }
  void Add(oo7_Oo1Part const& row) {
    AddPart(*m_Library, row);
    Connect(*m_Library, row);
  }

 private:
  static auto& OfId(Library& library, int id) { return library.m_Parts[static_cast<std::size_t>(id - 1)]; }

  static void AddPart(Library& library, oo7_Oo1Part const& row) {
    auto part = Classes::template Make<Part>();
    part->m_Id = row.m_Id;
    part->m_Type = oo7_Oo1PartType(row.m_Type);
    part->m_X = row.m_X;
    part->m_Y = row.m_Y;
    part->m_BuildDate = row.m_BuildDate;
    library.m_Parts.push_back(std::move(part));
  }
  static void Connect(Library& library, oo7_Oo1Part const& row) {
    auto& from = OfId(library, row.m_Id);
    for (oo7_Oo1Connection const& each : row.m_Connections) {
      auto& to = OfId(library, each.m_To);
      auto connection = Classes::template Make<typename Classes::Connection>();
      connection->m_Type = oo7_Oo1ConnectionType(each.m_Type);
      connection->m_Length = each.m_Length;
      connection->m_From = oo7_Share(from);
      connection->m_To = oo7_Share(to);
      to->m_From.push_back(oo7_Share(connection));
      from->m_To.push_back(std::move(connection));
    }
  }

  File m_File;
  std::unique_ptr<Library> m_Library;
};
