// Blocks of reflectors: the triangular factor, and the application to a matrix.

#include <algorithm>
#include <utility>

#include "environment/block_plan.hpp"
#include "frame/error_report.hpp"
#include "frame/pool.hpp"
#include "orthogonal/householder.hpp"
#include "orthogonal/reflector_steps.hpp"

namespace nuv {
namespace {

/// y := alpha V^H x + beta y for some elements of some of the reflectors; y is left alone where there are none.
template <class V, Scalar T = std::remove_const_t<V>>
void inner_products(const StoredReflectors<V>& reflectors, Range elements, Range some, T alpha,
                    std::type_identity_t<Vector<const T>> x, std::type_identity_t<T> beta, Vector<T> y) {
  const Matrix part = reflectors.from(elements.first, some.first);
  if (reflectors.columnwise()) {
    blas::gemv(adjoint<T>, elements.count, some.count, alpha, part, x, beta, y);
  } else {
    blas::gemv('N', some.count, elements.count, alpha, part, x, beta, y);
  }
}

/// One triangle of T grows column by column or block by block from where the product of reflectors begins: from the
/// first column (upper triangle) or from the last (lower triangle).
template <Scalar T>
struct TriangularFactor {
  Matrix<T> t;
  Int k;
  bool upper;

  char uplo() const { return upper ? 'U' : 'L'; }

  /// The column that is made in step 1 ... k.
  Int column_of_step(Int step) const { return upper ? step : k + 1 - step; }

  /// Columns finished before these were begun.
  Range before(Range columns) const {
    return upper ? Range{1, columns.first - 1} : Range{columns.last() + 1, k - columns.last()};
  }

  /// The part of column j in those rows.
  Vector<T> in_rows(Range rows, Int j) const { return column(t, rows.first, j); }

  void clear(Range rows, Int j) const { std::fill_n(t.at(rows.first, j), std::max(rows.count, 0), T(0)); }

  /// x := T x for a finished diagonal block of T.
  void apply_to_vector(Range rows, Vector<T> x) const {
    blas::trmv(uplo(), 'N', 'N', rows.count, block(t, rows.first, rows.first), x);
  }

  /// Makes T column by column. multiply(i, done) leaves -tau_i V^H v_i in column i, in the rows of the columns that are
  /// done.
  template <class Multiply>
  void grow_by_columns(const T* tau, Multiply multiply) const {
    for (Int step = 1; step <= k; ++step) {
      const Int i = column_of_step(step);
      const Range done = before({i, 1});
      if (tau[i - 1] == T(0)) {
        clear(done, i);
        t(i, i) = T(0);
        continue;
      }
      if (done.count > 0) {
        multiply(i, done);
        apply_to_vector(done, in_rows(done, i));
      }
      t(i, i) = tau[i - 1];
    }
  }
};

template <RealScalar T>
void form_factor_by_columns(const StoredReflectors<T>& V, const T* tau, Matrix<T> t) {
  const TriangularFactor<T> F{t, V.count(), V.forward()};
  F.grow_by_columns(tau, [&](Int i, Range done) {
    const Range reach = V.reach(i);
    const T kept = std::exchange(V(V.unit(i), i), T(1));
    inner_products(V, reach, done, negated(tau[i - 1]), V.along(reach.first, i), T(0), F.in_rows(done, i));
    V(V.unit(i), i) = kept;
  });
}

}  // namespace

template <RealScalar T>
void larf2(char direct, char storev, Int n, Int k, T* v, Int ldv, const T* tau, T* t, Int ldt) {
  if (n != 0) form_factor_by_columns<T>({direct, storev, n, k, v, ldv}, tau, {t, ldt});
}

namespace {

/// What larft does with one column of T inside a block of columns: inner products of its reflector with those before
/// the block and with those of the block that are done, all of them scaled by minus tau.
///
/// inside   elements of the reflector that lie in the rows of the block's unit elements, beyond its own
/// The inner products of the elements beyond the block stand in T(earlier, j) already.
template <Scalar T>
class ColumnProducts {
 public:
  explicit ColumnProducts(Int) {}
  static constexpr bool ready() { return true; }

