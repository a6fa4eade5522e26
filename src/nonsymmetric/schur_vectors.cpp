#include "nonsymmetric/schur_vectors.hpp"

#include <algorithm>
#include <cmath>

#include "environment/extremes.hpp"
#include "frame/error_report.hpp"
#include "nonsymmetric/eigenvector_columns.hpp"
#include "nonsymmetric/small_shifted_system.hpp"

namespace nuv {
namespace {

/// A diagonal block of a quasi-triangular matrix: rows first ... last, one or two.
struct DiagonalBlock {
  Int first, last;

  Int order() const { return last - first + 1; }
};

template <RealScalar T>
DiagonalBlock block_that_ends_in(Int j, Matrix<const T> S) {
  return {j > 1 && S(j, j - 1) != 0 ? j - 1 : j, j};
}

template <RealScalar T>
DiagonalBlock block_that_begins_in(Int n, Int j, Matrix<const T> S) {
  return {j, j < n && S(j + 1, j) != 0 ? j + 1 : j};
}

/// Substitution for the vector of one block of a quasi-triangular matrix S, in one part, or in two where the block is
/// that of a complex pair. The part p = 0, 1 starts with one element alone in the rows of the block, the p-th.
template <RealScalar T>
class QuasiTriangularSubstitution {
 public:
  /// work    3 n elements, sums of columns in the first n
  QuasiTriangularSubstitution(Int n, Matrix<const T> S, const SubstitutionRange<T>& range, T* work, DiagonalBlock own)
      : n_(n),
        S_(S),
        range_(range),
        sums_(work),
        parts_{work + n, work + n + n},
        own_(own),
        value_(S(own.first, own.first)) {
    if (own.order() == 2) {
      imaginary_ = std::sqrt(std::abs(S(own.last, own.first))) * std::sqrt(std::abs(S(own.first, own.last)));
    }
    least_pivot_ = std::max(Machine<T>::precision * (std::abs(value_) + imaginary_), range.smallest);
  }

  /// (S - w I) x = 0
  void find_right() const {
    start(true);
    for (Int p = 0; p < own_.order(); ++p) {
      const T start = element(p, own_.first + p);
      for (Int k = 1; k < own_.first; ++k) element(p, k) = negated(start) * S_(k, own_.first + p);
    }
    for (Int j = own_.first - 1; j >= 1;) {
      const DiagonalBlock block = block_that_ends_in(j, S_);
      Unknowns x = solve(block, false, imaginary_);
      const T sum = largest_sum(block);
      if (x.norm > 1 && sum > range_.largest / x.norm) x.divide_by_norm();
      scale_rows(1, own_.last, x.scale);
      put(block, x);
      for (Int k = block.first; k <= block.last; ++k) {
        for (Int p = 0; p < own_.order(); ++p) {
          blas::axpy(block.first - 1, negated(element(p, k)), column(S_, 1, k), Vector{parts_[p], 1});
        }
      }
      j = block.first - 1;
    }
  }

  /// (S - w I)^H x = 0
  void find_left() const {
    start(false);
    for (Int p = 0; p < own_.order(); ++p) {
      const T start = element(p, own_.first + p);
      for (Int k = own_.last + 1; k <= n_; ++k) element(p, k) = negated(start) * S_(own_.first + p, k);
    }
    T largest = 1;  // among the elements found
    T limit_of_sum = range_.largest;
    for (Int j = own_.last + 1; j <= n_;) {
      const DiagonalBlock block = block_that_begins_in(n_, j, S_);
      if (largest_sum(block) > limit_of_sum) {
        scale_rows(own_.first, n_, 1 / largest);
        largest = 1;
        limit_of_sum = range_.largest;
      }
      const Int found = j - own_.last - 1;
      for (Int k = block.first; k <= block.last; ++k) {
        for (Int p = 0; p < own_.order(); ++p) {
          element(p, k) -= blas::dot(found, column(S_, own_.last + 1, k), Vector<const T>{parts_[p] + own_.last, 1});
        }
      }
      const Unknowns x = solve(block, true, negated(imaginary_));
      scale_rows(own_.first, n_, x.scale);
      put(block, x);
      for (Int k = block.first; k <= block.last; ++k) {
        for (Int p = 0; p < own_.order(); ++p) largest = larger_or_nan(largest, std::abs(element(p, k)));
      }
      limit_of_sum = range_.largest / largest;
      j = block.last + 1;
    }
  }

  /// Puts what was found into as many columns of V from column j on as there are parts, and normalises it.
  void store_right(bool transformed, Matrix<T> V, Int j) const { store(1, own_.first - 1, transformed, V, j); }
  void store_left(bool transformed, Matrix<T> V, Int j) const {
    store(own_.last + 1, n_ - own_.last, transformed, V, j);
  }

 private:
  /// Elements of the vector in the rows of a block.
  struct Unknowns {
    T x[2][2];
    T scale, norm;

    void divide_by_norm() {
      for (auto& part : x) {
        for (T& element : part) element /= norm;
      }
      scale /= norm;
    }
  };

