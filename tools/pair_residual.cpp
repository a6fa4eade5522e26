#include "pair_residual.hpp"

#include <algorithm>
#include <complex>

#include "combinations.hpp"
#include "residual.hpp"

namespace nuv::tools {
namespace {

/// ||A - U C X^H|| in its units, the diagonal of C, of which `skipped` elements are left out in front, in `values`.
template <Scalar T>
long double residual_of(const DenseMatrix<T>& a, const DenseMatrix<T>& left, const std::vector<Real<T>>& values,
                        std::size_t skipped, const DenseMatrix<T>& right) {
  const auto signs = random_signs<T>(static_cast<std::size_t>(a.columns));
  auto parts = times_values<T>(values, adjoint_product(right, signs));
  for (auto& column : parts) {
    column.erase(column.begin(), column.begin() + static_cast<std::ptrdiff_t>(skipped));
    column.resize(static_cast<std::size_t>(left.columns));
  }
  return in_units<T>(distance<T>(product(a, signs), product(left, parts)), one_norm(a), std::max(a.rows, a.columns));
}

template <Scalar T>
long double orthogonality_of(const DenseMatrix<T>& u) {
  const auto signs = random_signs<T>(static_cast<std::size_t>(u.columns));
  return in_units<T>(distance<T>(adjoint_product(u, product(u, signs)), signs), 1, u.rows);
}

}  // namespace

template <Scalar T>
SingularResiduals residuals_of(const DenseMatrix<T>& a, const DenseMatrix<T>& b,
                               const PairDecomposition<T>& decomposition) {
  const auto& d = decomposition;
  return {std::max(residual_of(a, d.left_of_a, d.cosines, 0, d.right),
                   residual_of(b, d.left_of_b, d.sines, std::size_t(d.rank() - d.rank_of_b), d.right)),
          std::max(orthogonality_of(d.left_of_a), orthogonality_of(d.left_of_b))};
}

#define NUV_INSTANTIATE(T) \
  template SingularResiduals residuals_of(const DenseMatrix<T>&, const DenseMatrix<T>&, const PairDecomposition<T>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
