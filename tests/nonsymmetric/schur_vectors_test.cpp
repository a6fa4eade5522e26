// Eigenvectors of Schur forms, judged in the next wider type row by row: what is left of a row is compared with the
// numbers in it.

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "environment/machine_constants.hpp"
#include "nonsymmetric/schur_checks.hpp"
#include "nonsymmetric/vectors_of_forms.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

/// Of S x = w x, or of y^H S = w y^H: the largest |residual| / (n eps (|S| + |w|) |x|) of the rows of a block.
template <Scalar T>
double error_by_rows(bool right, const GuardedMatrix<T>& S, std::complex<double> value, const WideColumn<T>& x) {
  using C = WideComplex<T>;
  const Int n = S.rows();
  const C w = right ? C(value) : std::conj(C(value));
  // The least pivot, and what the smallest elements lose to underflow.
  const WideReal<T> safe_min = Machine<Real<T>>::safe_min;
  const WideReal<T> floor = safe_min * n / epsilon<T> + n * safe_min * epsilon<T> * wide(S).cwiseAbs().maxCoeff();
  double worst = 0;
  for (const Block block : blocks_of(S)) {
    WideReal<T> residual = 0, size = 0;
    for (Int i = block.first; i <= block.last; ++i) {
      C sum = -w * x[std::size_t(i - 1)];
      WideReal<T> terms = std::abs(sum);
      for (Int j = 1; j <= n; ++j) {
        const C s = right ? C(S(i, j)) : std::conj(C(S(j, i)));
        sum += s * x[std::size_t(j - 1)];
        terms += std::abs(s * x[std::size_t(j - 1)]);
      }
      residual = std::max(residual, std::abs(sum));
      size = std::max(size, terms);
    }
    if (!(std::isfinite(residual) && std::isfinite(size))) return std::numeric_limits<double>::infinity();
    const WideReal<T> unit = n * epsilon<T> * size + floor;
    worst = std::max(worst, double(residual / unit));
  }
  return worst;
}

template <Scalar T>
struct SchurVectors {
  char side = 'B', howmny = 'A';
  Int n, mm, m = -7, info = 99, ldt;
  GuardedMatrix<T> S, VL{1, 1, 1}, VR{1, 1, 1};
  GuardedVector<Logical> select;

  explicit SchurVectors(const GuardedMatrix<T>& form, char which = 'A')
      : howmny(which), n(form.rows()), mm(n), ldt(form.ld()), S(form), select(n) {
    S.seal();
    VL = VR = GuardedMatrix<T>(n, n, std::max(1, n) + 2);
  }

  void run() {
    GuardedVector<T> work((RealScalar<T> ? 3 : 2) * n);
    GuardedVector<Real<T>> rwork(n);
    call(VL.ld(), VR.ld(), work.data(), rwork.data());
    EXPECT_TRUE(S.unchanged() && VL.guards_unchanged() && VR.guards_unchanged() && select.guards_unchanged());
    EXPECT_TRUE(work.guards_unchanged() && rwork.guards_unchanged());
  }

  void call(Int ldvl, Int ldvr, T* work, Real<T>* rwork) {
    const Matrix<T> t{S.data(), ldt}, vl{VL.data(), ldvl}, vr{VR.data(), ldvr};
    if constexpr (RealScalar<T>) {
      routine_call::trevc(side, howmny, select.data(), n, t, vl, vr, mm, m, work, info);
    } else {
      routine_call::trevc(side, howmny, select.data(), n, t, vl, vr, mm, m, work, rwork, info);
    }
  }
};

/// That each block has its vectors, in columns from its first row on, in V of the kind.
template <Scalar T>
void expect_vectors(bool right, const GuardedMatrix<T>& S, const GuardedMatrix<T>& V) {
  const auto values = eigenvalues_of(S);
  const Int n = S.rows();
  for (const Block block : blocks_of(S)) {
    SCOPED_TRACE(testing::Message() << (right ? "right" : "left") << " vector " << block.first << " of " << n);
    const WideColumn<T> x = vector_in(V, block);
    EXPECT_LT(error_by_rows(right, S, values[std::size_t(block.first - 1)], x), schur_threshold);
    expect_zeros_beside<T>(right, block, x);
    expect_normalised<T>(x);
  }
}

