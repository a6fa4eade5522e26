#include "solvers/stored_system.hpp"

#include <algorithm>
#include <functional>

#include "layer.hpp"
#include "routines.hpp"
#include "solvers/definite.hpp"

namespace nuv::test {
namespace {

constexpr Int lower_diagonals = 2, upper_diagonals = 3, definite_diagonals = 3;

/// Both workspaces, as long as the documentation says.
template <Scalar T>
struct Work {
  GuardedVector<T> work;
  GuardedVector<SecondWork<T>> second;

  Work(Int n, Int of_real, Int of_complex, Int second_of_complex = 1)
      : work(std::max(1, (RealScalar<T> ? of_real : of_complex) * n)),
        second(std::max(1, (RealScalar<T> ? 1 : second_of_complex) * n)) {}
  ~Work() {
    EXPECT_TRUE(work.guards_unchanged());
    EXPECT_TRUE(second.guards_unchanged());
  }
  T* data() { return work.data(); }
  SecondWork<T>* more() { return second.data(); }
  Real<T> first_real() const {
    if constexpr (RealScalar<T>) {
      return *work.data();
    } else {
      return *second.data();
    }
  }
};

/// The band of A with room for `extra` rows above it.
template <Scalar T>
GuardedMatrix<T> band_of(const GuardedMatrix<T>& A, Int kl, Int ku, Int extra) {
  const Int n = A.rows();
  GuardedMatrix<T> AB(kl + ku + 1 + extra, n, kl + ku + 2 + extra);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = std::max(1, j - ku); i <= std::min(n, j + kl); ++i) AB(extra + ku + 1 + i - j, j) = A(i, j);
  }
  AB.seal();
  return AB;
}

Int packed_place(bool upper, Int n, Int i, Int j) {
  return upper ? i + j * (j - 1) / 2 : i + (2 * n - j) * (j - 1) / 2;
}

template <Scalar T>
GuardedVector<T> packed_triangle(const GuardedMatrix<T>& A, char uplo) {
  const Int n = A.rows();
  GuardedVector<T> ap(n * (n + 1) / 2);
  for (Int j = 1; j <= n; ++j) {
    for (Int i = 1; i <= n; ++i) {
      if (is_in_triangle(uplo, i, j)) ap(packed_place(is_upper(uplo), n, i, j)) = A(i, j);
    }
  }
  ap.seal();
  return ap;
}

template <Scalar T>
GuardedMatrix<T> triangle_of(const GuardedMatrix<T>& full, char uplo) {
  GuardedMatrix<T> A(full.rows(), full.rows(), full.rows() + 1);
  for (Int j = 1; j <= full.rows(); ++j) {
    for (Int i = 1; i <= full.rows(); ++i) {
      if (is_in_triangle(uplo, i, j)) A(i, j) = full(i, j);
    }
  }
  A.seal();
  return A;
}

/// A diagonal of A, `offset` above the main one.
template <class To, Scalar T>
GuardedVector<To> diagonal_of(const GuardedMatrix<T>& A, Int offset) {
  const Int n = A.rows(), length = std::max(0, n - std::abs(offset));
  GuardedVector<To> d(length);
  for (Int i = 1; i <= length; ++i) {
    const T x = A(i + std::max(0, -offset), i + std::max(0, offset));
    if constexpr (RealScalar<To>) {
      d(i) = std::real(x);
    } else {
      d(i) = x;
    }
  }
  d.seal();
  return d;
}

template <class... Arrays>
testing::AssertionResult all_guards_unchanged(const Arrays&... arrays) {
  testing::AssertionResult result = testing::AssertionSuccess();
  ((result = result ? arrays.guards_unchanged() : result), ...);
  return result;
}

// ------------------------------------------------------------------------------------------------------------- general

template <Scalar T>
class General final : public StoredSystem<T> {
 public:
  using R = Real<T>;

  explicit General(const GuardedMatrix<T>& A)
      : n(A.rows()), a(A), af(n, n, n + 3), ipiv(n) {}