  // The kernels do not apply beta where a sum has no terms. The unit elements come in with an axpy each.
  void form(const StoredReflectors<const T>& V, const TriangularFactor<T>& F, Int j, Range inside, Range earlier,
            Range done, T scale) const {
    const Range tail = V.tail(j);
    const Vector<T> above = F.in_rows(earlier, j), beside = F.in_rows(done, j);
    if (inside.count > 0) {
      inner_products(V, inside, earlier, scale, V.along(inside.first, j), scale, above);
    } else {
      blas::scal(earlier.count, scale, above);
    }
    blas::axpy(earlier.count, scale, V.across(V.unit(j), earlier.first), above);
    if (tail.count > 0) {
      inner_products(V, tail, done, scale, V.along(tail.first, j), T(0), beside);
    } else {
      F.clear(done, j);
    }
    blas::axpy(done.count, scale, V.across(V.unit(j), done.first), beside);
  }
};

/// A reflector is laid out in memory from the pool, with its unit element, since the kernels take no conjugated vector.
template <ComplexScalar T>
class ColumnProducts<T> {
 public:
  explicit ColumnProducts(Int n) : room_(std::size_t(n)) {}
  bool ready() const { return room_.data() != nullptr; }

  void form(const StoredReflectors<const T>& V, const TriangularFactor<T>& F, Int j, Range inside, Range earlier,
            Range done, T scale) const {
    lay_out(V, j);
    const Range reach = V.reach(j);
    const Int unit = V.unit(j);
    const Range inside_with_unit{std::min(inside.first, unit), inside.count + 1};
    inner_products(V, inside_with_unit, earlier, scale, element(inside_with_unit.first), scale, F.in_rows(earlier, j));
    inner_products(V, reach, done, scale, element(reach.first), T(0), F.in_rows(done, j));
  }

 private:
  Vector<const T> element(Int e) const { return {room_.data() + (e - 1), 1}; }

  void lay_out(const StoredReflectors<const T>& V, Int j) const {
    const Range tail = V.tail(j);
    const Vector<T> to{room_.data() + (tail.first - 1), 1};
    blas::copy(tail.count, V.along(tail.first, j), to);
    if (!V.columnwise()) conjugate_vector(tail.count, to);
    room_.data()[V.unit(j) - 1] = T(1);
  }

