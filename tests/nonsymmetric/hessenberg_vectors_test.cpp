// Eigenvectors of Hessenberg matrices by inverse iteration, judged in the next wider type.

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>

#include "environment/machine_constants.hpp"
#include "nonsymmetric/schur_checks.hpp"
#include "routines.hpp"
#include "support/argument_checks.hpp"

namespace nuv::test {
namespace {

/// A Hessenberg matrix and its eigenvalues as reals, pairs next to each other, each in the rows of its block.
template <Scalar T>
struct KnownMatrix {
  using R = Real<T>;

  GuardedMatrix<T> H;
  std::vector<std::complex<R>> values;

  Int n() const { return H.rows(); }
  bool is_pair(Int k) const { return RealScalar<T> && values[std::size_t(k - 1)].imag() != 0; }
  Int columns(Int k) const { return is_pair(k) ? 2 : 1; }
};

/// A quasi-triangular matrix is a Hessenberg matrix, whose values are known.
template <Scalar T>
KnownMatrix<T> quasi_triangular(const GuardedMatrix<T>& S) {
  KnownMatrix<T> known{S, {}};
  for (const std::complex<double> value : eigenvalues_of(S)) known.values.emplace_back(value);
  return known;
}

/// Hessenberg forms of random matrices with known values on the diagonal, and anything above them.
template <Scalar T>
KnownMatrix<T> with_unreduced_blocks(Random& random, const std::vector<Int>& orders) {
  Int n = 0;
  for (const Int order : orders) n += order;
  KnownMatrix<T> known{random_hessenberg<T>(random, n, n + 2), {}};
  Int before = 0;
  for (const Int order : orders) {
    if (before > 0) known.H(before + 1, before) = T(0);
    const GuardedMatrix<T> S = random_schur_form<T>(random, order, order);
    const WideMatrix<T> Z = wide(random_unitary<T>(random, order, order));
    const WideMatrix<T> A = product<T>(Z, product<T>(wide(S), Z.adjoint()));
    GuardedMatrix<T> reduced(order, order, order);
    for (Int j = 1; j <= order; ++j) {
      for (Int i = 1; i <= order; ++i) reduced(i, j) = T(A(i - 1, j - 1));
    }
    GuardedVector<T> tau(order), work(order);
    Int info = 99;
    routine_call::gehd2(order, 1, order, Matrix<T>(reduced), tau.data(), work.data(), info);
    for (Int j = 1; j <= order; ++j) {
      for (Int i = 1; i <= std::min(order, j + 1); ++i) known.H(before + i, before + j) = reduced(i, j);
    }
    for (const std::complex<double> value : eigenvalues_of(S)) known.values.emplace_back(value);
    before += order;
  }
  known.H.seal();
  return known;
}

/// The same multiplied by a power of two.
template <Scalar T>
KnownMatrix<T> times_power_of_two(KnownMatrix<T> known, int exponent) {
  using R = Real<T>;
  const R size = std::ldexp(R(1), exponent);
  for (Int j = 1; j <= known.n(); ++j) {
    for (Int i = 1; i <= known.n(); ++i) known.H(i, j) *= size;
  }
  known.H.seal();
  for (auto& value : known.values) value *= size;
  return known;
}

/// Of a matrix that is tiny beside the smallest numbers to be computed with, but has all its digits.
template <RealScalar R>
constexpr int tiny_exponent = std::numeric_limits<R>::min_exponent + std::numeric_limits<R>::digits / 2;

template <Scalar T>
struct InverseIteration {
  using R = Real<T>;

  char side = 'B', eigsrc = 'N', initv = 'N';
  Int n, mm, m = -7, info = 99, ldh;
  GuardedMatrix<T> H, VL, VR;
  GuardedVector<R> wr, wi;
  GuardedVector<T> w;
  GuardedVector<Logical> select;
  GuardedVector<Int> ifaill, ifailr;

  explicit InverseIteration(const KnownMatrix<T>& known)
      : n(known.n()),
        mm(n),
        ldh(known.H.ld()),
        H(known.H),
        VL(n, n, n + 1),
        VR(n, n, n + 3),
        wr(n),
        wi(n),
        w(n),
        select(n),
        ifaill(n),
        ifailr(n) {
    H.seal();
    for (Int k = 1; k <= n; ++k) {
      const std::complex<R> value = known.values[std::size_t(k - 1)];
      wr(k) = value.real();
      wi(k) = value.imag();
      if constexpr (ComplexScalar<T>) w(k) = value;
      select(k) = to_logical(true);
    }
    wi.seal();
  }

  InverseIteration& run() {
    GuardedVector<T> work(RealScalar<T> ? (n + 2) * n : n * n);
    GuardedVector<R> rwork(n);
    call(VL.ld(), VR.ld(), work, rwork);
    EXPECT_TRUE(H.unchanged() && wi.unchanged() && wr.guards_unchanged() && w.guards_unchanged());
    EXPECT_TRUE(VL.guards_unchanged() && VR.guards_unchanged() && select.guards_unchanged());
    EXPECT_TRUE(work.guards_unchanged() && rwork.guards_unchanged());
    EXPECT_TRUE(ifaill.guards_unchanged() && ifailr.guards_unchanged());
    return *this;
  }

