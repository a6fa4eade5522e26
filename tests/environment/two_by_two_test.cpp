// Matrices of order two: the defining identities and exact values over sizes, signs and coincidences of entries.

#include <array>

#include "environment/quad.hpp"
#include "environment/service_calls.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

template <class R>
class TwoByTwo : public testing::Test {
 protected:
  /// Leaves room for the sums of a few entries.
  static constexpr int from = least_exponent<R>, to = largest_exponent<R> - 3;
};
TYPED_TEST_SUITE(TwoByTwo, RealPrecisions, PrecisionLetter);

template <class T>
class HermitianTwoByTwo : public testing::Test {};
TYPED_TEST_SUITE(HermitianTwoByTwo, ComplexPrecisions, PrecisionLetter);

struct QuadMatrix {
  QuadComplex a, b, c, d;

  friend QuadMatrix operator*(const QuadMatrix& x, const QuadMatrix& y) {
    return {x.a * y.a + x.b * y.c, x.a * y.b + x.b * y.d, x.c * y.a + x.d * y.c, x.c * y.b + x.d * y.d};
  }
  friend QuadMatrix operator-(const QuadMatrix& x, const QuadMatrix& y) {
    return {x.a - y.a, x.b - y.b, x.c - y.c, x.d - y.d};
  }
};

inline QuadMatrix hermitian_transpose(const QuadMatrix& x) {
  return {conjugated(x.a), conjugated(x.c), conjugated(x.b), conjugated(x.d)};
}

inline Quad largest(const QuadMatrix& x) {
  return std::max(std::max(magnitude(x.a), magnitude(x.b)), std::max(magnitude(x.c), magnitude(x.d)));
}

/// [ cs -conj(sn) ]
/// [ sn     cs    ]
template <Scalar T>
QuadMatrix rotation(Real<T> cs, T sn) {
  const QuadComplex s(sn);
  return {QuadComplex(cs), QuadComplex(0) - conjugated(s), s, QuadComplex(cs)};
}

/// How far X is from Y beside the largest entry of Y, in eps.
template <RealScalar R>
double distance(const QuadMatrix& X, const QuadMatrix& Y) {
  const double error = double(largest(X - Y) / unit_of<R>(largest(Y)));
  return std::isnan(error) ? std::numeric_limits<double>::infinity() : error;
}

template <Scalar T>
double distance_from_unit(Real<T> cs, T sn) {
  const Quad norm = squared(cs) + squared(std::real(sn)) + squared(std::imag(sn));
  const double error = double(magnitude(norm - 1) / Quad(epsilon<T>));
  return std::isnan(error) ? std::numeric_limits<double>::infinity() : error;
}

template <Scalar T>
struct SymmetricPair {
  Real<T> rt1 = guard<Real<T>>(), rt2 = rt1, cs1 = rt1;
  T sn1 = guard<T>();

  SymmetricPair(T a, T b, T c) { routine_call::laev2(a, b, c, rt1, rt2, cs1, sn1); }
};

/// The eigenvalues of [a b; b c], and eps times the terms of the second.
template <RealScalar R>
struct ExactPair {
  Quad rt1, rt2, rt2_unit;

  ExactPair(R a_, R b_, R c_) {
    const Quad a = a_, b = b_, c = c_;
    const Quad distance = root(squared(a - c) + 4 * squared(b));
    rt1 = (a + c < 0 ? a + c - distance : a + c + distance) / 2;
    rt2 = rt1 == 0 ? 0 : (a * c - b * b) / rt1;
    rt2_unit = rt1 == 0 ? unit_of<R>(0) : unit_of<R>((magnitude(a * c) + b * b) / magnitude(rt1));
  }
};

