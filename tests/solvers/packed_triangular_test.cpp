// Inverses and solves of triangular matrices in packed storage: ?tptri, ?tptrs and the serial body x?tptrs.

#include <cctype>
#include <cmath>

#include "layer.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/memory_requests.hpp"
#include "support/options.hpp"
#include "support/packed.hpp"
#include "support/random.hpp"
#include "support/wide.hpp"
#include "x_variants.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

template <class T>
class PackedTriangular : public ReportingTest {
 protected:
  /// The guards of a diagonal of ones are packed, too.
  GuardedMatrix<T> triangle(char uplo, char diag, Int n) {
    return random_triangle<T>(random, is_upper(uplo), is_unit(diag), n, std::max(1, n));
  }

  Random random{71};
};
TYPED_TEST_SUITE(PackedTriangular, Precisions, PrecisionLetter);

TYPED_TEST(PackedTriangular, InvertsATriangle) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 3, 9, 33, 100}) {
    for (const char uplo : {'U', 'u', 'L', 'l'}) {
      for (const char diag : {'N', 'n', 'U', 'u'}) {
        SCOPED_TRACE(testing::Message() << uplo << diag << " of order " << n);
        const bool upper = is_upper(uplo), unit = is_unit(diag);
        const GuardedMatrix<T> A = this->triangle(uplo, diag, n);
        GuardedVector<T> ap = packed(upper, A);
        Int info = 99;
        routine_call::tptri(uplo, diag, n, ap.data(), info);
        EXPECT_EQ(info, 0);
        EXPECT_TRUE(ap.guards_unchanged());
        for_each_packed(upper, n, [&](Int i, Int j, Int k) {
          if (i == j && unit) {
            EXPECT_TRUE(same_bits(ap(k), ap.sealed(k)));
          }
        });
        const WideMatrix<T> inverse = wide_triangle(unpacked(upper, n, ap), upper, unit);
        EXPECT_LT(inverse_residual<T>(wide_triangle(A, upper, unit), inverse), threshold);
      }
    }
  }
}

/// Solves in place, with all memory or without; the layer and its serial body alike.
template <Scalar T>
void solve(char uplo, char trans, char diag, const GuardedVector<T>& ap, GuardedMatrix<T>& B, bool by_blocks,
           int refused) {
  const MemoryRequests memory(refused);
  GuardedMatrix<T> beside = B;
  const Int n = B.rows(), nrhs = B.columns();
  Int info = 99;
  layer::tptrs(uplo, trans, diag, n, nrhs, ap.data(), B, info);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(memory.count() > 0, by_blocks);
  constexpr Int widest = std::same_as<Real<T>, float> ? 512 : 256;
  EXPECT_EQ(memory.included(std::size_t(n) * std::min(n, widest) * sizeof(T)), by_blocks);
  EXPECT_EQ(memory.kept(), 0);
  EXPECT_TRUE(B.guards_unchanged());
  EXPECT_TRUE(ap.unchanged());
  x_variant::tptrs(char(std::tolower(uplo)), char(std::tolower(trans)), char(std::tolower(diag)), n, nrhs, ap.data(),
                   Matrix<T>(beside), info);
  EXPECT_EQ(info, 0);
  EXPECT_TRUE(beside.same_as(B));
}

TYPED_TEST(PackedTriangular, SolvesWithEachFormOfTheTriangle) {
  using T = TypeParam;
  // Sizes on both sides of what divides one right-hand side after the other from blocks.
  for (const auto& [n, nrhs] : {std::pair<Int, Int>{0, 3}, {1, 2}, {7, 0}, {50, 12}, {51, 12}, {70, 11}}) {
    for (const char uplo : uplos) {
      for (const char diag : diags) {
        const GuardedMatrix<T> A = this->triangle(uplo, diag, n), B = random_matrix<T>(this->random, n, nrhs, n + 2);
        const GuardedVector<T> ap = packed(is_upper(uplo), A);
        const WideMatrix<T> triangle = wide_triangle(A, is_upper(uplo), is_unit(diag));
        for (const char trans : transes) {
          for (const int refused : {MemoryRequests::none, MemoryRequests::all}) {
            SCOPED_TRACE(testing::Message() << uplo << trans << diag << ' ' << n << ", " << nrhs << ' ' << refused);
            GuardedMatrix<T> X = B;
            solve(uplo, trans, diag, ap, X, n > 50 && nrhs >= 12, refused);
            EXPECT_LT(solution_residual<T>(op<T>(trans, triangle), wide(X), wide(B)), threshold);
          }
        }
      }
    }
  }
}

