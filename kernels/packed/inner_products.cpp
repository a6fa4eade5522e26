#include "kernels/packed/inner_products.hpp"

#include <algorithm>

#include "kernels/packed/tile.hpp"

namespace nuv::packed::inline NUV_ISA {
namespace {

/// Some vectors that a tile multiplies, `apart` elements from each other.
template <Scalar T>
struct Bundle {
  const T* first;
  std::ptrdiff_t apart;
  bool conjugated;
  int count;
};

/// Two vectors that a tile asks for in passing, because others will read them.
template <Scalar T>
struct VectorsAhead {
  const T *one, *other;
};

/// Elements of C, or of its transpose.
template <Scalar T>
struct Elements {
  T* data;
  std::ptrdiff_t down, across;
};

/// C := alpha X^T Y + beta C for one tile, X and Y with at most `rows` and `columns` vectors of `depth` elements.
template <int rows, int columns, Scalar T>
[[gnu::noinline]] void multiply_inner_tile(Int depth, const Bundle<T>& X, const Bundle<T>& Y, VectorsAhead<T> ahead,
                                           Update<T> update, Elements<T> C) {
  using R = Real<T>;
  constexpr int parts = InnerTile<T>::parts, sums = rows * columns * parts;
  // Vectors that are not there are read as the last one.
  const R *x[rows], *y[columns];
#pragma GCC unroll 8
  for (int i = 0; i < rows; ++i) x[i] = reinterpret_cast<const R*>(X.first + std::min(i, X.count - 1) * X.apart);
#pragma GCC unroll 8
  for (int j = 0; j < columns; ++j) y[j] = reinterpret_cast<const R*>(Y.first + std::min(j, Y.count - 1) * Y.apart);

  // Complex numbers are multiplied part by part, as they are and with the parts of y exchanged: the sums of the former
  // make the real part of an inner product, those of the latter the imaginary one.
  Simd<R> sum[sums];
#pragma GCC unroll 32
  for (int s = 0; s < sums; ++s) sum[s] = Simd<R>{};
  const auto step = [&](auto load) __attribute__((always_inline)) {
    Simd<R> a[rows];
#pragma GCC unroll 8
    for (int i = 0; i < rows; ++i) a[i] = load(x[i]);
#pragma GCC unroll 8
    for (int j = 0; j < columns; ++j) {
      Simd<R> b = load(y[j]);
#pragma GCC unroll 2
      for (int p = 0; p < parts; ++p) {
        if (p == 1) b = simd::swap_neighbours<R>(b);
#pragma GCC unroll 8
        for (int i = 0; i < rows; ++i) {
          Simd<R>& s = sum[(j * rows + i) * parts + p];
          s = simd::fma(a[i], b, s);
        }
      }
    }
  };
  const std::ptrdiff_t numbers = std::ptrdiff_t{depth} * parts;
  const char *one = reinterpret_cast<const char*>(ahead.one), *other = reinterpret_cast<const char*>(ahead.other);
  std::ptrdiff_t l = 0;
  for (; l + lanes<R> <= numbers; l += lanes<R>) {
    __builtin_prefetch(one, 0, 2);
    __builtin_prefetch(other, 0, 2);
    one += simd::vector_bytes;
    other += simd::vector_bytes;
    step([l](const R* from) __attribute__((always_inline)) { return simd::load(from + l); });
  }
  if (const int rest = static_cast<int>(numbers - l); rest > 0) {
    step([=](const R* from) __attribute__((always_inline)) { return simd::load_first(from + l, rest); });
  }
  if constexpr (parts == 2) {
    const R sign_x = X.conjugated ? -1 : 1, sign_y = Y.conjugated ? -1 : 1;
    const Simd<R> signs[] = {simd::alternating<R>(1, -sign_x * sign_y), simd::alternating<R>(sign_y, sign_x)};
#pragma GCC unroll 32
    for (int s = 0; s < sums; ++s) sum[s] *= signs[s % 2];
  }
  alignas(simd::vector_bytes) R all[simd::padded_to_lanes<R>(sums)];
  simd::sums_of_lanes(sum, all);
  const T* const products = reinterpret_cast<const T*>(all);
  for (int j = 0; j < Y.count; ++j) {
    for (int i = 0; i < X.count; ++i) update.apply(products[j * rows + i], C.data[i * C.down + j * C.across]);
  }
}

/// The same with the smallest tile that holds all the vectors.
template <Scalar T>
void multiply_inner_tile(Int depth, const Bundle<T>& X, const Bundle<T>& Y, VectorsAhead<T> ahead, Update<T> update,
                         Elements<T> C) {
  constexpr int rows = InnerTile<T>::rows, columns = InnerTile<T>::columns;
  if (X.count == rows) {
    Y.count == columns ? multiply_inner_tile<rows, columns>(depth, X, Y, ahead, update, C)
                       : multiply_inner_tile<rows, columns - 1>(depth, X, Y, ahead, update, C);
  } else {
    Y.count == columns ? multiply_inner_tile<rows - 1, columns>(depth, X, Y, ahead, update, C)
                       : multiply_inner_tile<rows - 1, columns - 1>(depth, X, Y, ahead, update, C);
  }
}

struct Range {
  Int first;
  int count;
};

/// A range cut into as few parts of at most `limit` as there can be, of nearly the same size.
class EvenParts {
 public:
  EvenParts(Int from, Int until, int limit) : from_(from), size_(until - from), count_((size_ - 1) / limit + 1) {}
  Int count() const { return count_; }
  Range operator[](Int part) const { return {cut(part), static_cast<int>(cut(part + 1) - cut(part))}; }

