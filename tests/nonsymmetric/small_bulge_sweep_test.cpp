// Sweeps of the multishift QR iteration: laqr5, and laqr1, with which its bulges begin.

#include <array>
#include <cmath>
#include <limits>

#include "nonsymmetric/plain_iterations.hpp"
#include "nonsymmetric/schur_checks.hpp"
#include "routines.hpp"
#include "support/real_precisions.hpp"

namespace nuv::test {
namespace {

template <Scalar T>
using Shifts = std::vector<std::complex<Real<T>>>;

/// So many shifts, the first ones real in pairs and the others conjugate for real matrices.
template <Scalar T>
Shifts<T> random_shifts(Random& random, Int count) {
  Shifts<T> shifts;
  for (Int i = 0; i < count; ++i) {
    auto shift = random.scalar<std::complex<Real<T>>>();
    if constexpr (RealScalar<T>) {
      if (i < count / 2 - count / 2 % 2) shift = shift.real();
      else if (i % 2 == 1) shift = std::conj(shifts.back());
    }
    shifts.push_back(shift);
  }
  return shifts;
}

/// A call of laqr5 and what comes of it. Z begins as the identity; the workspace is no larger than it must be.
template <Scalar T>
struct Swept {
  using R = Real<T>;

  Int n, ktop, kbot, nshfts, kacc22, iloz, ihiz, nv = 5, nh = 7;
  Logical wantt = 1, wantz = 1;
  GuardedMatrix<T> H, Z;
  GuardedVector<R> sr, si;
  GuardedVector<T> s;

  Swept(const GuardedMatrix<T>& matrix, const Shifts<T>& shifts, Int way)
      : n(matrix.rows()),
        ktop(1),
        kbot(n),
        nshfts(Int(shifts.size())),
        kacc22(way),
        iloz(1),
        ihiz(n),
        H(matrix),
        Z(identity_matrix<T>(n, n + 1)),
        sr(nshfts),
        si(nshfts),
        s(nshfts) {
    for (Int i = 1; i <= nshfts; ++i) {
      const std::complex<R> shift = shifts[std::size_t(i - 1)];
      sr(i) = shift.real();
      si(i) = shift.imag();
      if constexpr (ComplexScalar<T>) s(i) = shift;
    }
    sr.seal();
    si.seal();
    s.seal();
  }

  Swept& active(Int first, Int last) {
    ktop = first;
    kbot = last;
    return *this;
  }

  Swept& run() {
    const Int kdu = std::max(1, 3 * (nshfts - nshfts % 2) - 3);
    GuardedMatrix<T> V(3, std::max(1, nshfts / 2), 4), U(kdu, kdu, kdu + 1), Wv(nv, kdu, nv + 1), Wh(kdu, nh, kdu + 2);
    if constexpr (ComplexScalar<T>) {
      routine_call::laqr5(wantt, wantz, kacc22, n, ktop, kbot, nshfts, s.data(), Matrix<T>(H), iloz, ihiz, Matrix<T>(Z),
                          Matrix<T>(V), Matrix<T>(U), nv, Matrix<T>(Wv), nh, Matrix<T>(Wh));
      EXPECT_TRUE(s.unchanged());
    } else {
      routine_call::laqr5(wantt, wantz, kacc22, n, ktop, kbot, nshfts, sr.data(), si.data(), Matrix<T>(H), iloz, ihiz,
                          Matrix<T>(Z), Matrix<T>(V), Matrix<T>(U), nv, Matrix<T>(Wv), nh, Matrix<T>(Wh));
    }
    EXPECT_TRUE(V.guards_unchanged() && U.guards_unchanged() && Wv.guards_unchanged() && Wh.guards_unchanged());
    EXPECT_TRUE(H.guards_unchanged() && Z.guards_unchanged() && sr.guards_unchanged() && si.guards_unchanged());
    if (kacc22 != 1 && kacc22 != 2) {
      EXPECT_TRUE(U.unchanged() && Wv.unchanged() && Wh.unchanged());
    }
    return *this;
  }

