#include "svd/batched_rotations.hpp"

#include <algorithm>

#include "environment/block_plan.hpp"
#include "svd/plane_rotations.hpp"
#include "svd/rotation_tiles.hpp"

namespace nuv {
namespace {

/// The rotations of sweep s in planes first to last, one by one, on columns of m rows.
template <RealScalar T>
void turn_columns(const Sweeps<T>& sweeps, Int s, Int first, Int last, bool leaves_out_identities, Int m, Matrix<T> A) {
  for (Int p = first; p <= last; ++p) {
    sweeps.turn(s, p, leaves_out_identities, A, 1, m, sweeps.place(sweeps.lines - 1, {p, 1}));
  }
}

/// From the right, on short columns: all rotations in an order that keeps columns in the cache. The pieces are those of
/// the tiles, but for a triangle of K - 1 planes that opens them.
template <RealScalar T>
void turn_columns_in_skewed_order(const Sweeps<T>& sweeps, Int m, Matrix<T> A) {
  const Int n = sweeps.lines, k = sweeps.count;
  if (n - k <= k) {
    for (Int s = 1; s <= k; ++s) turn_columns(sweeps, s, 1, n - 1, true, m, A);
    return;
  }
  const Int bands = (n - 1) / k;
  for (Int s = 1; s < k; ++s) turn_columns(sweeps, s, 1, k - s, false, m, A);
  for (Int g = 1; g < bands; ++g) {
    for (Int s = 1; s <= k; ++s) turn_columns(sweeps, s, g * k - s + 1, g * k - s + k, false, m, A);
  }
  for (Int s = 1; s <= k; ++s) turn_columns(sweeps, s, bands * k - s + 1, n - 1, true, m, A);
}

/// From the left, on few columns: sweep by sweep on as many of them as stay in the cache.
template <RealScalar T>
void turn_rows_by_strips(const Sweeps<T>& sweeps, Int n, Matrix<T> A) {
  constexpr Int elements_in_cache = 32768, grain = 8;
  const Int width = std::max(grain, elements_in_cache / n / grain * grain);
  for (Int j = 1; j <= n; j += width) {
    for (Int s = 1; s <= sweeps.count; ++s) {
      lasr('L', 'V', sweeps.rises ? 'F' : 'B', sweeps.lines, std::min(width, n - j + 1), sweeps.cs.at(1, 2 * s - 1),
           sweeps.cs.at(1, 2 * s), A.at(1, j), A.ld);
    }
  }
}

/// By tiles, each of which is made in the first 4 K^2 elements of work.
template <RealScalar T>
void turn_by_tiles(const Sweeps<T>& sweeps, Int length, Matrix<T> A, T* work) {
  const Int k = sweeps.count;
  const Matrix<T> W{work, 2 * k}, waiting{work + 4 * std::ptrdiff_t{k} * k, sweeps.from_left ? k : length};
  const RotationTiles<T> tiles(sweeps);
  const TiledLines<T> lines(sweeps, length, A, waiting);
  for (Int i = 0; i < tiles.count(); ++i) {
    tiles.fill(i, W);
    lines.apply(tiles.piece(i), W);
  }
}

}  // namespace

template <RealScalar T>
void xlasr3(char side, char pivot, char direct, Int m, Int n, Int k, const T* cs, Int ldcs, T* a, Int lda, T* work, Int,
            Int&) {
  const bool from_left = side == 'L';
  const Int lines = from_left ? m : n, length = from_left ? n : m;
  if (pivot != 'V' || (direct != 'F' && direct != 'B')) return;
  if (k <= 0 || lines <= 1 || length <= 0) return;

  const Sweeps<T> sweeps{from_left, direct == 'F', lines, k, {cs, ldcs}};
  const RoutineName<T> caller(from_left ? "BDSQR" : "STEQR");
  const Matrix A{a, lda};
  if (length > Tuning<T>{.name = caller, .n1 = 2}.crossover()) {
    turn_by_tiles(sweeps, length, A, work);
  } else if (from_left) {
    turn_rows_by_strips(sweeps, length, A);
  } else {
    turn_columns_in_skewed_order(sweeps, length, A);
  }
}

}  // namespace nuv

#include "svd/batched_rotations.entries.inc"
