#include "singular_residual.hpp"

#include <algorithm>
#include <complex>

#include "combinations.hpp"
#include "residual.hpp"

namespace nuv::tools {

template <Scalar T>
SingularResiduals residuals_of(const DenseMatrix<T>& a, const SingularDecomposition<T>& decomposition) {
  const auto& [values, u, vh, info] = decomposition;
  const Int n = std::max(a.rows, a.columns);

  // Vectors that belong to no value have no part in the product.
  const auto v = random_signs<T>(static_cast<std::size_t>(a.columns));
  auto parts = product(vh, v);
  for (auto& column : parts) column.resize(values.size());
  parts = times_values<T>(values, std::move(parts));
  for (auto& column : parts) column.resize(static_cast<std::size_t>(u.columns));
  const long double residual = distance<T>(product(a, v), product(u, parts));

  const auto on_the_left = random_signs<T>(static_cast<std::size_t>(u.columns)),
             on_the_right = random_signs<T>(static_cast<std::size_t>(vh.rows));
  const long double left = distance<T>(adjoint_product(u, product(u, on_the_left)), on_the_left),
                    right = distance<T>(product(vh, adjoint_product(vh, on_the_right)), on_the_right);
  return {in_units<T>(residual, one_norm(a), n), in_units<T>(std::max(left, right), 1, n)};
}

#define NUV_INSTANTIATE(T) \
  template SingularResiduals residuals_of(const DenseMatrix<T>&, const SingularDecomposition<T>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
