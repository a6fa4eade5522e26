// Singular values by divide and conquer in the list.

#include "drivers/drivers.hpp"
#include "routines.hpp"
#include "svd/divided_calls.hpp"

namespace nuv::test {
namespace {

/// Shapes in multiples of the order.
struct Way {
  Int rows, columns;
  char job;
};

/// Real parts of what stands in a matrix of the call on the diagonal and beside it. The values are compared: the signs
/// of vectors hang on roundings.
template <Scalar T>
void divide_bidiagonal(CallIn<T>& c, Int n) {
  using R = Real<T>;
  const char uplo = c.one_of({'U', 'L'}), compq = c.one_of({'N', 'I', 'P'});
  const Matrix<T> A = c.matrix("A", n, n);
  R* const d = c.real_result("d", n);
  std::vector<R> e(std::size_t(n), R(0)), u(std::size_t(n * n)), vt(u.size()), work(std::size_t(3 * n * n + 4 * n)),
      q(std::size_t(n * 80));
  std::vector<Int> iq(std::size_t(n * 9)), iwork(std::size_t(8 * n));
  for (Int i = 1; i <= n; ++i) d[i - 1] = std::real(A(i, i));
  for (Int i = 1; i < n; ++i) e[std::size_t(i - 1)] = std::real(A(i + 1, i));
  routine_call::bdsdc(uplo, compq, n, d, e.data(), Matrix<R>{u.data(), n}, Matrix<R>{vt.data(), n}, q.data(), iq.data(),
                      work.data(), iwork.data(), c.info());
}

}  // namespace

void add_divided_svd(DriverList& drivers) {
  drivers.add("gesdd", 40, []<Scalar T>(CallIn<T> c, Int n) {
    const Way way = c.template one_of<Way>({{1, 1, 'S'},
                                            {1, 1, 'N'},
                                            {1, 1, 'O'},
                                            {2, 1, 'N'},
                                            {2, 1, 'O'},
                                            {2, 1, 'S'},
                                            {2, 1, 'A'},
                                            {1, 2, 'O'},
                                            {1, 2, 'A'}});
    const Int rows = way.rows * n, columns = way.columns * n;
    const GuardedMatrix<T> copy = copy_of(c.matrix("A", rows, columns), rows, columns);
    const DividedCall<T> call(way.job, copy);
    const auto solved = call.solved(c.one_of({divided_sizes<T>(way.job, rows, columns).least, call.best()}));
    c.info() = solved.info;
    std::copy_n(solved.s.data(), n, c.real_result("s", n));
  });
  drivers.add_real("bdsdc", 40, [](auto c, Int n) { divide_bidiagonal(c, n); });
}

}  // namespace nuv::test
