// Eigenproblems of packed and band matrices in the list. Their eigenvalues are compared: the tridiagonal matrix, and
// the signs of eigenvectors, hang on roundings.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "drivers/packed_storage.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// Calls run(c, n, uplo, ap) with a packed triangle. It is no array of the call: what a reduction leaves there hangs on
/// roundings.
auto packed_problem(auto run) {
  return [run](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    const auto A = c.matrix("A", n, n);
    using T = std::remove_cvref_t<decltype(*A.data)>;
    std::vector<T> ap(std::size_t(packed_size(n)));
    for_each_packed(uplo == 'U', n, [&](Int i, Int j, Int k) { ap[std::size_t(k - 1)] = A(i, j); });
    run(c, n, uplo, ap.data());
  };
}

/// The same with the band of kd diagonals of a matrix.
auto band_problem(Int kd, auto run) {
  return [kd, run](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    const auto A = c.matrix("A", n, n);
    using T = std::remove_cvref_t<decltype(*A.data)>;
    std::vector<T> ab(std::size_t(kd + 1) * std::size_t(n));
    for (Int j = 1; j <= n; ++j) {
      for (Int i = std::max(1, j - kd); i <= std::min(n, j + kd); ++i) {
        if (uplo == 'U' ? i <= j : i >= j) {
          ab[std::size_t((uplo == 'U' ? kd + i - j : i - j) + (j - 1) * (kd + 1))] = A(i, j);
        }
      }
    }
    run(c, n, uplo, ab.data());
  };
}

/// Workspaces that are enough for every driver, and a place for eigenvectors.
template <Scalar T>
struct Room {
  std::vector<T> z, q, work;
  std::vector<Real<T>> rwork;
  std::vector<Int> iwork, ifail;

  explicit Room(Int n)
      : z(square(n)),
        q(square(n)),
        work(reals(n)),
        rwork(reals(n)),
        iwork(std::size_t(5 * n + 3)),
        ifail(std::size_t(n)) {}

  static std::size_t square(Int n) { return std::size_t(n) * std::size_t(n); }
  static std::size_t reals(Int n) { return 2 * square(n) + std::size_t(6 * n + 1); }
  Int lwork() const { return Int(work.size()); }
  Int liwork() const { return Int(iwork.size()); }
};

}  // namespace

void add_packed_band_eigen(DriverList& drivers) {
  constexpr Int order_of_panels = 40, kd = 3;
  drivers.add(
      "spev", order_of_panels, packed_problem([]<class T>(auto c, Int n, char uplo, T* ap) {
        const char jobz = c.one_of({'N', 'V'});
        Room<T> room(n);
        Real<T>* const w = c.real_result("w", n);
        if constexpr (ComplexScalar<T>) {
          routine_call::hpev(jobz, uplo, n, ap, w, {room.z.data(), n}, room.work.data(), room.rwork.data(), c.info());
        } else {
          routine_call::spev(jobz, uplo, n, ap, w, {room.z.data(), n}, room.work.data(), c.info());
        }
      }));
  drivers.add("spevd", order_of_panels, packed_problem([]<class T>(auto c, Int n, char uplo, T* ap) {
                const char jobz = c.one_of({'N', 'V'});
                Room<T> room(n);
                Real<T>* const w = c.real_result("w", n);
                if constexpr (ComplexScalar<T>) {
                  routine_call::hpevd(jobz, uplo, n, ap, w, {room.z.data(), n}, room.work.data(), room.lwork(),
                                      room.rwork.data(), room.lwork(), room.iwork.data(), room.liwork(), c.info());
                } else {
                  routine_call::spevd(jobz, uplo, n, ap, w, {room.z.data(), n}, room.work.data(), room.lwork(),
                                      room.iwork.data(), room.liwork(), c.info());
                }
              }));
  drivers.add("spevx", order_of_panels, packed_problem([]<class T>(auto c, Int n, char uplo, T* ap) {
                using R = Real<T>;
                const char jobz = c.one_of({'N', 'V'}), range = c.one_of({'A', 'I'});
                Room<T> room(n);
                R* const w = c.real_result("w", n);
                Int m = 0;
                if constexpr (ComplexScalar<T>) {
                  routine_call::hpevx(jobz, range, uplo, n, ap, R(0), R(1), 2, n, R(0), m, w, {room.z.data(), n},
                                      room.work.data(), room.rwork.data(), room.iwork.data(), room.ifail.data(),
                                      c.info());
                } else {
                  routine_call::spevx(jobz, range, uplo, n, ap, R(0), R(1), 2, n, R(0), m, w, {room.z.data(), n},
                                      room.work.data(), room.iwork.data(), room.ifail.data(), c.info());
                }
                c.add_result(m);
                // Behind the eigenvalues that were asked for there is nothing to compare.
                std::fill(w + m, w + n, R(0));
              }));
  drivers.add(
      "sbev", order_of_panels, band_problem(kd, [=]<class T>(auto c, Int n, char uplo, T* ab) {
        const char jobz = c.one_of({'N', 'V'});
        Room<T> room(n);
        Real<T>* const w = c.real_result("w", n);
        if constexpr (ComplexScalar<T>) {
          routine_call::hbev(jobz, uplo, n, kd, {ab, kd + 1}, w, {room.z.data(), n}, room.work.data(),
                             room.rwork.data(), c.info());
        } else {
          routine_call::sbev(jobz, uplo, n, kd, {ab, kd + 1}, w, {room.z.data(), n}, room.work.data(), c.info());
        }
      }));
  drivers.add("sbevd", order_of_panels, band_problem(kd, [=]<class T>(auto c, Int n, char uplo, T* ab) {
                const char jobz = c.one_of({'N', 'V'});
                Room<T> room(n);
                Real<T>* const w = c.real_result("w", n);
                if constexpr (ComplexScalar<T>) {
                  routine_call::hbevd(jobz, uplo, n, kd, {ab, kd + 1}, w, {room.z.data(), n}, room.work.data(),
                                      room.lwork(), room.rwork.data(), room.lwork(), room.iwork.data(), room.liwork(),
                                      c.info());
                } else {
                  routine_call::sbevd(jobz, uplo, n, kd, {ab, kd + 1}, w, {room.z.data(), n}, room.work.data(),
                                      room.lwork(), room.iwork.data(), room.liwork(), c.info());
                }
              }));
  drivers.add("sbevx", order_of_panels, band_problem(kd, [=]<class T>(auto c, Int n, char uplo, T* ab) {
                using R = Real<T>;
                const char jobz = c.one_of({'N', 'V'}), range = c.one_of({'A', 'I'});
                Room<T> room(n);
                R* const w = c.real_result("w", n);
                Int m = 0;
                if constexpr (ComplexScalar<T>) {
                  routine_call::hbevx(jobz, range, uplo, n, kd, {ab, kd + 1}, {room.q.data(), n}, R(0), R(1), 2, n,
                                      R(0), m, w, {room.z.data(), n}, room.work.data(), room.rwork.data(),
                                      room.iwork.data(), room.ifail.data(), c.info());
                } else {
                  routine_call::sbevx(jobz, range, uplo, n, kd, {ab, kd + 1}, {room.q.data(), n}, R(0), R(1), 2, n,
                                      R(0), m, w, {room.z.data(), n}, room.work.data(), room.iwork.data(),
                                      room.ifail.data(), c.info());
                }
                c.add_result(m);
                std::fill(w + m, w + n, R(0));
              }));
}

}  // namespace nuv::test
