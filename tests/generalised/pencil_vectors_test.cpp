// Eigenvectors of generalised Schur forms: ?tgevc. They are judged in the next wider type row by row: what is left of a
// row is compared with the numbers in it, and with the least pivot, by which a smaller one is replaced.

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "environment/machine_constants.hpp"
#include "generalised/pencil_checks.hpp"
#include "nonsymmetric/vectors_of_forms.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/real_precisions.hpp"

namespace nuv::test {
namespace {

/// alpha / beta, scaled so that |alpha| |P| + |beta| |S| is about one.
template <Scalar T>
struct Value {
  WideComplex<T> alpha;
  WideReal<T> beta;
};

template <Scalar T>
Value<T> value_of(const Pencil<T>& form, Block block) {
  using R = WideReal<T>;
  const auto& [S, P] = form;
  const Int j = block.first, k = block.last;
  if (j == k) return {WideComplex<T>(S(j, j)), R(std::real(P(j, j)))};
  if constexpr (RealScalar<T>) {
    // The block of P is diagonal: the eigenvalues are those of a matrix.
    const R a = R(S(j, j)) / R(P(j, j)), d = R(S(k, k)) / R(P(k, k)), half = (a - d) / 2;
    const R bc = (R(S(j, k)) / R(P(j, j))) * (R(S(k, j)) / R(P(k, k)));
    return {{(a + d) / 2, std::sqrt(-(half * half + bc))}, 1};
  }
  return {};
}

template <Scalar T>
WideReal<T> largest_column_sum(const GuardedMatrix<T>& A) {
  return wide(A).cwiseAbs().colwise().sum().maxCoeff();
}

/// Of beta S x = alpha P x, or of beta y^H S = alpha y^H P: the largest residual / (n eps |terms|) of the rows of a
/// block.
template <Scalar T>
double error_by_rows(bool right, const Pencil<T>& form, const Value<T>& value, const WideColumn<T>& x) {
  using C = WideComplex<T>;
  using R = WideReal<T>;
  const auto& [S, P] = form;
  const Int n = S.rows();
  const C alpha = right ? value.alpha : std::conj(value.alpha);
  const R beta = value.beta;
  const R size = std::abs(beta) * largest_column_sum(S) + measure<T>(alpha) * largest_column_sum(P);
  double worst = 0;
  for (const Block block : blocks_of(S)) {
    R residual = 0, terms_of_block = 0, own = 0;
    for (Int i = block.first; i <= block.last; ++i) {
      C sum = 0;
      R terms = 0;
      for (Int j = 1; j <= n; ++j) {
        const C s = beta * (right ? C(S(i, j)) : std::conj(C(S(j, i))));
        const C p = alpha * (right ? C(P(i, j)) : std::conj(C(P(j, i))));
        const C element = x[std::size_t(j - 1)];
        sum += (s - p) * element;
        terms += (measure<T>(s) + measure<T>(p)) * measure<T>(element);
      }
      residual = std::max(residual, measure<T>(sum));
      terms_of_block = std::max(terms_of_block, terms);
      own = std::max(own, measure<T>(x[std::size_t(i - 1)]));
    }
    if (!(std::isfinite(residual) && std::isfinite(terms_of_block))) return std::numeric_limits<double>::infinity();
    // What is small beside the largest element of a vector loses digits to underflow.
    const R unit = n * epsilon<T> * (terms_of_block + own * size) + size * n * Machine<Real<T>>::safe_min / epsilon<T>;
    worst = std::max(worst, double(residual / unit));
  }
  return worst;
}

template <Scalar T>
bool is_indefinite(const Pencil<T>& form, Block block) {
  return block.order() == 1 && form.A(block.first, block.first) == T(0) && form.B(block.first, block.first) == T(0);
}

template <Scalar T>
struct PencilVectorCall {
  char side = 'B', howmny = 'A';
  Int n, mm, m = -7, info = 99, lds, ldp;
  GuardedMatrix<T> S, P, VL{1, 1, 1}, VR{1, 1, 1};
  GuardedVector<Logical> select;

