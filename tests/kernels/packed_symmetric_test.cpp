// The kernels for symmetric and Hermitian matrices in packed storage: ?spmv, ?hpmv, ?spr, ?hpr, ?spr2, ?hpr2.

#include "blas.hpp"
#include "kernels/stored_matrices.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

template <class T>
class PackedSymmetric : public ReportingTest {
 protected:
  Random random{17};
};
TYPED_TEST_SUITE(PackedSymmetric, Precisions, PrecisionLetter);

template <class T>
class PackedHermitian : public PackedSymmetric<T> {};
TYPED_TEST_SUITE(PackedHermitian, ComplexPrecisions, PrecisionLetter);

/// The kernels of one precision under names that all of them share.
template <Scalar T>
struct Kernels {
  static constexpr Mirror mirror = ComplexScalar<T> ? Mirror::hermitian : Mirror::symmetric;
  using Factor = Real<T>;

  static std::string name(const char* real, const char* complex) {
    return reported_name<T>(ComplexScalar<T> ? complex : real);
  }
  static void product(char uplo, Int n, T alpha, const T* ap, Vector<const T> x, T beta, Vector<T> y) {
    if constexpr (ComplexScalar<T>) blas::hpmv(uplo, n, alpha, ap, x, beta, y);
    else blas::spmv(uplo, n, alpha, ap, x, beta, y);
  }
  static void update(char uplo, Int n, Factor alpha, Vector<const T> x, T* ap) {
    if constexpr (ComplexScalar<T>) blas::hpr(uplo, n, alpha, x, ap);
    else blas::spr(uplo, n, alpha, x, ap);
  }
  static void update2(char uplo, Int n, T alpha, Vector<const T> x, Vector<const T> y, T* ap) {
    if constexpr (ComplexScalar<T>) blas::hpr2(uplo, n, alpha, x, y, ap);
    else blas::spr2(uplo, n, alpha, x, y, ap);
  }
};

/// The symmetric update that one complex precision has beside the Hermitian one.
struct ComplexSymmetricUpdate {
  static constexpr Mirror mirror = Mirror::symmetric;
  using Factor = std::complex<float>;

  static void update(char uplo, Int n, Factor alpha, Vector<const Factor> x, Factor* ap) {
    blas::spr(uplo, n, alpha, x, ap);
  }
};

// --------------------------------------------------------------------------------------------------------- spmv, hpmv

TYPED_TEST(PackedSymmetric, Multiplies) {
  using T = TypeParam;
  for (const Int n : stored_orders()) {
    for (const char upper_or_lower : uplos) {
      for (int repetition = 0; repetition < 4; ++repetition) {
        const char uplo = this->random.in_some_case(upper_or_lower);
        const ProductCase<T> one(this->random, repetition % 2 == 0);
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", " << one);
        PackedTriangle<T> A(is_upper(uplo), n);
        if (one.alpha != T(0)) fill_symmetric(this->random, A);
        const auto multiply = [&](T alpha, Vector<const T> x, T beta, Vector<T> y) {
          Kernels<T>::product(uplo, n, alpha, A.array().data(), x, beta, y);
        };
        expect_product<T>(this->random, one, whole_symmetric(A, Kernels<T>::mirror), multiply);
        EXPECT_TRUE(A.array().unchanged());
      }
    }
  }
}

// ------------------------------------------------------------------------------------------------------------- updates

/// Expects that A is what it was plus an update, and that a Hermitian one has a real diagonal now.
template <Scalar T>
void expect_updated(const PackedTriangle<T>& A, const Sum<T>& expected, Mirror mirror) {
  WideMatrix<T> got = whole_symmetric(A, mirror);
  if (mirror == Mirror::hermitian) {
    for (Int j = 1; j <= A.columns(); ++j) EXPECT_EQ(std::imag(A(j, j)), 0) << "diagonal element " << j;
  }
  EXPECT_LT(expected.error_of(got), stored_threshold);
  EXPECT_TRUE(A.array().guards_unchanged());
}

