#include "environment/matrix_utilities.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "base/streaming.hpp"
#include "frame/option_matching.hpp"

namespace nuv {

template <Scalar T>
void laset(char uplo, Int m, Int n, T alpha, T beta, T* a, Int lda) {
  const Matrix A{a, lda};
  const bool upper = same_letter(uplo, 'U'), lower = same_letter(uplo, 'L');
  const bool streamed = is_streamed<T>(m, n);
  for (Int j = 1; j <= n; ++j) {
    const Int first = lower ? std::min(j, m) + 1 : 1;
    const Int count = (upper ? std::min(j - 1, m) : m) - first + 1;
    if (streamed) {
      stream_fill(alpha, count, A.at(first, j));
    } else {
      std::fill_n(A.at(first, j), count, alpha);
    }
  }
  if (streamed) finish_streaming();
  for (Int i = 1; i <= std::min(m, n); ++i) A(i, i) = beta;
}

template <Scalar T>
void lacpy(char uplo, Int m, Int n, const T* a, Int lda, T* b, Int ldb) {
  const Matrix A{a, lda};
  const Matrix B{b, ldb};
  const bool upper = same_letter(uplo, 'U'), lower = same_letter(uplo, 'L');
  const bool streamed = is_streamed<T>(m, n);
  for (Int j = 1; j <= n; ++j) {
    const Int first = lower ? std::min(j, m + 1) : 1;
    const Int count = (upper ? std::min(j, m) : m) - first + 1;
    if (streamed) {
      stream_copy(A.at(first, j), count, B.at(first, j));
    } else {
      std::copy_n(A.at(first, j), count, B.at(first, j));
    }
  }
  if (streamed) finish_streaming();
}

namespace {

template <Scalar T>
void swap_columns(Int m, Matrix<T> X, Int i, Int j) {
  if (m > 0) std::swap_ranges(X.at(1, i), X.at(m + 1, i), X.at(1, j));
}

/// Carries out a permutation k of 1 ... n by exchanges of two places each; a place of k is negative until its cycle has
/// been walked.
template <class Exchange>
void walk_cycles(Logical forward, Int n, Int* k, Exchange exchange) {
  if (n <= 1) return;
  const auto negate = [&](Int i) { return k[i - 1] = -k[i - 1]; };
  for (Int i = 1; i <= n; ++i) negate(i);
  for (Int i = 1; i <= n; ++i) {
    if (k[i - 1] > 0) continue;
    Int next = negate(i);
    if (is_true(forward)) {
      for (Int place = i; k[next - 1] < 0;) {
        exchange(place, next);
        place = next;
        next = negate(place);
      }
    } else {
      while (next != i) {
        exchange(i, next);
        next = negate(next);
      }
    }
  }
}

/// The last of m elements that is not zero, counted from one, or 0.
template <Scalar T>
Int last_nonzero(Int m, const T* x) {
  while (m > 0 && x[m - 1] == T(0)) --m;
  return std::max(m, 0);
}

}  // namespace

template <Scalar T>
void lapmt(Logical forward, Int m, Int n, T* x, Int ldx, Int* k) {
  const Matrix X{x, ldx};
  walk_cycles(forward, n, k, [&](Int i, Int j) { swap_columns(m, X, i, j); });
}

// Column by column, since rows lie far apart.
template <Scalar T>
void lapmr(Logical forward, Int m, Int n, T* x, Int ldx, Int* k) {
  const Matrix X{x, ldx};
  for (Int column = 1; column <= n; ++column) {
    walk_cycles(forward, m, k, [&](Int i, Int j) { std::swap(X(i, column), X(j, column)); });
  }
}

template <Scalar T>
Int ilalc(Int m, Int n, const T* a, Int lda) {
  const Matrix A{a, lda};
  while (n > 0 && last_nonzero(m, A.at(1, n)) == 0) --n;
  return std::max(n, 0);
}

template <Scalar T>
Int ilalr(Int m, Int n, const T* a, Int lda) {
  const Matrix A{a, lda};
  Int last = 0;
  for (Int j = 1; j <= n; ++j) {
    // Only what lies below the last row so far is of interest.
    if (last < m) last += last_nonzero(m - last, A.at(last + 1, j));
  }
  return last;
}

template <ComplexScalar T>
void lacgv(Int n, T* x, Int incx) {
  std::ptrdiff_t at = incx < 0 ? std::ptrdiff_t{1 - n} * incx : 0;
  for (Int i = 0; i < n; ++i, at += incx) x[at] = conjugate(x[at]);
}

}  // namespace nuv

#include "environment/matrix_utilities.entries.inc"