  explicit PencilVectorCall(const Pencil<T>& form, char which = 'A')
      : howmny(which), n(form.A.rows()), mm(n), lds(form.A.ld()), ldp(form.B.ld()), S(form.A), P(form.B), select(n) {
    // What is below the triangles is not read.
    for (Int j = 1; j <= n; ++j) {
      for (Int i = j + 1; i <= n; ++i) {
        P(i, j) = guard<T>();
        if (i > j + 1 || ComplexScalar<T>) S(i, j) = guard<T>();
      }
    }
    S.seal();
    P.seal();
    VL = VR = GuardedMatrix<T>(n, n, std::max(1, n) + 2);
  }

  void run() {
    GuardedVector<T> work((RealScalar<T> ? 6 : 2) * n);
    GuardedVector<Real<T>> rwork(2 * n);
    call(VL.ld(), VR.ld(), work.data(), rwork.data());
    EXPECT_TRUE(S.unchanged() && P.unchanged() && VL.guards_unchanged() && VR.guards_unchanged());
    EXPECT_TRUE(select.guards_unchanged() && work.guards_unchanged() && rwork.guards_unchanged());
  }

  void call(Int ldvl, Int ldvr, T* work, Real<T>* rwork) {
    const Matrix<T> s{S.data(), lds}, p{P.data(), ldp}, vl{VL.data(), ldvl}, vr{VR.data(), ldvr};
    if constexpr (RealScalar<T>) {
      routine_call::tgevc(side, howmny, select.data(), n, s, p, vl, vr, mm, m, work, info);
    } else {
      routine_call::tgevc(side, howmny, select.data(), n, s, p, vl, vr, mm, m, work, rwork, info);
    }
  }
};

template <Scalar T>
void expect_unit_vector(const GuardedMatrix<T>& V, Int j) {
  for (Int i = 1; i <= V.rows(); ++i) EXPECT_EQ(V(i, j), T(Real<T>(i == j))) << i << ", " << j;
}

/// That each block has its vectors, in columns from its first row on, in V of the kind.
template <Scalar T>
void expect_vectors(bool right, const Pencil<T>& form, const GuardedMatrix<T>& V) {
  const Int n = V.rows();
  for (const Block block : blocks_of(form.A)) {
    SCOPED_TRACE(testing::Message() << (right ? "right" : "left") << " vector " << block.first << " of " << n);
    if (is_indefinite(form, block)) {
      expect_unit_vector(V, block.first);
      continue;
    }
    const WideColumn<T> x = vector_in(V, block);
    EXPECT_LT(error_by_rows(right, form, value_of(form, block), x), pencil_threshold);
    expect_zeros_beside<T>(right, block, x);
    expect_normalised<T>(x);
  }
}

template <Scalar T>
void expect_all(const Pencil<T>& form) {
  PencilVectorCall<T> both(form);
  both.run();
  ASSERT_EQ(both.info, 0);
  EXPECT_EQ(both.m, form.A.rows());
  expect_vectors(true, form, both.VR);
  expect_vectors(false, form, both.VL);
  expect_each_side_alone(form, both);
}

template <class T>
class PencilVectorsOf : public ReportingTest {
 protected:
  Random random{137};
};
TYPED_TEST_SUITE(PencilVectorsOf, Precisions, PrecisionLetter);

template <class T>
class RealPencilVectorsOf : public PencilVectorsOf<T> {};
TYPED_TEST_SUITE(RealPencilVectorsOf, RealPrecisions, PrecisionLetter);

TYPED_TEST(PencilVectorsOf, BlocksInAllPlaces) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 3, 4, 5}) {
    for (const std::vector<Int>& blocks : all_blocks<T>(n)) {
      expect_all(random_pencil_schur_form<T>(this->random, blocks, std::max(1, n) + 1));
    }
  }
}

