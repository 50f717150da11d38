#pragma once

#include <string>
#include <type_traits>

#include "describe/dsc_Base.h"
#include "describe/dsc_Field.h"
#include "describe/dsc_LeadsTo.h"

/// The visitor of Describe that writes an object's fields.
template <class T> class dsc_FieldWriter {
 public:
  dsc_FieldWriter(T const& object, dsc_Out const& out) noexcept : m_Object(object), m_Out(out) {}

  template <class Name, class Member, class Owner, class... Options>
  void operator()(Name, Member Owner::*member, Options const&... options) {
    if constexpr (!dsc_Has<dsc_OptionKind::Transient, Options...>) {
      using Value = dsc_FieldValue<Member, Options...>;
      if constexpr (dsc_Has<dsc_OptionKind::Among, Options...>)
        Check<Name>(m_Object.*member, dsc_Get<dsc_OptionKind::Among>(options...));
      if constexpr (dsc_Has<dsc_OptionKind::As, Options...>) {
        WriteTemporary<Name, Value>(dsc_Get<dsc_OptionKind::As>(options...).m_ToStored(m_Object.*member));
      } else {
        dsc_Stored<Value>::template Write<Name>(m_Out, m_At, m_Object.*member);
      }
      m_At = m_At.Plus(dsc_Stored<Value>::Fields, dsc_Stored<Value>::Collections);
    }
  }

  template <class Name, class Value> void operator()(Name, dsc_DroppedField<T, Value> const&) {}
  template <class Base> void operator()(kvl::BaseWas<Base> const&) {}
  void operator()(kvl::ClassWas const&) {}

 private:
  template <class Name, class Value> void WriteTemporary(Value const& value) {
    if constexpr (dsc_LeadsTo<Value>() || dsc_IsPersisted<Value>) {
      cls_WriteAtOnce const atOnce(m_Out.m_Visitor.Memento());
      dsc_Stored<Value>::template Write<Name>(m_Out, m_At, value);
    } else {
      dsc_Stored<Value>::template Write<Name>(m_Out, m_At, value);
    }
  }
  /// What a load would refuse is not saved.
  template <class Name, class Member, class Value>
  void Check(Member const& member, kvl::Among<Value> const& among) {
    if (among.Has(member) || (among.HasElse() && among.ElseValue() == member)) return;
    if constexpr (std::is_enum_v<Member>)
      dsc_RaiseUnsaved(m_Out.m_Class, Name::View(), std::to_string(static_cast<long long>(member)));
    else if constexpr (std::is_arithmetic_v<Member>)
      dsc_RaiseUnsaved(m_Out.m_Class, Name::View(), std::to_string(member));
    else
      dsc_RaiseUnsaved(m_Out.m_Class, Name::View(), "that it has");
  }

  T const& m_Object;
  dsc_Out const& m_Out;
  dsc_Place m_At;
};
