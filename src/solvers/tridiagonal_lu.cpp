#include "solvers/tridiagonal_lu.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "base/quotient.hpp"
#include "blas.hpp"
#include "environment/abs1.hpp"
#include "environment/block_plan.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "frame/pool.hpp"
#include "layer.hpp"

namespace nuv {

template <Scalar T>
void gttrf(Int n, T* dl, T* d, T* du, T* du2, Int* ipiv, Int& info) {
  info = n < 0 ? -1 : 0;
  if (info != 0) return report_bad_argument<T>("GTTRF", info);
  if (n == 0) return;
  for (Int i = 0; i < n - 1; ++i) {
    const bool has_second = i < n - 2;
    if (abs1(d[i]) >= abs1(dl[i])) {
      ipiv[i] = i + 1;
      if (d[i] != T(0)) {
        const T factor = quotient(dl[i], d[i]);
        dl[i] = factor;
        d[i + 1] -= factor * du[i];
      }
      if (has_second) du2[i] = T(0);
    } else {
      ipiv[i] = i + 2;
      const T factor = quotient(d[i], dl[i]);
      d[i] = dl[i];
      dl[i] = factor;
      const T below = d[i + 1];
      d[i + 1] = du[i] - factor * below;
      du[i] = below;
      if (has_second) {
        du2[i] = du[i + 1];
        du[i + 1] = negated(factor) * du2[i];
      }
    }
  }
  ipiv[n - 1] = n;
  for (Int i = 0; i < n && info == 0; ++i) {
    if (d[i] == T(0)) info = i + 1;
  }
}

namespace {

template <Scalar T>
struct TridiagonalFactors {
  Int n;
  const T *dl, *d, *du, *du2;
  const Int* ipiv;

  bool exchanged(Int i) const { return ipiv[i] != i + 1; }
};

/// A few right-hand sides as columns of B, rows counted from zero.
template <Scalar T>
struct AsColumns {
  T* data;
  std::ptrdiff_t ld;

  T& operator()(Int i, int c) const { return data[i + c * ld]; }
};

/// The same, the elements of a row beside each other.
template <int columns, Scalar T>
struct AsRows {
  T* data;

  T& operator()(Int i, int c) const { return data[std::ptrdiff_t{i} * columns + c]; }
};

/// Solves for a few columns side by side: each recurrence waits for its own last result only. A solve goes through the
/// rows down and up again, from B to a copy and back; for one column the copy may be B itself.
template <int columns, bool conjugated, Scalar T, class Columns, class Copy>
struct TridiagonalSolve {
  const TridiagonalFactors<T>& F;
  Columns B;
  Copy W;

  static T entry(T x) { return conjugated ? conjugate(x) : x; }

  struct Row {
    T x[columns];
  };
  static void load(Row& row, auto from, Int i) {
    for (int c = 0; c < columns; ++c) row.x[c] = from(i, c);
  }
  static void store(const Row& row, auto to, Int i) {
    for (int c = 0; c < columns; ++c) to(i, c) = row.x[c];
  }
  static void subtract(Row& row, T factor, const Row& other) {
    for (int c = 0; c < columns; ++c) row.x[c] -= factor * other.x[c];
  }
  static void divide(Row& row, T divisor) {
    for (int c = 0; c < columns; ++c) row.x[c] = quotient(row.x[c], divisor);
  }

  /// W := L^-1 B
  void apply_l() const {
    Row pending, next;
    load(pending, B, 0);
    for (Int i = 0; i < F.n - 1; ++i) {
      load(next, B, i + 1);
      if (F.exchanged(i)) std::swap(pending, next);
      store(pending, W, i);
      subtract(next, F.dl[i], pending);
      pending = next;
    }
    store(pending, W, F.n - 1);
  }

  /// B := U^-1 W
  void apply_u() const {
    Row row, newer = {}, older = {};
    for (Int i = F.n - 1; i >= 0; --i) {
      load(row, W, i);
      if (i < F.n - 1) subtract(row, F.du[i], newer);
      if (i < F.n - 2) subtract(row, F.du2[i], older);
      divide(row, F.d[i]);
      store(row, B, i);
      older = newer;
      newer = row;
    }
  }

  /// W := U^-T B
  void apply_u_transposed() const {
    Row row, newer = {}, older = {};
    for (Int i = 0; i < F.n; ++i) {
      load(row, B, i);
      if (i > 0) subtract(row, entry(F.du[i - 1]), newer);
      if (i > 1) subtract(row, entry(F.du2[i - 2]), older);
      divide(row, entry(F.d[i]));
      store(row, W, i);
      older = newer;
      newer = row;
    }
  }