// With u = eps / 2: the distance of the eigenvalues is off by 4.25 u, rt1 by 5.25 u, each term of rt2 by 7.25 u, their
// difference by 8.25 u, and by a few units more where the terms are subnormal. The tangent of the vector is off by 6.5
// u; off the diagonal that counts with the distance of the eigenvalues, at most twice rt1.
TYPED_TEST(TwoByTwo, SymmetricEigenvaluesAndVectors) {
  using R = TypeParam;
  Random random(41);
  Worst rt1_error, rt2_error, unit_error, identity_error;
  NumberSource<R> source(random, this->from, this->to);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const R a = source.next(), b = source.next(), c = source.next();
    R rt1 = guard<R>(), rt2 = rt1;
    routine_call::lae2(a, b, c, rt1, rt2);
    const ExactPair<R> exact(a, b, c);
    rt1_error.note(error_of(rt1, exact.rt1), a, b, c);
    rt2_error.note(double(magnitude(rt2 - exact.rt2) / exact.rt2_unit), a, b, c);

    const SymmetricPair<R> pair(a, b, c);
    ASSERT_TRUE(same_bits(pair.rt1, rt1) && same_bits(pair.rt2, rt2));
    unit_error.note(distance_from_unit(pair.cs1, pair.sn1), a, b, c);
    const QuadMatrix A{Quad(a), Quad(b), Quad(b), Quad(c)}, Q = rotation(pair.cs1, pair.sn1);
    identity_error.note(distance<R>(hermitian_transpose(Q) * A * Q, {Quad(rt1), 0, 0, Quad(rt2)}), a, b, c);
  }
  EXPECT_TRUE(rt1_error.is_within(2.625));
  EXPECT_TRUE(rt2_error.is_within(4.125));
  EXPECT_TRUE(unit_error.is_within(3));
  EXPECT_TRUE(identity_error.is_within(8));
}

template <RealScalar R>
void expect_pair(R a, R b, R c, R rt1, R rt2, R cs1, R sn1) {
  const SymmetricPair<R> pair(a, b, c);
  EXPECT_TRUE(same_bits(pair.rt1, rt1) && same_bits(pair.rt2, rt2) && same_bits(pair.cs1, cs1) &&
              same_bits(pair.sn1, sn1))
      << "[" << a << " " << b << "; " << c << "] gives " << pair.rt1 << ", " << pair.rt2 << ", (" << pair.cs1 << ", "
      << pair.sn1 << ")";
}

TYPED_TEST(TwoByTwo, SymmetricMatricesThatAreDiagonal) {
  using R = TypeParam;
  expect_pair<R>(2, 0, 1, 2, 1, -1, 0);
  expect_pair<R>(1, 0, 2, 2, 1, 0, 1);
  expect_pair<R>(-2, 0, -1, -2, -1, -1, 0);
  expect_pair<R>(-1, 0, -2, -2, -1, 0, 1);
  // The vector of the first of two equal eigenvalues: the second axis if they are positive.
  expect_pair<R>(3, 0, 3, 3, 3, 0, 1);
  expect_pair<R>(-3, 0, -3, -3, -3, 1, 0);
  expect_pair<R>(0, 0, 0, 0, 0, 0, 1);
  // Opposite ones: the positive one first.
  expect_pair<R>(5, 0, -5, 5, -5, -1, 0);
  expect_pair<R>(-5, 0, 5, 5, -5, 0, 1);
}

TYPED_TEST(TwoByTwo, SymmetricMatricesOfKnownEigenvalues) {
  using R = TypeParam;
  // [a b; b c] with a - c and 2 b legs of a 3-4-5 triangle.
  R rt1, rt2;
  routine_call::lae2(R(7), R(2), R(4), rt1, rt2);
  EXPECT_EQ(rt1, 8);
  EXPECT_NEAR(rt2, 3, 4 * epsilon<R>);
  routine_call::lae2(R(-4), R(2), R(-7), rt1, rt2);
  EXPECT_EQ(rt1, -8);
  EXPECT_NEAR(rt2, -3, 4 * epsilon<R>);
  // Equal legs take the root of two as a constant.
  routine_call::lae2(R(3), R(1), R(1), rt1, rt2);
  EXPECT_TRUE(same_bits(rt1, R((4 + 2 * R(1.4142135623730951)) / 2)));
  // A sum of zero gives the distance halved, twice.
  routine_call::lae2(R(3), R(4), R(-3), rt1, rt2);
  EXPECT_TRUE(same_bits(rt1, R(5)) && same_bits(rt2, R(-5)));
}

