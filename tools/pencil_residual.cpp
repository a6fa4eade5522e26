#include "pencil_residual.hpp"

#include <complex>

#include "combinations.hpp"
#include "residual.hpp"

namespace nuv::tools {
namespace {

using WideComplex = std::complex<long double>;

/// An eigenvalue with |beta| a + |alpha| b = 1 for the norms a and b; both parts of an indefinite one are zero.
struct UnitValue {
  WideComplex alpha;
  long double beta;

  UnitValue(WideComplex alpha_, long double beta_, long double a_norm, long double b_norm)
      : alpha(alpha_), beta(beta_) {
    const long double size = std::abs(beta) * a_norm + std::abs(alpha) * b_norm;
    if (size == 0) return;
    alpha /= size;
    beta /= size;
  }
};

/// The eigenvalues, of a pair of real matrices both from the first, so that they are conjugates.
template <Scalar T>
std::vector<UnitValue> unit_values(const PencilPairs<T>& pairs, long double a_norm, long double b_norm) {
  std::vector<UnitValue> result;
  for (std::size_t k = 0; k < pairs.size(); ++k) {
    const WideComplex alpha(pairs.alpha[k].real(), pairs.alpha[k].imag());
    result.emplace_back(alpha, pairs.beta[k], a_norm, b_norm);
    if (RealScalar<T> && alpha.imag() < 0 && k > 0) {
      result[k] = result[k - 1];
      result[k].alpha = std::conj(result[k].alpha);
    }
  }
  return result;
}

template <Scalar T>
Columns<T> times_beta(const std::vector<UnitValue>& values, Columns<T> x) {
  for (auto& column : x) {
    for (std::size_t k = 0; k < column.size(); ++k) column[k] *= values[k].beta;
  }
  return x;
}

/// a X, or a^H X.
template <Scalar T>
Columns<T> times_alpha(const std::vector<UnitValue>& values, const Columns<T>& x, bool conjugated) {
  const auto alpha = [&](std::size_t k) { return conjugated ? std::conj(values[k].alpha) : values[k].alpha; };
  return diagonal_product<T>(alpha, x);
}

}  // namespace

template <Scalar T>
long double right_residual(const DenseMatrix<T>& a, const DenseMatrix<T>& b, const PencilPairs<T>& pairs) {
  const DenseMatrix<T>& v = pairs.right;
  const auto values = unit_values(pairs, one_norm(a), one_norm(b));
  const auto signs = random_signs<T>(pairs.size());
  const auto of_a = product(a, product(v, times_beta<T>(values, signs)));
  const auto of_b = product(b, product(v, times_alpha<T>(values, signs, false)));
  return in_units<T>(distance<T>(of_a, of_b), one_norm(v), a.rows);
}

template <Scalar T>
long double left_residual(const DenseMatrix<T>& a, const DenseMatrix<T>& b, const PencilPairs<T>& pairs) {
  const DenseMatrix<T>& u = pairs.left;
  const auto values = unit_values(pairs, infinity_norm(a), infinity_norm(b));
  const auto signs = random_signs<T>(pairs.size());
  const auto of_a = adjoint_product(a, product(u, times_beta<T>(values, signs)));
  const auto of_b = adjoint_product(b, product(u, times_alpha<T>(values, signs, true)));
  return in_units<T>(distance<T>(of_a, of_b), one_norm(u), a.rows);
}

#define NUV_INSTANTIATE(T)                                                                                  \
  template long double right_residual(const DenseMatrix<T>&, const DenseMatrix<T>&, const PencilPairs<T>&); \
  template long double left_residual(const DenseMatrix<T>&, const DenseMatrix<T>&, const PencilPairs<T>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
