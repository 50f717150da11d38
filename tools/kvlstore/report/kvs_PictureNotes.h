#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "store/base/sto_ClassDescription.h"
#include "store/inspect/sto_InspectedObject.h"

/// What may be drawn: the values of an object, or a mesh alone.
struct kvs_PictureSource {
  std::int64_t m_Object = 0;
  std::string m_Values; ///< the attribute that has the values; empty: the object is a mesh
  std::string m_Mesh;   ///< the attribute that holds the mesh; empty: the object itself
};

/// The notes of classes that say how their objects are drawn. docs/report.md lists them.
class kvs_PictureNotes {
 public:
  static constexpr std::string_view Points = "picture.points";
  static constexpr std::string_view Cells = "picture.cells";
  static constexpr std::string_view Values = "picture.values";
  static constexpr std::size_t MaxSources = 1000;

  explicit kvs_PictureNotes(std::vector<sto_ClassDescription> const& classes);

  /// Appends what a part of an object says may be drawn, up to MaxSources.
  void AddSources(sto_InspectedObject const& object, sto_InspectedPart const& part,
                  std::vector<kvs_PictureSource>& sources) const;

  /// A field that has a note of this name, and the note's text.
  using Noted = std::pair<sto_InspectedField const*, std::string_view>;
  [[nodiscard]] std::vector<Noted> Fields(sto_InspectedObject const& object, std::string_view note) const;

 private:
  struct Note {
    std::string m_Attribute;
    std::string m_Name;
    std::string m_Text;
  };
  using ClassVersion = std::pair<unsigned int, int>;

  std::map<ClassVersion, std::vector<Note>> m_Notes;
};
