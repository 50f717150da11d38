#include <bit>
#include <map>

#include "tools/kvlstore/base/kvs_Address.h"
#include "tools/kvlstore/base/kvs_Bar.h"
#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/base/kvs_Values.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

namespace {

/// Calls `take` with the elements of a slice, some at a time.
template <class Take>
void ForEachSlice(sto_InspectedList& list, kvs_Slice::Range range, kvs_Bar* bar, Take take) {
  for (std::int64_t done = 0; done < range.m_Count;) {
    std::int64_t const count = std::min(kvs_ElementsAtOnce, range.m_Count - done);
    take(list.Read(range.m_First + done, count));
    done += count;
    if (bar != nullptr) bar->Show({done, range.m_Count});
  }
}

std::int64_t RowLength(std::vector<std::int64_t> const& row) {
  std::int64_t length = 1;
  for (std::int64_t const extent : row) length *= std::max<std::int64_t>(extent, 1);
  return length;
}

/// The elements of a slice, which counts in rows.
kvs_Slice::Range ElementsOf(sto_InspectedList const& list, kvs_Slice const& slice) {
  std::int64_t const columns = RowLength(list.Row());
  kvs_Slice::Range const rows = slice.Of(list.Count() / columns);
  return {rows.m_First * columns, rows.m_Count * columns};
}

/// Writes objects as lines of JSON.
class JsonDump {
 public:
  JsonDump(sto_Inspection const& inspection, kvs_Slice const& slice, kvs_Output& out)
      : m_Inspection(inspection), m_Slice(slice), m_Out(out) {}

  void Write(sto_InspectedObject const& object, std::string const* root) {
    m_Line.clear();
    fmt::format_to(std::back_inserter(m_Line), "{{\"id\":{},\"class\":", object.m_Id);
    kvs_AppendJson(m_Line, std::string_view(object.ClassName()));
    fmt::format_to(std::back_inserter(m_Line), ",\"version\":{}", object.Version());
    if (root != nullptr) {
      m_Line += ",\"root\":";
      kvs_AppendJson(m_Line, std::string_view(*root));
    }
    if (object.m_IsDeleted) m_Line += ",\"deleted\":true";
    m_Line += ",\"fields\":{";
    AppendFields(object.m_Parts.front());
    m_Line += '}';
    for (std::size_t i = 1; i < object.m_Parts.size(); ++i) {
      m_Line += i == 1 ? ",\"bases\":[{\"class\":" : ",{\"class\":";
      kvs_AppendJson(m_Line, std::string_view(object.m_Parts[i].m_ClassName));
      m_Line += ",\"fields\":{";
      AppendFields(object.m_Parts[i]);
      m_Line += "}}";
    }
    if (object.m_Parts.size() > 1) m_Line += ']';
    WriteContent(object);
    m_Line += "}\n";
    m_Out.Write(m_Line);
  }

 private:
  void AppendFields(sto_InspectedPart const& part) {
    bool isFirst = true;
    for (sto_InspectedField const& field : part.m_Fields) {
      if (!isFirst) m_Line += ',';
      isFirst = false;
      kvs_AppendJson(m_Line, std::string_view(kvs_NameOf(field)));
      m_Line += ':';
      kvs_AppendJson(m_Line, field.m_Value, field.m_Kind);
    }
  }

  void WriteContent(sto_InspectedObject const& object) {
    if (object.m_Content == sto_InspectedContent::List) {
      sto_InspectedList list = m_Inspection.List(object.m_Id);
      if (std::vector<std::int64_t> const row = list.Row(); !row.empty())
        fmt::format_to(std::back_inserter(m_Line), ",\"row\":[{}]", fmt::join(row, ","));
      m_Line += ",\"elements\":[";
      bool isFirst = true;
      ForEachSlice(list, ElementsOf(list, m_Slice), nullptr, [&](sto_InspectedElements const& elements) {
        if (!isFirst) m_Line += ',';
        isFirst = false;
        kvs_AppendElementsJson(m_Line, elements);
        m_Out.Write(m_Line);
        m_Line.clear();
      });
      m_Line += ']';
    } else if (object.m_Content == sto_InspectedContent::Map) {
      m_Line += ",\"entries\":[";
      bool isFirst = true;
      for (sto_InspectedMap map = m_Inspection.Map(object.m_Id); map.Next(); isFirst = false) {
        m_Line += isFirst ? "[" : ",[";
        kvs_AppendJson(m_Line, kvs_ValueOf(map.Key()));
        m_Line += ',';
        kvs_AppendJson(m_Line, map.Value());
        m_Line += ']';
        m_Out.Write(m_Line);
        m_Line.clear();
      }
      m_Line += ']';
    } else if (object.m_Content == sto_InspectedContent::Blob) {
      WriteBlob(object.m_Id);
    }
  }

