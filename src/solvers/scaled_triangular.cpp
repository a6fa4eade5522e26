#include "solvers/scaled_triangular.hpp"

#include <algorithm>
#include <cmath>

#include "base/quotient.hpp"
#include "blas.hpp"
#include "environment/extremes.hpp"
#include "environment/hermitian.hpp"
#include "environment/machine_constants.hpp"
#include "environment/norms_columns.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "frame/pool.hpp"

namespace nuv {
namespace {

/// Limits of the numbers that are let stand: the second is the reciprocal of the first, and sums of a few that are
/// smaller than it are far from overflow.
template <RealScalar R>
constexpr R smallest = Machine<R>::safe_min / Machine<R>::precision;
template <RealScalar R>
constexpr R largest = 1 / smallest<R>;

/// The larger of the magnitudes of a number's parts, which never overflows.
template <Scalar T>
Real<T> size(T x) {
  return larger_or_nan(std::abs(std::real(x)), std::abs(std::imag(x)));
}

/// Size of a largest element, up to a factor of two where they are complex; NaN does not count.
template <Scalar T>
Real<T> largest_size(Int n, const T* x) {
  return n > 0 ? size(x[blas::iamax(n, {x, 1}) - 1]) : 0;
}

/// Whether the parts of all elements are numbers up to this limit.
template <Scalar T>
bool are_within(Int n, const T* x, Real<T> limit) {
  bool within = true;
  for (Int i = 0; i < n; ++i) within &= std::abs(std::real(x[i])) <= limit && std::abs(std::imag(x[i])) <= limit;
  return within;
}

/// A triangle of order n with the storage behind its columns, and what is solved with it.
template <Scalar T>
class TriangularSystem {
  using R = Real<T>;

 public:
  template <class Columns>
  TriangularSystem(char uplo, char trans, char diag, Int n, const Columns& columns)
      : columns_(&columns),
        run_([](const void* pointer, Int j) { return (*static_cast<const Columns*>(pointer))(j); }),
        upper_(same_letter(uplo, 'U')),
        n_(n),
        is_unit(same_letter(diag, 'U')),
        is_transposed(!same_letter(trans, 'N')),
        is_conjugated(same_letter(trans, 'C')) {}

  Int order() const { return n_; }
  T diagonal(Int j) const { return is_unit ? T(1) : diagonal_entry(run_(columns_, j), upper_); }
  Run<T> beside_diagonal(Int j) const { return without_diagonal(run_(columns_, j), j, upper_); }

  /// The unknown that substitution finds in a step.
  Int unknown(Int step) const { return upper_ == is_transposed ? step : n_ + 1 - step; }

 private:
  const void* columns_;
  Run<T> (*run_)(const void*, Int);
  bool upper_;
  Int n_;

