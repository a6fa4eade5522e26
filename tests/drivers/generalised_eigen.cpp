// Bisection, inverse iteration and pairs of matrices in the list. Of the drivers the eigenvalues are compared: what
// else they leave hangs on roundings.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "drivers/eigen_storage.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// Beyond it full matrices are reduced by blocks.
constexpr Int order_of_blocks = 70, order_of_panels = 40;

/// A tridiagonal matrix: the real parts of what stands in a matrix on the diagonal and beside it.
template <Scalar T>
struct TridiagonalParts {
  std::vector<Real<T>> d, e;

  TridiagonalParts(Int n, Matrix<T> A) : d(std::size_t(n)), e(std::size_t(n)) {
    for (Int i = 1; i <= n; ++i) d[std::size_t(i - 1)] = std::real(A(i, i));
    for (Int i = 1; i < n; ++i) e[std::size_t(i - 1)] = std::real(A(i + 1, i));
  }
};

void add_bisection(DriverList& drivers) {
  drivers.add_real("stebz", unblocked_order, [](auto c, Int n) {
    const TridiagonalParts A(n, c.matrix("A", n, n));
    using R = typename decltype(A.d)::value_type;
    const char range = c.one_of({'A', 'V', 'I'}), order = c.one_of({'B', 'E'});
    R* const w = c.real_result("w", n);
    std::vector<R> work(std::size_t(4 * n));
    const auto integers = [n] { return std::vector<Int>(std::size_t(3 * n)); };
    std::vector<Int> iblock = integers(), isplit = integers(), iwork = integers();
    Int m = 0, nsplit = 0;
    routine_call::stebz(range, order, n, R(1), R(4), 2, n, R(0), A.d.data(), A.e.data(), m, nsplit, w, iblock.data(),
                        isplit.data(), work.data(), iwork.data(), c.info());
    c.add_result(m);
    std::fill(w + m, w + n, R(0));
  });
  drivers.add("stein", unblocked_order, []<class C>(C c, Int n) {
    const TridiagonalParts A(n, c.matrix("A", n, n));
    using R = typename decltype(A.d)::value_type;
    const R w[] = {R(0.5), R(1.5), R(2.5)};
    const Int iblock[] = {1, 1, 1};
    const std::vector<Int> isplit(std::size_t(n), n);
    std::vector<R> work(std::size_t(5 * n));
    std::vector<Int> iwork(isplit), ifail(isplit);
    routine_call::stein(n, A.d.data(), A.e.data(), 3, w, iblock, isplit.data(), c.result("Z", n, 3), work.data(),
                        iwork.data(), ifail.data(), c.info());
  });
}

/// A pair of band matrices has so many diagonals beside the main one.
constexpr Int ka = 3, kb = 2;

void add_reductions(DriverList& drivers) {
  drivers.add("sygst", order_of_blocks, [](auto c, Int n) {
    const Int itype = c.one_of({1, 2});
    const char uplo = c.one_of({'U', 'L'});
    routine_call::sygst(itype, uplo, n, c.matrix("A", n, n), c.matrix("B", n, n), c.info());
  });
  drivers.add("sygs2", unblocked_order, [](auto c, Int n) {
    const Int itype = c.one_of({1, 2});
    const char uplo = c.one_of({'U', 'L'});
    routine_call::sygs2(itype, uplo, n, c.matrix("A", n, n), c.matrix("B", n, n), c.info());
  });
  drivers.add("spgst", unblocked_order, [](auto c, Int n) {
    const Int itype = c.one_of({1, 2});
    const char uplo = c.one_of({'U', 'L'});
    const auto A = c.matrix("A", n, n);
    const auto bp = packed_copy(uplo, n, c.matrix("B", n, n));
    auto ap = packed_copy(uplo, n, A);
    routine_call::spgst(itype, uplo, n, ap.data(), bp.data(), c.info());
    for_each_packed(uplo == 'U', n, [&](Int i, Int j, Int k) { A(i, j) = ap[std::size_t(k - 1)]; });
  });
  drivers.add("pbstf", unblocked_order, []<class C>(C c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    auto bb = band_copy(uplo, n, kb, c.definite("B", n));
    routine_call::pbstf(uplo, n, kb, {bb.data(), kb + 1}, c.info());
  });
  drivers.add("sbgst", unblocked_order, []<Scalar T>(CallIn<T> c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    auto ab = band_copy(uplo, n, ka, c.matrix("A", n, n));
    const auto bb = band_copy(uplo, n, kb, c.matrix("B", n, n));
    const Matrix<T> AB{ab.data(), ka + 1}, X = c.result("X", n, n);
    const Matrix<const T> BB{bb.data(), kb + 1};
    std::vector<T> work(std::size_t(2 * n));
    if constexpr (ComplexScalar<T>) {
      std::vector<Real<T>> rwork(std::size_t(n), 0);
      routine_call::hbgst('V', uplo, n, ka, kb, AB, BB, X, work.data(), rwork.data(), c.info());
    } else {
      routine_call::sbgst('V', uplo, n, ka, kb, AB, BB, X, work.data(), c.info());
    }
  });
}

