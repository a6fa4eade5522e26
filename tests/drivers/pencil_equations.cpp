// Generalised Sylvester equations, and condition numbers of a generalised Schur form, in the list.

#include <vector>

#include "drivers/drivers.hpp"
#include "drivers/pencil_forms.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// The coefficients of an equation, with two spectra that are apart.
template <Scalar T>
struct Coefficients {
  Int m, n;
  Matrix<T> A, B, D, E;

  Coefficients(CallIn<T>& c, Int order)
      : m(order),
        n(order - 1),
        A(c.matrix("A", m, m)),
        B(c.matrix("B", n, n)),
        D(c.matrix("D", m, m)),
        E(c.matrix("E", n, n)) {
    make_schur_form(m, A, D, Real<T>(6));
    make_schur_form(n, B, E, Real<T>(0));
  }
};

}  // namespace

void add_pencil_equations(DriverList& drivers) {
  drivers.add("tgsy2", unblocked_order, []<Scalar T>(CallIn<T> c, Int order) {
    const char trans = c.one_of({'N', c.adjoint});
    const Int ijob = c.one_of({0, 1, 2});
    const Coefficients<T> given(c, order);
    const Matrix<T> C = c.matrix("C", given.m, given.n), F = c.matrix("F", given.m, given.n);
    Real<T>* const numbers = c.real_result("scale, sum", 3);
    numbers[1] = 1;
    numbers[2] = 0;
    const Matrix<const T> A = given.A, B = given.B, D = given.D, E = given.E;
    Real<T>&scale = numbers[0], &sum = numbers[1], &sum_scale = numbers[2];
    if constexpr (RealScalar<T>) {
      std::vector<Int> iwork(std::size_t(given.m + given.n + 2));
      Int systems = 0;
      routine_call::tgsy2(trans, ijob, given.m, given.n, A, B, C, D, E, F, scale, sum, sum_scale, iwork.data(), systems,
                          c.info());
      c.add_result(systems);
    } else {
      routine_call::tgsy2(trans, ijob, given.m, given.n, A, B, C, D, E, F, scale, sum, sum_scale, c.info());
    }
  });
  drivers.add("tgsyl", 30, []<Scalar T>(CallIn<T> c, Int order) {
    const char trans = c.one_of({'N', c.adjoint});
    const Int ijob = c.one_of({0, 1, 2, 3, 4});
    const Coefficients<T> given(c, order);
    const Int m = given.m, n = given.n;
    const Matrix<T> C = c.matrix("C", m, n), F = c.matrix("F", m, n);
    Real<T>* const numbers = c.real_result("scale, dif", 2);
    std::vector<Int> iwork(std::size_t(m + n + 6));
    const Int lwork = 2 * m * n;
    routine_call::tgsyl(trans, ijob, m, n, Matrix<const T>(given.A), Matrix<const T>(given.B), C,
                        Matrix<const T>(given.D), Matrix<const T>(given.E), F, numbers[0], numbers[1], c.scratch(lwork),
                        lwork, iwork.data(), c.info());
  });
  drivers.add("tgsna", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const char job = c.one_of({'E', 'V', 'B'}), howmny = c.one_of({'A', 'S'});
    std::vector<Logical> select;
    for (Int k = 1; k <= n; ++k) select.push_back(to_logical(k % 2 == 1));
    const Matrix<T> S = c.matrix("A", n, n), P = c.matrix("B", n, n), VL = c.matrix("VL", n, n),
                    VR = c.matrix("VR", n, n);
    make_schur_form(n, S, P, Real<T>(0));
    Real<T>*const s = c.real_result("s", n), *const dif = c.real_result("dif", n);
    std::vector<Int> iwork(std::size_t(n + 6));
    Int m = 0;
    const Int lwork = 2 * n * (n + 2) + 16;
    routine_call::tgsna(job, howmny, select.data(), n, Matrix<const T>(S), Matrix<const T>(P), Matrix<const T>(VL),
                        Matrix<const T>(VR), s, dif, n, m, c.scratch(lwork), lwork, iwork.data(), c.info());
    c.add_result(m);
  });
}

}  // namespace nuv::test