TYPED_TEST(PencilVectorsOf, LargerForms) {
  using T = TypeParam;
  for (const Int n : {6, 7, 8, 9, 10, 11, 12, 40, 100}) {
    expect_all(random_pencil_schur_form<T>(this->random, n, n + 3));
  }
}

/// Infinite eigenvalues, zeros, and such as are any number, among others.
TYPED_TEST(PencilVectorsOf, SingularForms) {
  using T = TypeParam;
  for (int turn = 0; turn < 40; ++turn) {
    const Int n = this->random.integer(1, 9);
    Pencil<T> form = random_pencil_schur_form<T>(this->random, n, n);
    for (const Block block : blocks_of(form.A)) {
      if (block.order() == 2) continue;
      const Int kind = this->random.integer(0, 5), j = block.first;
      if (kind == 1 || kind == 3) form.A(j, j) = T(0);
      if (kind == 2 || kind == 3) form.B(j, j) = T(0);
    }
    expect_all(form);
  }
}

TYPED_TEST(PencilVectorsOf, ZeroMatrices) {
  using T = TypeParam;
  for (const bool zero_s : {true, false}) {
    for (const bool zero_p : {true, false}) {
      Pencil<T> form = random_pencil_schur_form<T>(this->random, std::vector<Int>(4, 1), 5);
      for (Int j = 1; j <= 4; ++j) {
        for (Int i = 1; i <= 4; ++i) {
          if (zero_s) form.A(i, j) = T(0);
          if (zero_p) form.B(i, j) = T(0);
        }
      }
      expect_all(form);
    }
  }
}

/// What counts as indefinite may be as large as the least number that has a reciprocal.
TYPED_TEST(PencilVectorsOf, NearlyIndefiniteValues) {
  using T = TypeParam;
  using R = Real<T>;
  Pencil<T> form = random_pencil_schur_form<T>(this->random, std::vector<Int>(3, 1), 3);
  const R least = Machine<R>::safe_min;
  for (const bool by_s : {true, false}) {
    for (const R factor : {R(1), R(2)}) {
      form.A(2, 2) = T(by_s ? factor * least : 0);
      form.B(2, 2) = T(by_s ? 0 : factor * least);
      PencilVectorCall<T> call(form);
      call.run();
      EXPECT_EQ(call.VR(2, 2) == T(1) && call.VR(1, 2) == T(0), factor == 1) << by_s << factor;
      EXPECT_EQ(call.VL(2, 2) == T(1) && call.VL(3, 2) == T(0), factor == 1) << by_s << factor;
      if (factor == 2) expect_vectors(true, form, call.VR);
    }
    if (!by_s) continue;
    // A purely imaginary number is no less.
    if constexpr (ComplexScalar<T>) {
      form.A(2, 2) = T(0, 2 * least);
      PencilVectorCall<T> call(form);
      call.run();
      EXPECT_NE(call.VR(1, 2), T(0));
    }
  }
}

/// The form with quotients of its diagonal elements as some function of the number of a block.
template <Scalar T, class Diagonal>
Pencil<T> with_values(Pencil<T> form, Diagonal diagonal) {
  Int number = 0;
  for (const Block block : blocks_of(form.A)) {
    for (Int i = block.first; i <= block.last; ++i) {
      form.B(i, i) = T(1);
      form.A(i, i) = T(diagonal(number));
    }
    ++number;
  }
  return form;
}

/// Makes the eigenvalues of each block of order two apart by little.
template <RealScalar R>
void set_imaginary_parts(Pencil<R>& form, R im) {
  for (const Block block : blocks_of(form.A)) {
    if (block.order() == 2) form.A(block.last, block.first) = -im * im / form.A(block.first, block.last);
  }
}

