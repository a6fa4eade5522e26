// Balancing, reduction to Hessenberg form with its Q, and the QR iteration, in the list.

#include "drivers/drivers.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// Rows and columns that are reduced, of a matrix of order n.
struct Range {
  Int ilo, ihi;

  Range(auto& c, Int n) : ilo(c.one_of({1, 2})), ihi(n - ilo + 1) {}
};

/// Options of the QR iteration.
struct Wanted {
  char job, compz;
};

/// Calls run(w...) with the arrays that a member takes for n eigenvalues.
template <Scalar T>
void with_eigenvalues(CallIn<T>& c, Int n, auto run) {
  if constexpr (RealScalar<T>) {
    run(c.real_result("wr", n), c.real_result("wi", n));
  } else {
    run(c.result("w", n, 1).data);
  }
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
  // Elements below the first subdiagonal are not read.
  drivers.add("hseqr", 90, []<Scalar T>(CallIn<T> c, Int n) {
    const auto [job, compz] = c.one_of({Wanted{'S', 'I'}, Wanted{'S', 'V'}, Wanted{'E', 'N'}});
    const Matrix<T> h = c.matrix("H", n, n), z = compz == 'I' ? c.result("Z", n, n) : c.matrix("Z", n, n);
    with_eigenvalues(c, n, [&, job = job, compz = compz](auto*... w) {
      c.with_workspace(n, [&](T* work, Int lwork) {
        routine_call::hseqr(job, compz, n, 2, n - 1, h, w..., z, work, lwork, c.info());
      });
    });
  });
}

}  // namespace nuv::test
