// QR factorisation with pivoting, and the reductions of trapezoidal and band matrices, in the list.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// No fixed columns, or every third.
template <Scalar T>
Int* columns_to_pivot(CallIn<T>& c, Int n) {
  const bool with_fixed = c.one_of({0, 1}) != 0;
  Int* const jpvt = c.pivots(n);
  for (Int j = 0; j < n; ++j) jpvt[j] = with_fixed && j % 3 == 1 ? 1 : 0;
  return jpvt;
}

void add_pivoted_qr(DriverList& drivers) {
  drivers.add("geqp3", 170, []<Scalar T>(CallIn<T> c, Int n) {
    Int* const jpvt = columns_to_pivot(c, n);
    const Matrix<T> A = c.matrix("A", n, n);
    T* const tau = c.result("tau", n, 1).data;
    GuardedVector<Real<T>> rwork(2 * n);
    c.with_workspace(ComplexScalar<T> ? n + 1 : 3 * n + 1, [&](T* work, Int lwork) {
      if constexpr (ComplexScalar<T>) {
        routine_call::geqp3(n, n, A, jpvt, tau, work, lwork, rwork.data(), c.info());
      } else {
        routine_call::geqp3(n, n, A, jpvt, tau, work, lwork, c.info());
      }
    });
  });
  drivers.add("geqpf", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    Int* const jpvt = columns_to_pivot(c, n);
    const Matrix<T> A = c.matrix("A", n, n);
    T* const tau = c.result("tau", n, 1).data;
    if constexpr (ComplexScalar<T>) {
      GuardedVector<Real<T>> rwork(2 * n);
      routine_call::geqpf(n, n, A, jpvt, tau, c.scratch(n), rwork.data(), c.info());
    } else {
      routine_call::geqpf(n, n, A, jpvt, tau, c.scratch(3 * n), c.info());
    }
  });
}

void add_trapezoidal(DriverList& drivers) {
  drivers.add("tzrzf", 40, []<Scalar T>(CallIn<T> c, Int m) {
    const Int n = m + 3;
    c.with_workspace(m, [&](T* work, Int lwork) {
      routine_call::tzrzf(m, n, c.matrix("A", m, n), c.result("tau", m, 1).data, work, lwork, c.info());
    });
  });
  drivers.add("tzrqf", unblocked_order, []<Scalar T>(CallIn<T> c, Int m) {
    routine_call::tzrqf(m, m + 3, c.matrix("A", m, m + 3), c.result("tau", m, 1).data, c.info());
  });
  drivers.add("ormrz", 70, []<Scalar T>(CallIn<T> c, Int order) {
    const bool left = c.one_of({'L', 'R'}) == 'L';
    const char trans = c.one_of({'N', c.adjoint});
    const Int l = order / 3, k = order - l, nw = order - 2, m = left ? order : nw, n = left ? nw : order;
    c.with_workspace(nw, [&](T* work, Int lwork) {
      routine_call::ormrz(left ? 'L' : 'R', trans, m, n, k, l, c.matrix("A", k, order),
                          static_cast<const T*>(c.reflector_factors(k)), c.matrix("C", m, n), work, lwork, c.info());
    });
  });
  drivers.add("ormr3", unblocked_order, []<Scalar T>(CallIn<T> c, Int order) {
    const bool left = c.one_of({'L', 'R'}) == 'L';
    const char trans = c.one_of({'N', c.adjoint});
    const Int l = 2, k = order - l, nw = order - 1, m = left ? order : nw, n = left ? nw : order;
    routine_call::ormr3(left ? 'L' : 'R', trans, m, n, k, l, c.matrix("A", k, order),
                        static_cast<const T*>(c.reflector_factors(k)), c.matrix("C", m, n), c.scratch(nw), c.info());
  });
}

void add_band_to_bidiagonal(DriverList& drivers) {
  drivers.add("gbbrd", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const char vect = c.one_of({'N', 'B'});
    const Int m = n + c.one_of({-1, 0, 1}), ncc = 2, longer = std::max(m, n);
    const Int kl = c.one_of({0, 2}), ku = c.one_of({0, 1});
    const Matrix<T> ab = c.matrix("A", kl + ku + 1, n), C = c.matrix("C", m, ncc);
    Real<T>* const d = c.real_result("d", std::min(m, n));
    Real<T>* const e = c.real_result("e", std::min(m, n));
    const bool with_vectors = vect == 'B';
    const Matrix<T> Q = c.result("Q", with_vectors ? m : 1, with_vectors ? m : 1),
                    PT = c.result("PT", with_vectors ? n : 1, with_vectors ? n : 1);
    if constexpr (ComplexScalar<T>) {
      GuardedVector<Real<T>> rwork(longer);
      routine_call::gbbrd(vect, m, n, ncc, kl, ku, ab, d, e, Q, PT, C, c.scratch(longer), rwork.data(), c.info());
    } else {
      routine_call::gbbrd(vect, m, n, ncc, kl, ku, ab, d, e, Q, PT, C, c.scratch(2 * longer), c.info());
    }
  });
}

}  // namespace

void add_pivoted(DriverList& drivers) {
  add_pivoted_qr(drivers);
  add_trapezoidal(drivers);
  add_band_to_bidiagonal(drivers);
}

}  // namespace nuv::test