  void call(Int ldvl, Int ldvr, GuardedVector<T>& work, GuardedVector<R>& rwork) {
    const Matrix<T> h{H.data(), ldh}, vl{VL.data(), ldvl}, vr{VR.data(), ldvr};
    if constexpr (RealScalar<T>) {
      routine_call::hsein(side, eigsrc, initv, select.data(), n, h, wr.data(), wi.data(), vl, vr, mm, m, work.data(),
                          ifaill.data(), ifailr.data(), info);
    } else {
      routine_call::hsein(side, eigsrc, initv, select.data(), n, h, w.data(), vl, vr, mm, m, work.data(), rwork.data(),
                          ifaill.data(), ifailr.data(), info);
    }
  }

  std::complex<R> value(Int k) const {
    if constexpr (RealScalar<T>) {
      return {wr(k), wi(k)};
    } else {
      return w(k);
    }
  }
};

/// ||H x - w x|| / (||H|| ||x|| n eps) of a vector, or the same of y^H H = w y^H, and that it is normalised.
template <Scalar T>
void expect_vector(bool right, const KnownMatrix<T>& known, std::complex<Real<T>> value, const GuardedMatrix<T>& V,
                   Int j, Int parts) {
  using C = std::complex<WideReal<T>>;
  const Int n = known.n();
  std::vector<C> x;
  double largest = 0;
  for (Int i = 1; i <= n; ++i) {
    if constexpr (RealScalar<T>) {
      x.emplace_back(V(i, j), parts == 2 ? V(i, j + 1) : T(0));
    } else {
      x.emplace_back(V(i, j));
    }
    largest = std::max(largest, double(std::abs(x.back().real()) + std::abs(x.back().imag())));
  }
  EXPECT_NEAR(largest, 1, 4 * epsilon<T>);
  WideReal<T> residual = 0, size = 0;
  for (Int i = 1; i <= n; ++i) {
    C sum = -(right ? C(value) : std::conj(C(value))) * x[std::size_t(i - 1)];
    for (Int k = 1; k <= n; ++k) {
      sum += (right ? C(known.H(i, k)) : std::conj(C(known.H(k, i)))) * x[std::size_t(k - 1)];
    }
    residual += std::abs(sum);
    size += std::abs(x[std::size_t(i - 1)]);
  }
  const WideReal<T> norm = one_norm<T>(wide(known.H));
  // A matrix of zeros has none; values that are the same are moved apart by the smallest numbers.
  const WideReal<T> unit = norm == 0 ? WideReal<T>(Machine<Real<T>>::safe_min) / epsilon<T> : norm * epsilon<T>;
  EXPECT_LT(double(residual / size / (unit * n)), schur_threshold) << (right ? "right " : "left ") << j;
}

/// The largest |re| + |im| of an element of a vector.
template <Scalar T>
double largest_element(const GuardedMatrix<T>& V, Int j, Int parts) {
  double largest = 0;
  for (Int i = 1; i <= V.rows(); ++i) {
    double size = std::abs(double(std::real(V(i, j)))) + std::abs(double(std::imag(V(i, j))));
    if (parts == 2) size += std::abs(double(std::real(V(i, j + 1))));
    largest = size > largest || size != size ? size : largest;
  }
  return largest;
}

/// All vectors of selected values.
template <Scalar T>
void expect_vectors(const KnownMatrix<T>& known, const InverseIteration<T>& found) {
  EXPECT_EQ(found.info, 0);
  Int to = 1;
  for (Int k = 1; k <= known.n(); k += known.columns(k)) {
    if ((found.select(k) & 1) == 0) continue;
    SCOPED_TRACE(testing::Message() << "value " << k << " of " << known.n());
    const Int columns = known.columns(k);
    if (!same_letter(found.side, 'L')) expect_vector(true, known, found.value(k), found.VR, to, columns);
    if (!same_letter(found.side, 'R')) expect_vector(false, known, found.value(k), found.VL, to, columns);
    for (Int j = to; j < to + columns; ++j) {
      if (!same_letter(found.side, 'L')) {
        EXPECT_EQ(found.ifailr(j), 0);
      }
      if (!same_letter(found.side, 'R')) {
        EXPECT_EQ(found.ifaill(j), 0);
      }
    }
    to += columns;
  }
  EXPECT_EQ(found.m, to - 1);
}

template <class T>
class HessenbergVectors : public ReportingTest {
 protected:
  Random random{19};
};
TYPED_TEST_SUITE(HessenbergVectors, Precisions, PrecisionLetter);

TYPED_TEST(HessenbergVectors, OfEveryValue) {
  using T = TypeParam;
  for (const Int n : {1, 2, 3, 4, 7, 16, 25}) {
    for (const char eigsrc : {'n', 'q'}) {
      const KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, {n});
      for (const char side : {'b', 'l', 'r'}) {
        InverseIteration<T> found(known);
        found.eigsrc = eigsrc;
        found.side = side;
        if (side == 'l') found.VR = GuardedMatrix<T>(1, 1, 1);
        if (side == 'r') found.VL = GuardedMatrix<T>(1, 1, 1);
        expect_vectors(known, found.run());
        if (side == 'l') {
          EXPECT_TRUE(found.VR.unchanged() && found.ifailr.unchanged());
        }
        if (side == 'r') {
          EXPECT_TRUE(found.VL.unchanged() && found.ifaill.unchanged());
        }
      }
    }
  }
}

TYPED_TEST(HessenbergVectors, OfBlocks) {
  using T = TypeParam;
  for (const std::vector<Int>& orders : std::initializer_list<std::vector<Int>>{{1, 1}, {2, 1, 3}, {5, 6}, {4, 1, 7}}) {
    const KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, orders);
    for (const char eigsrc : {'N', 'Q'}) {
      InverseIteration<T> found(known);
      found.eigsrc = eigsrc;
      expect_vectors(known, found.run());
      if (eigsrc == 'N') continue;
      // Nothing is in the rows behind a block on the right, and before it on the left.
      Int first = 1;
      for (const Int order : orders) {
        for (Int j = first; j < first + order; ++j) {
          for (Int i = 1; i < first; ++i) EXPECT_EQ(found.VL(i, j), T(0));
          for (Int i = first + order; i <= known.n(); ++i) EXPECT_EQ(found.VR(i, j), T(0));
        }
        first += order;
      }
    }
  }
}

