#pragma once

// One step up in the tree of divide and conquer, for callers with threads and without: how a matrix is halved, and how
// the eigensystems of two halves become one.
//
// The functions are static: they are compiled for several instruction sets, whose code must not meet in the linker.

#include "symmetric/secular_vectors.hpp"

namespace nuv {

/// Rows and columns first + 1 ... first + size of a matrix; its first size / 2 are the first half.
struct TreeNode {
  Int first, size;
};

/// Times that a matrix of order n has to be halved before the largest part has at most `leaf` rows.
[[maybe_unused]] static Int tree_depth(Int n, Int leaf) {
  Int depth = 0;
  for (; n > leaf; ++depth) n -= n / 2;
  return depth;
}

/// Part `index`, counted from zero, of the 2^depth that halving all parts `depth` times gives.
[[maybe_unused]] static TreeNode tree_node(Int n, Int depth, Int index) {
  TreeNode node{0, n};
  for (Int level = depth - 1; level >= 0; --level) {
    const Int half = node.size / 2;
    const bool is_second = (index >> level & 1) != 0;
    node = is_second ? TreeNode{node.first + half, node.size - half} : TreeNode{node.first, half};
  }
  return node;
}

/// Where a failure in a part of a matrix of order n is said to be: its first and last row in one number.
[[maybe_unused]] static Int failed_part(Int n, TreeNode part) {
  const std::int64_t first = part.first + 1, last = part.first + part.size;
  return static_cast<Int>(std::min<std::int64_t>(first * (std::int64_t{n} + 1) + last, INT32_MAX));
}

/// Takes the elements that join the parts off the diagonal, on both sides, so that what they leave has rank one.
template <RealScalar R>
static void tear_apart(Int n, Int depth, R* d, const R* e) {
  for (Int index = 1; index < Int{1} << depth; ++index) {
    const Int first = tree_node(n, depth, index).first;
    d[first - 1] -= std::abs(e[first - 1]);
    d[first] -= std::abs(e[first - 1]);
  }
}

/// Merges the eigensystems of two halves in place.
///
/// d, Q    n eigenvalues and n by n eigenvectors of the halves, with zeros beside them, in; of the whole out, in the
///         order of indxq
/// indxq   the permutations that sort each half in; the one that sorts the whole out
/// rho     the element that joins the halves; cutpnt  order of the first
/// work    4 n + n^2 elements;  iwork  4 n
/// calls   deflate(k, n, n1, d, q, ldq, ...) as laed2, find_root(k, j, dlamda, w, delta, rho, root), which gives info,
///         and merge_order(n1, n2, d, step1, step2, index) as lamrg
///
/// False if a root of the secular equation was not found.
template <RealScalar R, class Share, class Calls>
static bool merge_halves(Int n, R* d, Matrix<R> Q, Int* indxq, R rho, Int cutpnt, R* work, Int* iwork, Share share,
                         Calls calls) {
  R* const z = work;
  R* const dlamda = z + n;
  R* const w = dlamda + n;
  R* const q2 = w + n;
  Int* const indx = iwork;
  Int* const indxc = indx + n;
  Int* const coltyp = indxc + n;
  Int* const indxp = coltyp + n;

  for (Int j = 1; j <= n; ++j) z[j - 1] = Q(j <= cutpnt ? cutpnt : cutpnt + 1, j);
  Int k = 0, info = 0;
  calls.deflate(k, n, cutpnt, d, Q.data, Q.ld, indxq, rho, z, dlamda, w, q2, indx, indxc, indxp, coltyp, info);
  if (k == 0) {
    for (Int i = 0; i < n; ++i) indxq[i] = i + 1;
    return true;
  }
  const Int above = coltyp[0], both = coltyp[1], below = coltyp[2];
  R* const s = q2 + std::ptrdiff_t{above + both} * cutpnt + std::ptrdiff_t{both + below} * (n - cutpnt);
  const SecularMerge<R> merge{n, cutpnt, Q, q2, indxc, above, both, below, s};
  const auto find_root = [=](Int j, R* delta, R& root) { return calls.find_root(k, j, dlamda, w, delta, rho, root); };
  if (!solve_merge(k, d, dlamda, w, merge, share, find_root)) return false;
  calls.merge_order(k, n - k, d, 1, -1, indxq);
  return true;
}

}  // namespace nuv