  T& element(Int p, Int k) const { return parts_[p][k - 1]; }

  /// The elements in the rows of the block itself. Of a pair, for w = a + i v, they solve with its block
  ///
  ///     a  b      (1, i v / b) or (-v / c, i) on the right, (v / b, i) or (1, -i v / c) on the left
  ///     c  a
  void start(bool right) const {
    if (own_.order() == 1) {
      element(0, own_.first) = 1;
      return;
    }
    const T b = S_(own_.first, own_.last), c = S_(own_.last, own_.first);
    T &re = element(0, own_.first), &im = element(1, own_.last);
    element(0, own_.last) = element(1, own_.first) = 0;
    re = im = 1;
    if (std::abs(b) >= std::abs(c)) {
      (right ? im : re) = imaginary_ / b;
    } else {
      (right ? re : im) = negated(imaginary_) / c;
    }
  }

  T largest_sum(DiagonalBlock block) const { return larger_or_nan(sums_[block.first - 1], sums_[block.last - 1]); }

  Unknowns solve(DiagonalBlock block, bool transposed, T imaginary) const {
    Unknowns found = {};
    Int perturbed;
    laln2(to_logical(transposed), block.order(), own_.order(), least_pivot_, T(1), S_.at(block.first, block.first),
          S_.ld, T(1), T(1), &element(0, block.first), n_, value_, imaginary, found.x[0], 2, found.scale, found.norm,
          perturbed);
    return found;
  }

  void put(DiagonalBlock block, const Unknowns& found) const {
    for (Int p = 0; p < own_.order(); ++p) std::copy_n(found.x[p], block.order(), &element(p, block.first));
  }

  void scale_rows(Int from, Int to, T scale) const {
    if (scale == 1) return;
    for (Int p = 0; p < own_.order(); ++p) blas::scal(to - from + 1, scale, Vector{&element(p, from), 1});
  }

  void store(Int first, Int count, bool transformed, Matrix<T> V, Int j) const {
    const SubstitutedVector<T> vector{own_.order(), {parts_[0], parts_[1]}, own_.first, first, count};
    put_vector(n_, vector, transformed, V, j);
  }

  Int n_;
  Matrix<const T> S_;
  SubstitutionRange<T> range_;
  const T* sums_;
  T* parts_[2];
  DiagonalBlock own_;
  T value_, imaginary_ = 0, least_pivot_;
};

bool is_selected(const Logical* select, DiagonalBlock block) {
  return is_true(select[block.first - 1] | select[block.last - 1]);
}

}  // namespace

template <RealScalar T>
void trevc(char side, char howmny, Logical* select, Int n, const T* t, Int ldt, T* vl, Int ldvl, T* vr, Int ldvr,
           Int mm, Int& m, T* work, Int& info) {
  const WantedVectors wanted(side, howmny);
  const Matrix S{t, ldt};
  const auto for_each_block = [&](auto visit) {
    for (Int j = 1; j <= n;) {
      const DiagonalBlock block = block_that_begins_in(n, j, S);
      visit(block);
      j = block.last + 1;
    }
  };

  info = check_wanted_vectors(side, howmny, n, ldt, ldvl, ldvr);
  if (info == 0) {
    m = wanted.selected ? 0 : n;
    if (wanted.selected) {
      for_each_block([&](DiagonalBlock block) { m += is_selected(select, block) ? block.order() : 0; });
    }
    if (mm < m) info = -11;
  }
  if (info != 0) return report_bad_argument<T>("TREVC", info);
  if (n == 0) return;
  if (wanted.selected) {
    for_each_block([&](DiagonalBlock block) {
      if (block.order() == 1) return;
      select[block.first - 1] = to_logical(is_selected(select, block));
      select[block.last - 1] = to_logical(false);
    });
  }

  sum_columns_above_diagonal<T>(n, S, work);
  const SubstitutionRange<T> range(n);
  const auto find_right = [&](DiagonalBlock block, Int j) {
    const QuasiTriangularSubstitution<T> substitution(n, S, range, work, block);
    substitution.find_right();
    substitution.store_right(wanted.transformed, {vr, ldvr}, j);
  };
  const auto find_left = [&](DiagonalBlock block, Int j) {
    const QuasiTriangularSubstitution<T> substitution(n, S, range, work, block);
    substitution.find_left();
    substitution.store_left(wanted.transformed, {vl, ldvl}, j);
  };
  const auto find_wanted = [&](auto find) {
    Int j = 1;
    for_each_block([&](DiagonalBlock block) {
      if (wanted.selected && !is_selected(select, block)) return;
      find(block, j);
      j += block.order();
    });
  };
  if (wanted.right && wanted.transformed) {
    // The last first: of the matrix, a vector takes its own column and those before.
    for (Int j = n; j >= 1;) {
      const DiagonalBlock block = block_that_ends_in(j, S);
      find_right(block, block.first);
      j = block.first - 1;
    }
  } else if (wanted.right) {
    find_wanted(find_right);
  }
  if (wanted.left) find_wanted(find_left);
}

}  // namespace nuv

#include "nonsymmetric/schur_vectors.entries.inc"
