#include "tools/kvlstore/emit/kvs_EmitCpp.h"

#include <algorithm>
#include <limits>

#include "tools/kvlstore/emit/kvs_CppType.h"
#include "tools/kvlstore/emit/kvs_EmitText.h"

namespace {

constexpr std::size_t RootsShown = 20;
constexpr kvs_Language Cpp{kvs_IsTakenInCpp, false};

std::string Joined(std::vector<std::string> const& texts, char const* separator) {
  std::string all;
  for (std::string const& text : texts) all.append(all.empty() ? "" : separator).append(text);
  return all;
}

/// One class of the header.
class ClassWriter {
 public:
  ClassWriter(kvs_EmitPlan const& plan, kvs_PlannedClass const& planned, std::ostream& out)
      : m_Plan(plan), m_Planned(planned), m_Out(out) {}

  void Write() {
    Comment();
    std::string const base = Base();
    m_Out << "class " << m_Planned.m_Identifier << (base.empty() ? "" : " : public " + base)
          << " {\n public:\n"
          << "  KVL_PERSISTED(" << m_Planned.m_Identifier << ", " << (base.empty() ? "" : base + ", ")
          << kvs_ClassIdText(Id()) << ", " << kvs_CppLiteral(m_Planned.m_StoredName) << ", "
          << m_Planned.m_Version << ")\n";
    Describe();
    m_Out << "\n  " << m_Planned.m_Identifier << "() = default;\n";
    for (kvs_Member const& member : m_Planned.m_Members)
      if (member.m_Shape.m_Form == kvs_Form::Enum) Enumeration(member);
    if (!m_Planned.m_Members.empty()) m_Out << '\n';
    for (kvs_Member const& member : m_Planned.m_Members) Declaration(member);
    TakeFunctions();
    m_Out << "};\n";
  }

 private:
  [[nodiscard]] unsigned int Id() const { return m_Planned.m_Class->m_Id; }

  [[nodiscard]] std::string Base() const {
    if (kvs_PlannedClass const* const base = m_Plan.Find(m_Planned.m_BaseId)) return base->m_Identifier;
    return m_Planned.m_IsBase ? "kvl::Polymorphic" : "";
  }

  void Comment() {
    kvs_EmitClass const& from = *m_Planned.m_Class;
    m_Out << "\n/// Class " << kvs_ClassIdText(Id()) << " \"" << kvs_CommentText(from.Newest().m_Name)
          << "\", version " << from.Newest().m_Version << " in the store: " << from.m_Objects
          << (from.m_Objects == 1 ? " object.\n" : " objects.\n");
    if (!m_Planned.m_WhyRaised.empty())
      m_Out << "/// Here it is version " << m_Planned.m_Version << ", because "
            << kvs_CommentText(m_Planned.m_WhyRaised)
            << ".\n/// What is saved with it is not read by the program of the store.\n";
    for (sto_NoteDescription const& note : from.Newest().m_Notes)
      m_Out << "/// " << kvs_CommentText(note.m_Name) << ": " << kvs_CommentText(note.m_Text) << '\n';
    for (kvs_LeftOut const& left : m_Planned.m_LeftOut)
      m_Out << "/// Left out: " << kvs_CommentText(left.m_Name) << ", " << kvs_CommentText(left.m_Why)
            << ".\n";
  }

  // --- Describe

  void Describe() {
    std::vector<std::string> const lines = Lines();
    if (lines.empty()) {
      m_Out << "  static constexpr void Describe(auto& /*field*/) {}\n";
      return;
    }
    m_Out << "  static constexpr void Describe(auto& field) {\n";
    bool const hasLiterals = std::ranges::any_of(
        lines, [](std::string const& line) { return line.find("_field") != std::string::npos; });
    if (hasLiterals) m_Out << "    using namespace kvl;\n";
    for (std::string const& line : lines) m_Out << "    field(" << line << ");\n";
    m_Out << "  }\n";
  }

