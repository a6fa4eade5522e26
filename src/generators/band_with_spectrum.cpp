#include "generators/band_with_spectrum.hpp"

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "generators/driver_steps.hpp"
#include "generators/random_with_spectrum.hpp"
#include "generators/rotation_walk.hpp"
#include "generators/storage.hpp"
#include "generators/symmetry.hpp"

namespace nuv {
namespace {

// ------------------------------------------------------------------------------------------------------------ spectrum

/// Makes the n numbers d. Those of a positive matrix get no random signs and, where all is random, lose theirs. Gives
/// info.
template <RealScalar R>
Int make_spectrum(Symmetry symmetry, bool is_positive, Int mode, R cond, R dmax, Int idist, Int* iseed, Int n, R* d) {
  const Int irsign = symmetry == Symmetry::hermitian && !is_positive ? 1 : 0;
  const Int info = fill_diagonal(mode, cond, dmax, irsign, idist, iseed, d, n);
  if (info == 0 && is_positive && std::abs(mode) == 6) {
    std::transform(d, d + n, d, [](R x) { return std::abs(x); });
  }
  return info;
}

// -------------------------------------------------------------------------------------------------------------- matrix

template <RealScalar T>
void hermitian_with_spectrum(Int n, Int k, const T* d, T* a, Int lda, Int* iseed, T* work, Int& info) {
  lagsy(n, k, d, a, lda, iseed, work, info);
}
template <ComplexScalar T>
void hermitian_with_spectrum(Int n, Int k, const Real<T>* d, T* a, Int lda, Int* iseed, T* work, Int& info) {
  laghe(n, k, d, a, lda, iseed, work, info);
}

/// A matrix without zeros, in full storage. Gives info.
template <Scalar T>
Int make_full(Symmetry symmetry, Int m, Int n, const Real<T>* d, T* a, Int lda, Int* iseed, T* work) {
  Int info = 0;
  if (symmetry == Symmetry::none) lagge(m, n, m - 1, n - 1, d, a, lda, iseed, work, info);
  else if (symmetry == Symmetry::symmetric) lagsy(n, n - 1, d, a, lda, iseed, work, info);
  else hermitian_with_spectrum(n, n - 1, d, a, lda, iseed, work, info);
  return info == 0 ? 0 : 3;
}

/// Of a diagonal matrix of order n one with k diagonals on each side, in the elements of a part of it.
template <Scalar T>
void widen_symmetric(const Storage& storage, Symmetry symmetry, Int n, Int k, Matrix<T> A, Int* iseed) {
  // A packed lower triangle is prepared as the upper one with its elements, whose columns are the rows to pack.
  const bool packs_lower = storage.part == Part::lower && storage.layout == Layout::packed;
  widen_symmetric_band<T>(symmetry, n, k, {A, storage.part == Part::lower && !packs_lower}, iseed);
  if (storage.part != Part::all && !packs_lower) return;
  for (Int j = 1; j <= n; ++j) {
    for (Int i = std::max(1, j - k); i < j; ++i) (packs_lower ? A(i, j) : A(j, i)) = mirrored(symmetry, A(i, j));
  }
}

/// Packs the upper triangle of a matrix of order n at the beginning of its array and leaves zeros behind it.
template <Scalar T>
void pack_upper_triangle(Int n, Matrix<T> A) {
  T* to = A.data;
  for (Int j = 1; j <= n; ++j) to = std::copy_n(A.at(1, j), j, to);
  std::fill(to, A.at(n, n) + 1, T(0));
}

/// A matrix in any storage.
template <Scalar T>
void make_band(const Storage& storage, Symmetry symmetry, Int m, Int n, Int kl, Int ku, const Real<T>* d, T* a, Int lda,
               Int* iseed) {
  const ArrayShape shape = array_for(storage, m, kl, ku);
  laset('F', static_cast<Int>(shape.rows), n, T(0), T(0), a, lda);
  const Matrix<T> A = elements_of(storage, shape, a, lda);
  for (Int i = 1; i <= std::min(m, n); ++i) A(i, i) = d[i - 1];

  const bool is_packed = storage.layout == Layout::packed;
  if (is_symmetric(symmetry)) widen_symmetric(storage, symmetry, n, ku, A, iseed);
  else widen_general_band<T>(m, n, kl, ku, {A, is_packed && storage.part == Part::lower}, iseed);
  if (is_packed) pack_upper_triangle(n, A);
}

}  // namespace

template <Scalar T>
void latms(Int m, Int n, char dist, Int* iseed, char sym, Real<T>* d, Int mode, Real<T> cond, Real<T> dmax, Int kl,
           Int ku, char pack, T* a, Int lda, T* work, Int& info) {
  info = 0;
  if (m == 0 || n == 0) return;

  const Int idist = distribution(dist);
  const bool is_positive = same_letter(sym, 'P');
  const Symmetry symmetry = is_positive ? Symmetry::hermitian : symmetry_of<T>(sym);
  const Storage* const storage = storage_of(pack);
  const Int lower = std::min(kl, std::max(m, 1) - 1), upper = std::min(ku, std::max(n, 1) - 1);
  if (m < 0 || (m != n && is_symmetric(symmetry))) info = -1;
  else if (n < 0) info = -2;
  else if (idist == 0) info = -3;
  else if (symmetry == Symmetry::unknown) info = -5;
  else if (!is_mode(mode, 6)) info = -7;
  else if (!is_condition(mode, cond)) info = -8;
  else if (kl < 0) info = -10;
  else if (ku < 0 || (is_symmetric(symmetry) && kl != ku)) info = -11;
  else if (storage == nullptr || !holds(*storage, symmetry, m, n, kl, ku)) info = -12;
  else if (lda < array_for(*storage, m, lower, upper).rows) info = -14;
  if (info != 0) return report_bad_argument<T>("LATMS", info);

  normalise_seed(iseed);
  info = make_spectrum(symmetry, is_positive, mode, cond, dmax, idist, iseed, std::min(m, n), d);
  if (info != 0) return;

  if (storage->letter == 'N' && lower == m - 1 && upper == n - 1) {
    info = make_full(symmetry, m, n, d, a, lda, iseed, work);
  } else {
    make_band(*storage, symmetry, m, n, lower, upper, d, a, lda, iseed);
  }
}

}  // namespace nuv

#include "generators/band_with_spectrum.entries.inc"
