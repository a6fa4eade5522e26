// Solvers of symmetric and Hermitian indefinite systems in the list.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "drivers/packed_storage.hpp"
#include "layer.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

constexpr Int nrhs = 3;

/// So many right-hand sides are solved for by groups of pivots.
constexpr Int grouped_nrhs = 12;

/// Row exchanges as the factorisations with diagonal pivoting leave them where they find no reason for any.
Int* no_exchanges(auto& c, Int n) {
  Int* const ipiv = c.pivots(n);
  for (Int i = 0; i < n; ++i) ipiv[i] = i + 1;
  return ipiv;
}

char one_of_triangles(auto& c) {
  return c.one_of({'U', 'L'});
}

/// Runs routine(work, lwork) with memory for panels.
void with_panels(auto& c, Int n, auto routine) {
  std::vector<std::remove_pointer_t<decltype(c.scratch(1))>> work(std::size_t(64 * n));
  routine(work.data(), 64 * n);
}

/// Runs routine(uplo, ap) with a packed triangle.
void with_packed_matrix(auto& c, Int n, auto routine) {
  const char uplo = one_of_triangles(c);
  in_packed_storage(uplo, n, c.matrix("A", n, n), [&](auto* ap) { routine(uplo, ap); });
}

// A family joins by the letters that its names begin with.

#define NUV_ADD_FULL(add, sy)                                                                                       \
  drivers.add(#sy "trf", 150, [](auto c, Int n) {                                                                   \
    with_panels(c, n, [&](auto* work, Int lwork) {                                                                  \
      routine_call::sy##trf(one_of_triangles(c), n, c.matrix("A", n, n), c.pivots(n), work, lwork, c.info());       \
    });                                                                                                             \
  });                                                                                                               \
  drivers.add(#sy "tf2", unblocked_order, [](auto c, Int n) {                                                       \
    routine_call::sy##tf2(one_of_triangles(c), n, c.matrix("A", n, n), c.pivots(n), c.info());                      \
  });                                                                                                               \
  drivers.add(#sy "trs", 70, [](auto c, Int n) {                                                                    \
    const char uplo = one_of_triangles(c);                                                                          \
    const Int columns = c.one_of({nrhs, grouped_nrhs});                                                             \
    layer::sy##trs(uplo, n, columns, c.matrix("A", n, n), no_exchanges(c, n), c.matrix("B", n, columns), c.info()); \
  });                                                                                                               \
  drivers.add(#sy "sv", 150, [](auto c, Int n) {                                                                    \
    with_panels(c, n, [&](auto* work, Int lwork) {                                                                  \
      routine_call::sy##sv(one_of_triangles(c), n, grouped_nrhs, c.matrix("A", n, n), c.pivots(n),                  \
                           c.matrix("B", n, grouped_nrhs), work, lwork, c.info());                                  \
    });                                                                                                             \
  });                                                                                                               \
  drivers.add(#sy "tri", unblocked_order, [](auto c, Int n) {                                                       \
    routine_call::sy##tri(one_of_triangles(c), n, c.matrix("A", n, n), no_exchanges(c, n), c.scratch(n), c.info()); \
  });

#define NUV_ADD_PACKED(add, sp)                                                                                        \
  drivers.add(#sp "trf", 150, [](auto c, Int n) {                                                                      \
    with_packed_matrix(c, n, [&](char uplo, auto* ap) { routine_call::sp##trf(uplo, n, ap, c.pivots(n), c.info()); }); \
  });                                                                                                                  \
  drivers.add(#sp "trs", 70, [](auto c, Int n) {                                                                       \
    with_packed_matrix(c, n, [&](char uplo, auto* ap) {                                                                \
      layer::sp##trs(uplo, n, nrhs, ap, no_exchanges(c, n), c.matrix("B", n, nrhs), c.info());                         \
    });                                                                                                                \
  });                                                                                                                  \
  drivers.add(#sp "sv", 150, [](auto c, Int n) {                                                                       \
    with_packed_matrix(c, n, [&](char uplo, auto* ap) {                                                                \
      routine_call::sp##sv(uplo, n, nrhs, ap, c.pivots(n), c.matrix("B", n, nrhs), c.info());                          \
    });                                                                                                                \
  });                                                                                                                  \
  drivers.add(#sp "tri", unblocked_order, [](auto c, Int n) {                                                          \
    with_packed_matrix(c, n, [&](char uplo, auto* ap) {                                                                \
      routine_call::sp##tri(uplo, n, ap, no_exchanges(c, n), c.scratch(n), c.info());                                  \
    });                                                                                                                \
  });

}  // namespace

void add_indefinite_solvers(DriverList& drivers) {
  NUV_ADD_FULL(add, sy)
  NUV_ADD_PACKED(add, sp)
  NUV_ADD_FULL(add_complex, he)
  NUV_ADD_PACKED(add_complex, hp)
}

}  // namespace nuv::test
