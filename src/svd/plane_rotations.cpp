#include "svd/plane_rotations.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"

namespace nuv {
namespace {

template <Scalar T>
void turn_rows(char pivot, bool rises, Int m, Int n, const Real<T>* c, const Real<T>* s, Matrix<T> A) {
  switch (to_upper_ascii(static_cast<unsigned char>(pivot))) {
    case 'V':
      return rises ? blas::lasr_lvf(m, n, c, s, A) : blas::lasr_lvb(m, n, c, s, A);
    case 'T':
      return rises ? blas::lasr_ltf(m, n, c, s, A) : blas::lasr_ltb(m, n, c, s, A);
    default:
      return rises ? blas::lasr_lbf(m, n, c, s, A) : blas::lasr_lbb(m, n, c, s, A);
  }
}

template <Scalar T>
void turn_columns(char pivot, bool rises, Int m, Int n, const Real<T>* c, const Real<T>* s, Matrix<T> A) {
  for (Int step = 1; step < n; ++step) {
    const Int j = rises ? step : n - step;
    const Vector<T> x = column(A, 1, same_letter(pivot, 'T') ? 1 : j);
    const Vector<T> y = column(A, 1, same_letter(pivot, 'B') ? n : j + 1);
    blas::rot(m, x, y, c[j - 1], s[j - 1]);
  }
}

}  // namespace

template <Scalar T>
void lasr(char side, char pivot, char direct, Int m, Int n, const Real<T>* c, const Real<T>* s, T* a, Int lda) {
  Int info = 0;
  if (!is_one_of(side, 'L', 'R')) info = -1;
  else if (!is_one_of(pivot, 'V', 'T', 'B')) info = -2;
  else if (!is_one_of(direct, 'F', 'B')) info = -3;
  else if (m < 0) info = -4;
  else if (n < 0) info = -5;
  else if (lda < std::max(1, m)) info = -9;
  if (info != 0) return report_bad_argument<T>("LASR", info);
  if (m == 0 || n == 0) return;
  const auto turn = same_letter(side, 'L') ? turn_rows<T> : turn_columns<T>;
  turn(pivot, same_letter(direct, 'F'), m, n, c, s, Matrix{a, lda});
}

namespace {

template <RealScalar T>
struct PlaneRotation {
  T c, s;
};

/// The rotation of sweep q in plane p.
template <RealScalar T>
PlaneRotation<T> rotation_of(Matrix<const T> sweeps, Int p, Int q) {
  return {sweeps(p, 2 * q - 1), sweeps(p, 2 * q)};
}

template <RealScalar T>
void turn_plane(Int m, PlaneRotation<T> r, Matrix<T> A, Int p) {
  blas::rot(m, column(A, 1, p), column(A, 1, p + 1), r.c, r.s);
}

/// Up to four rotations of four neighbouring columns, multiplied out.
template <RealScalar T>
class FourColumns {
 public:
  void turn(Int p, PlaneRotation<T> r) {
    for (auto& row : product_) {
      const T x = row[p - 1], y = row[p];
      row[p - 1] = r.c * x + r.s * y;
      row[p] = r.c * y - r.s * x;
    }
  }

  /// Multiplies the first four columns of A, m rows, by a product in which the outer columns do not meet.
  void apply(Int m, Matrix<T> A) const {
    const auto& p = product_;
    T *const x0 = A.at(1, 1), *const x1 = A.at(1, 2), *const x2 = A.at(1, 3), *const x3 = A.at(1, 4);
    for (Int i = 0; i < m; ++i) {
      const T a = x0[i], b = x1[i], c = x2[i], d = x3[i];
      x0[i] = a * p[0][0] + b * p[1][0] + c * p[2][0];
      x1[i] = a * p[0][1] + b * p[1][1] + c * p[2][1] + d * p[3][1];
      x2[i] = a * p[0][2] + b * p[1][2] + c * p[2][2] + d * p[3][2];
      x3[i] = b * p[1][3] + c * p[2][3] + d * p[3][3];
    }
  }

 private:
  T product_[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
};

}  // namespace

// Sweep q comes to plane p, and then to the next one in the order of the sweep; with them go the planes before these of
// sweep q + 1, so that four columns take part, p - 1 to p + 2:
//
//     sweep q            p  p+1              p-1  p
//     sweep q + 1   p-1  p                        p  p+1
template <RealScalar T>
void lasr1(char side, char pivot, char direct, Int m, Int, Int k, const T* cs, Int ldcs, T* a, Int lda) {
  if (side != 'R' || pivot != 'V' || (direct != 'F' && direct != 'B')) return;
  const Matrix A{a, lda};
  const Matrix sweeps{cs, ldcs};
  const Int step = direct == 'F' ? 1 : -1;
  for (Int q = 1; q <= k; q += 2) {
    const bool is_single = q == k;
    Int p = step > 0 ? k - q + 1 : k + q - 1;
    for (Int left = k; left > 0; left -= 2, p += 2 * step) {
      if (is_single || left == 1) {
        turn_plane(m, rotation_of(sweeps, p, q), A, p);
        if (is_single && left > 1) turn_plane(m, rotation_of(sweeps, p + step, q), A, p + step);
        if (!is_single) turn_plane(m, rotation_of(sweeps, p - step, q + 1), A, p - step);
        continue;
      }
      FourColumns<T> four;
      four.turn(2, rotation_of(sweeps, p, q));
      four.turn(2 + step, rotation_of(sweeps, p + step, q));
      four.turn(2 - step, rotation_of(sweeps, p - step, q + 1));
      four.turn(2, rotation_of(sweeps, p, q + 1));
      four.apply(m, block(A, 1, p - 1));
    }
  }
}

}  // namespace nuv

#include "svd/plane_rotations.entries.inc"
