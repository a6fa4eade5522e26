// What programs in C++ see of the overloads: results, info, options, and how they are declared. The public header alone
// is included, as such programs do.

#include <gtest/gtest.h>

#include <Eigen/Core>
#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <limits>
#include <new>
#include <nuv/nuv.hpp>
#include <span>
#include <string>
#include <type_traits>
#include <vector>

namespace {
std::size_t largest_request = 0;
}  // namespace

// Out of line: inlined, free would look to the compiler as if it took what another function gave.
[[gnu::noinline]] void* operator new(std::size_t size) {
  largest_request = std::max(largest_request, size);
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

using complex = std::complex<double>;
using complex8 = std::complex<float>;
constexpr double inf = std::numeric_limits<double>::infinity();

// ------------------------------------------------------------------------------------------------------- declarations

static_assert(std::is_convertible_v<char, nuv::Uplo> && !std::is_convertible_v<int, nuv::Uplo>);
static_assert(!std::is_convertible_v<double, nuv::Letter> && !std::is_convertible_v<nuv::Side, nuv::Uplo>);
static_assert(nuv::Uplo::lower == 'L' && nuv::Op::adjoint == 'C' && nuv::Norm::frobenius == 'F');

// What allocates may throw, and nothing else.
double* const none = nullptr;
static_assert(noexcept(nuv::gesv(1, 1, none, 1, nullptr, none, 1)));
static_assert(noexcept(nuv::syevd('V', 'L', 1, none, 1, none, none, 1, nullptr, 1)));
static_assert(!noexcept(nuv::syevd('V', 'L', 1, none, 1, none)));
static_assert(noexcept(nuv::lange('I', 1, 1, none, 1, none)) && !noexcept(nuv::lange('I', 1, 1, none, 1)));
static_assert(noexcept(nuv::dot(1, none, 1, none, 1)));

// Values have the types of their precision.
static_assert(std::is_same_v<decltype(nuv::lange('I', 1, 1, static_cast<complex8*>(nullptr), 1)), float>);
static_assert(std::is_same_v<
              decltype(nuv::dotc(1, static_cast<complex*>(nullptr), 1, static_cast<complex*>(nullptr), 1)), complex>);
static_assert(std::is_same_v<decltype(nuv::isnan(1.0F)), bool>);

// ------------------------------------------------------------------------------------------------------------- results

const std::vector<double> diagonal{3, 0, 0, 0, 1, 0, 0, 0, 2};
const std::vector<double> symmetric{2, 1, 0, 1, 2, 1, 0, 1, 2};

TEST(Overloads, GesvSolvesAndTellsOfASingularMatrix) {
  std::vector<double> a{2, 4, 8, 1, 3, 7, 1, 3, 9}, b{4, 10, 24};
  std::vector<int> pivots(3);
  EXPECT_EQ(nuv::gesv(3, 1, a.data(), 3, pivots.data(), b.data(), 3), 0);
  for (const double x : b) EXPECT_NEAR(x, 1, 1e-14);

  std::array<float, 4> singular{1, 2, 2, 4};
  std::array<float, 2> c{1, 1};
  EXPECT_EQ(nuv::gesv(2, 1, singular.data(), 2, pivots.data(), c.data(), 2), 2);
}

TEST(Overloads, InfoTellsWhichArgumentIsBad) {
  std::vector<double> a(4), w(2), z(4);
  testing::internal::CaptureStderr();
  EXPECT_EQ(nuv::gesv(2, 1, a.data(), 1, nullptr, w.data(), 2), -4);
  EXPECT_EQ(nuv::syevd('V', 'L', 2, a.data(), 1, w.data()), -5);
  EXPECT_EQ(nuv::syev('x', 'L', 2, a.data(), 2, w.data()), -1);
  EXPECT_EQ(nuv::stev('V', 2, a.data(), w.data(), z.data(), 1), -6);
  // Once each, though some ask for workspace first.
  const std::string reports = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::count(reports.begin(), reports.end(), '\n'), 4) << reports;
}

