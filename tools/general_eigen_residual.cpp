#include "general_eigen_residual.hpp"

#include <complex>

#include "combinations.hpp"
#include "residual.hpp"

namespace nuv::tools {
namespace {

/// W X, or W^H X.
template <Scalar T>
Columns<T> times_general_values(const GeneralValues<T>& values, const Columns<T>& x, bool conjugated) {
  const auto value = [&](std::size_t k) {
    const std::complex<long double> w(values[k]);
    return conjugated ? std::conj(w) : w;
  };
  return diagonal_product<T>(value, x);
}

}  // namespace

template <Scalar T>
long double right_residual(const DenseMatrix<T>& a, const GeneralEigenpairs<T>& pairs) {
  const DenseMatrix<T>& v = pairs.right;
  const auto signs = random_signs<T>(pairs.values.size());
  const auto vw = product(v, times_general_values<T>(pairs.values, signs, false));
  return in_units<T>(distance<T>(product(a, product(v, signs)), vw), one_norm(a) * one_norm(v), a.rows);
}

template <Scalar T>
long double left_residual(const DenseMatrix<T>& a, const GeneralEigenpairs<T>& pairs) {
  const DenseMatrix<T>& u = pairs.left;
  const auto signs = random_signs<T>(pairs.values.size());
  const auto uw = product(u, times_general_values<T>(pairs.values, signs, true));
  return in_units<T>(distance<T>(adjoint_product(a, product(u, signs)), uw), infinity_norm(a) * one_norm(u), a.rows);
}

template <Scalar T>
long double schur_residual(const DenseMatrix<T>& a, const SchurForm<T>& form) {
  const auto signs = random_signs<T>(std::size_t(a.rows));
  return in_units<T>(distance<T>(product(a, product(form.z, signs)), product(form.z, product(form.t, signs))),
                     one_norm(a), a.rows);
}

#define NUV_INSTANTIATE(T)                                                                 \
  template long double right_residual(const DenseMatrix<T>&, const GeneralEigenpairs<T>&); \
  template long double left_residual(const DenseMatrix<T>&, const GeneralEigenpairs<T>&);  \
  template long double schur_residual(const DenseMatrix<T>&, const SchurForm<T>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
