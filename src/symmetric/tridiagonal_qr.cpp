#include "symmetric/tridiagonal_qr.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/sorting.hpp"
#include "environment/two_by_two.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "symmetric/implicit_sweep.hpp"
#include "symmetric/rotation_batch.hpp"
#include "symmetric/sorted_pairs.hpp"
#include "symmetric/unreduced_blocks.hpp"

namespace nuv {
namespace {

template <bool downwards, RealScalar R>
void sweep(bool keeps, Int n, R* d, R* e, R* work, Int ldwork) {
  implicit_sweep<downwards>(keeps, n, d, e, work, keeps ? work + ldwork : nullptr);
}

}  // namespace

template <RealScalar T>
void laq5(Int icompz, Int n, T* d, T* e, T* work, Int ldwork) {
  sweep<true>(icompz > 0, n, d, e, work, ldwork);
}

template <RealScalar T>
void laq6(Int icompz, Int n, T* d, T* e, T* work, Int ldwork) {
  sweep<false>(icompz > 0, n, d, e, work, ldwork);
}

namespace {

/// Diagonalises a block of order two, rows first and first + 1, whose off-diagonal is e.
template <Scalar T>
void diagonalise_pair(Int first, Real<T>& d1, Real<T>& e, Real<T>& d2, RotationBatch<T>& rotations) {
  Real<T> rt1, rt2, c, s;
  if (rotations.is_wanted()) {
    laev2(d1, e, d2, rt1, rt2, c, s);
    rotations.add_single(first, c, s);
  } else {
    lae2(d1, e, d2, rt1, rt2);
  }
  d1 = rt1;
  d2 = rt2;
  e = 0;
}

/// Iterates until all off-diagonals of a block are zero, or no sweep is left.
template <Scalar T>
void diagonalise(DirectedBlock<Real<T>> A, RotationBatch<T>& rotations, std::int64_t& sweeps_left) {
  using R = Real<T>;
  const auto is_negligible = [&](Int i) {
    const R e = std::abs(A.beyond(i));
    const R squared_eps = Machine<R>::eps * Machine<R>::eps;
    return e * e <= (std::abs(A.diagonal(i)) * squared_eps) * std::abs(A.diagonal(i + A.step)) + Machine<R>::safe_min;
  };
  rotations.begin(A.rises() ? 'B' : 'F');
  while (!A.is_done()) {
    const Int end = A.end_of_piece(is_negligible);
    const Int first = std::min(A.row, end), last = std::max(A.row, end);
    if (first == last) {
      A.row += A.step;
    } else if (last - first == 1) {
      diagonalise_pair(first, A.diagonal(first), A.beyond(A.row), A.diagonal(last), rotations);
      A.row += 2 * A.step;
    } else if (sweeps_left > 0) {
      --sweeps_left;
      const auto make_sweep = A.rises() ? laq6<R> : laq5<R>;
      make_sweep(rotations.is_wanted(), last - first, &A.diagonal(first), &A.below(first), rotations.place(first),
                 rotations.leading_dimension());
      rotations.add(first, last);
    } else {
      break;
    }
  }
  rotations.apply();
}

}  // namespace

template <Scalar T>
void steqr(char compz, Int n, Real<T>* d, Real<T>* e, T* z, Int ldz, Real<T>* work, Int& info) {
  const bool from_identity = same_letter(compz, 'I');
  const bool has_vectors = from_identity || same_letter(compz, 'V');
  info = 0;
  if (!is_one_of(compz, 'N', 'V', 'I')) info = -1;
  else if (n < 0) info = -2;
  else if (ldz < (has_vectors ? std::max(1, n) : 1)) info = -6;
  if (info != 0) return report_bad_argument<T>("STEQR", info);
  if (n == 0) return;
  if (n == 1) {
    if (from_identity) *z = T(1);
    return;
  }

  RotationBatch<T> rotations(has_vectors, n, {z, ldz}, work);
  if (from_identity) laset('F', n, n, T(0), T(1), z, ldz);
  std::int64_t sweeps_left = most_sweeps(n);
  for (Int first = 1, last; first <= n; first = last + 1) {
    last = cut_off_block(first, n, d, e);
    if (first == last) continue;
    Real<T>* const d_of_block = d + (first - 1);
    Real<T>* const e_of_block = e + (first - 1);
    const Int order = last - first + 1;
    const BlockScale<Real<T>> scale(order, d_of_block, e_of_block);
    if (scale.is_of_zeros()) continue;
    scale.apply(order, d_of_block);
    scale.apply(order - 1, e_of_block);
    diagonalise({first, last, d, e}, rotations, sweeps_left);
    scale.undo(order, d_of_block);
    scale.undo(order - 1, e_of_block);
    if (sweeps_left == 0) {
      info = count_unreduced(n, e);
      return;
    }
  }
  if (has_vectors) {
    sort_pairs(n, n, d, Matrix{z, ldz}, [](Int, Int) {});
  } else {
    lasrt('I', n, d, info);
  }
}

}  // namespace nuv

#include "symmetric/tridiagonal_qr.entries.inc"
