#include "tools/kvlstore/report/kvs_Picture.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <complex>
#include <cstddef>
#include <stdexcept>
#include <type_traits>

#include "tools/kvlstore/report/kvs_Mesh.h"

namespace {

/// Lists that do not make a picture; what() is one sentence.
class NoPicture : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

using Place = std::array<double, 3>;

struct Box {
  Place m_Low{};
  Place m_High{};
};

sto_InspectedField const* FieldOf(sto_InspectedObject const& object, std::string_view name) {
  for (sto_InspectedPart const& part : object.m_Parts) {
    auto const found = std::ranges::find(part.m_Fields, name, &sto_InspectedField::m_Name);
    if (found != part.m_Fields.end()) return &*found;
  }
  return nullptr;
}

std::int64_t IdIn(sto_InspectedField const* field) {
  sto_InspectedId const* const id =
      field == nullptr ? nullptr : std::get_if<sto_InspectedId>(&field->m_Value);
  return id == nullptr ? 0 : id->m_Id;
}

/// The numbers of a list as T; those from `first` on.
template <class T>
std::vector<T> NumbersOf(sto_InspectedList& list, std::int64_t first, std::string const& attribute) {
  std::int64_t const count = list.Count() - first;
  if (count > kvs_MaxMeshNumbers)
    throw NoPicture("The mesh is too large for a picture: " + attribute + " has " + std::to_string(count) +
                    " numbers.");
  std::vector<T> numbers;
  std::visit(
      [&](auto const& elements) {
        using Element = typename std::remove_cvref_t<decltype(elements)>::value_type;
        if constexpr (std::is_arithmetic_v<Element> && !std::is_same_v<Element, bool>) {
          numbers.reserve(elements.size());
          for (Element const element : elements) {
            auto const value = static_cast<double>(element);
            if (std::is_integral_v<T> && !(value >= 0 && value <= 2e9)) // also what is no number
              throw NoPicture(attribute + " names a point that does not exist.");
            numbers.push_back(static_cast<T>(element));
          }
        } else {
          throw NoPicture(attribute + " has no real numbers.");
        }
      },
      list.Read(first, count));
  return numbers;
}

/// Reads what a picture is made of.
class Reader {
 public:
  Reader(sto_Inspection const& inspection, kvs_PictureNotes const& notes, kvs_PictureSource const& source)
      : m_Inspection(inspection), m_Notes(notes), m_Object(inspection.Object(source.m_Object)) {
    std::int64_t const mesh =
        source.m_Mesh.empty() ? source.m_Object : IdIn(FieldOf(m_Object, source.m_Mesh));
    if (mesh == 0) throw NoPicture("The object has no mesh in " + source.m_Mesh + ".");
    m_MeshObject = inspection.Object(mesh);
    ReadPoints();
    ReadCells();
    if (!source.m_Values.empty()) ReadValues(source.m_Values);
  }

  kvs_Mesh m_Mesh;
  kvs_CellKind m_Kind = kvs_CellKind::None;
  std::string m_KindName;
  std::string m_Unit;
  std::string m_PlaceUnit;
  std::int64_t m_Row = -1; // of the values that are drawn
  std::int64_t m_Rows = 0;

  [[nodiscard]] sto_InspectedObject const& Object() const noexcept { return m_Object; }
  [[nodiscard]] std::int64_t MeshId() const noexcept { return m_MeshObject.m_Id; }
  [[nodiscard]] std::size_t Cells() const { return m_Mesh.m_Cells.size() / kvs_CornersOf(m_Kind); }

 private:
  [[nodiscard]] sto_InspectedList ListOf(sto_InspectedField const& field) const {
    std::int64_t const id = IdIn(&field);
    if (id == 0 || !field.m_Kind.starts_with("list")) throw NoPicture(field.m_Name + " has no list.");
    return m_Inspection.List(id);
  }

