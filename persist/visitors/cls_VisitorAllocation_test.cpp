#include <gtest/gtest.h>

#include <new>
#include <optional>

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "tests/support/AllocationProbe.h"
#include "tests/support/HeapCount.h"
#include "tests/support/backend/RecordingBackEnd.h"

// Visitors and handles are made at each access to a field, so making them must not touch the heap: neither
// operator new nor the library's own allocator.

namespace {

/// How many allocations of either kind an action makes.
template <class Action> long long Allocations(Action action) {
  AllocationProbe const probe;
  long long const before = HeapCount();
  action();
  return HeapCount() - before + probe.Count();
}

class VisitorAllocation : public ::testing::Test {
 protected:
  VisitorAllocation() { m_Recorder.KeepAll(); }

  Recorder m_Recorder;
  RecordingMementoWrite m_Writer{m_Recorder};
  RecordingMementoRead m_Reader{m_Recorder};
  cow_String m_Counted{"a name that is counted and not a literal"};
};

} // namespace

TEST_F(VisitorAllocation, ProbeSeesBothKinds) {
  EXPECT_EQ(Allocations([] { ::operator delete(::operator new(8)); }), 1);
  EXPECT_GE(Allocations([] { cow_String const text("counted"); }), 1);
}

TEST_F(VisitorAllocation, FieldHandleAllocatesNothing) {
  EXPECT_EQ(Allocations([&] {
              cls_FieldHandle const literal(0, "m_Name"_cow);
              cls_FieldHandle const counted(0, m_Counted);
              cls_FieldHandle const copy(counted); // NOLINT(performance-unnecessary-copy-initialization)
            }),
            0);
}

TEST_F(VisitorAllocation, WriteVisitorAllocatesNothing) {
  cls_FieldHandle const field(0, m_Counted);
  cls_WriteVisitor const parent(&m_Writer);
  RecordingListObjWriter list(m_Recorder);
  cls_WriteRequestListObj const request(&list);
  EXPECT_EQ(Allocations([&] {
              cls_WriteVisitor const ofField(parent, field, nullptr, &list);
              cls_WriteVisitor const ofBase(parent, 0x990001U);
              cls_WriteVisitor const ofElement(request, &list);
            }),
            0);
}

TEST_F(VisitorAllocation, ReadVisitorAllocatesNothing) {
  std::optional<cls_ReadVisitor> visitor;
  EXPECT_EQ(Allocations([&] { visitor.emplace(&m_Reader); }), 0);
}
