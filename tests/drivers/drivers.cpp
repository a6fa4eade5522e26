#include "drivers/drivers.hpp"

#include <algorithm>

#include "layer.hpp"
#include "orthogonal/by_form.hpp"
#include "routines.hpp"
#include "support/packed.hpp"

namespace nuv::test {
namespace {

constexpr Int nrhs = 3;
constexpr Int many = 12;  ///< right-hand sides that are solved for by blocks in packed and band storage

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

/// Runs routine(ap) on a triangle of A in packed storage, and puts back what it leaves there.
template <Scalar T, class Routine>
void in_packed_storage(char uplo, Int n, Matrix<T> A, Routine routine) {
  std::vector<T> ap(std::size_t(packed_size(n)));
  for_each_packed(uplo == 'U', n, [&](Int i, Int j, Int k) { ap[std::size_t(k - 1)] = A(i, j); });
  routine(ap.data());
  for_each_packed(uplo == 'U', n, [&](Int i, Int j, Int k) { A(i, j) = ap[std::size_t(k - 1)]; });
}

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

/// The band of a square matrix in its own storage, with rows for what row exchanges bring; at the end of the call it
/// goes back into the matrix.
template <Scalar T>
class BandOf {
 public:
  BandOf(Matrix<T> A, Int n, Int kl, Int ku, Int extra_rows = 0)
      : A_(A), n_(n), kl_(kl), kv_(ku + extra_rows), ab_(std::size_t(n) * std::size_t(ld())) {
    for_each_element([](T& inside, T& outside) { outside = inside; });
  }
  ~BandOf() {
    for_each_element([](T& inside, T& outside) { inside = outside; });
  }

  operator Matrix<T>() { return {ab_.data(), ld()}; }
  operator Matrix<const T>() { return {ab_.data(), ld()}; }

 private:
  Int ld() const { return kl_ + kv_ + 1; }

  template <class Copy>
  void for_each_element(Copy copy) {
    for (Int j = 1; j <= n_; ++j) {
      for (Int i = std::max(1, j - kv_); i <= std::min(n_, j + kl_); ++i) {
        copy(A_(i, j), *Matrix<T>(*this).at(kv_ + 1 + i - j, j));
      }
    }
  }

  Matrix<T> A_;
  Int n_, kl_, kv_;
  std::vector<T> ab_;
};
template <class T, class... Sizes>
BandOf(Matrix<T>, Sizes...) -> BandOf<T>;

/// Diagonals beside the main one with which a solver works by blocks, if the order is not that of unblocked work.
struct BandSizes {
  Int kl, ku;

  explicit BandSizes(Int n) : kl(n == unblocked_order ? 2 : 36), ku(n == unblocked_order ? 1 : 68) {}
};

void add_band_solvers(DriverList& drivers) {
  const auto factor = [](auto routine) {
    return [=](auto c, Int n) {
      const BandSizes sizes(n);
      BandOf AB(c.matrix("A", n, n), n, sizes.kl, sizes.ku, sizes.kl);
      routine(n, n, sizes.kl, sizes.ku, AB, c.pivots(n), c.info());
    };
  };
  drivers.add("gbtrf", 110, factor([](auto&&... arguments) { layer::gbtrf(arguments...); }));
  drivers.add("gbtf2", unblocked_order, factor([](auto&&... arguments) { routine_call::gbtf2(arguments...); }));
  const auto solve = [](auto routine) {
    return [=](auto c, Int n) {
      const char trans = c.one_of({'N', 'T', 'C'});
      const BandSizes sizes(n);
      BandOf AB(c.matrix("A", n, n), n, sizes.kl, sizes.ku, sizes.kl);
      routine(trans, n, sizes.kl, sizes.ku, nrhs, AB, c.pivots(n), c.matrix("B", n, nrhs), c.info());
    };
  };
  drivers.add("gbtrs", 130, solve([](auto&&... arguments) { layer::gbtrs(arguments...); }));
  drivers.add("gbts2", unblocked_order, solve([](auto&&... arguments) { routine_call::gbts2(arguments...); }));
  drivers.add("gbsv", 130, [](auto c, Int n) {
    const BandSizes sizes(n);
    BandOf AB(c.matrix("A", n, n), n, sizes.kl, sizes.ku, sizes.kl);
    routine_call::gbsv(n, sizes.kl, sizes.ku, nrhs, AB, c.pivots(n), c.matrix("B", n, nrhs), c.info());
  });

  const auto definite = [](auto routine) {
    return [=](auto c, Int n) {
      const char uplo = c.one_of({'U', 'L'});
      const Int kd = BandSizes(n).ku;
      BandOf AB(c.definite("A", n), n, uplo == 'L' ? kd : 0, uplo == 'U' ? kd : 0);
      routine(c, uplo, n, kd, AB);
    };
  };
  drivers.add("pbtrf", 110, definite([](auto c, char uplo, Int n, Int kd, auto& AB) {
                routine_call::pbtrf(uplo, n, kd, AB, c.info());
              }));
  drivers.add("pbtf2", unblocked_order, definite([](auto c, char uplo, Int n, Int kd, auto& AB) {
                routine_call::pbtf2(uplo, n, kd, AB, c.info());
              }));
  drivers.add("pbtrs", 130, definite([](auto c, char uplo, Int n, Int kd, auto& AB) {
                layer::pbtrs(uplo, n, kd, nrhs, AB, c.matrix("B", n, nrhs), c.info());
              }));
  drivers.add("pbts2", unblocked_order, definite([](auto c, char uplo, Int n, Int kd, auto& AB) {
                routine_call::pbts2(uplo, n, kd, nrhs, AB, c.matrix("B", n, nrhs), c.info());
              }));
  drivers.add("pbsv", 130, definite([](auto c, char uplo, Int n, Int kd, auto& AB) {
                routine_call::pbsv(uplo, n, kd, nrhs, AB, c.matrix("B", n, nrhs), c.info());
              }));
  drivers.add("tbtrs", 130, definite([](auto c, char uplo, Int n, Int kd, auto& AB) {
                const char trans = c.one_of({'N', 'T', 'C'}), diag = c.one_of({'N', 'U'});
                layer::tbtrs(uplo, trans, diag, n, kd, nrhs, AB, c.matrix("B", n, nrhs), c.info());
              }));
}

/// The diagonals of a square matrix as vectors; at the end of the call they go back into the matrix.
template <Scalar T>
struct DiagonalsOf {
  Matrix<T> A;
  Int n;
  std::vector<T> dl = take(2, 1), d = take(1, 1), du = take(1, 2), du2 = take(1, 3);
  std::vector<Real<T>> real = std::vector<Real<T>>(std::size_t(n));