TYPED_TEST(PencilVectorsOf, CloseAndEqualValues) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R step : {R(0), epsilon<T>, 40 * epsilon<T>, R(1e-4)}) {
    for (const R first : {R(1), R(-3), R(0)}) {
      SCOPED_TRACE(testing::Message() << first << ", steps of " << step);
      Pencil<T> form = with_values(random_pencil_schur_form<T>(this->random, 9, 9),
                                   [=](Int number) { return first + step * R(number); });
      if constexpr (RealScalar<T>) set_imaginary_parts(form, T(1));
      expect_all(form);
    }
  }
}

/// Values that are the same count as apart by their last bit, in the larger of the two matrices.
TYPED_TEST(PencilVectorsOf, OneValueTwice) {
  using T = TypeParam;
  for (const bool in_s : {true, false}) {
    Pencil<T> form{identity_matrix<T>(2, 2), identity_matrix<T>(2, 2)};
    (in_s ? form.A : form.B)(1, 2) = T(1);
    PencilVectorCall<T> both(form);
    both.run();
    EXPECT_EQ(std::abs(both.VR(1, 2)), 1) << in_s;
    EXPECT_EQ(std::abs(both.VR(2, 2)), 2 * epsilon<T>) << in_s;
    EXPECT_EQ(std::abs(both.VL(2, 1)), 1) << in_s;
    EXPECT_EQ(std::abs(both.VL(1, 1)), 2 * epsilon<T>) << in_s;
  }
}

/// The elements of a block may be of any sizes.
TYPED_TEST(RealPencilVectorsOf, UnevenBlocks) {
  using R = TypeParam;
  for (const R ratio : {R(1e-12), R(1e-3), R(1), R(1e5), R(1e12)}) {
    for (const R factor : {R(0.03125), R(1), R(8)}) {
      for (const R sign : {R(1), R(-1)}) {
        SCOPED_TRACE(testing::Message() << ratio << ", " << factor << ", " << sign);
        Pencil<R> form = random_pencil_schur_form<R>(this->random, {2, 1, 2, 1, 2, 2}, 10);
        for (const Block block : blocks_of(form.A)) {
          if (block.order() == 1) continue;
          const Int j = block.first, k = block.last;
          form.A(j, k) = sign * ratio;
          form.A(k, j) = -sign / ratio;
          form.A(k, k) = factor * form.A(j, j);
          form.B(k, k) = factor * form.B(j, j);
        }
        expect_all(form);
      }
    }
  }
}

/// Multiplies what is above a diagonal block in column j.
template <Scalar T>
void scale_above_block(const GuardedMatrix<T>& S, GuardedMatrix<T>& A, Int j, Real<T> factor) {
  for (Int i = 1; i < j; ++i) {
    if (ComplexScalar<T> || i + 1 < j || S(j, i) == T(0)) A(i, j) = A(i, j) * factor;
  }
}

/// Elements of a solution grow by a large factor in each row.
TYPED_TEST(PencilVectorsOf, FormsWithHugeGrowth) {
  using T = TypeParam;
  using R = Real<T>;
  const bool is_single = std::same_as<R, float>;
  for (const bool in_p : {false, true}) {
    for (const R size : {R(1), is_single ? R(1e6) : R(1e40)}) {
      for (const R step : {R(1e-5), is_single ? R(1e-6) : R(1e-13)}) {
        SCOPED_TRACE(testing::Message() << size << ", steps of " << step << in_p);
        Pencil<T> form = with_values(random_pencil_schur_form<T>(this->random, 40, 40),
                                     [=](Int number) { return R(1) + step * R(number); });
        if constexpr (RealScalar<T>) set_imaginary_parts(form, std::sqrt(step));
        for (Int j = 1; j <= 40; ++j) scale_above_block(form.A, in_p ? form.B : form.A, j, size);
        expect_all(form);
      }
    }
  }
}

