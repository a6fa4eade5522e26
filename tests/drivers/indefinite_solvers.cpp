// Solvers of symmetric and Hermitian indefinite systems in the list.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "drivers/packed_storage.hpp"
#include "solvers/indefinite_names.hpp"

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

/// A routine of a family that ends in those letters; Hermitian ones are complex alone.
template <class Names, class Run>
void add(DriverList& drivers, const char* ending, Int order, Run run) {
  const std::string name = std::string(Names::letters) + ending;
  if constexpr (Names::hermitian) {
    drivers.add_complex(name, order, run);
  } else {
    drivers.add(name, order, run);
  }
}

template <class Names>
void add_full(DriverList& drivers) {
  add<Names>(drivers, "trf", 150, [](auto c, Int n) {
    with_panels(c, n, [&](auto* work, Int lwork) {
      Names::factor(one_of_triangles(c), n, c.matrix("A", n, n), c.pivots(n), work, lwork, c.info());
    });
  });
  add<Names>(drivers, "tf2", unblocked_order, [](auto c, Int n) {
    Names::unblocked(one_of_triangles(c), n, c.matrix("A", n, n), c.pivots(n), c.info());
  });
  add<Names>(drivers, "trs", 70, [](auto c, Int n) {
    const char uplo = one_of_triangles(c);
    const Int columns = c.one_of({nrhs, grouped_nrhs});
    Names::solve(uplo, n, columns, c.matrix("A", n, n), no_exchanges(c, n), c.matrix("B", n, columns), c.info());
  });
  add<Names>(drivers, "sv", 150, [](auto c, Int n) {
    with_panels(c, n, [&](auto* work, Int lwork) {
      Names::drive(one_of_triangles(c), n, grouped_nrhs, c.matrix("A", n, n), c.pivots(n),
                   c.matrix("B", n, grouped_nrhs), work, lwork, c.info());
    });
  });
  add<Names>(drivers, "tri", unblocked_order, [](auto c, Int n) {
    Names::invert(one_of_triangles(c), n, c.matrix("A", n, n), no_exchanges(c, n), c.scratch(n), c.info());
  });
}

template <class Names>
void add_packed(DriverList& drivers) {
  add<Names>(drivers, "trf", 150, [](auto c, Int n) {
    with_packed_matrix(c, n, [&](char uplo, auto* ap) { Names::factor(uplo, n, ap, c.pivots(n), c.info()); });
  });
  add<Names>(drivers, "tf2", unblocked_order, [](auto c, Int n) {
    with_packed_matrix(c, n, [&](char uplo, auto* ap) { Names::unblocked(uplo, n, ap, c.pivots(n), c.info()); });
  });
  add<Names>(drivers, "trs", 70, [](auto c, Int n) {
    with_packed_matrix(c, n, [&](char uplo, auto* ap) {
      Names::solve(uplo, n, nrhs, ap, no_exchanges(c, n), c.matrix("B", n, nrhs), c.info());
    });
  });
  add<Names>(drivers, "sv", 150, [](auto c, Int n) {
    with_packed_matrix(c, n, [&](char uplo, auto* ap) {
      Names::drive(uplo, n, nrhs, ap, c.pivots(n), c.matrix("B", n, nrhs), c.info());
    });
  });
  add<Names>(drivers, "tri", unblocked_order, [](auto c, Int n) {
    with_packed_matrix(
        c, n, [&](char uplo, auto* ap) { Names::invert(uplo, n, ap, no_exchanges(c, n), c.scratch(n), c.info()); });
  });
}

}  // namespace

void add_indefinite_solvers(DriverList& drivers) {
  add_full<SymmetricNames>(drivers);
  add_packed<PackedSymmetricNames>(drivers);
  add_full<HermitianNames>(drivers);
  add_packed<PackedHermitianNames>(drivers);
}

}  // namespace nuv::test
