// The generalised singular value decomposition and its steps, and the factorisations of pairs, in the list.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// Sizes beside the order n of a pair: all of A's columns are B's, or some of both are left.
struct Way {
  Int more_rows_of_a, more_rows_of_b;
  char jobu, jobv, jobq;
};

/// The arrays that ggsvd and tgsja share, made in one order.
template <Scalar T>
struct PairOfList {
  Way way;
  Int n, m, p;
  Matrix<T> A, B, U, V, Q;

  PairOfList(CallIn<T>& c, Int order, const Way& chosen)
      : way(chosen),
        n(order),
        m(order + way.more_rows_of_a),
        p(order + way.more_rows_of_b),
        A(c.matrix("A", m, n)),
        B(c.matrix("B", p, n)),
        U(c.result("U", way.jobu == 'N' ? 1 : m, way.jobu == 'N' ? 1 : m)),
        V(c.result("V", way.jobv == 'N' ? 1 : p, way.jobv == 'N' ? 1 : p)),
        Q(c.result("Q", way.jobq == 'N' ? 1 : n, way.jobq == 'N' ? 1 : n)) {}

  Int work_size() const { return std::max({3 * n, m, p}); }
};

template <Scalar T>
void clear_below(Int first_row, Int m, Int n, Matrix<T> A) {
  for (Int j = 1; j <= n; ++j) {
    for (Int i = first_row + j; i <= m; ++i) A(i, j) = T(0);
  }
}

/// ggsvd, or ggsvd3, which is told the length of its workspace.
template <Scalar T>
void decompose(CallIn<T> c, Int n, bool tells_length) {
  const PairOfList<T> pair(
      c, n, c.template one_of<Way>({{0, 0, 'U', 'V', 'Q'}, {1, -2, 'N', 'V', 'Q'}, {-2, 2, 'U', 'N', 'N'}}));
  Int k = 0, l = 0;
  Real<T>*const alpha = c.real_result("alpha", n), *const beta = c.real_result("beta", n);
  GuardedVector<Int> integers(n);
  const Int lwork = pair.work_size() + n;
  T* const work = c.scratch(lwork);
  Int* const iwork = integers.data();
  const auto& [way, order, m, p, A, B, U, V, Q] = pair;
  const auto& [more_of_a, more_of_b, jobu, jobv, jobq] = way;
  if constexpr (ComplexScalar<T>) {
    GuardedVector<Real<T>> reals(2 * n);
    Real<T>* const rwork = reals.data();
    if (tells_length) {
      routine_call::ggsvd3(jobu, jobv, jobq, m, n, p, k, l, A, B, alpha, beta, U, V, Q, work, lwork, rwork, iwork,
                           c.info());
    } else {
      routine_call::ggsvd(jobu, jobv, jobq, m, n, p, k, l, A, B, alpha, beta, U, V, Q, work, rwork, iwork, c.info());
    }
  } else if (tells_length) {
    routine_call::ggsvd3(jobu, jobv, jobq, m, n, p, k, l, A, B, alpha, beta, U, V, Q, work, lwork, iwork, c.info());
  } else {
    routine_call::ggsvd(jobu, jobv, jobq, m, n, p, k, l, A, B, alpha, beta, U, V, Q, work, iwork, c.info());
  }
  c.add_result(k);
  c.add_result(l);
}

void add_decompositions(DriverList& drivers) {
  drivers.add("ggsvd", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) { decompose<T>(c, n, false); });
  drivers.add("ggsvd3", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) { decompose<T>(c, n, true); });
  drivers.add("ggsvp", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const PairOfList<T> pair(c, n, c.template one_of<Way>({{0, -2, 'U', 'V', 'Q'}, {-1, 1, 'N', 'N', 'N'}}));
    Int k = 0, l = 0;
    const Real<T> tolerance = 100 * std::numeric_limits<Real<T>>::epsilon();
    GuardedVector<Int> iwork(n);
    GuardedVector<T> tau(n);
    T* const work = c.scratch(pair.work_size());
    const auto& [way, order, m, p, A, B, U, V, Q] = pair;
    if constexpr (ComplexScalar<T>) {
      GuardedVector<Real<T>> rwork(2 * n);
      routine_call::ggsvp(way.jobu, way.jobv, way.jobq, m, p, n, A, B, tolerance, tolerance, k, l, U, V, Q,
                          iwork.data(), rwork.data(), tau.data(), work, c.info());
    } else {
      routine_call::ggsvp(way.jobu, way.jobv, way.jobq, m, p, n, A, B, tolerance, tolerance, k, l, U, V, Q,
                          iwork.data(), tau.data(), work, c.info());
    }
    c.add_result(k);
    c.add_result(l);
  });
  drivers.add("tgsja", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const PairOfList<T> pair(c, n, c.template one_of<Way>({{0, 0, 'I', 'I', 'I'}, {-2, 1, 'I', 'N', 'N'}}));
    const auto& [way, order, m, p, A, B, U, V, Q] = pair;
    clear_below(1, m, n, A);
    clear_below(1, p, n, B);
    for (Int i = 1; i <= std::min(m, n); ++i) A(i, i) = T(std::real(A(i, i)));
    for (Int i = 1; i <= std::min(p, n); ++i) B(i, i) = T(std::real(B(i, i)));
    const Real<T> tolerance = 100 * std::numeric_limits<Real<T>>::epsilon();
    Real<T>*const alpha = c.real_result("alpha", n), *const beta = c.real_result("beta", n);
    Int ncycle;
    routine_call::tgsja(way.jobu, way.jobv, way.jobq, m, p, n, Int{0}, n, A, B, tolerance, tolerance, alpha, beta, U, V,
                        Q, c.scratch(2 * n), ncycle, c.info());
  });
}

void add_factorisations(DriverList& drivers) {
  drivers.add("ggqrf", 70, []<Scalar T>(CallIn<T> c, Int n) {
    const Int m = n - c.one_of({1, -2}), p = n + c.one_of({1, -2});
    c.with_workspace(std::max({n, m, p}), [&](T* work, Int lwork) {
      routine_call::ggqrf(n, m, p, c.matrix("A", n, m), c.result("taua", std::min(n, m), 1).data, c.matrix("B", n, p),
                          c.result("taub", std::min(n, p), 1).data, work, lwork, c.info());
    });
  });
  drivers.add("ggrqf", 70, []<Scalar T>(CallIn<T> c, Int n) {
    const Int m = n - c.one_of({1, -2}), p = n + c.one_of({1, -2});
    c.with_workspace(std::max({n, m, p}), [&](T* work, Int lwork) {
      routine_call::ggrqf(m, p, n, c.matrix("A", m, n), c.result("taua", std::min(m, n), 1).data, c.matrix("B", p, n),
                          c.result("taub", std::min(p, n), 1).data, work, lwork, c.info());
    });
  });
}

}  // namespace

void add_generalised_svd(DriverList& drivers) {
  add_decompositions(drivers);
  add_factorisations(drivers);
}

}  // namespace nuv::test
