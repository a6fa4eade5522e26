// Hessenberg-triangular form and the QZ iteration in the list.

#include <vector>

#include "drivers/drivers.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// Options of the iteration.
struct Wanted {
  char job, compq, compz;
};

/// Sets what stands below some diagonal to zero.
template <Scalar T>
Matrix<T> triangle(Matrix<T> A, Int n, Int subdiagonals) {
  for (Int j = 1; j <= n; ++j) {
    for (Int i = j + 1 + subdiagonals; i <= n; ++i) A(i, j) = T(0);
  }
  return A;
}

}  // namespace

void add_pencil_reduction(DriverList& drivers) {
  // Balancing moves numbers and compares sums: its own tests see what it makes of a NaN.
  drivers.add("gghrd", 40, []<Scalar T>(CallIn<T> c, Int n) {
    const char compq = c.one_of({'I', 'V', 'N'}), compz = c.one_of({'I', 'V'});
    const Int ilo = c.one_of({1, 2});
    const Matrix<T> A = c.matrix("A", n, n), B = triangle(c.matrix("B", n, n), n, 0);
    routine_call::gghrd(compq, compz, n, ilo, n, A, B, compq == 'V' ? c.matrix("Q", n, n) : c.result("Q", n, n),
                        compz == 'V' ? c.matrix("Z", n, n) : c.result("Z", n, n), c.info());
  });
  drivers.add("hgeqz", 40, []<Scalar T>(CallIn<T> c, Int n) {
    const auto [job, compq, compz] = c.one_of({Wanted{'S', 'I', 'I'}, Wanted{'S', 'V', 'I'}, Wanted{'E', 'N', 'N'}});
    const Matrix<T> H = triangle(c.matrix("H", n, n), n, 1), P = triangle(c.matrix("T", n, n), n, 0);
    const Matrix<T> Q = compq == 'V' ? c.matrix("Q", n, n) : c.result("Q", n, n), Z = c.result("Z", n, n);
    T *const alpha = c.result("alpha", n, 1).data, *const beta = c.result("beta", n, 1).data;
    std::vector<Real<T>> rwork(std::size_t(n), 0);
    c.with_workspace(n, [&, job = job, compq = compq, compz = compz](T* work, Int lwork) {
      if constexpr (RealScalar<T>) {
        routine_call::hgeqz(job, compq, compz, n, 1, n, H, P, alpha, c.real_result("alphai", n), beta, Q, Z, work,
                            lwork, c.info());
      } else {
        routine_call::hgeqz(job, compq, compz, n, 1, n, H, P, alpha, beta, Q, Z, work, lwork, rwork.data(), c.info());
      }
    });
  });
}

}  // namespace nuv::test
