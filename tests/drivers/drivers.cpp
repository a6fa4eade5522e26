#include "drivers/drivers.hpp"

#include <algorithm>

#include "layer.hpp"
#include "orthogonal/by_form.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

constexpr Int nrhs = 3;

/// Systems by factors in single precision; how many steps of refinement that took is a result.
void add_mixed_precision(DriverList& drivers) {
  drivers.add_in<double>("sgesv", 150, [](auto c, Int n) {
    std::vector<float> swork(std::size_t(n * (n + nrhs)));
    Int iter = 0;
    routine_call::dsgesv(n, nrhs, c.matrix("A", n, n), c.pivots(n), c.matrix("B", n, nrhs), c.result("X", n, nrhs),
                         c.scratch(n * nrhs), swork.data(), iter, c.info());
    c.add_result(iter);
  });
  drivers.add_in<std::complex<double>>("cgesv", 150, [](auto c, Int n) {
    std::vector<std::complex<float>> swork(std::size_t(n * (n + nrhs)));
    std::vector<double> rwork(std::size_t(n), 0);
    Int iter = 0;
    routine_call::zcgesv(n, nrhs, c.matrix("A", n, n), c.pivots(n), c.matrix("B", n, nrhs), c.result("X", n, nrhs),
                         c.scratch(n * nrhs), swork.data(), rwork.data(), iter, c.info());
    c.add_result(iter);
  });
}

void add_solvers(DriverList& drivers) {
  drivers.add("getrf", 150, [](auto c, Int n) { layer::getrf(n, n, c.matrix("A", n, n), c.pivots(n), c.info()); });
  drivers.add("getf2", unblocked_order,
              [](auto c, Int n) { routine_call::getf2(n, n, c.matrix("A", n, n), c.pivots(n), c.info()); });
  drivers.add("getrs", 100, [](auto c, Int n) {
    const char trans = c.one_of({'N', 'T', 'C'});
    routine_call::getrs(trans, n, nrhs, c.matrix("A", n, n), c.pivots(n), c.matrix("B", n, nrhs), c.info());
  });
  drivers.add("gesv", 150, [](auto c, Int n) {
    routine_call::gesv(n, nrhs, c.matrix("A", n, n), c.pivots(n), c.matrix("B", n, nrhs), c.info());
  });
  drivers.add("getri", 100, [](auto c, Int n) {
    c.with_workspace(n, [&](auto* work, Int lwork) {
      routine_call::getri(n, c.matrix("A", n, n), c.pivots(n), work, lwork, c.info());
    });
  });
  drivers.add("trtri", 100, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'}), diag = c.one_of({'N', 'U'});
    routine_call::trtri(uplo, diag, n, c.matrix("A", n, n), c.info());
  });
  drivers.add("trti2", unblocked_order, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'}), diag = c.one_of({'N', 'U'});
    routine_call::trti2(uplo, diag, n, c.matrix("A", n, n), c.info());
  });
  drivers.add("trtrs", 100, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'}), trans = c.one_of({'N', 'T', 'C'}), diag = c.one_of({'N', 'U'});
    routine_call::trtrs(uplo, trans, diag, n, nrhs, c.matrix("A", n, n), c.matrix("B", n, nrhs), c.info());
  });

  drivers.add("potrf", 150, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    layer::potrf(uplo, n, c.definite("A", n), c.info());
  });
  drivers.add("potf2", unblocked_order, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    routine_call::potf2(uplo, n, c.definite("A", n), c.info());
  });
  drivers.add("potrs", 100, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    routine_call::potrs(uplo, n, nrhs, c.matrix("A", n, n), c.matrix("B", n, nrhs), c.info());
  });
  drivers.add("posv", 150, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    routine_call::posv(uplo, n, nrhs, c.definite("A", n), c.matrix("B", n, nrhs), c.info());
  });
  drivers.add("potri", 100, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    routine_call::potri(uplo, n, c.matrix("A", n, n), c.info());
  });
  drivers.add("lauum", 100, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    routine_call::lauum(uplo, n, c.matrix("A", n, n), c.info());
  });
  drivers.add("lauu2", unblocked_order, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    routine_call::lauu2(uplo, n, c.matrix("A", n, n), c.info());
  });
}

