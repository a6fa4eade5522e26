#include <algorithm>

#include "frame/option_matching.hpp"
#include "routines.hpp"
#include "threading/level3/parallel.hpp"
#include "x_variants.hpp"

// Factorisations with diagonal pivoting, and their solves. The panels take their time for matrix-vector products; what
// follows them are products that find the threads by themselves.

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Real multiply-adds of the update behind a panel from which several threads pay.
constexpr double least_work = 2e6;

template <Scalar T>
double work_behind_panel(Int n, Int nb) {
  return real_multiply_adds<T>(n, n, nb) / 2;
}

/// Width of the strips in which a serial body takes right-hand sides.
template <Scalar T>
Int strip_width(RoutineName<T> routine, Int n, Int nrhs) {
  return routine_call::ilaenv(1, routine, " ", n, nrhs, -1, -1);
}

/// Runs solve(first, count, info), a serial body, for the right-hand sides: on all threads and by the strips that it
/// would make of them, or at once where there is one strip, or arguments for it to complain of.
template <Scalar T, class Solve>
void solve_by_strips(RoutineName<T> name, bool accepted, Int n, Int nrhs, Int& info, Solve solve) {
  const Int width = accepted && nrhs > 0 ? strip_width(name, n, nrhs) : 0;
  if (width == 0 || nrhs <= width) return solve(Int{1}, nrhs, info);
  info = 0;
  split(nrhs, {width, width}, real_multiply_adds<T>(n, n, nrhs), [&](Int from, Int until) {
    Int strip_info = 0;
    solve(from + 1, until - from, strip_info);
  });
}

bool is_accepted(char uplo, Int n, Int lda, Int ldb) {
  return is_one_of(uplo, 'U', 'L') && n >= 0 && lda >= std::max(1, n) && ldb >= std::max(1, n);
}

}  // namespace

template <Scalar T>
void lasyf(char uplo, Int n, Int nb, Int& kb, T* a, Int lda, Int* ipiv, T* w, Int ldw, Int& info) {
  const Team team(work_behind_panel<T>(n, nb), least_work);
  x_variant::lasyf(uplo, n, nb, kb, Matrix{a, lda}, ipiv, Matrix{w, ldw}, info);
}
template <ComplexScalar T>
void lahef(char uplo, Int n, Int nb, Int& kb, T* a, Int lda, Int* ipiv, T* w, Int ldw, Int& info) {
  const Team team(work_behind_panel<T>(n, nb), least_work);
  x_variant::lahef(uplo, n, nb, kb, Matrix{a, lda}, ipiv, Matrix{w, ldw}, info);
}

template <Scalar T>
void sytrs(char uplo, Int n, Int nrhs, const T* a, Int lda, const Int* ipiv, T* b, Int ldb, Int& info) {
  solve_by_strips(RoutineName<T>("SYTRS"), is_accepted(uplo, n, lda, ldb), n, nrhs, info,
                  [&](Int j, Int count, Int& strip_info) {
                    x_variant::sytrs(uplo, n, count, Matrix{a, lda}, ipiv, block(Matrix{b, ldb}, 1, j), strip_info);
                  });
}
template <ComplexScalar T>
void hetrs(char uplo, Int n, Int nrhs, const T* a, Int lda, const Int* ipiv, T* b, Int ldb, Int& info) {
  solve_by_strips(RoutineName<T>("HETRS"), is_accepted(uplo, n, lda, ldb), n, nrhs, info,
                  [&](Int j, Int count, Int& strip_info) {
                    x_variant::hetrs(uplo, n, count, Matrix{a, lda}, ipiv, block(Matrix{b, ldb}, 1, j), strip_info);
                  });
}

template <Scalar T>
void laspf(char uplo, Int n, Int nb, Int& kb, T* ap, Int* ipiv, T* w, Int ldw, Int& info) {
  const Team team(work_behind_panel<T>(n, nb), least_work);
  x_variant::laspf(uplo, n, nb, kb, ap, ipiv, Matrix{w, ldw}, info);
}
template <Scalar T>
void sptrs(char uplo, Int n, Int nrhs, const T* ap, const Int* ipiv, T* b, Int ldb, Int& info) {
  solve_by_strips(RoutineName<T>("SPTRS"), is_accepted(uplo, n, std::max(1, n), ldb), n, nrhs, info,
                  [&](Int j, Int count, Int& strip_info) {
                    x_variant::sptrs(uplo, n, count, ap, ipiv, block(Matrix{b, ldb}, 1, j), strip_info);
                  });
}
template <ComplexScalar T>
void lahpf(char uplo, Int n, Int nb, Int& kb, T* ap, Int* ipiv, T* w, Int ldw, Int& info) {
  const Team team(work_behind_panel<T>(n, nb), least_work);
  x_variant::lahpf(uplo, n, nb, kb, ap, ipiv, Matrix{w, ldw}, info);
}
template <ComplexScalar T>
void hptrs(char uplo, Int n, Int nrhs, const T* ap, const Int* ipiv, T* b, Int ldb, Int& info) {
  solve_by_strips(RoutineName<T>("HPTRS"), is_accepted(uplo, n, std::max(1, n), ldb), n, nrhs, info,
                  [&](Int j, Int count, Int& strip_info) {
                    x_variant::hptrs(uplo, n, count, ap, ipiv, block(Matrix{b, ldb}, 1, j), strip_info);
                  });
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/indefinite.entries.inc"