  Int factor() override {
    copy_factors();
    Int info = 99;
    layer::getrf(n, n, af, ipiv.data(), info);
    return info;
  }
  R condition(char norm, R anorm) override {
    Work<T> w(n, 4, 2, 2);
    R rcond = -1;
    Int info = 99;
    routine_call::gecon(norm, n, af, anorm, rcond, w.data(), w.more(), info);
    EXPECT_EQ(info, 0);
    return rcond;
  }
  Int solve(char trans, GuardedMatrix<T>& B) override {
    Int info = 99;
    routine_call::getrs(trans, n, B.columns(), af, ipiv.data(), B, info);
    return info;
  }
  Int refine(char trans, const GuardedMatrix<T>& B, GuardedMatrix<T>& X, GuardedVector<R>& ferr,
             GuardedVector<R>& berr) override {
    Work<T> w(n, 3, 2);
    Int info = 99;
    routine_call::gerfs(trans, n, B.columns(), a, af, ipiv.data(), B, X, ferr.data(), berr.data(), w.data(), w.more(),
                        info);
    return info;
  }
  Int drive(GuardedMatrix<T>& B) override {
    GuardedMatrix<T> copy = a;
    GuardedVector<Int> exchanges(n);
    Int info = 99;
    routine_call::gesv(n, B.columns(), copy, exchanges.data(), B, info);
    return info;
  }
  void drive_expertly(ExpertCall<T>& x) override {
    Work<T> w(n, 4, 2, 2);
    routine_call::gesvx(x.fact, x.trans, n, x.B.columns(), a, af, ipiv.data(), x.equed, x.r.data(), x.c.data(), x.B,
                        x.X, x.rcond, x.ferr.data(), x.berr.data(), w.data(), w.more(), x.info);
    x.growth = w.first_real();
  }
  T element(Int i, Int j) const override { return a(i, j); }
  testing::AssertionResult guards_unchanged() const override { return all_guards_unchanged(a, af, ipiv); }

 private:
  void copy_factors() {
    for (Int j = 1; j <= n; ++j) std::copy_n(&a(1, j), n, &af(1, j));
  }

  Int n;
  GuardedMatrix<T> a, af;
  GuardedVector<Int> ipiv;
};

template <Scalar T>
class Band final : public StoredSystem<T> {
 public:
  using R = Real<T>;

  explicit Band(const GuardedMatrix<T>& A)
      : n(A.rows()), ab(band_of(A, kl, ku, 0)), afb(2 * kl + ku + 1, n, 2 * kl + ku + 2), ipiv(n), dense(A) {}

  Int factor() override {
    afb = band_of(dense, kl, ku, kl);
    Int info = 99;
    layer::gbtrf(n, n, kl, ku, afb, ipiv.data(), info);
    return info;
  }
  R condition(char norm, R anorm) override {
    Work<T> w(n, 3, 2);
    R rcond = -1;
    Int info = 99;
    routine_call::gbcon(norm, n, kl, ku, afb, ipiv.data(), anorm, rcond, w.data(), w.more(), info);
    EXPECT_EQ(info, 0);
    return rcond;
  }
  Int solve(char trans, GuardedMatrix<T>& B) override {
    Int info = 99;
    layer::gbtrs(trans, n, kl, ku, B.columns(), afb, ipiv.data(), B, info);
    return info;
  }
  Int refine(char trans, const GuardedMatrix<T>& B, GuardedMatrix<T>& X, GuardedVector<R>& ferr,
             GuardedVector<R>& berr) override {
    Work<T> w(n, 3, 2);
    Int info = 99;
    routine_call::gbrfs(trans, n, kl, ku, B.columns(), ab, afb, ipiv.data(), B, X, ferr.data(), berr.data(), w.data(),
                        w.more(), info);
    return info;
  }
  Int drive(GuardedMatrix<T>& B) override {
    GuardedMatrix<T> copy = band_of(dense, kl, ku, kl);
    GuardedVector<Int> exchanges(n);
    Int info = 99;
    routine_call::gbsv(n, kl, ku, B.columns(), copy, exchanges.data(), B, info);
    return info;
  }
  void drive_expertly(ExpertCall<T>& x) override {
    Work<T> w(n, 3, 2);
    routine_call::gbsvx(x.fact, x.trans, n, kl, ku, x.B.columns(), ab, afb, ipiv.data(), x.equed, x.r.data(),
                        x.c.data(), x.B, x.X, x.rcond, x.ferr.data(), x.berr.data(), w.data(), w.more(), x.info);
    x.growth = w.first_real();
  }
  T element(Int i, Int j) const override { return i - j <= kl && j - i <= ku ? ab(ku + 1 + i - j, j) : T(0); }
  testing::AssertionResult guards_unchanged() const override { return all_guards_unchanged(ab, afb, ipiv); }