/// Copies of the matrices of a call, the options that all drivers have, and room for what they leave.
template <Scalar T>
struct Problem {
  CallIn<T> c;
  Int n;
  Int itype;
  char jobz, uplo;
  Matrix<T> A, B;
  Room<T> room;
  Real<T>* w;

  Problem(CallIn<T> c_, Int n_, bool has_types)
      : c(c_),
        n(n_),
        itype(has_types ? c.one_of({1, 3}) : 1),
        jobz(c.one_of({'N', 'V'})),
        uplo(c.one_of({'U', 'L'})),
        A(c.matrix("A", n, n)),
        B(c.definite("B", n)),
        room(n),
        w(c.real_result("w", n)) {}

  /// Eigenvectors, and a place for Q.
  Matrix<T> Z() { return {room.z.data(), n}; }
  Matrix<T> Q() { return {room.q.data(), n}; }

  /// Behind the eigenvalues that were asked for there is nothing to compare.
  void take(Int m) {
    c.add_result(m);
    std::fill(w + m, w + n, Real<T>(0));
  }
};

/// A driver, run(problem).
template <class Run>
void add_driver(DriverList& drivers, const std::string& name, bool has_types, Run run) {
  drivers.add(name, order_of_panels, [=]<Scalar T>(CallIn<T> c, Int n) {
    Problem<T> problem(c, n, has_types);
    run(problem);
  });
}

/// Copies of full matrices.
template <Scalar T>
struct FullPair {
  std::vector<T> a, b;
  Matrix<T> A, B;

  explicit FullPair(const Problem<T>& p) : a(copy(p.n, p.A)), b(copy(p.n, p.B)), A(a.data(), p.n), B(b.data(), p.n) {}

  static std::vector<T> copy(Int n, Matrix<T> A) {
    std::vector<T> result;
    for (Int j = 1; j <= n; ++j) result.insert(result.end(), A.at(1, j), A.at(1, j) + n);
    return result;
  }
};

void add_full_drivers(DriverList& drivers) {
  add_driver(drivers, "sygv", true, []<Scalar T>(Problem<T>& p) {
    const FullPair<T> pair(p);
    Room<T>& room = p.room;
    if constexpr (ComplexScalar<T>) {
      routine_call::hegv(p.itype, p.jobz, p.uplo, p.n, pair.A, pair.B, p.w, room.work.data(), room.lwork(),
                         room.rwork.data(), p.c.info());
    } else {
      routine_call::sygv(p.itype, p.jobz, p.uplo, p.n, pair.A, pair.B, p.w, room.work.data(), room.lwork(), p.c.info());
    }
  });
  add_driver(drivers, "sygvd", true, []<Scalar T>(Problem<T>& p) {
    const FullPair<T> pair(p);
    Room<T>& room = p.room;
    if constexpr (ComplexScalar<T>) {
      routine_call::hegvd(p.itype, p.jobz, p.uplo, p.n, pair.A, pair.B, p.w, room.work.data(), room.lwork(),
                          room.rwork.data(), room.lwork(), room.iwork.data(), room.liwork(), p.c.info());
    } else {
      routine_call::sygvd(p.itype, p.jobz, p.uplo, p.n, pair.A, pair.B, p.w, room.work.data(), room.lwork(),
                          room.iwork.data(), room.liwork(), p.c.info());
    }
  });
  add_driver(drivers, "sygvx", true, []<Scalar T>(Problem<T>& p) {
    using R = Real<T>;
    const char range = p.c.one_of({'A', 'I'});
    const FullPair<T> pair(p);
    Room<T>& room = p.room;
    Int m = 0;
    if constexpr (ComplexScalar<T>) {
      routine_call::hegvx(p.itype, p.jobz, range, p.uplo, p.n, pair.A, pair.B, R(0), R(1), 2, p.n, R(0), m, p.w, p.Z(),
                          room.work.data(), room.lwork(), room.rwork.data(), room.iwork.data(), room.ifail.data(),
                          p.c.info());
    } else {
      routine_call::sygvx(p.itype, p.jobz, range, p.uplo, p.n, pair.A, pair.B, R(0), R(1), 2, p.n, R(0), m, p.w, p.Z(),
                          room.work.data(), room.lwork(), room.iwork.data(), room.ifail.data(), p.c.info());
    }
    p.take(m);
  });
}