 public:
  const bool is_unit, is_transposed, is_conjugated;
};

template <Scalar T>
void sum_columns(const TriangularSystem<T>& A, Real<T>* cnorm) {
  for (Int j = 1; j <= A.order(); ++j) {
    const Run<T> run = A.beside_diagonal(j);
    cnorm[j - 1] = blas::asum(run.count, {run.entries, 1});
  }
}

/// The same of factor A, where the sums of A itself would overflow.
template <Scalar T>
void sum_scaled_columns(const TriangularSystem<T>& A, Real<T> factor, Real<T>* cnorm) {
  for (Int j = 1; j <= A.order(); ++j) {
    const Run<T> run = A.beside_diagonal(j);
    Real<T> sum = 0;
    for (Int i = 0; i < run.count; ++i) {
      sum += factor * std::abs(std::real(run.entries[i])) + factor * std::abs(std::imag(run.entries[i]));
    }
    cnorm[j - 1] = sum;
  }
}

/// The power of two, at most one, that brings a finite number below a limit: a product with it is exact.
template <RealScalar R>
R factor_below(R limit, R number) {
  R factor = 1;
  while (factor * number > limit) factor /= 2;
  return factor;
}

/// Brings the column sums below the limit: gives the factor that does it to A, and puts the sums of that product into
/// cnorm. One if there is nothing to do, zero if a number in A is not finite.
template <Scalar T>
Real<T> scale_column_sums(const TriangularSystem<T>& A, Real<T>* cnorm) {
  using R = Real<T>;
  const Int n = A.order();
  R largest_sum = 0;
  for (Int j = 0; j < n; ++j) largest_sum = larger_or_nan(largest_sum, cnorm[j]);
  if (largest_sum <= largest<R>) return 1;
  if (largest_sum <= Machine<R>::overflow) {
    const R factor = factor_below(largest<R>, largest_sum);
    blas::scal(n, factor, Vector{cnorm, 1});
    return factor;
  }
  if (largest_sum != largest_sum) return 0;
  R largest_entry = 0;
  for (Int j = 1; j <= n; ++j) {
    const Run<T> run = A.beside_diagonal(j);
    largest_entry = std::max(largest_entry, largest_size(run.count, run.entries));
  }
  if (!(largest_entry <= Machine<R>::overflow)) return 0;
  const R factor = factor_below(largest<R> / (4 * static_cast<R>(n)), largest_entry);
  sum_scaled_columns(A, factor, cnorm);
  return factor;
}

/// The reciprocal of a bound on all numbers that substitution forms for a right-hand side whose elements are at most
/// `start`; zero where the bound overflows.
///
/// By columns an element of what is left of b grows by at most the factor 1 + c / d in a step, c the column's sum and d
/// its diagonal entry, and an unknown is such an element divided by d. By rows an unknown is at most (1 + c) / d times
/// the largest of those before.
template <Scalar T>
Real<T> reciprocal_growth(const TriangularSystem<T>& A, const Real<T>* cnorm, Real<T> start) {
  using R = Real<T>;
  R of_rest = 1 / std::max(start, smallest<R>), of_unknowns = of_rest;
  for (Int step = 1; step <= A.order() && std::min(of_rest, of_unknowns) > smallest<R>; ++step) {
    const Int j = A.unknown(step);
    const R d = size(A.diagonal(j)), c = cnorm[j - 1];
    if (A.is_transposed) {
      of_rest = std::min(of_rest, of_unknowns / (1 + c));
      if (1 + c > d) of_unknowns *= d / (1 + c);
    } else {
      of_unknowns = std::min(of_unknowns, std::min(R(1), d) * of_rest);
      of_rest = d + c >= smallest<R> ? of_rest * (d / (d + c)) : 0;
    }
  }
  return std::min(of_rest, of_unknowns);
}

/// Substitution that looks at each number before it is formed, and makes all of x smaller where it would get too large.
/// The matrix is the product of A with a factor, and cnorm its column sums, all below the limit.
template <Scalar T>
class CarefulSubstitution {
  using R = Real<T>;

 public:
  CarefulSubstitution(const TriangularSystem<T>& A, R matrix_factor, const R* cnorm, T* x)
      : A_(A), n_(A.order()), matrix_factor_(matrix_factor), cnorm_(cnorm), x_(x), bound_(largest_size(n_, x)) {}

  /// Gives the factor of the right-hand side.
  R solve() {
    if (bound_ > largest<R>) shrink(largest<R> / bound_);
    if (A_.is_transposed) bound_ = 0;
    for (Int step = 1; step <= n_; ++step) {
      const Int j = A_.unknown(step);
      if (A_.is_transposed) {
        subtract_products(j);
        divide_by_diagonal(j);
        bound_ = std::max(bound_, size(x_[j - 1]));
      } else {
        divide_by_diagonal(j);
        subtract_column(j, n_ - step);
      }
    }
    return factor_;
  }

 private:
  void shrink(R factor) {
    blas::scal(n_, factor, Vector{x_, 1});
    factor_ *= factor;
    bound_ *= factor;
  }