TYPED_TEST(HessenbergVectors, OfTriangles) {
  using T = TypeParam;
  for (const char eigsrc : {'N', 'Q'}) {
    const KnownMatrix<T> known = quasi_triangular(random_schur_form<T>(this->random, 14, 15));
    InverseIteration<T> found(known);
    found.eigsrc = eigsrc;
    expect_vectors(known, found.run());
  }
}

TYPED_TEST(HessenbergVectors, OfSelectedValues) {
  using T = TypeParam;
  const KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, {6, 5});
  const InverseIteration<T> all = InverseIteration<T>(known).run();
  constexpr Logical truths[] = {-1, 1, 7}, lies[] = {0, 2, -4};
  for (int turn = 0; turn < 12; ++turn) {
    InverseIteration<T> found(known);
    std::vector<Int> columns;
    for (Int k = 1; k <= known.n(); k += known.columns(k)) {
      const Int flags = this->random.integer(0, known.is_pair(k) ? 3 : 1);
      for (Int i = 0; i < known.columns(k); ++i) {
        found.select(k + i) = (flags >> i & 1) != 0 ? this->random.pick(truths) : this->random.pick(lies);
        if (flags != 0) columns.push_back(k + i);
      }
    }
    found.select.seal();
    found.mm = Int(columns.size());
    found.VL = found.VR = GuardedMatrix<T>(known.n(), found.mm, known.n());
    found.ifaill = found.ifailr = GuardedVector<Int>(found.mm);
    expect_vectors(known, found.run());
    EXPECT_EQ(found.m, found.mm);
    for (Int j = 1; j <= found.mm; ++j) {
      for (Int i = 1; i <= known.n(); ++i) {
        EXPECT_TRUE(same_bits(found.VR(i, j), all.VR(i, columns[std::size_t(j - 1)]))) << i << ", " << j;
        EXPECT_TRUE(same_bits(found.VL(i, j), all.VL(i, columns[std::size_t(j - 1)]))) << i << ", " << j;
      }
    }
    for (Int k = 1; k <= known.n(); k += known.columns(k)) {
      if (!known.is_pair(k)) {
        EXPECT_EQ(found.select(k), found.select.sealed(k));
        continue;
      }
      const bool either = ((found.select.sealed(k) | found.select.sealed(k + 1)) & 1) != 0;
      EXPECT_EQ(found.select(k), to_logical(either));
      EXPECT_EQ(found.select(k + 1), 0);
    }
  }
}

/// Values that are the same are moved apart within their block, and those alone.
TYPED_TEST(HessenbergVectors, OfClusters) {
  using T = TypeParam;
  using R = Real<T>;
  for (const char eigsrc : {'N', 'Q'}) {
    KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, {7, 6});
    for (Int j = 8; j <= 13; ++j) {
      for (Int i = 8; i <= 13; ++i) known.H(i, j) *= R(64);
    }
    // In both blocks; a value that is not selected moves nothing.
    std::vector<Int> single;
    for (Int k = 1; k <= 13; k += known.columns(k)) {
      if (!known.is_pair(k)) single.push_back(k);
    }
    InverseIteration<T> found(known);
    found.eigsrc = eigsrc;
    ASSERT_GE(single.size(), 4u);
    const Int unselected = single[0];
    for (const Int k : single) {
      if constexpr (RealScalar<T>) {
        found.wr(k) = R(0.5);
      } else {
        found.w(k) = T(R(0.5), R(-0.25));
      }
    }
    found.select(unselected) = 0;
    found.wr.seal();
    found.w.seal();
    found.run();
    GuardedVector<R> work(13);
    const Int cut = 7;
    const auto size = [&](Int first, Int last) {
      return routine_call::lanhs('I', last - first + 1, Matrix<T>(&found.H(first, first), found.ldh), work.data());
    };
    for (const Int k : single) {
      const bool is_second = eigsrc == 'Q' && k > cut;
      const Int before = Int(
          std::ranges::count_if(single, [&](Int i) { return i < k && i != unselected && (i > cut || !is_second); }));
      const R eps3 = epsilon<T> * (eigsrc == 'N' ? size(1, 13) : is_second ? size(8, 13) : size(1, cut));
      const R moved = found.value(k).real() - R(0.5);
      if (k == unselected || before == 0) {
        EXPECT_EQ(moved, 0) << k;
      } else {
        EXPECT_GE(moved, R(before) * eps3 * R(0.7)) << k;
        EXPECT_LE(moved, R(2 * before) * eps3 * R(1.5)) << k;
      }
      if (ComplexScalar<T>) {
        EXPECT_EQ(found.value(k).imag(), R(-0.25)) << k;
      }
    }
  }
}