/// Rows and columns of a matrix with n reflectors, square or twice as long. The QR factorisation of a few columns has
/// panels only where they are long.
auto shape_of(auto& c, const Form& form, Int n) {
  const Int longer = c.one_of({n == unblocked_order ? 1 : 65, 2}) * n;
  return form.columnwise() ? std::pair{longer, n} : std::pair{n, longer};
}

void add_factorisations(DriverList& drivers, const Form& form) {
  const std::string letters = letters_of(form);
  drivers.add("ge" + letters + "f", form.columnwise() && form.forward() ? 20 : 40, [=](auto c, Int n) {
    const auto [m, columns] = shape_of(c, form, n);
    c.with_workspace(n, [&, m = m, columns = columns](auto* work, Int lwork) {
      factor_by_blocks(form, m, columns, c.matrix("A", m, columns), c.result("tau", n, 1).data, work, lwork, c.info());
    });
  });
  drivers.add("ge" + unblocked_letters_of(form), unblocked_order, [=](auto c, Int n) {
    const auto [m, columns] = shape_of(c, form, n);
    factor_one_by_one(form, m, columns, c.matrix("A", m, columns), c.result("tau", n, 1).data, c.scratch(n), c.info());
  });
}

/// A product with some reflectors of that order.
struct ProductWith {
  char side, trans;
  Int m, n, k, nw;

  ProductWith(auto& c, Int order)
      : side(c.one_of({'L', 'R'})),
        trans(c.one_of({'N', c.adjoint})),
        m(order),
        n(order),
        k(order - order / 16 - 1),
        nw(order - 3) {
    (side == 'L' ? n : m) = nw;
  }
};

void add_products(DriverList& drivers, const Form& form) {
  const auto reflectors = [=](auto& c, const ProductWith& p, Int order) {
    return form.columnwise() ? c.matrix("A", order, p.k) : c.matrix("A", p.k, order);
  };
  drivers.add("orm" + letters_of(form), 70, [=](auto c, Int order) {
    const ProductWith p(c, order);
    c.with_workspace(p.nw, [&](auto* work, Int lwork) {
      ByLayer::call(form, p.side, p.trans, p.m, p.n, p.k, reflectors(c, p, order), c.reflector_factors(p.k),
                    c.matrix("C", p.m, p.n), work, lwork, c.info());
    });
  });
  drivers.add("orm" + unblocked_letters_of(form), unblocked_order, [=](auto c, Int order) {
    const ProductWith p(c, order);
    OneByOne::call(form, p.side, p.trans, p.m, p.n, p.k, reflectors(c, p, order), c.reflector_factors(p.k),
                   c.matrix("C", p.m, p.n), c.scratch(p.nw), 0, c.info());
  });
}

void add_forming(DriverList& drivers, const Form& form) {
  const auto matrix = [=](auto& c, Int n) {
    return form.columnwise() ? c.matrix("A", n + 2, n) : c.matrix("A", n, n + 2);
  };
  const auto rows = [=](Int n) { return form.columnwise() ? n + 2 : n; };
  const auto columns = [=](Int n) { return form.columnwise() ? n : n + 2; };
  drivers.add("org" + letters_of(form), 80, [=](auto c, Int n) {
    c.with_workspace(n, [&](auto* work, Int lwork) {
      form_q_by_blocks(form, rows(n), columns(n), n - 1, matrix(c, n), c.reflector_factors(n - 1), work, lwork,
                       c.info());
    });
  });
  drivers.add("org" + unblocked_letters_of(form), unblocked_order, [=](auto c, Int n) {
    form_q_one_by_one(form, rows(n), columns(n), n - 1, matrix(c, n), c.reflector_factors(n - 1), c.scratch(n),
                      c.info());
  });
}

