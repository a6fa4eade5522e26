// The checks that condition estimates, refinement, scaling and expert drivers make of their arguments.

#include "routines.hpp"
#include "support/argument_checks.hpp"
#include "support/guarded.hpp"

namespace nuv::test {
namespace {

template <Scalar T>
using SecondWork = std::conditional_t<RealScalar<T>, Int, Real<T>>;

/// Arguments of any of these routines, valid for the identity of order 2 in each storage form.
template <Scalar T>
struct Arguments {
  using R = Real<T>;

  char fact = 'F', norm = '1', trans = 'N', uplo = 'U', diag = 'N', equed = 'N';
  Int m = 2, n = 2, nrhs = 1, kl = 1, ku = 1, kd = 1;
  Int lda = 2, ldaf = 2, ldab = 3, ldafb = 4, ldkd = 2, ldkdf = 2, ldb = 2, ldx = 2, lwork = 8;
  R anorm = 1, rcond = -1, rowcnd = -1, colcnd = -1, amax = -1;
  GuardedVector<T> a{8}, af{8}, b{2}, x{2}, work{8};
  GuardedVector<R> r{2}, c{2}, ferr{1}, berr{1}, df{2};
  GuardedVector<SecondWork<T>> second{4};
  GuardedVector<Int> ipiv{2};
  Int info = 99;

  Arguments() {
    for (Int i = 1; i <= 8; ++i) a(i) = af(i) = T(1);
    for (Int i = 1; i <= 2; ++i) {
      b(i) = x(i) = T(1);
      r(i) = c(i) = df(i) = R(1);
      ipiv(i) = i;
    }
    for (GuardedVector<T>* v : {&a, &af, &b, &x, &work}) v->seal();
    for (GuardedVector<R>* v : {&r, &c, &ferr, &berr}) v->seal();
  }

  bool unchanged() const {
    return a.unchanged() && af.unchanged() && b.unchanged() && x.unchanged() && work.unchanged() && r.unchanged() &&
           c.unchanged() && ferr.unchanged() && berr.unchanged() && rcond == -1 && rowcnd == -1 && amax == -1;
  }

