#include "symmetric/divide_and_conquer.hpp"

#include <algorithm>
#include <bit>
#include <cmath>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/machine_constants.hpp"
#include "environment/matrix_utilities.hpp"
#include "environment/norms_symmetric.hpp"
#include "environment/scaling.hpp"
#include "environment/tuning.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "layer.hpp"
#include "symmetric/merge_of_halves.hpp"
#include "symmetric/real_factors.hpp"
#include "symmetric/root_free_qr.hpp"
#include "symmetric/sorted_pairs.hpp"
#include "symmetric/tridiagonal_qr.hpp"

namespace nuv {
namespace {

enum class Vectors { none, of_original, of_tridiagonal };

/// Workspace, elements of each kind.
struct Workspace {
  std::int64_t work = 1, rwork = 1, iwork = 1;
};

/// What laed0 asks for where it keeps the eigenvectors as factors.
Workspace for_factors(std::int64_t n) {
  const std::int64_t lgn = std::bit_width(static_cast<std::uint64_t>(n - 1));
  return {.rwork = 1 + 3 * n + 2 * n * lgn + 3 * n * n, .iwork = 6 + 6 * n + 5 * n * lgn};
}

Workspace least_workspace(Vectors vectors, std::int64_t n, bool complex) {
  if (n < 2 || vectors == Vectors::none) return {};
  Workspace least = for_factors(n);
  if (vectors == Vectors::of_tridiagonal) {
    least.rwork = 1 + 4 * n + (complex ? 2 : 1) * n * n;
    least.iwork = 3 + 5 * n;
  } else if (complex) {
    least.work = n * n;
  }
  if (!complex) least.work = least.rwork;
  return least;
}

Vectors vectors_of(char compz) {
  if (same_letter(compz, 'I')) return Vectors::of_tridiagonal;
  return same_letter(compz, 'V') ? Vectors::of_original : Vectors::none;
}

/// 0, or minus the position of the first bad argument among compz, n and ldz.
Int check(char compz, Int n, Int ldz) {
  if (!is_one_of(compz, 'N', 'V', 'I')) return -1;
  if (n < 0) return -2;
  if (ldz < (vectors_of(compz) == Vectors::none ? 1 : std::max(1, n))) return -6;
  return 0;
}

/// Cuts a tridiagonal matrix where an off-diagonal is negligible and solves what lies between: by `large` what is worth
/// halving, scaled to norm one, by `small` the rest. Both take the place before the first row and the order, and give
/// info.
///
/// is_whole   whether nothing was cut off before the last part
template <RealScalar R, class Large, class Small>
Int solve_parts(Int n, Int smlsiz, R* d, R* e, Large large, Small small, bool& is_whole) {
  const auto is_negligible = [=](Int i) {
    return std::abs(e[i]) <= Machine<R>::eps * std::sqrt(std::abs(d[i])) * std::sqrt(std::abs(d[i + 1]));
  };
  Int m = n;
  for (Int start = 0; start < n; start += m) {
    Int finish = start;
    while (finish < n - 1 && !is_negligible(finish)) ++finish;
    m = finish - start + 1;
    if (m == 1) continue;
    if (m <= smlsiz) {
      const Int info = small(start, m);
      if (info != 0) return failed_part(n, {start, m});
      continue;
    }
    Int ignored = 0;
    const R orgnrm = lanst('M', m, d + start, e + start);
    lascl('G', 0, 0, orgnrm, R(1), m, 1, d + start, m, ignored);
    lascl('G', 0, 0, orgnrm, R(1), m - 1, 1, e + start, m - 1, ignored);
    const Int info = large(start, m);
    lascl('G', 0, 0, R(1), orgnrm, m, 1, d + start, m, ignored);
    if (info != 0) {
      const Int first = info / (m + 1), last = info % (m + 1);
      return failed_part(n, {start + first - 1, last - first + 1});
    }
  }
  is_whole = m == n;
  return 0;
}

/// Solves the parts of a tridiagonal matrix and puts their eigenpairs into one order.
template <Scalar T, class Large, class Small>
Int solve_and_sort(Int n, Int smlsiz, Real<T>* d, Real<T>* e, Matrix<T> Z, Large large, Small small) {
  if (lanst('M', n, d, e) == 0) return 0;
  bool is_whole = true;
  const Int info = solve_parts(n, smlsiz, d, e, large, small, is_whole);
  if (info == 0 && !is_whole) sort_pairs(n, n, d, Z, [](Int, Int) {});
  return info;
}

template <Scalar T>
Int order_of_small_problems() {
  return ilaenv(9, RoutineName<T>("STEDC"), " ", 0, 0, 0, 0);
}

}  // namespace

template <RealScalar T>
void stedc(char compz, Int n, T* d, T* e, T* z, Int ldz, T* work, Int lwork, Int* iwork, Int liwork, Int& info) {
  const Vectors vectors = vectors_of(compz);
  const Workspace least = least_workspace(vectors, n, false);
  const bool is_query = lwork == -1 || liwork == -1;
  info = check(compz, n, ldz);
  if (info == 0 && lwork < least.work && !is_query) info = -8;
  if (info == 0 && liwork < least.iwork && !is_query) info = -10;
  if (info != 0) return report_bad_argument<T>("STEDC", info);
  work[0] = as_work_size<T>(least.work);
  iwork[0] = static_cast<Int>(least.iwork);
  if (is_query || n == 0) return;
  if (n == 1) {
    if (vectors == Vectors::of_tridiagonal) *z = T(1);
    return;
  }
  const Int smlsiz = order_of_small_problems<T>();
  if (vectors == Vectors::none) return sterf(n, d, e, info);
  if (n <= smlsiz) return steqr(compz, n, d, e, z, ldz, work, info);

  const Matrix Z{z, ldz};
  if (vectors == Vectors::of_tridiagonal) {
    laset('F', n, n, T(0), T(1), z, ldz);
    const auto large = [&](Int start, Int m) {
      Int failed;
      layer::laed0(2, n, m, d + start, e + start, block(Z, start + 1, start + 1), work, n, work, iwork, failed);
      return failed;
    };
    const auto small = [&](Int start, Int m) {
      Int failed;
      steqr('I', m, d + start, e + start, Z.at(start + 1, start + 1), ldz, work, failed);
      return failed;
    };
    info = solve_and_sort(n, smlsiz, d, e, Z, large, small);
  } else {
    T* const store = work + std::ptrdiff_t{n} * n;
    const auto large = [&](Int start, Int m) {
      Int failed;
      layer::laed0(1, n, m, d + start, e + start, block(Z, 1, start + 1), work, n, store, iwork, failed);
      return failed;
    };
    const auto small = [&](Int start, Int m) {
      Int failed;
      steqr('I', m, d + start, e + start, work, m, work + m * m, failed);
      const Matrix columns = block(Z, 1, start + 1);
      lacpy('A', n, m, columns.data, ldz, store, n);
      blas::gemm('N', 'N', n, m, m, T(1), {store, n}, {work, m}, T(0), columns);
      return failed;
    };
    info = solve_and_sort(n, smlsiz, d, e, Z, large, small);
  }
}

template <ComplexScalar T>
void stedc(char compz, Int n, Real<T>* d, Real<T>* e, T* z, Int ldz, T* work, Int lwork, Real<T>* rwork, Int lrwork,
           Int* iwork, Int liwork, Int& info) {
  using R = Real<T>;
  const Vectors vectors = vectors_of(compz);
  const Workspace least = least_workspace(vectors, n, true);
  const bool is_query = lwork == -1 || lrwork == -1 || liwork == -1;
  info = check(compz, n, ldz);
  if (info == 0 && lwork < least.work && !is_query) info = -8;
  if (info == 0 && lrwork < least.rwork && !is_query) info = -10;
  if (info == 0 && liwork < least.iwork && !is_query) info = -12;
  if (info != 0) return report_bad_argument<T>("STEDC", info);
  work[0] = as_work_size<T>(least.work);
  rwork[0] = as_work_size<R>(least.rwork);
  iwork[0] = static_cast<Int>(least.iwork);
  if (is_query || n == 0) return;
  if (n == 1) {
    if (vectors == Vectors::of_tridiagonal) *z = T(1);
    return;
  }
  const Int smlsiz = order_of_small_problems<T>();
  if (vectors == Vectors::none) return sterf(n, d, e, info);
  if (n <= smlsiz) return steqr(compz, n, d, e, z, ldz, rwork, info);

  if (vectors == Vectors::of_tridiagonal) {
    const std::ptrdiff_t size = std::ptrdiff_t{n} * n;
    const auto rest = static_cast<Int>(std::min<std::ptrdiff_t>(lrwork - size, INT32_MAX));
    stedc('I', n, d, e, rwork, n, rwork + size, rest, iwork, liwork, info);
    return lacp2('A', n, n, rwork, n, z, ldz);
  }
  const Matrix Z{z, ldz};
  const auto large = [&](Int start, Int m) {
    Int failed;
    layer::laed0(n, m, d + start, e + start, block(Z, 1, start + 1), work, n, rwork, iwork, failed);
    return failed;
  };
  const auto small = [&](Int start, Int m) {
    Int failed;
    steqr('I', m, d + start, e + start, rwork, m, rwork + m * m, failed);
    T* const columns = Z.at(1, start + 1);
    lacrm(n, m, columns, ldz, rwork, m, work, n, rwork + m * m);
    lacpy('A', n, m, work, n, columns, ldz);
    return failed;
  };
  info = solve_and_sort(n, smlsiz, d, e, Z, large, small);
}

}  // namespace nuv

#include "symmetric/divide_and_conquer.entries.inc"
