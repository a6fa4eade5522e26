// What ?latmr refuses and what it can't make.

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "random_matrix_cases.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class RandomMatrixChecks : public ReportingTest {
 protected:
  Random random{29};
};
TYPED_TEST_SUITE(RandomMatrixChecks, Precisions, PrecisionLetter);

template <Scalar T>
constexpr Real<T> nan = std::numeric_limits<Real<T>>::quiet_NaN();
template <Scalar T>
constexpr Real<T> infinity = std::numeric_limits<Real<T>>::infinity();

template <Scalar T>
void expect_failure(const Options<T>& options, Random& random, Int info) {
  EXPECT_EQ(latmr(options, Arrays<T>(options, random)).info, info);
}

TYPED_TEST(RandomMatrixChecks, CannotScaleAZeroDiagonal) {
  using T = TypeParam;
  // Logarithms spread down to minus infinity.
  Options<T> options;
  options.mode = 5;
  options.cond = infinity<T>;
  expect_failure(options, this->random, 2);
  options.dmax = 0;
  expect_failure(options, this->random, 0);
}

template <Scalar T>
struct LatmrCall {
  Random random{1};
  Options<T> options;
  Arrays<T> arrays;
  Int lda = 6;
  Int iwork[6] = {};

  LatmrCall() : arrays(graded(options), random) { arrays.ipivot = {1, 2, 3, 4, 5, 6}; }

  static const Options<T>& graded(Options<T>& options) {
    options.grade = options.pivtng = 'B';
    return options;
  }

  Int run() {
    Int info = 99;
    routine_call::latmr(options.m, options.n, options.dist, arrays.seed.data(), options.sym, arrays.d.data(),
                        options.mode, options.cond, options.dmax, options.rsign, options.grade, arrays.dl.data(),
                        options.model, options.condl, arrays.dr.data(), options.moder, options.condr, options.pivtng,
                        arrays.ipivot.data(), options.kl, options.ku, options.sparse, options.anorm, options.pack,
                        Matrix<T>{arrays.A.data(), lda}, iwork, info);
    return info;
  }
  bool unchanged() const {
    return arrays.A.unchanged() && arrays.d.unchanged() && arrays.dl.unchanged() && arrays.dr.unchanged() &&
           arrays.seed == first_seed && iwork[0] == 0;
  }
  void put_zero_into_dl() {
    arrays.dl(6) = 0;
    arrays.dl.seal();
  }
};

TYPED_TEST(RandomMatrixChecks, ChecksItsArguments) {
  using T = TypeParam;
  using Call = LatmrCall<T>;
  expect_argument_checks<Call>(reported_name<T>("LATMR"), {{1, [](Call& call) { call.options.m = -1; }},
                                                           {2, [](Call& call) { call.options.n = -1; }},
                                                           {3, [](Call& call) { call.options.dist = 'D'; }},
                                                           {5, [](Call& call) { call.options.sym = 'P'; }},
                                                           {7, [](Call& call) { call.options.mode = 7; }},
                                                           {8, [](Call& call) { call.options.cond = Real<T>(0.5); }},
                                                           {10, [](Call& call) { call.options.rsign = 'N'; }},
                                                           {11, [](Call& call) { call.options.grade = 'X'; }},
                                                           {13, [](Call& call) { call.options.model = -7; }},
                                                           {14, [](Call& call) { call.options.condl = 0; }},
                                                           {16, [](Call& call) { call.options.moder = 7; }},
                                                           {17, [](Call& call) { call.options.condr = -1; }},
                                                           {18, [](Call& call) { call.options.pivtng = 'X'; }},
                                                           {19, [](Call& call) { call.arrays.ipivot[5] = 7; }},
                                                           {20, [](Call& call) { call.options.kl = -1; }},
                                                           {21, [](Call& call) { call.options.ku = -1; }},
                                                           {22, [](Call& call) { call.options.sparse = 2; }},
                                                           {24, [](Call& call) { call.options.pack = 'X'; }},
                                                           {26, [](Call& call) { call.lda = 5; }}});
}

