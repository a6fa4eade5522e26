// Least squares by singular value decompositions in the list.

#include "drivers/drivers.hpp"
#include "routines.hpp"
#include "svd/least_squares_calls.hpp"

namespace nuv::test {
namespace {

/// Sizes in multiples of the order.
struct Way {
  Int rows, columns;
  bool in_least;
};

void add_driver(DriverList& drivers, const std::string& name, SvdMethod method, Int order) {
  drivers.add(name, order, [method]<Scalar T>(CallIn<T> c, Int n) {
    constexpr Int nrhs = 3;
    const Way way = c.template one_of<Way>({{1, 1, false}, {2, 1, false}, {2, 1, true}, {1, 2, false}, {1, 2, true}});
    const Int m = way.rows * n, columns = way.columns * n, longer = std::max(m, columns);
    const GuardedMatrix<T> A = copy_of(c.matrix("A", m, columns), m, columns),
                           B = copy_of(c.matrix("B", longer, nrhs), longer, nrhs);
    const LeastSquaresCall<T> call(method, A, B);
    const auto solved = call.solved(way.in_least ? call.sizes().least : call.best());
    c.info() = solved.info;
    std::copy_n(solved.s.data(), n, c.real_result("s", n));
    const Matrix<T> X = c.result("X", columns, nrhs);
    for (Int j = 1; j <= nrhs; ++j) std::copy_n(&solved.B(1, j), columns, X.at(1, j));
    c.add_result(solved.rank);
  });
}

}  // namespace

void add_svd_least_squares(DriverList& drivers) {
  add_driver(drivers, "gelss", SvdMethod::iteration, 40);
  add_driver(drivers, "gelsd", SvdMethod::division, 40);
}

}  // namespace nuv::test