TYPED_TEST(HermitianTwoByTwo, EigenvaluesAndVectors) {
  using T = TypeParam;
  using R = Real<T>;
  Random random(43);
  Worst unit_error, identity_error;
  // |b| must not be subnormal for its direction to be known.
  NumberSource<R> source(random, least_exponent<R> + 2 * std::numeric_limits<R>::digits, largest_exponent<R> - 3);
  const R unread = guard<R>();
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const R a = source.next(), c = source.next(), re = source.next();
    const T b(re, source.next());
    const SymmetricPair<T> pair(T(a, unread), b, T(c, unread));
    unit_error.note(distance_from_unit(pair.cs1, pair.sn1), a, b, c);
    const QuadMatrix A{Quad(a), QuadComplex(b), conjugated(QuadComplex(b)), Quad(c)};
    const QuadMatrix Q = rotation(pair.cs1, pair.sn1);
    identity_error.note(distance<R>(hermitian_transpose(Q) * A * Q, {Quad(pair.rt1), 0, 0, Quad(pair.rt2)}), a, b, c);
  }
  // As for real matrices, with 2 u for |b| and 3 u for b / |b|.
  EXPECT_TRUE(unit_error.is_within(6));
  EXPECT_TRUE(identity_error.is_within(10));
}

TYPED_TEST(HermitianTwoByTwo, IsTheRealOneTurned) {
  using T = TypeParam;
  using R = Real<T>;
  Random random(44);
  for (int count = 0; count < cases / 10; ++count) {
    const R a = R(random.real()), c = R(random.real());
    const T b = count % 100 == 0 ? T(0) : random.scalar<T>();
    const R abs_b = serv_abs(b);
    const SymmetricPair<T> pair(T(a, 1), b, T(c, 2));
    const SymmetricPair<R> real_pair(a, abs_b, c);
    const T w = abs_b == 0 ? T(1) : T(b.real() / abs_b, (0 - b.imag()) / abs_b);
    ASSERT_TRUE(same_bits(pair.rt1, real_pair.rt1) && same_bits(pair.rt2, real_pair.rt2) &&
                same_bits(pair.cs1, real_pair.cs1));
    ASSERT_TRUE(same_bits(pair.sn1, T(w.real() * real_pair.sn1, w.imag() * real_pair.sn1))) << a << b << c;
  }
}

/// The singular values of [f g; 0 h].
template <RealScalar R>
struct ExactSingularValues {
  Quad ssmin, ssmax;

  ExactSingularValues(R f, R g, R h) {
    const Quad fa = magnitude(Quad(f)), ha = magnitude(Quad(h)), gg = squared(g);
    ssmax = (root(squared(fa + ha) + gg) + root(squared(fa - ha) + gg)) / 2;
    ssmin = ssmax == 0 ? 0 : (fa / ssmax) * ha;
  }
};

template <RealScalar R>
struct TriangularSvd {
  R ssmin = guard<R>(), ssmax = ssmin, snr = ssmin, csr = ssmin, snl = ssmin, csl = ssmin;

  TriangularSvd(R f, R g, R h) { routine_call::lasv2(f, g, h, ssmin, ssmax, snr, csr, snl, csl); }
};