template <Scalar T>
void expect_all(const GuardedMatrix<T>& S) {
  SchurVectors<T> both(S);
  both.run();
  ASSERT_EQ(both.info, 0);
  EXPECT_EQ(both.m, S.rows());
  expect_vectors(true, S, both.VR);
  expect_vectors(false, S, both.VL);
  expect_each_side_alone(S, both);
}

template <class T>
class SchurVectorsOf : public ReportingTest {
 protected:
  Random random{73};
};
TYPED_TEST_SUITE(SchurVectorsOf, Precisions, PrecisionLetter);

TYPED_TEST(SchurVectorsOf, BlocksInAllPlaces) {
  using T = TypeParam;
  for (const Int n : {0, 1, 2, 3, 4, 5}) {
    for (const std::vector<Int>& blocks : all_blocks<T>(n)) {
      expect_all(random_schur_form<T>(this->random, blocks, std::max(1, n) + 1));
    }
  }
}

TYPED_TEST(SchurVectorsOf, LargerForms) {
  using T = TypeParam;
  for (const Int n : {6, 11, 30, 47}) expect_all(random_schur_form<T>(this->random, n, n + 3));
}

/// A block's off-diagonal elements may be of any sizes.
TYPED_TEST(SchurVectorsOf, UnevenBlocks) {
  using T = TypeParam;
  if constexpr (RealScalar<T>) {
    for (const T ratio : {T(1e-3), T(1), T(1e5)}) {
      for (const T sign : {T(1), T(-1)}) {
        GuardedMatrix<T> S = random_schur_form<T>(this->random, {2, 1, 2, 1, 2, 2}, 10);
        for (const Block block : blocks_of(S)) {
          if (block.order() == 1) continue;
          S(block.first, block.last) = sign * ratio;
          S(block.last, block.first) = -sign / ratio;
        }
        expect_all(S);
      }
    }
  }
}

/// The form with its diagonal as some function of the number of a block.
template <Scalar T, class Diagonal>
GuardedMatrix<T> with_diagonal(GuardedMatrix<T> S, Diagonal diagonal) {
  Int number = 0;
  for (const Block block : blocks_of(S)) {
    for (Int i = block.first; i <= block.last; ++i) S(i, i) = T(diagonal(number));
    ++number;
  }
  return S;
}

TYPED_TEST(SchurVectorsOf, CloseAndEqualValues) {
  using T = TypeParam;
  using R = Real<T>;
  for (const R step : {R(0), epsilon<T>, 40 * epsilon<T>, R(1e-4)}) {
    for (const R first : {R(1), R(-3), R(0)}) {
      SCOPED_TRACE(testing::Message() << first << ", steps of " << step);
      const auto diagonal = [=](Int number) { return first + step * R(number); };
      GuardedMatrix<T> S = with_diagonal(random_schur_form<T>(this->random, 9, 9), diagonal);
      if constexpr (RealScalar<T>) {
        // Pairs with equal imaginary parts as well.
        for (const Block block : blocks_of(S)) {
          if (block.order() == 2) S(block.last, block.first) = -1 / S(block.first, block.last);
        }
      }
      expect_all(S);
    }
  }
}

/// Values that are the same count as apart by their last bit.
TYPED_TEST(SchurVectorsOf, OneValueTwice) {
  using T = TypeParam;
  GuardedMatrix<T> S = random_schur_form<T>(this->random, {1, 1}, 2);
  S(1, 1) = S(2, 2) = T(-2);
  S(1, 2) = T(1);
  SchurVectors<T> both(S);
  both.run();
  const Real<T> apart = 2 * epsilon<T>;
  EXPECT_NEAR(std::abs(both.VR(1, 2)), 1, 2 * epsilon<T>);
  EXPECT_NEAR(std::abs(both.VR(2, 2)), apart, apart * 4 * epsilon<T>);
  EXPECT_NEAR(std::abs(both.VL(2, 1)), 1, 2 * epsilon<T>);
  EXPECT_NEAR(std::abs(both.VL(1, 1)), apart, apart * 4 * epsilon<T>);
}