/// A call that is good but for what is done to it.
template <Scalar T>
void expect_position(int position, void (*spoil)(LatmrCall<T>&)) {
  LatmrCall<T> call;
  spoil(call);
  SCOPED_TRACE(call.options.text());
  expect_report(call, reported_name<T>("LATMR"), position);
}

/// A call for a symmetric matrix.
template <Scalar T>
struct SymmetricLatmrCall : LatmrCall<T> {
  SymmetricLatmrCall() { this->options.sym = this->options.grade = 'S'; }
};

// What is bad only beside other arguments is reported in the same order.
TYPED_TEST(RandomMatrixChecks, ChecksOptionsOfSymmetricMatricesInTheirPlaces) {
  using T = TypeParam;
  using Call = SymmetricLatmrCall<T>;
  expect_argument_checks<Call>(reported_name<T>("LATMR"), {{1, [](Call& call) { call.options.m = 5; }},
                                                           {3, [](Call& call) { call.options.dist = 'D'; }},
                                                           {7, [](Call& call) { call.options.mode = 7; }},
                                                           {8, [](Call& call) { call.options.cond = 0; }},
                                                           {10, [](Call& call) { call.options.rsign = 'N'; }},
                                                           {11, [](Call& call) { call.options.grade = 'L'; }},
                                                           {13, [](Call& call) { call.options.model = -7; }},
                                                           {14, [](Call& call) { call.options.condl = 0; }},
                                                           {18, [](Call& call) { call.options.pivtng = 'R'; }},
                                                           {19, [](Call& call) { call.arrays.ipivot[5] = 0; }},
                                                           {20, [](Call& call) { call.options.kl = -1; }},
                                                           {21, [](Call& call) { call.options.ku = 3; }},
                                                           {22, [](Call& call) { call.options.sparse = nan<T>; }},
                                                           {24, [](Call& call) { call.options.pack = 'X'; }},
                                                           {26, [](Call& call) { call.lda = 5; }}});
}

/// A call for a matrix of a similarity, which divides by what dl gives.
template <Scalar T>
struct SimilarLatmrCall : LatmrCall<T> {
  SimilarLatmrCall() {
    this->options.grade = 'E';
    this->options.model = 0;
  }
};

TYPED_TEST(RandomMatrixChecks, ChecksDivisorsInTheirPlace) {
  using T = TypeParam;
  using Call = SimilarLatmrCall<T>;
  expect_argument_checks<Call>(reported_name<T>("LATMR"), {{1, [](Call& call) { call.options.m = -1; }},
                                                           {2, [](Call& call) { call.options.n = -1; }},
                                                           {3, [](Call& call) { call.options.dist = 'D'; }},
                                                           {5, [](Call& call) { call.options.sym = 'P'; }},
                                                           {7, [](Call& call) { call.options.mode = 7; }},
                                                           {8, [](Call& call) { call.options.cond = 0; }},
                                                           {10, [](Call& call) { call.options.rsign = 'N'; }},
                                                           {12, [](Call& call) { call.put_zero_into_dl(); }},
                                                           {18, [](Call& call) { call.options.pivtng = 'X'; }},
                                                           {19, [](Call& call) { call.arrays.ipivot[5] = 7; }},
                                                           {20, [](Call& call) { call.options.kl = -1; }},
                                                           {21, [](Call& call) { call.options.ku = -1; }},
                                                           {22, [](Call& call) { call.options.sparse = -1; }},
                                                           {24, [](Call& call) { call.options.pack = 'U'; }},
                                                           {26, [](Call& call) { call.lda = 5; }}});
}

