// Drivers for full, packed, band and tridiagonal storage solve the same system: with described matrices, and with
// numbers near the ends of the range.

#include <cmath>
#include <functional>
#include <limits>

#include "routines.hpp"
#include "solvers/banded.hpp"
#include "support/described_matrices.hpp"
#include "support/packed.hpp"
#include "support/precisions.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;
constexpr Int nrhs = 4;  ///< enough for the ways that take blocks, or memory

/// A driver that solves with a full matrix whose elements beyond the band are zero, in place; gives info.
template <Scalar T>
struct Solver {
  std::string name;
  std::function<Int(const GuardedMatrix<T>& A, Band band, GuardedMatrix<T>& X)> solve;
};
template <Scalar T>
using Solvers = std::vector<Solver<T>>;

template <Scalar T>
BandMatrix<T> in_band_storage(const GuardedMatrix<T>& A, Band band, Int extra_rows) {
  const Int n = A.rows();
  BandMatrix<T> stored(n, n, band, extra_rows, 1);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      if (stored.holds(i, j)) stored(i, j) = A(i, j);
    }
  }
  return stored;
}

/// Elements (first, second), (first + 1, second + 1), ... of a matrix.
template <class Element, Scalar T>
std::vector<Element> diagonal(const GuardedMatrix<T>& A, Int first, Int second) {
  std::vector<Element> elements;
  for (Int i = first, j = second; i <= A.rows() && j <= A.rows(); ++i, ++j) {
    if constexpr (std::same_as<Element, T>) elements.push_back(A(i, j));
    else elements.push_back(std::real(A(i, j)));
  }
  return elements;
}

template <Scalar T>
Solvers<T> general_solvers() {
  return {{"gesv",
           [](const GuardedMatrix<T>& A, Band, GuardedMatrix<T>& X) {
             GuardedMatrix<T> LU = A;
             GuardedVector<Int> ipiv(A.rows());
             Int info = 99;
             routine_call::gesv(A.rows(), nrhs, LU, ipiv.data(), X, info);
             return info;
           }},
          {"gbsv", [](const GuardedMatrix<T>& A, Band band, GuardedMatrix<T>& X) {
             BandMatrix<T> LU = in_band_storage(A, band, band.kl);
             GuardedVector<Int> ipiv(A.rows());
             Int info = 99;
             routine_call::gbsv(A.rows(), band.kl, band.ku, nrhs, LU.ab, ipiv.data(), X, info);
             return info;
           }}};
}

/// For symmetric matrices, of complex numbers too, that need not be definite.
template <Scalar T>
Solvers<T> symmetric_solvers(char uplo) {
  return {{std::string("sysv ") + uplo,
           [=](const GuardedMatrix<T>& A, Band, GuardedMatrix<T>& X) {
             const Int n = A.rows(), lwork = 64 * n;
             GuardedMatrix<T> F = A;
             GuardedVector<Int> ipiv(n);
             GuardedVector<T> work(lwork);
             Int info = 99;
             routine_call::sysv(uplo, n, nrhs, F, ipiv.data(), X, work.data(), lwork, info);
             return info;
           }},
          {std::string("spsv ") + uplo, [=](const GuardedMatrix<T>& A, Band, GuardedMatrix<T>& X) {
             GuardedVector<T> ap = packed(is_upper(uplo), A);
             GuardedVector<Int> ipiv(A.rows());
             Int info = 99;
             routine_call::spsv(uplo, A.rows(), nrhs, ap.data(), ipiv.data(), X, info);
             return info;
           }}};
}

