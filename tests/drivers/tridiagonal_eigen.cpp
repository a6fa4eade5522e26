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
    const auto Z = compz == 'V' ? c.matrix("Z", n, n) : c.result("Z", n, n);
    routine_call::steqr(compz, n, A.d, A.e.data(), Z, work.data(), c.info());
  });
}

}  // namespace nuv::test
