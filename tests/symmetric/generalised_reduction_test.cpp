// Reduction of generalised eigenproblems to standard form: ?sygst, ?hegst, ?sygs2, ?hegs2, and ?spgst, ?hpgst.

#include <cctype>
#include <limits>

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "symmetric/generalised_cases.hpp"

namespace nuv::test {
namespace {

constexpr double threshold = 10;

/// Width of the blocks.
constexpr Int nb = 64;

template <class T>
class GeneralisedReduction : public ReportingTest {
 protected:
  Random random{17};
};
TYPED_TEST_SUITE(GeneralisedReduction, Precisions, PrecisionLetter);

/// C of the reduced problem, which is U^-H A U^-1 or U A U^H; with the factor L^H of a lower triangle the same.
template <Scalar T>
WideMatrix<T> expected(Int itype, const GuardedMatrix<T>& A, const GuardedMatrix<T>& factor, char uplo) {
  const WideMatrix<T> wide_a = wide_hermitian(A, is_upper(uplo)), U = wide_factor(factor, uplo);
  if (itype == 1) {
    const WideMatrix<T> X = inverse<T>(U);
    return product<T>(op<T>('C', X), product<T>(wide_a, X));
  }
  return product<T>(U, product<T>(wide_a, op<T>('C', U)));
}

template <Scalar T>
using Reduce = void (*)(Int, char, Int, Matrix<T>, Matrix<const T>, Int&);

/// Whether the diagonal is real, and nothing else was written.
template <Scalar T>
void expect_triangle(const GuardedMatrix<T>& C, char uplo) {
  EXPECT_TRUE(C.unchanged_except([&](Int i, Int j) { return is_in_triangle(uplo, i, j); }));
  for (Int j = 1; j <= C.columns(); ++j) EXPECT_EQ(std::imag(C(j, j)), 0);
}

TYPED_TEST(GeneralisedReduction, GivesTheMatrixOfTheStandardProblem) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 3, 20, nb - 1, nb, nb + 1, 2 * nb + 1}) {
    for (const char uplo : {'U', 'L'}) {
      const GuardedMatrix<T> A = random_symmetric<T>(this->random, uplo, n);
      const GuardedMatrix<T> factor = random_factor<T>(this->random, uplo, n);
      for (const Int itype : {1, 2, 3}) {
        SCOPED_TRACE(testing::Message() << uplo << ", type " << itype << ", order " << n);
        const WideMatrix<T> C = expected(itype, A, factor, uplo);
        for (const Reduce<T> reduce : {Reduce<T>(routine_call::sygst), Reduce<T>(routine_call::sygs2)}) {
          GuardedMatrix<T> full = A;
          Int info = 99;
          reduce(itype, char(n % 2 == 0 ? std::tolower(uplo) : uplo), n, full, factor, info);
          EXPECT_EQ(info, 0);
          expect_triangle(full, uplo);
          EXPECT_LT(relative_difference<T>(wide_hermitian(full, is_upper(uplo)), C), threshold);
        }
        GuardedVector<T> ap = packed(is_upper(uplo), A);
        const GuardedVector<T> bp = packed(is_upper(uplo), factor);
        Int info = 99;
        routine_call::spgst(itype, char(n % 2 == 0 ? std::tolower(uplo) : uplo), n, ap.data(), bp.data(), info);
        EXPECT_EQ(info, 0);
        EXPECT_TRUE(ap.guards_unchanged());
        const GuardedMatrix<T> full = unpacked(is_upper(uplo), n, ap);
        expect_triangle(full, uplo);
        EXPECT_LT(relative_difference<T>(wide_hermitian(full, is_upper(uplo)), C), threshold);
      }
    }
  }
}

