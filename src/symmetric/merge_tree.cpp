#include "symmetric/merge_tree.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/tuning.hpp"
#include "frame/error_report.hpp"
#include "symmetric/merge_of_halves.hpp"
#include "symmetric/merges.hpp"
#include "symmetric/real_factors.hpp"
#include "symmetric/tridiagonal_qr.hpp"

namespace nuv {
namespace {

/// Order of the leaves. Larger ones are worth while the iteration on them is fast beside the products of the merges.
template <RealScalar T>
Int leaf_size(Int icompq, Int n) {
  constexpr Int least = 25;
  const auto by_order = [n] {
    if (n == 400 || n <= 50) return 25;
    if (n <= 500) return 50;
    return n < 2500 ? 100 : 150;
  };
  return std::max(icompq == 2 ? ilaenv(9, RoutineName<T>("LAED0"), " ", 0, 0, 0, 0) : by_order(), least);
}

template <ComplexScalar T>
Int leaf_size(Int n) {
  if (n == 400 || n == 800) return 100;
  if (n < 200) return 50;
  if (n < 700) return 100;
  return n < 7000 ? 200 : 250;
}

/// Finds the eigensystems of all leaves by leaf(node, index), then merges generation after generation by
/// merge(node, generation, index), each of which gives info.
template <RealScalar R, class Leaf, class Merge>
Int climb(Int n, Int depth, R* d, const R* e, Leaf leaf, Merge merge) {
  tear_apart(n, depth, d, e);
  for (Int index = 0; index < Int{1} << depth; ++index) {
    const TreeNode node = tree_node(n, depth, index);
    if (leaf(node, index) != 0) return failed_part(n, node);
  }
  for (Int generation = 1; generation <= depth; ++generation) {
    for (Int index = 0; index < Int{1} << (depth - generation); ++index) {
      const TreeNode node = tree_node(n, depth - generation, index);
      if (merge(node, generation, index) != 0) return failed_part(n, node);
    }
  }
  return 0;
}

void set_identity(Int n, Int* index) {
  for (Int i = 0; i < n; ++i) index[i] = i + 1;
}

/// d in the order of indxq.
template <RealScalar R>
void sort_values(Int n, const Int* indxq, R* d, R* scratch) {
  for (Int i = 0; i < n; ++i) scratch[i] = d[indxq[i] - 1];
  std::copy_n(scratch, n, d);
}

template <Scalar T>
void copy_in_order(Int m, Int n, const Int* indxq, Matrix<const T> from, Matrix<T> to) {
  for (Int j = 1; j <= n; ++j) std::copy_n(from.at(1, indxq[j - 1]), m, to.at(1, j));
}

/// Leaves and merges where the eigenvectors are at hand.
template <RealScalar T>
Int find_eigenvectors(Int n, T* d, T* e, Matrix<T> Q, T* work, Int* iwork) {
  Int* const indxq = iwork + (std::ptrdiff_t{4} * n + 3);
  const auto leaf = [=](TreeNode node, Int) {
    Int info;
    steqr('I', node.size, d + node.first, e + node.first, Q.at(node.first + 1, node.first + 1), Q.ld, work, info);
    set_identity(node.size, indxq + node.first);
    return info;
  };
  const auto merge = [=](TreeNode node, Int, Int) {
    Int info;
    const Int half = node.size / 2;
    laed1(node.size, d + node.first, Q.at(node.first + 1, node.first + 1), Q.ld, indxq + node.first,
          e[node.first + half - 1], half, work, iwork, info);
    return info;
  };
  const Int info = climb(n, tree_depth(n, leaf_size<T>(2, n)), d, e, leaf, merge);
  if (info != 0) return info;
  sort_values(n, indxq, d, work);
  copy_in_order<T>(n, n, indxq, Q, {work, n});
  lacpy('A', n, n, work, n, Q.data, Q.ld);
  return 0;
}

// -------------------------------------------------------------------------------- eigenvectors as products of factors

/// What laed7 keeps, and what it works in.
template <RealScalar R>
struct FactorStore {
  Int *indxq, *prmptr, *perm, *qptr, *givptr, *givcol, *iwork;
  R *givnum, *blocks, *work;

  FactorStore(Int n, Int depth, R* work_, Int* iwork_) : iwork(iwork_) {
    Int lgn = 0;
    while (std::int64_t{1} << lgn < n) ++lgn;
    const std::ptrdiff_t order = n, entries = order * lgn;
    indxq = iwork_ + 4 * order + 3;
    prmptr = indxq + order + 1;
    perm = prmptr + entries;
    qptr = perm + entries;
    givptr = qptr + order + 2;
    givcol = givptr + entries;
    givnum = work_;
    blocks = givnum + 2 * entries;
    work = blocks + order * order + 1;
    const Int leaves = Int{1} << depth;
    std::fill_n(prmptr, leaves + 1, 1);
    std::fill_n(givptr, leaves + 1, 1);
    qptr[0] = 1;
  }