  void divide_by_diagonal(Int j) {
    const T d = A_.diagonal(j) * matrix_factor_;
    if (d == T(0)) return start_null_vector(j);
    T& xj = x_[j - 1];
    if (size(d) < 1 && size(xj) > size(d) * largest<R>) shrink(size(d) * largest<R> / size(xj));
    xj = quotient(xj, A_.is_conjugated ? conjugate(d) : d);
  }

  /// From here on x is a solution of the homogeneous system, whose unknowns found so far are zero.
  void start_null_vector(Int j) {
    std::fill_n(x_, n_, T(0));
    x_[j - 1] = T(1);
    factor_ = 0;
    bound_ = 0;
  }

  /// Makes room for the product of column j of the matrix with numbers of this size, beside one of the other size.
  void make_room(Int j, R multiplier, R beside) {
    const R c = cnorm_[j - 1];
    if (multiplier > (largest<R> - beside) / c) shrink(std::min(R(0.5), R(0.5) * (largest<R> / c / multiplier)));
  }

  /// Subtracts column j times x(j) from the elements whose turn is still to come; bound_ is that of all of them.
  void subtract_column(Int j, Int rest) {
    const Run<T> run = A_.beside_diagonal(j);
    make_room(j, size(x_[j - 1]), bound_);
    blas::axpy(run.count, negated(x_[j - 1] * matrix_factor_), {run.entries, 1}, Vector{x_ + (run.first - 1), 1});
    bound_ = largest_size(rest, A_.unknown(n_) < j ? x_ : x_ + j);
  }

  /// Subtracts the products of column j with the unknowns found so far, whose bound is bound_, from x(j).
  void subtract_products(Int j) {
    make_room(j, bound_, size(x_[j - 1]));
    x_[j - 1] -= matrix_factor_ == 1 ? product(A_.beside_diagonal(j)) : scaled_product(A_.beside_diagonal(j));
  }

  T product(Run<T> run) const {
    return inner_product<T>(A_.is_conjugated, run.count, {run.entries, 1}, {x_ + (run.first - 1), 1});
  }

  /// The same of the scaled matrix: without the factor the products may overflow.
  T scaled_product(Run<T> run) const {
    T sum = 0;
    for (Int i = 0; i < run.count; ++i) {
      const T a = A_.is_conjugated ? conjugate(run.entries[i]) : run.entries[i];
      sum += (a * matrix_factor_) * x_[run.first - 1 + i];
    }
    return sum;
  }

