#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "tests/support/store/StoreFaultDriver.h"

/// A driver that forwards to a real one, and notes what is read and written of blocks and objects.
class StoreRecordingDriver : public StoreFaultDriver {
 public:
  struct Notes {
    std::map<std::int64_t, std::size_t> m_WrittenBlocks;  // bytes by key
    std::map<std::int64_t, std::size_t> m_WrittenObjects; // bytes by id
    std::set<std::int64_t> m_ReadBlocks;                  // keys
    Plan m_Plan;

    void Clear() { *this = Notes(); }
    [[nodiscard]] std::size_t WrittenBytes() const {
      std::size_t bytes = 0;
      for (auto const& [key, size] : m_WrittenBlocks) bytes += size;
      for (auto const& [id, size] : m_WrittenObjects) bytes += size;
      return bytes;
    }
  };

  StoreRecordingDriver(std::unique_ptr<sto_Driver> real, Notes& notes)
      : StoreFaultDriver(std::move(real), notes.m_Plan), m_Notes(notes) {}

  bool WriteObject(std::int64_t id, std::int64_t shape, sto_ByteView values) override {
    bool const isChanged = StoreFaultDriver::WriteObject(id, shape, values);
    if (isChanged) m_Notes.m_WrittenObjects[id] += values.size();
    return isChanged;
  }
  bool ReadBlock(std::int64_t key, sto_Bytes& data) override {
    m_Notes.m_ReadBlocks.insert(key);
    return StoreFaultDriver::ReadBlock(key, data);
  }
  void ReadBlocks(std::span<sto_KeyRange const> ranges, sto_BlockSink& sink) override {
    struct Noting final : sto_BlockSink {
      Noting(Notes& notes, sto_BlockSink& sink) noexcept : m_Notes(notes), m_Sink(sink) {}
      bool Take(std::int64_t key, sto_ByteView data) override {
        m_Notes.m_ReadBlocks.insert(key);
        return m_Sink.Take(key, data);
      }
      Notes& m_Notes;
      sto_BlockSink& m_Sink;
    } noting(m_Notes, sink);
    StoreFaultDriver::ReadBlocks(ranges, noting);
  }
  void WriteBlock(std::int64_t key, sto_ByteView data) override {
    m_Notes.m_WrittenBlocks[key] += data.size();
    StoreFaultDriver::WriteBlock(key, data);
  }
  void WriteBlocks(std::int64_t first, std::span<sto_Bytes const> blocks) override {
    for (std::size_t i = 0; i < blocks.size(); ++i)
      m_Notes.m_WrittenBlocks[first + static_cast<std::int64_t>(i)] += blocks[i].size();
    StoreFaultDriver::WriteBlocks(first, blocks);
  }
  void OverwriteBlock(std::int64_t key, sto_ByteView data) override {
    m_Notes.m_WrittenBlocks[key] += data.size();
    StoreFaultDriver::OverwriteBlock(key, data);
  }

 private:
  Notes& m_Notes;
};