 private:
  static constexpr Int kl = lower_diagonals, ku = upper_diagonals;
  Int n;
  GuardedMatrix<T> ab, afb;
  GuardedVector<Int> ipiv;
  GuardedMatrix<T> dense;
};

template <Scalar T>
class Tridiagonal final : public StoredSystem<T> {
 public:
  using R = Real<T>;

  explicit Tridiagonal(const GuardedMatrix<T>& A)
      : n(A.rows()),
        dl(diagonal_of<T>(A, -1)),
        d(diagonal_of<T>(A, 0)),
        du(diagonal_of<T>(A, 1)),
        dlf(dl),
        df(d),
        duf(du),
        du2(std::max(0, n - 2)),
        ipiv(n) {}

  Int factor() override {
    Int info = 99;
    routine_call::gttrf(n, dlf.data(), df.data(), duf.data(), du2.data(), ipiv.data(), info);
    return info;
  }
  R condition(char norm, R anorm) override {
    Work<T> w(n, 2, 2);
    R rcond = -1;
    Int info = 99;
    if constexpr (RealScalar<T>) {
      routine_call::gtcon(norm, n, dlf.data(), df.data(), duf.data(), du2.data(), ipiv.data(), anorm, rcond, w.data(),
                          w.more(), info);
    } else {
      routine_call::gtcon(norm, n, dlf.data(), df.data(), duf.data(), du2.data(), ipiv.data(), anorm, rcond, w.data(),
                          info);
    }
    EXPECT_EQ(info, 0);
    return rcond;
  }
  Int solve(char trans, GuardedMatrix<T>& B) override {
    Int info = 99;
    layer::gttrs(trans, n, B.columns(), dlf.data(), df.data(), duf.data(), du2.data(), ipiv.data(), B, info);
    return info;
  }
  Int refine(char trans, const GuardedMatrix<T>& B, GuardedMatrix<T>& X, GuardedVector<R>& ferr,
             GuardedVector<R>& berr) override {
    Work<T> w(n, 3, 2);
    Int info = 99;
    routine_call::gtrfs(trans, n, B.columns(), dl.data(), d.data(), du.data(), dlf.data(), df.data(), duf.data(),
                        du2.data(), ipiv.data(), B, X, ferr.data(), berr.data(), w.data(), w.more(), info);
    return info;
  }
  Int drive(GuardedMatrix<T>& B) override {
    GuardedVector<T> below = dl, diagonal = d, above = du;
    Int info = 99;
    routine_call::gtsv(n, B.columns(), below.data(), diagonal.data(), above.data(), B, info);
    return info;
  }
  void drive_expertly(ExpertCall<T>& x) override {
    Work<T> w(n, 3, 2);
    routine_call::gtsvx(x.fact, x.trans, n, x.B.columns(), dl.data(), d.data(), du.data(), dlf.data(), df.data(),
                        duf.data(), du2.data(), ipiv.data(), x.B, x.X, x.rcond, x.ferr.data(), x.berr.data(), w.data(),
                        w.more(), x.info);
  }
  T element(Int i, Int j) const override { return i == j ? d(i) : i == j + 1 ? dl(j) : i + 1 == j ? du(i) : T(0); }
  testing::AssertionResult guards_unchanged() const override {
    return all_guards_unchanged(dl, d, du, dlf, df, duf, du2, ipiv);
  }

 private:
  Int n;
  GuardedVector<T> dl, d, du, dlf, df, duf, du2;
  GuardedVector<Int> ipiv;
};

// --------------------------------------------------------------------------------------------------- positive definite

template <Scalar T>
class Definite final : public StoredSystem<T> {
 public:
  using R = Real<T>;

  Definite(char uplo_, const GuardedMatrix<T>& A)
      : uplo(uplo_), n(A.rows()), a(definite_triangle(A, uplo)), af(a) {}

