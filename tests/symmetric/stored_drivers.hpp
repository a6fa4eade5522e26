#pragma once

// The drivers for packed and for band matrices in one form, so that one test serves both. Workspaces have their least
// sizes, and nothing may be written around them.

#include <cmath>

#include "routines.hpp"
#include "symmetric/symmetric_cases.hpp"

namespace nuv::test {

/// Which eigenvalues are asked for, as the expert drivers take it.
template <RealScalar R>
struct Wanted {
  char range = 'A';
  R vl = 0, vu = 0;
  Int il = 0, iu = 0;
  R abstol = 0;
};

/// What a driver gives.
template <Scalar T>
struct Solution {
  Int info = 99, m;
  GuardedVector<Real<T>> w;
  GuardedMatrix<T> Z;
  GuardedVector<Int> ifail;

  /// Work on columns of Z without an eigenvector is seen there, which leaves guards as they are.
  Solution(Int n, Int ldz) : m(n), w(n), Z(n, n, ldz), ifail(n) {
    for (Int j = 1; j <= n; ++j) std::fill_n(&Z(1, j), n, T(1));
    Z.seal();
  }

  void expect_guards() const {
    EXPECT_TRUE(w.guards_unchanged());
    EXPECT_TRUE(Z.guards_unchanged());
    EXPECT_TRUE(ifail.guards_unchanged());
  }
};

/// Workspaces of these sizes; those for real numbers are for complex matrices alone.
template <Scalar T>
struct Workspaces {
  GuardedVector<T> work;
  GuardedVector<Real<T>> rwork;
  GuardedVector<Int> iwork;

  Workspaces(Int work_, Int rwork_, Int iwork_) : work(work_), rwork(rwork_), iwork(iwork_) {}

  void expect_guards() const {
    EXPECT_TRUE(work.guards_unchanged());
    EXPECT_TRUE(rwork.guards_unchanged());
    EXPECT_TRUE(iwork.guards_unchanged());
  }

  /// That the first elements tell how many there have to be, where these are as many.
  void expect_sizes() const {
    EXPECT_EQ(work(1), T(Real<T>(work.size())));
    if (ComplexScalar<T>) {
      EXPECT_EQ(rwork(1), Real<T>(rwork.size()));
    }
    EXPECT_EQ(iwork(1), iwork.size());
  }
};

/// A packed matrix.
template <Scalar T>
struct PackedForm {
  using R = Real<T>;
  static constexpr const char* name = ComplexScalar<T> ? "HP" : "SP";

  char uplo;
  Int n;
  GuardedVector<T> ap;

  PackedForm(char uplo_, Int /*kd*/, const GuardedMatrix<T>& A)
      : uplo(uplo_), n(A.columns()), ap(packed(is_upper(uplo_), A)) {}

  testing::AssertionResult guards_unchanged() const { return ap.guards_unchanged(); }

  Workspaces<T> for_iteration() const {
    return ComplexScalar<T> ? Workspaces<T>(std::max(1, 2 * n - 1), std::max(1, 3 * n - 2), 0)
                            : Workspaces<T>(3 * n, 0, 0);
  }
  void iterate(char jobz, Workspaces<T>& room, Solution<T>& x) {
    if constexpr (ComplexScalar<T>) {
      routine_call::hpev(jobz, uplo, n, ap.data(), x.w.data(), x.Z, room.work.data(), room.rwork.data(), x.info);
    } else {
      routine_call::spev(jobz, uplo, n, ap.data(), x.w.data(), x.Z, room.work.data(), x.info);
    }
  }

  Workspaces<T> for_division(bool with_vectors) const {
    if (n <= 1) return {1, 1, 1};
    if (!with_vectors) return ComplexScalar<T> ? Workspaces<T>(n, n, 1) : Workspaces<T>(2 * n, 0, 1);
    return ComplexScalar<T> ? Workspaces<T>(2 * n, 1 + 5 * n + 2 * n * n, 3 + 5 * n)
                            : Workspaces<T>(1 + 6 * n + n * n, 0, 3 + 5 * n);
  }
  void divide(char jobz, Workspaces<T>& room, Int lwork, Int lrwork, Int liwork, Solution<T>& x) {
    if constexpr (ComplexScalar<T>) {
      routine_call::hpevd(jobz, uplo, n, ap.data(), x.w.data(), x.Z, room.work.data(), lwork, room.rwork.data(), lrwork,
                          room.iwork.data(), liwork, x.info);
    } else {
      routine_call::spevd(jobz, uplo, n, ap.data(), x.w.data(), x.Z, room.work.data(), lwork, room.iwork.data(), liwork,
                          x.info);
    }
  }

  Workspaces<T> for_selection() const {
    return ComplexScalar<T> ? Workspaces<T>(2 * n, 7 * n, 5 * n) : Workspaces<T>(8 * n, 0, 5 * n);
  }
  void select(char jobz, const Wanted<R>& wanted, Workspaces<T>& room, Solution<T>& x) {
    const auto& [range, vl, vu, il, iu, abstol] = wanted;
    if constexpr (ComplexScalar<T>) {
      routine_call::hpevx(jobz, range, uplo, n, ap.data(), vl, vu, il, iu, abstol, x.m, x.w.data(), x.Z,
                          room.work.data(), room.rwork.data(), room.iwork.data(), x.ifail.data(), x.info);
    } else {
      routine_call::spevx(jobz, range, uplo, n, ap.data(), vl, vu, il, iu, abstol, x.m, x.w.data(), x.Z,
                          room.work.data(), room.iwork.data(), x.ifail.data(), x.info);
    }
  }
};

/// A band matrix. The expert driver gets a place for Q.
template <Scalar T>
struct BandForm {
  using R = Real<T>;
  static constexpr const char* name = ComplexScalar<T> ? "HB" : "SB";