/// Elements so large, in any columns, that a product of one with an unknown would overflow.
TYPED_TEST(PencilVectorsOf, FormsWithHugeElements) {
  using T = TypeParam;
  using R = Real<T>;
  const R huge = std::same_as<R, float> ? R(1e20) : R(1e157);
  for (const Int n : {3, 4, 7}) {
    for (int turn = 0; turn < 16; ++turn) {
      Pencil<T> form =
          with_values(random_pencil_schur_form<T>(this->random, n, n), [](Int number) { return Real<T>(1 + number); });
      for (Int j = 1; j <= n; ++j) {
        const Int which = this->random.integer(0, 3);
        if (which & 1) scale_above_block(form.A, form.A, j, huge);
        if (which & 2) scale_above_block(form.A, form.B, j, huge);
      }
      expect_all(form);
    }
  }
}

/// Either matrix near the limits of the range.
TYPED_TEST(PencilVectorsOf, TinyAndHugeForms) {
  using T = TypeParam;
  using R = Real<T>;
  const int far = std::same_as<R, float> ? 100 : 960;
  for (const int of_s : {-far, 0, far}) {
    for (const int of_p : {-far, 0, far}) {
      SCOPED_TRACE(testing::Message() << of_s << ", " << of_p);
      Pencil<T> form = random_pencil_schur_form<T>(this->random, std::vector<Int>(8, 1), 8);
      scale_by_power(form.A, of_s);
      scale_by_power(form.B, of_p);
      expect_all(form);
    }
  }
}

/// Pairs of eigenvalues near the limits of the range.
TYPED_TEST(PencilVectorsOf, TinyAndHugePairs) {
  using T = TypeParam;
  if constexpr (RealScalar<T>) {
    for (const int far : {std::same_as<T, float> ? 50 : 480, std::same_as<T, float> ? 60 : 510}) {
      for (const int of_s : {-far, 0, far}) {
        for (const int of_p : {-far, 0, far}) {
          SCOPED_TRACE(testing::Message() << of_s << ", " << of_p);
          Pencil<T> form = random_pencil_schur_form<T>(this->random, {2, 1, 2, 2, 1}, 8);
          scale_by_power(form.A, of_s);
          scale_by_power(form.B, of_p);
          expect_all(form);
        }
      }
    }
  }
}

/// Of one value s / p among others: the elements may have any sizes.
TYPED_TEST(PencilVectorsOf, ValuesOfAllSizes) {
  using T = TypeParam;
  using R = Real<T>;
  const bool is_single = std::same_as<R, float>;
  const int far = is_single ? 60 : 500;
  for (const int of_s : {-2 * far, -far, 0}) {
    for (const int of_p : {-2 * far, -far, 0}) {
      if (of_s == -2 * far && of_p == -2 * far) continue;
      Pencil<T> form = random_pencil_schur_form<T>(this->random, std::vector<Int>(5, 1), 5);
      form.A(3, 3) = form.A(3, 3) * std::ldexp(R(1), of_s);
      form.B(3, 3) = form.B(3, 3) * std::ldexp(R(1), of_p);
      SCOPED_TRACE(testing::Message() << of_s << ", " << of_p);
      expect_all(form);
    }
  }
}

TYPED_TEST(PencilVectorsOf, APencilWhoseFormItIs) {
  using T = TypeParam;
  // The largest takes the columns of a pair in strips.
  for (const Int n : {1, 2, 3, 7, 20, RealScalar<T> ? 150 : 21}) {
    const Pencil<T> form = random_pencil_schur_form<T>(this->random, n, n + 1);
    PencilVectorCall<T> all(form), transformed(form, 'b');
    all.run();
    const GuardedMatrix<T> Q = random_matrix<T>(this->random, n, n, n + 2),
                           Z = random_matrix<T>(this->random, n, n, n + 2);
    transformed.VL = Q;
    transformed.VR = Z;
    transformed.run();
    EXPECT_EQ(transformed.info, 0);
    EXPECT_EQ(transformed.m, n);
    for (const Block block : blocks_of(form.A)) {
      SCOPED_TRACE(testing::Message() << "vector " << block.first << " of " << n);
      expect_transformed(Z, vector_in(all.VR, block), vector_in(transformed.VR, block), pencil_threshold);
      expect_transformed(Q, vector_in(all.VL, block), vector_in(transformed.VL, block), pencil_threshold);
    }
  }
}

