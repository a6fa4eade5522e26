#include "nonsymmetric/quasi_triangular.hpp"

#include <algorithm>
#include <cmath>

#include "blas.hpp"
#include "environment/division.hpp"
#include "environment/machine_constants.hpp"
#include "environment/norms_general.hpp"
#include "nonsymmetric/diagonal_blocks.hpp"
#include "nonsymmetric/small_shifted_system.hpp"

namespace nuv {
namespace {

/// A system on its way. x has one part, or a real and an imaginary one.
///
///     T11 t  .       the block that is next: its unknowns are found and, for T, taken out of what is above; for T^T
///         t2 .       those above, which are known, are taken out of its right side first
///            .
template <RealScalar R>
class ScaledSubstitution {
 public:
  ScaledSubstitution(bool is_real, Int n, Matrix<const R> S, const R* b, R w, R* x, R* norms)
      : n_(n), parts_(is_real ? 1 : 2), S_(S), b_(b), w_(is_real ? R(0) : w), x_(x), norms_(norms) {
    R unused;
    R largest = lange('M', n, n, S.data, S.ld, &unused);
    if (!is_real) largest = std::max({largest, std::abs(w_), lange('M', n, 1, b, n, &unused)});
    const R least = std::max(smallest, Machine<R>::precision * largest);
    smin_ = std::max(Machine<R>::precision * std::abs(w_), least);
    measure_columns();
    limit_right_side();
  }

  void solve() {
    for_each_diagonal_block(S_, n_, false, [this](DiagonalBlock block) {
      solve_block(block, false);
      leave_room_above(block);
      take_out_of_rows_above(block);
    });
  }

  void solve_transposed() {
    for_each_diagonal_block(S_, n_, true, [this](DiagonalBlock block) {
      leave_room_in(block);
      take_known_out_of(block);
      solve_block(block, true);
      for (Int j = block.first; j <= block.last; ++j) largest_ = std::max(largest_, size(j));
    });
  }

  R scale() const { return scale_; }
  bool is_perturbed() const { return perturbed_; }

 private:
  static constexpr R smallest = Machine<R>::safe_min / Machine<R>::precision, greatest = 1 / smallest;

  bool is_complex() const { return parts_ == 2; }
  R* part(Int p) const { return x_ + std::ptrdiff_t{p} * n_; }
  R& re(Int j) const { return part(0)[j - 1]; }
  R& im(Int j) const { return part(1)[j - 1]; }
  R size(Int j) const { return is_complex() ? std::abs(re(j)) + std::abs(im(j)) : std::abs(re(j)); }

  R size(DiagonalBlock block) const { return std::max(size(block.first), size(block.last)); }
  R norm(DiagonalBlock block) const { return std::max(norms_[block.first - 1], norms_[block.last - 1]); }

  R largest_of_first(Int count) const {
    if (!is_complex()) return count == 0 ? R(0) : std::abs(x_[blas::iamax(count, {x_, 1}) - 1]);
    R largest = 0;
    for (Int j = 1; j <= count; ++j) largest = std::max(largest, size(j));
    return largest;
  }

  /// One-norms of the columns above the diagonal.
  void measure_columns() {
    norms_[0] = 0;
    for (Int j = 2; j <= n_; ++j) {
      norms_[j - 1] = blas::asum(j - 1, column(S_, 1, j));
      if (is_complex()) norms_[j - 1] += std::abs(b_[j - 1]);
    }
  }

  void limit_right_side() {
    const Int count = parts_ * n_;
    largest_ = std::abs(x_[blas::iamax(count, {x_, 1}) - 1]);
    if (largest_ > greatest) {
      scale_down(greatest / largest_);
      largest_ = greatest;
    }
  }

  void scale_down(R factor) {
    blas::scal(parts_ * n_, factor, Vector{x_, 1});
    scale_ *= factor;
  }

  void solve_block(DiagonalBlock block, bool transposed) {
    if (block.order() == 1) {
      solve_single(block.first, transposed);
    } else {
      solve_pair(block, transposed);
    }
  }

