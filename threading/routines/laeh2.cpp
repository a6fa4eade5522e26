#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "frame/pool.hpp"
#include "threading/level3/parallel.hpp"
#include "x_variants.hpp"

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Rows of Z that go through all reflectors in one piece. What they meet at a time stays in the second cache; taller
/// strips are faster by a few per cent, and leave fewer for several threads.
constexpr Int strip_rows = 384;

/// Reflectors in a block: two tiles of a product. A wider block meets more columns of Z where its reflectors are zero:
/// one of 40 takes 1.4 times as long, measured on chases of that width.
template <Scalar T>
constexpr Int most_together = 2 * Tile<T>::columns;

/// The least chases, and rows of Z, for which gathering reflectors pays.
constexpr Int least_chases = 8, least_rows = 32;

/// Reflectors that go together: those of neighbouring chases at the same step along the band. Each begins an element
/// below the one before it:
///
///         1            H1 H2 H3 = I - V T V^H
///     V = v 1
///         v v 1
///           v v
///             v
struct Block {
  Int first, count;  ///< reflectors, counted from one as tau counts them; the first column of Z that they meet
  Int width;         ///< columns that they meet
};

/// How the reflectors of chases divide into blocks.
struct Blocks {
  Int n, kd;
  Int most;  ///< reflectors in a block

  Int per_step() const { return (std::min(kd, n - 1) - 1) / most + 1; }
  Int count() const { return ((n - 2) / kd + 1) * per_step(); }
  Int most_width() const { return std::min(kd + most - 1, n); }

  /// The block that is applied after `index` others; of no reflectors where the band ends before it.
  Block at(Int index) const {
    const Int step = (n - 2) / kd - index / per_step(), chase = index % per_step() * most;
    const Int first = step * kd + chase + 1;
    const Int count = std::clamp(n - first, 0, std::min(most, kd - chase));
    return {first, count, std::min(kd + count - 1, n - first + 1)};
  }
};

/// Blocks of reflectors as the two factors of a product each: H1 H2 ... = I - V (T V^H).
template <Scalar T>
class GatheredBlocks {
 public:
  static std::size_t elements(const Blocks& blocks) {
    return std::size_t(blocks.count()) * 2 * std::size_t(blocks.most_width()) * std::size_t(blocks.most) +
           std::size_t(blocks.most) * std::size_t(blocks.most);
  }

  GatheredBlocks(const Blocks& blocks, const T* tau, Matrix<const T> V, T* room) : blocks_(blocks), room_(room) {
    const Matrix<T> factor{room + elements(blocks) - std::ptrdiff_t{blocks.most} * blocks.most, blocks.most};
    for (Int i = 0; i < blocks.count(); ++i) gather(blocks.at(i), tau, V, vectors(i), factored(i), factor);
  }

  /// Z := Z H1 H2 ... for some rows of Z. W has room for as many of a block.
  void apply(Int rows, Matrix<T> Z, Matrix<T> W) const {
    for (Int i = 0; i < blocks_.count(); ++i) {
      const Block own = blocks_.at(i);
      if (own.count == 0) continue;
      const Matrix<T> reached = block(Z, 1, own.first);
      blas::gemm('N', 'N', rows, own.count, own.width, T(1), reached, vectors(i), T(0), W);
      blas::gemm('N', 'N', rows, own.width, own.count, T(-1), W, factored(i), T(1), reached);
    }
  }

 private:
  static constexpr char adjoint = ComplexScalar<T> ? 'C' : 'T';

  std::ptrdiff_t size() const { return std::ptrdiff_t{blocks_.most_width()} * blocks_.most; }
  Matrix<T> vectors(Int i) const { return {room_ + 2 * i * size(), blocks_.most_width()}; }
  Matrix<T> factored(Int i) const { return {room_ + (2 * i + 1) * size(), blocks_.most}; }

  void gather(const Block& own, const T* tau, Matrix<const T> table, Matrix<T> V, Matrix<T> TVH,
              Matrix<T> factor) const {
    if (own.count == 0) return;
    for (Int j = 1; j <= own.count; ++j) {
      const Int t = own.first + j - 1, length = std::min(blocks_.kd, blocks_.n - t + 1);
      T* const end = std::copy_n(table.at(t, (t - 1) % blocks_.kd + 1), length, std::fill_n(V.at(1, j), j - 1, T(0)));
      std::fill(end, V.at(own.width, j) + 1, T(0));
      for (Int i = 1; i <= own.width; ++i) TVH(j, i) = conjugate(V(i, j));
    }
    blas::gemm(adjoint, 'N', own.count, own.count, own.width, T(1), V, V, T(0), factor);
    for (Int j = 1; j <= own.count; ++j) {
      const T scale = tau[own.first + j - 2];
      blas::scal(j - 1, negated(scale), column(factor, 1, j));
      blas::trmv('U', 'N', 'N', j - 1, factor, column(factor, 1, j));
      factor(j, j) = scale;
    }
    blas::trmm('L', 'U', 'N', 'N', own.count, own.width, T(1), factor, TVH);
  }

  Blocks blocks_;
  T* room_;
};

/// Z := Z H1 H2 ... by blocks, strip by strip of rows. Where strips are cut depends on the matrix alone. False if
/// memory was refused; nothing is done then.
template <Scalar T>
bool apply_by_blocks(Int m, const Blocks& blocks, const T* tau, Matrix<const T> V, Matrix<T> Z) {
  const std::size_t gathered = GatheredBlocks<T>::elements(blocks);
  const Workspace<T> room(gathered + std::size_t(m) * std::size_t(blocks.most));
  if (room.data() == nullptr) return false;
  const GatheredBlocks<T> reflectors(blocks, tau, V, room.data());
  const Matrix<T> W{room.data() + gathered, m};
  split((m - 1) / strip_rows + 1, {1, 1}, real_multiply_adds<T>(m, blocks.n, blocks.n), [&](Int from, Int until) {
    for (Int strip = from; strip < until; ++strip) {
      const Int first = strip * strip_rows + 1;
      reflectors.apply(std::min(strip_rows, m - first + 1), block(Z, first, 1), block(W, first, 1));
    }
  });
  return true;
}

}  // namespace

/// Applies the reflectors of kd chases along a band to a matrix from the right: by blocks or, where that would not pay
/// or there is no memory, one by one.
template <Scalar T>
void laeh2(Int m, Int n, Int kd, const T* tau, const T* v, Int ldv, T* z, Int ldz, T* work) {
  const Int chases = std::min(kd, n - 1);
  const Blocks blocks{n, kd, std::min(chases, most_together<T>)};
  const bool pays = chases >= least_chases && m >= least_rows;
  if (pays && apply_by_blocks<T>(m, blocks, tau, {v, ldv}, {z, ldz})) return;
  x_variant::laeh2(m, n, kd, tau, Matrix{v, ldv}, Matrix{z, ldz}, work);
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/laeh2.entries.inc"
