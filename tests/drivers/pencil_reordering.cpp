// Eigenvectors of a generalised Schur form, its reordering and deflating subspaces, in the list.

#include <vector>

#include "drivers/drivers.hpp"
#include "drivers/pencil_forms.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

std::vector<Logical> every_other(Int n) {
  std::vector<Logical> select;
  for (Int k = 1; k <= n; ++k) select.push_back(to_logical(k % 2 == 1));
  return select;
}

/// A form in the matrices A and B of a call, the diagonal of B real.
template <Scalar T>
struct FormOf {
  Matrix<T> A, B;

  FormOf(CallIn<T>& c, Int n) : A(c.matrix("A", n, n)), B(c.matrix("B", n, n)) {
    make_schur_form(n, A, B, Real<T>(0));
    for (Int j = 1; j <= n; ++j) B(j, j) = T(std::real(B(j, j)));
  }
};

}  // namespace

void add_pencil_reordering(DriverList& drivers) {
  drivers.add("tgevc", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const char side = c.one_of({'R', 'L', 'B'}), howmny = c.one_of({'A', 'B', 'S'});
    const std::vector<Logical> select = every_other(n);
    const FormOf<T> form(c, n);
    const Matrix<const T> S = form.A, P = form.B;
    const Matrix<T> VL = c.matrix("VL", n, n), VR = c.matrix("VR", n, n);
    Int m = 0;
    if constexpr (RealScalar<T>) {
      routine_call::tgevc(side, howmny, select.data(), n, S, P, VL, VR, n, m, c.scratch(6 * n), c.info());
    } else {
      std::vector<Real<T>> rwork(std::size_t(2 * n));
      routine_call::tgevc(side, howmny, select.data(), n, S, P, VL, VR, n, m, c.scratch(2 * n), rwork.data(), c.info());
    }
    c.add_result(m);
  });
  drivers.add("tgexc", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const Logical wantq = c.one_of({0, 1}), wantz = c.one_of({0, 1});
    const bool forward = c.one_of({1, 0}) != 0;
    Int ifst = forward ? 1 : n, ilst = forward ? n : 1;
    const FormOf<T> form(c, n);
    const Matrix<T> Q = c.matrix("Q", n, n), Z = c.matrix("Z", n, n);
    if constexpr (RealScalar<T>) {
      c.with_workspace(4 * n + 16, [&](T* work, Int lwork) {
        routine_call::tgexc(wantq, wantz, n, form.A, form.B, Q, Z, ifst, ilst, work, lwork, c.info());
      });
    } else {
      routine_call::tgexc(wantq, wantz, n, form.A, form.B, Q, Z, ifst, ilst, c.info());
    }
    c.add_result(ilst);
  });
  drivers.add("tgsen", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const Int ijob = c.one_of({0, 1, 2, 3, 4, 5});
    const Logical wantq = c.one_of({0, 1}), wantz = c.one_of({0, 1});
    const std::vector<Logical> select = every_other(n);
    const FormOf<T> form(c, n);
    const Matrix<T> Q = c.matrix("Q", n, n), Z = c.matrix("Z", n, n);
    T *const alpha = c.result("alpha", n, 1).data, *const beta = c.result("beta", n, 1).data;
    Real<T>*const projectors = c.real_result("pl, pr", 2), *const dif = c.real_result("dif", 2);
    Real<T>* const alphai = RealScalar<T> ? c.real_result("alphai", n) : nullptr;
    std::vector<Int> iwork(std::size_t(n * n + 6));
    Int m = 0;
    c.with_workspace(4 * n * n, [&](T* work, Int lwork) {
      const Int liwork = Int(iwork.size());
      if constexpr (RealScalar<T>) {
        routine_call::tgsen(ijob, wantq, wantz, select.data(), n, form.A, form.B, alpha, alphai, beta, Q, Z, m,
                            projectors[0], projectors[1], dif, work, lwork, iwork.data(), liwork, c.info());
      } else {
        routine_call::tgsen(ijob, wantq, wantz, select.data(), n, form.A, form.B, alpha, beta, Q, Z, m, projectors[0],
                            projectors[1], dif, work, lwork, iwork.data(), liwork, c.info());
      }
    });
    c.add_result(m);
  });
}

}  // namespace nuv::test
