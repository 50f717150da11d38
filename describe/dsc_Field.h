#pragma once

#include "describe/dsc_Blobs.h"
#include "describe/dsc_Lists.h"
#include "describe/dsc_Maps.h"
#include "describe/dsc_Options.h"
#include "describe/dsc_Pointers.h"
#include "describe/dsc_Scalars.h"
#include "describe/dsc_Values.h"

template <class Member, class... Options> struct dsc_FieldValueOf { using Type = Member; };
template <class Member, class First, class... More>
struct dsc_FieldValueOf<Member, First, More...> : dsc_FieldValueOf<Member, More...> {};
template <class Member, class Stored, class To, class From, class... More>
struct dsc_FieldValueOf<Member, dsc_Conversion<Stored, To, From>, More...> {
  using Type = Stored;
};

/// The type that a field is stored as: that of kvl::As, or the member's.
template <class Member, class... Options>
using dsc_FieldValue = typename dsc_FieldValueOf<Member, Options...>::Type;
