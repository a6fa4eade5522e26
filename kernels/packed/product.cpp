#include "kernels/packed/product.hpp"

#include <nuv/nuv_services.h>

#include <algorithm>

#include "kernels/packed/substitutes.hpp"

namespace nuv::packed::inline NUV_ISA {
namespace {

constexpr int stack_bytes = 48 * 1024;
constexpr int alignment = 128;

/// Room for one block of each operand: on the stack for small products, else from the pool. Where the pool is refused
/// memory, blocks shrink to what the stack holds, which is at least Block::leaf steps of as many columns of B.
template <Scalar T>
class PackingRoom {
 public:
  Int depth, height, width;
  Real<T>*a, *b;

  PackingRoom(Int m, Int n, Int k, InPlace in_place)
      : depth(even_part(k, Block<T>::depth, 8)),
        height(round_up(even_part(m, Block<T>::height(depth), Tile<T>::rows), lanes<Real<T>>)),
        width(round_up(even_part(n, Block<T>::width, Tile<T>::columns), Tile<T>::columns)),
        holds_a_(in_place != InPlace::both),
        holds_b_(in_place == InPlace::none) {
    if (bytes() <= stack_bytes) {
      lay_out(stack_);
    } else if (void* room = nuv_serv_allocate(static_cast<unsigned>(bytes()), alignment)) {
      pooled_ = room;
      lay_out(room);
    } else {
      static_assert(most_on_stack(Block<T>::leaf) >= Block<T>::leaf && most_on_stack(Block<T>::joined) > 0);
      depth = std::min(depth, Block<T>::joined);
      height = std::min(height, Int{Tile<T>::rows});
      width = std::min(width, most_on_stack(depth));
      lay_out(stack_);
    }
  }
  ~PackingRoom() {
    if (pooled_ != nullptr) nuv_serv_deallocate(pooled_);
  }
  PackingRoom(const PackingRoom&) = delete;
  PackingRoom& operator=(const PackingRoom&) = delete;

 private:
  /// Columns of B that fit on the stack beside a sliver of A, of so many steps.
  static constexpr Int most_on_stack(Int steps) {
    return ((stack_bytes - alignment) / (steps * Int{sizeof(T)}) - Tile<T>::rows) / Tile<T>::columns * Tile<T>::columns;
  }

  std::size_t bytes_of_a() const {
    return holds_a_ ? (std::size_t(depth) * height * sizeof(T) + alignment - 1) / alignment * alignment : 0;
  }
  std::size_t bytes() const { return bytes_of_a() + (holds_b_ ? std::size_t(depth) * width * sizeof(T) : 0); }
  void lay_out(void* room) {
    a = static_cast<Real<T>*>(room);
    b = reinterpret_cast<Real<T>*>(static_cast<char*>(room) + bytes_of_a());
  }

  bool holds_a_, holds_b_;
  void* pooled_ = nullptr;
  alignas(alignment) char stack_[stack_bytes];
};

/// Operands that pay no packing, because few tiles would read each sliver.
template <Scalar T>
InPlace choose_in_place(Int m, Int n, Int k, const Operand<T>& A, const Operand<T>& B, Region region) {
  if constexpr (ComplexScalar<T>) return InPlace::none;
  if (region != Region::all || A.structure != Structure::full || B.structure != Structure::full) return InPlace::none;
  const bool few_rows = m <= Block<T>::few_rows, few_columns = n <= Block<T>::few_columns;
  const bool a_stays_near = few_rows && std::ptrdiff_t{m} * k <= Block<T>::near_elements;
  if (A.along == 1 && (few_columns || a_stays_near)) return InPlace::both;
  return few_rows ? InPlace::b : InPlace::none;
}

/// Steps of a block of `depth` from step l0 on that may be other than zero for elements i0 to i0 + count of an operand.
struct Steps {
  Int from, until;
};
template <Scalar T>
Steps steps_of(const Operand<T>& x, Int i0, Int count, Int l0, Int depth) {
  if (x.structure == Structure::lower_triangular) return {0, std::clamp(i0 + count - l0, Int{0}, depth)};
  if (x.structure == Structure::upper_triangular) return {std::clamp(i0 - l0, Int{0}, depth), depth};
  return {0, depth};
}

/// The loops of a product around its tiles.
template <InPlace in_place, Scalar T>
class BlockedProduct {
 public:
  BlockedProduct(Int m, Int n, Int k, const Operand<T>& A, const Operand<T>& B, Matrix<T> C, Region region)
      : m_(m), n_(n), k_(k), A_(A), B_(B), C_(C), region_(region), room_(m, n, k, in_place) {}