template <Scalar T>
void scale_above_block(GuardedMatrix<T>& S, Int j, Real<T> factor) {
  for (Int i = 1; i < j; ++i) {
    if (S(j, i) == T(0)) S(i, j) = S(i, j) * factor;
  }
}

/// Elements of a solution grow by a large factor in each row.
TYPED_TEST(SchurVectorsOf, FormsWithHugeGrowth) {
  using T = TypeParam;
  using R = Real<T>;
  const bool is_single = std::same_as<R, float>;
  for (const R size : {R(1), is_single ? R(1e6) : R(1e40)}) {
    for (const R step : {R(1e-5), is_single ? R(1e-6) : R(1e-13)}) {
      SCOPED_TRACE(testing::Message() << size << ", steps of " << step);
      GuardedMatrix<T> S = with_diagonal(random_schur_form<T>(this->random, 40, 40),
                                         [=](Int number) { return R(1) + step * R(number); });
      if constexpr (RealScalar<T>) {
        for (const Block block : blocks_of(S)) {
          if (block.order() == 2) S(block.last, block.first) = -step * step / S(block.first, block.last);
        }
      }
      for (Int j = 1; j <= 40; ++j) scale_above_block(S, j, size);
      expect_all(S);
    }
  }
}

/// Elements so large, in any columns, that a product of one with an unknown would overflow.
TYPED_TEST(SchurVectorsOf, FormsWithHugeElements) {
  using T = TypeParam;
  using R = Real<T>;
  const R huge = std::same_as<R, float> ? R(1e20) : R(1e157);
  for (const Int n : {3, 4, 7}) {
    for (int turn = 0; turn < 8; ++turn) {
      GuardedMatrix<T> S =
          with_diagonal(random_schur_form<T>(this->random, n, n), [](Int number) { return R(1 + number); });
      for (Int j = 1; j <= n; ++j) {
        if (this->random.integer(0, 2) == 0) continue;
        scale_above_block(S, j, huge);
      }
      expect_all(S);
    }
  }
}

/// What is large is one part of a pair's vector alone.
TYPED_TEST(SchurVectorsOf, PairsWithOneLargePart) {
  using T = TypeParam;
  if constexpr (RealScalar<T>) {
    const T huge = std::same_as<T, float> ? T(1e20) : T(1e157);
    for (const Int first : {1, 3}) {
      GuardedMatrix<T> S = identity_matrix<T>(4, 4);
      S(first, first + 1) = 1;
      S(first + 1, first) = -4 * Machine<T>::safe_min;
      const Int other = 4 - first;  // the first of the other rows
      S(other, other) = 2;
      S(other + 1, other + 1) = 3;
      S(other, other + 1) = huge;
      (first == 1 ? S(2, 3) : S(2, 4)) = huge;
      expect_all(S);
      (first == 1 ? S(2, 3) : S(2, 4)) = 0;
      (first == 1 ? S(1, 3) : S(2, 3)) = huge;
      expect_all(S);
    }
  }
}

TYPED_TEST(SchurVectorsOf, TinyForms) {
  using T = TypeParam;
  using R = Real<T>;
  const R tiny = std::sqrt(Machine<R>::safe_min);
  GuardedMatrix<T> S = random_schur_form<T>(this->random, 12, 12);
  for (Int j = 1; j <= 12; ++j) {
    for (Int i = 1; i <= 12; ++i) S(i, j) = S(i, j) * tiny;
  }
  expect_all(S);
}

