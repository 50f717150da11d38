#include "tools/kvlstore/emit/kvs_EmitShape.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "metadata/cls_CollectionType.h"

namespace {

constexpr int LargestRow = 16;                // of std::array
constexpr std::int64_t LargestList = 1 << 20; // that an object is loaded with

/// The types of values and elements in words, as an inspection has them.
constexpr auto TypeNames = std::to_array<std::pair<std::string_view, cls_AttributeType>>({
    {"string", ATTR_STRING},
    {"bool", ATTR_BOOL},
    {"float", ATTR_FLOAT},
    {"double", ATTR_DOUBLE},
    {"int", ATTR_INT},
    {"unsigned int", ATTR_UINT},
    {"32-bit integer", ATTR_INT},
    {"unsigned 32-bit integer", ATTR_UINT},
    {"enumeration", ATTR_INT},
    {"8-bit integer", ATTR_SCHAR},
    {"unsigned 8-bit integer", ATTR_UCHAR},
    {"16-bit integer", ATTR_SHORT},
    {"unsigned 16-bit integer", ATTR_USHORT},
    {"64-bit integer", ATTR_LONGLONG},
    {"unsigned 64-bit integer", ATTR_ULONGLONG},
    {"complex float", ATTR_COMPLEX_FLOAT},
    {"complex double", ATTR_COMPLEX_DOUBLE},
    {"object", ATTR_OBJECT},
    {"objects", ATTR_OBJECT},
    {"reference", ATTR_REFERENCE},
    {"byte string", ATTR_BYTES},
});

std::optional<cls_AttributeType> TypeNamed(std::string_view name) {
  auto const found =
      std::ranges::find(TypeNames, name, &std::pair<std::string_view, cls_AttributeType>::first);
  if (found == TypeNames.end()) return std::nullopt;
  return found->second;
}

bool IsKnown(int type) noexcept {
  return type == ATTR_INT || type == ATTR_UINT || type == ATTR_STRING || type == ATTR_TRSTRING ||
         (type >= ATTR_BOOL && type <= ATTR_COMPLEX_DOUBLE) || (type >= ATTR_OBJECT && type <= ATTR_NESTED);
}

kvs_Shape None(std::string why) {
  kvs_Shape shape;
  shape.m_Why = std::move(why);
  return shape;
}

/// The element's type by the digit of a collection's code; the declared one if the code is generic.
cls_AttributeType ElementOf(int collection, int type) {
  int const kind = collection / 10 * 10;
  switch (collection - kind) {
  case 1:
    return ATTR_BOOL;
  case 2:
    return ATTR_DOUBLE;
  case 3:
    return ATTR_FLOAT;
  case 4:
    return ATTR_INT;
  case 5:
    return ATTR_STRING;
  case 6:
  case 7:
    return ATTR_UINT;
  default:
    return static_cast<cls_AttributeType>(type);
  }
}

/// The digit of an element's type in the code of a list or map; 0 if it has none.
int DigitOf(cls_AttributeType element, bool isMap) {
  switch (element) {
  case ATTR_BOOL:
    return 1;
  case ATTR_DOUBLE:
    return 2;
  case ATTR_FLOAT:
    return 3;
  case ATTR_INT:
    return 4;
  case ATTR_STRING:
    return 5;
  case ATTR_UINT:
    return isMap ? 6 : 7;
  default:
    return 0;
  }
}

/// Whether a sto_Array has elements of a type.
bool CanBeArray(cls_AttributeType element) {
  return DigitOf(element, false) != 0 || element == ATTR_LONGLONG || element == ATTR_ULONGLONG ||
         element == ATTR_COMPLEX_FLOAT || element == ATTR_COMPLEX_DOUBLE;
}

class Maker {
 public:
  Maker(kvs_EmitModel const& model, kvs_Attribute const& attribute, bool hasMore)
      : m_Model(model), m_Attribute(attribute), m_HasMore(hasMore) {
    for (std::string const& kind : attribute.m_Seen.m_Kinds)
      if (kind != "missing object" && kind != "deleted object") m_Kinds.insert(kind);
  }

  [[nodiscard]] kvs_Shape Make() const {
    kvs_Shape shape = IsKnown(m_Attribute.m_Type) ? AsDeclared() : BySight();
    for (std::string const& kind : m_Kinds)
      if (!Fits(shape, kind)) return None("objects have a " + kind + " in it");
    return shape;
  }

 private:
  /// Whether a collection is what the shape reads: a list or map is declared by a code that need not say all of it.
  [[nodiscard]] static bool Fits(kvs_Shape const& shape, std::string_view kind) {
    switch (shape.m_Form) {
    case kvs_Form::List:
    case kvs_Form::Rows:
    case kvs_Form::Array:
    case kvs_Form::Table:
      return kind.starts_with("list of ") && TypeNamed(kind.substr(8)) == shape.m_Element;
    case kvs_Form::ObjectList:
      return kind == "list of objects";
    case kvs_Form::Map:
    case kvs_Form::ObjectMap: {
      std::string_view const beginning = shape.m_HasIntKeys ? "map from int to " : "map from string to ";
      cls_AttributeType const element = shape.m_Form == kvs_Form::ObjectMap ? ATTR_OBJECT : shape.m_Element;
      return kind.starts_with(beginning) && TypeNamed(kind.substr(beginning.size())) == element;
    }
    default:
      return true;
    }
  }

