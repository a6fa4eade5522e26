#pragma once

// Upper trapezoidal matrices, and the Z of their reduction, in a wider type.

#include <algorithm>

#include "orthogonal/factored.hpp"

namespace nuv::test {

/// An m by n matrix with a triangle in front, and l columns at the end; what is between is not set, nor is what lies
/// below the diagonal.
template <Scalar T>
GuardedMatrix<T> random_trapezoid(Random& random, Int m, Int n, Int l) {
  GuardedMatrix<T> A(m, n, padded(m));
  for (Int j = 1; j <= n; ++j) {
    if (j > m && j <= n - l) continue;
    for (Int i = 1; i <= std::min(j, m); ++i) A(i, j) = random.scalar<T>();
  }
  A.seal();
  return A;
}

/// Element (i, j) of such a matrix is one that there is.
inline bool is_in_trapezoid(Int m, Int n, Int l, Int i, Int j) {
  return i <= j && (j <= m || j > n - l);
}

template <Scalar T>
WideMatrix<T> wide_trapezoid(const GuardedMatrix<T>& A, Int l) {
  WideMatrix<T> result = WideMatrix<T>::Zero(A.rows(), A.columns());
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = 1; i <= A.rows(); ++i) {
      if (is_in_trapezoid(A.rows(), A.columns(), l, i, j)) result(i - 1, j - 1) = wide(A(i, j));
    }
  }
  return result;
}

/// The k vectors of reflectors of order nq as the last l columns of V hold them, from row `first` on.
template <Scalar T>
WideMatrix<T> vectors_of_z(const GuardedMatrix<T>& V, Int nq, Int k, Int l) {
  WideMatrix<T> vectors = WideMatrix<T>::Zero(nq, k);
  for (Int i = 1; i <= k; ++i) {
    vectors(i - 1, i - 1) = 1;
    for (Int e = 1; e <= l; ++e) vectors(nq - l + e - 1, i - 1) = wide(V(i, V.columns() - l + e));
  }
  return vectors;
}

/// op(Z) C or C op(Z)
template <Scalar T>
WideMatrix<T> product_with_z(bool left, bool adjoint, const WideMatrix<T>& vectors, const GuardedVector<T>& tau,
                             const WideMatrix<T>& C) {
  // Z = Z1 ... Zk, as the Q of a QR factorisation
  if (left) return apply<T>(qr_form, adjoint, vectors, tau, C);
  return apply<T>(qr_form, !adjoint, vectors, tau, C.adjoint()).adjoint();
}

/// k unitary reflectors of order nq, stored in l columns; whatever does not belong to them holds guards.
template <Scalar T>
struct ReflectorsOfZ {
  Int nq, k, l;
  GuardedMatrix<T> V;  ///< k by nq
  GuardedVector<T> tau;

  ReflectorsOfZ(Random& random, Int nq_, Int k_, Int l_) : nq(nq_), k(k_), l(l_), V(k, nq, k + 2), tau(k) {
    const auto size = Real<T>(1 / std::sqrt(double(l + 1)));
    for (Int i = 1; i <= k; ++i) {
      for (Int j = nq - l + 1; j <= nq; ++j) V(i, j) = size * random.scalar<T>();
    }
    V.seal();
    tau = unitary_factors<T>(random, vectors());
  }

  WideMatrix<T> vectors() const { return vectors_of_z(V, nq, k, l); }
};

}  // namespace nuv::test