void add_packed_drivers(DriverList& drivers) {
  add_driver(drivers, "spgv", true, []<Scalar T>(Problem<T>& p) {
    auto ap = packed_copy(p.uplo, p.n, p.A), bp = packed_copy(p.uplo, p.n, p.B);
    Room<T>& room = p.room;
    if constexpr (ComplexScalar<T>) {
      routine_call::hpgv(p.itype, p.jobz, p.uplo, p.n, ap.data(), bp.data(), p.w, p.Z(), room.work.data(),
                         room.rwork.data(), p.c.info());
    } else {
      routine_call::spgv(p.itype, p.jobz, p.uplo, p.n, ap.data(), bp.data(), p.w, p.Z(), room.work.data(), p.c.info());
    }
  });
  add_driver(drivers, "spgvd", true, []<Scalar T>(Problem<T>& p) {
    auto ap = packed_copy(p.uplo, p.n, p.A), bp = packed_copy(p.uplo, p.n, p.B);
    Room<T>& room = p.room;
    if constexpr (ComplexScalar<T>) {
      routine_call::hpgvd(p.itype, p.jobz, p.uplo, p.n, ap.data(), bp.data(), p.w, p.Z(), room.work.data(),
                          room.lwork(), room.rwork.data(), room.lwork(), room.iwork.data(), room.liwork(), p.c.info());
    } else {
      routine_call::spgvd(p.itype, p.jobz, p.uplo, p.n, ap.data(), bp.data(), p.w, p.Z(), room.work.data(),
                          room.lwork(), room.iwork.data(), room.liwork(), p.c.info());
    }
  });
  add_driver(drivers, "spgvx", true, []<Scalar T>(Problem<T>& p) {
    using R = Real<T>;
    const char range = p.c.one_of({'A', 'I'});
    auto ap = packed_copy(p.uplo, p.n, p.A), bp = packed_copy(p.uplo, p.n, p.B);
    Room<T>& room = p.room;
    Int m = 0;
    if constexpr (ComplexScalar<T>) {
      routine_call::hpgvx(p.itype, p.jobz, range, p.uplo, p.n, ap.data(), bp.data(), R(0), R(1), 2, p.n, R(0), m, p.w,
                          p.Z(), room.work.data(), room.rwork.data(), room.iwork.data(), room.ifail.data(), p.c.info());
    } else {
      routine_call::spgvx(p.itype, p.jobz, range, p.uplo, p.n, ap.data(), bp.data(), R(0), R(1), 2, p.n, R(0), m, p.w,
                          p.Z(), room.work.data(), room.iwork.data(), room.ifail.data(), p.c.info());
    }
    p.take(m);
  });
}

/// The bands of a pair.
template <Scalar T>
struct Bands {
  std::vector<T> ab, bb;
  Matrix<T> A, B;

  explicit Bands(const Problem<T>& p)
      : ab(band_copy(p.uplo, p.n, ka, p.A)),
        bb(band_copy(p.uplo, p.n, kb, p.B)),
        A(ab.data(), ka + 1),
        B(bb.data(), kb + 1) {}
};

void add_band_drivers(DriverList& drivers) {
  add_driver(drivers, "sbgv", false, []<Scalar T>(Problem<T>& p) {
    const Bands<T> bands(p);
    Room<T>& room = p.room;
    if constexpr (ComplexScalar<T>) {
      routine_call::hbgv(p.jobz, p.uplo, p.n, ka, kb, bands.A, bands.B, p.w, p.Z(), room.work.data(), room.rwork.data(),
                         p.c.info());
    } else {
      routine_call::sbgv(p.jobz, p.uplo, p.n, ka, kb, bands.A, bands.B, p.w, p.Z(), room.work.data(), p.c.info());
    }
  });
  add_driver(drivers, "sbgvd", false, []<Scalar T>(Problem<T>& p) {
    const Bands<T> bands(p);
    Room<T>& room = p.room;
    if constexpr (ComplexScalar<T>) {
      routine_call::hbgvd(p.jobz, p.uplo, p.n, ka, kb, bands.A, bands.B, p.w, p.Z(), room.work.data(), room.lwork(),
                          room.rwork.data(), room.lwork(), room.iwork.data(), room.liwork(), p.c.info());
    } else {
      routine_call::sbgvd(p.jobz, p.uplo, p.n, ka, kb, bands.A, bands.B, p.w, p.Z(), room.work.data(), room.lwork(),
                          room.iwork.data(), room.liwork(), p.c.info());
    }
  });
  add_driver(drivers, "sbgvx", false, []<Scalar T>(Problem<T>& p) {
    using R = Real<T>;
    const char range = p.c.one_of({'A', 'I'});
    const Bands<T> bands(p);
    Room<T>& room = p.room;
    Int m = 0;
    if constexpr (ComplexScalar<T>) {
      routine_call::hbgvx(p.jobz, range, p.uplo, p.n, ka, kb, bands.A, bands.B, p.Q(), R(0), R(1), 2, p.n, R(0), m, p.w,
                          p.Z(), room.work.data(), room.rwork.data(), room.iwork.data(), room.ifail.data(), p.c.info());
    } else {
      routine_call::sbgvx(p.jobz, range, p.uplo, p.n, ka, kb, bands.A, bands.B, p.Q(), R(0), R(1), 2, p.n, R(0), m, p.w,
                          p.Z(), room.work.data(), room.iwork.data(), room.ifail.data(), p.c.info());
    }
    p.take(m);
  });
}

}  // namespace

void add_generalised_eigen(DriverList& drivers) {
  add_bisection(drivers);
  add_reductions(drivers);
  add_full_drivers(drivers);
  add_packed_drivers(drivers);
  add_band_drivers(drivers);
}

}  // namespace nuv::test