  void multiply(T alpha, T beta, RealFactors real) const {
    FiniteCheck<Real<T>> meeting_substitutes;  // all that is packed to meet substitutes of the other operand
    for (Range columns{0, 0}; columns.first < n_; columns.first += columns.count) {
      columns.count = std::min(room_.width, n_ - columns.first);
      for (Range steps{0, 0}; steps.first < k_; steps.first += steps.count) {
        steps.count = std::min(room_.depth, k_ - steps.first);
        const Update<T> update{alpha, steps.first == 0 ? beta : T(1), real};
        bool needs_b = !b_in_place;
        for (Range rows{0, 0}; rows.first < m_; rows.first += rows.count) {
          rows.count = std::min(room_.height, m_ - rows.first);
          if (is_outside(region_, rows.first, columns.first, rows.count, columns.count)) continue;
          if constexpr (!a_in_place) pack_a(rows, steps, meeting_substitutes);
          multiply_block(rows, columns, steps, update, needs_b, next_block_of_a(rows, steps), meeting_substitutes);
          needs_b = false;
        }
      }
    }
  }

 private:
  static constexpr int tile_rows = Tile<T>::rows, tile_columns = Tile<T>::columns, parts = Tile<T>::parts;
  static constexpr bool a_in_place = in_place == InPlace::both, b_in_place = in_place != InPlace::none;

  struct Range {
    Int first, count;
  };

  /// Memory that is to be packed next: pieces of `lines` lines each, `apart` bytes from each other.
  struct Pieces {
    const char* first = nullptr;
    Int lines = 0, count = 0;
    std::ptrdiff_t apart = 0;

    Lines line(Int i) const { return i < lines ? Lines{first + i * line_bytes, apart, count} : Lines{}; }
  };
  static constexpr int line_bytes = 64;

  /// The last tiles of a block ask for the next one: packing would otherwise wait for memory.
  Pieces next_block_of_a(Range rows, Range steps) const {
    if (a_in_place || A_.structure != Structure::full) return {};
    Int i = rows.first + rows.count, l = steps.first;
    if (i >= m_) {
      i = 0;
      l += steps.count;
    }
    if (l >= k_) return {};
    const Int next_rows = std::min(room_.height, m_ - i), next_steps = std::min(room_.depth, k_ - l);
    const auto lines = [](Int count) { return (count * Int{sizeof(T)} + line_bytes - 1) / line_bytes; };
    const char* const first = reinterpret_cast<const char*>(A_.at(i, l));
    return A_.along == 1 ? Pieces{first, lines(next_rows), next_steps, A_.deep * std::ptrdiff_t{sizeof(T)}}
                         : Pieces{first, lines(next_steps), next_rows, A_.along * std::ptrdiff_t{sizeof(T)}};
  }

  bool has_substitutes() const { return in_place == InPlace::none && (A_.has_substitutes() || B_.has_substitutes()); }

  static Int padded(int rows) { return round_up(rows, lanes<Real<T>>); }
  Real<T>* sliver_of_a(Int i, Int depth) const { return room_.a + std::ptrdiff_t{i} * depth * parts; }
  Real<T>* sliver_of_b(Int j, Int depth) const { return room_.b + std::ptrdiff_t{j} * depth * parts; }

  void pack_a(Range rows, Range steps, FiniteCheck<Real<T>>& meeting_substitutes) const {
    for (Int i = 0; i < rows.count; i += tile_rows) {
      const int count = std::min<Int>(tile_rows, rows.count - i);
      pack_sliver<Layout::parts_apart, tile_rows>(A_, rows.first + i, count, padded(count), steps.first, steps.count,
                                                  sliver_of_a(i, steps.count));
      if (B_.has_substitutes()) {
        take(sliver_of_a(i, steps.count), std::ptrdiff_t{steps.count} * padded(count) * parts, meeting_substitutes);
      }
    }
  }

  /// Slivers from column j on until another.
  void pack_b(Int j, Int until, Range columns, Range steps, FiniteCheck<Real<T>>& meeting_substitutes) const {
    for (; j < until; j += tile_columns) {
      const int count = std::min<Int>(tile_columns, columns.count - j);
      pack_sliver<Layout::pairs, tile_columns>(B_, columns.first + j, count, tile_columns, steps.first, steps.count,
                                               sliver_of_b(j, steps.count));
      if (A_.has_substitutes()) {
        take(sliver_of_b(j, steps.count), std::ptrdiff_t{steps.count} * tile_columns * parts, meeting_substitutes);
      }
    }
  }

