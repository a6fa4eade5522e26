#pragma once

// How the blocked routines decide between blocks and the unblocked code, and on the width of the blocks.

#include <algorithm>

#include "environment/tuning.hpp"

namespace nuv {

/// The questions of one call of a routine to the tuning tables.
template <Scalar T>
struct Tuning {
  RoutineName<T> name;
  Text opts = " ";  ///< stays with the caller
  Int n1 = -1, n2 = -1, n3 = -1, n4 = -1;

  Int block_size() const { return ask(1); }
  Int least_block_size() const { return std::max(2, ask(2)); }

  /// Columns (rows, reflectors) from which on blocks pay.
  Int crossover() const { return ask(3); }

 private:
  Int ask(Int ispec) const { return ilaenv(ispec, name, opts, n1, n2, n3, n4); }
};

/// Whether blocks of nb columns divide n of them.
constexpr bool are_divided(Int n, Int nb) {
  return nb > 1 && nb < n;
}

/// What a routine takes by blocks, and the rules by which it does.
struct Blocking {
  Int n;      ///< columns (rows, reflectors)
  Int nb;     ///< of a block where there is workspace enough
  Int line;   ///< workspace of each column of a block, elements
  Int lwork;  ///< workspace, elements

  bool has_crossover = true;
  Int least_crossover = 0;
  bool any_width = false;  ///< whether blocks are taken however narrow a short workspace makes them
};

/// The blocks in which it does so.
struct BlockPlan {
  bool by_blocks;          ///< false: the unblocked code for all
  Int nb;                  ///< columns of a block; fewer where the workspace is short
  Int nx;                  ///< columns that are left to the unblocked code, about
  std::int64_t workspace;  ///< elements with which the routine would do its best
};

template <Scalar T>
BlockPlan plan_blocks(const Tuning<T>& tuning, const Blocking& wanted) {
  BlockPlan plan{.by_blocks = false, .nb = wanted.nb, .nx = 0, .workspace = wanted.line};
  if (!are_divided(wanted.n, wanted.nb)) return plan;
  if (wanted.has_crossover) plan.nx = std::max(wanted.least_crossover, tuning.crossover());
  if (plan.nx >= wanted.n) return plan;

  plan.workspace = std::int64_t{wanted.nb} * wanted.line;
  plan.by_blocks = true;
  if (wanted.lwork < plan.workspace) {
    plan.nb = wanted.lwork / wanted.line;
    plan.by_blocks = wanted.any_width || plan.nb >= tuning.least_block_size();
  }
  return plan;
}

}  // namespace nuv
