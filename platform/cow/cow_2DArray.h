#pragma once

#include <cassert>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

#include "platform/cow/cow_COW.h"
#include "platform/mem/mem_Memory.h"

/// Copy-on-write table of Rows() by Cols() elements.
///
/// Copies share the elements until one of them is written. The first write through a sharing table copies
/// each element once; a write through a sole owner copies none. A table never changes its shape; to change
/// it, assign another table. A table without rows still has its number of columns, and the other way round.
///
/// Layout: one storage block that holds the shape and then the elements in row-major order, element (r, c)
/// at r * Cols() + c. Intentional: moving copies (a share), so that every table always has a block.
///
/// Shapes and indexes are counted in elements. Thread rule: the share count is plain; a table and its copies
/// belong to one thread, or are only read.
template <class T> class cow_2DArray {
 public:
  /// A table without rows and columns; it has a storage block too. Throws std::bad_alloc.
  cow_2DArray() : cow_2DArray(0, 0) {}

  /// `rows` by `columns` value-initialised elements (zero for numbers). Throws std::length_error if either is
  /// negative, std::bad_alloc.
  cow_2DArray(int rows, int columns) : m_Block(Block::Make(rows, columns)) {}

  cow_2DArray(cow_2DArray const& other) noexcept = default;
  cow_2DArray& operator=(cow_2DArray const& other) noexcept = default;
  ~cow_2DArray() = default;

  [[nodiscard]] int Rows() const noexcept { return m_Block.ConstGet().Rows(); }
  [[nodiscard]] int Cols() const noexcept { return m_Block.ConstGet().Columns(); }

  /// The element at (row, column). Never copies anything. REQUIRES: both are inside the shape.
  [[nodiscard]] T const& ConstGet(int row, int column) const noexcept {
    return m_Block.ConstGet().At(row, column);
  }

  /// The same for writing; a sharing table copies the block for itself first. If that fails, the table keeps
  /// its share.
  [[nodiscard]] T& Get(int row, int column) {
    return const_cast<T&>(m_Block.Get().At(row, column)); // no other table shares the block now
  }

  /// All elements, contiguous, in row-major order. Valid until the table is written, assigned or destroyed.
  [[nodiscard]] T const* ConstData() const noexcept { return m_Block.ConstGet().Elements(); }

  [[nodiscard]] bool SharesStorageWith(cow_2DArray const& other) const noexcept {
    return m_Block.ConstPtr() == other.m_Block.ConstPtr();
  }

 private:
  friend struct cow_LayoutAccess;

  /// The storage block: one piece of memory, with the elements after the shape.
  class Block {
   public:
    static Block* Make(int rows, int columns) {
      return Build(rows, columns, [](T* elements, std::size_t count) {
        std::uninitialized_value_construct_n(elements, count);
      });
    }
    [[nodiscard]] Block* Copy() const {
      return Build(m_Rows, m_Columns, [this](T* elements, std::size_t count) {
        std::uninitialized_copy_n(Elements(), count, elements);
      });
    }

    Block(Block const&) = delete;
    Block& operator=(Block const&) = delete;
    ~Block() { std::destroy_n(Elements(this), Count(m_Rows, m_Columns)); }
    static void operator delete(void* memory) noexcept { mem_Free(memory); }

    [[nodiscard]] int Rows() const noexcept { return m_Rows; }
    [[nodiscard]] int Columns() const noexcept { return m_Columns; }
    [[nodiscard]] T const* Elements() const noexcept { return Elements(const_cast<Block*>(this)); }
    [[nodiscard]] T const& At(int row, int column) const noexcept {
      assert(row >= 0 && row < m_Rows && column >= 0 && column < m_Columns);
      return Elements()[Count(row, m_Columns) + static_cast<std::size_t>(column)];
    }

   private:
    friend struct cow_LayoutAccess;

    struct FreeMemory {
      void operator()(void* memory) const noexcept { mem_Free(memory); }
    };

    Block(int rows, int columns) noexcept : m_Rows(rows), m_Columns(columns) {}

    template <class MakeElements> static Block* Build(int rows, int columns, MakeElements makeElements) {
      if (rows < 0 || columns < 0) throw std::length_error("cow_2DArray: negative shape");
      std::size_t const count = Count(rows, columns);
      if (count > (std::numeric_limits<std::ptrdiff_t>::max() - HeaderSize()) / sizeof(T))
        throw std::bad_alloc();
      std::unique_ptr<void, FreeMemory> memory(mem_Malloc(HeaderSize() + count * sizeof(T)));
      makeElements(reinterpret_cast<T*>(static_cast<std::byte*>(memory.get()) + HeaderSize()), count);
      return ::new (memory.release()) Block(rows, columns);
    }

    static constexpr std::size_t HeaderSize() noexcept {
      static_assert(alignof(T) <= alignof(std::max_align_t));
      return (sizeof(Block) + alignof(T) - 1) / alignof(T) * alignof(T);
    }
    static T* Elements(Block* block) noexcept {
      return std::launder(reinterpret_cast<T*>(reinterpret_cast<std::byte*>(block) + HeaderSize()));
    }
    static std::size_t Count(int rows, int columns) noexcept {
      return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
    }

    int m_Rows;
    int m_Columns;
  };

  struct CopyBlock {
    static Block* Copy(Block const& block) { return block.Copy(); }
  };

  cow_COW<Block, CopyBlock> m_Block;
};
