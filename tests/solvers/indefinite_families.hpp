#pragma once

// Symmetric and Hermitian indefinite matrices in full and packed storage, and the routines for them under one hand.

#include <cmath>
#include <string>
#include <vector>

#include "solvers/indefinite_names.hpp"
#include "support/options.hpp"
#include "support/packed.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"

namespace nuv::test {

/// Runs routine(ap) on a triangle of A in packed storage, and puts back what it leaves there.
template <Scalar T, class Routine>
void in_packed_storage(char uplo, GuardedMatrix<T>& A, Routine routine) {
  GuardedVector<T> ap = packed(is_upper(uplo), A);
  routine(ap.data());
  EXPECT_TRUE(ap.guards_unchanged());
  for_each_packed(is_upper(uplo), A.rows(), [&](Int i, Int j, Int k) { A(i, j) = ap(k); });
}

/// The routines for one kind of matrix. All take a triangle of a full matrix, and give info.
template <Scalar T>
struct IndefiniteFamily {
  using Factor = Int (*)(char uplo, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv);
  using Panel = Int (*)(char uplo, Int nb, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv, Int& kb);
  using Solve = Int (*)(char uplo, const GuardedMatrix<T>& F, const GuardedVector<Int>& ipiv, GuardedMatrix<T>& B);
  using Drive = Int (*)(char uplo, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv, GuardedMatrix<T>& B);

  std::string letters;  ///< as in the names of the routines
  bool hermitian, packed;
  Factor factor, unblocked;
  Panel panel, serial_panel;
  Solve solve, solve_strip;
  Drive drive;
  Factor invert;
};

/// Columns of a panel that the factorisations in full storage take at most.
inline constexpr Int full_panel = 64;

/// The calls of a family in full storage.
template <Scalar T, class Names>
struct FullCalls {
  static constexpr bool packed = false;

  static Int factor(char uplo, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv) {
    GuardedVector<T> work(full_panel * A.rows() + 1);
    Int info = 99;
    Names::factor(uplo, A.rows(), A, ipiv.data(), work.data(), work.size(), info);
    EXPECT_TRUE(work.guards_unchanged());
    return info;
  }
  static Int unblocked(char uplo, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv) {
    Int info = 99;
    Names::unblocked(uplo, A.rows(), A, ipiv.data(), info);
    return info;
  }
  template <auto routine>
  static Int panel(char uplo, Int nb, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv, Int& kb) {
    GuardedMatrix<T> W(A.rows(), nb, A.rows() + 1);
    Int info = 99;
    routine(uplo, A.rows(), nb, kb, A, ipiv.data(), W, info);
    EXPECT_TRUE(W.guards_unchanged());
    return info;
  }
  template <auto routine>
  static Int solve(char uplo, const GuardedMatrix<T>& F, const GuardedVector<Int>& ipiv, GuardedMatrix<T>& B) {
    Int info = 99;
    routine(uplo, F.rows(), B.columns(), F, ipiv.data(), B, info);
    return info;
  }
  static Int drive(char uplo, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv, GuardedMatrix<T>& B) {
    const Int n = A.rows();
    GuardedVector<T> work(full_panel * n + 1);
    Int info = 99;
    Names::drive(uplo, n, B.columns(), A, ipiv.data(), B, work.data(), work.size(), info);
    EXPECT_EQ(work(1), T(Real<T>(full_panel * n)));
    EXPECT_TRUE(work.guards_unchanged());
    return info;
  }
  static Int invert(char uplo, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv) {
    GuardedVector<T> work(A.rows());
    Int info = 99;
    Names::invert(uplo, A.rows(), A, ipiv.data(), work.data(), info);
    EXPECT_TRUE(work.guards_unchanged());
    return info;
  }
};

/// The same for packed storage.
template <Scalar T, class Names>
struct PackedCalls {
  static constexpr bool packed = true;