  Workspace<T> room_;
};

/// Elements of the reflectors of some columns beyond all of their unit elements.
template <Scalar T>
Range elements_beyond(const StoredReflectors<const T>& V, Range columns) {
  return V.tail(V.forward() ? columns.last() : columns.first);
}

/// Elements of reflector j in the rows of the unit elements of those columns, beyond its own.
template <Scalar T>
Range shared_elements(const StoredReflectors<const T>& V, Range columns, Int j) {
  return V.forward() ? Range{j + 1, columns.last() - j} : Range{V.unit(columns.first), j - columns.first};
}

/// Adds a block of columns to a T that is finished up to them. With V1 the earlier reflectors and V2 those of the
/// block,
///
///     T11 | T12      T12 = -T11 (V1^H V2) T22, T22 the factor of the block by itself:
///         | T22
///
/// T11 is applied to the whole block at once, T22 as it comes into being, a column at a time.
template <Scalar T>
void add_columns(const StoredReflectors<const T>& V, const TriangularFactor<T>& F, Range columns, const T* tau,
                 const ColumnProducts<T>& products) {
  const Range earlier = F.before(columns), rest = elements_beyond(V, columns);
  const Matrix<T> T12 = block(F.t, earlier.first, columns.first);
  const char op_before = V.columnwise() ? adjoint<T> : 'N', op_block = V.columnwise() ? 'N' : adjoint<T>;
  blas::gemm(op_before, op_block, earlier.count, columns.count, rest.count, T(1), V.from(rest.first, earlier.first),
             V.from(rest.first, columns.first), T(0), T12);

  const auto for_each_column = [&](auto visit) {
    for (Int c = 0; c < columns.count; ++c) {
      const Int j = V.forward() ? columns.first + c : columns.last() - c;
      visit(j, V.forward() ? Range{columns.first, c} : Range{j + 1, c});
    }
  };
  for_each_column([&](Int j, Range done) {
    products.form(V, F, j, shared_elements(V, columns, j), earlier, done, negated(tau[j - 1]));
  });
  blas::trmm('L', F.uplo(), 'N', 'N', earlier.count, columns.count, T(1), block(F.t, earlier.first, earlier.first),
             T12);
  // The product with the columns of T12 that are done comes first: it takes T(done, j) as it is before T22 is applied.
  for_each_column([&](Int j, Range done) {
    const bool is_identity = tau[j - 1] == T(0);
    if (!is_identity) {
      blas::gemv('N', earlier.count, done.count, T(1), block(F.t, earlier.first, done.first), F.in_rows(done, j), T(1),
                 F.in_rows(earlier, j));
      F.apply_to_vector(done, F.in_rows(done, j));
    }
    F.t(j, j) = is_identity ? T(0) : tau[j - 1];
  });
}

template <Scalar T>
void form_factor_by_blocks(const StoredReflectors<const T>& V, const T* tau, Matrix<T> t,
                           const ColumnProducts<T>& products) {
  const Int k = V.count();
  const TriangularFactor<T> F{t, k, V.forward()};
  const Tuning<T> tuning{.name = RoutineName<T>("LARFT"), .n1 = V.order(), .n2 = k};
  const Int nb = tuning.block_size();
  for (Int done = 0; done < k; done += nb) {
    const Int ib = std::min(nb, k - done);
    add_columns(V, F, {V.forward() ? done + 1 : k - done - ib + 1, ib}, tau, products);
  }
}

/// v_i^H v_j, where the unit element of v_j is one of the stored elements of v_i.
template <ComplexScalar T>
T inner_product(const StoredReflectors<const T>& V, Int i, Int j) {
  const Range tail = V.tail(j);
  const Vector<const T> vi = V.along(tail.first, i), vj = V.along(tail.first, j);
  const T facing_unit = V(V.unit(j), i);
  // A row holds the conjugate of its reflector.
  if (V.columnwise()) return conjugate(facing_unit) + blas::dotc(tail.count, vi, vj);
  return facing_unit + blas::dotc(tail.count, vj, vi);
}

/// Takes no memory: each inner product stands by itself, since the kernels for dot products do conjugate a vector.
template <ComplexScalar T>
void form_factor_by_elements(const StoredReflectors<const T>& V, const T* tau, Matrix<T> t) {
  const TriangularFactor<T> F{t, V.count(), V.forward()};
  F.grow_by_columns(tau, [&](Int j, Range done) {
    for (Int i = done.first; i <= done.last(); ++i) F.t(i, j) = negated(tau[j - 1]) * inner_product(V, i, j);
  });
}

}  // namespace

template <Scalar T>
void larft(char direct, char storev, Int n, Int k, const T* v, Int ldv, const T* tau, T* t, Int ldt) {
  if (n == 0 || k == 0) return;
  const ColumnProducts<T> products(n);
  if (!products.ready()) return report_bad_argument<T>("LARFT", memory_refused);
  form_factor_by_blocks<T>({direct, storev, n, k, v, ldv}, tau, {t, ldt}, products);
}

template <Scalar T>
void form_factor(const StoredReflectors<const T>& V, const T* tau, Matrix<T> t) {
  if (V.order() == 0 || V.count() == 0) return;
  const ColumnProducts<T> products(V.order());
  if constexpr (ComplexScalar<T>) {
    if (!products.ready()) return form_factor_by_elements(V, tau, t);
  }
  form_factor_by_blocks(V, tau, t, products);
}

template void form_factor(const StoredReflectors<const float>&, const float*, Matrix<float>);
template void form_factor(const StoredReflectors<const double>&, const double*, Matrix<double>);
template void form_factor(const StoredReflectors<const std::complex<float>>&, const std::complex<float>*,
                          Matrix<std::complex<float>>);
template void form_factor(const StoredReflectors<const std::complex<double>>&, const std::complex<double>*,
                          Matrix<std::complex<double>>);

namespace {

/// W := the first n elements of k rows of C, as columns, conjugated.
template <Scalar T>
void copy_rows(Int k, Int n, Matrix<const T> C, Matrix<T> W) {
  for (Int j = 1; j <= k; ++j) {
    blas::copy(n, row(C, j, 1), column(W, 1, j));
    conjugate_vector(n, column(W, 1, j));
  }
}

template <Scalar T>
void copy_columns(Int m, Int k, Matrix<const T> C, Matrix<T> W) {
  for (Int j = 1; j <= k; ++j) blas::copy(m, column(C, 1, j), column(W, 1, j));
}

/// C := C - W^H for a C of `rows` by `columns`, both known to the compiler.
template <Int rows, Int columns, Scalar T>
[[gnu::always_inline]] inline void subtract_adjoint_tile(const T* w, Int ldw, T* c, Int ldc) {
  T tile[rows][columns];
#pragma GCC unroll 8
  for (std::ptrdiff_t j = 0; j < rows; ++j) {
#pragma GCC unroll 8
    for (std::ptrdiff_t i = 0; i < columns; ++i) tile[j][i] = conjugate(w[i + j * ldw]);
  }
#pragma GCC unroll 8
  for (std::ptrdiff_t i = 0; i < columns; ++i) {
#pragma GCC unroll 8
    for (std::ptrdiff_t j = 0; j < rows; ++j) c[j + i * ldc] -= tile[j][i];
  }
}

/// C := C - W^H for a k by n matrix C, by tiles: neither matrix is walked along its rows.
template <Scalar T>
void subtract_adjoint(Int k, Int n, Matrix<const T> W, Matrix<T> C) {
  constexpr Int tile = 4;
  Int i = 1;
  for (; i + tile <= n + 1; i += tile) {
    Int j = 1;
    for (; j + tile <= k + 1; j += tile) subtract_adjoint_tile<tile, tile>(W.at(i, j), W.ld, C.at(j, i), C.ld);
    for (; j <= k; ++j) subtract_adjoint_tile<1, tile>(W.at(i, j), W.ld, C.at(j, i), C.ld);
  }
  for (; i <= n; ++i) {
    for (Int j = 1; j <= k; ++j) C(j, i) -= conjugate(W(i, j));
  }
}

/// C := C - W for m by k matrices.
template <Scalar T>
void subtract(Int m, Int k, Matrix<const T> W, Matrix<T> C) {
  for (Int j = 1; j <= k; ++j) {
    const T* const w = W.at(1, j);
    T* const c = C.at(1, j);
    for (Int i = 0; i < m; ++i) c[i] -= w[i];
  }
}

/// V and C in parts; on the right C^H stands for C. V1 is the unit triangle of V, V2 the rest:
///
///     columnwise, forward   V1 | C1      H C = C - V T V^H C:  W := C1^H V1 + C2^H V2, W := W T^H,
///                           V2 | C2                            C1 := C1 - V1 W^H, C2 := C2 - V2 W^H
///
/// Backward has V1 and C1 below. Rowwise has the adjoint of V. W is nw by k.
template <Scalar T>
class Parts {
 public:
  Parts(bool left, const StoredReflectors<const T>& V, Int nw, Matrix<T> C, Matrix<T> W)
      : left_(left),
        nw_(nw),
        k_(V.count()),
        rest_(V.order() - k_),
        triangle_(V.columnwise() == V.forward() ? 'L' : 'U'),
        op_(V.columnwise() ? 'N' : adjoint<T>),
        op_adjoint_(V.columnwise() ? adjoint<T> : 'N'),
        V1_(V.from(V.unit(1), 1)),
        V2_(V.from(V.forward() ? k_ + 1 : 1, 1)),
        C1_(part_of(C, V.unit(1))),
        C2_(part_of(C, V.forward() ? k_ + 1 : 1)),
        W_(W) {}

