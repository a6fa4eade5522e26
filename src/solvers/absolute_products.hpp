#pragma once

// Products of magnitudes, |A| |x|: what rounding errors of a product A x are measured by.
//
// A complex number counts as |re| + |im|, which takes no root and is at most sqrt(2) too large. A matrix is given as a
// function from a column's number to its run of entries.

#include <cmath>

#include "environment/abs1.hpp"
#include "environment/norms_columns.hpp"

namespace nuv {

/// y += |a| factor over the entries of a column.
template <Scalar T>
void add_magnitudes_of_column(Run<T> run, Real<T> factor, Real<T>* y) {
  Real<T>* const rows = y + (run.first - 1);
#pragma GCC ivdep
  for (Int i = 0; i < run.count; ++i) rows[i] += abs1(run.entries[i]) * factor;
}

/// |a|^T |x| over the entries of a column, in a few sums that do not wait for each other.
template <Scalar T>
Real<T> product_of_magnitudes(Run<T> run, const T* x) {
  constexpr Int chains = 4;
  const T* const rows = x + (run.first - 1);
  Real<T> sums[chains] = {};
  Int i = 0;
  for (; i <= run.count - chains; i += chains) {
    for (Int k = 0; k < chains; ++k) sums[k] += abs1(run.entries[i + k]) * abs1(rows[i + k]);
  }
  for (; i < run.count; ++i) sums[0] += abs1(run.entries[i]) * abs1(rows[i]);
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

/// Whether so many columns from j on have the same rows.
template <class Columns>
bool are_alike(Int j, Int width, const Columns& columns) {
  const auto run = columns(j);
  for (Int k = 1; k < width; ++k) {
    const auto other = columns(j + k);
    if (other.first != run.first || other.count != run.count) return false;
  }
  return true;
}

/// y += |A| |x| for columns j ... of the same rows, side by side, so that y comes from memory once.
template <Int width, Scalar T, class Columns>
void add_magnitudes_of_columns(Int j, const Columns& columns, const T* x, Real<T>* y) {
  const T* entries[width];
  Real<T> factors[width];
  for (Int k = 0; k < width; ++k) {
    entries[k] = columns(j + k).entries;
    factors[k] = abs1(x[j - 1 + k]);
  }
  const Int count = columns(j).count;
  Real<T>* const rows = y + (columns(j).first - 1);
#pragma GCC ivdep
  for (Int i = 0; i < count; ++i) {
    Real<T> sum = rows[i];
    for (Int k = 0; k < width; ++k) sum += abs1(entries[k][i]) * factors[k];
    rows[i] = sum;
  }
}

/// y += |A| |x| or |A|^T |x| for a matrix of n columns.
template <Scalar T, class Columns>
void add_absolute_product(bool is_transposed, Int n, const Columns& columns, const T* x, Real<T>* y) {
  constexpr Int width = 4;
  for (Int j = 1; j <= n;) {
    if (is_transposed) {
      y[j - 1] += product_of_magnitudes(columns(j), x);
      ++j;
    } else if (j + width - 1 <= n && are_alike(j, width, columns)) {
      add_magnitudes_of_columns<width>(j, columns, x, y);
      j += width;
    } else {
      add_magnitudes_of_column(columns(j), abs1(x[j - 1]), y);
      ++j;
    }
  }
}

/// The same for a triangular matrix with ones on its diagonal, whatever the columns hold there.
template <Scalar T, class Columns>
void add_absolute_product_unit(bool upper, bool is_transposed, Int n, const Columns& columns, const T* x, Real<T>* y) {
  add_absolute_product(
      is_transposed, n, [&](Int j) { return without_diagonal(columns(j), j, upper); }, x, y);
  for (Int j = 0; j < n; ++j) y[j] += abs1(x[j]);
}

/// The same for the symmetric or Hermitian matrix of which the columns are one triangle.
///
/// has_real_diagonal  imaginary parts on the diagonal do not count
template <Scalar T, class Columns>
void add_absolute_product_symmetric(bool upper, bool has_real_diagonal, Int n, const Columns& columns, const T* x,
                                    Real<T>* y) {
  for (Int j = 1; j <= n; ++j) {
    const Run<T> run = columns(j), beside = without_diagonal(run, j, upper);
    const T d = diagonal_entry(run, upper);
    const Real<T> xj = abs1(x[j - 1]);
    add_magnitudes_of_column(beside, xj, y);
    y[j - 1] += (has_real_diagonal ? std::abs(std::real(d)) : abs1(d)) * xj + product_of_magnitudes(beside, x);
  }
}

}  // namespace nuv
