#pragma once

// The drivers for pairs of matrices in full, packed and band storage in one form, so that one test serves all.
// Workspaces have their least sizes, and nothing may be written around them.

#include <limits>

#include "symmetric/generalised_cases.hpp"
#include "symmetric/stored_drivers.hpp"

namespace nuv::test {

/// A problem as a test describes it: a triangle of each matrix, and the diagonals beside the main one that a band has.
template <Scalar T>
struct PairOfMatrices {
  Int itype;
  char uplo;
  Int ka, kb;
  GuardedMatrix<T> A, B;

  Int order() const { return A.columns(); }
};

/// Workspaces that are asked for in the calls.
template <Scalar T>
struct Lengths {
  Int work, rwork, iwork;

  explicit Lengths(const Workspaces<T>& room)
      : work(room.work.size()), rwork(room.rwork.size()), iwork(room.iwork.size()) {}
};

/// A leading dimension that is that of the array.
constexpr Int as_made = std::numeric_limits<Int>::min();

/// The place for eigenvectors, whose columns are ldz elements apart.
template <Scalar T>
Matrix<T> place_for(Solution<T>& x, Int ldz) {
  return {x.Z.data(), ldz == as_made ? x.Z.ld() : ldz};
}

/// Full storage. Where eigenvectors take the place of A, they are copied to where the other drivers leave them.
template <Scalar T>
struct FullPairForm {
  using R = Real<T>;
  static constexpr const char* name = ComplexScalar<T> ? "HEGV" : "SYGV";
  static constexpr bool has_types = true, takes_length = true, asks_for_more = true;

  Int itype;
  char uplo;
  Int n;
  GuardedMatrix<T> A, B;
  Int lda, ldb, ldz = as_made;

  explicit FullPairForm(const PairOfMatrices<T>& pair)
      : itype(pair.itype), uplo(pair.uplo), n(pair.order()), A(pair.A), B(pair.B), lda(A.ld()), ldb(B.ld()) {}

  testing::AssertionResult guards_unchanged() const {
    const auto of_b = B.unchanged_except([&](Int i, Int j) { return is_in_triangle(uplo, i, j); });
    return of_b ? A.guards_unchanged() : of_b;
  }
  testing::AssertionResult a_unchanged() const { return A.unchanged(); }

  Workspaces<T> for_iteration() const {
    return ComplexScalar<T> ? Workspaces<T>(std::max(1, 2 * n - 1), std::max(1, 3 * n - 2), 0)
                            : Workspaces<T>(std::max(1, 3 * n - 1), 0, 0);
  }
  void iterate(char jobz, Workspaces<T>& room, Int lwork, Solution<T>& x) {
    if constexpr (ComplexScalar<T>) {
      routine_call::hegv(itype, jobz, uplo, n, a(), b(), x.w.data(), room.work.data(), lwork, room.rwork.data(),
                         x.info);
    } else {
      routine_call::sygv(itype, jobz, uplo, n, a(), b(), x.w.data(), room.work.data(), lwork, x.info);
    }
    take_vectors(jobz, x);
  }

  Workspaces<T> for_division(bool with_vectors) const {
    if (n <= 1) return {1, 1, 1};
    if constexpr (ComplexScalar<T>) {
      return with_vectors ? Workspaces<T>(n * n + 2 * n, 2 * n * n + 5 * n + 1, 5 * n + 3) : Workspaces<T>(n + 1, n, 1);
    } else {
      return with_vectors ? Workspaces<T>(2 * n * n + 6 * n + 1, 0, 5 * n + 3) : Workspaces<T>(2 * n + 1, 0, 1);
    }
  }
  void divide(char jobz, Workspaces<T>& room, const Lengths<T>& lengths, Solution<T>& x) {
    if constexpr (ComplexScalar<T>) {
      routine_call::hegvd(itype, jobz, uplo, n, a(), b(), x.w.data(), room.work.data(), lengths.work, room.rwork.data(),
                          lengths.rwork, room.iwork.data(), lengths.iwork, x.info);
    } else {
      routine_call::sygvd(itype, jobz, uplo, n, a(), b(), x.w.data(), room.work.data(), lengths.work, room.iwork.data(),
                          lengths.iwork, x.info);
    }
    take_vectors(jobz, x);
  }