  void solve_single(Int j, bool transposed) {
    R t = S_(j, j);
    const R z = is_complex() && j == 1 ? b_[0] : w_;
    R pivot = std::abs(t) + std::abs(z);
    if (pivot < smin_) {
      t = pivot = smin_;
      perturbed_ = true;
    }
    const R rhs = size(j);
    if (rhs == 0) return;
    if (pivot < 1 && rhs > greatest * pivot) {
      scale_down(1 / rhs);
      largest_ *= 1 / rhs;
    }
    if (is_complex()) {
      ladiv(re(j), im(j), t, transposed ? negated(z) : z, re(j), im(j));
    } else {
      re(j) /= t;
    }
  }

  void solve_pair(DiagonalBlock block, bool transposed) {
    R rhs[2 * 2], solution[2 * 2];
    for (Int p = 0; p < parts_; ++p) std::copy_n(part(p) + (block.first - 1), 2, rhs + 2 * p);
    R factor, xnorm;
    Int info;
    laln2<R>(to_logical(transposed), 2, parts_, smin_, 1, S_.at(block.first, block.first), S_.ld, 1, 1, rhs, 2, 0,
             transposed ? w_ : negated(w_), solution, 2, factor, xnorm, info);
    perturbed_ = perturbed_ || info != 0;
    if (factor != 1) {
      scale_down(factor);
      largest_ *= factor;
    }
    for (Int p = 0; p < parts_; ++p) std::copy_n(solution + 2 * p, 2, part(p) + (block.first - 1));
  }

  /// Scales so that the unknowns of a block times its columns can be added to what is above.
  void leave_room_above(DiagonalBlock block) {
    const R found = size(block);
    if (found > 1 && norm(block) > (greatest - largest_) * (1 / found)) scale_down(1 / found);
  }

  void take_out_of_rows_above(DiagonalBlock block) {
    const Int above = block.first - 1;
    if (above == 0) return;
    for (Int j = block.first; j <= block.last; ++j) {
      for (Int p = 0; p < parts_; ++p) {
        blas::axpy(above, negated(part(p)[j - 1]), column(S_, 1, j), Vector{part(p), 1});
      }
      if (is_complex()) {
        re(1) += b_[j - 1] * im(j);
        im(1) -= b_[j - 1] * re(j);
      }
    }
    largest_ = largest_of_first(above);
  }

  /// Scales so that the known unknowns times the columns of a block can be added to its right side.
  void leave_room_in(DiagonalBlock block) {
    if (largest_ <= 1) return;
    const R factor = 1 / largest_;
    if (norm(block) > (greatest - size(block)) * factor) {
      scale_down(factor);
      largest_ *= factor;
    }
  }

  void take_known_out_of(DiagonalBlock block) {
    const Int above = block.first - 1;
    if (above == 0) return;
    for (Int j = block.first; j <= block.last; ++j) {
      for (Int p = 0; p < parts_; ++p) {
        part(p)[j - 1] -= blas::dot(above, column(S_, 1, j), Vector<const R>{part(p), 1});
      }
      if (is_complex()) {
        re(j) -= b_[j - 1] * im(1);
        im(j) += b_[j - 1] * re(1);
      }
    }
  }

  Int n_, parts_;
  Matrix<const R> S_;
  const R* b_;
  R w_;
  R* x_;
  R* norms_;
  R smin_;         ///< size below which a pivot is as good as zero
  R largest_ = 0;  ///< bound of the elements that are next to be multiplied with
  R scale_ = 1;
  bool perturbed_ = false;
};

}  // namespace

template <RealScalar T>
void laqtr(Logical ltran, Logical lreal, Int n, const T* t, Int ldt, const T* b, T w, T& scale, T* x, T* work,
           Int& info) {
  info = 0;
  if (n == 0) return;
  ScaledSubstitution<T> system(is_true(lreal), n, {t, ldt}, b, w, x, work);
  if (is_true(ltran)) {
    system.solve_transposed();
  } else {
    system.solve();
  }
  scale = system.scale();
  info = system.is_perturbed() ? 1 : 0;
}

}  // namespace nuv

#include "nonsymmetric/quasi_triangular.entries.inc"