/// Of the identity each vector is an eigenvector, the one that the iteration starts with too. Pairs move as one.
TYPED_TEST(HessenbergVectors, FromGivenStarts) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 5;
  const KnownMatrix<T> known = quasi_triangular(identity_matrix<T>(n, n));
  InverseIteration<T> found(known);
  found.initv = 'u';
  const GuardedMatrix<T> starts = random_matrix<T>(this->random, n, n, n);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) found.VR(i, j) = found.VL(i, j) = starts(i, j) * R(1e5);
  }
  expect_vectors(known, found.run());
  for (Int j = 1; j <= n; ++j) {
    Int largest = 1;
    for (Int i = 1; i <= n; ++i) largest = std::abs(starts(i, j)) > std::abs(starts(largest, j)) ? i : largest;
    for (const auto* V : {&found.VR, &found.VL}) {
      for (Int i = 1; i <= n; ++i) {
        EXPECT_NEAR(std::abs((*V)(i, j) / (*V)(largest, j) - starts(i, j) / starts(largest, j)), 0, 20 * epsilon<T>);
      }
    }
  }
  const KnownMatrix<T> other = with_unreduced_blocks<T>(this->random, {9});
  InverseIteration<T> general(other);
  general.initv = 'U';
  general.VL = general.VR = random_matrix<T>(this->random, 9, 9, 9);
  // A start that is nothing is as good as none.
  for (Int i = 1; i <= 9; ++i) general.VR(i, 3) = general.VL(i, 3) = T(0);
  expect_vectors(other, general.run());
}

TYPED_TEST(HessenbergVectors, OfEqualPairs) {
  using T = TypeParam;
  if constexpr (RealScalar<T>) {
    GuardedMatrix<T> S = random_schur_form<T>(this->random, {2, 2, 1, 2}, 7);
    for (const Int k : {3, 6}) {
      S(k, k) = S(k + 1, k + 1) = S(1, 1);
      S(k, k + 1) = S(1, 2);
      S(k + 1, k) = S(2, 1);
    }
    const KnownMatrix<T> known = quasi_triangular(S);
    InverseIteration<T> found(known);
    found.wr.seal();
    expect_vectors(known, found.run());
    for (const Int k : {1, 3, 6}) EXPECT_EQ(found.wr(k), found.wr(k + 1));
    EXPECT_EQ(found.wr(1), found.wr.sealed(1));
    EXPECT_GT(found.wr(3), found.wr(1));
    EXPECT_GT(found.wr(6), found.wr(3));
  }
}

/// Unknowns grow by a large factor from row to row.
TYPED_TEST(HessenbergVectors, OfMatricesWithHugeGrowth) {
  using T = TypeParam;
  using R = Real<T>;
  const R step = std::same_as<R, float> ? R(1e-4) : R(1e-11);
  for (const Int n : {35, 60}) {
    GuardedMatrix<T> S = random_schur_form<T>(this->random, n, n);
    for (Int j = 1; j <= n; ++j) {
      S(j, j) = T(R(1) + step * R(j / 2));
      if (j < n && S(j + 1, j) != T(0)) {
        S(j + 1, j) = -T(step * step) / S(j, j + 1);
        S(j + 1, j + 1) = S(j, j);
        ++j;
      }
    }
    // Pivots may be small beside the unknowns, or sums of rows large.
    const bool is_single = std::same_as<R, float>;
    for (const R size : {R(1), is_single ? R(1e-15) : R(1e-150), is_single ? R(1e15) : R(1e150)}) {
      SCOPED_TRACE(testing::Message() << "size " << size);
      GuardedMatrix<T> scaled = S;
      for (Int j = 1; j <= n; ++j) {
        for (Int i = 1; i <= n; ++i) scaled(i, j) *= size;
      }
      scaled.seal();
      const KnownMatrix<T> known = quasi_triangular(scaled);
      for (const char eigsrc : {'Q', 'N'}) {
        InverseIteration<T> found(known);
        found.eigsrc = eigsrc;
        expect_vectors(known, found.run());
      }
    }
    // Or hardly be numbers.
    S.seal();
    const KnownMatrix<T> tiny = times_power_of_two(quasi_triangular(S), tiny_exponent<R> + 18);
    expect_vectors(tiny, InverseIteration<T>(tiny).run());
  }
}