  Workspaces<T> for_selection() const {
    return ComplexScalar<T> ? Workspaces<T>(std::max(1, 2 * n), 7 * n, 5 * n)
                            : Workspaces<T>(std::max(1, 8 * n), 0, 5 * n);
  }
  void select(char jobz, const Wanted<R>& wanted, Workspaces<T>& room, Int lwork, Solution<T>& x) {
    const auto& [range, vl, vu, il, iu, abstol] = wanted;
    if constexpr (ComplexScalar<T>) {
      routine_call::hegvx(itype, jobz, range, uplo, n, a(), b(), vl, vu, il, iu, abstol, x.m, x.w.data(), z(x),
                          room.work.data(), lwork, room.rwork.data(), room.iwork.data(), x.ifail.data(), x.info);
    } else {
      routine_call::sygvx(itype, jobz, range, uplo, n, a(), b(), vl, vu, il, iu, abstol, x.m, x.w.data(), z(x),
                          room.work.data(), lwork, room.iwork.data(), x.ifail.data(), x.info);
    }
  }

 private:
  Matrix<T> a() { return {A.data(), lda}; }
  Matrix<T> b() { return {B.data(), ldb}; }
  Matrix<T> z(Solution<T>& x) const { return place_for(x, ldz); }

  void take_vectors(char jobz, Solution<T>& x) const {
    if (!same_letter(jobz, 'V') || x.info < 0 || x.info > n) return;
    for (Int j = 1; j <= n; ++j) std::copy_n(&A(1, j), n, &x.Z(1, j));
  }
};

template <Scalar T>
struct PackedPairForm {
  using R = Real<T>;
  static constexpr const char* name = ComplexScalar<T> ? "HPGV" : "SPGV";
  static constexpr bool has_types = true, takes_length = false, asks_for_more = false;

  Int itype;
  char uplo;
  Int n;
  GuardedVector<T> ap, bp;
  Int ldz = as_made;

  explicit PackedPairForm(const PairOfMatrices<T>& pair)
      : itype(pair.itype),
        uplo(pair.uplo),
        n(pair.order()),
        ap(packed(is_upper(uplo), pair.A)),
        bp(packed(is_upper(uplo), pair.B)) {}

  testing::AssertionResult guards_unchanged() const {
    return bp.guards_unchanged() ? ap.guards_unchanged() : bp.guards_unchanged();
  }
  testing::AssertionResult a_unchanged() const { return ap.unchanged(); }

  Workspaces<T> for_iteration() const {
    return ComplexScalar<T> ? Workspaces<T>(std::max(1, 2 * n - 1), std::max(1, 3 * n - 2), 0)
                            : Workspaces<T>(3 * n, 0, 0);
  }
  void iterate(char jobz, Workspaces<T>& room, Int /*lwork*/, Solution<T>& x) {
    if constexpr (ComplexScalar<T>) {
      routine_call::hpgv(itype, jobz, uplo, n, ap.data(), bp.data(), x.w.data(), z(x), room.work.data(),
                         room.rwork.data(), x.info);
    } else {
      routine_call::spgv(itype, jobz, uplo, n, ap.data(), bp.data(), x.w.data(), z(x), room.work.data(), x.info);
    }
  }

