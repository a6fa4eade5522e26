// Eigenproblems of packed and band matrices in the list. Their eigenvalues are compared: the tridiagonal matrix, and
// the signs of eigenvectors, hang on roundings.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "drivers/eigen_storage.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// Calls run(c, n, uplo, ap) with a packed triangle. It is no array of the call: what a reduction leaves there hangs on
/// roundings.
auto packed_problem(auto run) {
  return [run](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    run(c, n, uplo, packed_copy(uplo, n, c.matrix("A", n, n)).data());
  };
}

/// The same with the band of kd diagonals of a matrix.
auto band_problem(Int kd, auto run) {
  return [kd, run](auto c, Int n) {
    const char uplo = c.one_of({'U', 'L'});
    run(c, n, uplo, band_copy(uplo, n, kd, c.matrix("A", n, n)).data());
  };
}

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
