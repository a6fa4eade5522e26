#include "base/matrix.hpp"
#include "kernels/special/cholesky_block.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

using namespace cholesky;

/// Element (i, j) of F, counted from zero: of A in its lower triangle, of A^T in its upper one.
template <Triangle triangle, Scalar T>
T& element_of(Matrix<T> A, Int i, Int j) {
  return triangle == Triangle::lower ? *A.at(i + 1, j + 1) : *A.at(j + 1, i + 1);
}

/// Packs rows k to k + height of F in columns l0 to l0 + depth, a step for each column, padded with zeros.
template <Triangle triangle, Scalar T>
void pack(Matrix<T> A, Int k, int height, Int l0, Int depth, T* packed) {
  constexpr int width = Shape<T>::width, elements = elements_per_vector<T>;
  Int l = 0;
  if (height == width) {
    if constexpr (triangle == Triangle::lower) {
      for (; l < depth; ++l) {
        const T* const from = A.at(k + 1, l0 + l + 1);
#pragma GCC unroll 8
        for (int q = 0; q < width; q += elements) store_elements(packed + l * width + q, load_elements(from + q));
      }
    } else {
      for (; l + elements <= depth; l += elements) {
#pragma GCC unroll 8
        for (int q0 = 0; q0 < width; q0 += elements) {
          Simd<Real<T>> square[elements];
#pragma GCC unroll 16
          for (int q = 0; q < elements; ++q) square[q] = load_elements(A.at(l0 + l + 1, k + q0 + q + 1));
          transpose<T>(square);
#pragma GCC unroll 16
          for (int i = 0; i < elements; ++i) store_elements(packed + (l + i) * width + q0, square[i]);
        }
      }
    }
  }
  for (; l < depth; ++l) {
    for (int q = 0; q < width; ++q) {
      packed[l * width + q] = q < height ? element_of<triangle>(A, k + q, l0 + l) : T(0);
    }
  }
}

/// Updates the triangle of A11 with packed steps, and factors it if they were the last. Gives the number of columns
/// done.
template <Triangle triangle, Scalar T>
[[gnu::noinline]] int update_block(T* a, Int lda, int order, Int depth, const T* packed, bool is_last,
                                   Block<T>& block) {
  BlockInRegisters<T> registers;
  registers.template load<triangle>(a, lda, order);
  if (depth > 0) registers.subtract_square(depth, packed);
  const int done = is_last ? registers.factor(order, block.reciprocal) : order;
  registers.template store<triangle>(block, a, lda, order, done);
  return done;
}

/// Updates F21, from row i on, with the packed steps that stand for columns l0 + 1 to l0 + depth.
template <Triangle triangle, Scalar T>
void update_rest(Matrix<T> A, Int n, Int k, Int i, Int l0, Int depth, const T* packed, Finish<T> finish) {
  constexpr int step = triangle == Triangle::lower ? Shape<T>::row_vectors * elements_per_vector<T> : Shape<T>::columns;
  for (; i < n; i += step) {
    const int count = static_cast<int>(std::min<Int>(step, n - i));
    T* const left = &element_of<triangle>(A, i, l0);
    T* const target = &element_of<triangle>(A, i, k);
    if constexpr (triangle == Triangle::lower) {
      update_lower_rows<T>(depth, left, packed, finish, target, A.ld, count);
    } else {
      update_upper_tile<T>(depth, left, packed, finish, target, A.ld, count);
    }
  }
}

/// Factors a triangle of A of order n. Gives 0, or the position of the first pivot that is not positive; the columns of
/// F before it are complete then, the element itself holds the pivot.
template <Triangle triangle, Scalar T>
Int factor(Int n, Matrix<T> A) {
  constexpr int width = Shape<T>::width;
  alignas(simd::vector_bytes) T packed[Shape<T>::depth * width];
  for (Int k = 0; k < n; k += width) {
    const int order = static_cast<int>(std::min<Int>(width, n - k));
    Int l0 = 0;
    const auto take_panel = [&](Int depth, bool is_last) {
      Block<T> block;
      pack<triangle>(A, k, order, l0, depth, packed);
      const int done = update_block<triangle>(A.at(k + 1, k + 1), A.ld, order, depth, packed, is_last, block);
      update_rest<triangle>(A, n, k, k + order, l0, depth, packed, Finish<T>{is_last ? &block : nullptr, done});
      return done;
    };
    for (; k - l0 > Shape<T>::depth; l0 += Shape<T>::depth) take_panel(Shape<T>::depth, false);
    const int done = take_panel(k - l0, true);
    if (done < order) return k + done + 1;
  }
  return 0;
}

}  // namespace

/// Cholesky factorisation of the upper triangle of A, order n: A = U^H U. Columns are not looked at by the letter of
/// uplo: the name says the triangle.
///
/// a       the upper triangle, lda >= max(1, n); U on return. The lower triangle is neither read nor written.
/// info    0, or k: the leading minor of order k is not positive definite. Rows 1 to k - 1 of U are complete then, and
///         a(k, k) holds what should have been a positive pivot.
template <Scalar T>
void potrf_u_small(char, Int n, T* a, Int lda, Int& info) {
  info = factor<Triangle::upper>(n, Matrix{a, lda});
}

/// The same for the lower triangle, A = L L^H; columns 1 to k - 1 of L are complete where info is k.
template <Scalar T>
void potrf_l_small(char, Int n, T* a, Int lda, Int& info) {
  info = factor<Triangle::lower>(n, Matrix{a, lda});
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/special/potrf_small.entries.inc"