TEST(Overloads, PotrfWithNamedOptions) {
  std::vector<double> a = symmetric;
  EXPECT_EQ(nuv::potrf(nuv::Uplo::lower, 3, a.data(), 3), 0);
  EXPECT_NEAR(a[8] * a[8], 4.0 / 3, 1e-14);
  EXPECT_EQ(a[3], 1);  // the other triangle
  std::vector<complex> indefinite{1, 0, 0, -1};
  EXPECT_EQ(nuv::potrf(nuv::Uplo::upper, 2, indefinite.data(), 2), 2);
}

TEST(Overloads, SyevdAllocatesItsWorkspaces) {
  std::vector<double> a = symmetric;
  std::vector<double> w(3);
  EXPECT_EQ(nuv::syevd(nuv::Job::vectors, nuv::Uplo::upper, 3, a.data(), 3, w.data()), 0);
  EXPECT_NEAR(w[0], 2 - std::sqrt(2), 1e-14);
  EXPECT_NEAR(w[1], 2, 1e-14);
  EXPECT_NEAR(w[2], 2 + std::sqrt(2), 1e-14);
  EXPECT_NEAR(a[3] + a[5], 0, 1e-14);  // of the eigenvalue 2: (1, 0, -1)
}

TEST(Overloads, HeevdHasThreeWorkspaces) {
  std::vector<complex> a{2, complex(0, -1), complex(0, 1), 2};
  std::vector<double> w(2);
  EXPECT_EQ(nuv::heevd('V', 'L', 2, a.data(), 2, w.data()), 0);
  EXPECT_NEAR(w[0], 1, 1e-14);
  EXPECT_NEAR(w[1], 3, 1e-14);
}

TEST(Overloads, EigenvaluesByNumber) {
  std::vector<double> a = diagonal, w(3), z(9);
  std::vector<int> places(6);
  int found = -1;
  EXPECT_EQ(nuv::syevr(nuv::Job::vectors, nuv::Range::numbers, 'U', 3, a.data(), 3, 0, 0, 2, 3, 0, found, w.data(),
                       z.data(), 3, places.data()),
            0);
  EXPECT_EQ(found, 2);
  EXPECT_NEAR(w[0], 2, 1e-14);
  EXPECT_NEAR(w[1], 3, 1e-14);
  EXPECT_NEAR(std::abs(z[2]), 1, 1e-14);
}

TEST(Overloads, GesddOfEveryPrecisionAlike) {
  const auto values_of = []<class T>(T) {
    std::vector<T> a{3, 0, 0, 0, -4, 0};
    using R = decltype(std::abs(T()));
    std::vector<R> s(2);
    std::vector<T> u(6), vt(4);
    EXPECT_EQ(nuv::gesdd(nuv::Job::thin, 3, 2, a.data(), 3, s.data(), u.data(), 3, vt.data(), 2), 0);
    EXPECT_NEAR(s[0], 4, 1e-6);
    EXPECT_NEAR(s[1], 3, 1e-6);
    EXPECT_NEAR(std::abs(u[0]) + std::abs(u[1]), 1, 1e-6);
  };
  values_of(float());
  values_of(double());
  values_of(complex8());
  values_of(complex());
}

TEST(Overloads, GelsFitsALine) {
  std::vector<double> a{1, 1, 1, 0, 1, 2}, b{1, 3, 5};
  EXPECT_EQ(nuv::gels(nuv::Op::none, 3, 2, 1, a.data(), 3, b.data(), 3), 0);
  EXPECT_NEAR(b[0], 1, 1e-14);
  EXPECT_NEAR(b[1], 2, 1e-14);
}