  void WriteBlob(std::int64_t id) {
    sto_InspectedBlob blob = m_Inspection.Blob(id);
    m_Line += ",\"bytes\":\"";
    std::vector<std::byte> bytes;
    for (std::int64_t done = 0; done < blob.Size(); done += std::ssize(bytes)) {
      bytes.resize(static_cast<std::size_t>(std::min(kvs_ElementsAtOnce, blob.Size() - done)));
      blob.Read(done, bytes);
      for (std::byte const byte : bytes)
        fmt::format_to(std::back_inserter(m_Line), "{:02x}", std::to_integer<unsigned>(byte));
      m_Out.Write(m_Line);
      m_Line.clear();
    }
    m_Line += '"';
  }

  sto_Inspection const& m_Inspection;
  kvs_Slice const& m_Slice;
  kvs_Output& m_Out;
  std::string m_Line;
};

void DumpAll(sto_Inspection const& inspection, std::int64_t endOfIds, kvs_Slice const& slice,
             kvs_Output& out) {
  std::map<std::int64_t, std::string> names;
  for (sto_InspectedRoot const& root : inspection.Roots()) names.emplace(root.m_Id, root.m_Name);
  JsonDump dump(inspection, slice, out);
  kvs_Bar bar("dumping");
  std::int64_t done = 0;
  for (sto_InspectedWalk walk = inspection.Objects(); walk.Next(); ++done) {
    if (done % 256 == 0) bar.Show({walk.Id(), endOfIds});
    auto const name = names.find(walk.Id());
    dump.Write(inspection.Object(walk.Id()), name == names.end() ? nullptr : &name->second);
  }
}

// --- CSV: RFC 4180, one row of the array in each line

/// On a terminal texts are shown without what it would obey.
void AppendCsv(std::string& to, sto_InspectedValue const& value, bool isTerminal) {
  if (auto const* const text = std::get_if<sto_InspectedText>(&value)) {
    if (!*text) return;
    to += '"';
    for (char const c : isTerminal ? kvs_Printable(**text) : **text) {
      if (c == '"') to += '"';
      to += c;
    }
    to += '"';
    return;
  }
  if (auto const* const number = std::get_if<std::complex<double>>(&value)) {
    fmt::format_to(std::back_inserter(to), "{},{}", number->real(), number->imag());
    return;
  }
  if (auto const* const id = std::get_if<sto_InspectedId>(&value))
    to += std::to_string(id->m_Id);
  else
    to += kvs_ValueText(value, std::numeric_limits<std::size_t>::max());
}

void DumpCsv(sto_InspectedList& list, kvs_Slice const& slice, kvs_Output& out) {
  std::int64_t const columns = RowLength(list.Row());
  std::int64_t column = 0;
  std::string text;
  auto const end = [&] {
    text += ++column == columns ? '\n' : ',';
    if (column == columns) column = 0;
  };
  kvs_Bar bar("dumping");
  ForEachSlice(list, ElementsOf(list, slice), &bar, [&](sto_InspectedElements const& elements) {
    text.clear();
    std::visit(
        [&](auto const& values) {
          using Value = typename std::decay_t<decltype(values)>::value_type;
          for (std::size_t i = 0; i < values.size(); ++i) {
            if constexpr (std::is_arithmetic_v<Value> && !std::is_same_v<Value, bool>)
              kvs_AppendNumber(text, values[i]);
            else
              AppendCsv(text, kvs_ElementOf(elements, i), out.IsTerminal());
            end();
          }
        },
        elements);
    out.Write(text);
  });
}

// --- NPY: NumPy's format, version 1.0, https://numpy.org/doc/stable/reference/generated/numpy.lib.format.html

template <class T> constexpr char const* NpyType = nullptr;
template <> constexpr char const* NpyType<bool> = "|b1";
template <> constexpr char const* NpyType<float> = "<f4";
template <> constexpr char const* NpyType<double> = "<f8";
template <> constexpr char const* NpyType<std::int8_t> = "|i1";
template <> constexpr char const* NpyType<std::uint8_t> = "|u1";
template <> constexpr char const* NpyType<std::int16_t> = "<i2";
template <> constexpr char const* NpyType<std::uint16_t> = "<u2";
template <> constexpr char const* NpyType<std::int32_t> = "<i4";
template <> constexpr char const* NpyType<std::uint32_t> = "<u4";
template <> constexpr char const* NpyType<std::int64_t> = "<i8";
template <> constexpr char const* NpyType<std::uint64_t> = "<u8";
template <> constexpr char const* NpyType<std::complex<float>> = "<c8";
template <> constexpr char const* NpyType<std::complex<double>> = "<c16";

void WriteNpyHeader(char const* type, std::int64_t rows, std::vector<std::int64_t> const& row,
                    kvs_Output& out) {
  std::string header = fmt::format("{{'descr': '{}', 'fortran_order': False, 'shape': ({},", type, rows);
  for (std::int64_t const extent : row) header += fmt::format(" {},", extent);
  header += "), }";
  constexpr std::size_t Before = 10; // magic, version, length
  header.append(63 - (Before + header.size()) % 64, ' ');
  header += '\n';
  std::string start("\x93NUMPY\x01\x00", 8);
  start += static_cast<char>(header.size() & 0xFF);
  start += static_cast<char>(header.size() >> 8);
  out.Write(start + header);
}

template <class T>
void WriteNpyNumbers(sto_InspectedList& list, std::int64_t first, std::int64_t count, kvs_Output& out) {
  static_assert(std::endian::native == std::endian::little);
  kvs_Bar bar("dumping");
  if constexpr (std::is_same_v<T, bool>) {
    ForEachSlice(list, {first, count}, &bar, [&](sto_InspectedElements const& elements) {
      std::string bytes;
      for (bool const value : std::get<std::vector<bool>>(elements)) bytes += static_cast<char>(value);
      out.Write(bytes);
    });
  } else {
    std::vector<T> values(static_cast<std::size_t>(std::min(kvs_ElementsAtOnce, count)));
    for (std::int64_t done = 0; done < count;) {
      std::span<T> const some =
          std::span(values).first(static_cast<std::size_t>(std::min(kvs_ElementsAtOnce, count - done)));
      list.ReadInto(first + done, some);
      out.Write({reinterpret_cast<char const*>(some.data()), some.size_bytes()});
      done += std::ssize(some);
      bar.Show({done, count});
    }
  }
}

void DumpNpy(sto_InspectedList& list, kvs_Slice const& slice, std::string const& name, kvs_Output& out) {
  std::vector<std::int64_t> const row = list.Row();
  kvs_Slice::Range const range = ElementsOf(list, slice);
  sto_InspectedElements const none = list.Read(0, 0); // says the type
  std::visit(
      [&](auto const& values) {
        using Value = typename std::decay_t<decltype(values)>::value_type;
        if constexpr (NpyType<Value> == nullptr) {
          throw kvs_Error(kvs_Printable(name) + ": A list of " + list.TypeName() +
                          " cannot be an NPY file, which has numbers only. Use --csv.");
        } else {
          WriteNpyHeader(NpyType<Value>, range.m_Count / RowLength(row), row, out);
          WriteNpyNumbers<Value>(list, range.m_First, range.m_Count, out);
        }
      },
      none);
}

} // namespace