/// Unit vectors are not transformed, and what is as good as zero is not divided by its size.
TYPED_TEST(PencilVectorsOf, AnythingAndNothing) {
  using T = TypeParam;
  Pencil<T> form = random_pencil_schur_form<T>(this->random, std::vector<Int>(3, 1), 3);
  form.A(2, 2) = form.B(2, 2) = T(0);
  PencilVectorCall<T> call(form, 'B');
  call.VL = call.VR = GuardedMatrix<T>(3, 3, 3);
  for (Int j = 1; j <= 3; ++j) {
    for (Int i = 1; i <= 3; ++i) call.VL(i, j) = call.VR(i, j) = T(0);
  }
  call.run();
  EXPECT_EQ(call.info, 0);
  for (const Int j : {1, 3}) {
    for (Int i = 1; i <= 3; ++i) {
      EXPECT_EQ(call.VL(i, j), T(0));
      EXPECT_EQ(call.VR(i, j), T(0));
    }
  }
  expect_unit_vector(call.VL, 2);
  expect_unit_vector(call.VR, 2);
}

TYPED_TEST(PencilVectorsOf, SelectedValues) {
  using T = TypeParam;
  for (int turn = 0; turn < 20; ++turn) {
    const Pencil<T> form = random_pencil_schur_form<T>(this->random, 13, 13);
    const char howmny = turn % 2 == 0 ? 's' : 'S';
    const auto call = expect_selected<PencilVectorCall<T>>(this->random, form, blocks_of(form.A), howmny);
    EXPECT_TRUE(call.select.unchanged());
  }
}

/// The unit vector of a selected value is that of the column which it takes.
TYPED_TEST(PencilVectorsOf, SelectedIndefiniteValue) {
  using T = TypeParam;
  Pencil<T> form = random_pencil_schur_form<T>(this->random, std::vector<Int>(4, 1), 4);
  form.A(3, 3) = form.B(3, 3) = T(0);
  PencilVectorCall<T> call(form, 'S');
  for (Int k = 1; k <= 4; ++k) call.select(k) = to_logical(k >= 3);
  call.run();
  EXPECT_EQ(call.m, 2);
  expect_unit_vector(call.VL, 1);
  expect_unit_vector(call.VR, 1);
}

/// Vectors beside which there is room, and none at all.
TYPED_TEST(PencilVectorsOf, NothingMuch) {
  using T = TypeParam;
  expect_nothing_of_none<PencilVectorCall<T>>(random_pencil_schur_form<T>(this->random, 4, 4));
  expect_room_left<PencilVectorCall<T>>(random_pencil_schur_form<T>(this->random, 4, 4));
}

/// A block of order two has to have complex eigenvalues.
TYPED_TEST(RealPencilVectorsOf, RealValuesInABlockOfOrderTwo) {
  using R = TypeParam;
  for (const char side : {'L', 'R', 'B'}) {
    Pencil<R> form = random_pencil_schur_form<R>(this->random, {1, 2, 2, 1}, 6);
    form.A(5, 4) = -form.A(5, 4);
    form.A(4, 4) = form.A(5, 5) = form.B(4, 4) = form.B(5, 5) = 1;
    PencilVectorCall<R> call(form);
    call.side = side;
    call.run();
    EXPECT_EQ(call.info, 4);
  }
}

