#include "solvers/equilibration.hpp"

#include <algorithm>
#include <cmath>

#include "environment/extremes.hpp"
#include "environment/machine_constants.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "solvers/absolute_products.hpp"

namespace nuv {
namespace {

// ----------------------------------------------------------------------------------------------------- finding factors

/// A band matrix of m rows.
template <Scalar T>
struct RectangularBandColumns {
  Int m;
  Int kl;
  Int ku;
  Matrix<const T> AB;

  Run<T> operator()(Int j) const {
    const Int above = std::min(ku, j - 1), below = std::min(kl, m - j);
    return {j - above, std::max(0, above + below + 1), AB.at(ku + 1 - above, j)};
  }
};

template <RealScalar R>
R into_safe_range(R x) {
  constexpr R smlnum = Machine<R>::safe_min, bignum = 1 / smlnum;
  return smaller_or_nan(larger_or_nan(x, smlnum), bignum);
}

/// Turns the largest entries of all rows, or columns, into factors. Gives the position of the first that is zero, and
/// changes nothing then; else zero.
template <RealScalar R>
Int invert_largest_entries(Int count, R* x, R& ratio, R& largest) {
  R least = 1 / Machine<R>::safe_min;
  largest = 0;
  for (Int i = 0; i < count; ++i) {
    largest = larger_or_nan(largest, x[i]);
    least = smaller_or_nan(least, x[i]);
  }
  const R* const zero = std::find(x, x + count, R(0));
  if (zero != x + count) return static_cast<Int>(zero - x) + 1;
  for (Int i = 0; i < count; ++i) x[i] = 1 / into_safe_range(x[i]);
  ratio = larger_or_nan(least, Machine<R>::safe_min) / smaller_or_nan(largest, 1 / Machine<R>::safe_min);
  return 0;
}

template <Scalar T, class Columns>
void find_factors(Int m, Int n, const Columns& columns, Real<T>* r, Real<T>* c, Real<T>& rowcnd, Real<T>& colcnd,
                  Real<T>& amax, Int& info) {
  using R = Real<T>;
  if (m == 0 || n == 0) {
    rowcnd = colcnd = 1;
    amax = 0;
    return;
  }
  std::fill_n(r, m, R(0));
  for (Int j = 1; j <= n; ++j) {
    const Run<T> run = columns(j);
    R* const rows = r + (run.first - 1);
    for (Int i = 0; i < run.count; ++i) rows[i] = larger_or_nan(rows[i], abs1(run.entries[i]));
  }
  info = invert_largest_entries(m, r, rowcnd, amax);
  if (info != 0) return;

  for (Int j = 1; j <= n; ++j) {
    const Run<T> run = columns(j);
    const R* const rows = r + (run.first - 1);
    R largest = 0;
    for (Int i = 0; i < run.count; ++i) largest = larger_or_nan(largest, abs1(run.entries[i]) * rows[i]);
    c[j - 1] = largest;
  }
  R largest;
  info = invert_largest_entries(n, c, colcnd, largest);
  if (info != 0) info += m;
}

/// The same for a positive definite matrix; diagonal(i) gives its elements.
template <RealScalar R, class Diagonal>
void find_factors_of_diagonal(Int n, Diagonal diagonal, R* s, R& scond, R& amax, Int& info) {
  scond = 1;
  amax = 0;
  if (n == 0) return;
  R least = diagonal(1);
  for (Int i = 1; i <= n; ++i) {
    s[i - 1] = diagonal(i);
    least = smaller_or_nan(least, s[i - 1]);
    amax = larger_or_nan(amax, s[i - 1]);
  }
  const R* const bad = std::find_if(s, s + n, [](R x) { return x <= 0; });
  if (bad != s + n) {
    info = static_cast<Int>(bad - s) + 1;
    return;
  }
  for (Int i = 0; i < n; ++i) s[i] = 1 / std::sqrt(s[i]);
  scond = std::sqrt(least) / std::sqrt(amax);
}

}  // namespace

template <Scalar T>
void geequ(Int m, Int n, const T* a, Int lda, Real<T>* r, Real<T>* c, Real<T>& rowcnd, Real<T>& colcnd, Real<T>& amax,
           Int& info) {
  info = 0;
  if (m < 0) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, m)) info = -4;
  if (info != 0) return report_bad_argument<T>("GEEQU", info);
  find_factors<T>(m, n, FullColumns<T>{m, {a, lda}}, r, c, rowcnd, colcnd, amax, info);
}