/// Pivots may be below the smallest numbers to be computed with.
TYPED_TEST(HessenbergVectors, OfTinyMatrices) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> rotation(2, 2, 2);
  rotation(1, 1) = rotation(2, 2) = T(0);
  rotation(1, 2) = T(1);
  rotation(2, 1) = T(-1);
  rotation.seal();
  const KnownMatrix<T> turned{rotation, {{R(0), R(1)}, {R(0), R(-1)}}};
  for (const int exponent : {tiny_exponent<R>, tiny_exponent<R> + 4, tiny_exponent<R> + 20}) {
    SCOPED_TRACE(exponent);
    for (const char eigsrc : {'N', 'Q'}) {
      std::vector<KnownMatrix<T>> matrices{turned};
      for (const Int n : {1, 3, 7, 16}) matrices.push_back(with_unreduced_blocks<T>(this->random, {n}));
      matrices.push_back(with_unreduced_blocks<T>(this->random, {4, 1, 6}));
      for (const KnownMatrix<T>& plain : matrices) {
        const KnownMatrix<T> known = times_power_of_two(plain, exponent);
        InverseIteration<T> found(known);
        found.eigsrc = eigsrc;
        expect_vectors(known, found.run());
      }
    }
  }
  // (1, i) / sqrt(2) up to a factor.
  InverseIteration<T> found(times_power_of_two(turned, tiny_exponent<R>));
  found.run();
  if constexpr (RealScalar<T>) {
    const std::complex<R> x(found.VR(1, 1), found.VR(1, 2)), y(found.VR(2, 1), found.VR(2, 2));
    EXPECT_NEAR(std::abs(y / x - std::complex<R>(0, 1)), 0, 10 * epsilon<T>);
  } else {
    EXPECT_NEAR(std::abs(found.VR(2, 1) / found.VR(1, 1) - T(0, 1)), 0, 10 * epsilon<T>);
  }
}

TYPED_TEST(HessenbergVectors, OfNothing) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 6;
  KnownMatrix<T> known{GuardedMatrix<T>(n, n, n), std::vector<std::complex<R>>(n, 0)};
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) known.H(i, j) = T(0);
  }
  known.H.seal();
  expect_vectors(known, InverseIteration<T>(known).run());
  // Values beside which the matrix is nothing can't be moved apart.
  for (auto& value : known.values) value = {R(1), 0};
  const InverseIteration<T> found = InverseIteration<T>(known).run();
  EXPECT_EQ(found.info, 2 * n);
  for (Int k = 1; k <= n; ++k) {
    EXPECT_EQ(found.value(k), std::complex<R>(1));
    EXPECT_EQ(found.ifaill(k), k);
    EXPECT_EQ(found.ifailr(k), k);
  }

  // Nothing is a matrix, too, whose rounding errors underflow: what differs from its value by no more has a vector.
  KnownMatrix<T> least{GuardedMatrix<T>(1, 1, 1), {R(0)}};
  least.H(1, 1) = T(std::ldexp(R(1), std::numeric_limits<R>::min_exponent - 3));
  EXPECT_EQ(InverseIteration<T>(least).run().info, 0);

  InverseIteration<T> empty(KnownMatrix<T>{GuardedMatrix<T>(0, 0, 1), {}});
  empty.VL = empty.VR = GuardedMatrix<T>(1, 1, 1);
  empty.run();
  EXPECT_EQ(empty.info, 0);
  EXPECT_EQ(empty.m, 0);
  EXPECT_TRUE(empty.VL.unchanged() && empty.VR.unchanged());
}

/// What is no eigenvalue has no vector.
TYPED_TEST(HessenbergVectors, ThatAreNone) {
  using T = TypeParam;
  using R = Real<T>;
  constexpr Int n = 7;
  const auto blocks = RealScalar<T> ? std::vector<Int>{1, 1, 2, 1, 2} : std::vector<Int>(n, 1);
  const KnownMatrix<T> known = quasi_triangular(random_schur_form<T>(this->random, blocks, n));
  for (const char side : {'R', 'L', 'B'}) {
    InverseIteration<T> found(known);
    found.side = side;
    found.select(1) = 0;
    std::vector<Int> expected;  // of each column
    for (Int k = 2; k <= n; k += known.columns(k)) {
      const bool is_wrong = k == 3 || k == 5;
      for (Int i = k; i < k + known.columns(k); ++i) {
        expected.push_back(is_wrong ? k : 0);
        if (!is_wrong) continue;
        if constexpr (RealScalar<T>) {
          found.wr(i) += R(0.11);
        } else {
          found.w(i) += R(0.11);
        }
      }
    }
    found.run();
    const Int failed = n - 1 - Int(std::ranges::count(expected, 0));
    EXPECT_EQ(found.info, side == 'B' ? 2 * failed : failed);
    for (Int j = 1; j < n; ++j) {
      if (side != 'R') {
        EXPECT_EQ(found.ifaill(j), expected[std::size_t(j - 1)]) << j;
      }
      if (side != 'L') {
        EXPECT_EQ(found.ifailr(j), expected[std::size_t(j - 1)]) << j;
      }
    }
    if (side == 'B') {
      expect_vector(true, known, found.value(6), found.VR, 5, known.columns(6));
    }
  }
}