  Int factor() override {
    Int info = 99;
    layer::potrf(uplo, n, af, info);
    return info;
  }
  R condition(char, R anorm) override {
    Work<T> w(n, 3, 2);
    R rcond = -1;
    Int info = 99;
    routine_call::pocon(uplo, n, af, anorm, rcond, w.data(), w.more(), info);
    EXPECT_EQ(info, 0);
    return rcond;
  }
  Int solve(char, GuardedMatrix<T>& B) override {
    Int info = 99;
    routine_call::potrs(uplo, n, B.columns(), af, B, info);
    return info;
  }
  Int refine(char, const GuardedMatrix<T>& B, GuardedMatrix<T>& X, GuardedVector<R>& ferr,
             GuardedVector<R>& berr) override {
    Work<T> w(n, 3, 2);
    Int info = 99;
    routine_call::porfs(uplo, n, B.columns(), a, af, B, X, ferr.data(), berr.data(), w.data(), w.more(), info);
    return info;
  }
  Int drive(GuardedMatrix<T>& B) override {
    GuardedMatrix<T> copy = a;
    Int info = 99;
    routine_call::posv(uplo, n, B.columns(), copy, B, info);
    return info;
  }
  void drive_expertly(ExpertCall<T>& x) override {
    Work<T> w(n, 3, 2);
    routine_call::posvx(x.fact, uplo, n, x.B.columns(), a, af, x.equed, x.r.data(), x.B, x.X, x.rcond, x.ferr.data(),
                        x.berr.data(), w.data(), w.more(), x.info);
  }
  T element(Int i, Int j) const override {
    return i == j ? T(std::real(a(i, i))) : is_in_triangle(uplo, i, j) ? a(i, j) : conjugate(a(j, i));
  }
  testing::AssertionResult guards_unchanged() const override {
    return a.guards_unchanged() ? stayed_in_triangle(uplo, af) : a.guards_unchanged();
  }

 private:
  char uplo;
  Int n;
  GuardedMatrix<T> a, af;
};

template <Scalar T>
class PackedDefinite final : public StoredSystem<T> {
 public:
  using R = Real<T>;

  PackedDefinite(char uplo_, const GuardedMatrix<T>& A)
      : uplo(uplo_), n(A.rows()), ap(packed_triangle(A, uplo)), afp(ap) {}

  Int factor() override {
    Int info = 99;
    layer::pptrf(uplo, n, afp.data(), info);
    return info;
  }
  R condition(char, R anorm) override {
    Work<T> w(n, 3, 2);
    R rcond = -1;
    Int info = 99;
    routine_call::ppcon(uplo, n, afp.data(), anorm, rcond, w.data(), w.more(), info);
    EXPECT_EQ(info, 0);
    return rcond;
  }
  Int solve(char, GuardedMatrix<T>& B) override {
    Int info = 99;
    layer::pptrs(uplo, n, B.columns(), afp.data(), B, info);
    return info;
  }
  Int refine(char, const GuardedMatrix<T>& B, GuardedMatrix<T>& X, GuardedVector<R>& ferr,
             GuardedVector<R>& berr) override {
    Work<T> w(n, 3, 2);
    Int info = 99;
    routine_call::pprfs(uplo, n, B.columns(), ap.data(), afp.data(), B, X, ferr.data(), berr.data(), w.data(), w.more(),
                        info);
    return info;
  }
  Int drive(GuardedMatrix<T>& B) override {
    GuardedVector<T> copy = ap;
    Int info = 99;
    routine_call::ppsv(uplo, n, B.columns(), copy.data(), B, info);
    return info;
  }
  void drive_expertly(ExpertCall<T>& x) override {
    Work<T> w(n, 3, 2);
    routine_call::ppsvx(x.fact, uplo, n, x.B.columns(), ap.data(), afp.data(), x.equed, x.r.data(), x.B, x.X, x.rcond,
                        x.ferr.data(), x.berr.data(), w.data(), w.more(), x.info);
  }
  T element(Int i, Int j) const override {
    const bool stored = is_in_triangle(uplo, i, j);
    const T x = ap(packed_place(is_upper(uplo), n, stored ? i : j, stored ? j : i));
    return stored ? x : conjugate(x);
  }
  testing::AssertionResult guards_unchanged() const override { return all_guards_unchanged(ap, afp); }