// With u = eps / 2: of the two roots each is off by 4 u if g is the smaller and by 4.7 u else; with the sum and the
// quotients that makes 7 u and 7.7 u for ssmax, 7 u and 9.7 u for ssmin.
TYPED_TEST(TwoByTwo, SingularValues) {
  using R = TypeParam;
  Random random(45);
  Worst min_error, max_error;
  NumberSource<R> source(random, this->from, this->to);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const R f = source.next(), g = source.next(), h = source.next();
    R ssmin = guard<R>(), ssmax = ssmin;
    routine_call::las2(f, g, h, ssmin, ssmax);
    const ExactSingularValues<R> exact(f, g, h);
    min_error.note(error_of(ssmin, exact.ssmin), f, g, h);
    max_error.note(error_of(ssmax, exact.ssmax), f, g, h);
  }
  EXPECT_TRUE(min_error.is_within(5));
  EXPECT_TRUE(max_error.is_within(4));
}

template <RealScalar R>
void expect_singular_values(R f, R g, R h, R expected_min, R expected_max) {
  R ssmin = guard<R>(), ssmax = ssmin;
  routine_call::las2(f, g, h, ssmin, ssmax);
  EXPECT_TRUE(same_bits(ssmin, expected_min) && same_bits(ssmax, expected_max))
      << f << ", " << g << ", " << h << " give " << ssmin << ", " << ssmax;
}

TYPED_TEST(TwoByTwo, SingularValuesOfSingularMatrices) {
  using R = TypeParam;
  expect_singular_values<R>(0, 0, 0, 0, 0);
  expect_singular_values<R>(R(-0.0), R(-0.0), R(-0.0), 0, 0);
  expect_singular_values<R>(0, -7, 0, 0, 7);
  expect_singular_values<R>(0, 0, -7, 0, 7);
  expect_singular_values<R>(-3, 4, 0, 0, 5);
  expect_singular_values<R>(0, -3, 4, 0, 5);
}

TYPED_TEST(TwoByTwo, SingularValuesOfExtremeMatrices) {
  using R = TypeParam;
  using Limits = std::numeric_limits<R>;
  // Where f / g and h / g underflow, so does f h / g.
  const R tiny = std::ldexp(R(1), Limits::min_exponent / 2 - 30), huge = std::ldexp(R(1), Limits::max_exponent - 1);
  expect_singular_values<R>(1, 0, 1, 1, 1);
  expect_singular_values<R>(-2, 0, 8, 2, 8);
  expect_singular_values<R>(Limits::denorm_min(), huge, Limits::denorm_min(), 0, huge);
  expect_singular_values<R>(tiny, huge, 4 * tiny, 0, huge);
  const R least = Limits::denorm_min();
  expect_singular_values<R>(least, 0, least, least, least);
}

// With u = eps / 2: t is off by 3 u, s by 5 u, r by 4 u, a by 6 u, the values by 7 u. Of the identity the house
// measure, ten, is asked: some twenty roundings go into the four numbers of the rotations.
TYPED_TEST(TwoByTwo, SingularValueDecomposition) {
  using R = TypeParam;
  Random random(47);
  Worst min_error, max_error, left_error, right_error, identity_error;
  NumberSource<R> source(random, this->from, this->to);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const R f = source.next(), g = source.next(), h = source.next();
    const TriangularSvd<R> svd(f, g, h);
    const ExactSingularValues<R> exact(f, g, h);
    min_error.note(error_of(std::abs(svd.ssmin), exact.ssmin), f, g, h);
    max_error.note(error_of(std::abs(svd.ssmax), exact.ssmax), f, g, h);
    left_error.note(distance_from_unit(svd.csl, svd.snl), f, g, h);
    right_error.note(distance_from_unit(svd.csr, svd.snr), f, g, h);
    const QuadMatrix left = rotation(svd.csl, svd.snl), right = rotation(svd.csr, svd.snr);
    const QuadMatrix A{Quad(f), Quad(g), 0, Quad(h)};
    const QuadMatrix values = hermitian_transpose(left) * A * right;
    identity_error.note(distance<R>(values, {Quad(svd.ssmax), 0, 0, Quad(svd.ssmin)}), f, g, h);
  }
  EXPECT_TRUE(min_error.is_within(3.5));
  EXPECT_TRUE(max_error.is_within(3.5));
  EXPECT_TRUE(left_error.is_within(10));
  EXPECT_TRUE(right_error.is_within(10));
  EXPECT_TRUE(identity_error.is_within(10));
}