/// What a failed iteration leaves has a largest element of one, too: in a single row, and where it is hardly a number.
TYPED_TEST(HessenbergVectors, ThatAreNoneAreNormalised) {
  using T = TypeParam;
  using R = Real<T>;
  const auto expect_failures = [](const KnownMatrix<T>& known, char eigsrc) {
    for (const char side : {'R', 'L', 'B'}) {
      SCOPED_TRACE(testing::Message() << "order " << known.n() << ' ' << side << eigsrc);
      InverseIteration<T> found(known);
      found.side = side;
      found.eigsrc = eigsrc;
      found.run();
      EXPECT_EQ(found.info, side == 'B' ? 2 * known.n() : known.n());
      for (Int k = 1; k <= known.n(); k += known.columns(k)) {
        if (side != 'L') {
          EXPECT_NEAR(largest_element(found.VR, k, known.columns(k)), 1, 4 * epsilon<T>) << k;
        }
        if (side != 'R') {
          EXPECT_NEAR(largest_element(found.VL, k, known.columns(k)), 1, 4 * epsilon<T>) << k;
        }
      }
    }
  };
  GuardedMatrix<T> one(1, 1, 1), two(2, 2, 3);
  one(1, 1) = two(1, 1) = T(1);
  two(1, 2) = T(2);
  two(2, 1) = T(0);
  two(2, 2) = T(5);
  one.seal();
  two.seal();
  const KnownMatrix<T> single{one, {R(2)}}, rows{two, {R(3), R(7)}};
  KnownMatrix<T> pair = rows;
  pair.values = {{R(3), R(2)}, {R(3), R(-2)}};
  for (const int exponent : {0, tiny_exponent<R>, std::numeric_limits<R>::min_exponent - 2}) {
    SCOPED_TRACE(exponent);
    for (const char eigsrc : {'N', 'Q'}) {
      for (const KnownMatrix<T>& known : {single, rows, pair}) {
        if (exponent == 0) expect_failures(known, eigsrc);
        // For the last ones eps3 is about the least number that there is.
        KnownMatrix<T> scaled = times_power_of_two(known, exponent);
        for (auto& value : scaled.values) value += R(exponent == 0 ? 4 : 1);
        expect_failures(scaled, eigsrc);
      }
    }
  }
  // The row that is alone in its block.
  InverseIteration<T> found(KnownMatrix<T>{two, {R(3), R(5)}});
  found.side = 'R';
  found.eigsrc = 'Q';
  found.run();
  EXPECT_EQ(found.info, 1);
  EXPECT_EQ(found.ifailr(1), 1);
  EXPECT_EQ(found.ifailr(2), 0);
  EXPECT_EQ(std::abs(found.VR(1, 1)), R(1));
  EXPECT_EQ(found.VR(2, 1), T(0));
}

/// Of blocks with nothing selected nothing is left behind: each vector is that of a call with all.
TYPED_TEST(HessenbergVectors, OfBlocksBehindOthers) {
  using T = TypeParam;
  const std::vector<Int> orders{4, 1, 5, 3};
  const KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, orders);
  InverseIteration<T> all(known);
  all.eigsrc = 'Q';
  all.run();
  for (int wanted = 1; wanted < 16; ++wanted) {
    SCOPED_TRACE(wanted);
    InverseIteration<T> found(known);
    found.eigsrc = 'Q';
    std::vector<Int> columns;
    Int k = 1;
    for (std::size_t block = 0; block < orders.size(); ++block) {
      for (Int i = 0; i < orders[block]; ++i, ++k) {
        const bool is_wanted = (wanted >> block & 1) != 0;
        found.select(k) = to_logical(is_wanted);
        if (is_wanted) columns.push_back(k);
      }
    }
    expect_vectors(known, found.run());
    ASSERT_EQ(found.m, Int(columns.size()));
    for (Int j = 1; j <= found.m; ++j) {
      for (Int i = 1; i <= known.n(); ++i) {
        EXPECT_TRUE(same_bits(found.VR(i, j), all.VR(i, columns[std::size_t(j - 1)]))) << i << ", " << j;
        EXPECT_TRUE(same_bits(found.VL(i, j), all.VL(i, columns[std::size_t(j - 1)]))) << i << ", " << j;
      }
    }
  }
}

/// What is no eigenvalue for sure has no vector; a start that is no number gives way to another.
TYPED_TEST(HessenbergVectors, OfValuesAndStartsThatAreNoNumbers) {
  using T = TypeParam;
  using R = Real<T>;
  const KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, {7});
  for (const R odd : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
    for (const bool imaginary : {false, true}) {
      for (const char eigsrc : {'N', 'Q'}) {
        KnownMatrix<T> spoiled = known;
        for (const std::size_t k : {2u, 4u, 5u})
          (imaginary ? spoiled.values[k].imag(odd) : spoiled.values[k].real(odd));
        InverseIteration<T> found(spoiled);
        found.eigsrc = eigsrc;
        found.run();
        EXPECT_GE(found.info, 2);
        EXPECT_LE(found.info, 14);
      }
    }
    InverseIteration<T> found(known);
    found.initv = 'U';
    found.VL = found.VR = random_matrix<T>(this->random, 7, 7, 8);
    for (Int j = 1; j <= 7; ++j) found.VL(j, j) = found.VR(8 - j, j) = T(odd);
    expect_vectors(known, found.run());
  }
}

TYPED_TEST(HessenbergVectors, OfWhatIsNoNumber) {
  using T = TypeParam;
  using R = Real<T>;
  const KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, {9});
  for (const auto& [i, j] : {std::array{1, 1}, {4, 3}, {2, 8}, {9, 9}}) {
    for (const R value : {std::numeric_limits<R>::quiet_NaN(), std::numeric_limits<R>::infinity()}) {
      KnownMatrix<T> spoiled = known;
      spoiled.H(i, j) = T(value);
      const InverseIteration<T> found = InverseIteration<T>(spoiled).run();
      if (std::isnan(value)) {
        EXPECT_EQ(found.info, 18) << i << ", " << j;
      }
    }
  }
}

// ----------------------------------------------------------------------------------------------------- a single vector

