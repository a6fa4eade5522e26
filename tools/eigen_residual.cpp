#include "eigen_residual.hpp"

#include <algorithm>
#include <cmath>
#include <complex>

#include "combinations.hpp"
#include "residual.hpp"

namespace nuv::tools {
template <Scalar T>
EigenResiduals residuals_of(const DenseMatrix<T>& a, const Eigenpairs<T>& pairs) {
  const DenseMatrix<T>& z = pairs.vectors;
  const auto v = random_signs<T>(pairs.values.size());
  const auto x = product(z, v);
  const long double residual = distance<T>(product(a, x), product(z, times_values<T>(pairs.values, v)));
  return {in_units<T>(residual, one_norm(a), a.rows), in_units<T>(distance<T>(adjoint_product(z, x), v), 1, a.rows)};
}

template <Scalar T>
EigenResiduals residuals_of(const DenseMatrix<T>& a, const DenseMatrix<T>& b, const Eigenpairs<T>& pairs, Int type) {
  const DenseMatrix<T>& z = pairs.vectors;
  const Int n = a.rows;
  const long double a_norm = one_norm(a), b_norm = one_norm(b), z_norm = one_norm(z);
  const auto v = random_signs<T>(pairs.values.size()), wv = times_values<T>(pairs.values, v);
  const auto x = product(z, v), y = product(z, wv), ax = product(a, x), bx = product(b, x);
  EigenResiduals result;
  if (type == 1) {
    long double largest = 0;
    for (const auto w : pairs.values) largest = std::max(largest, std::abs(static_cast<long double>(w)));
    result.residual = in_units<T>(distance<T>(ax, product(b, y)), (a_norm + b_norm * largest) * z_norm, n);
  } else {
    const auto product_of_both = type == 2 ? product(a, bx) : product(b, ax);
    result.residual = in_units<T>(distance<T>(product_of_both, y), a_norm * b_norm * z_norm, n);
  }
  result.orthogonality = type == 3 ? in_units<T>(distance<T>(adjoint_product(z, ax), wv), a_norm * z_norm * z_norm, n)
                                   : in_units<T>(distance<T>(adjoint_product(z, bx), v), b_norm * z_norm * z_norm, n);
  return result;
}

#define NUV_INSTANTIATE(T)                                                           \
  template EigenResiduals residuals_of(const DenseMatrix<T>&, const Eigenpairs<T>&); \
  template EigenResiduals residuals_of(const DenseMatrix<T>&, const DenseMatrix<T>&, const Eigenpairs<T>&, Int);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
