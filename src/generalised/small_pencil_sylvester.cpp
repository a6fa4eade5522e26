#include "generalised/small_pencil_sylvester.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>

#include "base/quotient.hpp"
#include "frame/error_report.hpp"
#include "generalised/complete_pivoting.hpp"
#include "generalised/dif_estimate.hpp"
#include "generalised/pencil_equation.hpp"
#include "generalised/pivoted_factors.hpp"

namespace nuv {
namespace {

/// What is asked for, and what is found on the way.
template <Scalar T>
struct Progress {
  Int ijob;  ///< 0 for the adjoint
  Real<T>&rdsum, &rdscal;
  Int& info;
};

template <Scalar T>
T times_power(T x, Int exponent) {
  const int power = static_cast<int>(exponent);
  if constexpr (ComplexScalar<T>) {
    return {std::ldexp(x.real(), power), std::ldexp(x.imag(), power)};
  } else {
    return std::ldexp(x, power);
  }
}

/// The exponent of the largest finite part of any element, far below all others if there are zeros alone.
template <Scalar T>
class GreatestExponent {
  using R = Real<T>;

 public:
  static constexpr Int of_zeros = -(1 << 20);

  void add(T x) {
    for (const R part : {std::abs(std::real(x)), std::abs(std::imag(x))}) {
      if (part > largest_ && part <= Machine<R>::overflow) largest_ = part;
    }
  }
  Int value() const { return largest_ == 0 ? of_zeros : Int{std::ilogb(largest_)}; }

 private:
  R largest_ = 0;
};

/// The system of order 2 p q that p rows and q columns of an equation are, for the columns of R and below them those of
/// L:
///
///     [ I_q (x) A   -B^T (x) I_p ]
///     [ I_q (x) D   -E^T (x) I_p ]
///
/// or its adjoint.
///
/// The coefficients of its upper half, those of A and B, may be of quite another size than those of its lower half.
/// Among the larger ones complete pivoting would take the smaller ones for rounding errors, so that each half is
/// multiplied by a power of two of its own.
template <Scalar T>
class BlockSystem {
  using R = Real<T>;
  static constexpr Int most_rows = RealScalar<T> ? 2 : 1, greatest_order = 2 * most_rows * most_rows;

 public:
  BlockSystem(const PencilEquation<T>& equation, IndexRange k, IndexRange l)
      : equation_(equation), k_(k), l_(l), half_(k.count() * l.count()) {
    place_all();
    for (Int j = l.first; j <= l.last; ++j) {
      for (Int i = k.first; i <= k.last; ++i) {
        rhs_[number(i, j) - 1] = equation.C(i, j);
        rhs_[half_ + number(i, j) - 1] = equation.F(i, j);
      }
    }
  }

  /// Puts the solution into its place; gives its scale.
  R solve(const Progress<T>& progress) {
    R scale = 1;
    if (progress.ijob == 0) {
      scale = solve_scaled(progress);
    } else {
      solve_for_separation(progress);
    }
    for (Int j = l_.first; j <= l_.last; ++j) {
      for (Int i = k_.first; i <= k_.last; ++i) {
        equation_.C(i, j) = rhs_[number(i, j) - 1];
        equation_.F(i, j) = rhs_[half_ + number(i, j) - 1];
      }
    }
    return scale;
  }

 private:
  /// Two powers of two, for what belongs to the upper half and to the lower one.
  struct Exponents {
    Int upper, lower;

    Int greatest() const { return std::max(upper, lower); }
    Exponents operator+(Exponents other) const { return {upper + other.upper, lower + other.lower}; }
    Exponents operator-() const { return {-upper, -lower}; }
  };

  /// Solves the system with both halves and the right side of size one. Of the adjoint the halves are columns, which
  /// changes the unknowns in place of the right side.
  R solve_scaled(const Progress<T>& progress) {
    const Exponents sizes = sizes_of_halves(), none{0, 0};
    const Exponents before = equation_.is_adjoint ? none : -sizes, after = equation_.is_adjoint ? -sizes : none;
    multiply_halves(-sizes);
    if (const Int perturbed = factorise(); perturbed > 0) progress.info = perturbed;

    const Int unit = (sizes_of_right_side() + before).greatest();
    multiply_right_side(before + Exponents{-unit, -unit});
    R scale;
    gesc2(2 * half_, z_, greatest_order, rhs_, ipiv_, jpiv_, scale);
    const Int lifted = unit - reduction(unit + (sizes_of_right_side() + after).greatest());
    multiply_right_side(after + Exponents{lifted, lifted});
    return std::max(times_power(scale, lifted - unit), std::numeric_limits<R>::denorm_min());
  }