  R* block(Int node) const { return blocks + (qptr[node] - 1); }
};

/// Leaves and merges where the eigenvectors are factors. multiply_leaf(node, block) and
/// merge(node, generation, index, info) do what is to be done for the products with Q.
template <RealScalar R, class MultiplyLeaf, class Merge>
Int find_factors(Int n, Int depth, R* d, R* e, const FactorStore<R>& store, MultiplyLeaf multiply_leaf, Merge merge) {
  const auto leaf = [&](TreeNode node, Int index) {
    Int info;
    R* const block = store.block(index);
    steqr('I', node.size, d + node.first, e + node.first, block, node.size, store.work, info);
    if (info != 0) return info;
    multiply_leaf(node, block);
    store.qptr[index + 1] = store.qptr[index] + node.size * node.size;
    set_identity(node.size, store.indxq + node.first);
    return 0;
  };
  const auto merge_node = [&](TreeNode node, Int generation, Int index) {
    Int info;
    merge(node, node.size / 2, e[node.first + node.size / 2 - 1], generation, index, info);
    return info;
  };
  return climb(n, depth, d, e, leaf, merge_node);
}

/// Leaves and merges where the eigenvectors are multiplied by Q, if there is one, factor by factor.
template <RealScalar T>
Int find_products(bool has_q, Int qsiz, Int n, T* d, T* e, Matrix<T> Q, Matrix<T> Stored, T* work, Int* iwork) {
  const Int icompq = has_q ? 1 : 0, depth = tree_depth(n, leaf_size<T>(icompq, n));
  const FactorStore<T> store(n, depth, work, iwork);
  const auto multiply_leaf = [&](TreeNode node, const T* eigenvectors) {
    if (!has_q) return;
    blas::gemm('N', 'N', qsiz, node.size, node.size, T(1), block(Q, 1, node.first + 1), {eigenvectors, node.size}, T(0),
               block(Stored, 1, node.first + 1));
  };
  const auto merge = [&](TreeNode node, Int half, T rho, Int generation, Int index, Int& info) {
    laed7(icompq, node.size, qsiz, depth, generation, index, d + node.first, Stored.at(1, node.first + 1), Stored.ld,
          store.indxq + node.first, rho, half, store.blocks, store.qptr, store.prmptr, store.perm, store.givptr,
          store.givcol, store.givnum, store.work, store.iwork, info);
  };
  const Int info = find_factors(n, depth, d, e, store, multiply_leaf, merge);
  if (info != 0) return info;
  sort_values(n, store.indxq, d, store.work);
  if (has_q) copy_in_order<T>(qsiz, n, store.indxq, Stored, Q);
  return 0;
}

/// The same for a complex Q.
template <ComplexScalar T>
Int find_products(Int qsiz, Int n, Real<T>* d, Real<T>* e, Matrix<T> Q, Matrix<T> Stored, Real<T>* rwork, Int* iwork) {
  using R = Real<T>;
  const Int depth = tree_depth(n, leaf_size<T>(n));
  const FactorStore<R> store(n, depth, rwork, iwork);
  const auto multiply_leaf = [&](TreeNode node, const R* eigenvectors) {
    lacrm(qsiz, node.size, Q.at(1, node.first + 1), Q.ld, eigenvectors, node.size, Stored.at(1, node.first + 1),
          Stored.ld, store.work);
  };
  // The columns of Q that the merge is about are free: their products with the leaves stand in qstore.
  const auto merge = [&](TreeNode node, Int half, R rho, Int generation, Int index, Int& info) {
    laed7(node.size, half, qsiz, depth, generation, index, d + node.first, Stored.at(1, node.first + 1), Stored.ld, rho,
          store.indxq + node.first, store.blocks, store.qptr, store.prmptr, store.perm, store.givptr, store.givcol,
          store.givnum, Q.at(1, node.first + 1), store.work, store.iwork, info);
  };
  const Int info = find_factors(n, depth, d, e, store, multiply_leaf, merge);
  if (info != 0) return info;
  sort_values(n, store.indxq, d, store.work);
  copy_in_order<T>(qsiz, n, store.indxq, Stored, Q);
  return 0;
}

}  // namespace

template <RealScalar T>
void xlaed0(Int icompq, Int qsiz, Int n, T* d, T* e, T* q, Int ldq, T* qstore, Int ldqs, T* work, Int* iwork, Int& info) {
  info = 0;
  if (icompq < 0 || icompq > 2) info = -1;
  else if (icompq == 1 && qsiz < std::max(0, n)) info = -2;
  else if (n < 0) info = -3;
  else if (ldq < std::max(1, n)) info = -7;
  else if (ldqs < std::max(1, n)) info = -9;
  if (info != 0) return report_bad_argument<T>("LAED0", info);
  if (n == 0) return;
  const Matrix Q{q, ldq};
  info = icompq == 2 ? find_eigenvectors(n, d, e, Q, work, iwork)
                     : find_products(icompq == 1, qsiz, n, d, e, Q, Matrix{qstore, ldqs}, work, iwork);
}

template <ComplexScalar T>
void xlaed0(Int qsiz, Int n, Real<T>* d, Real<T>* e, T* q, Int ldq, T* qstore, Int ldqs, Real<T>* rwork, Int* iwork,
            Int& info) {
  info = 0;
  if (qsiz < std::max(0, n)) info = -1;
  else if (n < 0) info = -2;
  else if (ldq < std::max(1, n)) info = -6;
  else if (ldqs < std::max(1, n)) info = -8;
  if (info != 0) return report_bad_argument<T>("LAED0", info);
  if (n == 0) return;
  info = find_products(qsiz, n, d, e, Matrix{q, ldq}, Matrix{qstore, ldqs}, rwork, iwork);
}

}  // namespace nuv

#include "symmetric/merge_tree.entries.inc"
