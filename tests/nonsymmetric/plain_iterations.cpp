#include "nonsymmetric/plain_iterations.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace nuv::test {
namespace {

template <Scalar T>
WideReal<T> part_sum(const Wide<T>& x) {
  if constexpr (ComplexScalar<T>) return std::abs(x.real()) + std::abs(x.imag());
  else return std::abs(x);
}

/// H := P^H H P and Z := Z P for the reflector P of which P^H takes the vector x, in rows from `first`, to a real
/// multiple of e1, whose sign is opposite to that of x1. Counted from zero.
template <Scalar T>
void reflect(PlainIteration<T>& iteration, Eigen::Index first, WideMatrix<T> x) {
  const WideReal<T> norm = x.norm();
  if (x.size() == 1 || (x.bottomRows(x.size() - 1).norm() == 0 && std::imag(x(0)) == 0)) return;
  const WideReal<T> beta = std::real(x(0)) < 0 ? norm : -norm;
  const Wide<T> alpha = x(0), tau = (beta - alpha) / beta;
  x /= alpha - beta;
  x(0) = Wide<T>(1);
  WideMatrix<T> P = WideMatrix<T>::Identity(x.size(), x.size());
  P -= product<T>(tau * x, x.adjoint());
  iteration.H.middleRows(first, x.size()) = product<T>(P.adjoint(), iteration.H.middleRows(first, x.size()));
  iteration.H.middleCols(first, x.size()) = product<T>(iteration.H.middleCols(first, x.size()), P);
  iteration.Z.middleCols(first, x.size()) = product<T>(iteration.Z.middleCols(first, x.size()), P);
}

/// Chases a bulge from row m down to row i; v is the first column of what it begins with. Counted from zero.
template <Scalar T>
void chase(PlainIteration<T>& iteration, Eigen::Index m, Eigen::Index i, const WideMatrix<T>& v) {
  WideMatrix<T>& H = iteration.H;
  const Eigen::Index length = v.size();
  reflect<T>(iteration, m, v.topRows(std::min(length, i - m + 1)));
  for (Eigen::Index k = m + 1; k < i; ++k) {
    const Eigen::Index rows = std::min(length, i - k + 1);
    reflect<T>(iteration, k, H.block(k, k - 1, rows, 1));
    H.block(k + 1, k - 1, rows - 1, 1).setZero();
  }
}

/// Whether h(k, k - 1) is negligible in a matrix of which all rows are active. Counted from zero.
template <Scalar T>
bool is_negligible(const WideMatrix<T>& H, Eigen::Index k, WideReal<T>& s) {
  using W = WideReal<T>;
  const W ulp = std::numeric_limits<Real<T>>::epsilon();
  const W small = std::numeric_limits<Real<T>>::min() * (W(H.rows()) / ulp);
  const W below = std::abs(H(k, k - 1)), above = part_sum<T>(H(k - 1, k)), last = part_sum<T>(H(k, k));
  if (below <= small) return true;
  W sum = part_sum<T>(H(k - 1, k - 1)) + last;
  if (sum == 0 && k >= 2) sum += std::abs(H(k - 1, k - 2));
  if (sum == 0 && k >= 2 && k + 1 < H.rows()) sum += std::abs(H(k + 1, k));
  if (below > ulp * sum) return false;
  const W gap = part_sum<T>(Wide<T>(H(k - 1, k - 1) - H(k, k)));
  s = std::max(last, gap) + std::max(below, above);
  return std::min(below, above) * (std::max(below, above) / s) <=
         std::max(small, ulp * (std::min(last, gap) * (std::max(last, gap) / s)));
}

/// The eigenvalues of [a b; c d], as they come to stand when it is brought to Schur form.
template <class W>
std::array<std::complex<W>, 2> pair_of_values(W a, W b, W c, W d) {
  if (c == 0) return {a, d};
  if (b == 0) return {d, a};
  const W p = (a - d) / 2, square = p * p + b * c;
  if (square < 0) return {std::complex<W>((a + d) / 2, std::sqrt(-square)), {(a + d) / 2, -std::sqrt(-square)}};
  const W z = p + std::copysign(std::sqrt(square), p);
  return {d + z, d - b * c / z};
}

/// Two shifts for a real matrix, one for a complex matrix.
template <Scalar T>
std::vector<std::complex<WideReal<T>>> shifts_for(const WideMatrix<T>& H, Eigen::Index i, bool exceptional,
                                                  WideReal<T>& s) {
  using W = WideReal<T>;
  if constexpr (ComplexScalar<T>) {
    if (exceptional) return {H(i, i) + W(0.75) * std::abs(H(i, i - 1))};
    const Wide<T> p = (H(i - 1, i - 1) - H(i, i)) / W(2);
    const Wide<T> root = std::sqrt(p * p + H(i - 1, i) * H(i, i - 1));
    const Wide<T> one = H(i, i) + p + root, other = H(i, i) + p - root;
    return {std::abs(one - H(i, i)) < std::abs(other - H(i, i)) ? one : other};
  } else {
    const W d = H(i, i);
    const auto pair = exceptional ? pair_of_values<W>(W(0.75) * s + d, W(-0.4375) * s, s, W(0.75) * s + d)
                                  : pair_of_values<W>(H(i - 1, i - 1), H(i - 1, i), H(i, i - 1), d);
    const W reference = exceptional ? W(0.75) * s + d : d;
    if (pair[0].imag() != 0) return {pair[0], pair[1]};
    const bool first_is_nearer = std::abs(pair[0] - reference) <= std::abs(pair[1] - reference);
    return std::vector(2, first_is_nearer ? pair[0] : pair[1]);
  }
}

/// The first column of the product of shifted matrices from row m on, as far as it isn't zero, of which the sum of
/// magnitudes is one.
template <Scalar T>
WideMatrix<T> first_column(const WideMatrix<T>& H, Eigen::Index m, const std::vector<std::complex<WideReal<T>>>& shifts,
                           WideReal<T>& s) {
  using Complex = std::complex<WideReal<T>>;
  const Complex a = H(m, m), c = H(m + 1, m);
  std::vector<Complex> v{a - shifts[0], c};
  if (shifts.size() == 2) {
    const Complex b = H(m, m + 1), d = H(m + 1, m + 1);
    v = {(a - shifts[0]) * (a - shifts[1]) + b * c, c * (a + d - shifts[0] - shifts[1]), c * Complex(H(m + 2, m + 1))};
  }
  WideMatrix<T> column(Eigen::Index(v.size()), 1);
  for (Eigen::Index i = 0; i < column.size(); ++i) {
    if constexpr (ComplexScalar<T>) column(i) = v[std::size_t(i)];
    else column(i) = v[std::size_t(i)].real();
  }
  if (shifts.size() == 2) column /= std::abs((a - shifts[1]).real()) + std::abs(shifts[1].imag()) + std::abs(c);
  s = column.cwiseAbs().sum();
  return column / s;
}

}  // namespace

