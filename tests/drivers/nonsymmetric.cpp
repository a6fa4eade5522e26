// Balancing, reduction to Hessenberg form with its Q, and eigenvectors of both forms, in the list.

#include <cmath>
#include <vector>

#include "drivers/drivers.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// Rows and columns that are reduced, of a matrix of order n.
struct Range {
  Int ilo, ihi;

  Range(auto& c, Int n) : ilo(c.one_of({1, 2})), ihi(n - ilo + 1) {}
};

std::vector<Logical> every_other(Int n) {
  std::vector<Logical> select;
  for (Int k = 1; k <= n; ++k) select.push_back(to_logical(k % 2 == 1));
  return select;
}

}  // namespace

void add_nonsymmetric(DriverList& drivers) {
  drivers.add("gebal", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const char job = c.one_of({'P', 'S', 'B'});
    Int ilo = 0, ihi = 0;
    routine_call::gebal(job, n, c.matrix("A", n, n), ilo, ihi, c.real_result("scale", n), c.info());
    c.add_result(ilo);
    c.add_result(ihi);
  });
  drivers.add("gehrd", 150, [](auto c, Int n) {
    const Range range(c, n);
    c.with_workspace(n, [&](auto* work, Int lwork) {
      routine_call::gehrd(n, range.ilo, range.ihi, c.matrix("A", n, n), c.result("tau", n - 1, 1).data, work, lwork,
                          c.info());
    });
  });
  drivers.add("gehd2", unblocked_order, [](auto c, Int n) {
    const Range range(c, n);
    routine_call::gehd2(n, range.ilo, range.ihi, c.matrix("A", n, n), c.result("tau", n - 1, 1).data, c.scratch(n),
                        c.info());
  });
  drivers.add("ormhr", 60, [](auto c, Int order) {
    const char side = c.one_of({'L', 'R'}), trans = c.one_of({'N', c.adjoint});
    const Range range(c, order);
    const Int other = order - 3, m = side == 'L' ? order : other, n = side == 'L' ? other : order;
    c.with_workspace(other, [&](auto* work, Int lwork) {
      routine_call::ormhr(side, trans, m, n, range.ilo, range.ihi, c.matrix("A", order, order),
                          c.reflector_factors(order - 1), c.matrix("C", m, n), work, lwork, c.info());
    });
  });
  drivers.add("orghr", 80, [](auto c, Int n) {
    const Range range(c, n);
    c.with_workspace(n, [&](auto* work, Int lwork) {
      routine_call::orghr(n, range.ilo, range.ihi, c.matrix("A", n, n), c.reflector_factors(n - 1), work, lwork,
                          c.info());
    });
  });
  drivers.add("trevc", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const char side = c.one_of({'R', 'L', 'B'}), howmny = c.one_of({'A', 'B', 'S'});
    std::vector<Logical> select = every_other(n);
    std::vector<Real<T>> rwork(std::size_t(n), 0);
    Int m = 0;
    const Matrix<T> S = c.matrix("T", n, n), VL = c.matrix("VL", n, n), VR = c.matrix("VR", n, n);
    if constexpr (RealScalar<T>) {
      routine_call::trevc(side, howmny, select.data(), n, S, VL, VR, n, m, c.scratch(3 * n), c.info());
    } else {
      routine_call::trevc(side, howmny, select.data(), n, S, VL, VR, n, m, c.scratch(2 * n), rwork.data(), c.info());
    }
    c.add_result(m);
  });
  drivers.add("hsein", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const char side = c.one_of({'R', 'L', 'B'}), eigsrc = c.one_of({'Q', 'N'});
    std::vector<Logical> select = every_other(n);
    std::vector<Int> ifaill(std::size_t(n), 0), ifailr(std::size_t(n), 0);
    Int m = 0;
    // Of a quasi-triangular matrix the values are known.
    const Matrix<T> H = c.matrix("H", n, n), VL = c.result("VL", n, n), VR = c.result("VR", n, n);
    for (Int j = 1; j < n; ++j) H(j + 1, j) = T(0);
    std::vector<T> values;
    for (Int j = 1; j <= n; ++j) values.push_back(H(j, j));
    std::vector<Real<T>> imaginary(std::size_t(n), 0);
    if constexpr (RealScalar<T>) {
      H(2, 2) = values[1] = values[0];
      H(2, 1) = -H(1, 2);
      imaginary[0] = std::abs(H(1, 2));
      imaginary[1] = -imaginary[0];
      routine_call::hsein(side, eigsrc, 'N', select.data(), n, H, values.data(), imaginary.data(), VL, VR, n, m,
                          c.scratch((n + 2) * n), ifaill.data(), ifailr.data(), c.info());
    } else {
      routine_call::hsein(side, eigsrc, 'N', select.data(), n, H, values.data(), VL, VR, n, m, c.scratch(n * n),
                          imaginary.data(), ifaill.data(), ifailr.data(), c.info());
    }
    c.add_result(m);
  });
}

}  // namespace nuv::test
