#include "generalised/dif_estimate.hpp"

#include <algorithm>

#include "blas.hpp"
#include "environment/hermitian.hpp"
#include "environment/magnitudes.hpp"
#include "environment/sums_of_squares.hpp"
#include "generalised/complete_pivoting.hpp"
#include "generalised/pivoted_factors.hpp"
#include "solvers/condition.hpp"

namespace nuv {
namespace {

/// Of the systems that a generalised Sylvester equation falls into: two matrices of order two.
constexpr Int most_unknowns = 8;

/// Adds 1 or -1 to each element of x while it becomes L^-1 x: whichever makes the sum of the squares of that element
/// and of what it leaves of the others larger. A tie is decided for -1 once and for 1 from then on, which does well by
/// matrices like that of Byers, of the same elements all over.
///
/// The last element is left as it is.
template <Scalar T>
void look_ahead(const PivotedFactors<T>& factors, T* x) {
  using R = Real<T>;
  const Int n = factors.n;
  R at_tie = -1;
  for (Int j = 1; j < n; ++j) {
    const Vector<const T> below = column(factors.LU, j + 1, j);
    const Vector<T> rest{x + j, 1};
    const R own = std::real(x[j - 1]) * (1 + squared_length(n - j, below)),
            others = std::real(inner_product<T>(true, n - j, below, rest));
    R chosen;
    if (own > others) {
      chosen = 1;
    } else if (others > own) {
      chosen = -1;
    } else {
      chosen = at_tie;
      at_tie = 1;
    }
    x[j - 1] += chosen;
    blas::axpy(n - j, negated(x[j - 1]), below, rest);
  }
}

template <Scalar T>
Real<T> sum_of_magnitudes(Int n, const T* x) {
  Real<T> sum = 0;
  for (Int i = n; i >= 1; --i) sum += magnitude(x[i - 1]);
  return sum;
}

template <Scalar T>
void solve_for_signs(const PivotedFactors<T>& factors, T* rhs) {
  using R = Real<T>;
  const Int n = factors.n;
  factors.exchange_rows(rhs);
  look_ahead(factors, rhs);

  // Pivoting has left the ill condition to U, and to its last element: for that, both signs are tried.
  T other[most_unknowns];
  std::copy_n(rhs, n, other);
  other[n - 1] += R(1);
  rhs[n - 1] -= R(1);
  factors.substitute_back(other);
  factors.substitute_back(rhs);
  if (sum_of_magnitudes(n, other) > sum_of_magnitudes(n, rhs)) std::copy_n(other, n, rhs);
  factors.exchange_columns_back(rhs);
}

/// A unit vector y with y^H Z as small as an estimate of the condition of Z has it.
template <Scalar T>
void find_null_vector(const PivotedFactors<T>& factors, T* y) {
  using R = Real<T>;
  const Int n = factors.n;
  T work[4 * most_unknowns];
  SecondWork<T> second[2 * most_unknowns];
  // The estimate works on the adjoint of the inverse. Where that overflows, these numbers stay.
  T* const image = work + n;
  std::fill_n(image, n, T(1));
  R rcond;
  Int info;
  gecon('I', n, factors.LU.data, factors.LU.ld, R(1), rcond, work, second, info);

  std::copy_n(image, n, y);
  factors.exchange_rows_back(y);
  blas::scal(n, 1 / blas::nrm2(n, Vector<const T>{y, 1}), Vector{y, 1});
}

template <Scalar T>
void solve_near_null_vector(const PivotedFactors<T>& factors, T* rhs) {
  using R = Real<T>;
  const Int n = factors.n;
  T y[most_unknowns], other[most_unknowns];
  find_null_vector(factors, y);
  for (Int i = 0; i < n; ++i) {
    other[i] = y[i] + rhs[i];
    rhs[i] -= y[i];
  }
  R scale;
  gesc2(n, factors.LU.data, factors.LU.ld, rhs, factors.ipiv, factors.jpiv, scale);
  gesc2(n, factors.LU.data, factors.LU.ld, other, factors.ipiv, factors.jpiv, scale);
  if (blas::asum(n, Vector<const T>{other, 1}) > blas::asum(n, Vector<const T>{rhs, 1})) std::copy_n(other, n, rhs);
}

}  // namespace

template <Scalar T>
void latdf(Int ijob, Int n, const T* z, Int ldz, T* rhs, Real<T>& rdsum, Real<T>& rdscal, const Int* ipiv,
           const Int* jpiv) {
  if (n < 1 || n > most_unknowns) return;
  const PivotedFactors<T> factors{n, {z, ldz}, ipiv, jpiv};
  if (ijob == 2) {
    solve_near_null_vector(factors, rhs);
  } else {
    solve_for_signs(factors, rhs);
  }
  lassq(n, rhs, 1, rdscal, rdsum);
}

}  // namespace nuv

#include "generalised/dif_estimate.entries.inc"