template <Scalar T>
Solvers<T> definite_solvers(char uplo) {
  return {{std::string("posv ") + uplo,
           [=](const GuardedMatrix<T>& A, Band, GuardedMatrix<T>& X) {
             GuardedMatrix<T> F = A;
             Int info = 99;
             routine_call::posv(uplo, A.rows(), nrhs, F, X, info);
             return info;
           }},
          {std::string("ppsv ") + uplo,
           [=](const GuardedMatrix<T>& A, Band, GuardedMatrix<T>& X) {
             GuardedVector<T> ap = packed(is_upper(uplo), A);
             Int info = 99;
             routine_call::ppsv(uplo, A.rows(), nrhs, ap.data(), X, info);
             return info;
           }},
          {std::string("pbsv ") + uplo, [=](const GuardedMatrix<T>& A, Band band, GuardedMatrix<T>& X) {
             BandMatrix<T> F = in_band_storage(A, is_upper(uplo) ? Band{0, band.ku} : Band{band.kl, 0}, 0);
             Int info = 99;
             routine_call::pbsv(uplo, A.rows(), band.kl, nrhs, F.ab, X, info);
             return info;
           }}};
}

template <Scalar T>
Solvers<T> tridiagonal_solvers() {
  return {{"gtsv", [](const GuardedMatrix<T>& A, Band, GuardedMatrix<T>& X) {
             std::vector<T> dl = diagonal<T>(A, 2, 1), d = diagonal<T>(A, 1, 1), du = diagonal<T>(A, 1, 2);
             Int info = 99;
             routine_call::gtsv(A.rows(), nrhs, dl.data(), d.data(), du.data(), X, info);
             return info;
           }}};
}

template <Scalar T>
Solvers<T> definite_tridiagonal_solvers() {
  return {{"ptsv", [](const GuardedMatrix<T>& A, Band, GuardedMatrix<T>& X) {
             std::vector<Real<T>> d = diagonal<Real<T>>(A, 1, 1);
             std::vector<T> e = diagonal<T>(A, 2, 1);
             Int info = 99;
             routine_call::ptsv(A.rows(), nrhs, d.data(), e.data(), X, info);
             return info;
           }}};
}

template <Scalar T>
void append(Solvers<T>& all, const Solvers<T>& more) {
  all.insert(all.end(), more.begin(), more.end());
}

/// What is known of a matrix; a definite one is Hermitian.
enum class Kind { general, symmetric, definite };

template <Scalar T>
Solvers<T> solvers(Kind kind, Band band) {
  Solvers<T> all = general_solvers<T>();
  for (const char uplo : uplos) {
    if (kind == Kind::symmetric || (kind == Kind::definite && RealScalar<T>)) append(all, symmetric_solvers<T>(uplo));
    if (kind == Kind::definite) append(all, definite_solvers<T>(uplo));
  }
  if (band.kl <= 1 && band.ku <= 1) {
    append(all, tridiagonal_solvers<T>());
    if (kind == Kind::definite) append(all, definite_tridiagonal_solvers<T>());
  }
  return all;
}

template <class T>
class Equivalence : public testing::Test {
 protected:
  /// A random matrix of the kind and with the band that are told.
  GuardedMatrix<T> matrix(Kind kind, Int n, Band band) {
    GuardedMatrix<T> A(n, n, n + 1);
    for (Int i = 1; i <= n; ++i) {
      for (Int j = 1; j <= n; ++j) {
        if (j < i && kind == Kind::symmetric) A(i, j) = A(j, i);
        else if (j < i && kind == Kind::definite) A(i, j) = conjugate(A(j, i));
        else A(i, j) = i <= j + band.kl && j <= i + band.ku ? random.scalar<T>() : T(0);
      }
      if (kind == Kind::definite) A(i, i) = T(Real<T>(3 * band.kl + 1 + random.real()));
    }
    return A;
  }

  GuardedMatrix<T> right_hand_sides(Int n) { return random_matrix<T>(random, n, nrhs, n + 2); }

  /// Expects each solver to solve exactly for a matrix close by.
  static void expect_solved(Kind kind, Band band, const GuardedMatrix<T>& A, const GuardedMatrix<T>& B) {
    for (const Solver<T>& solver : solvers<T>(kind, band)) {
      GuardedMatrix<T> X = B;
      EXPECT_EQ(solver.solve(A, band, X), 0) << solver.name;
      EXPECT_TRUE(X.guards_unchanged()) << solver.name;
      EXPECT_LT(solution_residual<T>(wide(A), wide(X), wide(B)), threshold) << solver.name;
    }
  }