TEST(Overloads, ProductsOfMatricesInSpansAndEigen) {
  std::array<double, 6> a{1, 2, 3, 4, 5, 6};  // 2 by 3
  const std::span<const double> view(a);
  Eigen::MatrixXd B = Eigen::MatrixXd::Identity(3, 3) * 2, C = Eigen::MatrixXd::Ones(2, 3);
  nuv::gemm('N', 'N', 2, 3, 3, 1.0, view.data(), 2, B.data(), 3, 1.0, C.data(), 2);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(C.data()[i], 2 * a[i] + 1);

  // A transposed operand, and single precision with literals in double.
  std::array<float, 4> x{1, 2, 3, 4}, y{};
  nuv::gemm(nuv::Op::transpose, nuv::Op::none, 2, 2, 2, 1, x.data(), 2, x.data(), 2, 0, y.data(), 2);
  EXPECT_EQ(y, (std::array<float, 4>{5, 11, 11, 25}));
}

TEST(Overloads, ValuesAreReturned) {
  const std::vector<complex> x{{1, 2}, {3, -1}}, y{{2, 0}, {0, 1}};
  EXPECT_EQ(nuv::dotc(2, x.data(), 1, y.data(), 1), std::conj(x[0]) * y[0] + std::conj(x[1]) * y[1]);
  EXPECT_EQ(nuv::dotu(2, x.data(), 1, y.data(), 1), x[0] * y[0] + x[1] * y[1]);
  EXPECT_EQ(nuv::dot(2, symmetric.data(), 1, symmetric.data(), 1), 5);
  EXPECT_EQ(nuv::iamax(9, diagonal.data(), 1), 1);
  EXPECT_EQ(nuv::lange(nuv::Norm::infinity, 3, 3, symmetric.data(), 3), 4);
  EXPECT_EQ(nuv::lange('M', 2, 1, x.data(), 2), std::abs(x[1]));
  EXPECT_EQ(nuv::lansy('1', 'L', 3, symmetric.data(), 3), 4);
  EXPECT_EQ(nuv::lamch<double>('E'), std::numeric_limits<double>::epsilon() / 2);
  EXPECT_EQ(nuv::lamch<float>('e'), std::numeric_limits<float>::epsilon() / 2);
  EXPECT_TRUE(nuv::isnan(inf - inf));
  EXPECT_FALSE(nuv::isnan(inf));
  EXPECT_TRUE(nuv::lsamen(3, "GETRF", "getrs"));
  EXPECT_GT(nuv::ilaenv(1, "DGETRF", " ", 500, 500, -1, -1), 1);
}

TEST(Overloads, OutputsAreReferences) {
  double a = 3, b = 4, c = 0, s = 0;
  nuv::rotg(a, b, c, s);
  EXPECT_DOUBLE_EQ(a, 5);
  EXPECT_DOUBLE_EQ(c, 0.6);

  std::vector<double> matrix = diagonal;
  std::vector<int> pivots(3);
  double rcond = 0;
  ASSERT_EQ(nuv::getrf(3, 3, matrix.data(), 3, pivots.data()), 0);
  EXPECT_EQ(nuv::gecon('1', 3, matrix.data(), 3, 3.0, rcond), 0);
  EXPECT_DOUBLE_EQ(rcond, 1.0 / 3);
}

/// Lambdas without captures are functions.
TEST(Overloads, SelectIsAFunctionOfTheCaller) {
  std::vector<double> a{3, 0, 0, 1, -1, 0, 1, 1, -2}, wr(3), wi(3), z(9);
  int count = 9;
  const auto is_negative = [](const double* re, const double*) -> int { return *re < 0; };
  ASSERT_EQ(nuv::gees(nuv::Job::vectors, 'S', is_negative, 3, a.data(), 3, count, wr.data(), wi.data(), z.data(), 3),
            0);
  EXPECT_EQ(count, 2);
  EXPECT_NEAR(wr[2], 3, 1e-14);

  std::vector<complex> c{complex(0, -1), 0, 1, complex(0, 2)}, w(2);
  const auto is_above = [](const complex* value) -> int { return value->imag() > 0; };
  ASSERT_EQ(nuv::gees('N', 'S', is_above, 2, c.data(), 2, count, w.data(), nullptr, 1), 0);
  EXPECT_EQ(count, 1);
  EXPECT_NEAR(w[0].imag(), 2, 1e-14);
}

