// Eigenproblems of symmetric tridiagonal matrices in the list.

#include <algorithm>

#include "drivers/drivers.hpp"
#include "routines.hpp"

namespace nuv::test {
namespace {

/// A tridiagonal matrix: the real parts of what stands in a matrix of the call on the diagonal and beside it. d is a
/// result, the eigenvalues.
template <Scalar T>
struct TridiagonalInput {
  Real<T>* d;
  std::vector<Real<T>> e;

  TridiagonalInput(CallIn<T>& c, Int n) : d(c.real_result("d", n)), e(std::size_t(n)) {
    const Matrix<T> A = c.matrix("A", n, n);
    for (Int i = 1; i <= n; ++i) d[i - 1] = std::real(A(i, i));
    for (Int i = 1; i < n; ++i) e[std::size_t(i - 1)] = std::real(A(i + 1, i));
  }
};

/// What a compz makes of Z: 'V' an array in and out, 'I' one out, 'N' none.
template <Scalar T>
Matrix<T> vectors(CallIn<T>& c, char compz, Int n) {
  if (compz == 'N') return {nullptr, 1};
  return compz == 'V' ? c.matrix("Z", n, n) : c.result("Z", n, n);
}

/// ?stedc with workspace enough for all its jobs.
template <Scalar T>
void divide_and_conquer(char compz, Int n, TridiagonalInput<T>& A, Matrix<T> Z, Int& info) {
  std::vector<T> work(std::size_t(4 * n * n + 20 * n + 1));
  std::vector<Real<T>> rwork(work.size());
  std::vector<Int> iwork(std::size_t(50 * n + 10));
  const Int lwork = Int(work.size()), liwork = Int(iwork.size());
  if constexpr (ComplexScalar<T>) {
    routine_call::stedc(compz, n, A.d, A.e.data(), Z, work.data(), lwork, rwork.data(), lwork, iwork.data(), liwork,
                        info);
  } else {
    routine_call::stedc(compz, n, A.d, A.e.data(), Z, work.data(), lwork, iwork.data(), liwork, info);
  }
}

/// ?stemr, where 'I' stands for all but two. Eigenvectors are no results: their signs hang on roundings.
template <Scalar T>
void by_representations(CallIn<T>& c, Int n) {
  using R = Real<T>;
  TridiagonalInput<T> A(c, n);
  const char jobz = c.one_of({'N', 'V'}), range = c.one_of({'A', 'I'});
  R* const w = c.real_result("w", n);
  std::vector<T> z(std::size_t(n * n));
  std::vector<R> work(std::size_t(18 * n));
  std::vector<Int> isuppz(std::size_t(2 * n)), iwork(std::size_t(10 * n));
  Int m = 0;
  Logical tryrac = to_logical(true);
  routine_call::stemr(jobz, range, n, A.d, A.e.data(), R(0), R(0), 2, n - 1, m, w, Matrix<T>{z.data(), n}, n,
                      isuppz.data(), tryrac, work.data(), Int(work.size()), iwork.data(), Int(iwork.size()), c.info());
  std::fill(w + m, w + n, R(0));
  std::fill_n(A.d, n, R(0));  // scratch
}

/// What the drivers have beside the matrix. Eigenvectors are no results: their signs hang on roundings.
template <RealScalar R>
struct DriverRoom {
  std::vector<R> z, work;
  std::vector<Int> iwork, ifail, isuppz;

  explicit DriverRoom(Int n)
      : z(std::size_t(n * n)),
        work(std::size_t(n * n + 20 * n)),
        iwork(std::size_t(10 * n)),
        ifail(std::size_t(n)),
        isuppz(std::size_t(2 * n)) {}

  Int lwork() const { return Int(work.size()); }
  Int liwork() const { return Int(iwork.size()); }
  Matrix<R> Z(Int n) { return {z.data(), n}; }
};

/// Adds run(c, n, jobz, A, room).
template <class Run>
void add_driver(DriverList& drivers, const std::string& name, Run run) {
  drivers.add_real(name, 40, [run](auto c, Int n) {
    TridiagonalInput A(c, n);
    DriverRoom<std::remove_pointer_t<decltype(A.d)>> room(n);
    run(c, n, c.one_of({'N', 'V'}), A, room);
  });
}

/// The same for a routine that selects: run(c, n, jobz, range, A, m, w, room), where 'I' stands for all but two.
template <class Run>
void add_selecting_driver(DriverList& drivers, const std::string& name, Run run) {
  add_driver(drivers, name, [run](auto& c, Int n, char jobz, auto& A, auto& room) {
    std::remove_pointer_t<decltype(A.d)>* const w = c.real_result("w", n);
    Int m = 0;
    run(c, n, jobz, c.one_of({'A', 'I'}), A, m, w, room);
    std::fill(w + m, w + n, 0);
  });
}

}  // namespace

void add_tridiagonal_eigen(DriverList& drivers) {
  drivers.add_real("sterf", 40, [](auto c, Int n) {
    TridiagonalInput A(c, n);
    routine_call::sterf(n, A.d, A.e.data(), c.info());
  });
  drivers.add("steqr", 40, [](auto c, Int n) {
    TridiagonalInput A(c, n);
    const char compz = c.one_of({'N', 'V', 'I'});
    std::vector<std::remove_pointer_t<decltype(A.d)>> work(std::size_t(2 * n));
    routine_call::steqr(compz, n, A.d, A.e.data(), vectors(c, compz, n), work.data(), c.info());
  });
  drivers.add("stedc", 60, [](auto c, Int n) {
    TridiagonalInput A(c, n);
    const char compz = c.one_of({'N', 'V', 'I'});
    divide_and_conquer(compz, n, A, vectors(c, compz, n), c.info());
  });
  drivers.add("stemr", 40, [](auto c, Int n) { by_representations(c, n); });
  add_driver(drivers, "stev", [](auto& c, Int n, char jobz, auto& A, auto& room) {
    routine_call::stev(jobz, n, A.d, A.e.data(), room.Z(n), room.work.data(), c.info());
  });
  add_driver(drivers, "stevd", [](auto& c, Int n, char jobz, auto& A, auto& room) {
    routine_call::stevd(jobz, n, A.d, A.e.data(), room.Z(n), room.work.data(), room.lwork(), room.iwork.data(),
                        room.liwork(), c.info());
  });
  add_selecting_driver(drivers, "stevx",
                       [](auto& c, Int n, char jobz, char range, auto& A, Int& m, auto* w, auto& room) {
                         routine_call::stevx(jobz, range, n, A.d, A.e.data(), 0, 0, 2, n - 1, 0, m, w, room.Z(n),
                                             room.work.data(), room.iwork.data(), room.ifail.data(), c.info());
                       });
  add_selecting_driver(
      drivers, "stevr", [](auto& c, Int n, char jobz, char range, auto& A, Int& m, auto* w, auto& room) {
        routine_call::stevr(jobz, range, n, A.d, A.e.data(), 0, 0, 2, n - 1, 0, m, w, room.Z(n), room.isuppz.data(),
                            room.work.data(), room.lwork(), room.iwork.data(), room.liwork(), c.info());
      });
}

}  // namespace nuv::test
