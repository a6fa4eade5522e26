#include "singular_solver.hpp"

#include <algorithm>
#include <complex>

#include "routines.hpp"
#include "workspace.hpp"

namespace nuv::tools {
namespace {

/// The arguments of the driver behind the matrix, and the work arrays, whose best size it is asked for first.
template <Scalar T>
class Driver {
 public:
  using R = Real<T>;

  Driver(Int smaller, SingularVectors vectors)
      : job_("NSA"[static_cast<int>(vectors)]), work_(1), integers_(8 * std::size_t(smaller) + 1) {
    const auto k = static_cast<std::size_t>(smaller);
    if (ComplexScalar<T>) reals_.resize(vectors == SingularVectors::None ? 5 * k + 1 : 5 * k * k + 5 * k + 1);
  }

  void run(DenseMatrix<T>& a, SingularDecomposition<T>& result) {
    call(a, result);
    lwork_ = grow_to(work_, std::real(work_.front()));
    call(a, result);
  }

 private:
  void call(DenseMatrix<T>& a, SingularDecomposition<T>& result) {
    const Int m = a.rows, n = a.columns, lda = a.ld(), ldu = result.left.ld(), ldvt = result.right_adjoint.ld();
    const auto decompose = [&](auto... space) {
      Routines<T>::gesdd(&job_, &m, &n, a.elements.data(), &lda, result.values.data(), result.left.elements.data(),
                         &ldu, result.right_adjoint.elements.data(), &ldvt, work_.data(), &lwork_, space...,
                         integers_.data(), &result.info, 1);
    };
    if constexpr (ComplexScalar<T>) decompose(reals_.data());
    else decompose();
    require_accepted(result.info);
  }

  char job_;
  std::vector<T> work_;
  std::vector<R> reals_;
  std::vector<Int> integers_;
  Int lwork_ = -1;
};

/// Of a matrix of zeros.
template <Scalar T>
void set_to_identity(DenseMatrix<T>& a) {
  for (Int k = 1; k <= std::min(a.rows, a.columns); ++k) a(k, k) = T(1);
}

}  // namespace

template <Scalar T>
SingularDecomposition<T> decomposed(DenseMatrix<T> a, SingularVectors vectors) {
  const Int m = a.rows, n = a.columns, smaller = std::min(m, n);
  const bool full = vectors == SingularVectors::Full;
  SingularDecomposition<T> result;
  result.values.resize(static_cast<std::size_t>(smaller));
  if (vectors != SingularVectors::None) {
    result.left = DenseMatrix<T>(m, full ? m : smaller);
    result.right_adjoint = DenseMatrix<T>(full ? n : smaller, n);
  }
  // The driver leaves a matrix without elements alone, and the vectors with it.
  if (smaller == 0) {
    set_to_identity(result.left);
    set_to_identity(result.right_adjoint);
    return result;
  }
  Driver<T>(smaller, vectors).run(a, result);
  return result;
}

template <Scalar T>
long double bytes_to_decompose(Int rows, Int columns, SingularVectors vectors) {
  const long double m = rows, n = columns, k = std::min(m, n), itself = m * n;
  if (vectors == SingularVectors::None) return sizeof(T) * itself;
  const long double both_sides = vectors == SingularVectors::Full ? m * m + n * n : k * (m + n);
  // Real matrices leave the vectors of their bidiagonal form in the workspace, complex ones in real arrays.
  return sizeof(T) * (itself + both_sides + 3 * k * k);
}

#define NUV_INSTANTIATE(T)                                                       \
  template SingularDecomposition<T> decomposed(DenseMatrix<T>, SingularVectors); \
  template long double bytes_to_decompose<T>(Int, Int, SingularVectors);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