TYPED_TEST(GeneralisedReduction, WorksInOnePieceUpToTheBlockWidth) {
  using T = TypeParam;
  for (const Int n : {20, nb, nb + 1}) {
    for (const char uplo : uplos) {
      const GuardedMatrix<T> A = random_symmetric<T>(this->random, uplo, n);
      const GuardedMatrix<T> factor = random_factor<T>(this->random, uplo, n);
      for (const Int itype : {1, 2}) {
        GuardedMatrix<T> by_blocks = A, whole = A;
        Int info = 99;
        routine_call::sygst(itype, uplo, n, by_blocks, factor, info);
        routine_call::sygs2(itype, uplo, n, whole, factor, info);
        EXPECT_EQ(bool(by_blocks.same_as(whole)), n <= nb) << uplo << ", type " << itype << ", order " << n;
      }
    }
  }
}

/// The types 2 and 3 are reduced alike.
TYPED_TEST(GeneralisedReduction, DoesTheSameForTypesTwoAndThree) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    const GuardedMatrix<T> A = random_symmetric<T>(this->random, uplo, 9);
    const GuardedMatrix<T> factor = random_factor<T>(this->random, uplo, 9);
    GuardedMatrix<T> two = A, three = A;
    Int info = 99;
    routine_call::sygst(2, uplo, 9, two, factor, info);
    routine_call::sygst(3, uplo, 9, three, factor, info);
    EXPECT_TRUE(two.same_as(three));
  }
}

template <Scalar T>
struct FullCall {
  explicit FullCall(Reduce<T> reduce_) : reduce(reduce_) {}
  Int itype = 1, n = 3, lda = 3, ldb = 3;
  char uplo = 'U';
  GuardedMatrix<T> A{3, 3, 3}, B{3, 3, 3};
  Reduce<T> reduce;

  Int run() {
    if (n == 3 && lda == 3 && ldb == 3) {
      for (Int j = 1; j <= 3; ++j) {
        for (Int i = 1; i <= 3; ++i) B(i, j) = T(Real<T>(i == j));
      }
    }
    Int info = 99;
    reduce(itype, uplo, n, {A.data(), lda}, {B.data(), ldb}, info);
    return info;
  }
  testing::AssertionResult unchanged() const { return A.unchanged(); }
};
template <Scalar T>
struct BlockedCall : FullCall<T> {
  BlockedCall() : FullCall<T>(routine_call::sygst) {}
};
template <Scalar T>
struct UnblockedCall : FullCall<T> {
  UnblockedCall() : FullCall<T>(routine_call::sygs2) {}
};

template <Scalar T>
struct PackedCall {
  Int itype = 1, n = 1;
  char uplo = 'U';
  GuardedVector<T> ap{1};

  Int run() {
    const T one(1);
    Int info = 99;
    routine_call::spgst(itype, uplo, n, ap.data(), &one, info);
    return info;
  }
  testing::AssertionResult unchanged() const { return ap.unchanged(); }
};

TYPED_TEST(GeneralisedReduction, ChecksItsArguments) {
  using T = TypeParam;
  const auto name = [](const char* real_name, const char* complex_name) {
    return reported_name<T>(ComplexScalar<T> ? complex_name : real_name);
  };
  const auto check_full = [&]<class Call>(const std::string& routine, Call*) {
    expect_argument_checks<Call>(routine, {{1, [](auto& c) { c.itype = 0; }},
                                           {1, [](auto& c) { c.itype = 4; }},
                                           {2, [](auto& c) { c.uplo = 'X'; }},
                                           {3, [](auto& c) { c.n = -1; }},
                                           {5, [](auto& c) { c.lda = 2; }},
                                           {7, [](auto& c) { c.ldb = 2; }}});
  };
  check_full(name("SYGST", "HEGST"), static_cast<BlockedCall<T>*>(nullptr));
  check_full(name("SYGS2", "HEGS2"), static_cast<UnblockedCall<T>*>(nullptr));
  expect_argument_checks<PackedCall<T>>(name("SPGST", "HPGST"), {{1, [](auto& c) { c.itype = 0; }},
                                                                 {1, [](auto& c) { c.itype = 4; }},
                                                                 {2, [](auto& c) { c.uplo = 'X'; }},
                                                                 {3, [](auto& c) { c.n = -1; }}});
}

}  // namespace
}  // namespace nuv::test
