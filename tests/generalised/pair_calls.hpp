#pragma once

// Calls of the generalised singular value decomposition and its two steps.

#include <algorithm>
#include <cmath>

#include "frame/option_matching.hpp"
#include "generalised/pair_checks.hpp"
#include "routines.hpp"

namespace nuv::test {

/// What the three calls share. A matrix that is not wanted has an array of no columns.
template <Scalar T>
struct PairArrays {
  using R = Real<T>;

  char jobu, jobv, jobq;
  Int m, p, n, lda, ldb, ldu, ldv, ldq, k = -7, l = -7, info = 99;
  GuardedMatrix<T> A, B, U, V, Q;

  PairArrays(const char* jobs, const GuardedMatrix<T>& a, const GuardedMatrix<T>& b)
      : jobu(jobs[0]),
        jobv(jobs[1]),
        jobq(jobs[2]),
        m(a.rows()),
        p(b.rows()),
        n(a.columns()),
        lda(a.ld()),
        ldb(b.ld()),
        ldu(has(jobu) ? std::max(1, m) + 1 : 1),
        ldv(has(jobv) ? std::max(1, p) + 2 : 1),
        ldq(has(jobq) ? std::max(1, n) : 1),
        A(a),
        B(b),
        U(m, has(jobu) ? m : 0, ldu),
        V(p, has(jobv) ? p : 0, ldv),
        Q(n, has(jobq) ? n : 0, ldq) {}

  static bool has(char job) { return !same_letter(job, 'N'); }

  PairShape shape() const { return {m, p, n, k, l}; }
  Int work_size() const { return std::max({3 * n, m, p}); }

  Matrix<T> a() { return {A.data(), lda}; }
  Matrix<T> b() { return {B.data(), ldb}; }
  Matrix<T> u() { return {U.data(), ldu}; }
  Matrix<T> v() { return {V.data(), ldv}; }
  Matrix<T> q() { return {Q.data(), ldq}; }

  testing::AssertionResult matrices_unchanged() const {
    return A.unchanged() && B.unchanged() && U.unchanged() && V.unchanged() && Q.unchanged()
               ? testing::AssertionSuccess()
               : testing::AssertionFailure();
  }
  void expect_guards() const {
    EXPECT_TRUE(A.guards_unchanged());
    EXPECT_TRUE(B.guards_unchanged());
    EXPECT_TRUE(U.guards_unchanged());
    EXPECT_TRUE(V.guards_unchanged());
    EXPECT_TRUE(Q.guards_unchanged());
  }
};

template <Scalar T>
struct GgsvpCall : PairArrays<T> {
  using Arrays = PairArrays<T>;
  using Arrays::jobu, Arrays::jobv, Arrays::jobq, Arrays::m, Arrays::p, Arrays::n, Arrays::k, Arrays::l, Arrays::info;
  using typename Arrays::R;

  R tola, tolb;
  GuardedVector<Int> iwork;
  GuardedVector<R> rwork;
  GuardedVector<T> tau, work;

  GgsvpCall(const char* jobs, const GuardedMatrix<T>& A, const GuardedMatrix<T>& B, R tola_, R tolb_)
      : Arrays(jobs, A, B),
        tola(tola_),
        tolb(tolb_),
        iwork(n),
        rwork(ComplexScalar<T> ? 2 * n : 0),
        tau(n),
        work(this->work_size()) {}

  Int run() {
    if constexpr (ComplexScalar<T>) {
      routine_call::ggsvp(jobu, jobv, jobq, m, p, n, this->a(), this->b(), tola, tolb, k, l, this->u(), this->v(),
                          this->q(), iwork.data(), rwork.data(), tau.data(), work.data(), info);
    } else {
      routine_call::ggsvp(jobu, jobv, jobq, m, p, n, this->a(), this->b(), tola, tolb, k, l, this->u(), this->v(),
                          this->q(), iwork.data(), tau.data(), work.data(), info);
    }
    this->expect_guards();
    EXPECT_TRUE(iwork.guards_unchanged() && rwork.guards_unchanged());
    EXPECT_TRUE(tau.guards_unchanged() && work.guards_unchanged());
    return info;
  }

  bool unchanged() const {
    return this->matrices_unchanged() && iwork.unchanged() && rwork.unchanged() && tau.unchanged() &&
           work.unchanged() && k == -7 && l == -7;
  }
};

template <Scalar T>
struct TgsjaCall : PairArrays<T> {
  using Arrays = PairArrays<T>;
  using Arrays::jobu, Arrays::jobv, Arrays::jobq, Arrays::m, Arrays::p, Arrays::n, Arrays::k, Arrays::l, Arrays::info;
  using typename Arrays::R;

  R tola, tolb;
  Int ncycle = -7;
  GuardedVector<R> alpha, beta;
  GuardedVector<T> work;

