// Updates by outer products: ?ger, ?geru, ?gerc, ?syr, ?her, ?syr2, ?her2 and the forms for the reductions, ?syr2_nb
// and ?her2_nb.

#include "blas.hpp"
#include "kernels/dense_cases.hpp"

namespace nuv::test {
namespace {

// ----------------------------------------------------------------------------------------------- ger, geru and gerc

struct Transposed {
  static constexpr const char* real_name = "GER";
  static constexpr const char* complex_name = "GERU";
  static constexpr char trans = 'T';
  template <Scalar T>
  static void run(Int m, Int n, T alpha, Vector<const T> x, Vector<const T> y, Matrix<T> A) {
    if constexpr (ComplexScalar<T>) {
      blas::geru(m, n, alpha, x, y, A);
    } else {
      blas::ger(m, n, alpha, x, y, A);
    }
  }
};

struct Conjugated {
  static constexpr const char* complex_name = "GERC";
  static constexpr char trans = 'C';
  template <ComplexScalar T>
  static void run(Int m, Int n, T alpha, Vector<const T> x, Vector<const T> y, Matrix<T> A) {
    blas::gerc(m, n, alpha, x, y, A);
  }
};

template <Scalar T, class Kernel>
void expect_outer_product(Random& random, Int m, Int n, Int incx, Int incy) {
  const T alpha = random_alpha<T>(random);
  SCOPED_TRACE(testing::Message() << Kernel::trans << ", " << m << " by " << n << ", alpha " << alpha << ", increments "
                                  << incx << ", " << incy);
  GuardedMatrix<T> A = random_matrix<T>(random, m, n, random_ld(random, m));
  Operand<T> x = unset_operand<T>(random, m, incx), y = unset_operand<T>(random, n, incy);
  Sum<T> expected(m, n);
  if (alpha != T(0)) {
    x = random_operand<T>(random, m, incx);
    y = random_operand<T>(random, n, incy);
    expected.add(T(1), wide(A)).add(alpha, wide(x), op<T>(Kernel::trans, wide(y)));
  }
  Kernel::template run<T>(m, n, alpha, x, y, A);
  EXPECT_TRUE(x.unchanged());
  EXPECT_TRUE(y.unchanged());
  EXPECT_TRUE(A.guards_unchanged());
  if (alpha == T(0)) {
    EXPECT_TRUE(A.unchanged());
  } else {
    EXPECT_LT(expected.error_of(wide(A)), dense_threshold);
  }
}

template <Scalar T, class Kernel>
void expect_outer_products(Random& random) {
  for (const auto& [m, n] : dense_shapes()) {
    expect_outer_product<T, Kernel>(random, m, n, random_increment(random), random_increment(random));
  }
  for (const Int few : {1, 9}) {
    expect_outer_product<T, Kernel>(random, length_of_several_pieces<T>, few, 1, 1);
    expect_outer_product<T, Kernel>(random, length_of_several_pieces<T>, few, -2, 2);
    expect_outer_product<T, Kernel>(random, few, 3000, 1, 1);
  }
}

TYPED_TEST(DenseKernels, AddsAnOuterProduct) {
  expect_outer_products<TypeParam, Transposed>(this->random);
}

TYPED_TEST(ComplexDenseKernels, AddsAConjugatedOuterProduct) {
  expect_outer_products<TypeParam, Conjugated>(this->random);
}

template <Scalar T, class Kernel>
struct GerCall {
  Int m = 3, n = 2, incx = 1, incy = 1, lda = 4;
  Random random{1};
  GuardedMatrix<T> a = random_matrix<T>(random, 3, 2, 4);
  GuardedVector<T> x = random_vector<T>(random, 3, 1), y = random_vector<T>(random, 2, 1);