  /// The shifts as the sweep takes them.
  std::vector<std::complex<WideReal<T>>> shifts() const {
    std::vector<std::complex<WideReal<T>>> all;
    for (Int i = 1; i <= nshfts - nshfts % 2; ++i) all.emplace_back(sr(i), si(i));
    return all;
  }
};

/// Sweeps that begin alike part by a factor at each step. Those tried here stay together well enough.
template <Scalar T>
double tolerance(const WideMatrix<T>& A) {
  return 3000 * double(A.rows()) * epsilon<T> * one_norm<T>(A);
}

template <Scalar T>
WideMatrix<T> difference(const WideMatrix<T>& A, const WideMatrix<T>& B) {
  return A - B;
}

/// A sweep over A is a unitary similarity to a Hessenberg matrix, and the one that plain reflectors make.
template <Scalar T>
void expect_sweep(const GuardedMatrix<T>& A, const Swept<T>& swept) {
  const WideMatrix<T> Z = wide(swept.Z), H = wide(swept.H);
  EXPECT_LT(schur_residual<T>(wide(A), Z, H), schur_threshold);
  EXPECT_LT(orthonormality<T>(Z), schur_threshold);
  for (Int j = 1; j <= A.columns(); ++j) {
    for (Int i = j + 2; i <= A.rows(); ++i) EXPECT_EQ(swept.H(i, j), T(0)) << i << ", " << j;
  }
  const PlainIteration<T> plain = plain_sweep<T>(wide(A), swept.ktop, swept.kbot, swept.shifts());
  EXPECT_LT(one_norm<T>(difference<T>(H, plain.H)), tolerance<T>(wide(A)));
  EXPECT_LT(one_norm<T>(difference<T>(Z, plain.Z)), tolerance<T>(WideMatrix<T>::Identity(A.rows(), A.rows())));
}

template <class T>
class SmallBulgeSweep : public testing::Test {
 protected:
  Random random{23};

