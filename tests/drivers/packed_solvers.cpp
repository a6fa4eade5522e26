// Packed storage and scaled triangular solves in the list.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "drivers/packed_storage.hpp"
#include "layer.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

constexpr Int nrhs = 3;
constexpr Int many = 12;  ///< right-hand sides that are solved for by blocks

/// Solves for one right-hand side with the scale and the column sums that solve(uplo, trans, diag, A, x, scale, cnorm,
/// info) is to compute.
auto scaled_solve(auto solve) {
  return [solve](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'}), trans = c.one_of({'N', 'T', 'C'}), diag = c.one_of({'N', 'U'});
    const auto A = c.matrix("A", n, n);
    auto* const x = c.matrix("x", n, 1).data;
    using R = Real<std::remove_cvref_t<decltype(*x)>>;
    std::vector<R> cnorm(std::size_t(n), R(0));
    R scale = 99;
    solve(uplo, trans, diag, n, A, x, scale, cnorm.data(), c.info());
    c.add_result(scale);
  };
}

}  // namespace

void add_packed_solvers(DriverList& drivers) {
  drivers.add("pptrf", 150, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    in_packed_storage(uplo, n, c.definite("A", n), [&](auto* ap) { layer::pptrf(uplo, n, ap, c.info()); });
  });
  drivers.add("pptrs", 60, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    const Int columns = c.one_of({nrhs, many});
    in_packed_storage(uplo, n, c.matrix("A", n, n),
                      [&](auto* ap) { layer::pptrs(uplo, n, columns, ap, c.matrix("B", n, columns), c.info()); });
  });
  drivers.add("ppsv", 60, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    in_packed_storage(uplo, n, c.definite("A", n),
                      [&](auto* ap) { routine_call::ppsv(uplo, n, many, ap, c.matrix("B", n, many), c.info()); });
  });
  drivers.add("pptri", unblocked_order, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    in_packed_storage(uplo, n, c.matrix("A", n, n), [&](auto* ap) { routine_call::pptri(uplo, n, ap, c.info()); });
  });
  drivers.add("tptri", unblocked_order, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'}), diag = c.one_of({'N', 'U'});
    in_packed_storage(uplo, n, c.matrix("A", n, n),
                      [&](auto* ap) { routine_call::tptri(uplo, diag, n, ap, c.info()); });
  });
  drivers.add("tptrs", 60, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'}), trans = c.one_of({'N', 'T', 'C'}), diag = c.one_of({'N', 'U'});
    in_packed_storage(uplo, n, c.matrix("A", n, n), [&](auto* ap) {
      layer::tptrs(uplo, trans, diag, n, many, ap, c.matrix("B", n, many), c.info());
    });
  });
}

void add_scaled_solvers(DriverList& drivers) {
  drivers.add("latrs", 120, scaled_solve([](char uplo, char trans, char diag, Int n, auto A, auto&&... rest) {
                routine_call::latrs(uplo, trans, diag, 'N', n, A, rest...);
              }));
  drivers.add("latps", 120, scaled_solve([](char uplo, char trans, char diag, Int n, auto A, auto&&... rest) {
                in_packed_storage(uplo, n, A,
                                  [&](auto* ap) { routine_call::latps(uplo, trans, diag, 'N', n, ap, rest...); });
              }));
  drivers.add("latbs", unblocked_order,
              scaled_solve([](char uplo, char trans, char diag, Int n, auto A, auto&&... rest) {
                routine_call::latbs(uplo, trans, diag, 'N', n, n - 1, A, rest...);
              }));
}

}  // namespace nuv::test
