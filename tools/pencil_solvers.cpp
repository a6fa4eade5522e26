#include "pencil_solvers.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

#include "routines.hpp"
#include "workspace.hpp"

namespace nuv::tools {
namespace {

/// Arrays that a driver fills or works in, as it takes them.
template <Scalar T>
struct DriverArrays {
  std::vector<T> alpha, beta;
  std::vector<Real<T>> imaginary, reals;
  std::vector<Int> integers, flags;

  explicit DriverArrays(std::size_t n)
      : alpha(n), beta(n), imaginary(n), reals(8 * n + 1), integers(n + 6), flags(n + 1) {}

  auto values() {
    if constexpr (ComplexScalar<T>) return std::tuple(alpha.data(), beta.data());
    else return std::tuple(alpha.data(), imaginary.data(), beta.data());
  }

  /// Behind (work, lwork).
  auto real_work() {
    if constexpr (ComplexScalar<T>) return std::tuple(reals.data());
    else return std::tuple<>();
  }

  void give_to(PencilPairs<T>& result) const {
    for (std::size_t k = 0; k < alpha.size(); ++k) {
      if constexpr (ComplexScalar<T>) result.alpha.push_back(alpha[k]);
      else result.alpha.emplace_back(alpha[k], imaginary[k]);
      result.beta.push_back(std::real(beta[k]));
    }
  }
};

/// Eigenvalues and vectors as ggev finds them.
template <Scalar T>
void find_pairs(DenseMatrix<T>& a, DenseMatrix<T>& b, char job_left, char job_right, DriverArrays<T>& arrays,
                PencilPairs<T>& result) {
  const Int n = a.rows, ld = a.ld();
  result.driver = "ggev";
  result.info = with_workspace<T>([&](T* work, const Int* lwork, Int* info) {
    std::apply(
        Routines<T>::ggev,
        std::tuple_cat(std::tuple(&job_left, &job_right, &n, a.elements.data(), &ld, b.elements.data(), &ld),
                       arrays.values(),
                       std::tuple(result.left.elements.data(), &ld, result.right.elements.data(), &ld, work, lwork),
                       arrays.real_work(), std::tuple(info, 1, 1)));
  });
}

/// With condition numbers, which a scaling would change; an exchange of rows and columns does not.
template <Scalar T>
void find_conditions(DenseMatrix<T>& a, DenseMatrix<T>& b, char job_left, char job_right, DriverArrays<T>& arrays,
                     PencilPairs<T>& result) {
  const Int n = a.rows, ld = a.ld();
  const char balance = 'P', sense = 'B';
  Int ilo, ihi;
  Real<T> norm_of_a, norm_of_b;
  std::vector<Real<T>> left_scale(std::size_t(n) + 1), right_scale(left_scale);
  result.chords.resize(std::size_t(n));
  result.separations.resize(std::size_t(n));
  result.driver = "ggevx";
  result.info = with_workspace<T>([&](T* work, const Int* lwork, Int* info) {
    std::apply(
        Routines<T>::ggevx,
        std::tuple_cat(
            std::tuple(&balance, &job_left, &job_right, &sense, &n, a.elements.data(), &ld, b.elements.data(), &ld),
            arrays.values(),
            std::tuple(result.left.elements.data(), &ld, result.right.elements.data(), &ld, &ilo, &ihi,
                       left_scale.data(), right_scale.data(), &norm_of_a, &norm_of_b, result.chords.data(),
                       result.separations.data(), work, lwork),
            arrays.real_work(), std::tuple(arrays.integers.data(), arrays.flags.data(), info, 1, 1, 1, 1)));
  });
  // The driver's mark of values that may be any number.
  for (Real<T>& chord : result.chords) chord = std::max(chord, Real<T>(0));
}

}  // namespace

template <Scalar T>
bool PencilPairs<T>::any_indefinite() const {
  for (std::size_t k = 0; k < size(); ++k) {
    if (is_indefinite(k)) return true;
  }
  return false;
}

template <Scalar T>
GeneralValues<T> PencilPairs<T>::values() const {
  using R = Real<T>;
  GeneralValues<T> result(size());
  for (std::size_t k = 0; k < size(); ++k) {
    const bool is_second = RealScalar<T> && alpha[k].imag() < 0 && k > 0;
    if (is_indefinite(k)) result[k] = std::numeric_limits<R>::quiet_NaN();
    else if (is_second) result[k] = std::conj(result[k - 1]);
    else if (beta[k] == 0) result[k] = std::numeric_limits<R>::infinity();
    else result[k] = {alpha[k].real() / beta[k], alpha[k].imag() / beta[k]};
    if (std::isinf(result[k].real()) || std::isinf(result[k].imag())) result[k] = std::numeric_limits<R>::infinity();
  }
  return result;
}

template <Scalar T>
PencilPairs<T> pencil_pairs(DenseMatrix<T> a, DenseMatrix<T> b, const GeneralEigenRequest& request) {
  const Int n = a.rows;
  PencilPairs<T> result;
  if (request.left) result.left = DenseMatrix<T>(n, n);
  if (request.right) result.right = DenseMatrix<T>(n, n);
  const char left = request.left ? 'V' : 'N', right = request.right ? 'V' : 'N';
  DriverArrays<T> arrays{std::size_t(n)};
  if (request.conditions) find_conditions(a, b, left, right, arrays, result);
  else find_pairs(a, b, left, right, arrays, result);
  arrays.give_to(result);
  return result;
}

#define NUV_INSTANTIATE(T)        \
  template struct PencilPairs<T>; \
  template PencilPairs<T> pencil_pairs(DenseMatrix<T>, DenseMatrix<T>, const GeneralEigenRequest&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
