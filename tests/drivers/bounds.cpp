// Condition numbers, refinement, scaling and expert drivers in the list.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "routines.hpp"
#include "support/packed.hpp"

namespace nuv::test {
namespace {

constexpr Int nrhs = 2;

template <Scalar T>
using SecondWork = std::conditional_t<RealScalar<T>, Int, Real<T>>;

/// The workspaces, generous.
template <Scalar T>
struct Work {
  std::vector<T> first;
  std::vector<SecondWork<T>> second;

  explicit Work(Int n) : first(4 * std::size_t(n)), second(2 * std::size_t(n)) {}
};

/// Other storages of a matrix.
template <Scalar T>
std::vector<T> packed(char uplo, Int n, Matrix<T> A) {
  std::vector<T> ap;
  for_each_packed(uplo == 'U', n, [&](Int i, Int j, Int) { ap.push_back(A(i, j)); });
  return ap;
}

template <Scalar T>
std::vector<T> band(Int n, Int kl, Int ku, Matrix<T> A) {
  std::vector<T> ab(std::size_t(kl + ku + 1) * std::size_t(n));
  for (Int j = 1; j <= n; ++j) {
    for (Int i = std::max(1, j - ku); i <= std::min(n, j + kl); ++i) {
      Matrix<T>(ab.data(), kl + ku + 1)(ku + 1 + i - j, j) = A(i, j);
    }
  }
  return ab;
}

template <class To, Scalar T>
std::vector<To> diagonal(Int n, Int offset, Matrix<T> A) {
  std::vector<To> d;
  for (Int i = 1; i <= n - std::abs(offset); ++i) {
    const T x = A(i + std::max(0, -offset), i + std::max(0, offset));
    if constexpr (RealScalar<To>) d.push_back(std::real(x));
    else d.push_back(x);
  }
  return d;
}

/// The arguments behind the matrix that expert drivers share. The error bounds are made of rounding errors, and are
/// others when those are.
template <Scalar T>
struct Results {
  Matrix<T> B, X;
  Real<T>* rcond;
  Real<T> ferr[nrhs], berr[nrhs];

  Results(CallIn<T>& c, Int n)
      : B(c.matrix("B", n, nrhs)), X(c.result("X", n, nrhs)), rcond(c.real_result("rcond", 1)) {
    for (Int j = 1; j <= nrhs; ++j) {
      for (Int i = 1; i <= n; ++i) X(i, j) = T(0);
    }
  }
};

void add_conditions(DriverList& drivers) {
  drivers.add("gecon", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    Work<T> w(n);
    routine_call::gecon(c.one_of({'1', 'I'}), n, c.matrix("A", n, n), Real<T>(1), *c.real_result("rcond", 1),
                        w.first.data(), w.second.data(), c.info());
  });
  drivers.add("pocon", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    Work<T> w(n);
    routine_call::pocon(c.one_of({'U', 'L'}), n, c.matrix("A", n, n), Real<T>(1), *c.real_result("rcond", 1),
                        w.first.data(), w.second.data(), c.info());
  });
  drivers.add("trcon", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    Work<T> w(n);
    const char norm = c.one_of({'1', 'I'}), uplo = c.one_of({'U', 'L'}), diag = c.one_of({'N', 'U'});
    routine_call::trcon(norm, uplo, diag, n, c.matrix("A", n, n), *c.real_result("rcond", 1), w.first.data(),
                        w.second.data(), c.info());
  });
}

void add_refinement(DriverList& drivers) {
  drivers.add("gerfs", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    Work<T> w(n);
    const char trans = c.one_of({'N', 'T', 'C'});
    routine_call::gerfs(trans, n, nrhs, c.matrix("A", n, n), c.matrix("AF", n, n), c.pivots(n), c.matrix("B", n, nrhs),
                        c.matrix("X", n, nrhs), c.real_result("ferr", nrhs), c.real_result("berr", nrhs),
                        w.first.data(), w.second.data(), c.info());
  });
  drivers.add("trrfs", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    Work<T> w(n);
    const char uplo = c.one_of({'U', 'L'}), trans = c.one_of({'N', 'T', 'C'}), diag = c.one_of({'N', 'U'});
    routine_call::trrfs(uplo, trans, diag, n, nrhs, c.matrix("A", n, n), c.matrix("B", n, nrhs), c.matrix("X", n, nrhs),
                        c.real_result("ferr", nrhs), c.real_result("berr", nrhs), w.first.data(), w.second.data(),
                        c.info());
  });
}