template <Scalar T>
void fill_for(Mirror mirror, Random& random, PackedTriangle<T>& A) {
  if (mirror == Mirror::hermitian) fill_symmetric(random, A);
  else fill(random, A);
}

/// Other rows are the conjugates of columns in a Hermitian product.
template <Scalar T>
WideMatrix<T> as_row(Mirror mirror, const WideMatrix<T>& x) {
  return op<T>(mirror == Mirror::hermitian ? 'C' : 'T', x);
}

template <class Kernel, Scalar T>
void expect_updates(Random& random) {
  using Factor = typename Kernel::Factor;
  for (const Int n : stored_orders()) {
    for (const char upper_or_lower : uplos) {
      for (const Int inc : {Int(1), random.pick(strides)}) {
        const char uplo = random.in_some_case(upper_or_lower);
        const auto alpha = random.scalar<Factor>();
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", alpha " << alpha << ", increment " << inc);
        PackedTriangle<T> A(is_upper(uplo), n);
        fill_for(Kernel::mirror, random, A);
        const GuardedVector<T> x = random_vector<T>(random, n, inc);

        Sum<T> expected(n, n);
        expected.add(T(1), whole_symmetric(A, Kernel::mirror));
        expected.add(T(alpha), wide(x), as_row<T>(Kernel::mirror, wide(x)));
        Kernel::update(uplo, n, alpha, x, A.array().data());
        expect_updated(A, expected, Kernel::mirror);
        EXPECT_TRUE(x.unchanged());
      }
    }
  }
}

TYPED_TEST(PackedSymmetric, AddsAProductOfAVectorWithItself) {
  expect_updates<Kernels<TypeParam>, TypeParam>(this->random);
}

using PackedComplexSymmetric = PackedSymmetric<std::complex<float>>;
TEST_F(PackedComplexSymmetric, AddsAProductOfAVectorWithItself) {
  expect_updates<ComplexSymmetricUpdate, std::complex<float>>(random);
}

TYPED_TEST(PackedSymmetric, AddsAProductOfTwoVectors) {
  using T = TypeParam;
  constexpr Mirror mirror = Kernels<T>::mirror;
  for (const Int n : stored_orders()) {
    for (const char upper_or_lower : uplos) {
      for (const bool contiguous : {true, false}) {
        const char uplo = this->random.in_some_case(upper_or_lower);
        const Int incx = contiguous ? 1 : this->random.pick(strides);
        const Int incy = contiguous ? 1 : this->random.pick(strides);
        const T alpha = this->random.template scalar<T>();
        SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", alpha " << alpha << ", increments " << incx
                                        << ", " << incy);
        PackedTriangle<T> A(is_upper(uplo), n);
        fill_for(mirror, this->random, A);
        const GuardedVector<T> x = random_vector<T>(this->random, n, incx), y = random_vector<T>(this->random, n, incy);

        Sum<T> expected(n, n);
        expected.add(T(1), whole_symmetric(A, mirror));
        expected.add(alpha, wide(x), as_row<T>(mirror, wide(y)));
        expected.add(conjugate(alpha), wide(y), as_row<T>(mirror, wide(x)));
        Kernels<T>::update2(uplo, n, alpha, x, y, A.array().data());
        expect_updated(A, expected, mirror);
        EXPECT_TRUE(x.unchanged());
        EXPECT_TRUE(y.unchanged());
      }
    }
  }
}

TYPED_TEST(PackedSymmetric, LeavesTheMatrixAloneWhereTheFactorIsZero) {
  using T = TypeParam;
  for (const Int n : {0, 1, 5, 40}) {
    for (const char uplo : uplos) {
      for (const Int inc : strides) {
        PackedTriangle<T> A(is_upper(uplo), n);
        fill_symmetric(this->random, A);
        const GuardedVector<T> x(n, inc), y(n, inc);
        Kernels<T>::update(uplo, n, 0, x, A.array().data());
        Kernels<T>::update2(uplo, n, T(0), x, y, A.array().data());
        EXPECT_TRUE(A.array().unchanged());
      }
    }
  }
}

