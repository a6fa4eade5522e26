#pragma once

// The two sides of a singular value decomposition by the length of their vectors, so that tall and wide matrices have
// one code.
//
//     tall, m >= n    A = Q R    Q = | has long left vectors, columns, and short right ones
//     wide, m < n     A = L Q    Q = - has long right vectors, rows, and short left ones
//
// The square factor is reduced to bidiagonal form, R = U B V^H or L = U B V^H. The long vectors of A are Q U, or V^H Q;
// the short ones are those of the factor.

#include <algorithm>

#include "blas.hpp"
#include "environment/hermitian.hpp"
#include "environment/matrix_utilities.hpp"
#include "layer.hpp"
#include "orthogonal/form_q.hpp"
#include "orthogonal/lq_ql_rq.hpp"
#include "orthogonal/q_of_reductions.hpp"
#include "svd/bidiagonal_qr.hpp"
#include "svd/bidiagonal_reduction.hpp"

namespace nuv {

/// Workspace.
template <Scalar T>
struct Room {
  T* work;
  Int lwork;

  Room behind(std::int64_t elements) const { return {work + elements, static_cast<Int>(lwork - elements)}; }
};

/// Workspace from a reduction on to the end of the iteration.
template <Scalar T>
struct ReductionRoom {
  using R = Real<T>;

  /// Vectors in the workspace before that of the reduction itself: e is real, and stands elsewhere in complex
  /// precisions.
  static constexpr Int vectors = ComplexScalar<T> ? 2 : 3;

  R* e;
  R* of_iteration;          ///< behind e
  T *tau_long, *tau_short;  ///< factors of the reflectors
  Room<T> rest;

  ReductionRoom(Int order, Room<T> room, R* rwork) : rest(room.behind(vectors * std::int64_t{order})) {
    if constexpr (ComplexScalar<T>) {
      e = rwork;
    } else {
      e = room.work;
    }
    of_iteration = e + order;
    tau_short = rest.work - order;
    tau_long = tau_short - order;
  }
};

/// Vectors that a reduction's matrices are to become.
template <Scalar T>
struct Vectors {
  Int length = 0;  ///< zero: nobody wants them
  Matrix<T> M{nullptr, 1};
};

template <Scalar T>
struct LongSide {
  bool is_left;
  Int longer, shorter;

  LongSide(Int m, Int n) : is_left(m >= n), longer(std::max(m, n)), shorter(std::min(m, n)) {}

  // Sizes of a matrix of `count` long vectors; those of A for `shorter` of them.
  Int rows(Int count) const { return is_left ? longer : count; }
  Int columns(Int count) const { return is_left ? count : longer; }

  /// Letters by which a reduction knows the vectors.
  char letter_of_long() const { return is_left ? 'Q' : 'P'; }
  char letter_of_short() const { return is_left ? 'P' : 'Q'; }

  // The triangle of a square factor, and the other one, where the reflectors of Q stand. After a reduction the
  // reflectors of the short vectors stand in the former, those of the long ones in the latter.
  char triangle() const { return is_left ? 'U' : 'L'; }
  char other_triangle() const { return is_left ? 'L' : 'U'; }

  void copy_all(Matrix<const T> from, Matrix<T> to) const { copy('F', rows(shorter), columns(shorter), from, to); }
  void copy_square(Matrix<const T> from, Matrix<T> to) const { copy('F', shorter, shorter, from, to); }
  void copy_triangle(Matrix<const T> from, Matrix<T> to) const { copy(triangle(), shorter, shorter, from, to); }
  void copy_other_triangle(Matrix<const T> from, Matrix<T> to) const {
    copy(other_triangle(), shorter, shorter, from, to);
  }

  /// The reflectors of Q, as long as A is.
  void copy_reflectors(Matrix<const T> from, Matrix<T> to) const {
    copy(other_triangle(), rows(shorter), columns(shorter), from, to);
  }

  void clear_other_triangle(Matrix<T> A) const {
    const Matrix<T> first = is_left ? block(A, 2, 1) : block(A, 1, 2);
    if (shorter > 1) laset(other_triangle(), shorter - 1, shorter - 1, T(0), T(0), first.data, first.ld);
  }

  /// A = Q R or L Q.
  void factor(Matrix<T> A, T* tau, Room<T> room) const {
    Int ignored = 0;
    if (is_left) {
      layer::geqrf(longer, shorter, A, tau, room.work, room.lwork, ignored);
    } else {
      gelqf(shorter, longer, A.data, A.ld, tau, room.work, room.lwork, ignored);
    }
  }