void add_q_of_reductions(DriverList& drivers) {
  drivers.add("ormbr", 60, [](auto c, Int order) {
    const ProductWith p(c, order);
    const char vect = c.one_of({'Q', 'P'});
    const Int k = order + c.one_of({-1, 1});
    c.with_workspace(p.nw, [&](auto* work, Int lwork) {
      routine_call::ormbr(vect, p.side, p.trans, p.m, p.n, k, c.matrix("A", order, order), c.reflector_factors(order),
                          c.matrix("C", p.m, p.n), work, lwork, c.info());
    });
  });
  drivers.add("ormtr", 60, [](auto c, Int order) {
    const ProductWith p(c, order);
    const char uplo = c.one_of({'U', 'L'});
    c.with_workspace(p.nw, [&](auto* work, Int lwork) {
      routine_call::ormtr(p.side, uplo, p.trans, p.m, p.n, c.matrix("A", order, order), c.reflector_factors(order),
                          c.matrix("C", p.m, p.n), work, lwork, c.info());
    });
  });
  drivers.add("orgbr", 80, [](auto c, Int n) {
    const char vect = c.one_of({'Q', 'P'});
    const Int k = n + c.one_of({-1, 1});
    c.with_workspace(n, [&](auto* work, Int lwork) {
      routine_call::orgbr(vect, n, n, k, c.matrix("A", n, n), c.reflector_factors(n), work, lwork, c.info());
    });
  });
  drivers.add("orgtr", 80, [](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    c.with_workspace(n, [&](auto* work, Int lwork) {
      routine_call::orgtr(uplo, n, c.matrix("A", n, n), c.reflector_factors(n), work, lwork, c.info());
    });
  });
}

void add_least_squares(DriverList& drivers) {
  drivers.add("gels", 50, [](auto c, Int n) {
    const char trans = c.one_of({'N', c.adjoint});
    const Int m = n + c.one_of({n / 2, -n / 2}), mn = std::min(m, n);
    c.with_workspace(mn + std::max(mn, nrhs), [&](auto* work, Int lwork) {
      routine_call::gels(trans, m, n, nrhs, c.matrix("A", m, n), c.matrix("B", std::max(m, n), nrhs), work, lwork,
                         c.info());
    });
  });
}

}  // namespace

const std::vector<Driver>& drivers() {
  static const std::vector<Driver> all = [] {
    DriverList drivers;
    add_solvers(drivers);
    add_mixed_precision(drivers);
    add_bounds(drivers);
    add_packed_solvers(drivers);
    add_scaled_solvers(drivers);
    add_svd_drivers(drivers);
    add_band_solvers(drivers);
    add_tridiagonal_solvers(drivers);
    add_tridiagonal_eigen(drivers);
    add_two_stage(drivers);
    add_indefinite_solvers(drivers);
    add_least_squares_by_rank(drivers);
    add_dense_eigen(drivers);
    add_divided_svd(drivers);
    add_packed_band_eigen(drivers);
    add_general_eigen(drivers);
    add_general_pencils(drivers);
    add_generalised_eigen(drivers);
    add_generalised_svd(drivers);
    for (const Form& form : forms) {
      add_factorisations(drivers, form);
      add_products(drivers, form);
      add_forming(drivers, form);
    }
    add_q_of_reductions(drivers);
    add_least_squares(drivers);
    add_svd_least_squares(drivers);
    add_nonsymmetric(drivers);
    add_pencil_equations(drivers);
    add_pencil_reduction(drivers);
    add_pencil_reordering(drivers);
    add_pivoted(drivers);
    return drivers.list;
  }();
  return all;
}

}  // namespace nuv::test
