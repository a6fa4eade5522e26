#include "nonsymmetric/balancing.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/machine_constants.hpp"
#include "environment/magnitudes.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "nonsymmetric/exchanges_back.hpp"

namespace nuv {
namespace {

/// Rows and columns first ... last of a matrix of order n, those between the isolated ones.
template <Scalar T>
struct Middle {
  using R = Real<T>;

  Int n;
  Matrix<T> A;
  R* scale;
  Int first = 1, last = n;

  /// Exchanges row and column j for row and column `end`, where they are isolated.
  void exchange(Int j, Int end) const {
    scale[end - 1] = R(j);
    if (j == end) return;
    blas::swap(last, column(A, 1, j), column(A, 1, end));
    blas::swap(n - first + 1, row(A, j, first), row(A, end, first));
  }

  /// Whether row j has nothing but its diagonal element. NaN is something.
  bool is_isolated_row(Int j) const {
    for (Int i = 1; i <= last; ++i) {
      if (i != j && A(j, i) != T(0)) return false;
    }
    return true;
  }

  bool is_isolated_column(Int j) const {
    for (Int i = first; i <= last; ++i) {
      if (i != j && A(i, j) != T(0)) return false;
    }
    return true;
  }

  Int isolated_row() const {
    Int j = last;
    while (j >= 1 && !is_isolated_row(j)) --j;
    return j;
  }

  Int isolated_column() const {
    Int j = first;
    while (j <= last && !is_isolated_column(j)) ++j;
    return j;
  }

  /// Brings isolated rows to the end and isolated columns to the front. False if that leaves nothing.
  bool permute() {
    for (Int j = isolated_row(); j >= 1; j = isolated_row()) {
      exchange(j, last);
      if (last == 1) return false;
      --last;
    }
    for (Int j = isolated_column(); j <= last; j = isolated_column()) {
      exchange(j, first);
      ++first;
    }
    return true;
  }

  R norm_of_column(Int i) const {
    R sum = 0;
    for (Int j = first; j <= last; ++j) sum += j == i ? R(0) : magnitude(A(j, i));
    return sum;
  }

  R norm_of_row(Int i) const {
    R sum = 0;
    for (Int j = first; j <= last; ++j) sum += j == i ? R(0) : magnitude(A(i, j));
    return sum;
  }

  R largest_in_column(Int i) const { return magnitude(A(blas::iamax(last, column(A, 1, i)), i)); }

  R largest_in_row(Int i) const { return magnitude(A(i, first - 1 + blas::iamax(n - first + 1, row(A, i, first)))); }

  /// The power of two by which column i is to be multiplied, and row i divided; one if they are well as they are.
  R factor_for(Int i) const {
    constexpr R radix = 2, gain = R(0.95);
    constexpr R least = Machine<R>::safe_min / Machine<R>::precision, greatest = 1 / least;
    constexpr R low = least * radix, high = 1 / low;

    R c = norm_of_column(i), r = norm_of_row(i);
    if (c == 0 || r == 0) return 1;
    R ca = largest_in_column(i), ra = largest_in_row(i);
    const R sum = c + r;
    R f = 1, g = r / radix;
    while (c < g && std::max({f, c, ca}) < high && std::min({r, g, ra}) > low) {
      f *= radix;
      c *= radix;
      ca *= radix;
      r /= radix;
      g /= radix;
      ra /= radix;
    }
    g = c / radix;
    while (g >= r && std::max(r, ra) < high && std::min({f, c, g, ca}) > low) {
      f /= radix;
      c /= radix;
      g /= radix;
      ca /= radix;
      r *= radix;
      ra *= radix;
    }
    const R so_far = scale[i - 1];
    const bool would_vanish = f < 1 && so_far < 1 && f * so_far <= least;
    const bool would_overflow = f > 1 && so_far > 1 && so_far >= greatest / f;
    return c + r >= gain * sum || would_vanish || would_overflow ? R(1) : f;
  }

  /// Goes over all rows and columns until none gains from scaling. A sum that is NaN compares with nothing and asks for
  /// a factor of one: there is nothing to gain, either.
  void equilibrate() const {
    for (bool changed = true; changed;) {
      changed = false;
      for (Int i = first; i <= last; ++i) {
        const R f = factor_for(i);
        if (f == 1) continue;
        changed = true;
        scale[i - 1] *= f;
        blas::scal(n - first + 1, 1 / f, row(A, i, first));
        blas::scal(last, f, column(A, 1, i));
      }
    }
  }
};

}  // namespace

template <Scalar T>
void gebal(char job, Int n, T* a, Int lda, Int& ilo, Int& ihi, Real<T>* scale, Int& info) {
  info = 0;
  if (!is_one_of(job, 'N', 'P', 'S', 'B')) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, n)) info = -4;
  if (info != 0) return report_bad_argument<T>("GEBAL", info);

  Middle<T> middle{n, {a, lda}, scale};
  const bool permutes = is_one_of(job, 'P', 'B'), scales = is_one_of(job, 'S', 'B');
  const bool leaves_some = n == 0 || !permutes || middle.permute();
  ilo = middle.first;
  ihi = middle.last;
  if (!leaves_some || n == 0) return;
  std::fill(scale + (ilo - 1), scale + ihi, Real<T>(1));
  if (scales) middle.equilibrate();
}

template <Scalar T>
void gebak(char job, char side, Int n, Int ilo, Int ihi, const Real<T>* scale, Int m, T* v, Int ldv, Int& info) {
  const bool right = same_letter(side, 'R');
  info = 0;
  if (!is_one_of(job, 'N', 'P', 'S', 'B')) info = -1;
  else if (!is_one_of(side, 'R', 'L')) info = -2;
  else if (n < 0) info = -3;
  else if (ilo < 1 || ilo > std::max(1, n)) info = -4;
  else if (ihi < std::min(ilo, n) || ihi > n) info = -5;
  else if (m < 0) info = -7;
  else if (ldv < std::max(1, n)) info = -9;
  if (info != 0) return report_bad_argument<T>("GEBAK", info);
  if (n == 0 || m == 0 || same_letter(job, 'N')) return;

  const Matrix V{v, ldv};
  if (is_one_of(job, 'S', 'B') && ilo != ihi) {
    for (Int i = ilo; i <= ihi; ++i) blas::scal(m, right ? scale[i - 1] : 1 / scale[i - 1], row(V, i, 1));
  }
  if (is_one_of(job, 'P', 'B')) exchange_rows_back(n, ilo, ihi, scale, m, V);
}

}  // namespace nuv

#include "nonsymmetric/balancing.entries.inc"
