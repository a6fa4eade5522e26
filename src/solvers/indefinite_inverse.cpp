#include <algorithm>

#include "environment/hermitian.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "solvers/indefinite.hpp"
#include "solvers/stored_triangle.hpp"

namespace nuv {
namespace {

/// What the elements of a block of order two are divided by, so that no product of them leaves the range.
template <Mirror mirror, Scalar T>
T scale_of_pair(T coupling) {
  if constexpr (RealScalar<T> || mirror == Mirror::conjugate) {
    return T(magnitude(coupling));
  } else {
    return coupling;
  }
}

/// The inverse from the factors: from the last block of D to the first it grows by the rows and columns of each.
template <Mirror mirror, class Triangle, Scalar T>
class Inversion {
 public:
  Inversion(const EliminationOrder& order, const Triangle& A, const Int* ipiv, T* work)
      : order_(order), A_(A), ipiv_(ipiv), work_(work) {}

  /// Gives the first place at which D has a block of order one that is zero, else 0.
  Int singular_block() const {
    for (Int k = order_.first(); order_.includes(k); k = order_.next(k)) {
      if (ipiv_[k - 1] > 0 && A_(k, k) == T(0)) return k;
    }
    return 0;
  }

  void run() const {
    for_each_block_backwards(order_, order_.last(), ipiv_, [&](const PivotBlock& pivot) {
      const Rows done = order_.beyond(pivot.last);
      if (pivot.is_pair()) {
        invert_pair(pivot);
        if (done.count() > 0) grow_by_pair(pivot, done);
      } else {
        T& d = A_(pivot.first, pivot.first);
        d = T(reciprocal<mirror>(d));
        if (done.count() > 0) grow_by_column(pivot.first, done);
      }
      exchange<mirror>(A_, order_, pivot);
    });
  }

 private:
  Vector<T> column(Rows rows, Int k) const { return {A_.at(rows.first, k), 1}; }

  void invert_pair(const PivotBlock& pivot) const {
    T &first = A_(pivot.first, pivot.first), &last = A_(pivot.last, pivot.last);
    T& coupling = A_(pivot.last, pivot.first);
    const T scale = scale_of_pair<mirror>(coupling);
    const T ratio_first = quotient(diagonal_element<mirror>(first), scale);
    const T ratio_last = quotient(diagonal_element<mirror>(last), scale);
    const T determinant = scale * (ratio_first * ratio_last - T(1));
    first = quotient(ratio_last, determinant);
    last = quotient(ratio_first, determinant);
    coupling = quotient(negated(quotient(coupling, scale)), determinant);
  }

  /// The column of multipliers becomes the column of the inverse.
  void grow_by_column(Int k, Rows done) const {
    const Vector<T> x = column(done, k), multipliers{work_, 1};
    blas::copy(done.count(), x, multipliers);
    multiply_mirrored<mirror, T>(order_.uplo(), done.count(), T(-1), part(A_, done), multipliers, T(0), x);
    A_(k, k) -= diagonal_element<mirror>(inner_product<T>(mirror == Mirror::conjugate, done.count(), multipliers, x));
  }

  void grow_by_pair(const PivotBlock& pivot, Rows done) const {
    grow_by_column(pivot.last, done);
    A_(pivot.last, pivot.first) -= inner_product<T>(mirror == Mirror::conjugate, done.count(), column(done, pivot.last),
                                                    column(done, pivot.first));
    grow_by_column(pivot.first, done);
  }

  EliminationOrder order_;
  Triangle A_;
  const Int* ipiv_;
  T* work_;
};

/// Gives info.
template <Mirror mirror, class Triangle, Scalar T>
Int invert(const EliminationOrder& order, const Triangle& A, const Int* ipiv, T* work) {
  const Inversion<mirror, Triangle, T> inversion(order, A, ipiv, work);
  const Int info = inversion.singular_block();
  if (info == 0) inversion.run();
  return info;
}

template <Mirror mirror, Scalar T>
void invert_full(RoutineName<T> name, char uplo, Int n, T* a, Int lda, const Int* ipiv, T* work, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  else if (lda < std::max(1, n)) info = -4;
  if (info != 0) return report_bad_argument(name, info);
  info = invert<mirror>(EliminationOrder(uplo, n), Matrix{a, lda}, ipiv, work);
}

template <Mirror mirror, Scalar T>
void invert_packed(RoutineName<T> name, char uplo, Int n, T* ap, const Int* ipiv, T* work, Int& info) {
  info = 0;
  if (!is_one_of(uplo, 'U', 'L')) info = -1;
  else if (n < 0) info = -2;
  if (info != 0) return report_bad_argument(name, info);
  const EliminationOrder order(uplo, n);
  info = invert<mirror>(order, PackedTriangle<T>{order.upper(), n, ap}, ipiv, work);
}

}  // namespace

template <Scalar T>
void sytri(char uplo, Int n, T* a, Int lda, const Int* ipiv, T* work, Int& info) {
  invert_full<Mirror::plain>(RoutineName<T>("SYTRI"), uplo, n, a, lda, ipiv, work, info);
}

template <ComplexScalar T>
void hetri(char uplo, Int n, T* a, Int lda, const Int* ipiv, T* work, Int& info) {
  invert_full<Mirror::conjugate>(RoutineName<T>("HETRI"), uplo, n, a, lda, ipiv, work, info);
}

template <Scalar T>
void sptri(char uplo, Int n, T* ap, const Int* ipiv, T* work, Int& info) {
  invert_packed<Mirror::plain>(RoutineName<T>("SPTRI"), uplo, n, ap, ipiv, work, info);
}

template <ComplexScalar T>
void hptri(char uplo, Int n, T* ap, const Int* ipiv, T* work, Int& info) {
  invert_packed<Mirror::conjugate>(RoutineName<T>("HPTRI"), uplo, n, ap, ipiv, work, info);
}

}  // namespace nuv

#include "solvers/indefinite_inverse.entries.inc"