 private:
  Int cut(Int part) const { return from_ + static_cast<Int>(std::int64_t{size_} * part / count_); }
  Int from_, size_, count_;
};

/// C := alpha X^T Y + beta C, where X has at least as many vectors as Y.
template <Scalar T>
struct InnerProducts {
  Operand<T> X, Y;
  Int y_count, length;
  T alpha, beta;
  Elements<T> C;

  /// The rows of C, or of its transpose, that belong to some vectors of X.
  void multiply(Int from, Int until) const {
    const EvenParts bundles(from, until, InnerTile<T>::rows);
    const Int depth = block_depth();
    for (Int l = 0, steps = 0; l < length; l += steps) {
      steps = std::min(depth, length - l);
      const bool is_last = l + steps == length;
      for (Int i = 0; i + 1 < bundles.count(); ++i) multiply_bundle(l, steps, i, bundles[i], {l, bundles[i + 1]});
      const Int i = bundles.count() - 1;
      multiply_bundle(l, steps, i, bundles[i], is_last ? Piece{l, {from, 0}} : Piece{l + steps, bundles[0]});
    }
  }

 private:
  /// Some vectors from a step on.
  struct Piece {
    Int step;
    Range vectors;
  };

  /// Steps at a time: those of Y stay in a part of the second-level cache while X passes by.
  Int block_depth() const {
    const Int most = InnerTile<T>::block_bytes / ((y_count + 2 * InnerTile<T>::rows) * Int{sizeof(T)});
    return even_part(length, most, lanes<Real<T>>);
  }

  /// Row i of the tiles of a block. While it meets one bundle of Y after the other, it asks for the piece of X whose
  /// turn is next, and where that leaves room for the block of Y behind this one.
  void multiply_bundle(Int l, Int steps, Int i, Range x, Piece next) const {
    const EvenParts bundles(0, y_count, InnerTile<T>::columns);
    const bool is_last = l + steps == length;
    const Update<T> update{alpha, l == 0 ? beta : T(1)};
    for (Int j = 0; j < bundles.count(); ++j) {
      const Range y = bundles[j];
      const auto ahead_in_x = [&](Int v, const T* otherwise) {
        return v < next.vectors.count ? X.at(next.vectors.first + v, next.step) : otherwise;
      };
      const T *const first_x = X.at(x.first, l), *const first_y = Y.at(y.first, l);
      const T* const ahead_in_y = i < y.count && !is_last ? Y.at(y.first + i, l + steps) : first_y;
      multiply_inner_tile<T>(steps, {first_x, X.along, X.conjugated, x.count},
                             {first_y, Y.along, Y.conjugated, y.count},
                             {ahead_in_x(j, first_x), ahead_in_x(j + bundles.count(), ahead_in_y)}, update,
                             {C.data + x.first * C.down + y.first * C.across, C.down, C.across});
    }
  }
};

}  // namespace

template <Scalar T>
void inner_products(Int m, Int n, Int k, T alpha, const Operand<T>& A, const Operand<T>& B, T beta, Matrix<T> C,
                    Int from, Int until) {
  if (m >= n) {
    InnerProducts<T>{A, B, n, k, alpha, beta, {C.data, 1, C.ld}}.multiply(from, until);
  } else {
    InnerProducts<T>{B, A, m, k, alpha, beta, {C.data, C.ld, 1}}.multiply(from, until);
  }
}

template void inner_products(Int, Int, Int, float, const Operand<float>&, const Operand<float>&, float, Matrix<float>,
                             Int, Int);
template void inner_products(Int, Int, Int, double, const Operand<double>&, const Operand<double>&, double,
                             Matrix<double>, Int, Int);
template void inner_products(Int, Int, Int, std::complex<float>, const Operand<std::complex<float>>&,
                             const Operand<std::complex<float>>&, std::complex<float>, Matrix<std::complex<float>>, Int,
                             Int);
template void inner_products(Int, Int, Int, std::complex<double>, const Operand<std::complex<double>>&,
                             const Operand<std::complex<double>>&, std::complex<double>, Matrix<std::complex<double>>,
                             Int, Int);

}  // namespace nuv::packed::inline NUV_ISA