  [[nodiscard]] kvs_Shape AsDeclared() const {
    int const collection = m_Attribute.m_Collection;
    bool const holdsObjects = m_Attribute.m_Type == ATTR_OBJECT || m_Attribute.m_Type == ATTR_REFERENCE;
    switch (collection / 10 * 10) {
    case 0:
      return collection == COLLECTION_NONE ? Single(m_Attribute.m_Type) : Objects(collection);
    case COLLECTION_LIST:
      return holdsObjects ? ObjectList() : List(ElementOf(collection, m_Attribute.m_Type));
    case COLLECTION_MAP_STRING:
    case COLLECTION_KIND_70:
      return Map(collection / 10 * 10 == COLLECTION_KIND_70, ElementOf(collection, m_Attribute.m_Type));
    case COLLECTION_TABLE:
      return Table(ElementOf(collection, m_Attribute.m_Type));
    case COLLECTION_KIND_90:
    case COLLECTION_KIND_100:
      return ObjectMap(collection / 10 * 10 == COLLECTION_KIND_100);
    default:
      return None("its collection type is " + std::to_string(collection));
    }
  }

  /// For an attribute of which the store does not say the type.
  [[nodiscard]] kvs_Shape BySight() const {
    if (m_Kinds.empty()) return None("neither the store nor an object says what it is");
    if (m_Kinds.size() > 1) return None("objects have different things in it");
    std::string_view const kind = *m_Kinds.begin();
    if (kind == "blob") return Held();
    if (kind.starts_with("list of ")) {
      auto const element = TypeNamed(kind.substr(8));
      if (!element) return None("it is a " + std::string(kind));
      return *element == ATTR_OBJECT ? ObjectList() : List(*element);
    }
    if (kind.starts_with("map from ")) return MapBySight(kind);
    auto const type = TypeNamed(kind);
    return type ? Single(*type) : None("it is a " + std::string(kind));
  }
  [[nodiscard]] kvs_Shape MapBySight(std::string_view kind) const {
    bool const hasIntKeys = kind.starts_with("map from int to ");
    if (!hasIntKeys && !kind.starts_with("map from string to ")) return None("it is a " + std::string(kind));
    auto const element = TypeNamed(kind.substr(hasIntKeys ? 16 : 19));
    if (!element) return None("it is a " + std::string(kind));
    return *element == ATTR_OBJECT ? ObjectMap(hasIntKeys) : Map(hasIntKeys, *element);
  }

  [[nodiscard]] kvs_Shape Single(int type) const {
    if (type == ATTR_OBJECT) return Held();
    if (type == ATTR_REFERENCE) return Ref();
    if (type == ATTR_BYTES) return None("a byte string, which a described class does not have");
    if (type == ATTR_NESTED) return None("a value of values, which a described class does not have");
    if (type == ATTR_COMPLEX_FLOAT || type == ATTR_COMPLEX_DOUBLE)
      return None("a single complex number in one attribute, which a described class does not have");
    kvs_Shape shape;
    shape.m_Form = IsEnum(type) ? kvs_Form::Enum : kvs_Form::Value;
    shape.m_Element = static_cast<cls_AttributeType>(type);
    // The library has no unsigned byte as a member; it is read as what has room for it.
    if (type == ATTR_UCHAR) return None("a single unsigned byte, which a described class does not have");
    shape.m_Type = type;
    return shape;
  }
  [[nodiscard]] bool IsEnum(int type) const {
    return type == ATTR_INT && (!m_Attribute.m_Enumerators.empty() || m_Kinds.contains("enumeration"));
  }

  /// An attribute of an object: that, or bytes.
  [[nodiscard]] kvs_Shape Held() const {
    if (m_Kinds == std::set<std::string>{"blob"}) {
      kvs_Shape shape;
      shape.m_Form = kvs_Form::Blob;
      shape.m_Type = ATTR_OBJECT;
      return shape;
    }
    for (std::string const& kind : m_Kinds)
      if (kind != "object") return None("an object attribute that holds a " + kind);
    return Ref();
  }
  [[nodiscard]] kvs_Shape Ref() const { return WithTarget(kvs_Form::Ref, COLLECTION_NONE); }

  [[nodiscard]] kvs_Shape WithTarget(kvs_Form form, int collection) const {
    kvs_Shape shape;
    shape.m_Form = form;
    shape.m_Type = ATTR_OBJECT;
    shape.m_Collection = collection;
    std::set<unsigned int> const& classes = m_Attribute.m_Seen.m_Classes;
    if (classes.empty()) {
      shape.m_Why = "no object has one, so its class is not known";
      return shape;
    }
    shape.m_Target = kvs_CommonBase(m_Model, classes);
    if (shape.m_Target == 0) return None("it leads to objects of classes without a common base class");
    return shape;
  }

