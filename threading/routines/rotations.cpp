#include <nuv/nuv_services.h>

#include <algorithm>

#include "svd/rotation_tiles.hpp"
#include "threading/runtime.hpp"
#include "x_variants.hpp"

// Sweeps of rotations leave the rows of A apart where they come from the right, and the columns where they come from
// the left: threads share those, and the making of the tiles before.

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Rows (columns) from which on A is shared: so many are turned by tiles, whatever the tuning. How many of them meet a
/// tile at once does not change what it makes of them.
constexpr Int least_length = 512;

/// Rows (columns) in a part that are worth products of their own.
constexpr Int wide_part = 256;

/// Tiles that are held at the same time at most.
constexpr Int most_tiles = 16;

template <class T>
class TileMemory {
 public:
  /// count   tiles of order 2 k
  TileMemory(Int count, Int k) : k_(k) {
    const double bytes = 4.0 * k * k * count * sizeof(T);
    if (bytes <= UINT32_MAX) data_ = static_cast<T*>(nuv_serv_allocate(static_cast<unsigned>(bytes), 128));
  }
  TileMemory(const TileMemory&) = delete;
  TileMemory& operator=(const TileMemory&) = delete;
  ~TileMemory() {
    if (data_ != nullptr) nuv_serv_deallocate(data_);
  }

  bool is_there() const { return data_ != nullptr; }
  Matrix<T> tile(Int i) const { return {data_ + 4 * std::ptrdiff_t{k_} * k_ * i, 2 * k_}; }

 private:
  Int k_;
  T* data_ = nullptr;
};

/// What the serial body does by tiles, on all threads. False, with nothing done, if there is no memory for the tiles.
///
/// work   as the serial body has it
template <RealScalar T>
bool turn_by_shared_tiles(const Sweeps<T>& sweeps, Int length, Matrix<T> A, T* work) {
  const Int k = sweeps.count;
  const RotationTiles<T> tiles(sweeps);
  const TileMemory<T> memory(std::min(tiles.count(), most_tiles), k);
  if (!memory.is_there()) return false;

  const double multiply_adds_of_tile = 4.0 * k * k * k, multiply_adds = 4.0 * length * k * sweeps.lines;
  const Team team(multiply_adds, work_for_two_threads);
  const Matrix<T> waiting{work + 4 * std::ptrdiff_t{k} * k, sweeps.from_left ? k : length};
  const auto part = [&](Matrix<T> X, Int from) {
    return sweeps.from_left ? block(X, 1, from + 1) : block(X, from + 1, 1);
  };
  for (Int first = 0; first < tiles.count(); first += most_tiles) {
    const Int count = std::min(most_tiles, tiles.count() - first);
    split(count, {1, 1}, multiply_adds_of_tile * count, [&](Int from, Int until) {
      for (Int i = from; i < until; ++i) tiles.fill(first + i, memory.tile(i));
    });
    split(length, {8, wide_part}, multiply_adds, [&](Int from, Int until) {
      const TiledLines<T> lines(sweeps, until - from, part(A, from), part(waiting, from));
      for (Int i = 0; i < count; ++i) lines.apply(tiles.piece(first + i), memory.tile(i));
    });
  }
  return true;
}

}  // namespace

template <RealScalar T>
void lasr3(char side, char pivot, char direct, Int m, Int n, Int k, const T* cs, Int ldcs, T* a, Int lda, T* work,
           Int lwork, Int& info) {
  const bool from_left = side == 'L';
  const Int lines = from_left ? m : n, length = from_left ? n : m;
  const bool has_work = pivot == 'V' && (direct == 'F' || direct == 'B') && k > 0 && lines > 1;
  if (has_work && length >= least_length && available_threads() > 1) {
    if (turn_by_shared_tiles<T>({from_left, direct == 'F', lines, k, {cs, ldcs}}, length, {a, lda}, work)) return;
  }
  x_variant::lasr3(side, pivot, direct, m, n, k, {cs, ldcs}, {a, lda}, work, lwork, info);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/rotations.entries.inc"
