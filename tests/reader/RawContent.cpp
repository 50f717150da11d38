#include "tests/reader/RawContent.h"

#include <complex>
#include <cstdint>
#include <memory>
#include <vector>

#include "store/format/sto_NestedValue.h"
#include "store/format/sto_RecordBuilder.h"
#include "store/session/sto_OwnTransaction.h"
#include "store/session/sto_StoredBlocks.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "tests/support/PersistedClasses.h"

namespace {

using Type = sto_NestedType;

constexpr int RawVersion = 3;
constexpr int LongList = 3000;

/// What is to be written with the same session, inside one transaction.
class RawWriter {
 public:
  explicit RawWriter(sto_Session& session) : m_Session(session) {}

  [[nodiscard]] sto_FieldKey Key(std::string const& name) {
    return m_Session.KeyToWrite(cls_FieldHandle(cow_String(name)));
  }
  [[nodiscard]] std::int64_t TakeId() { return m_Session.TakeId(); }
  /// Starts an object of the class, or another one.
  void Start(std::int64_t id, unsigned int classId = RawClass, int version = RawVersion) {
    static_cast<void>(m_Session.ClassToWrite(classId));
    m_Builder.Reset();
    m_Builder.AddPart(classId, version, id);
    m_Id = id;
  }
  [[nodiscard]] sto_RecordBuilder& Builder() { return m_Builder; }
  template <class T> void Number(std::string const& name, std::uint8_t tag, T value) {
    sto_FieldKey const key = Key(name);
    sto_ValueWriter(m_Builder.StartField(0, key, tag)).Number(value);
  }
  template <class T> void Complex(std::string const& name, std::uint8_t tag, std::complex<T> value) {
    sto_FieldKey const key = Key(name);
    sto_ValueWriter writer(m_Builder.StartField(0, key, tag));
    writer.Number(value.real());
    writer.Number(value.imag());
  }
  /// Stores what was built.
  void End(std::string const& root = "", bool hasOwnShape = false) {
    unsigned int const classId = m_Builder.ClassOfPart(0);
    if (hasOwnShape) {
      m_Session.Driver().WriteObject(m_Id, sto_Format::OwnShape, m_Builder.ValuesWithShape());
    } else {
      auto const [shape, values] = m_Session.ToWrite(m_Builder, nullptr);
      m_Session.Driver().WriteObject(m_Id, shape, values);
    }
    if (!root.empty()) m_Session.Driver().SetRoot(root, m_Id, classId);
  }
  void WriteBlocks(sto_Bytes const& elements, std::size_t elementBytes) {
    sto_StoredBlocks blocks(m_Session, m_Id, elementBytes);
    std::size_t const step = sto_Format::BlockElementCount * elementBytes;
    for (std::size_t begin = 0; begin < elements.size(); begin += step) {
      std::size_t const end = std::min(begin + step, elements.size());
      sto_Bytes content(elements.begin() + static_cast<std::ptrdiff_t>(begin),
                        elements.begin() + static_cast<std::ptrdiff_t>(end));
      blocks.Write(static_cast<int>(begin / step), content, false);
    }
  }
  [[nodiscard]] std::int64_t Name(std::string_view text) {
    return m_Session.Catalogue().AddName(m_Session.Driver(), text);
  }

