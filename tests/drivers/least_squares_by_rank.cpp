// Least squares with matrices of any rank, under constraints and with weighted errors, in the list.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

constexpr Int right_hand_sides = 2;

struct Shape {
  Int m, n;

  Int shorter() const { return std::min(m, n); }
  Int longer() const { return std::max(m, n); }
};

/// Square, tall or wide.
template <Scalar T>
Shape shape_of_system(CallIn<T>& c, Int n) {
  const Int more = c.one_of({0, 2, -2});
  return {n + std::max(more, 0), n - std::min(more, 0)};
}

/// No fixed columns, or every third.
template <Scalar T>
Int* columns_to_pivot(CallIn<T>& c, Int n) {
  const bool with_fixed = c.one_of({0, 1}) != 0;
  Int* const jpvt = c.pivots(n);
  for (Int j = 0; j < n; ++j) jpvt[j] = with_fixed && j % 3 == 1 ? 1 : 0;
  return jpvt;
}

void add_by_rank(DriverList& drivers) {
  drivers.add("gelsy", 140, []<Scalar T>(CallIn<T> c, Int order) {
    const Shape shape = shape_of_system(c, order);
    const auto [m, n] = shape;
    const Int nrhs = right_hand_sides, mn = shape.shorter();
    const auto rcond = Real<T>(c.one_of({0.0, 0.45}));
    Int* const jpvt = columns_to_pivot(c, n);
    GuardedVector<Real<T>> rwork(2 * n);
    Int rank = -1;
    c.with_workspace(mn + std::max({2 * mn, n + 1, mn + nrhs}), [&](T* work, Int lwork) {
      const Matrix<T> A = c.matrix("A", m, n), B = c.matrix("B", shape.longer(), nrhs);
      if constexpr (ComplexScalar<T>) {
        routine_call::gelsy(m, n, nrhs, A, B, jpvt, rcond, rank, work, lwork, rwork.data(), c.info());
      } else {
        routine_call::gelsy(m, n, nrhs, A, B, jpvt, rcond, rank, work, lwork, c.info());
      }
    });
    c.add_result(rank);
  });
  drivers.add("gelsx", unblocked_order, []<Scalar T>(CallIn<T> c, Int order) {
    const Shape shape = shape_of_system(c, order);
    const auto [m, n] = shape;
    const Int nrhs = right_hand_sides, mn = shape.shorter();
    const auto rcond = Real<T>(c.one_of({0.0, 0.45}));
    Int* const jpvt = columns_to_pivot(c, n);
    const Matrix<T> A = c.matrix("A", m, n), B = c.matrix("B", shape.longer(), nrhs);
    Int rank = -1;
    if constexpr (ComplexScalar<T>) {
      GuardedVector<Real<T>> rwork(2 * n);
      routine_call::gelsx(m, n, nrhs, A, B, jpvt, rcond, rank, c.scratch(mn + std::max(n, 2 * mn + nrhs)), rwork.data(),
                          c.info());
    } else {
      routine_call::gelsx(m, n, nrhs, A, B, jpvt, rcond, rank, c.scratch(std::max(mn + 3 * n, 2 * mn + nrhs)),
                          c.info());
    }
    c.add_result(rank);
  });
}

void add_with_a_second_matrix(DriverList& drivers) {
  drivers.add("gglse", 100, []<Scalar T>(CallIn<T> c, Int n) {
    const Int m = n + c.one_of({0, 2}), p = n / 2;
    const Matrix<T> A = c.matrix("A", m, n), B = c.matrix("B", p, n);
    T *const right = c.matrix("c", m, 1).data, *const constraints = c.matrix("d", p, 1).data;
    T* const x = c.result("x", n, 1).data;
    c.with_workspace(m + n + p, [&](T* work, Int lwork) {
      routine_call::gglse(m, n, p, A, B, right, constraints, x, work, lwork, c.info());
    });
  });
  drivers.add("ggglm", 100, []<Scalar T>(CallIn<T> c, Int n) {
    const Int m = n / 2, p = n + c.one_of({0, 2});
    const Matrix<T> A = c.matrix("A", n, m), B = c.matrix("B", n, p);
    T* const left = c.matrix("d", n, 1).data;
    T *const x = c.result("x", m, 1).data, *const y = c.result("y", p, 1).data;
    c.with_workspace(
        n + m + p, [&](T* work, Int lwork) { routine_call::ggglm(n, m, p, A, B, left, x, y, work, lwork, c.info()); });
  });
}

}  // namespace

void add_least_squares_by_rank(DriverList& drivers) {
  add_by_rank(drivers);
  add_with_a_second_matrix(drivers);
}

}  // namespace nuv::test
