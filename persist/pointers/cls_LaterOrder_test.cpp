#include "persist/pointers/cls_LaterOrder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

namespace {

/// Does numbered pieces, each of which may add others.
template <class AddTo> std::vector<int> Do(std::vector<int>& pieces, std::size_t first, AddTo addTo) {
  std::vector<int> done;
  cls_LaterOrder order(pieces, first);
  while (order.More()) {
    int const piece = pieces[order.Next()];
    done.push_back(piece);
    addTo(piece);
  }
  return done;
}

} // namespace

TEST(LaterOrder, WhatAPieceAddsComesBeforeWhatWasAddedEarlier) {
  std::vector<int> pieces = {9, 1, 2, 3};
  auto const done = Do(pieces, 1, [&](int piece) {
    if (piece < 10)
      for (int i = 0; i < 2; ++i) pieces.push_back(piece * 10 + i);
  });
  EXPECT_EQ(done, (std::vector{1, 10, 11, 2, 20, 21, 3, 30, 31}));
  EXPECT_EQ(pieces, std::vector{9}) << "those before the first are left alone";
}

TEST(LaterOrder, NothingIsToBeDone) {
  std::vector<int> pieces;
  EXPECT_TRUE(Do(pieces, 0, [](int) {}).empty());
}

TEST(LaterOrder, PiecesMayBeAddedWhenAllAreDone) {
  std::vector<int> pieces = {1};
  cls_LaterOrder order(pieces, 0);
  ASSERT_TRUE(order.More());
  EXPECT_EQ(pieces[order.Next()], 1);
  EXPECT_FALSE(order.More());
  pieces.push_back(2);
  ASSERT_TRUE(order.More());
  EXPECT_EQ(pieces[order.Next()], 2);
  EXPECT_FALSE(order.More());
}

TEST(LaterOrder, ChainIsNotKept) {
  std::vector<int> pieces = {0};
  std::size_t most = 0;
  auto const done = Do(pieces, 0, [&](int piece) {
    most = std::max(most, pieces.size());
    if (piece < 100'000) pieces.push_back(piece + 1);
  });
  EXPECT_EQ(done.size(), 100'001U);
  EXPECT_TRUE(std::ranges::is_sorted(done));
  EXPECT_LE(most, cls_LaterOrder<int>::ManyDone + 2);
}

TEST(LaterOrder, IsThatOfARecursion) {
  constexpr unsigned int Seed = 7;
  std::mt19937 random(Seed);
  std::vector<std::vector<int>> children(1); // of each piece; a tree
  for (int piece = 1; piece < 60'000; ++piece) {
    // Some parents have many, and some pieces are in chains.
    std::size_t const parent = random() % 3 != 0 ? children.size() - 1 : random() % children.size();
    children[parent].push_back(piece);
    children.emplace_back();
  }
  std::vector<int> expected;
  std::vector<int> stack = {0};
  while (!stack.empty()) {
    int const piece = stack.back();
    stack.pop_back();
    expected.push_back(piece);
    auto const& its = children[static_cast<std::size_t>(piece)];
    stack.insert(stack.end(), its.rbegin(), its.rend());
  }
  std::vector<int> pieces = {0};
  auto const done = Do(pieces, 0, [&](int piece) {
    auto const& its = children[static_cast<std::size_t>(piece)];
    pieces.insert(pieces.end(), its.begin(), its.end());
  });
  EXPECT_EQ(done, expected);
  EXPECT_TRUE(pieces.empty());
}
