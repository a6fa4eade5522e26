#include "nonsymmetric/block_swap.hpp"

#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "blas.hpp"
#include "environment/machine_constants.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/norms_general.hpp"
#include "environment/two_by_two.hpp"
#include "nonsymmetric/eigenvalue_swap.hpp"
#include "nonsymmetric/small_sylvester.hpp"
#include "orthogonal/householder.hpp"

namespace nuv {
namespace {

/// A reflector of order three.
template <RealScalar R>
struct ShortReflector {
  R v[3];
  R tau;

  /// That which leaves nothing of the vector but its first element, or its last one.
  static ShortReflector onto_first(R x, R y, R z) {
    ShortReflector H{{x, y, z}, 0};
    larfg(3, H.v[0], &H.v[1], 1, H.tau);
    H.v[0] = 1;
    return H;
  }
  static ShortReflector onto_last(R x, R y, R z) {
    ShortReflector H{{x, y, z}, 0};
    larfg(3, H.v[2], &H.v[0], 1, H.tau);
    H.v[2] = 1;
    return H;
  }

  void apply_to_rows(Int columns, R* c, Int ldc, R* work) const { larfx('L', 3, columns, v, tau, c, ldc, work); }
  void apply_to_columns(Int rows, R* c, Int ldc, R* work) const { larfx('R', rows, 3, v, tau, c, ldc, work); }
};

/// Two neighbouring blocks, one of them at least of order two:
///
///     T11  T12    n1
///          T22    n2
///
/// With the solution X of T11 X - X T22 = scale T12 the columns of [-X; scale I] span the invariant subspace for the
/// eigenvalues of T22. Reflectors turn it into that of the first n2 axes.
template <RealScalar R>
class NeighbourBlocks {
 public:
  NeighbourBlocks(bool wantq, Int n, Matrix<R> S, Matrix<R> Q, Int j1, Int n1, Int n2, R* work)
      : wantq_(wantq), n_(n), S_(S), Q_(Q), j1_(j1), n1_(n1), n2_(n2), order_(n1 + n2), work_(work) {
    lacpy('F', order_, order_, S_.at(j1_, j1_), S_.ld, D_.data, D_.ld);
    thresh_ = std::max(10 * Machine<R>::precision * lange('M', order_, order_, D_.data, D_.ld, work_), smallest);
    Int perturbed;
    R xnorm;
    lasy2(to_logical(false), to_logical(false), -1, n1_, n2_, D_.data, D_.ld, D_.at(n1_ + 1, n1_ + 1), D_.ld,
          D_.at(1, n1_ + 1), D_.ld, scale_, X_.data, X_.ld, xnorm, perturbed);
  }
  NeighbourBlocks(const NeighbourBlocks&) = delete;
  NeighbourBlocks& operator=(const NeighbourBlocks&) = delete;

  /// False if the swap is rejected.
  bool swap() {
    if (n1_ == 1) return swap_single_with_pair();
    return n2_ == 1 ? swap_pair_with_single() : swap_pairs();
  }

  /// Brings the blocks of order two to standard form where they are now.
  void standardise() const {
    if (n2_ == 2) standardise(j1_);
    if (n1_ == 2) standardise(j1_ + n2_);
  }

 private:
  static constexpr R smallest = Machine<R>::safe_min / Machine<R>::precision;
  using Reflector = ShortReflector<R>;

  /// Whether what must vanish in the trial is more than rounding has left.
  bool is_too_large(std::initializer_list<R> rest) const {
    return std::ranges::any_of(rest, [this](R x) { return std::abs(x) > thresh_; });
  }

  /// H D H, rows and columns k ... k + 2 of the trial.
  void try_similarity(const Reflector& H, Int k) const {
    H.apply_to_rows(order_, D_.at(k, 1), D_.ld, work_);
    H.apply_to_columns(order_, D_.at(1, k), D_.ld, work_);
  }

  void apply_to_q(const Reflector& H, Int k) const {
    if (wantq_) H.apply_to_columns(n_, Q_.at(1, k), Q_.ld, work_);
  }