  const TriangularSystem<T>& A_;
  Int n_;
  R matrix_factor_;
  const R* cnorm_;
  T* x_;
  R bound_;       ///< of the elements of x that the next step takes: those to come by columns, those found by rows
  R factor_ = 1;  ///< of the right-hand side
};

/// Solves by plain substitution and puts b back if a number got too large: had one overflowed on the way, an infinity
/// or NaN would have come of it. False if it did, and where there is no memory for b.
template <Scalar T, class Substitute>
bool substitute_in_range(Int n, T* x, Substitute substitute) {
  const Workspace<T> b(n);
  if (b.data() == nullptr) return false;
  blas::copy(n, {x, 1}, Vector{b.data(), 1});
  substitute();
  if (are_within(n, x, largest<Real<T>>)) return true;
  blas::copy(n, {b.data(), 1}, Vector{x, 1});
  return false;
}

/// The method for all storages; substitute() is plain substitution. Gives the scale.
template <Scalar T, class Substitute>
Real<T> solve_scaled(const TriangularSystem<T>& A, char normin, T* x, Real<T>* cnorm, Substitute substitute) {
  using R = Real<T>;
  const Int n = A.order();
  if (n == 0) return 1;
  if (same_letter(normin, 'N')) sum_columns(A, cnorm);

  // An element's magnitude is at most twice its size, and the largest size is known up to a factor of two.
  const R start = (ComplexScalar<T> ? 4 : 1) * largest_size(n, x);
  // Ahead of all that looks at the elements one by one: those of the diagonal lie far apart in memory.
  if (reciprocal_growth(A, cnorm, start) > smallest<R>) {
    substitute();
    return 1;
  }

  R least_diagonal = 1, most_diagonal = 1;
  for (Int j = 1; j <= n && !A.is_unit; ++j) {
    least_diagonal = smaller_or_nan(least_diagonal, size(A.diagonal(j)));
    most_diagonal = larger_or_nan(most_diagonal, size(A.diagonal(j)));
  }
  const bool finite = most_diagonal <= Machine<R>::overflow && are_within(n, x, Machine<R>::overflow);
  const R matrix_factor = finite ? scale_column_sums(A, cnorm) : R(0);
  if (matrix_factor == 0) {
    substitute();
    return 1;
  }
  if (matrix_factor == 1 && least_diagonal != 0 && substitute_in_range(n, x, substitute)) return 1;

  const R factor = CarefulSubstitution(A, matrix_factor, cnorm, x).solve();
  if (matrix_factor != 1) blas::scal(n, 1 / matrix_factor, Vector{cnorm, 1});
  return factor / matrix_factor;
}

/// 0, or minus the position of the first bad argument of uplo, trans, diag, normin, n.
Int check_options(char uplo, char trans, char diag, char normin, Int n) {
  if (!is_one_of(uplo, 'U', 'L')) return -1;
  if (!is_one_of(trans, 'N', 'T', 'C')) return -2;
  if (!is_one_of(diag, 'N', 'U')) return -3;
  if (!is_one_of(normin, 'Y', 'N')) return -4;
  if (n < 0) return -5;
  return 0;
}

}  // namespace

template <Scalar T>
void latrs(char uplo, char trans, char diag, char normin, Int n, const T* a, Int lda, T* x, Real<T>& scale,
           Real<T>* cnorm, Int& info) {
  info = check_options(uplo, trans, diag, normin, n);
  if (info == 0 && lda < std::max(1, n)) info = -7;
  if (info != 0) return report_bad_argument<T>("LATRS", info);

  const Matrix A{a, lda};
  const TrapezoidColumns<T> columns{same_letter(uplo, 'U'), n, A};
  scale = solve_scaled(TriangularSystem<T>(uplo, trans, diag, n, columns), normin, x, cnorm, [&] {
    blas::trsv(uplo, trans, diag, n, A, Vector{x, 1});
  });
}

template <Scalar T>
void latps(char uplo, char trans, char diag, char normin, Int n, const T* ap, T* x, Real<T>& scale, Real<T>* cnorm,
           Int& info) {
  info = check_options(uplo, trans, diag, normin, n);
  if (info != 0) return report_bad_argument<T>("LATPS", info);

  const PackedColumns<T> columns{same_letter(uplo, 'U'), n, ap};
  scale = solve_scaled(TriangularSystem<T>(uplo, trans, diag, n, columns), normin, x, cnorm, [&] {
    blas::tpsv(uplo, trans, diag, n, ap, Vector{x, 1});
  });
}

template <Scalar T>
void latbs(char uplo, char trans, char diag, char normin, Int n, Int kd, const T* ab, Int ldab, T* x, Real<T>& scale,
           Real<T>* cnorm, Int& info) {
  info = check_options(uplo, trans, diag, normin, n);
  if (info == 0) info = kd < 0 ? -6 : ldab - 1 < kd ? -8 : 0;
  if (info != 0) return report_bad_argument<T>("LATBS", info);

  const Matrix AB{ab, ldab};
  const BandColumns<T> columns = band_triangle<T>(same_letter(uplo, 'U'), n, kd, AB);
  scale = solve_scaled(TriangularSystem<T>(uplo, trans, diag, n, columns), normin, x, cnorm, [&] {
    blas::tbsv(uplo, trans, diag, n, kd, AB, Vector{x, 1});
  });
}

}  // namespace nuv

#include "solvers/scaled_triangular.entries.inc"