void add_scaling(DriverList& drivers) {
  drivers.add("geequ", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    Real<T>* const conditions = c.real_result("conditions", 3);
    routine_call::geequ(n, n, c.matrix("A", n, n), c.real_result("r", n), c.real_result("c", n), conditions[0],
                        conditions[1], conditions[2], c.info());
  });
  drivers.add("poequ", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    Real<T>* const conditions = c.real_result("conditions", 2);
    routine_call::poequ(n, c.definite("A", n), c.real_result("s", n), conditions[0], conditions[1], c.info());
  });
}

/// Symmetric and Hermitian ones.
auto indefinite_driver(auto routine) {
  return [=]<Scalar T>(CallIn<T> c, Int n) {
    Work<T> w(n);
    std::vector<T> af(std::size_t(n) * std::size_t(n));
    const char uplo = c.one_of({'U', 'L'});
    const Matrix<T> A = c.matrix("A", n, n);
    Results<T> r(c, n);
    routine('N', uplo, n, nrhs, A, Matrix<T>(af.data(), n), c.pivots(n), r.B, r.X, *r.rcond, r.ferr, r.berr,
            w.first.data(), 4 * n, w.second.data(), c.info());
  };
}

auto packed_indefinite_driver(auto routine) {
  return [=]<Scalar T>(CallIn<T> c, Int n) {
    Work<T> w(n);
    const char uplo = c.one_of({'U', 'L'});
    const std::vector<T> ap = packed(uplo, n, c.matrix("A", n, n));
    std::vector<T> afp = ap;
    Results<T> r(c, n);
    routine('N', uplo, n, nrhs, ap.data(), afp.data(), c.pivots(n), r.B, r.X, *r.rcond, r.ferr, r.berr, w.first.data(),
            w.second.data(), c.info());
  };
}