 private:
  char uplo;
  Int n;
  GuardedVector<T> ap, afp;
};

template <Scalar T>
class BandDefinite final : public StoredSystem<T> {
 public:
  using R = Real<T>;

  BandDefinite(char uplo_, const GuardedMatrix<T>& A)
      : uplo(uplo_), n(A.rows()), ab(band_of(A, is_upper(uplo) ? 0 : kd, is_upper(uplo) ? kd : 0, 0)), afb(ab) {}

  Int factor() override {
    Int info = 99;
    routine_call::pbtrf(uplo, n, kd, afb, info);
    return info;
  }
  R condition(char, R anorm) override {
    Work<T> w(n, 3, 2);
    R rcond = -1;
    Int info = 99;
    routine_call::pbcon(uplo, n, kd, afb, anorm, rcond, w.data(), w.more(), info);
    EXPECT_EQ(info, 0);
    return rcond;
  }
  Int solve(char, GuardedMatrix<T>& B) override {
    Int info = 99;
    layer::pbtrs(uplo, n, kd, B.columns(), afb, B, info);
    return info;
  }
  Int refine(char, const GuardedMatrix<T>& B, GuardedMatrix<T>& X, GuardedVector<R>& ferr,
             GuardedVector<R>& berr) override {
    Work<T> w(n, 3, 2);
    Int info = 99;
    routine_call::pbrfs(uplo, n, kd, B.columns(), ab, afb, B, X, ferr.data(), berr.data(), w.data(), w.more(), info);
    return info;
  }
  Int drive(GuardedMatrix<T>& B) override {
    GuardedMatrix<T> copy = ab;
    Int info = 99;
    routine_call::pbsv(uplo, n, kd, B.columns(), copy, B, info);
    return info;
  }
  void drive_expertly(ExpertCall<T>& x) override {
    Work<T> w(n, 3, 2);
    routine_call::pbsvx(x.fact, uplo, n, kd, x.B.columns(), ab, afb, x.equed, x.r.data(), x.B, x.X, x.rcond,
                        x.ferr.data(), x.berr.data(), w.data(), w.more(), x.info);
  }
  T element(Int i, Int j) const override {
    if (std::abs(i - j) > kd) return T(0);
    const bool stored = is_in_triangle(uplo, i, j);
    const Int row = stored ? i : j, column = stored ? j : i;
    const T x = ab((is_upper(uplo) ? kd + 1 : 1) + row - column, column);
    return stored ? x : conjugate(x);
  }
  testing::AssertionResult guards_unchanged() const override { return all_guards_unchanged(ab, afb); }

 private:
  static constexpr Int kd = definite_diagonals;
  char uplo;
  Int n;
  GuardedMatrix<T> ab, afb;
};

template <Scalar T>
class TridiagonalDefinite final : public StoredSystem<T> {
 public:
  using R = Real<T>;

  explicit TridiagonalDefinite(const GuardedMatrix<T>& A)
      : n(A.rows()), d(diagonal_of<R>(A, 0)), df(d), e(diagonal_of<T>(A, -1)), ef(e) {}

