#pragma once

#include <kvlpersist/describe/dsc_Wrappers.h>
#include <kvlpersist/errors/nex_Exception.h>
#include <kvlpersist/store/arrays/sto_Array.h>
#include <kvlpersist/store/inspect/sto_Inspection.h>
#include <kvlpersist/store/refs/sto_Find.h>
#include <kvlpersist/store/refs/sto_List.h>
#include <kvlpersist/store/refs/sto_Map.h>
#include <kvlpersist/store/sto_Store.h>

#include <array>
#include <complex>
#include <deque>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

// Reads all objects of a store through the classes of an emitted header, and compares each value with what an inspection
// shows, which knows nothing of these classes.

/// Compares values with fields that an inspection shows.
class EmitValues {
 public:
  explicit EmitValues(sto_Inspection const& inspection) : m_Inspection(inspection) {}

  template <class T> bool Same(T const& value, sto_InspectedField const& field) {
    if constexpr (std::is_enum_v<T>)
      return static_cast<std::int32_t>(value) == static_cast<std::int32_t>(Get<std::int64_t>(field));
    else if constexpr (std::is_same_v<T, bool>)
      return value == Get<bool>(field);
    else if constexpr (std::is_floating_point_v<T>)
      return SameElement(value, static_cast<T>(Get<double>(field)));
    else if constexpr (std::is_signed_v<T>)
      return value == Get<std::int64_t>(field);
    else
      return value == Get<std::uint64_t>(field);
  }
  bool Same(std::string const& value, sto_InspectedField const& field) {
    return value == Get<sto_InspectedText>(field).value_or("");
  }
  bool Same(atr_String const& value, sto_InspectedField const& field) {
    return value.CharsOrEmpty() == Get<sto_InspectedText>(field).value_or("");
  }
  template <class T> bool Same(std::optional<T> const& value, sto_InspectedField const& field) {
    return value.has_value() && Same(*value, field);
  }
  template <class T> bool Same(sto_Ref<T> const& value, sto_InspectedField const& field) {
    if (field.m_Kind == "missing object" || field.m_Kind == "deleted object") return true;
    std::int64_t const id = Id(field);
    if (id == 0) return !value;
    if (!value) return false;
    static_cast<void>(*value); // it can be loaded
    return value.Id() == id || value.Id() == m_PartOf[id];
  }
  bool Same(cls_xpString const&, sto_InspectedField const& field) { return field.m_Kind == "object"; }

  bool Same(std::vector<std::byte> const& value, sto_InspectedField const& field) {
    sto_InspectedBlob blob = m_Inspection.Blob(Id(field));
    std::vector<std::byte> bytes(static_cast<std::size_t>(blob.Size()));
    blob.Read(0, bytes);
    return value == bytes;
  }
  template <class T> bool Same(std::vector<T> const& value, sto_InspectedField const& field) {
    return SameSequence(value, field);
  }
  template <class T> bool Same(std::deque<T> const& value, sto_InspectedField const& field) {
    return SameSequence(value, field);
  }
  template <class T, std::size_t Count>
  bool Same(std::vector<std::array<T, Count>> const& value, sto_InspectedField const& field) {
    std::deque<T> flat;
    for (auto const& row : value) flat.insert(flat.end(), row.begin(), row.end());
    return SameSequence(flat, field);
  }
  template <class T> bool Same(sto_Array<T> const& value, sto_InspectedField const& field) {
    std::deque<T> all;
    for (long long i = 0; i < value.Size(); ++i) all.push_back(value.Get(i));
    return SameSequence(all, field);
  }
  template <class T> bool Same(cls_xp2DArray<T> const& value, sto_InspectedField const& field) {
    std::deque<T> all;
    for (int row = 0; row < value.Rows(); ++row)
      for (int column = 0; column < value.Cols(); ++column) all.push_back(value.ConstGet(row, column));
    return SameSequence(all, field);
  }

  bool Same(cls_xp2DArrayDouble const& value, sto_InspectedField const& field) {
    return Same(static_cast<cls_xp2DArray<double> const&>(value), field);
  }