  Workspaces<T> for_division(bool with_vectors) const {
    if (n <= 1) return {1, 1, 1};
    if (!with_vectors) return ComplexScalar<T> ? Workspaces<T>(n, n, 1) : Workspaces<T>(2 * n, 0, 1);
    Int levels = 0;
    while ((1 << levels) < n) ++levels;
    return ComplexScalar<T> ? Workspaces<T>(2 * n, 1 + 5 * n + 2 * n * n, 3 + 5 * n)
                            : Workspaces<T>(1 + 5 * n + 2 * n * levels + 2 * n * n, 0, 3 + 5 * n);
  }
  void divide(char jobz, Workspaces<T>& room, const Lengths<T>& lengths, Solution<T>& x) {
    if constexpr (ComplexScalar<T>) {
      routine_call::hpgvd(itype, jobz, uplo, n, ap.data(), bp.data(), x.w.data(), z(x), room.work.data(), lengths.work,
                          room.rwork.data(), lengths.rwork, room.iwork.data(), lengths.iwork, x.info);
    } else {
      routine_call::spgvd(itype, jobz, uplo, n, ap.data(), bp.data(), x.w.data(), z(x), room.work.data(), lengths.work,
                          room.iwork.data(), lengths.iwork, x.info);
    }
  }

  Workspaces<T> for_selection() const {
    return ComplexScalar<T> ? Workspaces<T>(2 * n, 7 * n, 5 * n) : Workspaces<T>(8 * n, 0, 5 * n);
  }
  void select(char jobz, const Wanted<R>& wanted, Workspaces<T>& room, Int /*lwork*/, Solution<T>& x) {
    const auto& [range, vl, vu, il, iu, abstol] = wanted;
    if constexpr (ComplexScalar<T>) {
      routine_call::hpgvx(itype, jobz, range, uplo, n, ap.data(), bp.data(), vl, vu, il, iu, abstol, x.m, x.w.data(),
                          z(x), room.work.data(), room.rwork.data(), room.iwork.data(), x.ifail.data(), x.info);
    } else {
      routine_call::spgvx(itype, jobz, range, uplo, n, ap.data(), bp.data(), vl, vu, il, iu, abstol, x.m, x.w.data(),
                          z(x), room.work.data(), room.iwork.data(), x.ifail.data(), x.info);
    }
  }

 private:
  Matrix<T> z(Solution<T>& x) const { return place_for(x, ldz); }
};

/// Band matrices, for the first type alone. The expert driver gets a place for Q.
template <Scalar T>
struct BandPairForm {
  using R = Real<T>;
  static constexpr const char* name = ComplexScalar<T> ? "HBGV" : "SBGV";
  static constexpr bool has_types = false, takes_length = false, asks_for_more = false;

  char uplo;
  Int n, ka, kb;
  GuardedMatrix<T> ab, bb, Q;
  Int ldab, ldbb, ldq, ldz = as_made;

  explicit BandPairForm(const PairOfMatrices<T>& pair)
      : uplo(pair.uplo),
        n(pair.order()),
        ka(pair.ka),
        kb(pair.kb),
        ab(band_of(uplo, ka, pair.A, ka + 1 + ka % 2)),
        bb(band_of(uplo, kb, pair.B, kb + 1 + ka % 2)),
        Q(n, n, std::max(1, n)),
        ldab(ab.ld()),
        ldbb(bb.ld()),
        ldq(Q.ld()) {}

  testing::AssertionResult guards_unchanged() const {
    if (!Q.guards_unchanged()) return Q.guards_unchanged();
    const auto of_b = only_band_changed(uplo, kb, n, bb);
    return of_b ? only_band_changed(uplo, ka, n, ab) : of_b;
  }
  testing::AssertionResult a_unchanged() const { return ab.unchanged(); }

  Workspaces<T> for_iteration() const {
    return ComplexScalar<T> ? Workspaces<T>(n, 3 * n, 0) : Workspaces<T>(3 * n, 0, 0);
  }
  void iterate(char jobz, Workspaces<T>& room, Int /*lwork*/, Solution<T>& x) {
    if constexpr (ComplexScalar<T>) {
      routine_call::hbgv(jobz, uplo, n, ka, kb, a(), b(), x.w.data(), z(x), room.work.data(), room.rwork.data(),
                         x.info);
    } else {
      routine_call::sbgv(jobz, uplo, n, ka, kb, a(), b(), x.w.data(), z(x), room.work.data(), x.info);
    }
  }