  Int factor() override {
    Int info = 99;
    routine_call::pttrf(n, df.data(), ef.data(), info);
    return info;
  }
  R condition(char, R anorm) override {
    GuardedVector<R> work(n);
    R rcond = -1;
    Int info = 99;
    routine_call::ptcon(n, df.data(), ef.data(), anorm, rcond, work.data(), info);
    EXPECT_EQ(info, 0);
    return rcond;
  }
  Int solve(char, GuardedMatrix<T>& B) override {
    Int info = 99;
    if constexpr (RealScalar<T>) {
      layer::pttrs(n, B.columns(), df.data(), ef.data(), B, info);
    } else {
      layer::pttrs('L', n, B.columns(), df.data(), ef.data(), B, info);
    }
    return info;
  }
  Int refine(char, const GuardedMatrix<T>& B, GuardedMatrix<T>& X, GuardedVector<R>& ferr,
             GuardedVector<R>& berr) override {
    Work<T> w(n, 2, 1);
    Int info = 99;
    if constexpr (RealScalar<T>) {
      routine_call::ptrfs(n, B.columns(), d.data(), e.data(), df.data(), ef.data(), B, X, ferr.data(), berr.data(),
                          w.data(), info);
    } else {
      routine_call::ptrfs('L', n, B.columns(), d.data(), e.data(), df.data(), ef.data(), B, X, ferr.data(),
                          berr.data(), w.data(), w.more(), info);
    }
    return info;
  }
  Int drive(GuardedMatrix<T>& B) override {
    GuardedVector<R> diagonal = d;
    GuardedVector<T> below = e;
    Int info = 99;
    routine_call::ptsv(n, B.columns(), diagonal.data(), below.data(), B, info);
    return info;
  }
  void drive_expertly(ExpertCall<T>& x) override {
    Work<T> w(n, 2, 1);
    if constexpr (RealScalar<T>) {
      routine_call::ptsvx(x.fact, n, x.B.columns(), d.data(), e.data(), df.data(), ef.data(), x.B, x.X, x.rcond,
                          x.ferr.data(), x.berr.data(), w.data(), x.info);
    } else {
      routine_call::ptsvx(x.fact, n, x.B.columns(), d.data(), e.data(), df.data(), ef.data(), x.B, x.X, x.rcond,
                          x.ferr.data(), x.berr.data(), w.data(), w.more(), x.info);
    }
  }
  T element(Int i, Int j) const override {
    return i == j ? T(d(i)) : i == j + 1 ? e(j) : i + 1 == j ? conjugate(e(i)) : T(0);
  }
  testing::AssertionResult guards_unchanged() const override { return all_guards_unchanged(d, df, e, ef); }

 private:
  Int n;
  GuardedVector<R> d, df;
  GuardedVector<T> e, ef;
};

// ---------------------------------------------------------------------------------------------------------- indefinite

template <bool is_hermitian, Scalar T>
class Indefinite final : public StoredSystem<T> {
 public:
  using R = Real<T>;

  Indefinite(char uplo_, const GuardedMatrix<T>& A)
      : uplo(uplo_), n(A.rows()), a(triangle_of(A, uplo)), af(a), ipiv(n) {}

  Int factor() override {
    Work<T> w(n, 64, 64);
    Int info = 99;
    if constexpr (is_hermitian) {
      routine_call::hetrf(uplo, n, af, ipiv.data(), w.data(), w.work.size(), info);
    } else {
      routine_call::sytrf(uplo, n, af, ipiv.data(), w.data(), w.work.size(), info);
    }
    return info;
  }
  R condition(char, R anorm) override {
    Work<T> w(n, 2, 2);
    R rcond = -1;
    Int info = 99;
    if constexpr (is_hermitian) {
      routine_call::hecon(uplo, n, af, ipiv.data(), anorm, rcond, w.data(), info);
    } else if constexpr (ComplexScalar<T>) {
      routine_call::sycon(uplo, n, af, ipiv.data(), anorm, rcond, w.data(), info);
    } else {
      routine_call::sycon(uplo, n, af, ipiv.data(), anorm, rcond, w.data(), w.more(), info);
    }
    EXPECT_EQ(info, 0);
    return rcond;
  }
  Int solve(char, GuardedMatrix<T>& B) override {
    Int info = 99;
    if constexpr (is_hermitian) {
      layer::hetrs(uplo, n, B.columns(), af, ipiv.data(), B, info);
    } else {
      layer::sytrs(uplo, n, B.columns(), af, ipiv.data(), B, info);
    }
    return info;
  }
  Int refine(char, const GuardedMatrix<T>& B, GuardedMatrix<T>& X, GuardedVector<R>& ferr,
             GuardedVector<R>& berr) override {
    Work<T> w(n, 3, 2);
    Int info = 99;
    if constexpr (is_hermitian) {
      routine_call::herfs(uplo, n, B.columns(), a, af, ipiv.data(), B, X, ferr.data(), berr.data(), w.data(), w.more(),
                          info);
    } else {
      routine_call::syrfs(uplo, n, B.columns(), a, af, ipiv.data(), B, X, ferr.data(), berr.data(), w.data(), w.more(),
                          info);
    }
    return info;
  }
  Int drive(GuardedMatrix<T>& B) override {
    GuardedMatrix<T> copy = a;
    GuardedVector<Int> exchanges(n);
    Work<T> w(n, 1, 1);
    Int info = 99;
    if constexpr (is_hermitian) {
      routine_call::hesv(uplo, n, B.columns(), copy, exchanges.data(), B, w.data(), w.work.size(), info);
    } else {
      routine_call::sysv(uplo, n, B.columns(), copy, exchanges.data(), B, w.data(), w.work.size(), info);
    }
    return info;
  }
  void drive_expertly(ExpertCall<T>& x) override {
    Work<T> w(n, 3, 2);
    if constexpr (is_hermitian) {
      routine_call::hesvx(x.fact, uplo, n, x.B.columns(), a, af, ipiv.data(), x.B, x.X, x.rcond, x.ferr.data(),
                          x.berr.data(), w.data(), w.work.size(), w.more(), x.info);
    } else {
      routine_call::sysvx(x.fact, uplo, n, x.B.columns(), a, af, ipiv.data(), x.B, x.X, x.rcond, x.ferr.data(),
                          x.berr.data(), w.data(), w.work.size(), w.more(), x.info);
    }
  }
  T element(Int i, Int j) const override {
    if (is_in_triangle(uplo, i, j)) return a(i, j);
    return is_hermitian ? conjugate(a(j, i)) : a(j, i);
  }
  testing::AssertionResult guards_unchanged() const override {
    return a.guards_unchanged() && ipiv.guards_unchanged() ? stayed_in_triangle(uplo, af) : a.guards_unchanged();
  }

