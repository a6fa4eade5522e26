// Eigenproblems of symmetric tridiagonal matrices in the list.

#include "drivers/drivers.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// A tridiagonal matrix: the real parts of what stands in a matrix of the call on the diagonal and beside it. d is a
/// result, the eigenvalues.
template <Scalar T>
struct TridiagonalInput {
  Real<T>* d;
  std::vector<Real<T>> e;

  TridiagonalInput(CallIn<T>& c, Int n) : d(c.real_result("d", n)), e(std::size_t(n)) {
    const Matrix<T> A = c.matrix("A", n, n);
    for (Int i = 1; i <= n; ++i) d[i - 1] = std::real(A(i, i));
    for (Int i = 1; i < n; ++i) e[std::size_t(i - 1)] = std::real(A(i + 1, i));
  }
};

/// What a compz makes of Z: 'V' an array in and out, 'I' one out, 'N' none.
template <Scalar T>
Matrix<T> vectors(CallIn<T>& c, char compz, Int n) {
  if (compz == 'N') return {nullptr, 1};
  return compz == 'V' ? c.matrix("Z", n, n) : c.result("Z", n, n);
}

/// ?stedc with workspace enough for all its jobs.
template <Scalar T>
void divide_and_conquer(char compz, Int n, TridiagonalInput<T>& A, Matrix<T> Z, Int& info) {
  std::vector<T> work(std::size_t(4 * n * n + 20 * n + 1));
  std::vector<Real<T>> rwork(work.size());
  std::vector<Int> iwork(std::size_t(50 * n + 10));
  const Int lwork = Int(work.size()), liwork = Int(iwork.size());
  if constexpr (ComplexScalar<T>) {
    routine_call::stedc(compz, n, A.d, A.e.data(), Z, work.data(), lwork, rwork.data(), lwork, iwork.data(), liwork,
                        info);
  } else {
    routine_call::stedc(compz, n, A.d, A.e.data(), Z, work.data(), lwork, iwork.data(), liwork, info);
  }
}

}  // namespace

void add_tridiagonal_eigen(DriverList& drivers) {
  drivers.add_real("sterf", 40, [](auto c, Int n) {
    TridiagonalInput A(c, n);
    routine_call::sterf(n, A.d, A.e.data(), c.info());
  });
  drivers.add("steqr", 40, [](auto c, Int n) {
    TridiagonalInput A(c, n);
    const char compz = c.one_of({'N', 'V', 'I'});
    std::vector<std::remove_pointer_t<decltype(A.d)>> work(std::size_t(2 * n));
    routine_call::steqr(compz, n, A.d, A.e.data(), vectors(c, compz, n), work.data(), c.info());
  });
  drivers.add("stedc", 60, [](auto c, Int n) {
    TridiagonalInput A(c, n);
    const char compz = c.one_of({'N', 'V', 'I'});
    divide_and_conquer(compz, n, A, vectors(c, compz, n), c.info());
  });
}

}  // namespace nuv::test