  /// What a solution of this exponent is divided by, as an exponent. One that is near overflow comes down to about one,
  /// so that products with it don't overflow, as long as the scale stays above zero.
  static Int reduction(Int size) {
    const Int greatest = -std::ilogb(least_pivot<R>) - 1;
    return size <= greatest ? 0 : std::max(size - greatest, std::min<Int>(size, std::numeric_limits<R>::max_exponent));
  }

  /// Chooses a right side for which the solution is large. The separation isn't that of a system with other rows: where
  /// pivots look like rounding errors they are chosen for halves of the same size, but the factors are those of the
  /// system as it is.
  void solve_for_separation(const Progress<T>& progress) {
    Int perturbed = factorise();
    if (const Int gap = gap_between_halves(); perturbed > 0 && gap != 0) {
      place_all();
      multiply_halves({-gap, 0});
      perturbed = factorise();
      multiply_factors({gap, 0});
    }
    if (perturbed > 0) progress.info = perturbed;
    latdf(progress.ijob, 2 * half_, z_, greatest_order, rhs_, progress.rdsum, progress.rdscal, ipiv_, jpiv_);
  }

  /// Gives what getc2 tells of perturbations.
  Int factorise() {
    Int perturbed;
    getc2(2 * half_, z_, greatest_order, ipiv_, jpiv_, perturbed);
    return perturbed;
  }

  /// Those of the coefficients. A half of zeros is like the other one.
  Exponents sizes_of_halves() const {
    const Int least = std::ilogb(least_pivot<R>);
    Exponents sizes{upper_.value(), lower_.value()};
    const Int greatest = sizes.greatest();
    if (greatest == GreatestExponent<T>::of_zeros) return {0, 0};
    if (sizes.upper == GreatestExponent<T>::of_zeros) sizes.upper = greatest;
    if (sizes.lower == GreatestExponent<T>::of_zeros) sizes.lower = greatest;
    return {std::max(sizes.upper, least), std::max(sizes.lower, least)};
  }

  /// No further than sums of squares of multipliers allow.
  Int gap_between_halves() const {
    constexpr Int most = std::numeric_limits<R>::max_exponent / 2 - 4;
    const Exponents sizes = sizes_of_halves();
    return std::clamp(sizes.upper - sizes.lower, -most, most);
  }

  Exponents sizes_of_right_side() const {
    GreatestExponent<T> upper, lower;
    for (Int i = 0; i < half_; ++i) {
      upper.add(rhs_[i]);
      lower.add(rhs_[half_ + i]);
    }
    return {upper.value(), lower.value()};
  }

  void multiply_right_side(Exponents by) {
    for (Int i = 0; i < half_; ++i) {
      rhs_[i] = times_power(rhs_[i], by.upper);
      rhs_[half_ + i] = times_power(rhs_[half_ + i], by.lower);
    }
  }

  /// Halves of rows, or of columns of the adjoint.
  void multiply_halves(Exponents by) {
    const Matrix<T> Z{z_, greatest_order};
    const R factors[2] = {times_power(R(1), by.upper), times_power(R(1), by.lower)};
    for (Int j = 1; j <= 2 * half_; ++j) {
      for (Int i = 1; i <= 2 * half_; ++i) Z(i, j) *= factors[(equation_.is_adjoint ? j : i) > half_];
    }
  }

  /// Turns the factors of a system into those of one with rows multiplied by these powers. Not for the adjoint.
  void multiply_factors(Exponents by) {
    const Matrix<T> Z{z_, greatest_order};
    const Int order = 2 * half_;
    Int power[greatest_order];
    for (Int i = 0; i < order; ++i) power[i] = i < half_ ? by.upper : by.lower;
    for (Int i = 0; i < order; ++i) std::swap(power[i], power[ipiv_[i] - 1]);
    for (Int j = 1; j <= order; ++j) {
      for (Int i = 1; i <= order; ++i) {
        Z(i, j) = times_power(Z(i, j), i > j ? power[i - 1] - power[j - 1] : power[i - 1]);
      }
    }
  }

  Int number(Int i, Int j) const { return i - k_.first + 1 + (j - l_.first) * k_.count(); }

