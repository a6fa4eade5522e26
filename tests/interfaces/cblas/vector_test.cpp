// Level 1.

#include "interfaces/cblas/heard.hpp"
#include "interfaces/cblas/storage.hpp"

namespace nuv::test {
namespace {

template <class T>
class Vectors : public CblasTest {};
TYPED_TEST_SUITE(Vectors, Precisions, PrecisionLetter);

constexpr Int lengths[] = {0, 1, 2, 7};

/// Runs body(x, y, x, y as mathematics has them) for vectors of several lengths and increments.
template <Scalar T, class Body>
void for_each_pair(Body body) {
  Random random(1);
  for (const Int n : lengths) {
    for (const Increments inc : increments) {
      SCOPED_TRACE(testing::Message() << "n " << n << ", increments " << inc.x << " and " << inc.y);
      Stored<T> x(random, vector_of(n, inc.x)), y(random, vector_of(n, inc.y));
      const Dense dense_x = x.dense(), dense_y = y.dense();
      body(n, x, y, dense_x, dense_y);
    }
  }
}

template <Scalar T>
void expect_value(const Sum& expected, T computed) {
  EXPECT_LE(expected.error_of(0, 0, WideScalar(computed), epsilon<T>), 10);
}

/// The value of a complex product, which comes through a pointer.
template <Scalar T, class Dot>
T dot(Dot routine, Int n, const T* x, Int incx, const T* y, Int incy) {
  if constexpr (ComplexScalar<T>) {
    T result = guard<T>();
    routine(n, x, incx, y, incy, &result);
    return result;
  } else {
    return routine(n, x, incx, y, incy);
  }
}

TYPED_TEST(Vectors, Dot) {
  using T = TypeParam;
  for_each_pair<T>([](Int n, auto& x, auto& y, const Dense& dense_x, const Dense& dense_y) {
    constexpr auto plain = member<T>(cblas_sdot, cblas_ddot, cblas_cdotu_sub, cblas_zdotu_sub);
    constexpr auto adjoint = member<T>(cblas_sdot, cblas_ddot, cblas_cdotc_sub, cblas_zdotc_sub);
    expect_value(Sum::product(1, op(CblasTrans, dense_x), dense_y),
                 dot<T>(plain, n, x.data(), x.ld(), y.data(), y.ld()));
    expect_value(Sum::product(1, op(CblasConjTrans, dense_x), dense_y),
                 dot<T>(adjoint, n, x.data(), x.ld(), y.data(), y.ld()));
  });
}

TEST(VectorsOfFloats, DotInDoublePrecision) {
  for_each_pair<float>([](Int n, auto& x, auto& y, const Dense& dense_x, const Dense& dense_y) {
    const Sum expected = Sum::product(1, op(CblasTrans, dense_x), dense_y);
    expect_value(expected, cblas_dsdot(n, x.data(), x.ld(), y.data(), y.ld()));
    Dense b(1, 1);
    b(0, 0) = 2;
    expect_value(Sum(expected).add(1, b), cblas_sdsdot(n, 2, x.data(), x.ld(), y.data(), y.ld()));
  });
}

TYPED_TEST(Vectors, AxpyCopyAndSwap) {
  using T = TypeParam;
  const T alpha = factors<T>().back().alpha;
  for_each_pair<T>([&](Int n, auto& x, auto& y, const Dense& dense_x, const Dense& dense_y) {
    Stored<T> sum = y, copy = y, x_swapped = x, y_swapped = y;
    NUV_MEMBER(T, axpy, axpy)(n, scalar(alpha), x.data(), x.ld(), sum.data(), y.ld());
    NUV_MEMBER(T, copy, copy)(n, x.data(), x.ld(), copy.data(), y.ld());
    NUV_MEMBER(T, swap, swap)(n, x_swapped.data(), x.ld(), y_swapped.data(), y.ld());
    EXPECT_TRUE(x.unchanged());
    sum.expect(Sum(n, 1).add(alpha, dense_x).add(1, dense_y));
    copy.expect(Sum(n, 1).add(1, dense_x));
    x_swapped.expect(Sum(n, 1).add(1, dense_y));
    y_swapped.expect(Sum(n, 1).add(1, dense_x));
  });
}

TYPED_TEST(Vectors, Scal) {
  using T = TypeParam;
  const T alpha = factors<T>().back().alpha;
  const Real<T> real_alpha = std::real(alpha);
  for_each_pair<T>([&](Int n, auto& x, auto& y, const Dense& dense_x, const Dense& dense_y) {
    if (x.ld() < 0 || y.ld() < 0) return;
    NUV_MEMBER(T, scal, scal)(n, scalar(alpha), x.data(), x.ld());
    x.expect(Sum(n, 1).add(alpha, dense_x));
    member<T>(cblas_sscal, cblas_dscal, cblas_csscal, cblas_zdscal)(n, real_alpha, y.data(), y.ld());
    y.expect(Sum(n, 1).add(real_alpha, dense_y));
  });
}

TYPED_TEST(Vectors, NormAndSum) {
  using T = TypeParam;
  for_each_pair<T>([](Int n, auto& x, auto&, const Dense& dense_x, const Dense&) {
    if (x.ld() < 0) return;
    Dense parts(2 * n, 1), ones(1, 2 * n);
    for (Int i = 0; i < n; ++i) {
      parts(2 * i, 0) = std::abs(dense_x(i, 0).real());
      parts(2 * i + 1, 0) = std::abs(dense_x(i, 0).imag());
      ones(0, 2 * i) = ones(0, 2 * i + 1) = 1;
    }
    expect_value(Sum::product(1, ones, parts),
                 member<T>(cblas_sasum, cblas_dasum, cblas_scasum, cblas_dzasum)(n, x.data(), x.ld()));
    const auto norm = member<T>(cblas_snrm2, cblas_dnrm2, cblas_scnrm2, cblas_dznrm2)(n, x.data(), x.ld());
    expect_value(Sum::product(1, op(CblasTrans, parts), parts), norm * norm);
  });
}

TYPED_TEST(Vectors, PlacesCountFromZero) {
  using T = TypeParam;
  const T x[] = {T(1), T(-2), T(-7), T(7), T(3), T(2)};
  constexpr auto place = member<T>(cblas_isamax, cblas_idamax, cblas_icamax, cblas_izamax);
  const auto expect_place = [&](CBLAS_INDEX expected, Int n, Int incx) { EXPECT_EQ(place(n, x, incx), expected); };
  expect_place(2, 6, 1);
  expect_place(1, 3, 2);
  expect_place(0, 1, 1);
  expect_place(0, 0, 1);
}

TEST(Numbers, SumOfParts) {
  const std::complex<float> c{-1, 2};
  const std::complex<double> z{3, -4};
  EXPECT_EQ(cblas_scabs1(&c), 3);
  EXPECT_EQ(cblas_dcabs1(&z), 7);
}

TYPED_TEST(Vectors, Rot) {
  using T = TypeParam;
  const Real<T> c = 0.6, s = 0.8;
  for_each_pair<T>([&](Int n, auto& x, auto& y, const Dense& dense_x, const Dense& dense_y) {
    member<T>(cblas_srot, cblas_drot, cblas_csrot, cblas_zdrot)(n, x.data(), x.ld(), y.data(), y.ld(), c, s);
    x.expect(Sum(n, 1).add(c, dense_x).add(s, dense_y));
    y.expect(Sum(n, 1).add(c, dense_y).add(-s, dense_x));
  });
}

TYPED_TEST(Vectors, Rotg) {
  using T = TypeParam;
  const T a = factors<T>().back().alpha;
  T b = factors<T>().back().beta;
  const T b_before = b;
  T r = a, s;
  Real<T> c;
  NUV_MEMBER(T, rotg, rotg)(&r, &b, &c, &s);
  EXPECT_NEAR(std::abs(c * a + s * b_before - r), 0, 10 * epsilon<T>);
  EXPECT_NEAR(std::abs(c * b_before - conjugate(s) * a), 0, 10 * epsilon<T>);
  EXPECT_NEAR(c * c + std::norm(s), 1, 10 * epsilon<T>);
}

template <RealScalar T, class Rotmg, class Rotm>
void expect_modified_rotation(Rotmg rotmg, Rotm rotm) {
  const T d1 = 2, d2 = 3, x1 = 0.5, y1 = -1.25;
  T new_d1 = d1, new_d2 = d2, new_x1 = x1, param[5];
  rotmg(&new_d1, &new_d2, &new_x1, y1, param);
  // Elements 1 of x and y, increments 2 and -1.
  T x[] = {7, guard<T>(), x1}, y[] = {y1, 9};
  rotm(2, x, 2, y, -1, param);
  EXPECT_TRUE(same_bits(x[1], guard<T>()));
  EXPECT_NEAR(x[2], new_x1, 10 * epsilon<T>);
  EXPECT_NEAR(y[0], 0, 10 * epsilon<T>);
  EXPECT_NEAR(new_d1 * x[2] * x[2], d1 * x1 * x1 + d2 * y1 * y1, 100 * epsilon<T>);
  EXPECT_NEAR(new_d1 * x[0] * x[0] + new_d2 * y[1] * y[1], d1 * 49 + d2 * 81, 1000 * epsilon<T>);
}

TEST(ModifiedRotations, BringTheSecondElementToZero) {
  expect_modified_rotation<float>(cblas_srotmg, cblas_srotm);
  expect_modified_rotation<double>(cblas_drotmg, cblas_drotm);
}

}  // namespace
}  // namespace nuv::test