  TgsjaCall(const char* jobs, const GuardedMatrix<T>& A, const GuardedMatrix<T>& B, Int k_, Int l_, R tola_, R tolb_)
      : Arrays(jobs, A, B), tola(tola_), tolb(tolb_), alpha(n), beta(n), work(2 * n) {
    k = k_;
    l = l_;
  }

  Int run() {
    routine_call::tgsja(jobu, jobv, jobq, m, p, n, k, l, this->a(), this->b(), tola, tolb, alpha.data(), beta.data(),
                        this->u(), this->v(), this->q(), work.data(), ncycle, info);
    this->expect_guards();
    EXPECT_TRUE(alpha.guards_unchanged() && beta.guards_unchanged() && work.guards_unchanged());
    return info;
  }

  bool unchanged() const {
    return this->matrices_unchanged() && alpha.unchanged() && beta.unchanged() && work.unchanged() && ncycle == -7;
  }
};

template <Scalar T>
struct GgsvdCall : PairArrays<T> {
  using Arrays = PairArrays<T>;
  using Arrays::jobu, Arrays::jobv, Arrays::jobq, Arrays::m, Arrays::p, Arrays::n, Arrays::k, Arrays::l, Arrays::info;
  using typename Arrays::R;

  GuardedVector<R> alpha, beta, rwork;
  GuardedVector<T> work;
  GuardedVector<Int> iwork;

  GgsvdCall(const char* jobs, const GuardedMatrix<T>& A, const GuardedMatrix<T>& B)
      : Arrays(jobs, A, B),
        alpha(n),
        beta(n),
        rwork(ComplexScalar<T> ? 2 * n : 0),
        work(this->work_size() + n),
        iwork(n) {}

  Int run() {
    if constexpr (ComplexScalar<T>) {
      routine_call::ggsvd(jobu, jobv, jobq, m, n, p, k, l, this->a(), this->b(), alpha.data(), beta.data(), this->u(),
                          this->v(), this->q(), work.data(), rwork.data(), iwork.data(), info);
    } else {
      routine_call::ggsvd(jobu, jobv, jobq, m, n, p, k, l, this->a(), this->b(), alpha.data(), beta.data(), this->u(),
                          this->v(), this->q(), work.data(), iwork.data(), info);
    }
    this->expect_guards();
    EXPECT_TRUE(alpha.guards_unchanged() && beta.guards_unchanged() && rwork.guards_unchanged());
    EXPECT_TRUE(work.guards_unchanged() && iwork.guards_unchanged());
    return info;
  }

  /// Alpha in the order that the routine leaves in its workspace.
  R sorted(Int i) const {
    if constexpr (ComplexScalar<T>) {
      return rwork(i);
    } else {
      return work(i);
    }
  }

  bool unchanged() const {
    return this->matrices_unchanged() && alpha.unchanged() && beta.unchanged() && rwork.unchanged() &&
           work.unchanged() && iwork.unchanged() && k == -7 && l == -7;
  }
};

template <Scalar T>
struct Ggsvd3Call : GgsvdCall<T> {
  using Arrays = PairArrays<T>;
  using Arrays::jobu, Arrays::jobv, Arrays::jobq, Arrays::m, Arrays::p, Arrays::n, Arrays::k, Arrays::l, Arrays::info;
  using GgsvdCall<T>::alpha, GgsvdCall<T>::beta, GgsvdCall<T>::rwork, GgsvdCall<T>::iwork;

  GuardedVector<T> room;
  Int lwork;

  Ggsvd3Call(const char* jobs, const GuardedMatrix<T>& A, const GuardedMatrix<T>& B)
      : GgsvdCall<T>(jobs, A, B), room(std::max(1, this->work_size()) + n), lwork(room.size()) {}

  Int run() {
    if constexpr (ComplexScalar<T>) {
      routine_call::ggsvd3(jobu, jobv, jobq, m, n, p, k, l, this->a(), this->b(), alpha.data(), beta.data(), this->u(),
                           this->v(), this->q(), room.data(), lwork, rwork.data(), iwork.data(), info);
    } else {
      routine_call::ggsvd3(jobu, jobv, jobq, m, n, p, k, l, this->a(), this->b(), alpha.data(), beta.data(), this->u(),
                           this->v(), this->q(), room.data(), lwork, iwork.data(), info);
    }
    this->expect_guards();
    EXPECT_TRUE(alpha.guards_unchanged() && beta.guards_unchanged() && rwork.guards_unchanged());
    EXPECT_TRUE(room.guards_unchanged() && iwork.guards_unchanged());
    return info;
  }