  void place_all() {
    std::fill_n(z_, greatest_order * greatest_order, T(0));
    for (Int j = l_.first; j <= l_.last; ++j) {
      for (Int i = k_.first; i <= k_.last; ++i) place_row(i, j);
    }
  }

  /// Element (row, col) of the system, or of its adjoint (col, row).
  void place(Int row, Int col, T element) {
    (row <= half_ ? upper_ : lower_).add(element);
    const Matrix<T> Z{z_, greatest_order};
    if (equation_.is_adjoint) {
      Z(col, row) = conjugate(element);
    } else {
      Z(row, col) = element;
    }
  }

  /// The rows of element (i, j) of A R - L B and of D R - L E.
  void place_row(Int i, Int j) {
    const Int upper = number(i, j), lower = half_ + upper;
    for (Int k = k_.first; k <= k_.last; ++k) {
      place(upper, number(k, j), equation_.A(i, k));
      if (k >= i) place(lower, number(k, j), equation_.D(i, k));
    }
    for (Int l = l_.first; l <= l_.last; ++l) {
      place(upper, half_ + number(i, l), negated(equation_.B(l, j)));
      if (l <= j) place(lower, half_ + number(i, l), negated(equation_.E(l, j)));
    }
  }

  const PencilEquation<T>& equation_;
  IndexRange k_, l_;
  Int half_;
  T z_[greatest_order * greatest_order], rhs_[greatest_order];
  Int ipiv_[greatest_order], jpiv_[greatest_order];
  GreatestExponent<T> upper_, lower_;  ///< of the coefficients
};

/// Gives the scale of the solution.
template <Scalar T, class Pieces>
Real<T> solve_by_blocks(const PencilEquation<T>& equation, Pieces rows, Pieces columns, Progress<T> progress) {
  return substitute(equation, rows, columns,
                    [&](IndexRange k, IndexRange l) { return BlockSystem<T>(equation, k, l).solve(progress); });
}

}  // namespace

template <RealScalar T>
void tgsy2(char trans, Int ijob, Int m, Int n, const T* a, Int lda, const T* b, Int ldb, T* c, Int ldc, const T* d,
           Int ldd, const T* e, Int lde, T* f, Int ldf, T& scale, T& rdsum, T& rdscal, Int* iwork, Int& pq, Int& info) {
  info = check_pencil_equation<T>(trans, ijob, 2, m, n, lda, ldb, ldc, ldd, lde, ldf);
  if (info != 0) return report_bad_argument<T>("TGSY2", info);
  scale = 1;
  pq = 0;
  if (m == 0 || n == 0) return;

  const bool is_adjoint = !same_letter(trans, 'N');
  const PencilEquation<T> equation{is_adjoint, m, n, {a, lda}, {b, ldb}, {c, ldc}, {d, ldd}, {e, lde}, {f, ldf}};
  const ListedPieces rows = list_pieces(equation.A, m, 1, iwork),
                     columns = list_pieces(equation.B, n, 1, iwork + rows.count + 1);
  const std::int64_t systems = std::int64_t{rows.count} * columns.count;
  pq = static_cast<Int>(std::min<std::int64_t>(systems, std::numeric_limits<Int>::max()));
  scale = solve_by_blocks<T>(equation, rows, columns, {is_adjoint ? 0 : ijob, rdsum, rdscal, info});
}

template <ComplexScalar T>
void tgsy2(char trans, Int ijob, Int m, Int n, const T* a, Int lda, const T* b, Int ldb, T* c, Int ldc, const T* d,
           Int ldd, const T* e, Int lde, T* f, Int ldf, Real<T>& scale, Real<T>& rdsum, Real<T>& rdscal, Int& info) {
  info = check_pencil_equation<T>(trans, ijob, 2, m, n, lda, ldb, ldc, ldd, lde, ldf);
  if (info != 0) return report_bad_argument<T>("TGSY2", info);
  scale = 1;
  if (m == 0 || n == 0) return;

  const bool is_adjoint = !same_letter(trans, 'N');
  const PencilEquation<T> equation{is_adjoint, m, n, {a, lda}, {b, ldb}, {c, ldc}, {d, ldd}, {e, lde}, {f, ldf}};
  scale = solve_by_blocks<T>(equation, SinglePieces{m}, SinglePieces{n}, {is_adjoint ? 0 : ijob, rdsum, rdscal, info});
}

}  // namespace nuv

#include "generalised/small_pencil_sylvester.entries.inc"