  DiagonalsOf(Matrix<T> A_, Int n_) : A(A_), n(n_) {
    for (Int i = 0; i < n; ++i) real[std::size_t(i)] = std::real(d[std::size_t(i)]);
  }

  void put_back() {
    put_back_but_lower();
    put(2, 1, dl);
  }
  void put_back_but_lower() {
    put(1, 1, d);
    put(1, 2, du);
  }
  void put_back_definite() {
    put(1, 1, std::vector<T>(real.begin(), real.end()));
    put(2, 1, dl);
  }

 private:
  std::vector<T> take(Int i, Int j) const {
    std::vector<T> diagonal;
    for (; i <= n && j <= n; ++i, ++j) diagonal.push_back(A(i, j));
    return diagonal;
  }
  void put(Int i, Int j, const std::vector<T>& diagonal) {
    for (const T& element : diagonal) A(i++, j++) = element;
  }
};
template <class T>
DiagonalsOf(Matrix<T>, Int) -> DiagonalsOf<T>;

void add_tridiagonal_solvers(DriverList& drivers) {
  constexpr Int order = 12;
  drivers.add("gttrf", unblocked_order, [](auto c, Int n) {
    DiagonalsOf A(c.matrix("A", n, n), n);
    routine_call::gttrf(n, A.dl.data(), A.d.data(), A.du.data(), A.du2.data(), c.pivots(n), c.info());
    A.put_back();
  });
  drivers.add("gttrs", order, [](auto c, Int n) {
    const char trans = c.one_of({'N', 'T', 'C'});
    DiagonalsOf A(c.matrix("A", n, n), n);
    layer::gttrs(trans, n, many, A.dl.data(), A.d.data(), A.du.data(), A.du2.data(), c.pivots(n),
                 c.matrix("B", n, many), c.info());
  });
  drivers.add("gtsv", order, [](auto c, Int n) {
    const Int count = c.one_of({nrhs, many});
    DiagonalsOf A(c.matrix("A", n, n), n);
    routine_call::gtsv(n, count, A.dl.data(), A.d.data(), A.du.data(), c.matrix("B", n, count), c.info());
    A.put_back_but_lower();  // what stands below depends on the way that memory allows
  });
  drivers.add("lagtm", unblocked_order, [](auto c, Int n) {
    const char trans = c.one_of({'N', 'T', 'C'});
    const auto alpha = c.one_of({1.0f, -1.0f}), beta = c.one_of({1.0f, -1.0f, 0.0f});
    DiagonalsOf A(c.matrix("A", n, n), n);
    routine_call::lagtm(trans, n, nrhs, alpha, A.dl.data(), A.d.data(), A.du.data(), c.matrix("X", n, nrhs), beta,
                        c.matrix("B", n, nrhs));
  });
  drivers.add("pttrf", unblocked_order, [](auto c, Int n) {
    DiagonalsOf A(c.definite("A", n), n);
    routine_call::pttrf(n, A.real.data(), A.dl.data(), c.info());
    A.put_back_definite();
  });
  drivers.add("ptsv", unblocked_order, [](auto c, Int n) {
    DiagonalsOf A(c.definite("A", n), n);
    routine_call::ptsv(n, many, A.real.data(), A.dl.data(), c.matrix("B", n, many), c.info());
    A.put_back_definite();
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
    add_bounds(drivers);
    add_packed_solvers(drivers);
    add_scaled_solvers(drivers);
    add_band_solvers(drivers);
    add_tridiagonal_solvers(drivers);
    for (const Form& form : forms) {
      add_factorisations(drivers, form);
      add_products(drivers, form);
      add_forming(drivers, form);
    }
    add_q_of_reductions(drivers);
    add_least_squares(drivers);
    return drivers.list;
  }();
  return all;
}

}  // namespace nuv::test
