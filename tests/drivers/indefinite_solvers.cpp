// Solvers of symmetric and Hermitian indefinite systems in the list.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "drivers/packed_storage.hpp"
#include "layer.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

constexpr Int nrhs = 3;

/// Row exchanges as the factorisations with diagonal pivoting leave them where they find no reason for any.
Int* no_exchanges(auto& c, Int n) {
  Int* const ipiv = c.pivots(n);
  for (Int i = 0; i < n; ++i) ipiv[i] = i + 1;
  return ipiv;
}

/// So many right-hand sides are solved for by groups of pivots.
constexpr Int grouped_nrhs = 12;

}  // namespace

void add_indefinite_solvers(DriverList& drivers) {
  drivers.add("sytrf", 150, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    std::vector<std::remove_pointer_t<decltype(c.scratch(1))>> work(std::size_t(64 * n));
    routine_call::sytrf(uplo, n, c.matrix("A", n, n), c.pivots(n), work.data(), 64 * n, c.info());
  });
  drivers.add("sytf2", unblocked_order, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    routine_call::sytf2(uplo, n, c.matrix("A", n, n), c.pivots(n), c.info());
  });
  drivers.add("sytrs", 70, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    const Int columns = c.one_of({nrhs, grouped_nrhs});
    layer::sytrs(uplo, n, columns, c.matrix("A", n, n), no_exchanges(c, n), c.matrix("B", n, columns), c.info());
  });
  drivers.add("sysv", 150, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    std::vector<std::remove_pointer_t<decltype(c.scratch(1))>> work(std::size_t(64 * n));
    routine_call::sysv(uplo, n, grouped_nrhs, c.matrix("A", n, n), c.pivots(n), c.matrix("B", n, grouped_nrhs),
                       work.data(), 64 * n, c.info());
  });
  drivers.add("sytri", unblocked_order, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    routine_call::sytri(uplo, n, c.matrix("A", n, n), no_exchanges(c, n), c.scratch(n), c.info());
  });
  drivers.add("sptrf", 150, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    in_packed_storage(uplo, n, c.matrix("A", n, n),
                      [&](auto* ap) { routine_call::sptrf(uplo, n, ap, c.pivots(n), c.info()); });
  });
  drivers.add("spsv", 150, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    in_packed_storage(uplo, n, c.matrix("A", n, n), [&](auto* ap) {
      routine_call::spsv(uplo, n, nrhs, ap, c.pivots(n), c.matrix("B", n, nrhs), c.info());
    });
  });
  drivers.add("sptri", unblocked_order, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    in_packed_storage(uplo, n, c.matrix("A", n, n),
                      [&](auto* ap) { routine_call::sptri(uplo, n, ap, no_exchanges(c, n), c.scratch(n), c.info()); });
  });
  drivers.add_complex("hesv", 150, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    std::vector<std::remove_pointer_t<decltype(c.scratch(1))>> work(std::size_t(64 * n));
    routine_call::hesv(uplo, n, grouped_nrhs, c.matrix("A", n, n), c.pivots(n), c.matrix("B", n, grouped_nrhs),
                       work.data(), 64 * n, c.info());
  });
  drivers.add_complex("hetri", unblocked_order, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    routine_call::hetri(uplo, n, c.matrix("A", n, n), no_exchanges(c, n), c.scratch(n), c.info());
  });
  drivers.add_complex("hpsv", 150, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    in_packed_storage(uplo, n, c.matrix("A", n, n), [&](auto* ap) {
      routine_call::hpsv(uplo, n, nrhs, ap, c.pivots(n), c.matrix("B", n, nrhs), c.info());
    });
  });
}

}  // namespace nuv::test
