// Balancing, reduction to Hessenberg form with its Q, and QR iterations on that form, in the list.

#include "drivers/drivers.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// Rows and columns that are reduced, of a matrix of order n.
struct Range {
  Int ilo, ihi;

  Range(auto& c, Int n) : ilo(c.one_of({1, 2})), ihi(n - ilo + 1) {}
};

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
  drivers.add("lahqr", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const Logical wantt = c.one_of({0, 1}), wantz = c.one_of({0, 1});
    const Range range(c, n);
    const Matrix<T> H = c.matrix("A", n, n), Z = c.matrix("Z", n, n);
    if constexpr (ComplexScalar<T>) {
      routine_call::lahqr(wantt, wantz, n, range.ilo, range.ihi, H, c.result("w", n, 1).data, 1, n, Z, c.info());
    } else {
      T *const wr = c.real_result("wr", n), *const wi = c.real_result("wi", n);
      routine_call::lahqr(wantt, wantz, n, range.ilo, range.ihi, H, wr, wi, 1, n, Z, c.info());
    }
  });
  drivers.add("laqr5", 30, []<Scalar T>(CallIn<T> c, Int n) {
    const Int nshfts = 4, kdu = 3 * nshfts - 3, kacc22 = c.one_of({0, 1, 2});
    const Logical wantt = c.one_of({0, 1});
    const Range range(c, n);
    const Matrix<T> H = c.matrix("A", n, n), Z = c.matrix("Z", n, n);
    T* const work = c.scratch(3 * nshfts + 3 * kdu * kdu);
    const auto at = [=](Int i) { return Matrix<T>{work + 3 * nshfts + i * kdu * kdu, kdu}; };
    const auto sweep = [&](auto... shifts) {
      routine_call::laqr5(wantt, 1, kacc22, n, range.ilo, range.ihi, nshfts, shifts..., H, 1, n, Z, Matrix<T>{work, 3},
                          at(0), kdu, at(1), kdu, at(2));
    };
    T* const s = c.matrix("s", nshfts, 1).data;
    if constexpr (ComplexScalar<T>) {
      sweep(s);
    } else {
      sweep(s, c.matrix("si", nshfts, 1).data);
    }
  });
}

}  // namespace nuv::test
