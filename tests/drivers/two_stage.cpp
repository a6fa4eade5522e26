// The reduction to tridiagonal form in two stages in the list.

#include <algorithm>
#include <vector>

#include "drivers/drivers.hpp"
#include "layer.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// Diagonals beside the main one: a few reflectors of each length, and panels of several columns.
constexpr Int width_of(Int n) {
  return n == unblocked_order ? 2 : 12;
}

}  // namespace

void add_two_stage(DriverList& drivers) {
  drivers.add("syrdb", 40, [](auto c, Int n) {
    const char jobz = c.one_of({'N', 'V', 'U'}), uplo = c.one_of({'U', 'L'});
    const Int kd = width_of(n), best = (3 * kd + 3) * n, lwork = c.one_of({best, (2 * kd + 2) * n});
    auto Z = c.matrix("Z", n, n);
    auto* const e = c.real_result("e", n);
    auto* const tau = c.result("tau", n, 1).data;
    e[n - 1] = 0;
    std::fill_n(tau, n, 0);
    routine_call::syrdb(jobz, uplo, n, kd, c.definite("A", n), c.real_result("d", n), e, tau, Z, c.scratch(lwork),
                        lwork, c.info());
  });
  drivers.add("syrb2", 30, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    routine_call::syrb2(uplo, n, n / 2, c.matrix("A", n, n / 2), c.reflector_factors(n), c.result("V", n, n / 2),
                        c.result("Y", n, n / 2));
  });
  drivers.add("sbrdb", 60, [](auto c, Int n) {
    const char vect = c.one_of({'N', 'V', 'U'});
    const Int kd = width_of(n), lwork = c.one_of({(kd + 2) * n, n});
    auto* const e = c.real_result("e", n);
    e[n - 1] = 0;
    // A lower triangle of 2 kd diagonals seen as a band.
    auto AB = c.matrix("AB", 2 * kd, n);
    routine_call::sbrdb(vect, 'L', n, kd, AB, c.real_result("d", n), e, c.matrix("Q", n, n), c.scratch(lwork), lwork,
                        c.info());
  });
  drivers.add("laeh2", 60, [](auto c, Int n) {
    const Int kd = width_of(n), m = c.one_of({n, 3 * n});
    layer::laeh2(m, n, kd, c.reflector_factors(n), c.matrix("V", n, kd), c.matrix("Z", m, n), c.scratch(m));
  });
}

}  // namespace nuv::test