  void run() { Kernel::template run<T>(m, n, T(1), {x.data(), incx}, {y.data(), incy}, {a.data(), lda}); }
  bool unchanged() const { return a.unchanged() && x.unchanged() && y.unchanged(); }
};

template <class Call>
void expect_ger_checks(const std::string& name) {
  expect_argument_checks<Call>(name, {{1, [](auto& c) { c.m = -1; }},
                                      {2, [](auto& c) { c.n = -1; }},
                                      {5, [](auto& c) { c.incx = 0; }},
                                      {7, [](auto& c) { c.incy = 0; }},
                                      {9, [](auto& c) { c.lda = 2; }},
                                      {9, [](auto& c) { c.lda = 0; }}});
  Call empty;
  empty.m = empty.lda = 0;
  expect_report(empty, name, 9);
}

TYPED_TEST(DenseKernels, ChecksTheArgumentsOfGer) {
  using T = TypeParam;
  expect_ger_checks<GerCall<T, Transposed>>(
      reported_name<T>(ComplexScalar<T> ? Transposed::complex_name : Transposed::real_name));
}

TYPED_TEST(ComplexDenseKernels, ChecksTheArgumentsOfGerc) {
  using T = TypeParam;
  expect_ger_checks<GerCall<T, Conjugated>>(reported_name<T>(Conjugated::complex_name));
}

// ---------------------------------------------------------------------------------------- updates of a stored triangle

/// A := A + alpha x x^H
struct RankOne {
  static constexpr bool real_alpha = true;
  template <Scalar T>
  void run(char uplo, Int n, T alpha, Vector<const T> x, Vector<const T>, Matrix<T> A) const {
    if constexpr (ComplexScalar<T>) {
      blas::her(uplo, n, alpha.real(), x, A);
    } else {
      blas::syr(uplo, n, alpha, x, A);
    }
  }
  template <Scalar T>
  static void add_to(Sum<T>& sum, T alpha, const WideMatrix<T>& x, const WideMatrix<T>&) {
    sum.add(alpha, x, x.adjoint());
  }
};

/// A := A + alpha x y^H + conj(alpha) y x^H
struct RankTwo {
  static constexpr bool real_alpha = false;
  template <Scalar T>
  void run(char uplo, Int n, T alpha, Vector<const T> x, Vector<const T> y, Matrix<T> A) const {
    if constexpr (ComplexScalar<T>) {
      blas::her2(uplo, n, alpha, x, y, A);
    } else {
      blas::syr2(uplo, n, alpha, x, y, A);
    }
  }
  template <Scalar T>
  static void add_to(Sum<T>& sum, T alpha, const WideMatrix<T>& x, const WideMatrix<T>& y) {
    sum.add(alpha, x, y.adjoint()).add(conjugate(alpha), y, x.adjoint());
  }
};

/// The same with a second order.
struct RankTwoForReductions : RankTwo {
  Int second;

  explicit RankTwoForReductions(Int second_) : second(second_) {}
  template <Scalar T>
  void run(char uplo, Int n, T alpha, Vector<const T> x, Vector<const T> y, Matrix<T> A) const {
    if constexpr (ComplexScalar<T>) {
      blas::her2_nb(uplo, n, second, alpha, x, y, A);
    } else {
      blas::syr2_nb(uplo, n, second, alpha, x, y, A);
    }
  }
};

template <Scalar T, class Kernel>
void expect_update(Random& random, const Kernel& kernel, char uplo, Int n, Int incx, Int incy) {
  T alpha = random_alpha<T>(random);
  if (Kernel::real_alpha) alpha = T(std::real(alpha));
  SCOPED_TRACE(testing::Message() << uplo << ", order " << n << ", alpha " << alpha << ", increments " << incx << ", "
                                  << incy);
  GuardedMatrix<T> A = random_stored_triangle<T>(random, uplo, n, random_ld(random, n));
  Operand<T> x = unset_operand<T>(random, n, incx), y = unset_operand<T>(random, n, incy);
  Sum<T> expected(n, n);
  WideMatrix<T> computed = wide_symmetric(A, uplo);
  if (alpha != T(0)) {
    x = random_operand<T>(random, n, incx);
    y = random_operand<T>(random, n, incy);
    expected.add(T(1), computed);
    Kernel::template add_to<T>(expected, alpha, wide(x), wide(y));
  }
  kernel.template run<T>(uplo, n, alpha, x, y, A);
  EXPECT_TRUE(x.unchanged());
  EXPECT_TRUE(y.unchanged());
  EXPECT_TRUE(A.unchanged_except([&](Int i, Int j) { return is_in_triangle(uplo, i, j); }));
  if (alpha == T(0)) {
    EXPECT_TRUE(A.unchanged());
  } else {
    for (Int j = 1; j <= n; ++j) EXPECT_EQ(std::imag(A(j, j)), 0);
    EXPECT_LT(expected.error_of(wide_symmetric(A, uplo)), dense_threshold);
  }
}

template <Scalar T, class Kernel>
void expect_updates(Random& random, const Kernel& kernel) {
  for (const char uplo : uplos) {
    for (const Int n : dense_orders()) {
      for (int repetition = 0; repetition < 3; ++repetition) {
        const Int incx = random_increment(random), incy = random_increment(random);
        expect_update<T>(random, kernel, random.in_some_case(uplo), n, incx, incy);
      }
    }
  }
}

TYPED_TEST(DenseKernels, UpdatesTrianglesOfLargeOrders) {
  using T = TypeParam;
  const LargeVectors<T> vectors(this->random);
  LargeMatrix<T> A(this->random), B = A;
  for (const char uplo : uplos) {
    for (const auto& [C, pair] : {std::pair(&A, &vectors.contiguous), {&B, &vectors.with_gaps}}) {
      const Vector<const T> x = pair->x, y = pair->y;
      RankOne().run<T>(uplo, order_of_several_pieces<T>, T(-2), x, y, *C);
      RankTwo().run<T>(uplo, order_of_several_pieces<T>, T(2), x, y, *C);
    }
  }
  EXPECT_LT(difference(A, B), order_of_work<T>);
}

TYPED_TEST(DenseKernels, AddsAProductOfAVectorWithItself) {
  expect_updates<TypeParam>(this->random, RankOne{});
}

TYPED_TEST(DenseKernels, AddsTwoOuterProducts) {
  expect_updates<TypeParam>(this->random, RankTwo{});
}

/// Columns at the same place in a line each, in all places that there are.
TYPED_TEST(DenseKernels, AddsTwoOuterProductsToAShortTriangleInLines) {
  using T = TypeParam;
  for (Int n = 1; n <= 66; n += n < 20 ? 1 : 5) {
    for (Int above = 0; above < 16; ++above) {
      SCOPED_TRACE(testing::Message() << "order " << n << " below row " << above);
      const T alpha = random_alpha<T>(this->random);
      GuardedMatrix<T> B = random_stored_triangle<T>(this->random, 'L', n, n), A(n + above, n, 96);
      const Operand<T> x = random_operand<T>(this->random, n, 1), y = random_operand<T>(this->random, n, 1);
      Sum<T> expected(n, n);
      expected.add(T(1), wide_symmetric(B, 'L'));
      RankTwo::add_to<T>(expected, alpha, wide(x), wide(y));
      const auto for_each_element = [&](auto visit) {
        for (Int j = 1; j <= n; ++j) {
          for (Int i = j; i <= n; ++i) visit(A(above + i, j), B(i, j));
        }
      };
      for_each_element([](T& a, T& b) { a = b; });
      A.seal();
      RankTwo().run<T>('L', n, alpha, x, y, block(Matrix<T>(A), above + 1, 1));
      EXPECT_TRUE(A.unchanged_except([&](Int i, Int j) { return i - above >= j; }));
      for_each_element([](T& a, T& b) { b = a; });
      EXPECT_LT(expected.error_of(wide_symmetric(B, 'L')), dense_threshold);
    }
  }
}

TYPED_TEST(DenseKernels, AddsTwoOuterProductsForReductions) {
  using T = TypeParam;
  for (const char uplo : uplos) {
    for (const Int n : dense_orders()) {
      for (const Int second : {n, n / 2, 0}) {
        const Int incx = random_increment(this->random), incy = random_increment(this->random);
        expect_update<T>(this->random, RankTwoForReductions{second}, this->random.in_some_case(uplo), n, incx, incy);
      }
    }
  }
}

template <Scalar T>
struct TriangleUpdateCall {
  char uplo = 'U';
  Int n = 3, incx = 1, incy = 1, lda = 4;
  Random random{1};
  GuardedMatrix<T> a = random_matrix<T>(random, 3, 3, 4);
  GuardedVector<T> x = random_vector<T>(random, 3, 1), y = random_vector<T>(random, 3, 1);