TYPED_TEST(RandomMatrixChecks, ChecksThatASymmetricMatrixCanBe) {
  using T = TypeParam;
  using Call = LatmrCall<T>;
  expect_position<T>(0, [](Call& call) { call.options.sym = call.options.grade = 'S'; });
  expect_position<T>(0, [](Call& call) { call.options.sym = call.options.grade = 'H'; });
  for (const char sym : {'S', 'H'}) {
    for (const char grade : grades) {
      LatmrCall<T> call;
      call.options.sym = sym;
      call.options.grade = grade;
      const bool suits = grade == 'N' || grade == sym || (RealScalar<T> && is_one_of(grade, 'S', 'H'));
      expect_report(call, reported_name<T>("LATMR"), suits ? 0 : 11);
    }
    for (const char pivtng : pivtngs) {
      LatmrCall<T> call;
      call.options.sym = sym;
      call.options.grade = 'N';
      call.options.pivtng = pivtng;
      expect_report(call, reported_name<T>("LATMR"), is_one_of(pivtng, 'L', 'R') ? 18 : 0);
    }
    LatmrCall<T> oblong;
    oblong.options.sym = sym;
    oblong.options.grade = 'N';
    oblong.options.m = 5;
    expect_report(oblong, reported_name<T>("LATMR"), 1);
    LatmrCall<T> lopsided;
    lopsided.options.sym = sym;
    lopsided.options.grade = 'N';
    lopsided.options.kl = 2;
    lopsided.options.ku = 3;
    expect_report(lopsided, reported_name<T>("LATMR"), 21);
  }
}

TYPED_TEST(RandomMatrixChecks, ChecksThatSimilaritiesAreSquare) {
  using T = TypeParam;
  using Call = LatmrCall<T>;
  expect_position<T>(18, [](Call& call) { call.options.m = 5; });
  expect_position<T>(18, [](Call& call) {
    call.options.n = 5;
    call.options.pivtng = 'F';
  });
  for (const char grade : {'E', 'H', 'S'}) {
    LatmrCall<T> call;
    call.options.n = 5;
    call.options.grade = grade;
    expect_report(call, reported_name<T>("LATMR"), 11);
  }
  expect_position<T>(0, [](Call& call) {
    call.options.n = 5;
    call.options.pivtng = 'L';
  });
}

template <Scalar T>
void put_zero_into_dl(LatmrCall<T>& call, char grade, Int model) {
  call.options.grade = grade;
  call.options.model = model;
  call.put_zero_into_dl();
}

TYPED_TEST(RandomMatrixChecks, ChecksTheDivisorsOfAGrading) {
  using T = TypeParam;
  using Call = LatmrCall<T>;
  expect_position<T>(12, [](Call& call) { put_zero_into_dl(call, 'E', 0); });
  expect_position<T>(12, [](Call& call) { put_zero_into_dl(call, 'e', 0); });
  expect_position<T>(0, [](Call& call) { put_zero_into_dl(call, 'E', 3); });
  expect_position<T>(0, [](Call& call) { put_zero_into_dl(call, 'L', 0); });
  // Bad numbers for gradings that are not asked for.
  expect_position<T>(0, [](Call& call) {
    call.options.grade = 'N';
    call.options.model = call.options.moder = 9;
    call.options.condl = call.options.condr = 0;
  });
  expect_position<T>(13, [](Call& call) {
    call.options.grade = 'S';
    call.options.model = call.options.moder = 9;
  });
  expect_position<T>(16, [](Call& call) {
    call.options.grade = 'R';
    call.options.model = call.options.moder = 9;
  });
}

TYPED_TEST(RandomMatrixChecks, RefusesNaNAsACondition) {
  using T = TypeParam;
  using Call = LatmrCall<T>;
  expect_position<T>(8, [](Call& call) { call.options.cond = nan<T>; });
  expect_position<T>(14, [](Call& call) { call.options.condl = nan<T>; });
  expect_position<T>(17, [](Call& call) { call.options.condr = nan<T>; });
  // Modes and gradings that have no use for it do not look at it.
  expect_position<T>(0, [](Call& call) {
    call.options.grade = 'L';
    call.options.mode = 6;
    call.options.cond = call.options.condr = nan<T>;
  });
}

TYPED_TEST(RandomMatrixChecks, ChecksConditionsWhereTheyAreUsed) {
  using T = TypeParam;
  for (const Int mode : {0, 6, -6}) {
    LatmrCall<T> call;
    call.options.mode = call.options.model = call.options.moder = mode;
    call.options.cond = call.options.condl = call.options.condr = 0;
    expect_report(call, reported_name<T>("LATMR"), 0);
  }
}