  /// With an active block that is cut off.
  GuardedMatrix<T> with_block(Int n, Int ktop, Int kbot) {
    GuardedMatrix<T> A = random_hessenberg<T>(random, n, n + 1);
    for (Int j = 1; j < n; ++j) {
      if (j < ktop || j >= kbot) A(j + 1, j) = T(0);
    }
    A.seal();
    return A;
  }
};
TYPED_TEST_SUITE(SmallBulgeSweep, Precisions, PrecisionLetter);

TYPED_TEST(SmallBulgeSweep, IsThatOfPlainReflectors) {
  using T = TypeParam;
  for (const Int ns : {2, 4, 6}) {
    const Int kdu = 3 * ns - 3, step = 3 * ns / 2 - 2;
    for (const Int n : {2, 3, 4, 5, 6, 7, step + 2, kdu - 1, kdu, kdu + 1, kdu + step, kdu + step + 1, 3 * kdu + 2}) {
      if (n < 2) continue;
      const GuardedMatrix<T> A = random_hessenberg<T>(this->random, n, n + n % 2);
      const Shifts<T> shifts = random_shifts<T>(this->random, ns);
      for (const Int kacc22 : {0, 1, 2}) {
        SCOPED_TRACE(testing::Message() << n << " with " << ns << " shifts, kacc22 " << kacc22);
        expect_sweep(A, Swept<T>(A, shifts, kacc22).run());
      }
    }
  }
}

/// Rows above and columns behind the active ones go along if the Schur form is wanted.
TYPED_TEST(SmallBulgeSweep, KeepsToTheActiveBlock) {
  using T = TypeParam;
  for (const auto& [n, ktop, kbot, ns] :
       {std::array{9, 4, 5, 2}, {9, 4, 6, 4}, {12, 1, 8, 2}, {12, 5, 12, 4}, {45, 6, 40, 4}, {60, 5, 53, 6}}) {
    const GuardedMatrix<T> A = this->with_block(n, ktop, kbot);
    const Shifts<T> shifts = random_shifts<T>(this->random, ns);
    for (const Int kacc22 : {0, 1, 2}) {
      SCOPED_TRACE(testing::Message() << n << ", " << ktop << " to " << kbot << ", " << ns << " shifts, kacc22 "
                                      << kacc22);
      const Swept<T> whole = Swept<T>(A, shifts, kacc22).active(ktop, kbot).run();
      expect_sweep(A, whole);
      const auto is_active = [&, first = ktop, last = kbot](Int i, Int j) {
        return i >= first && i <= last && j >= first && j <= last;
      };
      Swept<T> alone = Swept<T>(A, shifts, kacc22).active(ktop, kbot);
      alone.wantt = 2;  // as a logical, false
      alone.run();
      EXPECT_TRUE(alone.H.unchanged_except(is_active));
      const Int size = kbot - ktop + 1;
      EXPECT_LT(one_norm<T>(difference<T>(wide(alone.H).block(ktop - 1, ktop - 1, size, size),
                                          wide(whole.H).block(ktop - 1, ktop - 1, size, size))),
                tolerance<T>(wide(A)));
      EXPECT_LT(one_norm<T>(difference<T>(wide(alone.Z), wide(whole.Z))), tolerance<T>(WideMatrix<T>::Identity(n, n)));
      Swept<T> without_vectors = Swept<T>(A, shifts, kacc22).active(ktop, kbot);
      without_vectors.wantz = 2;
      without_vectors.run();
      EXPECT_TRUE(without_vectors.Z.unchanged() && without_vectors.H.same_as(whole.H));
    }
  }
}

TYPED_TEST(SmallBulgeSweep, TransformsRowsOfZ) {
  using T = TypeParam;
  const Int n = 30, ktop = 3, kbot = 28;
  const GuardedMatrix<T> A = this->with_block(n, ktop, kbot), Z = random_unitary<T>(this->random, n, n + 2);
  const Shifts<T> shifts = random_shifts<T>(this->random, 4);
  for (const Int kacc22 : {0, 1, 2}) {
    const Swept<T> whole = Swept<T>(A, shifts, kacc22).active(ktop, kbot).run();
    for (const auto& [iloz, ihiz] : {std::pair{1, 30}, {4, 19}, {7, 7}, {5, 4}}) {
      SCOPED_TRACE(testing::Message() << "rows " << iloz << " to " << ihiz << ", kacc22 " << kacc22);
      Swept<T> some = Swept<T>(A, shifts, kacc22).active(ktop, kbot);
      some.iloz = iloz;
      some.ihiz = ihiz;
      some.Z = Z;
      some.run();
      EXPECT_TRUE(some.H.same_as(whole.H));
      EXPECT_TRUE(some.Z.unchanged_except(
          [&, first = iloz, last = ihiz](Int i, Int j) { return i >= first && i <= last && j >= ktop && j <= kbot; }));
      const Eigen::Index rows = ihiz - iloz + 1;
      if (rows <= 0) continue;
      const WideMatrix<T> expected = product<T>(wide(Z), wide(whole.Z)).middleRows(iloz - 1, rows);
      EXPECT_LT(one_norm<T>(difference<T>(wide(some.Z).middleRows(iloz - 1, rows), expected)),
                schur_threshold * n * epsilon<T>);
    }
  }
}

/// However much there is room for at once.
TYPED_TEST(SmallBulgeSweep, MultipliesByStrips) {
  using T = TypeParam;
  const Int n = 40, ktop = 9, kbot = 33;
  const GuardedMatrix<T> A = this->with_block(n, ktop, kbot);
  const Shifts<T> shifts = random_shifts<T>(this->random, 4);
  for (const Int kacc22 : {1, 2}) {
    for (const auto& [nv, nh] : {std::pair{1, 1}, {2, 40}, {40, 3}, {8, 7}}) {
      SCOPED_TRACE(testing::Message() << "nv " << nv << ", nh " << nh << ", kacc22 " << kacc22);
      Swept<T> swept = Swept<T>(A, shifts, kacc22).active(ktop, kbot);
      swept.nv = nv;
      swept.nh = nh;
      expect_sweep(A, swept.run());
    }
  }
}

TYPED_TEST(SmallBulgeSweep, TakesPairsOfShifts) {
  using T = TypeParam;
  const GuardedMatrix<T> A = random_hessenberg<T>(this->random, 20, 21);
  for (const Int ns : {0, 1}) {
    const Swept<T> nothing = Swept<T>(A, random_shifts<T>(this->random, ns), 1).run();
    EXPECT_TRUE(nothing.H.unchanged() && nothing.Z.unchanged());
  }
  const Swept<T> of_one_row = Swept<T>(A, random_shifts<T>(this->random, 2), 0).active(4, 4).run();
  EXPECT_TRUE(of_one_row.H.unchanged() && of_one_row.Z.unchanged());

  Shifts<T> shifts = random_shifts<T>(this->random, 4);
  const Swept<T> even = Swept<T>(A, shifts, 2).run();
  shifts.push_back({Real<T>(0.5), 0});
  const Swept<T> odd = Swept<T>(A, shifts, 2).run();
  EXPECT_TRUE(odd.H.same_as(even.H) && odd.Z.same_as(even.Z));

  for (const Int kacc22 : {3, -1}) {
    const Swept<T> plain = Swept<T>(A, shifts, 0).run(), other = Swept<T>(A, shifts, kacc22).run();
    EXPECT_TRUE(other.H.same_as(plain.H) && other.Z.same_as(plain.Z));
  }
}

/// What stands below the subdiagonal where a bulge begins doesn't count.
TYPED_TEST(SmallBulgeSweep, ClearsTheFirstElementBelowTheSubdiagonal) {
  using T = TypeParam;
  GuardedMatrix<T> A = this->with_block(15, 3, 12);
  const Shifts<T> shifts = random_shifts<T>(this->random, 4);
  const Swept<T> clean = Swept<T>(A, shifts, 0).active(3, 12).run();
  A(5, 3) = T(7);
  const Swept<T> cleared = Swept<T>(A, shifts, 0).active(3, 12).run();
  EXPECT_TRUE(cleared.H.same_as(clean.H));
}

/// Bulges end at a zero on the subdiagonal, and begin anew behind it.
TYPED_TEST(SmallBulgeSweep, GoesOnBehindAZero) {
  using T = TypeParam;
  const Int n = 26;
  for (const Int cut : {4, 7, 12, 13}) {
    GuardedMatrix<T> A = random_hessenberg<T>(this->random, n, n + 1);
    A(cut + 1, cut) = T(0);
    const Shifts<T> shifts = random_shifts<T>(this->random, 4);
    for (const Int kacc22 : {0, 1, 2}) {
      SCOPED_TRACE(testing::Message() << "zero in column " << cut << ", kacc22 " << kacc22);
      const Swept<T> swept = Swept<T>(A, shifts, kacc22).run();
      EXPECT_EQ(swept.H(cut + 1, cut), T(0));
      EXPECT_LT(schur_residual<T>(wide(A), wide(swept.Z), wide(swept.H)), schur_threshold);
      EXPECT_LT(orthonormality<T>(wide(swept.Z)), schur_threshold);
      // As if each block had been swept by itself, but for signs.
      const PlainIteration<T> upper = plain_sweep<T>(wide(A), 1, cut, swept.shifts());
      const PlainIteration<T> lower = plain_sweep<T>(wide(A), cut + 1, n, swept.shifts());
      for (Int i = 1; i <= n; ++i) {
        const WideMatrix<T>& expected = i <= cut ? upper.H : lower.H;
        EXPECT_LT(std::abs(wide(swept.H(i, i)) - expected(i - 1, i - 1)), tolerance<T>(wide(A))) << i;
        if (i < n) {
          EXPECT_LT(std::abs(std::abs(wide(swept.H(i + 1, i))) - std::abs(expected(i, i - 1))), tolerance<T>(wide(A)))
              << i;
        }
      }
    }
  }
}

/// Where products underflow bulges collapse, and in some of these matrices one cannot begin anew without filling in
/// more than a rounding error.
TYPED_TEST(SmallBulgeSweep, LosesNothingWhereBulgesCollapse) {
  using T = TypeParam;
  using R = Real<T>;
  const R tiny = std::ldexp(R(1), std::numeric_limits<R>::min_exponent * 6 / 10);
  Random& random = this->random;
  for (int repeat = 0; repeat < 120; ++repeat) {
    SCOPED_TRACE(repeat);
    const Int n = random.integer(6, 11), ns = 2 * random.integer(1, 3);
    GuardedMatrix<T> A = random_hessenberg<T>(random, n, n + 1);
    for (Int j = 1; j <= n; ++j) {
      for (Int i = 1; i <= j; ++i) A(i, j) *= random.pick(std::array<R, 6>{0, 0, 0, 0, 1, std::sqrt(tiny)});
      if (j < n) A(j + 1, j) *= random.pick(std::array<R, 2>{1, tiny});
    }
    Shifts<T> shifts;
    for (Int i = 1; i <= ns; ++i) {
      const Int at = random.integer(1, n);
      shifts.push_back(random.integer(0, 2) == 0 ? R(0) : std::real(A(at, at)));
    }
    const Swept<T> swept = Swept<T>(A, shifts, random.integer(0, 2)).run();
    EXPECT_LT(schur_residual<T>(wide(A), wide(swept.Z), wide(swept.H)), schur_threshold);
    EXPECT_LT(orthonormality<T>(wide(swept.Z)), schur_threshold);
  }
}

/// The zeros of a product of reflectors are left out where all of a chain of more than one bulge is in it.
TYPED_TEST(SmallBulgeSweep, LeavesOutZerosOfWholeChains) {
  using T = TypeParam;
  const auto works_alike = [&](Int n, Int ns) {
    const GuardedMatrix<T> A = random_hessenberg<T>(this->random, n, n + 1);
    const Shifts<T> shifts = random_shifts<T>(this->random, ns);
    return bool(Swept<T>(A, shifts, 1).run().Z.same_as(Swept<T>(A, shifts, 2).run().Z));
  };
  EXPECT_TRUE(works_alike(40, 2));
  // A window of nine rows begins in rows -3, 1, 5 ...
  EXPECT_TRUE(works_alike(9, 4));
  EXPECT_FALSE(works_alike(40, 4));
}

/// On its way, or behind the last bulge.
TYPED_TEST(SmallBulgeSweep, SetsToZeroWhatIsNegligible) {
  using T = TypeParam;
  const Int n = 16;
  for (const Int at : {2, 3, 7, 14, 15}) {
    for (const Int kacc22 : {0, 1, 2}) {
      SCOPED_TRACE(testing::Message() << "column " << at << ", kacc22 " << kacc22);
      GuardedMatrix<T> A = random_hessenberg<T>(this->random, n, n + 1);
      A(at + 1, at) = T(epsilon<T> / 1024);
      const Swept<T> swept = Swept<T>(A, random_shifts<T>(this->random, 4), kacc22).run();
      EXPECT_EQ(swept.H(at + 1, at), T(0));
      EXPECT_LT(schur_residual<T>(wide(A), wide(swept.Z), wide(swept.H)), schur_threshold);
      EXPECT_LT(orthonormality<T>(wide(swept.Z)), schur_threshold);
    }
  }
}

// ---------------------------------------------------------------------------------------------------------- real
// shifts

template <class T>
class SmallBulgeSweepOfRealMatrices : public SmallBulgeSweep<T> {};
TYPED_TEST_SUITE(SmallBulgeSweepOfRealMatrices, RealPrecisions, PrecisionLetter);

/// A real shift goes behind the conjugate pair that follows it, so that real ones meet.
TYPED_TEST(SmallBulgeSweepOfRealMatrices, BringsRealShiftsTogether) {
  using T = TypeParam;
  const GuardedMatrix<T> A = random_hessenberg<T>(this->random, 25, 26);
  const std::complex<T> r1 = T(0.5), r2 = T(-0.25), r3 = T(0.75), r4 = T(0.875), c(T(0.5), T(0.25)), d(T(-0.5), T(1));
  const auto expect_order = [&](const Shifts<T>& given, const Shifts<T>& expected) {
    Swept<T> swept = Swept<T>(A, given, 2).run();
    for (Int i = 1; i <= Int(given.size()); ++i) {
      EXPECT_EQ(std::complex<T>(swept.sr(i), swept.si(i)), expected[std::size_t(i - 1)]) << i;
    }
    expect_sweep(A, swept);
  };
  expect_order({r1, c, std::conj(c), r2}, {c, std::conj(c), r1, r2});
  expect_order({r1, c, std::conj(c), std::conj(d), d, r2}, {c, std::conj(c), std::conj(d), d, r1, r2});
  expect_order({r1, r2, c, std::conj(c), r3, r4}, {r1, r2, c, std::conj(c), r3, r4});
  expect_order({c, std::conj(c), r1, d, std::conj(d), r2, r3, r4}, {c, std::conj(c), d, std::conj(d), r1, r2, r3, r4});
}

// ----------------------------------------------------------------------------------------------------------------
// laqr1

template <Scalar T>
void call_laqr1(Int n, const GuardedMatrix<T>& H, std::complex<Real<T>> s1, std::complex<Real<T>> s2,
                GuardedVector<T>& v) {
  if constexpr (ComplexScalar<T>) {
    routine_call::laqr1(n, Matrix<const T>(H), s1, s2, v.data());
  } else {
    routine_call::laqr1(n, Matrix<const T>(H), s1.real(), s1.imag(), s2.real(), s2.imag(), v.data());
  }
}

TYPED_TEST(SmallBulgeSweep, BeginsWithAMultipleOfTheFirstColumn) {
  using T = TypeParam;
  using R = Real<T>;
  for (const Int n : {2, 3}) {
    for (int repeat = 0; repeat < 8; ++repeat) {
      for (const R scale : {R(1), std::sqrt(std::numeric_limits<R>::max()) * 4}) {
        GuardedMatrix<T> H = random_matrix<T>(this->random, n, n, n + 1);
        for (Int j = 1; j <= n; ++j) {
          for (Int i = 1; i <= n; ++i) H(i, j) *= scale;
        }
        Shifts<T> shifts = random_shifts<T>(this->random, 2);
        if (RealScalar<T> && repeat % 2 == 0) {
          shifts[0] = this->random.template scalar<R>();
          shifts[1] = this->random.template scalar<R>();
        }
        for (auto& shift : shifts) shift *= scale;
        using Full = Eigen::Matrix<std::complex<WideReal<T>>, Eigen::Dynamic, Eigen::Dynamic>;
        const std::complex<WideReal<T>> s1 = shifts[0], s2 = shifts[1];
        const Full B = wide(H).template cast<std::complex<WideReal<T>>>();
        Full first = B.col(0);
        first(0) -= s2;
        WideReal<T> sum = 0;
        for (Eigen::Index i = 0; i < n; ++i) {
          sum +=
              ComplexScalar<T> || i == 0 ? std::abs(first(i).real()) + std::abs(first(i).imag()) : std::abs(first(i));
        }
        const Full expected = (B * first - s1 * first) / sum;
        GuardedVector<T> v(n);
        call_laqr1(n, H, shifts[0], shifts[1], v);
        EXPECT_TRUE(v.guards_unchanged());
        for (Int i = 1; i <= n; ++i) {
          EXPECT_LT(std::abs(std::complex<WideReal<T>>(v(i)) - expected(i - 1)), 16 * epsilon<T> * scale) << i;
        }
      }
    }
  }
}

TYPED_TEST(SmallBulgeSweep, BeginsWithZeroWhereTheFirstColumnIs) {
  using T = TypeParam;
  for (const Int n : {2, 3}) {
    GuardedMatrix<T> H = random_matrix<T>(this->random, n, n, n);
    for (Int i = 2; i <= n; ++i) H(i, 1) = T(0);
    H(1, 1) = T(Real<T>(0.5));
    GuardedVector<T> v(n);
    call_laqr1(n, H, {Real<T>(0.25), 0}, {Real<T>(0.5), 0}, v);
    for (Int i = 1; i <= n; ++i) EXPECT_EQ(v(i), T(0)) << i;
    EXPECT_TRUE(v.guards_unchanged());
  }
  for (const Int n : {0, 1, 4}) {
    const GuardedMatrix<T> H = random_matrix<T>(this->random, 4, 4, 4);
    GuardedVector<T> v(4);
    call_laqr1(n, H, {1, 0}, {1, 0}, v);
    EXPECT_TRUE(v.unchanged()) << n;
  }
}

}  // namespace
}  // namespace nuv::test