  [[nodiscard]] kvs_Shape Objects(int collection) const {
    for (std::string const& kind : m_Kinds)
      if (kind.starts_with("map from "))
        return kind.ends_with(" to objects") ? MapBySight(kind) : None("it is a " + kind);
    if (collection == COLLECTION_OBJ) return ObjectList();
    if (collection == COLLECTION_MAP_OBJ) return None("no object has one, so its keys are not known");
    return ObjectMap(collection == COLLECTION_MAP_INT_OBJ);
  }
  [[nodiscard]] kvs_Shape ObjectList() const { return WithTarget(kvs_Form::ObjectList, COLLECTION_OBJ); }
  [[nodiscard]] kvs_Shape ObjectMap(bool hasIntKeys) const {
    kvs_Shape shape =
        WithTarget(kvs_Form::ObjectMap, hasIntKeys ? COLLECTION_MAP_INT_OBJ : COLLECTION_MAP_STRING_OBJ);
    shape.m_HasIntKeys = hasIntKeys;
    return shape;
  }

  [[nodiscard]] kvs_Shape List(cls_AttributeType element) const {
    kvs_Seen const& seen = m_Attribute.m_Seen;
    kvs_Shape shape;
    shape.m_Element = element;
    shape.m_Type = element;
    shape.m_Collection = COLLECTION_LIST + DigitOf(element, false);
    bool const hasRows = std::ranges::any_of(seen.m_RowSizes, [](std::int64_t size) { return size != 1; });
    bool const isEven = seen.m_RowSizes.size() == 1 && *seen.m_RowSizes.begin() <= LargestRow;
    if (CanBeArray(element) && (m_HasMore || seen.m_MostElements > LargestList || (hasRows && !isEven))) {
      shape.m_Form = kvs_Form::Array;
    } else if (hasRows && isEven) {
      shape.m_Form = kvs_Form::Rows;
      shape.m_RowSize = static_cast<int>(*seen.m_RowSizes.begin());
    } else if (hasRows) {
      return None("a list of rows of different sizes");
    } else {
      shape.m_Form = kvs_Form::List;
    }
    return shape;
  }

  [[nodiscard]] kvs_Shape Table(cls_AttributeType element) const {
    if (element != ATTR_DOUBLE && element != ATTR_FLOAT && element != ATTR_INT)
      return None("a table of other elements than numbers");
    kvs_Shape shape;
    shape.m_Form = kvs_Form::Table;
    shape.m_Element = element;
    shape.m_Type = element;
    shape.m_Collection = COLLECTION_TABLE + DigitOf(element, false);
    return shape;
  }

  [[nodiscard]] kvs_Shape Map(bool hasIntKeys, cls_AttributeType element) const {
    if (DigitOf(element, true) < 2) return None("a map to values that a described class has no map to");
    kvs_Shape shape;
    shape.m_Form = kvs_Form::Map;
    shape.m_Element = element;
    shape.m_HasIntKeys = hasIntKeys;
    shape.m_Type = element;
    shape.m_Collection = (hasIntKeys ? COLLECTION_KIND_70 : COLLECTION_MAP_STRING) + DigitOf(element, true);
    return shape;
  }

  kvs_EmitModel const& m_Model;
  kvs_Attribute const& m_Attribute;
  bool m_HasMore;
  std::set<std::string> m_Kinds;
};

/// A class and its base classes, the class first. Ends where a base class is not known, or comes again.
std::vector<unsigned int> LineOf(kvs_EmitModel const& model, unsigned int classId) {
  std::vector<unsigned int> line;
  while (kvs_EmitClass const* const found = model.Find(classId)) {
    if (std::ranges::find(line, classId) != line.end()) break;
    line.push_back(classId);
    classId = found->Newest().m_BaseId;
  }
  return line;
}

} // namespace

kvs_Shape kvs_ShapeOf(kvs_EmitModel const& model, kvs_Attribute const& attribute, bool hasMore) {
  return Maker(model, attribute, hasMore).Make();
}

unsigned int kvs_CommonBase(kvs_EmitModel const& model, std::set<unsigned int> const& classes) {
  if (classes.empty()) return 0;
  if (std::ranges::all_of(classes, [](unsigned int id) { return id >> 16U == kvs_ExceptionClassId >> 16U; }))
    return kvs_ExceptionClassId;
  if (classes.size() == 1 &&
      (*classes.begin() == kvs_TextClassId || *classes.begin() == kvs_TranslatedTextClassId))
    return *classes.begin();
  std::vector<unsigned int> common = LineOf(model, *classes.begin());
  for (unsigned int const each : classes) {
    std::vector<unsigned int> const line = LineOf(model, each);
    std::erase_if(common, [&](unsigned int id) { return std::ranges::find(line, id) == line.end(); });
  }
  return common.empty() ? 0 : common.front();
}
