#pragma once

// Hessenberg matrices with known eigenvalues, calls of inverse iteration for them, and how good its vectors are.

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "environment/machine_constants.hpp"
#include "nonsymmetric/schur_checks.hpp"
#include "routines.hpp"

namespace nuv::test {

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

}  // namespace nuv::test
