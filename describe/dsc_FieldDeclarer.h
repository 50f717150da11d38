#pragma once

#include "describe/dsc_AttributeList.h"
#include "describe/dsc_Base.h"
#include "describe/dsc_Coverage.h"
#include "describe/dsc_Field.h"
#include "metadata/cls_ClassRegistrar.h"

/// Declares what a class described by hand declares in its own function, if it has one.
template <class T> void dsc_DeclareIfItCan(cls_ClassRegistrar& registrar) {
  if constexpr (requires { T::Declare(registrar); }) T::Declare(registrar);
}

/// The visitor of Describe that declares a class's attributes, with what the options say about them, and the
/// classes of the objects that its members hold.
template <class T> class dsc_FieldDeclarer {
 public:
  dsc_FieldDeclarer(cls_ClassRegistrar& registrar, cls_ClassMetadata& metadata, dsc_Coverage& coverage)
      : m_Registrar(registrar), m_Metadata(metadata), m_Coverage(coverage) {}

  template <class Name, class Member, class Owner, class... Options>
  void operator()(Name, Member Owner::*member, Options const&... options) {
    m_Coverage.Add(dsc_OffsetIn<T>([member](T const& object) { return &(object.*member); }), sizeof(Member),
                   alignof(Member));
    if constexpr (!dsc_Has<dsc_OptionKind::Transient, Options...>) {
      using Stored = dsc_Stored<dsc_FieldValue<Member, Options...>>;
      dsc_Declaring const to{m_Registrar, m_Metadata, false, dsc_UnitOf(options...)};
      Stored::template Declare<Name>(to, m_At);
      if constexpr (dsc_Has<dsc_OptionKind::Unit, Options...>) dsc_CheckUnit(to, Name::View());
      m_At = m_At.Plus(Stored::Fields, Stored::Collections);
      DeclareHeld<Stored>();
      (Note<Name, Stored>(options), ...);
    }
  }

  template <class Name, class Value> void operator()(Name, dsc_DroppedField<T, Value> const&) {
    using Stored = dsc_Stored<std::remove_cvref_t<Value>>;
    dsc_AttributeList list(m_Metadata.Name().CharsOrEmpty());
    Stored::template Declare<Name>(list.To(), dsc_Place{});
    for (cls_AttributeMetadata const& attribute : list.InOrder())
      Changes().Dropped(attribute.m_Name.View(), attribute.m_Type, attribute.m_CollectionType,
                        list.UnitOf(attribute.m_Name.View()));
    DeclareHeld<Stored>();
  }
  template <class Base> void operator()(kvl::BaseWas<Base> const&) {
    Changes().BaseWas(dsc_BaseClassId<Base>());
  }
  void operator()(kvl::ClassWas const& was) { Changes().ClassWas(was.m_Name); }

 private:
  template <class Stored> void DeclareHeld() {
    auto const declare = [this]<class Object>() { dsc_DeclareIfItCan<Object>(m_Registrar); };
    if constexpr (requires { Stored::DeclareHeld(declare); }) Stored::DeclareHeld(declare);
  }

  cls_ClassNotes& Notes() { return m_Registrar.NotesOf(m_Metadata.ClassId(), m_Metadata.Version()); }
  cls_ClassChanges& Changes() { return m_Registrar.ChangesOf(m_Metadata.ClassId()); }

  /// The attributes of a field under a name that it has today, or had earlier.
  template <class Stored, class Name> [[nodiscard]] std::vector<cls_AttributeMetadata> AttributesOf() const {
    return dsc_AttributesOf<Stored, Name>(m_Metadata.Name().CharsOrEmpty());
  }

  template <class Name, class Stored, class Option> void Note(Option const& option) {
    constexpr dsc_OptionKind Kind = dsc_KindOf<Option>;
    if constexpr (Kind == dsc_OptionKind::Since) {
      for (cls_AttributeMetadata const& attribute : AttributesOf<Stored, Name>())
        Changes().Since(attribute.m_Name.View(), option.m_Version);
    } else if constexpr (Kind == dsc_OptionKind::Was) {
      NoteNames<Name, Stored>(option);
    } else if constexpr (Kind == dsc_OptionKind::Indexed) {
      Notes().Index(Name::View());
    } else if constexpr (Kind == dsc_OptionKind::Note) {
      for (cls_AttributeMetadata const& attribute : AttributesOf<Stored, Name>())
        Notes().Note(attribute.m_Name.View(), option.m_Name, option.m_Text);
    }
  }
  template <class Name, class Stored, cow_LiteralChars... Names> void NoteNames(kvl::Was<Names...> const&) {
    (NoteName(AttributesOf<Stored, Name>(), AttributesOf<Stored, dsc_Name<Names>>()), ...);
  }
  void NoteName(std::vector<cls_AttributeMetadata> const& today,
                std::vector<cls_AttributeMetadata> const& earlier) {
    for (std::size_t i = 0; i < today.size(); ++i)
      Changes().Was(today[i].m_Name.View(), earlier[i].m_Name.View());
  }

  cls_ClassRegistrar& m_Registrar;
  cls_ClassMetadata& m_Metadata;
  dsc_Coverage& m_Coverage;
  dsc_Place m_At;
};