  template <class K, class T> bool Same(std::map<K, T> const& value, sto_InspectedField const& field) {
    std::size_t count = 0;
    for (sto_InspectedMap map = m_Inspection.Map(Id(field)); map.Next(); ++count) {
      auto const found = value.find(Key<K>(map.Key()));
      sto_InspectedField entry;
      entry.m_Value = map.Value();
      if (found == value.end() || !Same(found->second, entry)) return false;
    }
    return count == value.size();
  }
  template <class K, class T> bool Same(sto_Map<K, T> const& value, sto_InspectedField const& field) {
    std::size_t count = 0;
    for (sto_InspectedMap map = m_Inspection.Map(Id(field)); map.Next(); ++count) {
      K const key = Key<K>(map.Key());
      if (!value.contains(key) || value.at(key).Id() != std::get<sto_InspectedId>(map.Value()).m_Id)
        return false;
    }
    return count == value.size();
  }
  template <class T> bool Same(sto_List<T> const& value, sto_InspectedField const& field) {
    sto_InspectedList list = m_Inspection.List(Id(field));
    if (static_cast<std::int64_t>(value.size()) != list.Count()) return false;
    auto const ids = std::get<std::vector<sto_InspectedId>>(list.Read(0, list.Count()));
    for (std::size_t i = 0; i < ids.size(); ++i)
      if (value[i].Id() != ids[i].m_Id) return false;
    return true;
  }

  /// A reference may name the part that an object has of a base class.
  void AddPart(std::int64_t part, std::int64_t object) { m_PartOf[part] = object; }

 private:
  template <class T> static T Get(sto_InspectedField const& field) { return std::get<T>(field.m_Value); }
  static std::int64_t Id(sto_InspectedField const& field) { return Get<sto_InspectedId>(field).m_Id; }

  template <class K> static K Key(sto_InspectedKey const& key) {
    if constexpr (std::is_same_v<K, std::string>)
      return std::get<sto_InspectedText>(key).value_or("");
    else
      return static_cast<K>(std::get<std::int64_t>(key));
  }

  template <class T> static bool SameElement(T const& a, T const& b) {
    return a == b || (a != a && b != b); // no number is one
  }
  static bool SameElement(std::string const& a, sto_InspectedText const& b) { return a == b.value_or(""); }

  template <class Sequence> bool SameSequence(Sequence const& value, sto_InspectedField const& field) {
    using T = typename Sequence::value_type;
    using Stored = std::conditional_t<
        std::is_same_v<T, std::string>, sto_InspectedText,
        std::conditional_t<std::is_same_v<T, long long>, std::int64_t,
                           std::conditional_t<std::is_same_v<T, unsigned long long>, std::uint64_t, T>>>;
    sto_InspectedList list = m_Inspection.List(Id(field));
    if (static_cast<std::int64_t>(value.size()) != list.Count()) return false;
    if (list.Count() == 0) return true;
    auto const elements = std::get<std::vector<Stored>>(list.Read(0, list.Count()));
    for (std::size_t i = 0; i < elements.size(); ++i)
      if constexpr (std::is_same_v<T, std::string>) {
        if (!SameElement(value[i], elements[i])) return false;
      } else {
        if (!SameElement(value[i], static_cast<T>(elements[i]))) return false;
      }
    return true;
  }

  sto_Inspection const& m_Inspection;
  std::map<std::int64_t, std::int64_t> m_PartOf;
};

/// What was read and compared.
struct EmitFigures {
  int m_Roots = 0;
  long long m_Objects = 0;
  long long m_Values = 0;
  int m_Problems = 0;
  std::set<std::string> m_Unread;

  void Problem(std::string const& text) {
    ++m_Problems;
    if (m_Problems <= 20) std::cout << "PROBLEM " << text << '\n';
  }
};

