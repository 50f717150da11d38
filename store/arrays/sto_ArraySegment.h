#pragma once

#include <algorithm>
#include <utility>

#include "collections/cls_ArrayPrim.h"
#include "describe/dsc_Lists.h"
#include "persist/backend/cls_ShapedList.h"
#include "store/arrays/sto_ArrayErrors.h"
#include "store/arrays/sto_ArrayHome.h"

/// One list of an array. It knows its store, never shows elements that are not there, and frees its blocks. P: a type
/// that cls_ArrayPrim has. Internal to store/arrays. Thread rule: the thread of the store.
///
/// In memory it has all its blocks; in a store at most one, or those with changes that were undone.
template <class P> class sto_ArraySegment final : public cls_ArrayPrim<P> {
 public:
  using Base = cls_ArrayPrim<P>;
  using Buffer = typename Base::Buffer;

  sto_ArraySegment() = default;
  explicit sto_ArraySegment(cls_ReadVisitor const& visitor) : Base(visitor) {
    m_Home.Take(*visitor.Memento());
  }
  sto_ArraySegment(sto_ArraySegment const&) = delete;
  sto_ArraySegment& operator=(sto_ArraySegment const&) = delete;

  /// Writes its changes. A failure is raised by the store's next operation.
  ~sto_ArraySegment() override {
    try {
      if (this->IsAssociated() && HasChanges()) this->Flush();
    } catch (...) {
      m_Home.KeepFailure();
    }
    Base::Detach();
    this->DropBlocks();
  }

  void Detach() override {
    m_Home.NoteDetached();
    Base::Detach();
  }

  /// Stores the list with its shape, if it is not in the store yet.
  void Save(cls_WriteVisitor const& visitor, cls_ListShape const& shape) const {
    m_Home.CheckOpen();
    if (visitor.StartWrite(Base::TypeId(), this->Uid()) == 0) return;
    visitor.CheckCollectionType(dsc_ListCode<P>);
    if (visitor.Memento() == nullptr) return;
    if (!this->IsAssociated()) m_Home.Take(*visitor.Memento());
    this->DBWriteBody(visitor);
    if (cls_ShapedList* const list = cls_ShapedList::Of(this->Agent())) list->SetShape(shape);
  }

  [[nodiscard]] cls_ListShape Shape() const {
    cls_ShapedList* const list = cls_ShapedList::Of(this->Agent());
    return list == nullptr ? cls_ListShape() : list->Shape();
  }

  /// Conflict if another session has made the list longer. REQUIRES: an open transaction, and that the list is stored.
  void CheckLength() const {
    int const known = this->Size();
    P last{};
    static_cast<void>(this->Agent()->ReadRun(std::max(0, known - 1), 1, &last)); // makes it look at the store
    if (this->Agent()->Count() > known) sto_RaiseArrayGrown(m_Home);
  }

  [[nodiscard]] sto_ArrayHome const& Home() const noexcept { return m_Home; }

  /// Adds elements at the end; all of them, or none if it raises.
  void Append(P const* values, int count) {
    CheckUsable();
    int const first = this->Size();
    try {
      if (!this->IsAssociated() || IsInBegunBlock(first, count))
        Fill(values, count);
      else
        m_Home.InTransaction([&] {
          Fill(values, count);
          this->Flush(); // rows that go on in the next block are stored whole
        });
    } catch (...) {
      this->SetLength(std::min(first, this->Size())); // smaller if the open transaction was rolled back
      throw;
    }
  }

  /// Copies elements. REQUIRES: they are in 0 .. Size().
  void Read(int first, int count, P* destination) const {
    m_Home.CheckOpen();
    if (!this->IsAssociated()) return CopyResident(first, count, destination);
    if (IsInOneBlock(first, count) && !HasOtherChanges(first)) return CopyResident(first, count, destination);
    ReadStored(first, count, destination);
  }

  /// Overwrites elements; all of them, or none if it raises. REQUIRES: they are in 0 .. Size().
  void Write(int first, int count, P const* values) {
    CheckUsable();
    if (!this->IsAssociated() || IsInOneBlock(first, count)) return Overwrite(first, count, values);
    m_Home.InTransaction([&] {
      this->Release(); // the elements go past the blocks in memory
      this->Agent()->WriteRun(first, count, values);
    });
  }

 private:
  /// Unavailable if the store was closed, or the list was made in work that was undone. ReadOnly.
  void CheckUsable() const {
    m_Home.CheckOpen();
    if (!this->IsAssociated()) return;
    static_cast<void>(this->Agent()->Count());
    if (this->Agent()->ReadOnly()) sto_RaiseArrayReadOnly(m_Home);
  }
  [[nodiscard]] static bool IsInOneBlock(int first, int count) noexcept {
    return (first & Buffer::SlotMask) + count <= Buffer::ElementCount;
  }
  [[nodiscard]] static bool IsInBegunBlock(int first, int count) noexcept {
    return (first & Buffer::SlotMask) != 0 && IsInOneBlock(first, count);
  }

  void Fill(P const* values, int count) {
    while (count > 0) {
      int const offset = this->Size() & Buffer::SlotMask;
      if (offset == 0 && count >= Buffer::ElementCount && this->IsAssociated()) {
        int const whole = count & ~Buffer::SlotMask;
        this->Release();
        this->AppendBlock(values, whole);
        values += whole;
        count -= whole;
        continue;
      }
      int const part = std::min(Buffer::ElementCount - offset, count);
      Buffer const& buffer = *this->GetBuffer(this->Size());
      std::copy_n(values, part, &buffer.At(this->Size()));
      buffer.SetDirty(true);
      this->SetLength(this->Size() + part);
      values += part;
      count -= part;
    }
  }

  void CopyResident(int first, int count, P* destination) const {
    while (count > 0) {
      auto const run = this->ConstGetRun(first);
      int const part = std::min(run.m_Count, count);
      if (part <= 0) sto_RaiseArrayShrunk(m_Home, this->Size());
      std::copy_n(run.m_Values, part, destination);
      destination += part;
      first += part;
      count -= part;
    }
  }

  void Overwrite(int first, int count, P const* values) {
    while (count > 0) {
      P& element = this->Get(first); // marks the block as changed
      int const part = std::min(Buffer::ElementCount - (first & Buffer::SlotMask), count);
      std::copy_n(values, part, &element);
      values += part;
      first += part;
      count -= part;
    }
  }

  template <class Act> void ForEachChanged(Act act) const {
    cls_PTrieIter<int, Buffer, 1> iter(*this->Blocks().Ptr());
    for (iter.First(); iter.IsDone() == 0; iter.Next())
      if (iter.CurrentValue().IsDirty()) act(iter.CurrentKey(), iter.CurrentValue());
  }
  [[nodiscard]] bool HasChanges() const {
    bool has = false;
    ForEachChanged([&has](int, Buffer const&) { has = true; });
    return has;
  }
  /// Whether a block that reading the element would write has changes.
  [[nodiscard]] bool HasOtherChanges(int index) const {
    bool has = false;
    ForEachChanged([&](int start, Buffer const&) { has = has || start != Buffer::StartOf(index); });
    return has;
  }

  /// Reads past the blocks in memory, and takes from these what is not written yet.
  void ReadStored(int first, int count, P* destination) const {
    int there = std::max(0, this->Agent()->ReadRun(first, count, destination));
    ForEachChanged([&](int start, Buffer const& block) {
      int const from = std::max(first, start);
      int const end = std::min({first + count, start + Buffer::ElementCount, this->Size()});
      if (from >= end || from > first + there) return;
      std::copy_n(&block.At(from), end - from, destination + (from - first));
      there = std::max(there, end - first);
    });
    if (there < count) sto_RaiseArrayShrunk(m_Home, first + there);
  }

  mutable sto_ArrayHome m_Home; // set when the list is stored, which is const
};