/// The last block alone is short.
TYPED_TEST(PackedTriangular, SolvesBySeveralBlocks) {
  using T = TypeParam;
  constexpr Int n = (std::same_as<Real<T>, float> ? 512 : 256) + 3;
  for (const char uplo : uplos) {
    const GuardedMatrix<T> A = this->triangle(uplo, 'N', n), B = random_matrix<T>(this->random, n, 12, n);
    const GuardedVector<T> ap = packed(is_upper(uplo), A);
    for (const char trans : transes) {
      GuardedMatrix<T> X = B, by_columns = B;
      solve(uplo, trans, 'N', ap, X, true, MemoryRequests::none);
      solve(uplo, trans, 'N', ap, by_columns, true, MemoryRequests::all);
      Real<T> difference = 0, largest = 0;
      for (Int j = 1; j <= 12; ++j) {
        for (Int i = 1; i <= n; ++i) {
          difference = std::max(difference, std::abs(X(i, j) - by_columns(i, j)));
          largest = std::max(largest, std::abs(X(i, j)));
        }
      }
      EXPECT_LT(difference, threshold * n * epsilon<T> * largest) << uplo << trans;
    }
  }
}

TYPED_TEST(PackedTriangular, LeavesASingularMatrixAndItsRightHandSides) {
  using T = TypeParam;
  for (const Int n : {1, 2, 9, 60}) {
    for (const char uplo : uplos) {
      for (const Int zero : {Int{1}, (n + 1) / 2, n}) {
        for (const Int nrhs : {0, 1, 12}) {
          GuardedMatrix<T> A = this->triangle(uplo, 'N', n), B = random_matrix<T>(this->random, n, nrhs, n);
          A(zero, zero) = A(n, n) = T(Real<T>(-0.0));
          GuardedVector<T> ap = packed(is_upper(uplo), A);
          Int info = 99;
          layer::tptrs(uplo, 'N', 'N', n, nrhs, ap.data(), B, info);
          EXPECT_EQ(info, zero);
          EXPECT_TRUE(B.unchanged());
          routine_call::tptri(uplo, 'N', n, ap.data(), info);
          EXPECT_EQ(info, zero);
          EXPECT_TRUE(ap.unchanged());
          // A diagonal that counts as ones may hold zeros.
          layer::tptrs(uplo, 'N', 'U', n, nrhs, ap.data(), B, info);
          EXPECT_EQ(info, 0);
          routine_call::tptri(uplo, 'U', n, ap.data(), info);
          EXPECT_EQ(info, 0);
        }
      }
    }
  }
}

// --------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct InverseCall {
  char uplo = 'U', diag = 'N';
  Int n = 3;
  GuardedVector<T> ap = [] {
    Random random(1);
    return packed(true, random_triangle<T>(random, true, false, 3, 3));
  }();

  Int run() {
    Int info = 99;
    routine_call::tptri(uplo, diag, n, ap.data(), info);
    return info;
  }
  bool unchanged() const { return ap.unchanged(); }
};

template <Scalar T, bool through_layer>
struct SolveCall : InverseCall<T> {
  char trans = 'N';
  Int nrhs = 2, ldb = 5;
  GuardedMatrix<T> b = [] {
    Random random(2);
    return random_matrix<T>(random, 3, 2, 5);
  }();

  Int run() {
    Int info = 99;
    if constexpr (through_layer) {
      layer::tptrs(this->uplo, trans, this->diag, this->n, nrhs, this->ap.data(), {b.data(), ldb}, info);
    } else {
      x_variant::tptrs(this->uplo, trans, this->diag, this->n, nrhs, this->ap.data(), {b.data(), ldb}, info);
    }
    return info;
  }
  bool unchanged() const { return InverseCall<T>::unchanged() && b.unchanged(); }
};

template <Scalar T, bool through_layer>
void expect_solve_checks() {
  using Call = SolveCall<T, through_layer>;
  const std::string name = reported_name<T>("TPTRS");
  expect_argument_checks<Call>(name, {{1, [](auto& c) { c.uplo = 'T'; }},
                                      {2, [](auto& c) { c.trans = 'U'; }},
                                      {3, [](auto& c) { c.diag = 'T'; }},
                                      {4, [](auto& c) { c.n = -1; }},
                                      {5, [](auto& c) { c.nrhs = -1; }},
                                      {8, [](auto& c) { c.ldb = 2; }},
                                      {8, [](auto& c) { c.ldb = 0; }}});
  Call empty;
  empty.n = empty.ldb = 0;
  expect_report(empty, name, 8);
}

TYPED_TEST(PackedTriangular, ChecksItsArguments) {
  using T = TypeParam;
  expect_argument_checks<InverseCall<T>>(reported_name<T>("TPTRI"), {{1, [](auto& c) { c.uplo = 'N'; }},
                                                                     {2, [](auto& c) { c.diag = 'L'; }},
                                                                     {2, [](auto& c) { c.diag = ' '; }},
                                                                     {3, [](auto& c) { c.n = -1; }}});
  expect_solve_checks<T, true>();
  expect_solve_checks<T, false>();
}

}  // namespace
}  // namespace nuv::test