template <RealScalar R>
void expect_svd(R f, R g, R h, std::array<R, 6> expected) {
  const TriangularSvd<R> svd(f, g, h);
  const std::array<R, 6> found{svd.ssmin, svd.ssmax, svd.snr, svd.csr, svd.snl, svd.csl};
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_TRUE(same_bits(found[i], expected[i]))
        << "value " << i << " of " << f << ", " << g << ", " << h << " is " << found[i];
  }
}

TYPED_TEST(TwoByTwo, SingularValueDecompositionOfDiagonalMatrices) {
  using R = TypeParam;
  expect_svd<R>(3, 0, 2, {2, 3, 0, 1, 0, 1});
  expect_svd<R>(3, 0, -2, {-2, 3, 0, 1, 0, 1});
  expect_svd<R>(-3, 0, 2, {2, -3, 0, 1, 0, 1});
  expect_svd<R>(2, 0, 3, {2, 3, 1, 0, 1, 0});
  expect_svd<R>(-2, 0, 3, {-2, 3, 1, 0, 1, 0});
  expect_svd<R>(2, 0, -3, {2, -3, 1, 0, 1, 0});
  expect_svd<R>(0, 0, 0, {0, 0, 0, 1, 0, 1});
  // A negative zero counts as positive.
  expect_svd<R>(R(-0.0), R(-0.0), R(-0.0), {0, 0, 0, 1, 0, 1});
}

TYPED_TEST(TwoByTwo, SingularValueDecompositionBesideADominantElement) {
  using R = TypeParam;
  const R g = std::ldexp(R(1), 60);
  // ssmin = |f h / g|; the rotations are (f / g, 1) from the right and (1, h / g) from the left.
  expect_svd<R>(4, g, 2, {8 / g, g, 1, 4 / g, 2 / g, 1});
  expect_svd<R>(2, g, 4, {8 / g, g, 1, 2 / g, 4 / g, 1});
  expect_svd<R>(R(0.5), g, R(0.25), {R(0.125) / g, g, 1, R(0.5) / g, R(0.25) / g, 1});
  expect_svd<R>(0, g, 0, {0, g, 1, 0, 0, 1});
  // ssmax has the sign of g, and the product of both that of f h.
  expect_svd<R>(4, -g, 2, {-8 / g, -g, 1, -4 / g, -2 / g, 1});
  expect_svd<R>(-4, g, 2, {-8 / g, g, 1, -4 / g, 2 / g, 1});
  // With h > 1 the quotient g / h is formed first, so that f / g may vanish; with h <= 1 it does.
  const R huge = std::ldexp(R(1), std::numeric_limits<R>::max_exponent - 2),
          least = std::numeric_limits<R>::denorm_min();
  EXPECT_EQ(TriangularSvd<R>(least * 4, huge, huge * epsilon<R> / 8).ssmin, 0);
  const R f = std::ldexp(R(1), std::numeric_limits<R>::min_exponent);
  EXPECT_GT(TriangularSvd<R>(f, huge, std::ldexp(huge, -20)).ssmin, 0);
  EXPECT_EQ(TriangularSvd<R>(f, huge, 1).ssmin, 0);
}

TYPED_TEST(TwoByTwo, SingularValueDecompositionWithATinyElement) {
  using R = TypeParam;
  // The square of g / f vanishes: once with equal diagonal elements, once with different ones.
  const R g = std::numeric_limits<R>::min();
  const R half_root = 2 / std::sqrt(R(8));
  for (const R sign : {R(1), R(-1)}) {
    const TriangularSvd<R> svd(1, sign * g, 1);
    EXPECT_TRUE(same_bits(svd.csr, half_root) && same_bits(svd.snr, sign * half_root)) << sign;
    EXPECT_TRUE(same_bits(svd.ssmax, R(1)) && same_bits(svd.ssmin, R(1))) << sign;
  }
  // t = g / d + m / t, halved in the end: g (1 / 2 + 1 / (4 * 1.5)) / 2 for [4 g; 0 2].
  const TriangularSvd<R> svd(4, 12 * g, 2);
  EXPECT_EQ(svd.csr, 1);
  EXPECT_EQ(svd.snr, 4 * g);
}