template <Scalar T>
void gbequ(Int m, Int n, Int kl, Int ku, const T* ab, Int ldab, Real<T>* r, Real<T>* c, Real<T>& rowcnd,
           Real<T>& colcnd, Real<T>& amax, Int& info) {
  info = 0;
  if (m < 0) info = -1;
  else if (n < 0) info = -2;
  else if (kl < 0) info = -3;
  else if (ku < 0) info = -4;
  else if (ldab - 1 < std::int64_t{kl} + ku) info = -6;
  if (info != 0) return report_bad_argument<T>("GBEQU", info);
  find_factors<T>(m, n, RectangularBandColumns<T>{m, kl, ku, {ab, ldab}}, r, c, rowcnd, colcnd, amax, info);
}

template <Scalar T>
void poequ(Int n, const T* a, Int lda, Real<T>* s, Real<T>& scond, Real<T>& amax, Int& info) {
  info = 0;
  if (n < 0) info = -1;
  else if (lda < std::max(1, n)) info = -3;
  if (info != 0) return report_bad_argument<T>("POEQU", info);
  const Matrix A{a, lda};
  find_factors_of_diagonal(n, [&](Int i) { return std::real(A(i, i)); }, s, scond, amax, info);
}

template <Scalar T>
void ppequ(char uplo, Int n, const T* ap, Real<T>* s, Real<T>& scond, Real<T>& amax, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  if (info != 0) return report_bad_argument<T>("PPEQU", info);
  const bool upper = same_letter(uplo, 'U');
  const PackedColumns<T> columns{upper, n, ap};
  find_factors_of_diagonal(
      n, [&](Int i) { return std::real(diagonal_entry(columns(i), upper)); }, s, scond, amax, info);
}

template <Scalar T>
void pbequ(char uplo, Int n, Int kd, const T* ab, Int ldab, Real<T>* s, Real<T>& scond, Real<T>& amax, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (kd < 0) info = -3;
  else if (ldab - 1 < kd) info = -5;
  if (info != 0) return report_bad_argument<T>("PBEQU", info);
  const Matrix AB{ab, ldab};
  const Int diagonal_row = same_letter(uplo, 'U') ? kd + 1 : 1;
  find_factors_of_diagonal(n, [&](Int i) { return std::real(AB(diagonal_row, i)); }, s, scond, amax, info);
}

// ---------------------------------------------------------------------------------------------------- applying factors

namespace {

/// Whether factors with this ratio are so close to each other that they change little.
template <RealScalar R>
bool is_even(R ratio) {
  return ratio >= R(0.1);
}

/// Whether the largest entry is far from under- and overflow.
template <RealScalar R>
bool is_moderate(R amax) {
  constexpr R small = Machine<R>::safe_min / Machine<R>::precision, large = 1 / small;
  return amax >= small && amax <= large;
}

/// Multiplies element (i, j) of a matrix that is stored in `a` by factor(i, j).
template <Scalar T, class Columns, class Factor>
void multiply_elements(Int n, const Columns& columns, T* a, Factor factor) {
  for (Int j = 1; j <= n; ++j) {
    const Run<T> run = columns(j);
    T* const entries = a + (run.entries - a);
    for (Int i = 0; i < run.count; ++i) entries[i] = factor(run.first + i, j) * entries[i];
  }
}

template <Scalar T, class Columns>
char scale_general(Int m, Int n, const Columns& columns, T* a, const Real<T>* r, const Real<T>* c, Real<T> rowcnd,
                   Real<T> colcnd, Real<T> amax) {
  if (m <= 0 || n <= 0) return 'N';
  const bool by_rows = !(is_even(rowcnd) && is_moderate(amax)), by_columns = !is_even(colcnd);
  if (by_rows && by_columns) {
    multiply_elements(n, columns, a, [=](Int i, Int j) { return c[j - 1] * r[i - 1]; });
    return 'B';
  }
  if (by_rows) {
    multiply_elements(n, columns, a, [=](Int i, Int) { return r[i - 1]; });
    return 'R';
  }
  if (by_columns) {
    multiply_elements(n, columns, a, [=](Int, Int j) { return c[j - 1]; });
    return 'C';
  }
  return 'N';
}

/// What becomes of the imaginary parts of a diagonal.
enum class Diagonal { as_it_is, made_real };

template <Diagonal kind, Scalar T, class Columns>
char scale_symmetric(bool upper, Int n, const Columns& columns, T* a, const Real<T>* s, Real<T> scond, Real<T> amax) {
  if (n <= 0 || (is_even(scond) && is_moderate(amax))) return 'N';
  multiply_elements(n, columns, a, [=](Int i, Int j) { return s[j - 1] * s[i - 1]; });
  if constexpr (kind == Diagonal::made_real) {
    for (Int j = 1; j <= n; ++j) {
      T& d = a[&diagonal_entry(columns(j), upper) - a];
      d = std::real(d);
    }
  }
  return 'Y';
}

template <Diagonal kind, Scalar T>
char scale_full(char uplo, Int n, T* a, Int lda, const Real<T>* s, Real<T> scond, Real<T> amax) {
  const bool upper = same_letter(uplo, 'U');
  return scale_symmetric<kind>(upper, n, TrapezoidColumns<T>{upper, n, {a, lda}}, a, s, scond, amax);
}

template <Diagonal kind, Scalar T>
char scale_packed(char uplo, Int n, T* ap, const Real<T>* s, Real<T> scond, Real<T> amax) {
  const bool upper = same_letter(uplo, 'U');
  return scale_symmetric<kind>(upper, n, PackedColumns<T>{upper, n, ap}, ap, s, scond, amax);
}

template <Diagonal kind, Scalar T>
char scale_band(char uplo, Int n, Int kd, T* ab, Int ldab, const Real<T>* s, Real<T> scond, Real<T> amax) {
  const bool upper = same_letter(uplo, 'U');
  return scale_symmetric<kind>(upper, n, band_triangle<T>(upper, n, kd, {ab, ldab}), ab, s, scond, amax);
}

}  // namespace