/// The visitor of Describe that compares what one class has in an object.
template <class T> class EmitPart {
 public:
  EmitPart(T const& object, sto_InspectedPart const& part, EmitValues& values, EmitFigures& figures)
      : m_Object(object), m_Part(part), m_Values(values), m_Figures(figures) {}

  template <class Name, class Member, class Owner, class... Options>
  void operator()(Name, Member Owner::*member, Options const&...) {
    std::string name(Name::View());
    constexpr bool IsTransient = dsc_Has<dsc_OptionKind::Transient, Options...>;
    constexpr std::string_view Suffix = "_before"; // of what the class has no attribute for today
    if (IsTransient) name.resize(name.size() - Suffix.size());
    m_Read.insert(name);
    m_Read.insert(name + ".more");
    for (sto_InspectedField const& field : m_Part.m_Fields)
      if (field.m_Name == name) {
        ++m_Figures.m_Values;
        if (!m_Values.Same(m_Object.*member, field))
          m_Figures.Problem(m_Part.m_ClassName + "." + name + " differs");
        return;
      }
    if constexpr (requires { (m_Object.*member).has_value(); })
      if ((m_Object.*member).has_value())
        m_Figures.Problem(m_Part.m_ClassName + "." + name + " is not stored");
  }
  template <class... Line> void operator()(Line const&...) {}

  void NoteUnread() {
    for (sto_InspectedField const& field : m_Part.m_Fields)
      if (!m_Read.contains(field.m_Name)) m_Figures.m_Unread.insert(m_Part.m_ClassName + "." + field.m_Name);
  }

 private:
  T const& m_Object;
  sto_InspectedPart const& m_Part;
  EmitValues& m_Values;
  EmitFigures& m_Figures;
  std::set<std::string> m_Read;
};

class EmitReader {
 public:
  EmitReader(sto_Store& store, sto_Inspection const& inspection)
      : m_Store(store), m_Inspection(inspection), m_Values(inspection) {
    for (sto_InspectedWalk walk = inspection.Objects(); walk.Next();)
      for (sto_InspectedPart const& part : inspection.Object(walk.Id()).m_Parts)
        m_Values.AddPart(part.m_Id, walk.Id());
  }

  template <class T> void ReadRoots() {
    for (sto_InspectedRoot const& root : m_Inspection.Roots()) {
      if (root.m_ClassId != T::TypeId()) continue;
      ++m_Figures.m_Roots;
      if (m_Store.LoadShared<T>(root.m_Name) == nullptr) m_Figures.Problem("root " + root.m_Name);
      static_cast<void>(*m_Store.Ref<T>(root.m_Name));
    }
  }

  template <class T> void ReadObjects() {
    long long count = 0;
    m_Store.ForEach<T>([&](sto_Ref<T> const& reference) {
      ++count;
      sto_InspectedObject const object = m_Inspection.Object(reference.Id());
      if (object.ClassId() == T::TypeId()) ++m_Figures.m_Objects;
      for (sto_InspectedPart const& part : object.m_Parts) {
        if (part.m_ClassId != T::TypeId()) continue;
        EmitPart<T> fields(*reference, part, m_Values, m_Figures);
        T::Describe(fields);
        fields.NoteUnread();
      }
    });
    long long expected = 0;
    for (sto_InspectedWalk walk = m_Inspection.ObjectsOf(T::TypeId()); walk.Next();)
      if (!m_Inspection.Object(walk.Id()).m_IsDeleted) ++expected;
    if (count != expected)
      m_Figures.Problem(std::to_string(count) + " objects instead of " + std::to_string(expected));
  }

  [[nodiscard]] EmitFigures const& Figures() const { return m_Figures; }

 private:
  sto_Store& m_Store;
  sto_Inspection const& m_Inspection;
  EmitValues m_Values;
  EmitFigures m_Figures;
};

/// The program: 0 if everything was read and is the same.
template <class... Classes> int EmitMain(int argc, char** argv, void (*declare)(cls_ClassRegistrar&)) {
  if (argc != 2) return 2;
  try {
    cls_ClassRegistrar const none;
    sto_Store plain = sto_Store::Open(argv[1], sto_Mode::ReadOnly, none);
    sto_Inspection const inspection(plain);
    cls_ClassRegistrar registrar;
    declare(registrar);
    sto_Store store = sto_Store::Open(argv[1], sto_Mode::ReadOnly, registrar);
    EmitReader reader(store, inspection);
    (reader.ReadRoots<Classes>(), ...);
    (reader.ReadObjects<Classes>(), ...);
    EmitFigures const& figures = reader.Figures();
    for (std::string const& name : figures.m_Unread) std::cout << "UNREAD " << name << '\n';
    std::cout << figures.m_Roots << " roots, " << figures.m_Objects << " objects, " << figures.m_Values
              << " values, " << figures.m_Problems << " problems\n";
    return figures.m_Problems == 0 ? 0 : 1;
  } catch (std::exception const& error) {
    std::cout << "PROBLEM " << error.what() << '\n';
    return 1;
  }
}