TYPED_TEST(PackedHermitian, MakesTheDiagonalRealWhateverTheVectorsAre) {
  using T = TypeParam;
  for (const Int n : {1, 5, 40}) {
    for (const char uplo : uplos) {
      for (const Int inc : strides) {
        PackedTriangle<T> A(is_upper(uplo), n);
        fill_symmetric(this->random, A);
        const WideMatrix<T> before = whole_symmetric(A, Mirror::hermitian);
        GuardedVector<T> zero(n, inc);
        for (Int i = 1; i <= n; ++i) zero(i) = T(0);
        PackedTriangle<T> B = A;
        blas::hpr(uplo, n, Real<T>(1), zero, A.array().data());
        blas::hpr2(uplo, n, T(1), zero, zero, B.array().data());
        for (Int j = 1; j <= n; ++j) {
          EXPECT_EQ(A(j, j), T(std::real(A.sealed(j, j))));
          EXPECT_EQ(B(j, j), T(std::real(A.sealed(j, j))));
        }
        EXPECT_EQ(whole_symmetric(A, Mirror::hermitian), before);
        EXPECT_EQ(whole_symmetric(B, Mirror::hermitian), before);
      }
    }
  }
}

// ----------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct PackedCall {
  char uplo = 'U';
  Int n = 3, incx = 1, incy = 1;
  Random random{1};
  GuardedVector<T> a = random_vector<T>(random, 6, 1), x = random_vector<T>(random, 3, 1),
                   y = random_vector<T>(random, 3, 1);

  bool unchanged() const { return a.unchanged() && x.unchanged() && y.unchanged(); }
};

template <Scalar T>
struct ProductCall : PackedCall<T> {
  void run() {
    Kernels<T>::product(this->uplo, this->n, T(1), this->a.data(), {this->x.data(), this->incx}, T(2),
                        {this->y.data(), this->incy});
  }
};

template <class Kernel, Scalar T>
struct UpdateCall : PackedCall<T> {
  void run() { Kernel::update(this->uplo, this->n, 1, {this->x.data(), this->incx}, this->a.data()); }
};

template <Scalar T>
struct Update2Call : PackedCall<T> {
  void run() {
    Kernels<T>::update2(this->uplo, this->n, T(1), {this->x.data(), this->incx}, {this->y.data(), this->incy},
                        this->a.data());
  }
};

template <class Call>
void expect_update_checks(const std::string& name) {
  expect_argument_checks<Call>(name, {{1, [](auto& c) { c.uplo = 'N'; }},
                                      {1, [](auto& c) { c.uplo = char('U' + 128); }},
                                      {2, [](auto& c) { c.n = -1; }},
                                      {5, [](auto& c) { c.incx = 0; }}});
}

TYPED_TEST(PackedSymmetric, ChecksTheArguments) {
  using T = TypeParam;
  expect_argument_checks<ProductCall<T>>(Kernels<T>::name("SPMV", "HPMV"), {{1, [](auto& c) { c.uplo = 'N'; }},
                                                                            {1, [](auto& c) { c.uplo = ' '; }},
                                                                            {2, [](auto& c) { c.n = -1; }},
                                                                            {6, [](auto& c) { c.incx = 0; }},
                                                                            {9, [](auto& c) { c.incy = 0; }}});
  expect_update_checks<UpdateCall<Kernels<T>, T>>(Kernels<T>::name("SPR", "HPR"));
  expect_argument_checks<Update2Call<T>>(Kernels<T>::name("SPR2", "HPR2"), {{1, [](auto& c) { c.uplo = 'T'; }},
                                                                            {2, [](auto& c) { c.n = -1; }},
                                                                            {5, [](auto& c) { c.incx = 0; }},
                                                                            {7, [](auto& c) { c.incy = 0; }}});
}

TEST_F(PackedComplexSymmetric, ChecksTheArguments) {
  expect_update_checks<UpdateCall<ComplexSymmetricUpdate, std::complex<float>>>("CSPR  ");
}

}  // namespace
}  // namespace nuv::test