template <RealScalar R>
struct Block {
  R a, b, c, d;

  friend bool operator==(const Block&, const Block&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Block& A) {
    return out << "[" << A.a << " " << A.b << "; " << A.c << " " << A.d << "]";
  }
  QuadMatrix quad() const { return {Quad(a), Quad(b), Quad(c), Quad(d)}; }
};

template <RealScalar R>
struct Schur {
  Block<R> T;
  R rt1r = guard<R>(), rt1i = rt1r, rt2r = rt1r, rt2i = rt1r, cs = rt1r, sn = rt1r;

  explicit Schur(const Block<R>& A) : T(A) { routine_call::lanv2(T.a, T.b, T.c, T.d, rt1r, rt1i, rt2r, rt2i, cs, sn); }
};

/// Checks the form, and notes how far the rotation is from one and A from what the factors give.
template <RealScalar R>
void check_schur(const Block<R>& A, Worst& unit_error, Worst& identity_error) {
  const Schur<R> schur(A);
  const Block<R>& T = schur.T;
  ASSERT_TRUE(same_bits(schur.rt1r, T.a) && same_bits(schur.rt2r, T.d)) << A;
  if (T.c == 0) {
    ASSERT_TRUE(same_bits(schur.rt1i, R(0)) && same_bits(schur.rt2i, R(0))) << A;
  } else {
    ASSERT_EQ(T.a, T.d) << A;
    ASSERT_TRUE((T.b < 0) != (T.c < 0) && T.b != 0) << A;
    ASSERT_TRUE(same_bits(schur.rt1i, R(std::sqrt(std::abs(T.b)) * std::sqrt(std::abs(T.c))))) << A;
    ASSERT_EQ(schur.rt2i, -schur.rt1i) << A;
  }
  unit_error.note(distance_from_unit(schur.cs, schur.sn), A);
  const QuadMatrix Q = rotation(schur.cs, schur.sn);
  const QuadMatrix back = Q * T.quad() * hermitian_transpose(Q);
  identity_error.note(distance<R>(back, A.quad()), A);
}

TYPED_TEST(TwoByTwo, SchurForm) {
  using R = TypeParam;
  Random random(51);
  Worst unit_error, identity_error;
  // The difference of the diagonal elements must not be subnormal: nothing is scaled for its sake.
  NumberSource<R> source(random, std::numeric_limits<R>::min_exponent + 2 * std::numeric_limits<R>::digits, this->to);
  for (int count = 0; count < cases; ++count) {
    source.next_group();
    const R a = source.next(), b = source.next(), c = source.next(), d = source.next();
    check_schur<R>({a, b, c, d}, unit_error, identity_error);
    if (this->HasFatalFailure()) return;
  }
  EXPECT_TRUE(unit_error.is_within(10));
  EXPECT_TRUE(identity_error.is_within(10));
}

TYPED_TEST(TwoByTwo, SchurFormOfSmallIntegers) {
  using R = TypeParam;
  // Among them matrices with a double eigenvalue, also such whose rotated form has an exact zero above the diagonal.
  Worst unit_error, identity_error;
  for (int a = -4; a <= 4; ++a) {
    for (int b = -4; b <= 4; ++b) {
      for (int c = -4; c <= 4; ++c) {
        for (int d = -4; d <= 4; ++d) {
          check_schur<R>({R(a), R(b), R(c), R(d)}, unit_error, identity_error);
          if (this->HasFatalFailure()) return;
        }
      }
    }
  }
  EXPECT_TRUE(unit_error.is_within(5));
  EXPECT_TRUE(identity_error.is_within(5));
}