  void ReadPoints() {
    std::vector<kvs_PictureNotes::Noted> const fields =
        m_Notes.Fields(m_MeshObject, kvs_PictureNotes::Points);
    if (fields.empty()) throw NoPicture("No attribute of the mesh has the note picture.points.");
    for (auto const& [field, text] : fields) {
      sto_InspectedList list = ListOf(*field);
      m_PlaceUnit = field->m_Unit.empty() ? list.Unit() : field->m_Unit;
      std::vector<double> const numbers = NumbersOf<double>(list, 0, field->m_Name);
      if (text == "2" || text == "3")
        SetPlaces(numbers, text == "2" ? 2 : 3, field->m_Name);
      else
        SetAxis(numbers, AxisOf(text, field->m_Name), field->m_Name);
    }
  }
  /// The axis that a note names, or the attribute's own name.
  static std::size_t AxisOf(std::string_view text, std::string_view attribute) {
    std::string_view const axis = text == "columns" ? attribute.substr(attribute.rfind('.') + 1) : text;
    if (axis.size() != 1 || axis.front() < 'x' || axis.front() > 'z')
      throw NoPicture("The note picture.points of " + std::string(attribute) +
                      " is none of 2, 3, columns, x, y, z, or its column is none of x, y, z.");
    return static_cast<std::size_t>(axis.front() - 'x');
  }
  void SetPlaces(std::vector<double> const& numbers, std::size_t perPoint, std::string const& name) {
    if (numbers.size() % perPoint != 0) throw NoPicture("The last point in " + name + " is not whole.");
    m_Mesh.m_Points.resize(numbers.size() / perPoint);
    for (std::size_t i = 0; i < numbers.size(); ++i) m_Mesh.m_Points[i / perPoint][i % perPoint] = numbers[i];
  }
  void SetAxis(std::vector<double> const& numbers, std::size_t axis, std::string const& name) {
    if (m_Mesh.m_Points.empty()) m_Mesh.m_Points.resize(numbers.size());
    if (m_Mesh.m_Points.size() != numbers.size())
      throw NoPicture(name + " has another length than the other coordinates.");
    for (std::size_t i = 0; i < numbers.size(); ++i) m_Mesh.m_Points[i][axis] = numbers[i];
  }

  void ReadCells() {
    std::vector<kvs_PictureNotes::Noted> const fields = m_Notes.Fields(m_MeshObject, kvs_PictureNotes::Cells);
    if (fields.empty()) throw NoPicture("No attribute of the mesh has the note picture.cells.");
    auto const& [field, text] = fields.front();
    m_Kind = kvs_CellKindOf(text);
    m_KindName = text;
    if (m_Kind == kvs_CellKind::None)
      throw NoPicture("The note picture.cells of " + field->m_Name + " names no kind of cells.");
    sto_InspectedList list = ListOf(*field);
    m_Mesh.m_Cells = NumbersOf<std::int32_t>(list, 0, field->m_Name);
    if (m_Mesh.m_Cells.size() % kvs_CornersOf(m_Kind) != 0)
      throw NoPicture("The last cell in " + field->m_Name + " is not whole.");
    for (std::int32_t const point : m_Mesh.m_Cells)
      if (static_cast<std::size_t>(point) >= m_Mesh.m_Points.size())
        throw NoPicture(field->m_Name + " names point " + std::to_string(point) + ", which does not exist.");
  }

  void ReadValues(std::string const& attribute) {
    sto_InspectedField const* const field = FieldOf(m_Object, attribute);
    if (field == nullptr) throw NoPicture("The object has no " + attribute + ".");
    sto_InspectedList list = ListOf(*field);
    m_Unit = field->m_Unit.empty() ? list.Unit() : field->m_Unit;
    std::int64_t width = 1;
    for (std::int64_t const extent : list.Row())
      if (extent > 0 && width <= list.Count() / extent) width *= extent;
    if (width > 1) {
      m_Rows = list.Count() / width;
      m_Row = m_Rows - 1; // the last one, which is the latest of a history
    }
    m_Mesh.m_Values = NumbersOf<double>(list, m_Rows > 0 ? m_Row * width : 0, attribute);
    if (m_Mesh.m_Values.size() != m_Mesh.m_Points.size() && m_Mesh.m_Values.size() != Cells())
      throw NoPicture(attribute + " has " + std::to_string(m_Mesh.m_Values.size()) +
                      " values, which is neither the number of points nor that of cells.");
  }

