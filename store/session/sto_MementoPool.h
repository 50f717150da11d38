#pragma once

#include <cstddef>
#include <new>

/// Memory for the mementos of a session: each object that is read takes and returns several of one size.
///
/// The pool counts its mementos, because a program may delete one after its session has ended; the last of
/// them frees the pool then. Internal to the module. Thread rule: the thread of the session.
class sto_MementoPool {
 public:
  /// What a memento of at most this size takes; a larger one is allocated by itself.
  static constexpr std::size_t PieceBytes = 192;

  /// The owner's handle on a pool.
  class Owner {
   public:
    Owner() : m_Pool(new sto_MementoPool) {}
    Owner(Owner const&) = delete;
    Owner& operator=(Owner const&) = delete;
    ~Owner() {
      m_Pool->m_HasOwner = false;
      m_Pool->FreeSpare();
      if (m_Pool->m_Given == 0) delete m_Pool;
    }
    [[nodiscard]] sto_MementoPool& Pool() const noexcept { return *m_Pool; }

   private:
    sto_MementoPool* m_Pool;
  };

  /// Memory for a memento. Throws std::bad_alloc.
  [[nodiscard]] void* Give(std::size_t size) {
    void* memory = m_Spare;
    if (size > PieceBytes || memory == nullptr)
      memory = ::operator new(size > PieceBytes ? size : PieceBytes);
    else
      m_Spare = m_Spare->m_Next;
    ++m_Given;
    return memory;
  }

  /// Takes back the memory of a memento of this size.
  void TakeBack(void* memory, std::size_t size) noexcept {
    --m_Given;
    if (size > PieceBytes || !m_HasOwner)
      ::operator delete(memory);
    else
      m_Spare = new (memory) Piece{m_Spare};
    if (!m_HasOwner && m_Given == 0) delete this;
  }

 private:
  struct Piece {
    Piece* m_Next;
  };

  sto_MementoPool() = default;
  ~sto_MementoPool() = default;
  sto_MementoPool(sto_MementoPool const&) = delete;
  sto_MementoPool& operator=(sto_MementoPool const&) = delete;

  void FreeSpare() noexcept {
    while (m_Spare != nullptr) {
      void* const memory = m_Spare;
      m_Spare = m_Spare->m_Next;
      ::operator delete(memory);
    }
  }

  Piece* m_Spare = nullptr;
  std::size_t m_Given = 0;
  bool m_HasOwner = true;
};