  char uplo;
  Int n, kd;
  GuardedMatrix<T> ab, Q;

  BandForm(char uplo_, Int kd_, const GuardedMatrix<T>& A)
      : uplo(uplo_), n(A.columns()), kd(kd_), ab(band_of(uplo_, kd_, A, kd_ + 1 + kd_ % 2)), Q(n, n, std::max(1, n)) {}

  testing::AssertionResult guards_unchanged() const {
    const auto of_q = Q.guards_unchanged();
    return of_q ? only_band_changed(uplo, kd, n, ab) : of_q;
  }

  Workspaces<T> for_iteration() const {
    return ComplexScalar<T> ? Workspaces<T>(n, std::max(1, 3 * n - 2), 0) : Workspaces<T>(std::max(1, 3 * n - 2), 0, 0);
  }
  void iterate(char jobz, Workspaces<T>& room, Solution<T>& x) {
    if constexpr (ComplexScalar<T>) {
      routine_call::hbev(jobz, uplo, n, kd, ab, x.w.data(), x.Z, room.work.data(), room.rwork.data(), x.info);
    } else {
      routine_call::sbev(jobz, uplo, n, kd, ab, x.w.data(), x.Z, room.work.data(), x.info);
    }
  }

  Workspaces<T> for_division(bool with_vectors) const {
    if (n <= 1) return {1, 1, 1};
    if (!with_vectors) return ComplexScalar<T> ? Workspaces<T>(n, n, 1) : Workspaces<T>(2 * n, 0, 1);
    const Int reals = 1 + 5 * n + 2 * n * n;
    return ComplexScalar<T> ? Workspaces<T>(2 * n * n, reals, 3 + 5 * n) : Workspaces<T>(reals, 0, 3 + 5 * n);
  }
  void divide(char jobz, Workspaces<T>& room, Int lwork, Int lrwork, Int liwork, Solution<T>& x) {
    if constexpr (ComplexScalar<T>) {
      routine_call::hbevd(jobz, uplo, n, kd, ab, x.w.data(), x.Z, room.work.data(), lwork, room.rwork.data(), lrwork,
                          room.iwork.data(), liwork, x.info);
    } else {
      routine_call::sbevd(jobz, uplo, n, kd, ab, x.w.data(), x.Z, room.work.data(), lwork, room.iwork.data(), liwork,
                          x.info);
    }
  }

  Workspaces<T> for_selection() const {
    return ComplexScalar<T> ? Workspaces<T>(n, 7 * n, 5 * n) : Workspaces<T>(7 * n, 0, 5 * n);
  }
  void select(char jobz, const Wanted<R>& wanted, Workspaces<T>& room, Solution<T>& x) {
    const auto& [range, vl, vu, il, iu, abstol] = wanted;
    if constexpr (ComplexScalar<T>) {
      routine_call::hbevx(jobz, range, uplo, n, kd, ab, Q, vl, vu, il, iu, abstol, x.m, x.w.data(), x.Z,
                          room.work.data(), room.rwork.data(), room.iwork.data(), x.ifail.data(), x.info);
    } else {
      routine_call::sbevx(jobz, range, uplo, n, kd, ab, Q, vl, vu, il, iu, abstol, x.m, x.w.data(), x.Z,
                          room.work.data(), room.iwork.data(), x.ifail.data(), x.info);
    }
  }
};

/// The three drivers with workspaces of the least sizes. The matrix is a copy.
template <template <class> class Form, Scalar T>
Solution<T> by_iteration(char jobz, Form<T> A, Int ldz) {
  Solution<T> x(A.n, ldz);
  Workspaces<T> room = A.for_iteration();
  A.iterate(jobz, room, x);
  room.expect_guards();
  x.expect_guards();
  EXPECT_TRUE(A.guards_unchanged());
  return x;
}

template <template <class> class Form, Scalar T>
Solution<T> by_division(char jobz, Form<T> A, Int ldz) {
  Solution<T> x(A.n, ldz);
  Workspaces<T> room = A.for_division(same_letter(jobz, 'V'));
  A.divide(jobz, room, room.work.size(), room.rwork.size(), room.iwork.size(), x);
  room.expect_guards();
  room.expect_sizes();
  x.expect_guards();
  EXPECT_TRUE(A.guards_unchanged());
  return x;
}

template <template <class> class Form, Scalar T>
Solution<T> by_selection(char jobz, const Wanted<Real<T>>& wanted, Form<T> A, Int ldz) {
  Solution<T> x(A.n, ldz);
  Workspaces<T> room = A.for_selection();
  A.select(jobz, wanted, room, x);
  room.expect_guards();
  x.expect_guards();
  EXPECT_TRUE(A.guards_unchanged());
  return x;
}

}  // namespace nuv::test