template <Scalar T>
void laqge(Int m, Int n, T* a, Int lda, const Real<T>* r, const Real<T>* c, Real<T> rowcnd, Real<T> colcnd,
           Real<T> amax, char& equed) {
  equed = scale_general(m, n, FullColumns<T>{m, {a, lda}}, a, r, c, rowcnd, colcnd, amax);
}

template <Scalar T>
void laqgb(Int m, Int n, Int kl, Int ku, T* ab, Int ldab, const Real<T>* r, const Real<T>* c, Real<T> rowcnd,
           Real<T> colcnd, Real<T> amax, char& equed) {
  equed = scale_general(m, n, RectangularBandColumns<T>{m, kl, ku, {ab, ldab}}, ab, r, c, rowcnd, colcnd, amax);
}

template <Scalar T>
void laqsy(char uplo, Int n, T* a, Int lda, const Real<T>* s, Real<T> scond, Real<T> amax, char& equed) {
  equed = scale_full<Diagonal::as_it_is>(uplo, n, a, lda, s, scond, amax);
}

template <Scalar T>
void laqsp(char uplo, Int n, T* ap, const Real<T>* s, Real<T> scond, Real<T> amax, char& equed) {
  equed = scale_packed<Diagonal::as_it_is>(uplo, n, ap, s, scond, amax);
}

template <Scalar T>
void laqsb(char uplo, Int n, Int kd, T* ab, Int ldab, const Real<T>* s, Real<T> scond, Real<T> amax, char& equed) {
  equed = scale_band<Diagonal::as_it_is>(uplo, n, kd, ab, ldab, s, scond, amax);
}

template <ComplexScalar T>
void laqhe(char uplo, Int n, T* a, Int lda, const Real<T>* s, Real<T> scond, Real<T> amax, char& equed) {
  equed = scale_full<Diagonal::made_real>(uplo, n, a, lda, s, scond, amax);
}

template <ComplexScalar T>
void laqhp(char uplo, Int n, T* ap, const Real<T>* s, Real<T> scond, Real<T> amax, char& equed) {
  equed = scale_packed<Diagonal::made_real>(uplo, n, ap, s, scond, amax);
}

template <ComplexScalar T>
void laqhb(char uplo, Int n, Int kd, T* ab, Int ldab, const Real<T>* s, Real<T> scond, Real<T> amax, char& equed) {
  equed = scale_band<Diagonal::made_real>(uplo, n, kd, ab, ldab, s, scond, amax);
}

}  // namespace nuv

#include "solvers/equilibration.entries.inc"
