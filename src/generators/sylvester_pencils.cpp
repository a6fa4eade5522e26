#include "generators/sylvester_pencils.hpp"

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/matrix_utilities.hpp"

namespace nuv {
namespace {

/// A number in (-amplitude / 2, 3 amplitude / 2) that looks random.
template <RealScalar R>
R wave(std::int64_t k, R amplitude) {
  return (R(0.5) - std::sin(static_cast<R>(k))) * amplitude;
}

constexpr std::int64_t product(Int i, Int j) {
  return std::int64_t{i} * j;
}

constexpr std::int64_t sum(Int i, Int j) {
  return std::int64_t{i} + j;
}

template <Scalar T, class Element>
void fill(Int m, Int n, Matrix<T> X, Element element) {
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= m; ++i) X(i, j) = element(i, j);
  }
}

/// The same above and on the diagonal, zeros below.
template <Scalar T, class Element>
void fill_upper(Int n, Matrix<T> X, Element element) {
  fill(n, n, X, [&](Int i, Int j) { return i <= j ? element(i, j) : 0; });
}

template <Scalar T>
void set_identity(Int n, Matrix<T> X) {
  laset('F', n, n, T(0), T(1), X.data, X.ld);
}

template <Scalar T>
void set_jordan_block(Int n, Real<T> eigenvalue, Real<T> above, Matrix<T> X) {
  fill(n, n, X, [&](Int i, Int j) { return i == j ? eigenvalue : j == i + 1 ? above : 0; });
}

/// Makes blocks of order two of an upper triangle, with complex eigenvalues since signs beside their diagonal differ.
template <Scalar T>
void make_quasi_triangular(Int n, Int distance, Matrix<T> X) {
  distance = std::max(distance, 2);
  for (Int k = 1; k < n; k += std::min(distance, n - k)) {
    X(k + 1, k + 1) = X(k, k);
    X(k + 1, k) = negated(std::sin(std::real(X(k, k + 1))));
  }
}

/// A row of a matrix with blocks of order two on its diagonal: an element on it and one beside it.
template <RealScalar R>
struct Row {
  R diagonal, beside;
};

/// Rows of A of which blocks have eigenvalues 1 +- i im, 1 + re +- i im, re +- i, -re +- i, and 1 +- 2 i im for the
/// rest.
template <RealScalar R>
Row<R> close_row_of_a(Int i, R re, R im) {
  if (i <= 2) return {R(1), im};
  if (i <= 4) return {R(1) + re, im};
  if (i <= 6) return {re, R(1)};
  if (i <= 8) return {negated(re), R(1)};
  return {R(1), im * R(2)};
}

template <RealScalar R>
Row<R> close_row_of_b(Int i, R re, R im) {
  if (i <= 2) return {R(-1), im};
  if (i <= 4) return {R(1) - re, im};
  if (i <= 6) return {re, R(1) + im};
  if (i <= 8) return {negated(re), R(1) + im};
  return {R(1) - re, im * R(2)};
}

/// In a block the element beside stands right of the first diagonal element and, negated, left of the second. So it
/// does left of a last one that begins a block.
template <Scalar T>
void set_close_blocks(Int n, Row<Real<T>> row_of(Int, Real<T>, Real<T>), Real<T> alpha, Matrix<T> X) {
  using R = Real<T>;
  laset('F', n, n, T(0), T(0), X.data, X.ld);
  for (Int i = 1; i <= n; ++i) {
    const auto [diagonal, beside] = row_of(i, R(20) / alpha, R(-1.5) / alpha);
    X(i, i) = diagonal;
    if (i % 2 != 0 && i < n) X(i, i + 1) = beside;
    else if (i > 1) X(i, i - 1) = negated(beside);
  }
}

/// Y := X R - L Z
template <Scalar T>
void set_right_hand_side(Int m, Int n, Matrix<T> X, Matrix<T> R, Matrix<T> L, Matrix<T> Z, Matrix<T> Y) {
  blas::gemm('N', 'N', m, n, m, T(1), X, R, T(0), Y);
  blas::gemm('N', 'N', m, n, n, T(-1), L, Z, T(1), Y);
}

}  // namespace

template <Scalar T>
void latm5(Int prtype, Int m, Int n, T* a, Int lda, T* b, Int ldb, T* c, Int ldc, T* d, Int ldd, T* e, Int lde, T* f,
           Int ldf, T* r, Int ldr, T* l, Int ldl, Real<T> alpha, Int qblcka, Int qblckb) {
  using Number = Real<T>;
  const Matrix A{a, lda}, B{b, ldb}, C{c, ldc}, D{d, ldd}, E{e, lde}, F{f, ldf}, R{r, ldr}, L{l, ldl};
  const auto of_product = [](Number amplitude) { return [=](Int i, Int j) { return wave(product(i, j), amplitude); }; };
  const auto of_sum = [](Number amplitude) { return [=](Int i, Int j) { return wave(sum(i, j), amplitude); }; };

  if (prtype == 1) {
    set_jordan_block(m, Number(1), Number(-1), A);
    set_jordan_block(n, Number(1) - alpha, Number(1), B);
    set_identity(m, D);
    set_identity(n, E);
    for (const Matrix X : {R, L}) fill(m, n, X, [](Int i, Int j) { return wave(i / j, Number(20)); });
  } else if (prtype == 2 || prtype == 3) {
    fill_upper(m, A, [](Int i, Int) { return wave(i, Number(2)); });
    fill_upper(n, B, of_sum(2));
    fill_upper(m, D, of_product(2));
    fill_upper(n, E, [](Int, Int j) { return wave(j, Number(2)); });
    fill(m, n, R, of_product(20));
    fill(m, n, L, of_sum(20));
    if (prtype == 3) {
      make_quasi_triangular(m, qblcka, A);
      make_quasi_triangular(n, qblckb, B);
    }
  } else if (prtype == 4) {
    fill(m, m, A, of_product(20));
    fill(n, n, B, of_sum(20));
    fill(m, m, D, of_sum(2));
    fill(n, n, E, of_product(2));
    fill(m, n, R, [](Int i, Int j) { return wave(j / i, Number(20)); });
    fill(m, n, L, of_product(2));
  } else if (prtype >= 5) {
    set_close_blocks(m, close_row_of_a, alpha, A);
    set_close_blocks(n, close_row_of_b, alpha, B);
    set_identity(m, D);
    set_identity(n, E);
    // Times alpha first and divided then, as the formula stands.
    fill(m, n, R, [&](Int i, Int j) { return wave(product(i, j), alpha) / 20; });
    fill(m, n, L, [&](Int i, Int j) { return wave(sum(i, j), alpha) / 20; });
  }

  set_right_hand_side(m, n, A, R, L, B, C);
  set_right_hand_side(m, n, D, R, L, E, F);
}

}  // namespace nuv

#include "generators/sylvester_pencils.entries.inc"
