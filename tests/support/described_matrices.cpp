#include "support/described_matrices.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

#include "routines.hpp"
#include "support/precisions.hpp"

namespace nuv::test {
namespace {

using Seed = std::array<Int, 4>;

template <RealScalar R>
R power_of_eps(double exponent) {
  return std::pow(epsilon<R>, R(exponent));
}

/// The values of a matrix, the largest of them 1, random ones less.
template <RealScalar R>
std::vector<R> spectrum(const Description& description, Int count, Seed& iseed) {
  std::vector<R> d(static_cast<std::size_t>(count));
  Int info = 99;
  routine_call::latm1(description.mode, power_of_eps<R>(-description.condition), 0, 1, iseed.data(), d.data(), count,
                      info);
  EXPECT_EQ(info, 0);
  std::fill(d.begin() + DescribedMatrices::rank(description, count), d.end(), R(0));
  return d;
}

template <Scalar T>
GuardedMatrix<T> with_spectrum(const Description& description, char sym, Int m, Int n, Int ld, Seed& iseed) {
  auto d = spectrum<Real<T>>(description, std::min(m, n), iseed);
  GuardedMatrix<T> A(m, n, ld);
  std::vector<T> work(3 * static_cast<std::size_t>(std::max(m, n)));
  Int info = 99;
  routine_call::latms(m, n, 'U', iseed.data(), sym, d.data(), 0, Real<T>(1), Real<T>(1), description.lower,
                      description.upper, 'N', Matrix<T>(A), work.data(), info);
  EXPECT_EQ(info, 0) << description.name;
  EXPECT_TRUE(A.guards_unchanged());
  return A;
}

/// The grade that starts at 1 and gets smaller, or, for a negative power, ends there; with the mode for it.
template <RealScalar R>
struct Grade {
  explicit Grade(double power) : mode(power < 0 ? -3 : 3), cond(power_of_eps<R>(-std::abs(power))) {}
  Int mode;
  R cond;
};

/// Elements are uniform on (-1, 1) before they are graded; those on the diagonal of a Hermitian matrix are larger than
/// its other eigenvalues could be, which are no more than about 1.7 sqrt(n).
template <Scalar T>
GuardedMatrix<T> graded(const Description& description, bool is_hermitian, Int m, Int n, Int ld, Seed& iseed) {
  using R = Real<T>;
  const Grade<R> rows(description.row_grade), columns(description.column_grade);
  const Int mode = is_hermitian ? 1 : 6;
  const T dmax = T(R(2 * std::sqrt(n + 1.0) + 1));
  std::vector<T> d(static_cast<std::size_t>(std::min(m, n))), dl(static_cast<std::size_t>(m)),
      dr(static_cast<std::size_t>(n));
  GuardedMatrix<T> A(m, n, ld);
  Int info = 99;
  routine_call::latmr(m, n, 'S', iseed.data(), is_hermitian ? 'H' : 'N', d.data(), mode, R(1), dmax, 'F',
                      is_hermitian ? 'H' : 'B', dl.data(), rows.mode, rows.cond, dr.data(), columns.mode, columns.cond,
                      'N', nullptr, description.lower, description.upper, R(0), R(-1), 'N', Matrix<T>(A), nullptr,
                      info);
  EXPECT_EQ(info, 0) << description.name;
  EXPECT_TRUE(A.guards_unchanged());
  return A;
}

}  // namespace

Int DescribedMatrices::rank(const Description& description, Int count) {
  return static_cast<Int>(std::ceil(description.rank * count));
}

template <Scalar T>
GuardedMatrix<T> DescribedMatrices::general(const Description& description, Int m, Int n, Int ld) {
  GuardedMatrix<T> A = description.is_graded() ? graded<T>(description, false, m, n, ld, iseed_)
                                               : with_spectrum<T>(description, 'N', m, n, ld, iseed_);
  A.seal();
  return A;
}

template <Scalar T>
GuardedMatrix<T> DescribedMatrices::hermitian(const Description& description, Int n, Int ld) {
  GuardedMatrix<T> A = description.is_graded() ? graded<T>(description, true, n, n, ld, iseed_)
                                               : with_spectrum<T>(description, 'H', n, n, ld, iseed_);
  A.seal();
  return A;
}

#define NUV_INSTANTIATE(T)                                                                    \
  template GuardedMatrix<T> DescribedMatrices::general<T>(const Description&, Int, Int, Int); \
  template GuardedMatrix<T> DescribedMatrices::hermitian<T>(const Description&, Int, Int);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::test
