#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/store/StoreFaultDriver.h"

/// A driver that forwards to a real one and counts the round trips that the calls would take over a network. A call
/// that returns something is one. Calls that only write need no answer: all of them are sent with the commit, which
/// is one. A transaction that has written nothing is ended without an answer.
class StoreCountingDriver : public StoreFaultDriver {
 public:
  struct Counts {
    int m_RoundTrips = 0;
    std::map<std::string, int> m_Calls;    // those that are counted
    std::map<std::int64_t, int> m_Reads;   // how often the record of an object was requested
    std::vector<std::size_t> m_Windows;    // how many records each ReadObjects has requested
    std::size_t m_Window = NetworkRecords; // what RecordsAhead answers from the next connection on
    bool m_ReadObjectsFails = false;       // raises Unavailable

    void Clear() {
      m_RoundTrips = 0;
      m_Calls.clear();
      m_Reads.clear();
      m_Windows.clear();
    }
  };

  StoreCountingDriver(std::unique_ptr<sto_Driver> real, Counts& counts)
      : StoreFaultDriver(std::move(real), m_NoFault), m_Counts(counts), m_Window(counts.m_Window) {}

  [[nodiscard]] std::size_t RecordsAhead() const noexcept override { return m_Window; }

  bool ReadObject(std::int64_t id, sto_StoredRecord& record) override {
    ++m_Counts.m_Reads[id];
    return StoreFaultDriver::ReadObject(id, record);
  }
  void ReadObjects(std::span<std::int64_t const> ids, sto_ObjectSink& sink) override {
    std::int64_t before = 0;
    for (std::int64_t const id : ids) {
      EXPECT_LT(before, id); // ascending, each once
      ++m_Counts.m_Reads[before = id];
    }
    m_Counts.m_Windows.push_back(ids.size());
    if (m_Counts.m_ReadObjectsFails) sto_Raise(sto_ErrorKind::Unavailable, Message);
    StoreFaultDriver::ReadObjects(ids, sink);
  }

 protected:
  void Step(char const* call) override {
    static std::set<std::string> const marks{"SetMark", "ReleaseMark"};
    static std::set<std::string> const writes{
        "SetNote",     "SetIdsUsed",     "WriteClass",      "AddEnumerator",    "WriteNote",
        "AddName",     "AddShape",       "WriteObject",     "DeleteObject",     "WriteBlock",
        "WriteBlocks", "OverwriteBlock", "DeleteBlocks",    "SetRoot",          "AddIndex",
        "DropIndex",   "AddToIndex",     "RemoveFromIndex", "RemoveFromIndexes"};
    std::string const name = call;
    if (name == "Begin") m_HasWritten = false;
    if (writes.contains(name)) m_HasWritten = true;
    bool const needsAnswer =
        name == "Commit" ? m_HasWritten : !writes.contains(name) && !marks.contains(name);
    if (!needsAnswer) return;
    ++m_Counts.m_RoundTrips;
    ++m_Counts.m_Calls[name];
  }

 private:
  Plan m_NoFault;
  Counts& m_Counts;
  std::size_t m_Window;
  bool m_HasWritten = false; // in the open transaction
};
