#pragma once

// Calls of the routines that find the Schur form of a Hessenberg matrix.

#include <algorithm>
#include <complex>
#include <vector>

#include "nonsymmetric/schur_checks.hpp"
#include "routines.hpp"

namespace nuv::test {

/// Eigenvalues as a routine returns them.
template <Scalar T>
struct EigenvalueArrays {
  GuardedVector<Real<T>> wr, wi;
  GuardedVector<T> w;

  explicit EigenvalueArrays(Int n) : wr(RealScalar<T> ? n : 0), wi(RealScalar<T> ? n : 0), w(RealScalar<T> ? 0 : n) {}

  std::complex<double> operator()(Int i) const {
    if constexpr (RealScalar<T>) {
      return {wr(i), wi(i)};
    } else {
      return std::complex<double>(w(i));
    }
  }

  /// Values from ... to.
  std::vector<std::complex<double>> list(Int from, Int to) const {
    std::vector<std::complex<double>> values;
    for (Int i = from; i <= to; ++i) values.push_back((*this)(i));
    return values;
  }

  /// Makes a call with the arrays that the member takes.
  template <class Call>
  void give_to(Call call) {
    if constexpr (RealScalar<T>) {
      call(wr.data(), wi.data());
    } else {
      call(w.data());
    }
  }

  testing::AssertionResult unchanged_outside(Int from, Int to) const {
    for (const testing::AssertionResult& result :
         {wr.unchanged_outside(from, to), wi.unchanged_outside(from, to), w.unchanged_outside(from, to)}) {
      if (!result) return result;
    }
    return testing::AssertionSuccess();
  }
  bool same_as(const EigenvalueArrays& other) const {
    return wr.same_as(other.wr) && wi.same_as(other.wi) && w.same_as(other.w);
  }
};

/// Arguments that are valid for a matrix of any order, and the best workspace.
template <Scalar T>
struct HessenbergCall {
  char job = 'S', compz = 'I';
  Int n, ilo, ihi, iloz, ihiz, ldh, ldz, lwork = 0, info = 99;
  GuardedMatrix<T> H, Z;
  EigenvalueArrays<T> w;
  GuardedVector<T> work{0};

  explicit HessenbergCall(const GuardedMatrix<T>& matrix, Int ilo_, Int ihi_)
      : n(matrix.rows()),
        ilo(ilo_),
        ihi(ihi_),
        iloz(ilo_),
        ihiz(ihi_),
        ldh(matrix.ld()),
        ldz(std::max(1, n) + 2),
        H(matrix),
        Z(identity_matrix<T>(n, ldz)),
        w(n) {}
  explicit HessenbergCall(const GuardedMatrix<T>& matrix) : HessenbergCall(matrix, 1, matrix.rows()) {}

  void make_room(Int size) {
    lwork = size;
    work = GuardedVector<T>(std::max(1, size));
  }

  HessenbergCall& hseqr() {
    if (lwork == 0) make_room(std::max(1, 40 * n));
    w.give_to([&](auto*... values) {
      routine_call::hseqr(job, compz, n, ilo, ihi, Matrix<T>(H.data(), ldh), values..., Matrix<T>(Z.data(), ldz),
                          work.data(), lwork, info);
    });
    return *this;
  }

  /// One of the routines below, by which = [](auto... arguments) { routine_call::laqr0(arguments...); } and its kin.
  template <class Routine>
  HessenbergCall& multishift(Routine routine) {
    if (lwork == 0) make_room(std::max(1, 40 * n));
    w.give_to([&](auto*... values) {
      routine(wantt(), wantz(), n, ilo, ihi, Matrix<T>(H.data(), ldh), values..., iloz, ihiz, Matrix<T>(Z.data(), ldz),
              work.data(), lwork, info);
    });
    clear_scratch();
    return *this;
  }
  HessenbergCall& laqr0() {
    return multishift([](auto&&... arguments) { routine_call::laqr0(arguments...); });
  }
  HessenbergCall& laqr4() {
    return multishift([](auto&&... arguments) { routine_call::laqr4(arguments...); });
  }
  HessenbergCall& lahqr() {
    w.give_to([&](auto*... values) {
      routine_call::lahqr(wantt(), wantz(), n, ilo, ihi, Matrix<T>(H.data(), ldh), values..., iloz, ihiz,
                          Matrix<T>(Z.data(), ldz), info);
    });
    return *this;
  }

  Logical wantt() const { return to_logical(job == 'S'); }
  Logical wantz() const { return to_logical(compz != 'N'); }

  testing::AssertionResult guards_unchanged() const {
    for (const testing::AssertionResult& result :
         {H.guards_unchanged(), Z.guards_unchanged(), work.guards_unchanged(), w.unchanged_outside(1, n)}) {
      if (!result) return result;
    }
    return testing::AssertionSuccess();
  }

  /// What stands below the first subdiagonal is of no meaning behind laqr0.
  void clear_scratch() {
    for (Int j = 1; j <= n; ++j) {
      for (Int i = j + 2; i <= n; ++i) H(i, j) = T(0);
    }
  }
};

/// ||Z^H Z - I|| / (n eps)
template <Scalar T>
double departure_from_unitary(const WideMatrix<T>& Z) {
  if (Z.size() == 0) return 0;
  const WideMatrix<T> product_of_columns = product<T>(op<T>('C', Z), Z);
  return one_norm<T>(product_of_columns - WideMatrix<T>::Identity(Z.rows(), Z.cols())) /
         (double(Z.rows()) * epsilon<T>);
}

/// ||A Z - Z S|| / (||A|| n eps), how far Z is from unitary, shape of S, and that the eigenvalues are those on its
/// diagonal.
template <Scalar T>
void expect_schur_form(const GuardedMatrix<T>& A, const WideMatrix<T>& Z, const HessenbergCall<T>& call) {
  ASSERT_EQ(call.info, 0);
  EXPECT_TRUE(call.guards_unchanged());
  EXPECT_TRUE(is_schur_form(call.H));
  EXPECT_LT(schur_residual<T>(wide(A), Z, wide(call.H)), schur_threshold);
  EXPECT_LT(departure_from_unitary<T>(Z), schur_threshold);
  const auto found = call.w.list(1, call.n), expected = eigenvalues_of(call.H);
  for (std::size_t i = 0; i < found.size(); ++i) {
    EXPECT_LE(std::abs(found[i] - expected[i]), 4 * epsilon<T> * std::abs(expected[i])) << i + 1;
  }
}
template <Scalar T>
void expect_schur_form(const GuardedMatrix<T>& A, const HessenbergCall<T>& call) {
  expect_schur_form<T>(A, wide(call.Z), call);
}

}  // namespace nuv::test