  /// The first block of rows packs B piece by piece: the tiles find fresh slivers in the first-level cache.
  void multiply_block(Range rows, Range columns, Range steps, Update<T> update, bool needs_b, Pieces next,
                      FiniteCheck<Real<T>>& meeting_substitutes) const {
    const auto tiles = [](Int n, Int size) { return (n + size - 1) / size; };
    Int tiles_left = tiles(rows.count, tile_rows) * tiles(columns.count, tile_columns);
    // Where A comes from memory as it is, its rows meet all columns while the rows below are on their way.
    const Int panel = a_in_place && n_ <= Block<T>::few_columns ? Block<T>::few_columns : Block<T>::panel;
    for (Int panel_from = 0; panel_from < columns.count; panel_from += panel) {
      const Int panel_until = std::min(columns.count, panel_from + panel);
      if (needs_b) pack_b(panel_from, panel_until, columns, steps, meeting_substitutes);
      const bool is_finite = !has_substitutes() || meeting_substitutes.passed();
      for (Int i = 0; i < rows.count; i += tile_rows) {
        for (Int j = panel_from; j < panel_until; j += tile_columns) {
          if (!is_finite) {
            const TileOfSlivers<T> tile = slivers_at(i, j, rows, columns, steps);
            if (meets_substitutes(A_, B_, tile)) {
              multiply_tile_by_elements(A_, B_, tile, update, C_);
              continue;
            }
          }
          const bool ends_row = j + tile_columns >= panel_until;
          const T* const own = C_.at(rows.first + i + 1, columns.first + j + 1);
          const T* const next_c = ends_row ? own + tile_rows - std::ptrdiff_t{j - panel_from} * C_.ld
                                           : own + std::ptrdiff_t{tile_columns} * C_.ld;
          // The steps of a tile are time enough to get its elements of C, unless they are few.
          const Ahead<T> ahead{steps.count < 32 ? next_c : own, next.line(--tiles_left)};
          multiply_tile_at(i, j, rows, columns, steps, update, ahead);
        }
      }
    }
  }

  TileOfSlivers<T> slivers_at(Int i, Int j, Range rows, Range columns, Range steps) const {
    return {sliver_of_a(i, steps.count),
            sliver_of_b(j, steps.count),
            steps.first,
            steps.count,
            rows.first + i,
            columns.first + j,
            std::min<Int>(tile_rows, rows.count - i),
            std::min<Int>(tile_columns, columns.count - j)};
  }

  /// The tile with row i and column j of a block.
  [[gnu::always_inline]] void multiply_tile_at(Int i, Int j, Range rows, Range columns, Range steps, Update<T> update,
                                               Ahead<T> ahead) const {
    const int height = std::min<Int>(tile_rows, rows.count - i), width = std::min<Int>(tile_columns, columns.count - j);
    const Int i0 = rows.first + i, j0 = columns.first + j;
    if (is_outside(region_, i0, j0, height, width)) return;
    const Steps of_a = steps_of(A_, i0, height, steps.first, steps.count);
    const Steps of_b = steps_of(B_, j0, width, steps.first, steps.count);
    const Int first = std::max(of_a.from, of_b.from);
    const Int depth = std::max(Int{0}, std::min(of_a.until, of_b.until) - first);

    TileOperands<T> from;
    if constexpr (a_in_place) {
      from.a = A_.at(i0, steps.first);
      from.a_deep = A_.deep;
    } else {
      from.a = sliver_of_a(i, steps.count) + std::ptrdiff_t{first} * padded(height) * parts;
    }
    if constexpr (b_in_place) {
      from.b = B_.at(j0, steps.first);
      from.b_deep = B_.deep;
      from.b_along = B_.along;
    } else {
      from.b = sliver_of_b(j, steps.count) + std::ptrdiff_t{first} * tile_columns * parts;
    }
    if (crosses_diagonal(region_, i0, j0, height, width)) {
      multiply_tile_in_region(region_, i0, j0, depth, from.a, from.b, update, C_, height, width);
    } else {
      multiply_tile_of_height<in_place>(depth, from, update, C_.at(i0 + 1, j0 + 1), C_.ld, height, width, ahead);
    }
  }

  Int m_, n_, k_;
  const Operand<T>&A_, &B_;
  Matrix<T> C_;
  Region region_;
  PackingRoom<T> room_;
};

}  // namespace

template <Scalar T>
void product(Int m, Int n, Int k, T alpha, const Operand<T>& A, const Operand<T>& B, T beta, Matrix<T> C, Region region,
             RealFactors real) {
  if constexpr (RealScalar<T>) {
    switch (choose_in_place(m, n, k, A, B, region)) {
      case InPlace::none:
        break;
      case InPlace::b:
        return BlockedProduct<InPlace::b, T>(m, n, k, A, B, C, region).multiply(alpha, beta, real);
      case InPlace::both:
        return BlockedProduct<InPlace::both, T>(m, n, k, A, B, C, region).multiply(alpha, beta, real);
    }
  }
  BlockedProduct<InPlace::none, T>(m, n, k, A, B, C, region).multiply(alpha, beta, real);
}

template void product(Int, Int, Int, float, const Operand<float>&, const Operand<float>&, float, Matrix<float>, Region,
                      RealFactors);
template void product(Int, Int, Int, double, const Operand<double>&, const Operand<double>&, double, Matrix<double>,
                      Region, RealFactors);
template void product(Int, Int, Int, std::complex<float>, const Operand<std::complex<float>>&,
                      const Operand<std::complex<float>>&, std::complex<float>, Matrix<std::complex<float>>, Region,
                      RealFactors);
template void product(Int, Int, Int, std::complex<double>, const Operand<std::complex<double>>&,
                      const Operand<std::complex<double>>&, std::complex<double>, Matrix<std::complex<double>>, Region,
                      RealFactors);

}  // namespace nuv::packed::inline NUV_ISA