  [[nodiscard]] std::vector<std::string> Lines() const {
    std::vector<std::string> lines;
    for (std::string const& name : m_Planned.m_EarlierNames)
      lines.push_back("kvl::ClassWas(" + kvs_CppLiteral(name) + ")");
    for (unsigned int const base : m_Planned.m_EarlierBases)
      if (std::string const name = EarlierBase(base); !name.empty())
        lines.push_back("kvl::BaseWas<" + name + ">()");
    for (kvs_Member const& member : m_Planned.m_Members)
      if (!member.m_IsDropped) lines.push_back(Field(member) + Options(member));
    for (kvs_Member const& member : m_Planned.m_Members)
      if (member.m_IsDropped) {
        lines.push_back(kvs_CppLiteral(member.m_Attribute.m_Name) + "_field, kvl::Dropped(&kvl_Self::Take_" +
                        member.m_Identifier + ")");
        lines.push_back("KVL_F(" + member.m_Identifier + "), kvl::Transient()");
      }
    return lines;
  }

  [[nodiscard]] std::string EarlierBase(unsigned int base) const {
    if (base == 1) return "kvl::NoBase";
    kvs_PlannedClass const* const planned = m_Plan.Find(base);
    return planned == nullptr ? "" : planned->m_Identifier;
  }

  [[nodiscard]] static std::string Field(kvs_Member const& member) {
    std::string const& name = member.m_Attribute.m_Name;
    if (name == member.m_Identifier) return "KVL_F(" + name + ")";
    return kvs_CppLiteral(name) + "_field, &kvl_Self::" + member.m_Identifier;
  }

  [[nodiscard]] static std::string Options(kvs_Member const& member) {
    std::string options;
    if (member.m_Since != 0) options += ", kvl::Since(" + std::to_string(member.m_Since) + ")";
    bool const hasUnit = !member.m_Attribute.m_Unit.empty() && member.m_OtherUnits.empty();
    if (hasUnit && kvs_HasUnit(member.m_Shape))
      options += ", kvl::Unit(" + kvs_CppLiteral(member.m_Attribute.m_Unit) + ")";
    return options;
  }

  // --- members

  void Enumeration(kvs_Member const& member) {
    constexpr std::int64_t MaxInt = std::numeric_limits<std::int32_t>::max();
    constexpr std::int64_t MinInt = std::numeric_limits<std::int32_t>::min();
    auto const& all = member.m_Attribute.m_Enumerators;
    bool const isUnsigned = std::ranges::none_of(all, [](auto const& each) { return each.m_Value < 0; }) &&
                            std::ranges::any_of(all, [](auto const& each) { return each.m_Value > MaxInt; });
    std::int64_t const greatest = isUnsigned ? std::numeric_limits<std::uint32_t>::max() : MaxInt;
    m_Out << "\n  enum class " << member.m_EnumIdentifier << " : " << (isUnsigned ? "unsigned int" : "int")
          << " {";
    if (all.empty()) {
      m_Out << "}; // the store does not name the values\n";
      return;
    }
    m_Out << '\n';
    kvs_NameScope scope(Cpp);
    std::vector<sto_EnumeratorDescription> sorted = all;
    std::ranges::stable_sort(sorted, {}, &sto_EnumeratorDescription::m_Value);
    for (sto_EnumeratorDescription const& each : sorted) {
      std::string const identifier = scope.Take(each.m_Name);
      bool const fits = each.m_Value >= MinInt && each.m_Value <= greatest;
      m_Out << "    " << (fits ? "" : "// no room: ") << identifier << " = " << each.m_Value << ',';
      if (identifier != each.m_Name) m_Out << " // \"" << kvs_CommentText(each.m_Name) << '"';
      m_Out << '\n';
    }
    m_Out << "  };\n";
  }