TEST(Overloads, SelectionOfGeneralisedEigenvalues) {
  // Values 3, -1 and -2.
  std::vector<double> a{6, 0, 0, 1, -1, 0, 1, 1, -8}, b{2, 0, 0, 0, 1, 0, 0, 0, 4}, re(3), im(3), beta(3), q(9), z(9);
  int count = 9;
  const auto is_negative = [](const double* alpha, const double*, const double*) -> int { return *alpha < 0; };
  ASSERT_EQ(nuv::gges(nuv::Job::vectors, 'V', 'S', is_negative, 3, a.data(), 3, b.data(), 3, count, re.data(),
                      im.data(), beta.data(), q.data(), 3, z.data(), 3),
            0);
  EXPECT_EQ(count, 2);
  EXPECT_NEAR(re[2] / beta[2], 3, 1e-14);

  std::vector<complex> c{complex(0, -1), 0, 1, complex(0, 4)}, d{1, 0, 0, 2}, w(2), unit(2);
  const auto is_above = [](const complex* alpha, const complex* scale) -> int { return alpha->imag() > scale->real(); };
  ASSERT_EQ(nuv::gges('N', 'N', 'S', is_above, 2, c.data(), 2, d.data(), 2, count, w.data(), unit.data(), nullptr, 1,
                      nullptr, 1),
            0);
  EXPECT_EQ(count, 1);
  EXPECT_NEAR(w[0].imag() / unit[0].real(), 2, 1e-14);
}

/// Real and complex members whose names differ go by the real name, too.
TEST(Overloads, OneNameForRealAndComplex) {
  const auto check = []<class T>(T) {
    std::vector<T> a{3, 4, 0, 1}, tau(2);
    ASSERT_EQ(nuv::geqrf(2, 2, a.data(), 2, tau.data()), 0);
    ASSERT_EQ(nuv::orgqr(2, 2, 2, a.data(), 2, tau.data()), 0);
    EXPECT_NEAR(std::abs(a[0]), 0.6, 1e-6);
    EXPECT_NEAR(std::abs(a[1]), 0.8, 1e-6);
  };
  check(float());
  check(complex());
}

// -------------------------------------------------------------------------------------------------------------- memory

/// Nothing of these is read, and nobody is asked for so much: they are refused before.
TEST(Overloads, SizesThatFitNoTypeAreRefused) {
  const int huge = std::numeric_limits<int>::max();
  largest_request = 0;
  EXPECT_THROW(static_cast<void>(nuv::bdsdc('U', 'I', huge, none, none, none, huge, none, huge, none, nullptr)),
               std::bad_alloc);
  // Of more elements than an lwork can say.
  EXPECT_THROW(static_cast<void>(nuv::syevd('V', 'L', 40000, none, 40000, none)), std::bad_alloc);
  EXPECT_LT(largest_request, 1000000U);
}

TEST(Overloads, SizesOfWorkspace) {
  using nuv::workspace::as_int, nuv::workspace::is, nuv::workspace::Memory;
  const std::array<std::array<double, 2>, 6> logarithms{{{0, 0}, {1, 0}, {2, 1}, {3, 2}, {1024, 10}, {1025, 11}}};
  for (const auto& [x, l] : logarithms) EXPECT_EQ(nuv::workspace::log2(x), l) << x;
  EXPECT_TRUE(is('l', 'L') && is('L', 'L') && !is('r', 'L') && is('1', '1'));
  EXPECT_EQ((std::array{as_int(-3), as_int(0), as_int(7), as_int(1e300)}),
            (std::array{1, 1, 7, std::numeric_limits<int>::max()}));
  EXPECT_EQ(Memory<double>(-5).length(), 1);
  EXPECT_EQ(Memory<complex>().length(), -1);
  EXPECT_THROW(Memory<double>(1e19), std::bad_alloc);
}

}  // namespace