  Workspaces<T> for_division(bool with_vectors) const {
    if (n <= 1) return {1, 1, 1};
    if (!with_vectors) return ComplexScalar<T> ? Workspaces<T>(n, n, 1) : Workspaces<T>(2 * n, 0, 1);
    const Int reals = 1 + 5 * n + 2 * n * n;
    return ComplexScalar<T> ? Workspaces<T>(2 * n * n, reals, 3 + 5 * n) : Workspaces<T>(reals, 0, 3 + 5 * n);
  }
  void divide(char jobz, Workspaces<T>& room, const Lengths<T>& lengths, Solution<T>& x) {
    if constexpr (ComplexScalar<T>) {
      routine_call::hbgvd(jobz, uplo, n, ka, kb, a(), b(), x.w.data(), z(x), room.work.data(), lengths.work,
                          room.rwork.data(), lengths.rwork, room.iwork.data(), lengths.iwork, x.info);
    } else {
      routine_call::sbgvd(jobz, uplo, n, ka, kb, a(), b(), x.w.data(), z(x), room.work.data(), lengths.work,
                          room.iwork.data(), lengths.iwork, x.info);
    }
  }

  Workspaces<T> for_selection() const {
    return ComplexScalar<T> ? Workspaces<T>(n, 7 * n, 5 * n) : Workspaces<T>(7 * n, 0, 5 * n);
  }
  void select(char jobz, const Wanted<R>& wanted, Workspaces<T>& room, Int /*lwork*/, Solution<T>& x) {
    const auto& [range, vl, vu, il, iu, abstol] = wanted;
    if constexpr (ComplexScalar<T>) {
      routine_call::hbgvx(jobz, range, uplo, n, ka, kb, a(), b(), q(), vl, vu, il, iu, abstol, x.m, x.w.data(), z(x),
                          room.work.data(), room.rwork.data(), room.iwork.data(), x.ifail.data(), x.info);
    } else {
      routine_call::sbgvx(jobz, range, uplo, n, ka, kb, a(), b(), q(), vl, vu, il, iu, abstol, x.m, x.w.data(), z(x),
                          room.work.data(), room.iwork.data(), x.ifail.data(), x.info);
    }
  }

 private:
  Matrix<T> a() { return {ab.data(), ldab}; }
  Matrix<T> b() { return {bb.data(), ldbb}; }
  Matrix<T> q() { return {Q.data(), ldq}; }
  Matrix<T> z(Solution<T>& x) const { return place_for(x, ldz); }
};

enum class Method { iteration, division, selection };

/// A driver with workspaces of the least sizes; `wanted` counts for selection alone. The matrices are copies.
template <template <class> class Form, Scalar T>
Solution<T> solve(Method method, char jobz, Form<T> form, const Wanted<Real<T>>& wanted = {}) {
  Solution<T> x(form.n, std::max(1, form.n) + form.n % 2);
  Workspaces<T> room = method == Method::iteration  ? form.for_iteration()
                       : method == Method::division ? form.for_division(same_letter(jobz, 'V'))
                                                    : form.for_selection();
  const Lengths<T> lengths(room);
  if (method == Method::iteration) form.iterate(jobz, room, lengths.work, x);
  if (method == Method::division) form.divide(jobz, room, lengths, x);
  if (method == Method::selection) form.select(jobz, wanted, room, lengths.work, x);
  room.expect_guards();
  if (method == Method::division && !Form<T>::asks_for_more) room.expect_sizes();
  x.expect_guards();
  EXPECT_TRUE(form.guards_unchanged());
  if (x.info > form.n) {
    EXPECT_TRUE(form.a_unchanged());
    EXPECT_TRUE(x.w.unchanged());
  }
  return x;
}

}  // namespace nuv::test