  void Declaration(kvs_Member const& member) {
    for (sto_NoteDescription const& note : member.m_Attribute.m_Notes)
      m_Out << "  /// " << kvs_CommentText(note.m_Name) << ": " << kvs_CommentText(note.m_Text) << '\n';
    std::string const type = kvs_CppType(m_Plan, m_Planned, member);
    m_Out << "  " << (member.m_IsOptional ? "std::optional<" + type + ">" : type) << ' '
          << member.m_Identifier << kvs_CppInitialiser(member) << ';';
    if (std::string const remark = Remark(member); !remark.empty()) m_Out << " // " << remark;
    m_Out << '\n';
  }

  [[nodiscard]] static std::string Remark(kvs_Member const& member) {
    std::vector<std::string> remarks;
    kvs_Attribute const& stored = member.m_Attribute;
    if (!member.m_OtherUnits.empty())
      remarks.push_back("not in one unit: " + kvs_CommentText(member.m_OtherUnits));
    else if (!stored.m_Unit.empty())
      remarks.push_back("[" + kvs_CommentText(stored.m_Unit) + "]");
    if (member.m_IsDropped)
      remarks.push_back(kvs_CommentText(stored.m_Name) + " of " + member.m_Versions + " only");
    if (!member.m_Shape.m_Why.empty()) remarks.push_back(member.m_Shape.m_Why);
    return Joined(remarks, "; ");
  }

  void TakeFunctions() {
    bool isFirst = true;
    for (kvs_Member const& member : m_Planned.m_Members) {
      if (!member.m_IsDropped) continue;
      bool const isNumber =
          member.m_Shape.m_Form == kvs_Form::Value && member.m_Shape.m_Element != ATTR_STRING;
      m_Out << (isFirst ? "\n private:\n" : "") << "  void Take_" << member.m_Identifier << '('
            << kvs_CppType(m_Plan, m_Planned, member) << " value) { " << member.m_Identifier
            << (isNumber ? " = value; }\n" : " = std::move(value); }\n");
      isFirst = false;
    }
  }

  kvs_EmitPlan const& m_Plan;
  kvs_PlannedClass const& m_Planned;
  std::ostream& m_Out;
};

class HeaderWriter {
 public:
  HeaderWriter(kvs_EmitModel const& model, std::ostream& out)
      : m_Model(model), m_Plan(kvs_MakePlan(model, Cpp)), m_Out(out),
        m_Namespace(NamespaceOf(model.m_Store)) {}

  void Write() {
    Comment();
    m_Out << "#pragma once\n\n";
    Includes();
    m_Out << "\nnamespace " << m_Namespace << " {\n";
    ForwardDeclarations();
    for (kvs_PlannedClass const& planned : m_Plan.m_Classes) ClassWriter(m_Plan, planned, m_Out).Write();
    DeclareFunction();
    m_Out << "\n} // namespace " << m_Namespace << '\n';
  }

 private:
  /// "plate" for "plate.kvs"
  static std::string NamespaceOf(std::string_view store) {
    kvs_NameScope scope(Cpp);
    return scope.Take(store.substr(0, store.rfind('.')));
  }

  void Comment() {
    m_Out << "// The classes of the store \"" << kvs_CommentText(m_Model.m_Store)
          << "\", made by kvlstore.\n//\n"
          << "//     cls_ClassRegistrar registrar;\n//     " << m_Namespace
          << "::DeclareClasses(registrar);\n"
          << "//     sto_Store store = sto_Store::Open(file, sto_Mode::ReadOnly, registrar);\n";
    for (sto_InspectedRoot const& root : m_Model.m_Roots)
      if (kvs_PlannedClass const* const planned = m_Plan.Find(root.m_ClassId)) {
        std::string const type = m_Namespace + "::" + planned->m_Identifier;
        m_Out << "//     sto_Ref<" << type << "> const root = store.Ref<" << type << ">(\""
              << kvs_CommentText(root.m_Name) << "\");\n";
        break;
      }
    m_Out
        << "//\n// Objects are loaded when they are asked for, also those of older versions of their classes.\n";
    Roots();
    m_Out << '\n';
  }