  static Int factor(char uplo, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv) {
    Int info = 99;
    in_packed_storage(uplo, A, [&](T* ap) { Names::factor(uplo, A.rows(), ap, ipiv.data(), info); });
    return info;
  }
  static Int unblocked(char uplo, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv) {
    Int info = 99;
    in_packed_storage(uplo, A, [&](T* ap) { Names::unblocked(uplo, A.rows(), ap, ipiv.data(), info); });
    return info;
  }
  template <auto routine>
  static Int panel(char uplo, Int nb, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv, Int& kb) {
    GuardedMatrix<T> W(A.rows() + 1, 3 * nb, A.rows() + 1);
    Int info = 99;
    in_packed_storage(uplo, A, [&](T* ap) { routine(uplo, A.rows(), nb, kb, ap, ipiv.data(), Matrix<T>(W), info); });
    EXPECT_TRUE(W.guards_unchanged());
    return info;
  }
  template <auto routine>
  static Int solve(char uplo, const GuardedMatrix<T>& F, const GuardedVector<Int>& ipiv, GuardedMatrix<T>& B) {
    Int info = 99;
    const GuardedVector<T> ap = test::packed(is_upper(uplo), F);
    routine(uplo, F.rows(), B.columns(), ap.data(), ipiv.data(), B, info);
    return info;
  }
  static Int drive(char uplo, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv, GuardedMatrix<T>& B) {
    Int info = 99;
    in_packed_storage(uplo, A, [&](T* ap) { Names::drive(uplo, A.rows(), B.columns(), ap, ipiv.data(), B, info); });
    return info;
  }
  static Int invert(char uplo, GuardedMatrix<T>& A, GuardedVector<Int>& ipiv) {
    GuardedVector<T> work(A.rows());
    Int info = 99;
    in_packed_storage(uplo, A, [&](T* ap) { Names::invert(uplo, A.rows(), ap, ipiv.data(), work.data(), info); });
    EXPECT_TRUE(work.guards_unchanged());
    return info;
  }
};

template <Scalar T, class Names, template <class, class> class Calls>
IndefiniteFamily<T> indefinite_family() {
  using Is = Calls<T, Names>;
  return {.letters = Names::letters,
          .hermitian = Names::hermitian,
          .packed = Is::packed,
          .factor = Is::factor,
          .unblocked = Is::unblocked,
          .panel = Is::template panel<Names::panel>,
          .serial_panel = Is::template panel<Names::serial_panel>,
          .solve = Is::template solve<Names::solve>,
          .solve_strip = Is::template solve<Names::solve_strip>,
          .drive = Is::drive,
          .invert = Is::invert};
}

template <Scalar T>
std::vector<IndefiniteFamily<T>> indefinite_families() {
  std::vector<IndefiniteFamily<T>> all = {indefinite_family<T, SymmetricNames, FullCalls>(),
                                          indefinite_family<T, PackedSymmetricNames, PackedCalls>()};
  if constexpr (ComplexScalar<T>) {
    all.push_back(indefinite_family<T, HermitianNames, FullCalls>());
    all.push_back(indefinite_family<T, PackedHermitianNames, PackedCalls>());
  }
  return all;
}

template <Scalar T>
testing::AssertionResult stayed_in_triangle(char uplo, const GuardedMatrix<T>& A) {
  return A.unchanged_except([&](Int i, Int j) { return is_in_triangle(uplo, i, j); });
}

/// What the elements of a test matrix are drawn from.
enum class Elements {
  random,
  dominant,        ///< pivots of order one without exchanges
  empty_diagonal,  ///< pivots of order two at first
};

/// A triangle; the rest, and the imaginary parts of the diagonal of a Hermitian matrix, hold guards.
template <Scalar T>
GuardedMatrix<T> indefinite_triangle(Random& random, Elements elements, bool hermitian, char uplo, Int n) {
  GuardedMatrix<T> A(n, n, n % 3 == 1 ? n : n + 4);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      if (!is_in_triangle(uplo, i, j)) continue;
      T x = random.scalar<T>();
      if (i == j && elements == Elements::dominant) x += Real<T>(random.integer(0, 1) == 0 ? 2 * n : -2 * n);
      if (i == j && elements == Elements::empty_diagonal) x = T(0);
      if constexpr (ComplexScalar<T>) {
        if (i == j && hermitian) x.imag(guard<Real<T>>());
      }
      A(i, j) = x;
    }
  }
  A.seal();
  return A;
}

/// The matrix that a triangle stands for.
template <Scalar T>
WideMatrix<T> whole_matrix(const GuardedMatrix<T>& A, bool hermitian, char uplo) {
  if (hermitian) return wide_hermitian(A, is_upper(uplo));
  WideMatrix<T> whole = wide_triangle(A, is_upper(uplo), false);
  const WideMatrix<T> other = whole.transpose();
  for (Int i = 0; i < A.rows(); ++i) whole(i, i) = 0;
  return whole + other;
}

/// A matrix, its factors and what the factorisation said.
template <Scalar T>
struct FactoredIndefinite {
  GuardedMatrix<T> A, F;
  GuardedVector<Int> ipiv;
  Int info;
};