  bool unchanged() const { return GgsvdCall<T>::unchanged() && room.unchanged(); }
};

/// Ways to want U, V and Q, or not.
inline constexpr const char* wanted_vectors[] = {"NNN", "nnn", "Unn", "nVN", "NnQ", "uvN", "uNq", "Nvq", "uvq"};

/// The tolerance that the driver takes for a matrix.
template <Scalar T>
Real<T> usual_tolerance(const GuardedMatrix<T>& A) {
  const auto norm = Real<T>(one_norm<T>(wide(A)));
  return Real<T>(std::max(A.rows(), A.columns())) * std::max(norm, std::numeric_limits<Real<T>>::min()) * epsilon<T>;
}

/// A has zeros, of either sign, but in an upper triangle of k + l rows, B but in one of l rows, both in the last
/// columns.
template <Scalar T>
void expect_triangular(const PairArrays<T>& call) {
  const auto expect_zeros = [](const GuardedMatrix<T>& X, Int i, Int first_column) {
    for (Int j = 1; j < first_column; ++j) EXPECT_EQ(X(i, j), T(0)) << i << ", " << j;
  };
  const auto [m, p, n, k, l] = call.shape();
  for (Int i = 1; i <= m; ++i) expect_zeros(call.A, i, i <= k + l ? n - l - k + i : n + 1);
  for (Int i = 1; i <= p; ++i) expect_zeros(call.B, i, i <= l ? n - l + i : n + 1);
}

/// U, V and Q are unitary and bring A and B to these forms.
template <Scalar T>
void expect_forms(const PairArrays<T>& call, const GuardedMatrix<T>& A, const GuardedMatrix<T>& B,
                  const WideMatrix<T>& form_of_a, const WideMatrix<T>& form_of_b) {
  EXPECT_LT(unitarity<T>(wide(call.U)), pair_threshold) << "U";
  EXPECT_LT(unitarity<T>(wide(call.V)), pair_threshold) << "V";
  EXPECT_LT(unitarity<T>(wide(call.Q)), pair_threshold) << "Q";
  EXPECT_LT(form_residual<T>(wide(A), wide(call.U), wide(call.Q), form_of_a), pair_threshold) << "A";
  EXPECT_LT(form_residual<T>(wide(B), wide(call.V), wide(call.Q), form_of_b), pair_threshold) << "B";
}

/// A call of tgsja or ggsvd with U, V and Q has decomposed these matrices.
template <class Call, Scalar T>
void expect_decomposed(const Call& call, const GuardedMatrix<T>& A, const GuardedMatrix<T>& B) {
  using R = Real<T>;
  ASSERT_EQ(call.info, 0);
  const auto [m, p, n, k, l] = call.shape();
  ASSERT_TRUE(k >= 0 && l >= 0 && k <= m && l <= p && k + l <= n) << call.shape().text();
  for (Int i = 1; i <= n; ++i) {
    const R alpha = call.alpha(i), beta = call.beta(i);
    if (i <= k) {
      EXPECT_TRUE(alpha == 1 && beta == 0) << i;
    } else if (i > k + l) {
      EXPECT_TRUE(alpha == 0 && beta == 0) << i;
    } else if (i > m) {
      EXPECT_TRUE(alpha == 0 && beta == 1) << i;
    } else {
      EXPECT_TRUE(alpha >= 0 && beta >= 0) << i;
      EXPECT_LE(std::abs(alpha * alpha + beta * beta - 1), 4 * epsilon<T>) << i;
    }
  }
  const PairForms<T> forms(call.shape(), call.A, call.B, call.alpha, call.beta);
  expect_forms<T>(call, A, B, forms.of_a, forms.of_b);
}

/// Of U, V and Q those that some call wanted are what another one, which wanted all, found.
template <Scalar T>
void expect_same_vectors(const PairArrays<T>& some, const PairArrays<T>& all) {
  if (some.has(some.jobu)) {
    EXPECT_TRUE(some.U.same_as(all.U));
  }
  if (some.has(some.jobv)) {
    EXPECT_TRUE(some.V.same_as(all.V));
  }
  if (some.has(some.jobq)) {
    EXPECT_TRUE(some.Q.same_as(all.Q));
  }
}

/// A random matrix of five columns.
template <Scalar T>
GuardedMatrix<T> matrix_of_five_columns(Int m, Int ld) {
  Random random(static_cast<std::uint64_t>(m));
  return random_matrix<T>(random, m, 5, ld);
}

/// Expects that leading dimensions of U, V and Q, the arguments at these positions, are at least one where nothing is
/// wanted, and large enough where a small letter wants the matrix.
template <class Call>
void expect_room_for_vectors(const std::string& name, int ldu, int ldv, int ldq) {
  const auto expect_of = [&](int position, auto spoil) {
    Call call;
    call.jobu = call.jobv = call.jobq = 'n';
    call.ldu = call.ldv = call.ldq = 1;
    spoil(call);
    expect_report(call, name, position);
  };
  expect_of(0, [](Call&) {});
  expect_of(ldu, [](Call& c) { c.ldu = 0; });
  expect_of(ldv, [](Call& c) { c.ldv = 0; });
  expect_of(ldq, [](Call& c) { c.ldq = 0; });
  expect_of(ldu, [](Call& c) { c.jobu = 'u'; });
  expect_of(ldv, [](Call& c) { c.jobv = 'v'; });
  expect_of(ldq, [](Call& c) { c.jobq = 'q'; });
}

}  // namespace nuv::test