  void Roots() {
    if (m_Model.m_Roots.empty()) return;
    m_Out << "//\n// Roots:\n";
    for (std::size_t i = 0; i < std::min(RootsShown, m_Model.m_Roots.size()); ++i) {
      sto_InspectedRoot const& root = m_Model.m_Roots[i];
      m_Out << "//     \"" << kvs_CommentText(root.m_Name) << "\": " << kvs_CommentText(root.m_ClassName)
            << '\n';
    }
    if (m_Model.m_Roots.size() > RootsShown)
      m_Out << "//     and " << m_Model.m_Roots.size() - RootsShown << " more\n";
  }

  void Includes() {
    std::set<std::string> headers{"describe/dsc_Described.h", "store/refs/sto_Ref.h", "store/sto_Store.h"};
    for (kvs_PlannedClass const& planned : m_Plan.m_Classes)
      for (kvs_Member const& member : planned.m_Members) headers.merge(kvs_CppHeaders(member));
    for (std::string const& header : headers)
      if (header.front() != '<') m_Out << "#include <kvlpersist/" << header << ">\n";
    bool isFirst = true;
    for (std::string const& header : headers) {
      if (header.front() != '<') continue;
      m_Out << (isFirst ? "\n" : "") << "#include " << header << '\n';
      isFirst = false;
    }
  }

  /// Classes that are named before they are defined.
  void ForwardDeclarations() {
    std::set<std::string> named;
    std::set<unsigned int> defined;
    for (kvs_PlannedClass const& planned : m_Plan.m_Classes) {
      defined.insert(planned.m_Class->m_Id);
      auto const name = [&](unsigned int id) {
        if (kvs_PlannedClass const* const target = m_Plan.Find(id); target && !defined.contains(id))
          named.insert(target->m_Identifier);
      };
      for (kvs_Member const& member : planned.m_Members) name(member.m_Shape.m_Target);
      for (unsigned int const base : planned.m_EarlierBases) name(base);
    }
    if (!named.empty()) m_Out << '\n';
    for (std::string const& each : named) m_Out << "class " << each << ";\n";
  }

  void DeclareFunction() {
    m_Out << "\n/// Declares all of these classes.\ninline void DeclareClasses(cls_ClassRegistrar& "
          << (m_Plan.m_Classes.empty() ? "/*registrar*/" : "registrar") << ") {\n";
    for (kvs_PlannedClass const& planned : m_Plan.m_Classes) {
      m_Out << "  " << planned.m_Identifier << "::Declare(registrar);\n";
      for (std::string const& said : Said(planned))
        m_Out << "  registrar.ChangesOf(" << planned.m_Identifier << "::TypeId())." << said << ";\n";
    }
    m_Out << "}\n";
  }

  /// What Describe has no line for.
  [[nodiscard]] std::vector<std::string> Said(kvs_PlannedClass const& planned) const {
    std::vector<std::string> all;
    for (kvs_LeftOut const& left : planned.m_LeftOut)
      all.push_back("Dropped(" + kvs_CppLiteral(left.m_Name) + ")");
    for (kvs_Member const& member : planned.m_Members)
      if (member.m_MayBeMissing)
        all.push_back("MayBeMissing(" + kvs_CppLiteral(member.m_Attribute.m_Name) + ")");
    for (unsigned int const base : planned.m_EarlierBases)
      if (base != 1 && m_Plan.Find(base) == nullptr) all.push_back("BaseWas(" + kvs_ClassIdText(base) + ")");
    return all;
  }

  kvs_EmitModel const& m_Model;
  kvs_EmitPlan m_Plan;
  std::ostream& m_Out;
  std::string m_Namespace;
};

} // namespace

void kvs_EmitCpp(kvs_EmitModel const& model, std::ostream& out) {
  HeaderWriter(model, out).Write();
}