TYPED_TEST(SchurVectorsOf, AMatrixWhoseFormItIs) {
  using T = TypeParam;
  // The largest takes the columns of a pair in strips.
  for (const Int n : {1, 2, 3, 7, 20, RealScalar<T> ? 150 : 21}) {
    const GuardedMatrix<T> S = random_schur_form<T>(this->random, n, n + 1);
    SchurVectors<T> all(S), transformed(S, 'b');
    all.run();
    const GuardedMatrix<T> QL = random_matrix<T>(this->random, n, n, n + 2),
                           QR = random_matrix<T>(this->random, n, n, n + 2);
    transformed.VL = QL;
    transformed.VR = QR;
    transformed.run();
    EXPECT_EQ(transformed.info, 0);
    EXPECT_EQ(transformed.m, n);
    for (const Block block : blocks_of(S)) {
      SCOPED_TRACE(testing::Message() << "vector " << block.first << " of " << n);
      expect_transformed(QR, vector_in(all.VR, block), vector_in(transformed.VR, block), schur_threshold);
      expect_transformed(QL, vector_in(all.VL, block), vector_in(transformed.VL, block), schur_threshold);
    }
  }
}

/// Of a real pair that was selected, the first value alone is so afterwards.
TYPED_TEST(SchurVectorsOf, SelectedValues) {
  using T = TypeParam;
  for (int turn = 0; turn < 20; ++turn) {
    const GuardedMatrix<T> S = random_schur_form<T>(this->random, 13, 13);
    const SchurVectors<T> call = expect_selected<SchurVectors<T>>(this->random, S, blocks_of(S), 's');
    for (const Block block : blocks_of(S)) {
      bool is_selected = false;
      for (Int k = block.first; k <= block.last; ++k) is_selected = is_selected || (call.select.sealed(k) & 1) != 0;
      for (Int k = block.first; k <= block.last; ++k) {
        const Logical of_pair = to_logical(is_selected && k == block.first);
        EXPECT_EQ(call.select(k), block.order() == 2 ? of_pair : call.select.sealed(k)) << k;
      }
    }
  }
}

/// Vectors beside which there is room, and none at all.
TYPED_TEST(SchurVectorsOf, NothingMuch) {
  using T = TypeParam;
  expect_nothing_of_none<SchurVectors<T>>(random_schur_form<T>(this->random, 4, 4));
  expect_room_left<SchurVectors<T>>(random_schur_form<T>(this->random, 4, 4));
}

template <Scalar T>
struct TrevcCall : SchurVectors<T> {
  Int ldvl = 4, ldvr = 4;

  TrevcCall() : SchurVectors<T>(form(), 'A') {
    for (Int k = 1; k <= 4; ++k) this->select(k) = to_logical(k != 2);
    this->select.seal();
  }
  static GuardedMatrix<T> form() {
    Random random(3);
    return random_schur_form<T>(random, RealScalar<T> ? std::vector<Int>{1, 2, 1} : std::vector<Int>(4, 1), 4);
  }
  Int run() {
    GuardedVector<T> work(12);
    GuardedVector<Real<T>> rwork(4);
    this->call(ldvl, ldvr, work.data(), rwork.data());
    return this->info;
  }
  bool unchanged() const {
    return this->S.unchanged() && this->VL.unchanged() && this->VR.unchanged() && this->select.unchanged();
  }
};

TYPED_TEST(SchurVectorsOf, ArgumentsThatAreChecked) {
  using T = TypeParam;
  using Call = TrevcCall<T>;
  expect_argument_checks<Call>(reported_name<T>("TREVC"), {{1, [](Call& c) { c.side = 'A'; }},
                                                           {2, [](Call& c) { c.howmny = 'R'; }},
                                                           {4, [](Call& c) { c.n = -1; }},
                                                           {6, [](Call& c) { c.ldt = 3; }},
                                                           {8, [](Call& c) { c.ldvl = 3; }},
                                                           {10, [](Call& c) { c.ldvr = 3; }},
                                                           {11, [](Call& c) { c.mm = 3; }}});
  expect_room_checks<Call>(reported_name<T>("TREVC"), RealScalar<T>, 8, 10, 11);
}

}  // namespace
}  // namespace nuv::test