  Random random{97};
};
TYPED_TEST_SUITE(Equivalence, Precisions, PrecisionLetter);

struct Case {
  Kind kind;
  Int n;
  Band band;
};

/// Tridiagonal matrices, narrow bands, and some that are factored by blocks.
constexpr Case cases[] = {{Kind::general, 40, {1, 1}},    {Kind::symmetric, 40, {1, 1}}, {Kind::definite, 40, {1, 1}},
                          {Kind::general, 60, {2, 5}},    {Kind::definite, 60, {3, 3}},  {Kind::general, 130, {40, 70}},
                          {Kind::definite, 130, {70, 70}}};

std::string to_string(const Case& c) {
  return "order " + std::to_string(c.n) + ", " + to_string(c.band);
}

template <Scalar T>
double distance(const WideMatrix<T>& X, const WideMatrix<T>& expected) {
  return one_norm<T>(X - expected) / one_norm<T>(expected);
}

TYPED_TEST(Equivalence, OfTheSolutionsInAllStorages) {
  using T = TypeParam;
  for (const Case& c : cases) {
    SCOPED_TRACE(to_string(c));
    const GuardedMatrix<T> A = this->matrix(c.kind, c.n, c.band), B = this->right_hand_sides(c.n);
    const WideMatrix<T> inverse_of_a = inverse<T>(wide(A)), expected = product<T>(inverse_of_a, wide(B));
    const double condition = one_norm<T>(wide(A)) * one_norm<T>(inverse_of_a);
    for (const Solver<T>& solver : solvers<T>(c.kind, c.band)) {
      GuardedMatrix<T> X = B;
      EXPECT_EQ(solver.solve(A, c.band, X), 0) << solver.name;
      EXPECT_LT(distance<T>(wide(X), expected), threshold * condition * epsilon<T>) << solver.name;
    }
  }
}

/// A description as a band matrix.
Description with_band(Description description, Band band) {
  description.lower = band.kl;
  description.upper = band.ku;
  return description;
}

TYPED_TEST(Equivalence, OfTheSolutionsWithMatricesThatAreHardToSolveWith) {
  using T = TypeParam;
  DescribedMatrices matrices(16);
  const auto expect_all = [&](Kind kind, Int n, Band band, const Description& description) {
    SCOPED_TRACE(description.name + (", " + to_string(band)));
    const Description banded = with_band(description, band);
    const GuardedMatrix<T> A =
        kind == Kind::definite ? matrices.hermitian<T>(banded, n, n) : matrices.general<T>(banded, n, n, n);
    this->expect_solved(kind, band, A, this->right_hand_sides(n));
  };
  for (const Description& description : matrices_of_full_rank) {
    for (const Band band : {Band{1, 1}, {2, 3}, {12, 5}}) expect_all(Kind::general, 40, band, description);
  }
  for (const Description& description : definite_matrices) {
    for (const Band band : {Band{1, 1}, {4, 4}, {12, 12}}) expect_all(Kind::definite, 40, band, description);
  }
}

/// All numbers times a power of two: as far from the ends of the range as a few products need.
TYPED_TEST(Equivalence, OfTheSolutionsWithHugeAndTinyNumbers) {
  using T = TypeParam;
  using Limits = std::numeric_limits<Real<T>>;
  for (const int exponent : {Limits::max_exponent - 20, Limits::min_exponent + 20}) {
    for (const Case& c : cases) {
      SCOPED_TRACE(to_string(c) + ", times 2^" + std::to_string(exponent));
      GuardedMatrix<T> A = this->matrix(c.kind, c.n, c.band), B = this->right_hand_sides(c.n);
      const Real<T> scale = std::ldexp(Real<T>(1), exponent);
      for (Int j = 1; j <= c.n; ++j) {
        for (Int i = 1; i <= c.n; ++i) A(i, j) *= scale;
        for (Int i = 1; i <= c.n && j <= nrhs; ++i) B(i, j) *= scale;
      }
      this->expect_solved(c.kind, c.band, A, B);
    }
  }
}

}  // namespace
}  // namespace nuv::test