TYPED_TEST(RandomMatrixChecks, ChecksPivots) {
  using T = TypeParam;
  using Call = LatmrCall<T>;
  expect_position<T>(19, [](Call& call) { call.arrays.ipivot[0] = 0; });
  expect_position<T>(0, [](Call& call) {
    call.arrays.ipivot[0] = 0;
    call.options.pivtng = ' ';
  });
  // There are as many as rows, or columns.
  for (const auto& [pivtng, position] : {std::pair('L', 19), std::pair('R', 0)}) {
    LatmrCall<T> call;
    call.options.m = 5;
    call.options.pivtng = pivtng;
    call.arrays.ipivot = {1, 2, 3, 4, 6, 6};
    expect_report(call, reported_name<T>("LATMR"), position);
  }
}

TYPED_TEST(RandomMatrixChecks, ChecksSparsity) {
  using T = TypeParam;
  using Call = LatmrCall<T>;
  expect_position<T>(22, [](Call& call) { call.options.sparse = Real<T>(-0.01); });
  expect_position<T>(22, [](Call& call) { call.options.sparse = nan<T>; });
  expect_position<T>(0, [](Call& call) { call.options.sparse = 1; });
}

/// A matrix with room for every form.
template <Scalar T>
LatmrCall<T> triangular_call(char pack, Int kl, Int ku, Int m, Int n) {
  LatmrCall<T> call;
  call.options.pack = pack;
  call.options.pivtng = 'N';
  call.options.kl = kl;
  call.options.ku = ku;
  call.options.m = m;
  call.options.n = n;
  call.lda = 20;
  call.arrays.A = GuardedMatrix<T>(20, 6, 20);
  return call;
}

TYPED_TEST(RandomMatrixChecks, ChecksThatAPackedFormHoldsTheMatrix) {
  using T = TypeParam;
  for (const char pack : packs) {
    LatmrCall<T> general = triangular_call<T>(pack, 5, 5, 6, 6), upper = triangular_call<T>(pack, 0, 5, 6, 6),
                 lower = triangular_call<T>(pack, 5, 0, 6, 6);
    expect_report(general, reported_name<T>("LATMR"), pack == 'N' || pack == 'Z' ? 0 : 24);
    expect_report(upper, reported_name<T>("LATMR"), is_one_of(pack, 'N', 'Z', 'C') ? 0 : 24);
    expect_report(lower, reported_name<T>("LATMR"), is_one_of(pack, 'N', 'Z', 'R') ? 0 : 24);
    for (LatmrCall<T> oblong : {triangular_call<T>(pack, 0, 5, 5, 6), triangular_call<T>(pack, 5, 0, 6, 5)}) {
      expect_report(oblong, reported_name<T>("LATMR"), is_one_of(pack, 'N', 'Z') ? 0 : 24);
    }
  }
}

TYPED_TEST(RandomMatrixChecks, ChecksTheLeadingDimensionOfEachForm) {
  using T = TypeParam;
  for (const auto& [pack, least] : {std::pair('N', 6), std::pair('U', 6), std::pair('L', 6), std::pair('C', 1),
                                    std::pair('R', 1), std::pair('B', 3), std::pair('Q', 3), std::pair('Z', 7)}) {
    LatmrCall<T> call;
    call.options.sym = 'S';
    call.options.grade = 'N';
    call.options.pack = pack;
    call.options.kl = call.options.ku = 2;
    call.lda = least - 1;
    expect_report(call, reported_name<T>("LATMR"), 26);
    call.lda = least;
    expect_report(call, reported_name<T>("LATMR"), 0);
  }
  // Sizes that do not fit are not taken for small ones.
  LatmrCall<T> huge;
  huge.options.pack = 'Z';
  huge.options.grade = huge.options.pivtng = 'N';
  huge.options.m = huge.options.n = (Int{1} << 30) + 1;
  huge.options.kl = huge.options.ku = Int{1} << 30;
  huge.lda = std::numeric_limits<Int>::max();
  expect_report(huge, reported_name<T>("LATMR"), 26);
  // A band is no wider than the matrix.
  LatmrCall<T> full;
  full.options.pack = 'Z';
  full.options.kl = full.options.ku = 100;
  full.lda = 16;
  full.arrays.A = GuardedMatrix<T>(16, 6, 16);
  expect_report(full, reported_name<T>("LATMR"), 0);
}

}  // namespace
}  // namespace nuv::test