 private:
  char uplo;
  Int n;
  GuardedMatrix<T> a, af;
  GuardedVector<Int> ipiv;
};

/// A form and how it stores a matrix.
template <Scalar T>
struct Storage {
  Form form;
  std::function<std::unique_ptr<StoredSystem<T>>(char uplo, const GuardedMatrix<T>& A)> make;
};

template <Scalar T>
std::vector<Storage<T>> make_storages() {
  using enum Structure;
  const auto with_uplo = []<class System>(std::type_identity<System>) {
    return [](char uplo, const GuardedMatrix<T>& A) { return std::make_unique<System>(uplo, A); };
  };
  const auto without = []<class System>(std::type_identity<System>) {
    return [](char, const GuardedMatrix<T>& A) { return std::make_unique<System>(A); };
  };
  std::vector<Storage<T>> all = {
      {{"ge", general, true}, without(std::type_identity<General<T>>())},
      {{"gb", general, true, lower_diagonals}, without(std::type_identity<Band<T>>())},
      {{"gt", general, false, 1}, without(std::type_identity<Tridiagonal<T>>())},
      {{"po", definite, true}, with_uplo(std::type_identity<Definite<T>>())},
      {{"pp", definite, true}, with_uplo(std::type_identity<PackedDefinite<T>>())},
      {{"pb", definite, true, definite_diagonals}, with_uplo(std::type_identity<BandDefinite<T>>())},
      {{"pt", definite, false, 1}, without(std::type_identity<TridiagonalDefinite<T>>())},
      {{"sy", symmetric, false}, with_uplo(std::type_identity<Indefinite<false, T>>())},
  };
  if constexpr (ComplexScalar<T>) {
    all.push_back({{"he", hermitian, false}, with_uplo(std::type_identity<Indefinite<true, T>>())});
  }
  return all;
}

template <Scalar T>
const std::vector<Storage<T>>& storages() {
  static const std::vector<Storage<T>> all = make_storages<T>();
  return all;
}

}  // namespace

template <Scalar T>
const std::vector<Form>& forms_of() {
  static const std::vector<Form> all = [] {
    std::vector<Form> forms;
    for (const auto& storage : storages<T>()) forms.push_back(storage.form);
    return forms;
  }();
  return all;
}

template <Scalar T>
std::unique_ptr<StoredSystem<T>> store(const Form& form, char uplo, const GuardedMatrix<T>& A) {
  for (const auto& storage : storages<T>()) {
    if (std::string(storage.form.name) == form.name) return storage.make(uplo, A);
  }
  return nullptr;
}

#define NUV_INSTANTIATE(T)                              \
  template const std::vector<Form>& forms_of<T>();      \
  template std::unique_ptr<StoredSystem<T>> store<T>(const Form&, char, const GuardedMatrix<T>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::test