 private:
  sto_Session& m_Session;
  sto_RecordBuilder m_Builder;
  std::int64_t m_Id = 0;
};

void SaveTags(RawWriter& writer) {
  writer.Start(writer.TakeId());
  writer.Number("m_Byte", sto_Format::UInt8, std::uint8_t{200});
  writer.Complex("m_Complex", sto_Format::ComplexFloat, std::complex<float>(0.5F, -1.5F));
  writer.Complex("m_LongComplex", sto_Format::ComplexDouble, std::complex<double>(0.1, 1e300));
  writer.Number("m_Head", sto_Format::Enum, std::int32_t{2});
  writer.End("tags");
}

/// A sequence of the document's example: points with a number and perhaps a text.
void SaveExample(RawWriter& writer) {
  writer.Start(writer.TakeId());
  sto_Bytes value;
  sto_NestedWriter nested(value, 0);
  nested.Count(2);
  nested.Number(1.0);
  nested.Presence(true);
  nested.Text("A");
  nested.Number(2.0);
  nested.Presence(false);
  Type const type =
      Type::Sequence(Type::Struct({{writer.Key("m_X"), Type::Value(sto_Format::Double)},
                                   {writer.Key("m_Label"), Type::Optional(Type::Value(sto_Format::Text))}}));
  writer.Builder().AddNested(0, writer.Key("m_Nested"), type, value);
  writer.End("nested example");
}

/// A tuple with every kind of nested value and every tag, in a record with a shape of its own.
void SaveNested(RawWriter& writer) {
  std::int64_t const id = writer.TakeId();
  writer.Start(id);
  sto_Bytes value;
  sto_NestedWriter nested(value, id);
  Type::Types const leaves{Type::Value(sto_Format::Text),      Type::Value(sto_Format::Bool),
                           Type::Value(sto_Format::Int8),      Type::Value(sto_Format::Int64),
                           Type::Value(sto_Format::UInt64),    Type::Value(sto_Format::Float),
                           Type::Value(sto_Format::Enum),      Type::Value(sto_Format::Reference),
                           Type::Value(sto_Format::Object, 4), Type::Value(sto_Format::Bytes),
                           Type::Value(sto_Format::UInt8),     Type::Value(sto_Format::ComplexFloat)};
  nested.Text(std::nullopt);
  nested.Bool(true);
  nested.Number(std::int8_t{-128});
  nested.Number(std::int64_t{-5'000'000'000});
  nested.Number(std::uint64_t{18'000'000'000'000'000'000U});
  nested.Number(0.25F);
  nested.Number(std::int32_t{-1});
  nested.ObjectId(1);
  nested.ObjectId(id);
  nested.Bytes({});
  nested.Number(std::uint8_t{255});
  nested.Number(1.0F);
  nested.Number(-2.0F);
  Type const map = Type::Map(Type::Value(sto_Format::Int32),
                             Type::Variant({Type::Value(sto_Format::Double), Type::Struct({})}));
  nested.Count(2);
  nested.Number(std::int32_t{-7});
  nested.Alternative(0);
  nested.Number(0.125);
  nested.Number(std::int32_t{8});
  nested.Alternative(1);
  Type const array = Type::Array(3, Type::Value(sto_Format::UInt16));
  for (int const number : {1, 2, 65535}) nested.Number(static_cast<std::uint16_t>(number));
  Type const type = Type::Tuple({Type::Tuple(leaves), map, array});
  writer.Builder().AddNested(0, writer.Key("m_Nested"), type, value);
  writer.End("nested", true);
}

/// A list of numbers with extents and a unit. The values are the squares of the indexes, cut to the type.
template <class T>
void SaveArray(RawWriter& writer, sto_Format::ElementType type, std::vector<std::int64_t> const& extents,
               std::string const& unit, bool isComplex = false) {
  std::int64_t const holder = writer.TakeId();
  std::int64_t const list = writer.TakeId();
  std::string const name = "array " + std::to_string(type);
  writer.Start(holder);
  sto_FieldKey const key = writer.Key("m_List");
  writer.Builder().AddObject(0, key, sto_Format::Object, list);
  sto_ListHeader header;
  header.m_ElementType = type;
  header.m_Count = 1;
  for (std::int64_t const extent : extents) header.m_Count *= static_cast<int>(extent);
  header.m_InBlocks = header.m_Count > sto_Format::BlockElementCount;
  writer.End(header.m_InBlocks ? name + " in blocks" : name);

  sto_Bytes elements;
  sto_ByteWriter out(elements);
  for (int i = 0; i < header.m_Count; ++i) {
    out.Number(static_cast<T>(std::int64_t{i} * i));
    if (isComplex) out.Number(static_cast<T>(-i));
  }
  sto_Bytes encoded;
  if (!header.m_Extra.SetExtents(extents, header.m_Count, encoded)) throw std::logic_error("extents");
  if (!unit.empty()) header.m_Extra.SetUnit(writer.Name(unit));
  writer.Start(list, 0x230001, 800);
  std::size_t const elementBytes = sizeof(T) * (isComplex ? 2 : 1);
  writer.Builder().SetList(header, header.m_InBlocks ? sto_Bytes() : elements);
  writer.End();
  if (header.m_InBlocks) writer.WriteBlocks(elements, elementBytes);
}

void SaveArrays(RawWriter& writer) {
  std::vector<std::int64_t> const small{2, 3};
  SaveArray<std::int8_t>(writer, sto_Format::ElementInt8, small, "mm");
  SaveArray<std::uint8_t>(writer, sto_Format::ElementUInt8, small, "");
  SaveArray<std::int16_t>(writer, sto_Format::ElementInt16, {3, 1, 2}, "kN/m");
  SaveArray<std::uint16_t>(writer, sto_Format::ElementUInt16, {0}, "mm");
  SaveArray<std::int64_t>(writer, sto_Format::ElementInt64, small, "");
  SaveArray<std::uint64_t>(writer, sto_Format::ElementUInt64, {6}, "");
  SaveArray<float>(writer, sto_Format::ElementComplexFloat, small, "V", true);
  SaveArray<double>(writer, sto_Format::ElementComplexDouble, small, "", true);
  SaveArray<std::int8_t>(writer, sto_Format::ElementInt8, {LongList}, "");
  SaveArray<std::int16_t>(writer, sto_Format::ElementInt16, {30, 100}, "mm");
  SaveArray<std::uint64_t>(writer, sto_Format::ElementUInt64, {100, 30}, "");
  SaveArray<double>(writer, sto_Format::ElementComplexDouble, {LongList}, "V", true);
}

/// A map from 64-bit integers, signed or not, to 16-bit ones.
void SaveLongKeys(RawWriter& writer, bool isSigned) {
  std::int64_t const holder = writer.TakeId();
  std::int64_t const map = writer.TakeId();
  writer.Start(holder);
  sto_FieldKey const key = writer.Key("m_Map");
  writer.Builder().AddObject(0, key, sto_Format::Object, map);
  writer.End(isSigned ? "signed keys" : "unsigned keys");
  sto_Bytes entries;
  sto_ByteWriter out(entries);
  for (std::uint64_t const step : {1U, 2U, 3U}) {
    if (isSigned)
      out.ZigZag(static_cast<std::int64_t>(step) * -3'000'000'000'000'000'000);
    else
      out.Varint(step * 6'000'000'000'000'000'000U);
    out.Number(static_cast<std::int16_t>(step));
  }
  sto_MapHeader header;
  header.m_KeyType = isSigned ? sto_Format::KeyInt64 : sto_Format::KeyUInt64;
  header.m_ElementType = sto_Format::ElementInt16;
  header.m_Count = 3;
  writer.Start(map, 0x230002, 800);
  writer.Builder().SetMap(header, entries);
  writer.End();
}

/// An object whose base-class parts have ids that do not follow its own.
void SaveParts(RawWriter& writer) {
  std::int64_t const bottom = writer.TakeId();
  std::int64_t const top = writer.TakeId();
  static_cast<void>(writer.TakeId());
  std::int64_t const middle = writer.TakeId();
  writer.Start(top, Top::TypeId(), 2);
  writer.Builder().AddPart(Middle::TypeId(), 7, middle);
  writer.Builder().AddPart(Bottom::TypeId(), 4, bottom);
  sto_FieldKey const key = writer.Key("m_Value");
  writer.Number("m_Value", sto_Format::Double, 0.75);
  writer.Builder().AddText(1, key, std::nullopt);
  writer.End("scattered parts");
}

} // namespace

void DeclareRaw(cls_ClassRegistrar& registrar) {
  cls_ClassMetadata& metadata = registrar.CreateClassMD("Raw"_cow, RawClass, RawVersion, nullptr, 1);
  auto const declare = [&](char const* name, int type, int collection = COLLECTION_NONE) {
    metadata.AddAttribute(cls_FieldHandle(cow_String(name)), static_cast<cls_AttributeType>(type), 1,
                          static_cast<cls_CollectionType>(collection));
  };
  declare("m_Byte", ATTR_UCHAR);
  declare("m_Complex", ATTR_COMPLEX_FLOAT);
  declare("m_LongComplex", ATTR_COMPLEX_DOUBLE);
  declare("m_Head", ATTR_INT);
  declare("m_Nested", ATTR_NESTED);
  declare("m_List", AnyType, COLLECTION_LIST);
  declare("m_Map", AnyType, COLLECTION_KIND_70);
  registrar.NotesOf(RawClass, RawVersion)
      .Note("source", "made for a reader")
      .Note("m_Head", "drawing", "A-17")
      .Unit("m_Complex", "V")
      .Default("m_Head", "0")
      .Default("m_Byte", "")
      .Enumerator("m_Head", "hexagonal", 0)
      .Enumerator("m_Head", "round", 2)
      .Enumerator("m_Head", "button", 2);
}

void SaveRaw(std::string const& path, cls_ClassRegistrar const& registrar) {
  sto_Options options;
  options.m_Compress = true;
  sto_Session session(path, sto_SqliteDriver::Open(path, false), registrar, options);
  sto_OwnTransaction transaction(session, true);
  RawWriter writer(session);
  SaveTags(writer);
  SaveExample(writer);
  SaveNested(writer);
  SaveArrays(writer);
  SaveLongKeys(writer, true);
  SaveLongKeys(writer, false);
  SaveParts(writer);
  session.Driver().SetNote("below the mementos");
  transaction.Commit();
  session.Close();
}