void add_expert_drivers(DriverList& drivers) {
  drivers.add("gesvx", 140, []<Scalar T>(CallIn<T> c, Int n) {
    Work<T> w(n);
    std::vector<T> af(std::size_t(n) * std::size_t(n));
    std::vector<Real<T>> row(std::size_t(n), 0), column(std::size_t(n), 0);
    char equed;
    const char fact = c.one_of({'N', 'E'}), trans = c.one_of({'N', 'T', 'C'});
    const Matrix<T> A = c.matrix("A", n, n);
    Results<T> r(c, n);
    routine_call::gesvx(fact, trans, n, nrhs, A, Matrix<T>(af.data(), n), c.pivots(n), equed, row.data(), column.data(),
                        r.B, r.X, *r.rcond, r.ferr, r.berr, w.first.data(), w.second.data(), c.info());
  });
  drivers.add("posvx", 140, []<Scalar T>(CallIn<T> c, Int n) {
    Work<T> w(n);
    std::vector<T> af(std::size_t(n) * std::size_t(n));
    std::vector<Real<T>> s(std::size_t(n), 1);
    char equed;
    const char fact = c.one_of({'N', 'E'}), uplo = c.one_of({'U', 'L'});
    const Matrix<T> A = c.definite("A", n);
    Results<T> r(c, n);
    routine_call::posvx(fact, uplo, n, nrhs, A, Matrix<T>(af.data(), n), equed, s.data(), r.B, r.X, *r.rcond, r.ferr,
                        r.berr, w.first.data(), w.second.data(), c.info());
  });
  drivers.add("ppsvx", 60, []<Scalar T>(CallIn<T> c, Int n) {
    Work<T> w(n);
    const char fact = c.one_of({'N', 'E'}), uplo = c.one_of({'U', 'L'});
    std::vector<T> ap = packed(uplo, n, c.definite("A", n)), afp = ap;
    std::vector<Real<T>> s(std::size_t(n), 1);
    char equed;
    Results<T> r(c, n);
    routine_call::ppsvx(fact, uplo, n, nrhs, ap.data(), afp.data(), equed, s.data(), r.B, r.X, *r.rcond, r.ferr, r.berr,
                        w.first.data(), w.second.data(), c.info());
  });
  drivers.add("sysvx", 110, indefinite_driver([](auto&&... c) { routine_call::sysvx(c...); }));
  drivers.add_complex("hesvx", 110, indefinite_driver([](auto&&... c) { routine_call::hesvx(c...); }));
  drivers.add("spsvx", 140, packed_indefinite_driver([](auto&&... c) { routine_call::spsvx(c...); }));
  drivers.add_complex("hpsvx", 140, packed_indefinite_driver([](auto&&... c) { routine_call::hpsvx(c...); }));
  drivers.add("gbsvx", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    constexpr Int kl = 2, ku = 1;
    Work<T> w(n);
    const char fact = c.one_of({'N', 'E'}), trans = c.one_of({'N', 'T', 'C'});
    std::vector<T> ab = band(n, kl, ku, c.matrix("A", n, n)), afb(std::size_t(2 * kl + ku + 1) * std::size_t(n));
    std::vector<Real<T>> row(std::size_t(n), 0), column(std::size_t(n), 0);
    char equed;
    Results<T> r(c, n);
    routine_call::gbsvx(fact, trans, n, kl, ku, nrhs, Matrix<T>(ab.data(), kl + ku + 1),
                        Matrix<T>(afb.data(), 2 * kl + ku + 1), c.pivots(n), equed, row.data(), column.data(), r.B, r.X,
                        *r.rcond, r.ferr, r.berr, w.first.data(), w.second.data(), c.info());
  });
  drivers.add("pbsvx", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    constexpr Int kd = 2;
    Work<T> w(n);
    const char fact = c.one_of({'N', 'E'}), uplo = c.one_of({'U', 'L'});
    std::vector<T> ab = band(n, uplo == 'U' ? 0 : kd, uplo == 'U' ? kd : 0, c.definite("A", n)), afb = ab;
    std::vector<Real<T>> s(std::size_t(n), 1);
    char equed;
    Results<T> r(c, n);
    routine_call::pbsvx(fact, uplo, n, kd, nrhs, Matrix<T>(ab.data(), kd + 1), Matrix<T>(afb.data(), kd + 1), equed,
                        s.data(), r.B, r.X, *r.rcond, r.ferr, r.berr, w.first.data(), w.second.data(), c.info());
  });
  drivers.add("gtsvx", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    Work<T> w(n);
    const char trans = c.one_of({'N', 'T', 'C'});
    const Matrix<T> A = c.matrix("A", n, n);
    const std::vector<T> dl = diagonal<T>(n, -1, A), d = diagonal<T>(n, 0, A), du = diagonal<T>(n, 1, A);
    std::vector<T> dlf = dl, df = d, duf = du, du2(std::size_t(n), T(0));
    Results<T> r(c, n);
    routine_call::gtsvx('N', trans, n, nrhs, dl.data(), d.data(), du.data(), dlf.data(), df.data(), duf.data(),
                        du2.data(), c.pivots(n), r.B, r.X, *r.rcond, r.ferr, r.berr, w.first.data(), w.second.data(),
                        c.info());
  });
  drivers.add("ptsvx", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    Work<T> w(n);
    const Matrix<T> A = c.definite("A", n);
    const std::vector<Real<T>> d = diagonal<Real<T>>(n, 0, A);
    const std::vector<T> e = diagonal<T>(n, -1, A);
    std::vector<Real<T>> df = d;
    std::vector<T> ef = e;
    Results<T> r(c, n);
    const auto call = [&](auto... work) {
      routine_call::ptsvx('N', n, nrhs, d.data(), e.data(), df.data(), ef.data(), r.B, r.X, *r.rcond, r.ferr, r.berr,
                          work..., c.info());
    };
    if constexpr (RealScalar<T>) call(w.first.data());
    else call(w.first.data(), w.second.data());
  });
}

}  // namespace

void add_bounds(DriverList& drivers) {
  add_conditions(drivers);
  add_refinement(drivers);
  add_scaling(drivers);
  add_expert_drivers(drivers);
}

}  // namespace nuv::test