  /// B := L^-T W
  void apply_l_transposed() const {
    Row pending, next;
    load(pending, W, F.n - 1);
    for (Int i = F.n - 2; i >= 0; --i) {
      load(next, W, i);
      subtract(next, entry(F.dl[i]), pending);
      if (F.exchanged(i)) std::swap(pending, next);
      store(pending, B, i + 1);
      pending = next;
    }
    store(pending, B, 0);
  }
};

template <int columns, Scalar T, class Columns, class Copy>
void solve(Int itrans, const TridiagonalFactors<T>& F, Columns B, Copy W) {
  const auto solve_transposed = [](auto with) {
    with.apply_u_transposed();
    with.apply_l_transposed();
  };
  if (itrans == 0) {
    const TridiagonalSolve<columns, false, T, Columns, Copy> with{F, B, W};
    with.apply_l();
    with.apply_u();
  } else if (itrans == 1 || RealScalar<T>) {
    solve_transposed(TridiagonalSolve<columns, false, T, Columns, Copy>{F, B, W});
  } else {
    solve_transposed(TridiagonalSolve<columns, true, T, Columns, Copy>{F, B, W});
  }
}

}  // namespace

template <Scalar T>
void gtts2(Int itrans, Int n, Int nrhs, const T* dl, const T* d, const T* du, const T* du2, const Int* ipiv, T* b,
           Int ldb) {
  if (n <= 0 || nrhs <= 0) return;
  constexpr int together = 4;
  const TridiagonalFactors<T> F{n, dl, d, du, du2, ipiv};
  const Matrix<T> B{b, ldb};
  Int j = 1;
  if (nrhs >= together) {
    const Workspace<T> copy(std::size_t(together) * std::size_t(n));
    if (copy.data() != nullptr) {
      for (; j + together - 1 <= nrhs; j += together) {
        solve<together>(itrans, F, AsColumns<T>{B.at(1, j), ldb}, AsRows<together, T>{copy.data()});
      }
    }
  }
  for (; j <= nrhs; ++j) {
    const AsColumns<T> one{B.at(1, j), ldb};
    solve<1>(itrans, F, one, one);
  }
}

template <Scalar T>
void xgttrs(char trans, Int n, Int nrhs, const T* dl, const T* d, const T* du, const T* du2, const Int* ipiv, T* b,
            Int ldb, Int& info) {
  info = 0;
  if (!is_one_of(trans, 'N', 'T', 'C')) info = -1;
  else if (n < 0) info = -2;
  else if (nrhs < 0) info = -3;
  else if (ldb < std::max(1, n)) info = -10;
  if (info != 0) return report_bad_argument<T>("GTTRS", info);
  if (n == 0 || nrhs == 0) return;
  const Int itrans = same_letter(trans, 'N') ? 0 : same_letter(trans, 'T') ? 1 : 2;
  const Int nb = std::max(1, Tuning<T>{RoutineName<T>("GTTRS"), {&trans, 1}, n, nrhs}.block_size());
  for (Int j = 1; j <= nrhs; j += std::min(nb, nrhs)) {
    gtts2(itrans, n, std::min(nb, nrhs - j + 1), dl, d, du, du2, ipiv, Matrix{b, ldb}.at(1, j), ldb);
  }
}

namespace {

template <RealScalar T>
void solve_without_memory(Int n, Int nrhs, T* dl, T* d, T* du, T* b, Int ldb, Int& info) {
  blas::gtsv_small(n, nrhs, dl, d, du, Matrix{b, ldb}, info);
}
template <ComplexScalar T>
void solve_without_memory(Int n, Int nrhs, T* dl, T* d, T* du, T* b, Int ldb, Int& info) {
  gtsv_small(n, nrhs, dl, d, du, b, ldb, info);
}

/// 0, or minus the position of the first bad argument of n, nrhs, dl, d, du, b, ldb.
Int check_system(Int n, Int nrhs, Int ldb) {
  if (n < 0) return -1;
  if (nrhs < 0) return -2;
  if (ldb < std::max(1, n)) return -7;
  return 0;
}

/// Right-hand sides from which on a factorisation pays.
template <Scalar T>
Int crossover(Int n, Int nrhs) {
  constexpr Int fewest = 4;
  return nrhs < fewest ? fewest : Tuning<T>{RoutineName<T>("GTSV"), " ", n, nrhs}.crossover();
}

}  // namespace

template <Scalar T>
void gtsv(Int n, Int nrhs, T* dl, T* d, T* du, T* b, Int ldb, Int& info) {
  info = check_system(n, nrhs, ldb);
  if (info != 0) return report_bad_argument<T>("GTSV", info);
  if (n == 0) return;
  if (nrhs >= crossover<T>(n, nrhs)) {
    // The second superdiagonal of a matrix of order one has no size that could be asked for.
    Workspace<T> du2(static_cast<std::size_t>(n - std::ptrdiff_t{2}));
    Workspace<Int> ipiv(static_cast<std::size_t>(n));
    if (du2.data() != nullptr && ipiv.data() != nullptr) {
      gttrf(n, dl, d, du, du2.data(), ipiv.data(), info);
      if (info == 0) layer::gttrs('N', n, nrhs, dl, d, du, du2.data(), ipiv.data(), {b, ldb}, info);
      du2.give_back();
      ipiv.give_back();
      return;
    }
  }
  solve_without_memory(n, nrhs, dl, d, du, b, ldb, info);
}

namespace {

/// Rows i and i + 1 of B, exchanged first if need be: the second loses `factor` times the first.
template <Scalar T>
void eliminate(Matrix<T> B, Int i, Int nrhs, bool exchange, T factor) {
  for (Int j = 1; j <= nrhs; ++j) {
    if (exchange) std::swap(B(i, j), B(i + 1, j));
    B(i + 1, j) -= factor * B(i, j);
  }
}

/// B := U^-1 B, the diagonals of U in d, du and du2.
template <Scalar T>
void solve_with_u(Int n, const T* d, const T* du, const T* du2, Int nrhs, Matrix<T> B) {
  for (Int j = 1; j <= nrhs; ++j) {
    T* const x = B.at(1, j);
    for (Int i = n - 1; i >= 0; --i) {
      if (i < n - 1) x[i] -= du[i] * x[i + 1];
      if (i < n - 2) x[i] -= du2[i] * x[i + 2];
      x[i] = quotient(x[i], d[i]);
    }
  }
}

}  // namespace

template <ComplexScalar T>
void gtsv_small(Int n, Int nrhs, T* dl, T* d, T* du, T* b, Int ldb, Int& info) {
  info = check_system(n, nrhs, ldb);
  if (info != 0) return report_bad_argument<T>("GTSV", info);
  if (n == 0) return;
  const Matrix<T> B{b, ldb};
  for (Int i = 0; i < n - 1; ++i) {
    const bool has_second = i < n - 2, exchange = abs1(d[i]) < abs1(dl[i]);
    if (!exchange && d[i] == T(0)) {
      info = i + 1;
      return;
    }
    const T factor = exchange ? quotient(d[i], dl[i]) : quotient(dl[i], d[i]);
    if (exchange) {
      d[i] = dl[i];
      const T below = d[i + 1];
      d[i + 1] = du[i] - factor * below;
      du[i] = below;
      if (has_second) {
        dl[i] = du[i + 1];
        du[i + 1] = negated(factor) * dl[i];
      }
    } else {
      d[i + 1] -= factor * du[i];
      if (has_second) dl[i] = T(0);
    }
    eliminate(B, i + 1, nrhs, exchange, factor);
  }
  if (d[n - 1] == T(0)) {
    info = n;
    return;
  }
  solve_with_u(n, d, du, dl, nrhs, B);
}

namespace {

/// B := beta B for a beta as lagtm takes it.
template <Scalar T>
void scale(Real<T> beta, Int n, Int nrhs, Matrix<T> B) {
  if (beta != 0 && beta != -1) return;
  for (Int j = 1; j <= nrhs; ++j) {
    for (Int i = 1; i <= n; ++i) B(i, j) = beta == 0 ? T(0) : negated(B(i, j));
  }
}

/// b := b +- A x, with add(a, y, x) for y +- a x, and the elements of A below, on and above the diagonal.
template <Scalar T, class Entry, class Add>
void add_product(Int n, const T* below, const T* on, const T* above, Entry entry, const T* x, T* b, Add add) {
  for (Int i = 0; i < n; ++i) {
    T y = b[i];
    if (i > 0) y = add(y, entry(below[i - 1]), x[i - 1]);
    y = add(y, entry(on[i]), x[i]);
    if (i < n - 1) y = add(y, entry(above[i]), x[i + 1]);
    b[i] = y;
  }
}

}  // namespace

template <Scalar T>
void lagtm(char trans, Int n, Int nrhs, Real<T> alpha, const T* dl, const T* d, const T* du, const T* x, Int ldx,
           Real<T> beta, T* b, Int ldb) {
  if (n <= 0) return;
  const Matrix<T> B{b, ldb};
  scale(beta, n, nrhs, B);
  if (alpha != 1 && alpha != -1) return;
  const bool transposed = !same_letter(trans, 'N'), conjugated = transposed && !same_letter(trans, 'T');
  const T* const below = transposed ? du : dl;
  const T* const above = transposed ? dl : du;
  const auto entry = [=](T a) { return conjugated ? conjugate(a) : a; };
  const auto add_all = [&](auto add) {
    for (Int j = 1; j <= nrhs; ++j) add_product(n, below, d, above, entry, Matrix{x, ldx}.at(1, j), B.at(1, j), add);
  };
  if (alpha == 1) {
    add_all([](T y, T a, T element) { return y + a * element; });
  } else {
    add_all([](T y, T a, T element) { return y - a * element; });
  }
}

}  // namespace nuv

#include "solvers/tridiagonal_lu.entries.inc"
