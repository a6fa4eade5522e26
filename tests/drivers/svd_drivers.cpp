// The drivers for singular values in the list, and the reduction that they begin with.

#include "drivers/drivers.hpp"
#include "routines.hpp"
#include "svd/svd_calls.hpp"

namespace nuv::test {
namespace {

/// Shapes in multiples of the order, and jobs that are not alike for the long and the short vectors.
struct Way {
  Int rows, columns;
  char jobu, jobvt;
};

}  // namespace

void add_svd_drivers(DriverList& drivers) {
  // The values are compared: the signs of vectors hang on roundings.
  drivers.add("gesvd", 40, []<Scalar T>(CallIn<T> c, Int n) {
    const Way way = c.template one_of<Way>({{1, 1, 'S', 'S'},
                                            {1, 1, 'N', 'N'},
                                            {2, 1, 'N', 'N'},
                                            {2, 1, 'S', 'A'},
                                            {2, 1, 'O', 'N'},
                                            {1, 2, 'O', 'A'},
                                            {1, 2, 'N', 'S'}});
    const Int rows = way.rows * n, columns = way.columns * n;
    const GuardedMatrix<T> copy = copy_of(c.matrix("A", rows, columns), rows, columns);
    const SvdCall<T> call(way.jobu, way.jobvt, copy);
    const SvdSizes sizes = svd_sizes<T>(way.jobu, way.jobvt, rows, columns);
    const auto solved = call.solved(c.one_of({sizes.least, sizes.best}));
    c.info() = solved.info;
    std::copy_n(solved.s.data(), n, c.real_result("s", n));
  });
  drivers.add("gebrd", 40, []<Scalar T>(CallIn<T> c, Int n) {
    const Int rows = c.one_of({n, 2 * n}), columns = c.one_of({n, n + 1});
    const Int k = std::min(rows, columns);
    Real<T>* const e = c.real_result("e", k);
    e[k - 1] = 0;
    c.with_workspace(std::max(rows, columns), [&](T* work, Int lwork) {
      routine_call::gebrd(rows, columns, c.matrix("A", rows, columns), c.real_result("d", k), e,
                          c.result("tauq", k, 1).data, c.result("taup", k, 1).data, work, lwork, c.info());
    });
  });
}

}  // namespace nuv::test
