#include "examples/failures/fail_TypeTable.h"

#include "examples/failures/fail_Element.h"
#include "platform/typ/typ_ArchCompTable.h"

#include <iterator>

namespace {

constexpr unsigned int NoParent = typ_ArchCompTable::NoParent;
constexpr unsigned int ClassKind = 4;

// Indexed by ordinal, the low half of the type ID. The type table keeps the pointer.
constexpr typ_ArchCompEntry Entries[] = {
    {0, NoParent, nullptr},
    {ClassKind, NoParent, "fail_Element"},
    {ClassKind, fail_Element::TypeId(), "fail_Bar"},
    {ClassKind, fail_Element::TypeId(), "fail_Spring"},
    {ClassKind, NoParent, "fail_AnalysisModel"},
};

} // namespace

void fail_TypeTable::InsertEntries() {
  typ_ArchCompTable::InsertEntry(Component, Entries, std::size(Entries));
}