  bool swap_single_with_pair() const {
    const auto H = Reflector::onto_last(scale_, X_(1, 1), X_(1, 2));
    const R moved = S_(j1_, j1_);
    try_similarity(H, 1);
    if (is_too_large({D_(3, 1), D_(3, 2), D_(3, 3) - moved})) return false;

    const Int last = j1_ + 2;
    H.apply_to_rows(n_ - j1_ + 1, S_.at(j1_, j1_), S_.ld, work_);
    H.apply_to_columns(last - 1, S_.at(1, j1_), S_.ld, work_);
    S_(last, j1_) = S_(last, j1_ + 1) = 0;
    S_(last, last) = moved;
    apply_to_q(H, j1_);
    return true;
  }

  bool swap_pair_with_single() const {
    const auto H = Reflector::onto_first(negated(X_(1, 1)), negated(X_(2, 1)), scale_);
    const R moved = S_(j1_ + 2, j1_ + 2);
    try_similarity(H, 1);
    if (is_too_large({D_(2, 1), D_(3, 1), D_(1, 1) - moved})) return false;

    H.apply_to_columns(j1_ + 2, S_.at(1, j1_), S_.ld, work_);
    H.apply_to_rows(n_ - j1_, S_.at(j1_, j1_ + 1), S_.ld, work_);
    S_(j1_, j1_) = moved;
    S_(j1_ + 1, j1_) = S_(j1_ + 2, j1_) = 0;
    apply_to_q(H, j1_);
    return true;
  }

  /// The second reflector is that of the second column behind the first one.
  bool swap_pairs() const {
    const auto H1 = Reflector::onto_first(negated(X_(1, 1)), negated(X_(2, 1)), scale_);
    const R weight = negated(H1.tau * (X_(1, 2) + H1.v[1] * X_(2, 2)));
    const auto H2 = Reflector::onto_first(negated(weight * H1.v[1]) - X_(2, 2), negated(weight * H1.v[2]), scale_);
    try_similarity(H1, 1);
    try_similarity(H2, 2);
    if (is_too_large({D_(3, 1), D_(3, 2), D_(4, 1), D_(4, 2)})) return false;

    for (const auto& [H, k] : {Step{H1, j1_}, Step{H2, j1_ + 1}}) {
      H.apply_to_rows(n_ - j1_ + 1, S_.at(k, j1_), S_.ld, work_);
      H.apply_to_columns(j1_ + 3, S_.at(1, k), S_.ld, work_);
      apply_to_q(H, k);
    }
    for (const Int j : {j1_, j1_ + 1}) S_(j1_ + 2, j) = S_(j1_ + 3, j) = 0;
    return true;
  }

  void standardise(Int j) const {
    R re1, im1, re2, im2, cs, sn;
    lanv2(S_(j, j), S_(j, j + 1), S_(j + 1, j), S_(j + 1, j + 1), re1, im1, re2, im2, cs, sn);
    if (j + 2 <= n_) blas::rot(n_ - j - 1, row(S_, j, j + 2), row(S_, j + 1, j + 2), cs, sn);
    blas::rot(j - 1, column(S_, 1, j), column(S_, 1, j + 1), cs, sn);
    if (wantq_) blas::rot(n_, column(Q_, 1, j), column(Q_, 1, j + 1), cs, sn);
  }

  struct Step {
    const Reflector& H;
    Int k;
  };

  bool wantq_;
  Int n_;
  Matrix<R> S_, Q_;
  Int j1_, n1_, n2_, order_;
  R* work_;
  R d_[4 * 4], x_[2 * 2];
  Matrix<R> D_{d_, 4}, X_{x_, 2};  ///< the trial, and the solution
  R scale_, thresh_;
};

}  // namespace

template <RealScalar T>
void laexc(Logical wantq, Int n, T* t, Int ldt, T* q, Int ldq, Int j1, Int n1, Int n2, T* work, Int& info) {
  info = 0;
  if (n == 0 || n1 == 0 || n2 == 0 || j1 + n1 > n) return;
  const bool with_q = is_true(wantq);
  const Matrix S{t, ldt}, Q{q, ldq};
  if (n1 == 1 && n2 == 1) return swap_eigenvalues(with_q, n, S, Q, j1);

  NeighbourBlocks<T> blocks(with_q, n, S, Q, j1, n1, n2, work);
  if (blocks.swap()) {
    blocks.standardise();
  } else {
    info = 1;
  }
}

}  // namespace nuv

#include "nonsymmetric/block_swap.entries.inc"