TYPED_TEST(TwoByTwo, SchurFormNearADoubleEigenvalue) {
  using R = TypeParam;
  Random random(53);
  Worst unit_error, identity_error;
  for (int count = 0; count < cases; ++count) {
    // ((a - d) / 2)^2 + b c is zero but for a few roundings.
    const R p = random.divisor<R>(), b = random.divisor<R>(), d = random.divisor<R>();
    const R c = -p * p / b * (1 + random.integer(-3, 3) * epsilon<R>);
    check_schur<R>({d + 2 * p, b, c, d}, unit_error, identity_error);
    if (this->HasFatalFailure()) return;
  }
  EXPECT_TRUE(unit_error.is_within(10));
  EXPECT_TRUE(identity_error.is_within(10));
}

template <RealScalar R>
void expect_schur(const Block<R>& A, const Block<R>& T, R cs, R sn) {
  const Schur<R> schur(A);
  EXPECT_TRUE(same_bits(schur.T, T)) << A << " gives " << schur.T;
  EXPECT_TRUE(same_bits(schur.cs, cs) && same_bits(schur.sn, sn)) << A << " gives " << schur.cs << ", " << schur.sn;
}

TYPED_TEST(TwoByTwo, SchurFormThatNeedsNoArithmetic) {
  using R = TypeParam;
  expect_schur<R>({1, 2, 0, 3}, {1, 2, 0, 3}, 1, 0);
  expect_schur<R>({1, 0, 0, 3}, {1, 0, 0, 3}, 1, 0);
  expect_schur<R>({1, 0, R(-0.0), 3}, {1, 0, R(-0.0), 3}, 1, 0);
  expect_schur<R>({1, 0, 2, 3}, {3, -2, 0, 1}, 0, 1);
  expect_schur<R>({1, R(-0.0), -2, 3}, {3, 2, 0, 1}, 0, 1);
  expect_schur<R>({0, 1, -1, 0}, {0, 1, -1, 0}, 1, 0);
  const Schur<R> turn({0, 1, -1, 0});
  EXPECT_TRUE(same_bits(turn.rt1i, R(1)) && same_bits(turn.rt2i, R(-1)));
  expect_schur<R>({5, -9, 4, 5}, {5, -9, 4, 5}, 1, 0);
  EXPECT_EQ(Schur<R>({5, -9, 4, 5}).rt1i, 6);
}

TYPED_TEST(TwoByTwo, SchurFormOfAPositiveProduct) {
  using R = TypeParam;
  // a - d = 0 does not end it when b c > 0: eigenvalues 1 + sqrt(6) and 1 - sqrt(6).
  const volatile R z = std::sqrt(R(3)) * std::sqrt(R(2)), a = 1 + z, third = 3 / z, term = third * 2, d = 1 - term;
  const R tau = routine_call::lapy2(R(3), R(z));
  const volatile R cs = z / tau, sn = 3 / tau;
  expect_schur<R>({1, 2, 3, 1}, {a, -1, 0, d}, cs, sn);
}

TYPED_TEST(TwoByTwo, SchurFormIsDecidedAtTheGivenScale) {
  using R = TypeParam;
  // The discriminant over the scale is twice the scale here: from four units of eps on the pair is split at once, below
  // that after a rotation that makes the diagonal elements equal. Then the first one has the sign of c, not of a - d.
  const R limit = 2 * epsilon<R>;
  const auto at_scale = [](R scale) { return Schur<R>({-2 * scale, scale, scale, 0}); };
  const Schur<R> below = at_scale(std::nextafter(limit, R(0)));
  EXPECT_LT(at_scale(limit).T.a, at_scale(limit).T.d);
  EXPECT_GT(below.T.a, below.T.d);
}

}  // namespace
}  // namespace nuv::test