template <Scalar T>
struct SingleVector {
  using R = Real<T>;

  Logical rightv = 1, noinit = 1;
  R eps3, smlnum = Machine<R>::safe_min * 100, bignum = 1 / smlnum;
  std::complex<R> value;
  Int n, info = 99;
  GuardedMatrix<T> H, B;
  GuardedVector<T> v, vi;

  SingleVector(const KnownMatrix<T>& known, Int k)
      : eps3(R(one_norm<T>(wide(known.H))) * epsilon<T>),
        value(known.values[std::size_t(k - 1)]),
        n(known.n()),
        H(known.H),
        B(RealScalar<T> ? n + 1 : n, n, n + 4),
        v(n),
        vi(n) {
    // Nothing below the subdiagonal counts.
    for (Int j = 1; j <= n; ++j) {
      for (Int i = j + 2; i <= n; ++i) H(i, j) = guard<T>();
    }
    H.seal();
  }

  SingleVector& run() {
    GuardedVector<R> work(n);
    if constexpr (RealScalar<T>) {
      routine_call::laein(rightv, noinit, n, Matrix<T>(H), value.real(), value.imag(), v.data(), vi.data(),
                          Matrix<T>(B), work.data(), eps3, smlnum, bignum, info);
    } else {
      routine_call::laein(rightv, noinit, n, Matrix<T>(H), value, v.data(), Matrix<T>(B), work.data(), eps3, smlnum,
                          info);
    }
    EXPECT_TRUE(H.unchanged() && B.guards_unchanged() && v.guards_unchanged() && vi.guards_unchanged() &&
                work.guards_unchanged());
    return *this;
  }
};

TYPED_TEST(HessenbergVectors, BySingleCalls) {
  using T = TypeParam;
  for (const Int n : {1, 2, 5, 12}) {
    const KnownMatrix<T> known = with_unreduced_blocks<T>(this->random, {n});
    for (Int k = 1; k <= n; ++k) {
      for (const Logical rightv : {0, 1, 2, -1}) {
        SingleVector<T> single(known, k);
        single.rightv = rightv;
        single.run();
        EXPECT_EQ(single.info, 0);
        GuardedMatrix<T> V(n, 2, n);
        for (Int i = 1; i <= n; ++i) {
          V(i, 1) = single.v(i);
          V(i, 2) = single.vi(i);
        }
        expect_vector((rightv & 1) != 0, known, single.value, V, 1, known.columns(k));
        if (!known.is_pair(k)) {
          EXPECT_TRUE(single.vi.unchanged());
        }
      }
    }
  }
}

/// With a huge eps3 everything is small, and any start is a solution.
TYPED_TEST(HessenbergVectors, StartAsTheyAreTold) {
  using T = TypeParam;
  using R = Real<T>;
  const KnownMatrix<T> known = quasi_triangular(identity_matrix<T>(4, 4));
  for (const Logical noinit : {0, 1, 2}) {
    SingleVector<T> single(known, 1);
    single.noinit = noinit;
    for (Int i = 1; i <= 4; ++i) single.v(i) = T(R(i));
    single.run();
    EXPECT_EQ(single.info, 0);
    for (Int i = 1; i <= 4; ++i) {
      EXPECT_NEAR(std::abs(single.v(i)), noinit == 1 ? 1 : double(i) / 4, 4 * epsilon<T>) << i;
      // What is nothing has become the least pivot that is allowed.
      EXPECT_EQ(single.B(i, i), T(single.eps3));
    }
  }
}

/// A start is brought to the length of that with equal elements, but none that is shorter than max(1, eps3 root(n))
/// times the smallest number: it is not grown enough then after the first step, and another start follows.
TYPED_TEST(HessenbergVectors, TakeNoStartThatIsTooShort) {
  using T = TypeParam;
  using R = Real<T>;
  const KnownMatrix<T> known = quasi_triangular(identity_matrix<T>(4, 4));
  const R smallest = R(0x1p-20);
  for (const R eps3 : {R(0x1p-8), R(0x1p8)}) {
    const R least = smallest * std::max(R(1), 2 * eps3);
    for (const R fraction : {R(2), R(0x1p-8)}) {
      SCOPED_TRACE(testing::Message() << eps3 << ' ' << fraction);
      SingleVector<T> single(known, 1);
      single.eps3 = eps3;
      single.smlnum = smallest;
      single.bignum = 1 / smallest;
      single.noinit = 0;
      const R sizes[] = {R(0.7), R(0.5), R(0.5), R(0.1)};  // of length one
      for (Int i = 1; i <= 4; ++i) single.v(i) = T(sizes[i - 1] * least * fraction);
      single.run();
      EXPECT_EQ(single.info, 0);
      for (Int i = 1; i <= 4; ++i) {
        const double expected = fraction > 1 ? double(sizes[i - 1]) / 0.7 : i == 4 ? 1 : 0;
        if (fraction > 1 || i == 4) {
          EXPECT_NEAR(std::abs(single.v(i)), expected, 8 * epsilon<T>) << i;
        }
      }
    }
  }
}