  /// W := C^H V (left) or C V
  void project() const {
    if (left_) {
      copy_rows<T>(k_, nw_, C1_, W_);
    } else {
      copy_columns<T>(nw_, k_, C1_, W_);
    }
    blas::trmm('R', triangle_, op_, 'U', nw_, k_, T(1), V1_, W_);
    if (rest_ > 0) blas::gemm(left_ ? adjoint<T> : 'N', op_, nw_, k_, rest_, T(1), C2_, V2_, T(1), W_);
  }

  /// C := C - V W^H (left) or C - W V^H; W is lost.
  void subtract_projection() const {
    if (rest_ > 0 && left_) {
      blas::gemm(op_, adjoint<T>, rest_, nw_, k_, T(-1), V2_, W_, T(1), C2_);
    } else if (rest_ > 0) {
      blas::gemm('N', op_adjoint_, nw_, rest_, k_, T(-1), W_, V2_, T(1), C2_);
    }
    blas::trmm('R', triangle_, op_adjoint_, 'U', nw_, k_, T(1), V1_, W_);
    if (left_) {
      subtract_adjoint<T>(k_, nw_, W_, C1_);
    } else {
      subtract<T>(nw_, k_, W_, C1_);
    }
  }

 private:
  Matrix<T> part_of(Matrix<T> C, Int first) const { return left_ ? block(C, first, 1) : block(C, 1, first); }

  bool left_;
  Int nw_, k_, rest_;
  char triangle_, op_, op_adjoint_;
  Matrix<const T> V1_, V2_;
  Matrix<T> C1_, C2_, W_;
};

}  // namespace

template <Scalar T>
void larfb(char side, char trans, char direct, char storev, Int m, Int n, Int k, const T* v, Int ldv, const T* t,
           Int ldt, T* c, Int ldc, T* work, Int ldwork) {
  if (m <= 0 || n <= 0) return;
  if (!is_one_of(storev, 'C', 'R') || !is_one_of(side, 'L', 'R')) return;
  const bool left = same_letter(side, 'L');
  const Int nq = left ? m : n, nw = left ? n : m;
  const StoredReflectors<const T> V(direct, storev, nq, k, v, ldv);
  const Matrix<T> W{work, ldwork};
  const Parts<T> parts(left, V, nw, {c, ldc}, W);

  parts.project();
  // On the left W^H stands for W, and so T^H for T.
  const char op_t = left ? reversed<T>(!same_letter(trans, 'N')) : trans;
  blas::trmm('R', V.forward() ? 'U' : 'L', op_t, 'N', nw, k, T(1), Matrix{t, ldt}, W);
  parts.subtract_projection();
}

}  // namespace nuv

#include "orthogonal/block_reflector.entries.inc"