  /// Forms `count` long vectors of Q in the place of its reflectors.
  void form_q(Int count, Matrix<T> Q, const T* tau, Room<T> room) const {
    Int ignored = 0;
    const auto form = is_left ? orgqr<T> : orglq<T>;
    form(rows(count), columns(count), shorter, Q.data, Q.ld, tau, room.work, room.lwork, ignored);
  }

  /// Reduces an m by n matrix, A itself or its square factor.
  void reduce(Int m, Int n, Matrix<T> A, Real<T>* d, const ReductionRoom<T>& room) const {
    Int ignored = 0;
    T *const tauq = is_left ? room.tau_long : room.tau_short, *const taup = is_left ? room.tau_short : room.tau_long;
    gebrd(m, n, A.data, A.ld, d, room.e, tauq, taup, room.rest.work, room.rest.lwork, ignored);
  }

  /// Forms long vectors of a reduction, m by n, in the place of their reflectors.
  void form_long(Int m, Int n, Matrix<T> X, const ReductionRoom<T>& room) const {
    Int ignored = 0;
    orgbr(letter_of_long(), m, n, shorter, X.data, X.ld, room.tau_long, room.rest.work, room.rest.lwork, ignored);
  }

  /// Forms the short vectors of a reduction in the place of their reflectors.
  ///
  /// other   the other size of the matrix that was reduced
  void form_short(Int other, Matrix<T> X, const ReductionRoom<T>& room) const {
    Int ignored = 0;
    orgbr(letter_of_short(), shorter, shorter, other, X.data, X.ld, room.tau_short, room.rest.work, room.rest.lwork,
          ignored);
  }

  /// Q := Q U or V^H Q for the long vectors of a square factor whose reduction is in `reduced`; Q has `shorter` vectors
  /// that matter.
  void apply_long(Matrix<T> reduced, Matrix<T> Q, const ReductionRoom<T>& room) const {
    Int ignored = 0;
    ormbr(letter_of_long(), is_left ? 'R' : 'L', is_left ? 'N' : adjoint<T>, rows(shorter), columns(shorter), shorter,
          reduced.data, reduced.ld, room.tau_long, Q.data, Q.ld, room.rest.work, room.rest.lwork, ignored);
  }

  /// Makes of a bidiagonal matrix the values, and of the matrices of its reduction the vectors.
  void iterate(char uplo, Real<T>* d, const Vectors<T>& long_ones, const Vectors<T>& short_ones,
               const ReductionRoom<T>& room, Int& info) const {
    const auto& [nru, U] = is_left ? long_ones : short_ones;
    const auto& [ncvt, VT] = is_left ? short_ones : long_ones;
    bdsqr<T>(uplo, shorter, ncvt, nru, 0, d, room.e, VT.data, VT.ld, U.data, U.ld, nullptr, 1, room.of_iteration, info);
  }

  /// X := Q W or W Q for a square W, the elements from `first` on of the long vectors, `count` of each.
  void multiply(Int first, Int count, Matrix<const T> Q, Matrix<const T> W, Matrix<T> X) const {
    const Int k = shorter;
    if (is_left) {
      blas::gemm('N', 'N', count, k, k, T(1), block(Q, first, 1), W, T(0), X);
    } else {
      blas::gemm('N', 'N', k, count, k, T(1), W, block(Q, 1, first), T(0), X);
    }
  }

  /// Q := Q W or W Q by as many elements of each vector at a time as have room.
  void multiply_in_place(Matrix<T> Q, Matrix<const T> W, Room<T> room) const {
    const Int most = std::min(longer, room.lwork / shorter);
    const Matrix<T> X{room.work, is_left ? most : shorter};
    for (Int done = 0, count; done < longer; done += count) {
      count = std::min(most, longer - done);
      multiply(done + 1, count, Q, W, X);
      const Matrix<T> part = is_left ? block(Q, done + 1, 1) : block(Q, 1, done + 1);
      copy('F', is_left ? count : shorter, is_left ? shorter : count, X, part);
    }
  }

 private:
  static void copy(char uplo, Int m, Int n, Matrix<const T> from, Matrix<T> to) {
    lacpy(uplo, m, n, from.data, from.ld, to.data, to.ld);
  }
};

}  // namespace nuv
