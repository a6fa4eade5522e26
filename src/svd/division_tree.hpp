#pragma once

// How divide and conquer cuts a bidiagonal matrix: row by row, each of which joins what lies before and behind it.

#include <cmath>

#include "base/types.hpp"

namespace nuv {

/// Generations of nodes that leave parts of at most msub rows, at least one if n > msub. In single precision the
/// logarithms of some powers of two are too small.
inline Int generations_of_nodes(Int n, Int msub) {
  constexpr double log_of_two = 0.6931471805599453;
  return static_cast<Int>(std::log(static_cast<double>(n) / (static_cast<double>(msub) + 1)) / log_of_two) + 1;
}

/// Lays out the tree of nodes for a matrix of n rows. Node i is the row inode(i), with ndiml(i) rows before it and
/// ndimr(i) behind it, in which its children lie, nodes 2 i and 2 i + 1. The node at the top is the first; the leaves
/// are the parts before and behind those of the last generation. Where halves differ, the first one has a row more.
///
/// msub    rows of the largest leaves;  lvl  number of generations
/// nd      number of nodes, 2^lvl - 1;  inode, ndiml, ndimr  at least as many places, n are always enough
template <RealScalar T>
void lasdt(Int n, Int& lvl, Int& nd, Int* inode, Int* ndiml, Int* ndimr, Int msub);

/// A node's rows, counted from one: nl before the one that joins, nr behind it.
struct DivisionNode {
  Int first, nl, nr;

  Int n() const { return nl + nr + 1; }
  Int last() const { return first + n() - 1; }
  Int joining_row() const { return first + nl; }
};

/// The tree as the routines that climb it see it.
struct DivisionTree {
  Int levels, nodes;
  const Int *inode, *ndiml, *ndimr;

  /// Node i, counted from one.
  DivisionNode node(Int i) const { return {inode[i - 1] - ndiml[i - 1], ndiml[i - 1], ndimr[i - 1]}; }

  /// The first node of a generation, the top being generation one; the last is twice that less one.
  static Int first_of_generation(Int generation) { return Int{1} << (generation - 1); }
};

/// Solves the leaves of a tree from the left by leaf(first, rows, columns_more), then merges its nodes, the last
/// generation first, by merge(i, generation, node, columns_more). Both give info, which ends
/// the climb if it is not zero. Each part has one column more than it has rows; the last of a generation has sqre more.
template <class Leaf, class Merge>
Int climb(const DivisionTree& tree, Int sqre, Leaf leaf, Merge merge) {
  const Int first_low = DivisionTree::first_of_generation(tree.levels);
  for (Int i = first_low; i <= tree.nodes; ++i) {
    const DivisionNode node = tree.node(i);
    Int info = leaf(node.first, node.nl, Int{1});
    if (info == 0) info = leaf(node.joining_row() + 1, node.nr, i == tree.nodes ? sqre : Int{1});
    if (info != 0) return info;
  }
  for (Int generation = tree.levels; generation >= 1; --generation) {
    const Int first = DivisionTree::first_of_generation(generation), last = 2 * first - 1;
    for (Int i = first; i <= last; ++i) {
      const Int info = merge(i, generation, tree.node(i), i == last ? sqre : Int{1});
      if (info != 0) return info;
    }
  }
  return 0;
}

/// The way back: merges from the top, each generation from the left, then the leaves. Nothing ends it.
template <class Merge, class Leaf>
void descend(const DivisionTree& tree, Int sqre, Merge merge, Leaf leaf) {
  for (Int i = 1, generation = 1; i <= tree.nodes; ++generation) {
    const Int last = 2 * i - 1;
    for (; i <= last; ++i) merge(i, generation, tree.node(i), i == last ? sqre : Int{1});
  }
  for (Int i = DivisionTree::first_of_generation(tree.levels); i <= tree.nodes; ++i) {
    const DivisionNode node = tree.node(i);
    leaf(node.first, node.nl, Int{1});
    leaf(node.joining_row() + 1, node.nr, i == tree.nodes ? sqre : Int{1});
  }
}

}  // namespace nuv
