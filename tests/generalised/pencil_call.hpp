#pragma once

// Calls of the routines that reduce a pencil and find its Schur form.

#include <algorithm>
#include <vector>

#include "frame/option_matching.hpp"
#include "generalised/pencil_checks.hpp"
#include "routines.hpp"

namespace nuv::test {

/// Arguments that are valid for a pencil of any order. Q and Z begin as identities.
template <Scalar T>
struct PencilCall {
  char job = 'S', compq = 'I', compz = 'I';
  Int n, ilo = 1, ihi, lda, ldb, ldq, ldz, lwork, info = 99;
  GuardedMatrix<T> A, B, Q, Z;
  GuardedVector<T> alphar, alphai, beta, work;
  GuardedVector<Real<T>> rwork;

  explicit PencilCall(const Pencil<T>& pencil)
      : n(pencil.A.rows()),
        ihi(n),
        lda(pencil.A.ld()),
        ldb(pencil.B.ld()),
        ldq(std::max(1, n) + 2),
        ldz(std::max(1, n) + 3),
        lwork(std::max(1, n)),
        A(pencil.A),
        B(pencil.B),
        Q(identity_matrix<T>(n, ldq)),
        Z(identity_matrix<T>(n, ldz)),
        alphar(n),
        alphai(n),
        beta(n),
        work(lwork),
        rwork(n) {}

  PencilCall& hgeqz() {
    const Matrix<T> H(A.data(), lda), P(B.data(), ldb), q(Q.data(), ldq), z(Z.data(), ldz);
    if constexpr (RealScalar<T>) {
      routine_call::hgeqz(job, compq, compz, n, ilo, ihi, H, P, alphar.data(), alphai.data(), beta.data(), q, z,
                          work.data(), lwork, info);
    } else {
      routine_call::hgeqz(job, compq, compz, n, ilo, ihi, H, P, alphar.data(), beta.data(), q, z, work.data(), lwork,
                          rwork.data(), info);
    }
    return *this;
  }

  PencilCall& gghrd() {
    routine_call::gghrd(compq, compz, n, ilo, ihi, Matrix<T>(A.data(), lda), Matrix<T>(B.data(), ldb),
                        Matrix<T>(Q.data(), ldq), Matrix<T>(Z.data(), ldz), info);
    return *this;
  }

  std::vector<PencilValue> values() const { return pencil_values(alphar, alphai, beta); }

  testing::AssertionResult guards_unchanged() const {
    for (const testing::AssertionResult& result :
         {A.guards_unchanged(), B.guards_unchanged(), Q.guards_unchanged(), Z.guards_unchanged(),
          alphar.guards_unchanged(), alphai.guards_unchanged(), beta.guards_unchanged(), work.guards_unchanged(),
          rwork.guards_unchanged()}) {
      if (!result) return result;
    }
    return testing::AssertionSuccess();
  }