template <Scalar T>
PlainIteration<T> plain_schur_form(const WideMatrix<T>& A) {
  using W = WideReal<T>;
  const W ulp = std::numeric_limits<Real<T>>::epsilon();
  constexpr Eigen::Index block = RealScalar<T> ? 2 : 1;
  PlainIteration<T> iteration{A, WideMatrix<T>::Identity(A.rows(), A.cols()), {}};
  WideMatrix<T>& H = iteration.H;
  iteration.values.resize(std::size_t(A.rows()));
  W s = 0;
  for (Eigen::Index i = A.rows() - 1, l = 0; i >= 0; i = l - 1) {
    l = 0;
    for (int its = 0;; ++its) {
      Eigen::Index k = i;
      while (k > l && !is_negligible<T>(H, k, s)) --k;
      l = k;
      if (l > 0) H(l, l - 1) = 0;
      if (l > i - block || its > 30) break;
      const bool exceptional = its == 10 || its == 20;
      iteration.was_stuck = iteration.was_stuck || exceptional;
      ++iteration.sweeps;
      const auto shifts = shifts_for<T>(H, i, exceptional, s);
      Eigen::Index m = i - block;
      WideMatrix<T> v = first_column<T>(H, m, shifts, s);
      const auto may_start = [&] {
        W around = part_sum<T>(H(m, m)) + part_sum<T>(H(m + 1, m + 1)), weight = part_sum<T>(v(0)), rest = 0;
        for (Eigen::Index r = 1; r < v.size(); ++r) rest += std::abs(v(r));
        if (RealScalar<T>) around += std::abs(H(m - 1, m - 1));
        return std::abs(H(m, m - 1)) * rest <= ulp * weight * around;
      };
      while (m > l && !may_start()) v = first_column<T>(H, --m, shifts, s);
      chase<T>(iteration, m, i, v);
      if (m > l) H.block(m + 1, m - 1, std::min(block, i - m), 1).setZero();
    }
    const auto at = iteration.values.begin() + l;
    if (l == i) {
      *at = H(i, i);
    } else if constexpr (RealScalar<T>) {
      std::ranges::copy(pair_of_values<W>(H(l, l), H(l, i), H(i, l), H(i, i)), at);
    }
  }
  return iteration;
}

template <Scalar T>
PlainIteration<T> plain_sweep(const WideMatrix<T>& A, Int first, Int last,
                              const std::vector<std::complex<WideReal<T>>>& shifts) {
  PlainIteration<T> iteration{A, WideMatrix<T>::Identity(A.rows(), A.cols()), {}};
  const Eigen::Index f = first - 1, size = last - first + 1, rows = std::min<Eigen::Index>(3, size);
  for (std::size_t pair = shifts.size() / 2; pair-- > 0;) {
    const auto s1 = shifts[2 * pair], s2 = shifts[2 * pair + 1];
    using Full = Eigen::Matrix<std::complex<WideReal<T>>, Eigen::Dynamic, Eigen::Dynamic>;
    const Full B = iteration.H.block(f, f, rows, rows).template cast<std::complex<WideReal<T>>>();
    const Full column = B * B.col(0) - (s1 + s2) * B.col(0) + s1 * s2 * Full::Identity(rows, 1);
    WideMatrix<T> v(rows, 1);
    for (Eigen::Index i = 0; i < rows; ++i) {
      if constexpr (ComplexScalar<T>) v(i) = column(i);
      else v(i) = column(i).real();
    }
    chase<T>(iteration, f, last - 1, v);
  }
  return iteration;
}

#define NUV_INSTANTIATE(T)                                                  \
  template PlainIteration<T> plain_schur_form<T>(const WideMatrix<T>&);     \
  template PlainIteration<T> plain_sweep<T>(const WideMatrix<T>&, Int, Int, \
                                            const std::vector<std::complex<WideReal<T>>>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)

}  // namespace nuv::test