kvs_Status kvs_Dump(kvs_DumpOptions const& options, kvs_Output& out) {
  if (options.m_Format == kvs_DumpFormat::Npy && out.IsTerminal())
    throw kvs_Error("An NPY file is not for a terminal: give it a name with -o.");
  sto_Store store = kvs_OpenToRead(options.m_Store);
  sto_Inspection const inspection(store);
  if (options.m_Object.empty()) {
    if (options.m_Format != kvs_DumpFormat::Json)
      throw kvs_Error("Only an array can be dumped as CSV or NPY: name one.");
    DumpAll(inspection, store.Info().m_EndOfIds, options.m_Slice, out);
    return kvs_Status::Same;
  }
  kvs_Found const found = kvs_Find(store, inspection, options.m_Object);
  if (!found.m_Object)
    throw kvs_Error(kvs_Printable(options.m_Object) + ": It is a value. `kvlstore show` shows it.");
  if (options.m_Format == kvs_DumpFormat::Json) {
    JsonDump(inspection, options.m_Slice, out).Write(*found.m_Object, nullptr);
    return kvs_Status::Same;
  }
  sto_InspectedList list = kvs_ListOf(inspection, found);
  if (options.m_Format == kvs_DumpFormat::Csv)
    DumpCsv(list, options.m_Slice, out);
  else
    DumpNpy(list, options.m_Slice, options.m_Object, out);
  return kvs_Status::Same;
}