  bool unchanged() const { return a.unchanged() && x.unchanged() && y.unchanged(); }
};

template <Scalar T>
struct SyrCall : TriangleUpdateCall<T> {
  void run() {
    RankOne().run<T>(this->uplo, this->n, T(1), {this->x.data(), this->incx}, {this->y.data(), 1},
                     {this->a.data(), this->lda});
  }
};

template <Scalar T>
struct Syr2Call : TriangleUpdateCall<T> {
  void run() {
    RankTwo().run<T>(this->uplo, this->n, T(1), {this->x.data(), this->incx}, {this->y.data(), this->incy},
                     {this->a.data(), this->lda});
  }
};

TYPED_TEST(DenseKernels, ChecksTheArgumentsOfSyr) {
  using T = TypeParam;
  const std::string name = reported_name<T>(ComplexScalar<T> ? "HER" : "SYR");
  expect_argument_checks<SyrCall<T>>(name, {{1, [](auto& c) { c.uplo = 'N'; }},
                                            {1, [](auto& c) { c.uplo = char('u' + 128); }},
                                            {2, [](auto& c) { c.n = -1; }},
                                            {5, [](auto& c) { c.incx = 0; }},
                                            {7, [](auto& c) { c.lda = 2; }},
                                            {7, [](auto& c) { c.lda = 0; }}});
  SyrCall<T> empty;
  empty.n = empty.lda = 0;
  expect_report(empty, name, 7);
}

TYPED_TEST(DenseKernels, ChecksTheArgumentsOfSyr2) {
  using T = TypeParam;
  const std::string name = reported_name<T>(ComplexScalar<T> ? "HER2" : "SYR2");
  expect_argument_checks<Syr2Call<T>>(name, {{1, [](auto& c) { c.uplo = 'N'; }},
                                             {2, [](auto& c) { c.n = -1; }},
                                             {5, [](auto& c) { c.incx = 0; }},
                                             {7, [](auto& c) { c.incy = 0; }},
                                             {9, [](auto& c) { c.lda = 2; }},
                                             {9, [](auto& c) { c.lda = 0; }}});
  Syr2Call<T> empty;
  empty.n = empty.lda = 0;
  expect_report(empty, name, 9);
}

}  // namespace
}  // namespace nuv::test