  Matrix<T> A() { return {a.data(), lda}; }
  Matrix<T> AF() { return {af.data(), ldaf}; }
  Matrix<T> AB() { return {a.data(), ldab}; }
  Matrix<T> AFB() { return {af.data(), ldafb}; }
  Matrix<T> AK() { return {a.data(), ldkd}; }
  Matrix<T> AKF() { return {af.data(), ldkdf}; }
  Matrix<T> B() { return {b.data(), ldb}; }
  Matrix<T> X() { return {x.data(), ldx}; }
};

/// One routine of them.
template <Scalar T, class Routine>
struct One : Arguments<T> {
  Int run() {
    Routine::call(*this);
    return this->info;
  }
};

class Checks : public ReportingTest {};

#define NUV_BAD(position, change)       \
  {                                     \
    position, [](auto& p) { p.change; } \
  }

/// CHECK(T, NAME, call, bad arguments...): p are the arguments.
#define NUV_CHECK(T, NAME, CALL, ...)                             \
  {                                                               \
    using Arguments_ = Arguments<T>;                              \
    struct Routine {                                              \
      static void call(Arguments_& p) { CALL; }                   \
    };                                                            \
    expect_argument_checks<One<T, Routine>>(NAME, {__VA_ARGS__}); \
  }

#define NUV_NORM NUV_BAD(1, norm = 'M')
#define NUV_UPLO(at) NUV_BAD(at, uplo = 'X')
#define NUV_TRANS(at) NUV_BAD(at, trans = 'X')
#define NUV_DIAG(at) NUV_BAD(at, diag = 'X')
#define NUV_N(at) NUV_BAD(at, n = -1)
#define NUV_NRHS(at) NUV_BAD(at, nrhs = -1)
#define NUV_LDA(at) NUV_BAD(at, lda = 1)
#define NUV_LDAF(at) NUV_BAD(at, ldaf = 1)
#define NUV_ANORM(at) NUV_BAD(at, anorm = -1)
#define NUV_LDB(at) NUV_BAD(at, ldb = 1)
#define NUV_LDX(at) NUV_BAD(at, ldx = 1)

TEST_F(Checks, OfConditions) {
  using namespace routine_call;
  NUV_CHECK(double, "DGECON", gecon(p.norm, p.n, p.A(), p.anorm, p.rcond, p.work.data(), p.second.data(), p.info),
            NUV_NORM, NUV_N(2), NUV_LDA(4), NUV_ANORM(5))
  NUV_CHECK(
      double, "DGBCON",
      gbcon(p.norm, p.n, p.kl, p.ku, p.AFB(), p.ipiv.data(), p.anorm, p.rcond, p.work.data(), p.second.data(), p.info),
      NUV_NORM, NUV_N(2), NUV_BAD(3, kl = -1), NUV_BAD(4, ku = -1), NUV_BAD(6, ldafb = 3), NUV_ANORM(8))
  NUV_CHECK(double, "DGTCON",
            gtcon(p.norm, p.n, p.a.data(), p.a.data(), p.a.data(), p.a.data(), p.ipiv.data(), p.anorm, p.rcond,
                  p.work.data(), p.second.data(), p.info),
            NUV_NORM, NUV_N(2), NUV_ANORM(8))
  NUV_CHECK(double, "DPOCON", pocon(p.uplo, p.n, p.A(), p.anorm, p.rcond, p.work.data(), p.second.data(), p.info),
            NUV_UPLO(1), NUV_N(2), NUV_LDA(4), NUV_ANORM(5))
  NUV_CHECK(double, "DPPCON", ppcon(p.uplo, p.n, p.a.data(), p.anorm, p.rcond, p.work.data(), p.second.data(), p.info),
            NUV_UPLO(1), NUV_N(2), NUV_ANORM(4))
  NUV_CHECK(double, "DPBCON",
            pbcon(p.uplo, p.n, p.kd, p.AK(), p.anorm, p.rcond, p.work.data(), p.second.data(), p.info), NUV_UPLO(1),
            NUV_N(2), NUV_BAD(3, kd = -1), NUV_BAD(5, ldkd = 1), NUV_ANORM(6))
  NUV_CHECK(double, "DPTCON", ptcon(p.n, p.df.data(), p.a.data(), p.anorm, p.rcond, p.work.data(), p.info), NUV_N(1),
            NUV_ANORM(4))
  NUV_CHECK(double, "DSYCON",
            sycon(p.uplo, p.n, p.A(), p.ipiv.data(), p.anorm, p.rcond, p.work.data(), p.second.data(), p.info),
            NUV_UPLO(1), NUV_N(2), NUV_LDA(4), NUV_ANORM(6))
  NUV_CHECK(double, "DSPCON",
            spcon(p.uplo, p.n, p.a.data(), p.ipiv.data(), p.anorm, p.rcond, p.work.data(), p.second.data(), p.info),
            NUV_UPLO(1), NUV_N(2), NUV_ANORM(5))
  NUV_CHECK(double, "DTRCON",
            trcon(p.norm, p.uplo, p.diag, p.n, p.A(), p.rcond, p.work.data(), p.second.data(), p.info), NUV_NORM,
            NUV_UPLO(2), NUV_DIAG(3), NUV_N(4), NUV_LDA(6))
  NUV_CHECK(double, "DTPCON",
            tpcon(p.norm, p.uplo, p.diag, p.n, p.a.data(), p.rcond, p.work.data(), p.second.data(), p.info), NUV_NORM,
            NUV_UPLO(2), NUV_DIAG(3), NUV_N(4))
  NUV_CHECK(double, "DTBCON",
            tbcon(p.norm, p.uplo, p.diag, p.n, p.kd, p.AK(), p.rcond, p.work.data(), p.second.data(), p.info), NUV_NORM,
            NUV_UPLO(2), NUV_DIAG(3), NUV_N(4), NUV_BAD(5, kd = -1), NUV_BAD(7, ldkd = 1))
  using Z = std::complex<double>;
  NUV_CHECK(Z, "ZGTCON",
            gtcon(p.norm, p.n, p.a.data(), p.a.data(), p.a.data(), p.a.data(), p.ipiv.data(), p.anorm, p.rcond,
                  p.work.data(), p.info),
            NUV_NORM, NUV_N(2), NUV_ANORM(8))
  NUV_CHECK(Z, "ZHECON", hecon(p.uplo, p.n, p.A(), p.ipiv.data(), p.anorm, p.rcond, p.work.data(), p.info), NUV_UPLO(1),
            NUV_N(2), NUV_LDA(4), NUV_ANORM(6))
  NUV_CHECK(Z, "ZHPCON", hpcon(p.uplo, p.n, p.a.data(), p.ipiv.data(), p.anorm, p.rcond, p.work.data(), p.info),
            NUV_UPLO(1), NUV_N(2), NUV_ANORM(5))
}

#define NUV_BOUNDS p.ferr.data(), p.berr.data(), p.work.data(), p.second.data(), p.info

TEST_F(Checks, OfRefinement) {
  using namespace routine_call;
  NUV_CHECK(double, "DGERFS", gerfs(p.trans, p.n, p.nrhs, p.A(), p.AF(), p.ipiv.data(), p.B(), p.X(), NUV_BOUNDS),
            NUV_TRANS(1), NUV_N(2), NUV_NRHS(3), NUV_LDA(5), NUV_LDAF(7), NUV_LDB(10), NUV_LDX(12))
  NUV_CHECK(double, "DGBRFS",
            gbrfs(p.trans, p.n, p.kl, p.ku, p.nrhs, p.AB(), p.AFB(), p.ipiv.data(), p.B(), p.X(), NUV_BOUNDS),
            NUV_TRANS(1), NUV_N(2), NUV_BAD(3, kl = -1), NUV_BAD(4, ku = -1), NUV_NRHS(5), NUV_BAD(7, ldab = 2),
            NUV_BAD(9, ldafb = 3), NUV_LDB(12), NUV_LDX(14))
  NUV_CHECK(double, "DGTRFS",
            gtrfs(p.trans, p.n, p.nrhs, p.a.data(), p.a.data(), p.a.data(), p.af.data(), p.af.data(), p.af.data(),
                  p.af.data(), p.ipiv.data(), p.B(), p.X(), NUV_BOUNDS),
            NUV_TRANS(1), NUV_N(2), NUV_NRHS(3), NUV_LDB(13), NUV_LDX(15))
  NUV_CHECK(double, "DPORFS", porfs(p.uplo, p.n, p.nrhs, p.A(), p.AF(), p.B(), p.X(), NUV_BOUNDS), NUV_UPLO(1),
            NUV_N(2), NUV_NRHS(3), NUV_LDA(5), NUV_LDAF(7), NUV_LDB(9), NUV_LDX(11))
  NUV_CHECK(double, "DPPRFS", pprfs(p.uplo, p.n, p.nrhs, p.a.data(), p.af.data(), p.B(), p.X(), NUV_BOUNDS),
            NUV_UPLO(1), NUV_N(2), NUV_NRHS(3), NUV_LDB(7), NUV_LDX(9))
  NUV_CHECK(double, "DPBRFS", pbrfs(p.uplo, p.n, p.kd, p.nrhs, p.AK(), p.AKF(), p.B(), p.X(), NUV_BOUNDS), NUV_UPLO(1),
            NUV_N(2), NUV_BAD(3, kd = -1), NUV_NRHS(4), NUV_BAD(6, ldkd = 1), NUV_BAD(8, ldkdf = 1), NUV_LDB(10),
            NUV_LDX(12))
  NUV_CHECK(double, "DPTRFS",
            ptrfs(p.n, p.nrhs, p.df.data(), p.a.data(), p.df.data(), p.af.data(), p.B(), p.X(), p.ferr.data(),
                  p.berr.data(), p.work.data(), p.info),
            NUV_N(1), NUV_NRHS(2), NUV_LDB(8), NUV_LDX(10))
  NUV_CHECK(double, "DSYRFS", syrfs(p.uplo, p.n, p.nrhs, p.A(), p.AF(), p.ipiv.data(), p.B(), p.X(), NUV_BOUNDS),
            NUV_UPLO(1), NUV_N(2), NUV_NRHS(3), NUV_LDA(5), NUV_LDAF(7), NUV_LDB(10), NUV_LDX(12))
  NUV_CHECK(double, "DSPRFS",
            sprfs(p.uplo, p.n, p.nrhs, p.a.data(), p.af.data(), p.ipiv.data(), p.B(), p.X(), NUV_BOUNDS), NUV_UPLO(1),
            NUV_N(2), NUV_NRHS(3), NUV_LDB(8), NUV_LDX(10))
  NUV_CHECK(double, "DTRRFS", trrfs(p.uplo, p.trans, p.diag, p.n, p.nrhs, p.A(), p.B(), p.X(), NUV_BOUNDS), NUV_UPLO(1),
            NUV_TRANS(2), NUV_DIAG(3), NUV_N(4), NUV_NRHS(5), NUV_LDA(7), NUV_LDB(9), NUV_LDX(11))
  NUV_CHECK(double, "DTPRFS", tprfs(p.uplo, p.trans, p.diag, p.n, p.nrhs, p.a.data(), p.B(), p.X(), NUV_BOUNDS),
            NUV_UPLO(1), NUV_TRANS(2), NUV_DIAG(3), NUV_N(4), NUV_NRHS(5), NUV_LDB(8), NUV_LDX(10))
  NUV_CHECK(double, "DTBRFS", tbrfs(p.uplo, p.trans, p.diag, p.n, p.kd, p.nrhs, p.AK(), p.B(), p.X(), NUV_BOUNDS),
            NUV_UPLO(1), NUV_TRANS(2), NUV_DIAG(3), NUV_N(4), NUV_BAD(5, kd = -1), NUV_NRHS(6), NUV_BAD(8, ldkd = 1),
            NUV_LDB(10), NUV_LDX(12))
  using Z = std::complex<double>;
  NUV_CHECK(Z, "ZPTRFS",
            ptrfs(p.uplo, p.n, p.nrhs, p.df.data(), p.a.data(), p.df.data(), p.af.data(), p.B(), p.X(), NUV_BOUNDS),
            NUV_UPLO(1), NUV_N(2), NUV_NRHS(3), NUV_LDB(9), NUV_LDX(11))
  NUV_CHECK(Z, "ZHERFS", herfs(p.uplo, p.n, p.nrhs, p.A(), p.AF(), p.ipiv.data(), p.B(), p.X(), NUV_BOUNDS),
            NUV_UPLO(1), NUV_N(2), NUV_NRHS(3), NUV_LDA(5), NUV_LDAF(7), NUV_LDB(10), NUV_LDX(12))
  NUV_CHECK(Z, "ZHPRFS", hprfs(p.uplo, p.n, p.nrhs, p.a.data(), p.af.data(), p.ipiv.data(), p.B(), p.X(), NUV_BOUNDS),
            NUV_UPLO(1), NUV_N(2), NUV_NRHS(3), NUV_LDB(8), NUV_LDX(10))
}

TEST_F(Checks, OfScaling) {
  using namespace routine_call;
  NUV_CHECK(double, "DGEEQU", geequ(p.m, p.n, p.A(), p.r.data(), p.c.data(), p.rowcnd, p.colcnd, p.amax, p.info),
            NUV_BAD(1, m = -1), NUV_N(2), NUV_LDA(4))
  NUV_CHECK(double, "DGBEQU",
            gbequ(p.m, p.n, p.kl, p.ku, p.AB(), p.r.data(), p.c.data(), p.rowcnd, p.colcnd, p.amax, p.info),
            NUV_BAD(1, m = -1), NUV_N(2), NUV_BAD(3, kl = -1), NUV_BAD(4, ku = -1), NUV_BAD(6, ldab = 2))
  NUV_CHECK(double, "DPOEQU", poequ(p.n, p.A(), p.r.data(), p.rowcnd, p.amax, p.info), NUV_N(1), NUV_LDA(3))
  NUV_CHECK(double, "DPPEQU", ppequ(p.uplo, p.n, p.a.data(), p.r.data(), p.rowcnd, p.amax, p.info), NUV_UPLO(1),
            NUV_N(2))
  NUV_CHECK(double, "DPBEQU", pbequ(p.uplo, p.n, p.kd, p.AK(), p.r.data(), p.rowcnd, p.amax, p.info), NUV_UPLO(1),
            NUV_N(2), NUV_BAD(3, kd = -1), NUV_BAD(5, ldkd = 1))
}

#define NUV_FACT NUV_BAD(1, fact = 'X')
#define NUV_NO_SCALING NUV_BAD(1, fact = 'E')
#define NUV_EQUED(at, of_others) NUV_BAD(at, equed = 'X'), NUV_BAD(at, equed = of_others)
#define NUV_RESULTS p.rcond, NUV_BOUNDS

TEST_F(Checks, OfExpertDrivers) {
  using namespace routine_call;
  NUV_CHECK(double, "DGESVX",
            gesvx(p.fact, p.trans, p.n, p.nrhs, p.A(), p.AF(), p.ipiv.data(), p.equed, p.r.data(), p.c.data(), p.B(),
                  p.X(), NUV_RESULTS),
            NUV_FACT, NUV_TRANS(2), NUV_N(3), NUV_NRHS(4), NUV_LDA(6), NUV_LDAF(8), NUV_EQUED(10, 'Y'), NUV_LDB(14),
            NUV_LDX(16))
  NUV_CHECK(double, "DGBSVX",
            gbsvx(p.fact, p.trans, p.n, p.kl, p.ku, p.nrhs, p.AB(), p.AFB(), p.ipiv.data(), p.equed, p.r.data(),
                  p.c.data(), p.B(), p.X(), NUV_RESULTS),
            NUV_FACT, NUV_TRANS(2), NUV_N(3), NUV_BAD(4, kl = -1), NUV_BAD(5, ku = -1), NUV_NRHS(6),
            NUV_BAD(8, ldab = 2), NUV_BAD(10, ldafb = 3), NUV_EQUED(12, 'Y'), NUV_LDB(16), NUV_LDX(18))
  NUV_CHECK(double, "DGTSVX",
            gtsvx(p.fact, p.trans, p.n, p.nrhs, p.a.data(), p.a.data(), p.a.data(), p.af.data(), p.af.data(),
                  p.af.data(), p.af.data(), p.ipiv.data(), p.B(), p.X(), NUV_RESULTS),
            NUV_FACT, NUV_NO_SCALING, NUV_TRANS(2), NUV_N(3), NUV_NRHS(4), NUV_LDB(14), NUV_LDX(16))
  NUV_CHECK(double, "DPOSVX",
            posvx(p.fact, p.uplo, p.n, p.nrhs, p.A(), p.AF(), p.equed, p.r.data(), p.B(), p.X(), NUV_RESULTS), NUV_FACT,
            NUV_UPLO(2), NUV_N(3), NUV_NRHS(4), NUV_LDA(6), NUV_LDAF(8), NUV_EQUED(9, 'R'), NUV_LDB(12), NUV_LDX(14))
  NUV_CHECK(double, "DPPSVX",
            ppsvx(p.fact, p.uplo, p.n, p.nrhs, p.a.data(), p.af.data(), p.equed, p.r.data(), p.B(), p.X(), NUV_RESULTS),
            NUV_FACT, NUV_UPLO(2), NUV_N(3), NUV_NRHS(4), NUV_EQUED(7, 'B'), NUV_LDB(10), NUV_LDX(12))
  NUV_CHECK(double, "DPBSVX",
            pbsvx(p.fact, p.uplo, p.n, p.kd, p.nrhs, p.AK(), p.AKF(), p.equed, p.r.data(), p.B(), p.X(), NUV_RESULTS),
            NUV_FACT, NUV_UPLO(2), NUV_N(3), NUV_BAD(4, kd = -1), NUV_NRHS(5), NUV_BAD(7, ldkd = 1),
            NUV_BAD(9, ldkdf = 1), NUV_EQUED(10, 'C'), NUV_LDB(13), NUV_LDX(15))
  NUV_CHECK(double, "DPTSVX",
            ptsvx(p.fact, p.n, p.nrhs, p.df.data(), p.a.data(), p.df.data(), p.af.data(), p.B(), p.X(), p.rcond,
                  p.ferr.data(), p.berr.data(), p.work.data(), p.info),
            NUV_FACT, NUV_NO_SCALING, NUV_N(2), NUV_NRHS(3), NUV_LDB(9), NUV_LDX(11))
  NUV_CHECK(double, "DSYSVX",
            sysvx(p.fact, p.uplo, p.n, p.nrhs, p.A(), p.AF(), p.ipiv.data(), p.B(), p.X(), p.rcond, p.ferr.data(),
                  p.berr.data(), p.work.data(), p.lwork, p.second.data(), p.info),
            NUV_FACT, NUV_NO_SCALING, NUV_UPLO(2), NUV_N(3), NUV_NRHS(4), NUV_LDA(6), NUV_LDAF(8), NUV_LDB(11),
            NUV_LDX(13), NUV_BAD(18, lwork = 5), NUV_BAD(18, lwork = -2))
  NUV_CHECK(double, "DSPSVX",
            spsvx(p.fact, p.uplo, p.n, p.nrhs, p.a.data(), p.af.data(), p.ipiv.data(), p.B(), p.X(), NUV_RESULTS),
            NUV_FACT, NUV_NO_SCALING, NUV_UPLO(2), NUV_N(3), NUV_NRHS(4), NUV_LDB(9), NUV_LDX(11))
  using Z = std::complex<double>;
  NUV_CHECK(Z, "ZPTSVX",
            ptsvx(p.fact, p.n, p.nrhs, p.df.data(), p.a.data(), p.df.data(), p.af.data(), p.B(), p.X(), NUV_RESULTS),
            NUV_FACT, NUV_N(2), NUV_NRHS(3), NUV_LDB(9), NUV_LDX(11))
  NUV_CHECK(Z, "ZHESVX",
            hesvx(p.fact, p.uplo, p.n, p.nrhs, p.A(), p.AF(), p.ipiv.data(), p.B(), p.X(), p.rcond, p.ferr.data(),
                  p.berr.data(), p.work.data(), p.lwork, p.second.data(), p.info),
            NUV_FACT, NUV_UPLO(2), NUV_N(3), NUV_NRHS(4), NUV_LDA(6), NUV_LDAF(8), NUV_LDB(11), NUV_LDX(13),
            NUV_BAD(18, lwork = 3))
  NUV_CHECK(Z, "ZHPSVX",
            hpsvx(p.fact, p.uplo, p.n, p.nrhs, p.a.data(), p.af.data(), p.ipiv.data(), p.B(), p.X(), NUV_RESULTS),
            NUV_FACT, NUV_UPLO(2), NUV_N(3), NUV_NRHS(4), NUV_LDB(9), NUV_LDX(11))
}

/// Given scale factors have to be positive where the letter tells of them.
TEST_F(Checks, OfScaleFactors) {
  using namespace routine_call;
#define NUV_GIVEN(letter, at, side)                                     \
  {                                                                     \
    at, [](auto& p) { p.equed = letter, p.side(2) = 0, p.side.seal(); } \
  }
  NUV_CHECK(double, "DGESVX",
            gesvx(p.fact, p.trans, p.n, p.nrhs, p.A(), p.AF(), p.ipiv.data(), p.equed, p.r.data(), p.c.data(), p.B(),
                  p.X(), NUV_RESULTS),
            NUV_GIVEN('R', 11, r), NUV_GIVEN('b', 11, r))
  NUV_CHECK(double, "DGESVX",
            gesvx(p.fact, p.trans, p.n, p.nrhs, p.A(), p.AF(), p.ipiv.data(), p.equed, p.r.data(), p.c.data(), p.B(),
                  p.X(), NUV_RESULTS),
            NUV_GIVEN('C', 12, c), NUV_GIVEN('B', 12, c))
  NUV_CHECK(double, "DGBSVX",
            gbsvx(p.fact, p.trans, p.n, p.kl, p.ku, p.nrhs, p.AB(), p.AFB(), p.ipiv.data(), p.equed, p.r.data(),
                  p.c.data(), p.B(), p.X(), NUV_RESULTS),
            NUV_GIVEN('R', 13, r), NUV_GIVEN('B', 13, r))
  NUV_CHECK(double, "DGBSVX",
            gbsvx(p.fact, p.trans, p.n, p.kl, p.ku, p.nrhs, p.AB(), p.AFB(), p.ipiv.data(), p.equed, p.r.data(),
                  p.c.data(), p.B(), p.X(), NUV_RESULTS),
            NUV_GIVEN('C', 14, c))
  NUV_CHECK(double, "DPOSVX",
            posvx(p.fact, p.uplo, p.n, p.nrhs, p.A(), p.AF(), p.equed, p.r.data(), p.B(), p.X(), NUV_RESULTS),
            NUV_GIVEN('Y', 10, r), NUV_GIVEN('y', 10, r))
  NUV_CHECK(double, "DPPSVX",
            ppsvx(p.fact, p.uplo, p.n, p.nrhs, p.a.data(), p.af.data(), p.equed, p.r.data(), p.B(), p.X(), NUV_RESULTS),
            NUV_GIVEN('Y', 8, r))
  NUV_CHECK(double, "DPBSVX",
            pbsvx(p.fact, p.uplo, p.n, p.kd, p.nrhs, p.AK(), p.AKF(), p.equed, p.r.data(), p.B(), p.X(), NUV_RESULTS),
            NUV_GIVEN('Y', 11, r))
}

}  // namespace
}  // namespace nuv::test