TYPED_TEST(PencilVectorsOf, FormsThatAreNone) {
  using T = TypeParam;
  const auto expect_info = [](Pencil<T> form, Int info) {
    PencilVectorCall<T> call(form);
    call.run();
    EXPECT_EQ(call.info, info);
    EXPECT_EQ(take_error_reports(), (std::vector<ErrorReport>{{reported_name<T>("TGEVC"), -info}}));
    EXPECT_TRUE(call.VL.unchanged() && call.VR.unchanged());
    EXPECT_EQ(call.m, -7);
  };
  if constexpr (RealScalar<T>) {
    const Pencil<T> good = random_pencil_schur_form<T>(this->random, {1, 2, 1}, 4);
    Pencil<T> form = good;
    form.A(2, 1) = 1;
    expect_info(form, -5);
    for (const Int k : {2, 3}) {
      form = good;
      form.B(k, k) = 0;
      expect_info(form, -7);
    }
    form = good;
    form.B(2, 3) = 1;
    expect_info(form, -7);
    form.A(4, 3) = 1;
    expect_info(form, -5);
  } else {
    for (const Int k : {1, 4}) {
      Pencil<T> form = random_pencil_schur_form<T>(this->random, std::vector<Int>(4, 1), 4);
      form.B(k, k) = T(1, 1);
      expect_info(form, -7);
    }
  }
}

TYPED_TEST(PencilVectorsOf, EndWhateverTheNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (const bool in_s : {true, false}) {
      for (Int i = 1; i <= 6; ++i) {
        for (Int j = i; j <= 6; ++j) {
          const std::vector<Int> blocks = RealScalar<T> ? std::vector<Int>{1, 2, 1, 2} : std::vector<Int>(6, 1);
          Pencil<T> form = random_pencil_schur_form<T>(this->random, blocks, 6);
          (in_s ? form.A : form.B)(i, j) = T(odd);
          PencilVectorCall<T> call(form);
          call.run();
          if (call.info == 0) {
            EXPECT_FALSE(is_finite(call.VR) && is_finite(call.VL)) << i << j << in_s << odd;
          } else {
            take_error_reports();
          }
        }
      }
    }
  }
}

// ----------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct ValidVectors : PencilVectorCall<T> {
  Int ldvl = 4, ldvr = 4;

  ValidVectors() : PencilVectorCall<T>(form(), 'A') {
    for (Int k = 1; k <= 4; ++k) this->select(k) = to_logical(k != 2);
    this->select.seal();
  }
  static Pencil<T> form() {
    Random random(3);
    return random_pencil_schur_form<T>(random, RealScalar<T> ? std::vector<Int>{1, 2, 1} : std::vector<Int>(4, 1), 4);
  }
  Int run() {
    GuardedVector<T> work(24);
    GuardedVector<Real<T>> rwork(8);
    this->call(ldvl, ldvr, work.data(), rwork.data());
    return this->info;
  }
  bool unchanged() const {
    return this->S.unchanged() && this->P.unchanged() && this->VL.unchanged() && this->VR.unchanged() &&
           this->select.unchanged();
  }
};

TYPED_TEST(PencilVectorsOf, ArgumentsThatAreChecked) {
  using T = TypeParam;
  using Call = ValidVectors<T>;
  const std::string name = reported_name<T>("TGEVC");
  expect_argument_checks<Call>(name, {{1, [](Call& c) { c.side = 'A'; }},
                                      {2, [](Call& c) { c.howmny = 'R'; }},
                                      {4, [](Call& c) { c.n = -1; }},
                                      {6, [](Call& c) { c.lds = 3; }},
                                      {8, [](Call& c) { c.ldp = 3; }},
                                      {10, [](Call& c) { c.ldvl = 3; }},
                                      {12, [](Call& c) { c.ldvr = 3; }},
                                      {13, [](Call& c) { c.mm = 3; }}});
  expect_room_checks<Call>(name, RealScalar<T>, 10, 12, 13);
}

}  // namespace
}  // namespace nuv::test
