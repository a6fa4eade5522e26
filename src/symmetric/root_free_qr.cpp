#include "symmetric/root_free_qr.hpp"

#include <cmath>

#include "environment/service_math.hpp"
#include "environment/sorting.hpp"
#include "environment/sums_of_squares.hpp"
#include "environment/two_by_two.hpp"
#include "frame/error_report.hpp"
#include "symmetric/unreduced_blocks.hpp"

namespace nuv {
namespace {

// In all of these the off-diagonals are given by their squares.

/// Wilkinson's shift: the eigenvalue of the first two rows in the direction of work that is closer to the first.
template <RealScalar R>
R shift(const DirectedBlock<R>& A) {
  const Int l = A.row;
  const R root = std::sqrt(A.beyond(l)), d = A.diagonal(l);
  const R ratio = (A.diagonal(l + A.step) - d) / (2 * root);
  return d - root / (ratio + sign(lapy2(ratio, R(1)), ratio));
}

/// One sweep from row `end` back to the row that is worked off.
template <RealScalar R>
void sweep_to_row(const DirectedBlock<R>& A, Int end) {
  const R sigma = shift(A);
  R c = 1, s = 0, gamma = A.diagonal(end) - sigma, p = gamma * gamma;
  for (Int i = end; i != A.row; i -= A.step) {
    const Int next = i - A.step;
    const R square = A.beyond(next), r = p + square;
    if (i != end) A.beyond(i) = s * r;
    const R old_c = c, old_gamma = gamma, alpha = A.diagonal(next);
    c = p / r;
    s = square / r;
    const R inverse_c = r / p;  // beside c, for which gamma has to wait: a division less in the chain of each row
    gamma = c * (alpha - sigma) - s * old_gamma;
    A.diagonal(i) = old_gamma + (alpha - gamma);
    const R gamma_squared = gamma * gamma;
    p = c >= Machine<R>::safe_min ? gamma_squared * inverse_c : c != 0 ? gamma_squared / c : old_c * square;
  }
  A.beyond(A.row) = s * p;
  A.diagonal(A.row) = sigma + gamma;
}

/// Iterates until all off-diagonals of a block are zero, or no sweep is left.
template <RealScalar R>
void diagonalise(DirectedBlock<R> A, std::int64_t& sweeps_left) {
  const auto is_negligible = [&](Int i) {
    const R squared_eps = Machine<R>::eps * Machine<R>::eps;
    return std::abs(A.beyond(i)) <= squared_eps * std::abs(A.diagonal(i) * A.diagonal(i + A.step));
  };
  while (!A.is_done()) {
    const Int end = A.end_of_piece(is_negligible);
    if (end == A.row) {
      A.row += A.step;
    } else if (end == A.row + A.step) {
      R &d1 = A.diagonal(A.row), &square = A.beyond(A.row), &d2 = A.diagonal(end);
      R rt1, rt2;
      lae2(d1, std::sqrt(square), d2, rt1, rt2);
      d1 = rt1;
      d2 = rt2;
      square = 0;
      A.row += 2 * A.step;
    } else if (sweeps_left > 0) {
      --sweeps_left;
      sweep_to_row(A, end);
    } else {
      return;
    }
  }
}

}  // namespace

template <RealScalar T>
void sterf(Int n, T* d, T* e, Int& info) {
  info = n < 0 ? -1 : 0;
  if (info != 0) return report_bad_argument<T>("STERF", info);
  if (n <= 1) return;
  std::int64_t sweeps_left = most_sweeps(n);
  for (Int first = 1, last; first <= n; first = last + 1) {
    last = cut_off_block(first, n, d, e);
    if (first == last) continue;
    const Int order = last - first + 1;
    T* const d_of_block = d + (first - 1);
    T* const e_of_block = e + (first - 1);
    const BlockScale<T> scale(order, d_of_block, e_of_block);
    scale.apply(order, d_of_block);
    scale.apply(order - 1, e_of_block);
    for (Int i = 0; i < order - 1; ++i) e_of_block[i] *= e_of_block[i];
    diagonalise<T>({first, last, d, e}, sweeps_left);
    scale.undo(order, d_of_block);
    if (sweeps_left == 0) {
      info = count_unreduced(n, e);
      return;
    }
  }
  lasrt('I', n, d, info);
}

}  // namespace nuv

#include "symmetric/root_free_qr.entries.inc"