  /// Of the arrays of gghrd, and of all of them but for the answer in the workspace.
  bool pencil_unchanged() const { return A.unchanged() && B.unchanged() && Q.unchanged() && Z.unchanged(); }
  bool unchanged() const {
    return pencil_unchanged() && alphar.unchanged() && alphai.unchanged() && beta.unchanged() &&
           work.unchanged_outside(1, 1) && rwork.unchanged();
  }
};

/// That A = Q H Z^H and B = Q P Z^H with unitary Q and Z, for the matrices that a call left.
template <Scalar T>
void expect_equivalent(const Pencil<T>& pencil, const PencilCall<T>& call) {
  EXPECT_LT(pencil_residual(pencil.A, call.Q, call.A, call.Z), pencil_threshold);
  EXPECT_LT(pencil_residual(pencil.B, call.Q, call.B, call.Z), pencil_threshold);
  EXPECT_LT(unitary_residual(call.Q), pencil_threshold);
  EXPECT_LT(unitary_residual(call.Z), pencil_threshold);
}

/// Of a pair in rows j and j + 1: beta is the length of P x for the eigenvector x of length one, and the product of
/// both is the determinant of the block of P, as in a complex Schur form.
template <RealScalar R>
void expect_betas_of_pair(const PencilCall<R>& call, Int j) {
  using W = WideReal<R>;
  using C = std::complex<W>;
  const W p11 = call.B(j, j), p22 = call.B(j + 1, j + 1), beta = call.beta(j);
  const C w = C(W(call.alphar(j)), W(call.alphai(j))) / beta;
  const C c11 = W(call.A(j, j)) - w * p11, c12 = W(call.A(j, j + 1));
  const C x1 = c12, x2 = -c11;
  const W length = std::sqrt(std::norm(x1) + std::norm(x2));
  const W expected = std::sqrt(std::norm(p11 * x1) + std::norm(p22 * x2)) / length;
  const double tolerance = 10 * std::sqrt(double(epsilon<R>));
  EXPECT_NEAR(double(beta / expected), 1, tolerance) << j;
  EXPECT_NEAR(double(beta * W(call.beta(j + 1)) / (p11 * p22)), 1, tolerance) << j;
}

/// The same, that both are in Schur form, and that the eigenvalues are those of the form.
template <Scalar T>
void expect_schur_form(const Pencil<T>& pencil, const PencilCall<T>& call) {
  ASSERT_EQ(call.info, 0);
  EXPECT_TRUE(call.guards_unchanged());
  EXPECT_EQ(call.work(1), T(Real<T>(std::max(1, call.n))));
  EXPECT_TRUE(is_pencil_schur_form(call.A, call.B));
  expect_equivalent(pencil, call);
  EXPECT_TRUE(are_proper(call.values(), RealScalar<T>));
  const auto found = call.values(), expected = values_of_form(call.A, call.B);
  ASSERT_EQ(found.size(), expected.size());
  for (std::size_t k = 0; k < found.size(); ++k) {
    // Of a pair, the roots of an equation that is known up to rounding.
    const bool is_pair = RealScalar<T> && found[k].alpha.imag() != 0;
    const double tolerance = is_pair ? 10 * std::sqrt(double(epsilon<T>)) : 0;
    EXPECT_LE(chordal_distance(found[k], expected[k]), tolerance) << k + 1;
    if constexpr (RealScalar<T>) {
      if (found[k].alpha.imag() > 0) expect_betas_of_pair(call, Int(k + 1));
    }
  }
}

/// A pencil made Hessenberg-triangular: QR of B first.
template <Scalar T>
Pencil<T> reduced(const Pencil<T>& pencil) {
  Pencil<T> triangular = pencil;
  const Int n = pencil.A.rows();
  std::vector<T> tau(std::size_t(std::max(1, n))), work(std::size_t(std::max(1, 64 * n)));
  Int info = 0;
  routine_call::geqr2(n, n, Matrix<T>(triangular.B), tau.data(), work.data(), info);
  routine_call::orm2r('L', ComplexScalar<T> ? 'C' : 'T', n, n, n, Matrix<T>(triangular.B), tau.data(),
                      Matrix<T>(triangular.A), work.data(), info);
  PencilCall<T> call(triangular);
  call.compq = call.compz = 'N';
  call.gghrd();
  Pencil<T> form{call.A, call.B};
  form.A.seal();
  form.B.seal();
  return form;
}

/// Expects of a routine that it multiplies Q and Z where they are wanted, with the options in both cases. What is not
/// wanted is not touched, and changes nothing else.
template <Scalar T>
void expect_wanted_matrices(Random& random, const Pencil<T>& pencil, PencilCall<T>& (PencilCall<T>::*routine)()) {
  const Int n = pencil.A.rows();
  PencilCall<T> initialised(pencil);
  (initialised.*routine)();
  const GuardedMatrix<T> Q0 = random_unitary<T>(random, n, n + 2), Z0 = random_unitary<T>(random, n, n + 3);
  const auto expect_matrix = [](char comp, const GuardedMatrix<T>& X, const GuardedMatrix<T>& start,
                                const GuardedMatrix<T>& made) {
    if (same_letter(comp, 'N')) {
      EXPECT_TRUE(X.same_as(start));
    } else if (same_letter(comp, 'I')) {
      EXPECT_TRUE(X.same_as(made));
    } else {
      EXPECT_TRUE(X.guards_unchanged());
      EXPECT_LT(product_residual<T>(wide(X), wide(start), wide(made)), pencil_threshold);
    }
  };
  for (const char compq : {'N', 'i', 'V', 'n', 'I', 'v'}) {
    for (const char compz : {'n', 'I', 'v'}) {
      SCOPED_TRACE(testing::Message() << n << ' ' << compq << compz);
      PencilCall<T> call(pencil);
      call.job = 's';
      call.compq = compq;
      call.compz = compz;
      call.Q = Q0;
      call.Z = Z0;
      (call.*routine)();
      EXPECT_EQ(call.info, 0);
      EXPECT_TRUE(call.A.same_as(initialised.A) && call.B.same_as(initialised.B));
      expect_matrix(compq, call.Q, Q0, initialised.Q);
      expect_matrix(compz, call.Z, Z0, initialised.Z);
    }
  }
}

}  // namespace nuv::test