template <Scalar T>
FactoredIndefinite<T> factor_indefinite(typename IndefiniteFamily<T>::Factor routine, char uplo,
                                        const GuardedMatrix<T>& A) {
  FactoredIndefinite<T> result{A, A, GuardedVector<Int>(A.rows()), 0};
  result.info = routine(uplo, result.F, result.ipiv);
  EXPECT_TRUE(stayed_in_triangle(uplo, result.F));
  EXPECT_TRUE(result.ipiv.guards_unchanged());
  result.F.seal();
  result.ipiv.seal();
  return result;
}

/// A block of D in the order of elimination, and the row with which its last was exchanged.
struct BlockOfD {
  Int first, last, row;
};

inline std::vector<BlockOfD> blocks_of_d(char uplo, const GuardedVector<Int>& ipiv) {
  const Int n = ipiv.size(), forward = is_upper(uplo) ? -1 : 1;
  std::vector<BlockOfD> blocks;
  for (Int k = is_upper(uplo) ? n : 1; k >= 1 && k <= n;) {
    const bool single = ipiv(k) > 0;
    const Int last = single ? k : k + forward;
    if (last < 1 || last > n || std::abs(ipiv(k)) < 1 || std::abs(ipiv(k)) > n || ipiv(last) != ipiv(k)) {
      ADD_FAILURE() << "ipiv(" << k << ") = " << ipiv(k);
      return {};
    }
    blocks.push_back({k, last, std::abs(ipiv(k))});
    k = last + forward;
  }
  return blocks;
}

/// The product of the factors P1 L1 P2 L2 ... D ... L2^T P2 L1^T P1 (adjoints for a Hermitian matrix) with the columns
/// of V.
template <Scalar T>
WideMatrix<T> multiply_by_factors(char uplo, bool hermitian, const FactoredIndefinite<T>& factored, WideMatrix<T> V) {
  const Int n = factored.F.rows(), forward = is_upper(uplo) ? -1 : 1;
  const auto f = [&](Int i, Int j) { return wide(factored.F(i, j)); };
  const auto mirrored = [&](Wide<T> x) {
    if constexpr (ComplexScalar<T>) {
      if (hermitian) return std::conj(x);
    }
    return x;
  };
  const auto in_range = [&](Int i) { return i >= 1 && i <= n; };
  const auto blocks = blocks_of_d(uplo, factored.ipiv);
  const auto for_each_multiplier = [&](const BlockOfD& block, auto visit) {
    for (Int k = block.first; k != block.last + forward; k += forward) {
      for (Int i = block.last + forward; in_range(i); i += forward) visit(i, k);
    }
  };
  for (const BlockOfD& block : blocks) {
    V.row(block.last - 1).swap(V.row(block.row - 1));
    for_each_multiplier(block, [&](Int i, Int k) { V.row(k - 1) += mirrored(f(i, k)) * V.row(i - 1); });
  }
  for (const BlockOfD& block : blocks) {
    const Int first = block.first, last = block.last;
    const WideMatrix<T> x = V.row(first - 1), y = V.row(last - 1);
    V.row(first - 1) = f(first, first) * x;
    if (first == last) continue;
    V.row(first - 1) += mirrored(f(last, first)) * y;
    V.row(last - 1) = f(last, first) * x + f(last, last) * y;
  }
  for (auto block = blocks.rbegin(); block != blocks.rend(); ++block) {
    for_each_multiplier(*block, [&](Int i, Int k) { V.row(i - 1) += f(i, k) * V.row(k - 1); });
    V.row(block->last - 1).swap(V.row(block->row - 1));
  }
  return V;
}

/// ||(A - P L D L^T P^T) v|| / (||A|| ||v|| n eps) in the one-norm, times the root of n, for a random v.
template <Scalar T>
double indefinite_residual(char uplo, bool hermitian, const FactoredIndefinite<T>& factored) {
  const Int n = factored.A.rows();
  if (n == 0) return 0;
  Random random(5);
  WideMatrix<T> v(n, 1);
  for (Int i = 0; i < n; ++i) v(i, 0) = wide(random.scalar<T>());
  const WideMatrix<T> A = whole_matrix(factored.A, hermitian, uplo);
  const WideMatrix<T> rest = product<T>(A, v) - multiply_by_factors(uplo, hermitian, factored, v);
  const double error = one_norm<T>(rest);
  return error == 0 ? 0 : error / one_norm<T>(A) / (one_norm<T>(v) * std::sqrt(double(n)) * epsilon<T>);
}

}  // namespace nuv::test