/// Neither the diagonal element nor the one below is as large as a pivot has to be.
TYPED_TEST(HessenbergVectors, HaveNoPivotBelowTheLeast) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> H = identity_matrix<T>(2, 2);
  H(1, 2) = T(R(1));
  H(2, 1) = T(epsilon<T> / 4);
  for (const Logical rightv : {0, 1}) {
    SingleVector<T> single({H, {R(1), R(1)}}, 1);
    single.rightv = rightv;
    EXPECT_EQ(single.run().info, 0);
    EXPECT_EQ(rightv == 1 ? single.B(1, 1) : single.B(2, 2), T(single.eps3));
  }
}

/// A start with nothing in the direction of the vector fails, and the next one has it.
TYPED_TEST(HessenbergVectors, StartAgain) {
  using T = TypeParam;
  using R = Real<T>;
  GuardedMatrix<T> D = identity_matrix<T>(5, 5);
  for (Int j = 1; j <= 5; ++j) D(j, j) = T(R(j));
  const KnownMatrix<T> known = quasi_triangular(D);
  for (Int k = 1; k <= 5; ++k) {
    for (const Logical rightv : {0, 1}) {
      SingleVector<T> single(known, k);
      single.noinit = 0;
      single.rightv = rightv;
      for (Int i = 1; i <= 5; ++i) single.v(i) = T(R(i != k));
      single.run();
      EXPECT_EQ(single.info, 0);
      for (Int i = 1; i <= 5; ++i) EXPECT_NEAR(std::abs(single.v(i)), i == k ? 1 : 0, 50 * epsilon<T>) << i << k;
    }
  }
}

/// From a start of elements eps3 a solution with a multiple of the identity is accepted where the sum of its elements
/// is 0.1 over the root of their number. The last start is what is left of a failure.
TYPED_TEST(HessenbergVectors, GrowEnoughOrFail) {
  using T = TypeParam;
  using R = Real<T>;
  const KnownMatrix<T> known = quasi_triangular(identity_matrix<T>(4, 4));
  for (const bool is_pair : {false, true}) {
    if (is_pair && !RealScalar<T>) continue;
    for (const R distance : {R(64), R(128)}) {
      SingleVector<T> single(known, 1);
      single.eps3 = R(0x1p-15);
      (is_pair ? single.value.imag(distance * single.eps3) : single.value.real(1 + distance * single.eps3));
      single.run();
      EXPECT_EQ(single.info, distance == 64 ? 0 : 1);
      if (distance == 128) {
        EXPECT_LT(std::real(single.v(1)), 0);
        EXPECT_GT(std::real(single.v(4)), 0);
      }
      for (Int i = 1; i <= 4; ++i) {
        const auto size = std::abs(single.v(i)) + (is_pair ? std::abs(single.vi(i)) : R(0));
        EXPECT_NEAR(size, distance == 64 || i == 1 ? 1 : R(1) / 3, 8 * epsilon<T>) << i;
      }
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- arguments

template <Scalar T>
struct HseinCall : InverseIteration<T> {
  Int ldvl = 5, ldvr = 5;

  HseinCall() : InverseIteration<T>(known()) {
    for (Int k = 1; k <= 5; ++k) this->select(k) = to_logical(k != 3);
    this->VL = this->VR = GuardedMatrix<T>(5, 5, 5);
    this->select.seal();
    this->wr.seal();
    this->w.seal();
  }
  static KnownMatrix<T> known() {
    Random random(3);
    return quasi_triangular(
        random_schur_form<T>(random, RealScalar<T> ? std::vector<Int>{1, 2, 2} : std::vector<Int>(5, 1), 5));
  }
  Int run() {
    GuardedVector<T> work(35);
    GuardedVector<Real<T>> rwork(5);
    this->call(ldvl, ldvr, work, rwork);
    return this->info;
  }
  bool unchanged() const {
    return this->H.unchanged() && this->VL.unchanged() && this->VR.unchanged() && this->select.unchanged() &&
           this->wr.unchanged() && this->w.unchanged();
  }
};

TYPED_TEST(HessenbergVectors, HaveArgumentsThatAreChecked) {
  using T = TypeParam;
  using Call = HseinCall<T>;
  constexpr int earlier = RealScalar<T> ? 0 : 1;  // one array of values instead of two
  expect_argument_checks<Call>(reported_name<T>("HSEIN"), {{1, [](Call& c) { c.side = 'A'; }},
                                                           {2, [](Call& c) { c.eigsrc = 'A'; }},
                                                           {3, [](Call& c) { c.initv = 'A'; }},
                                                           {5, [](Call& c) { c.n = -1; }},
                                                           {7, [](Call& c) { c.ldh = 4; }},
                                                           {11 - earlier, [](Call& c) { c.ldvl = 4; }},
                                                           {13 - earlier, [](Call& c) { c.ldvr = 4; }},
                                                           {14 - earlier, [](Call& c) { c.mm = 3; }}});
  for (const Int mm : {4, 5}) {
    Call call;
    call.mm = mm;
    expect_report(call, reported_name<T>("HSEIN"), mm < (RealScalar<T> ? 5 : 4) ? 14 : 0);
  }
  for (const char side : {'L', 'R'}) {
    for (const Int ld : {0, 1}) {
      Call call;
      call.side = side;
      (side == 'R' ? call.ldvl : call.ldvr) = ld;
      expect_report(call, reported_name<T>("HSEIN"), ld == 1 ? 0 : (side == 'R' ? 11 : 13) - earlier);
    }
  }
}

}  // namespace
}  // namespace nuv::test