  sto_Inspection const& m_Inspection;
  kvs_PictureNotes const& m_Notes;
  sto_InspectedObject m_Object;
  sto_InspectedObject m_MeshObject;
};

Box BoxOf(std::vector<Place> const& points) {
  Box box{points.front(), points.front()};
  for (Place const& point : points)
    for (std::size_t axis = 0; axis < 3; ++axis) {
      box.m_Low[axis] = std::min(box.m_Low[axis], point[axis]);
      box.m_High[axis] = std::max(box.m_High[axis], point[axis]);
    }
  return box;
}

void WritePlace(kvs_Json& json, Place const& place) {
  json.Begin('[');
  for (double const x : place) json.Rounded(x);
  json.End(']');
}

void WriteDrawing(kvs_Json& json, kvs_Drawing const& drawing) {
  Box const box = BoxOf(drawing.m_Points);
  json.Key("low");
  WritePlace(json, box.m_Low);
  json.Key("high");
  WritePlace(json, box.m_High);
  json.Key("p").Begin('[');
  for (Place const& point : drawing.m_Points)
    for (std::size_t axis = 0; axis < 3; ++axis) {
      double const extent = box.m_High[axis] - box.m_Low[axis];
      bool const isWide = extent > 0 && std::isfinite(extent);
      json.Int(isWide ? std::lround((point[axis] - box.m_Low[axis]) / extent * 65535) : 0);
    }
  json.End(']').Key("k").UInt(drawing.m_Corners).Key("c").Begin('[');
  for (std::array<std::int32_t, 3> const& element : drawing.m_Elements)
    for (std::size_t i = 0; i < drawing.m_Corners; ++i) json.Int(element[i]);
  json.End(']');
  if (drawing.m_Values.empty()) return;
  json.Key("per").Text(drawing.m_HasPointValues ? "point" : "cell").Key("v").Begin('[');
  for (double const value : drawing.m_Values) json.Rounded(value);
  json.End(']');
}

/// The smallest and the largest value of the whole mesh, and where they are.
void WriteExtremes(kvs_Json& json, kvs_Mesh const& mesh, std::size_t corners) {
  std::size_t low = mesh.m_Values.size();
  std::size_t high = low;
  std::int64_t notFinite = 0;
  for (std::size_t i = 0; i < mesh.m_Values.size(); ++i) {
    double const value = mesh.m_Values[i];
    if (!std::isfinite(value)) {
      ++notFinite;
      continue;
    }
    if (low == mesh.m_Values.size() || value < mesh.m_Values[low]) low = i;
    if (high == mesh.m_Values.size() || value > mesh.m_Values[high]) high = i;
  }
  if (notFinite > 0) json.Key("bad").Int(notFinite);
  if (low == mesh.m_Values.size()) return;
  bool const isOfPoints = mesh.m_Values.size() == mesh.m_Points.size();
  auto const placeOf = [&](std::size_t i) -> Place const& {
    return mesh.m_Points[isOfPoints ? i : static_cast<std::size_t>(mesh.m_Cells[i * corners])];
  };
  json.Key("min").Double(mesh.m_Values[low]).Key("max").Double(mesh.m_Values[high]);
  json.Key("minAt");
  WritePlace(json, placeOf(low));
  json.Key("maxAt");
  WritePlace(json, placeOf(high));
}

void WriteRead(kvs_Json& json, Reader const& reader, kvs_ReportOptions const& options) {
  json.Key("class").Text(reader.Object().ClassName()).Key("mesh").Int(reader.MeshId());
  json.Key("cells").UInt(reader.Cells()).Key("kind").Text(reader.m_KindName);
  json.Key("points").UInt(reader.m_Mesh.m_Points.size());
  if (!reader.m_Unit.empty()) json.Key("u").Text(reader.m_Unit);
  if (!reader.m_PlaceUnit.empty()) json.Key("pu").Text(reader.m_PlaceUnit);
  if (reader.m_Rows > 0) json.Key("row").Int(reader.m_Row).Key("rows").Int(reader.m_Rows);
  kvs_Drawing const drawing = kvs_Draw(
      reader.m_Mesh, reader.m_Kind, static_cast<std::size_t>(std::max<std::int64_t>(options.m_MaxCells, 1)));
  if (drawing.m_Elements.empty()) throw NoPicture("The mesh has nothing that can be drawn.");
  if (drawing.m_IsCoarser) json.Key("coarse").Bool(true);
  WriteExtremes(json, reader.m_Mesh, kvs_CornersOf(reader.m_Kind));
  WriteDrawing(json, drawing);
}

} // namespace

std::int64_t kvs_MeshOf(sto_Inspection const& inspection, kvs_PictureSource const& source) {
  return source.m_Mesh.empty() ? source.m_Object
                               : IdIn(FieldOf(inspection.Object(source.m_Object), source.m_Mesh));
}

std::string kvs_WritePicture(kvs_Json& json, sto_Inspection const& inspection, kvs_PictureNotes const& notes,
                             kvs_PictureSource const& source, kvs_ReportOptions const& options,
                             kvs_Problems const& problems) {
  std::string problem;
  json.Begin('{').Key("id").Int(source.m_Object).Key("title").Text(source.m_Values);
  std::size_t const depth = json.Depth();
  try {
    WriteRead(json, Reader(inspection, notes, source), options);
  } catch (NoPicture const& failure) {
    problem = failure.what();
  } catch (sto_Exception const& failure) {
    if (!kvs_Problems::IsOfContent(failure.Kind())) throw;
    problem = problems.TextOf(failure);
  }
  json.EndTo(depth);
  if (!problem.empty()) json.Key("problem").Text(problem);
  json.End('}');
  return problem;
}
