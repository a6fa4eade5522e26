#include "generators/random_orthogonal.hpp"

#include <algorithm>

#include "base/matrix.hpp"
#include "blas.hpp"
#include "environment/matrix_utilities.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "generators/random_numbers.hpp"
#include "generators/random_reflector.hpp"

namespace nuv {

// U is a product of reflections H(2) ... H(order), of which H(k) turns a vector of k normal numbers to the first of the
// last k axes, and of a diagonal of random signs D: U = D H(order) ... H(2).
template <Scalar T>
void laror(char side, char init, Int m, Int n, T* a, Int lda, Int* iseed, T* x, Int& info) {
  const bool on_both = same_letter(side, 'C');
  const bool on_left = on_both || same_letter(side, 'L'), on_right = on_both || same_letter(side, 'R');
  info = 0;
  if (!on_left && !on_right) info = -1;
  else if (m < 0 || (on_both && m != n)) info = -3;
  else if (n < 0) info = -4;
  else if (lda < m) info = -6;
  if (info != 0) return report_bad_argument<T>("LAROR", info);
  if (m == 0 || n == 0) return;

  const Matrix A{a, lda};
  if (same_letter(init, 'I')) laset('F', m, n, T(0), T(1), a, lda);

  const Int order = on_left ? m : n;
  T* const v = x;
  T* const signs = x + order;
  T* const work = x + 2 * std::ptrdiff_t{order};
  for (Int k = 2; k <= order; ++k) {
    const Int first = order - k + 1;
    T* const head = v + (first - 1);
    for (Int i = 0; i < k; ++i) head[i] = larnd<T>(3, iseed);
    const Real<T> norm = blas::nrm2(k, Vector<const T>(head, 1));
    if (norm == 0) {
      info = 1;
      return report_bad_argument<T>("LAROR", -info);
    }
    const T towards = direction(*head);
    signs[first - 1] = negated(towards);
    const Real<T> tau = Real<T>(1) / (norm * (norm + magnitude(*head)));
    *head += towards * norm;
    if (on_left) reflect_from_left<T>(k, n, tau, {head, 1}, block(A, first, 1), work);
    if (on_right) reflect_from_right<T>(m, k, tau, {head, 1}, block(A, 1, first), work);
  }
  signs[order - 1] = direction(larnd<T>(3, iseed));

  if (on_left) {
    for (Int i = 1; i <= m; ++i) blas::scal(n, conjugate(signs[i - 1]), row(A, i, 1));
  }
  if (on_right) {
    for (Int j = 1; j <= n; ++j) blas::scal(m, signs[j - 1], column(A, 1, j));
  }
}

template <Scalar T>
void large(Int n, T* a, Int lda, Int* iseed, T* work, Int& info) {
  info = 0;
  if (n < 0) info = -1;
  else if (lda < std::max(1, n)) info = -3;
  if (info != 0) return report_bad_argument<T>("LARGE", info);

  const Matrix A{a, lda};
  for (Int i = n; i >= 1; --i) {
    const Int length = n - i + 1;
    const Real<T> tau = draw_reflector(iseed, length, work);
    reflect_from_left<T>(length, n, tau, {work, 1}, block(A, i, 1), work + n);
    reflect_from_right<T>(n, length, tau, {work, 1}, block(A, 1, i), work + n);
  }
}

namespace {

/// (x, y) := (c x + s y, -conj(s) x + conj(c) y) for n pairs.
template <RealScalar R>
void rotate(Int n, Vector<R> x, Vector<R> y, R c, R s) {
  blas::rot(n, x, y, c, s);
}

template <ComplexScalar T>
void rotate(Int n, Vector<T> x, Vector<T> y, T c, T s) {
  for (std::ptrdiff_t i = 0; i < n; ++i) {
    T& x_i = x.data[i * x.inc];
    T& y_i = y.data[i * y.inc];
    const T rotated = c * x_i + s * y_i;
    y_i = conjugate(c) * y_i - conjugate(s) * x_i;
    x_i = rotated;
  }
}

}  // namespace

template <Scalar T>
void larot(Logical lrows, Logical lleft, Logical lright, Int nl, T c, T s, T* a, Int lda, T& xleft, T& xright) {
  const bool by_rows = is_true(lrows), left = is_true(lleft), right = is_true(lright);
  const Int ends = Int{left} + Int{right};
  if (nl < ends) return report_bad_argument<T>("LAROT", -4);
  if (lda <= 0 || (!by_rows && lda < nl - ends)) return report_bad_argument<T>("LAROT", -8);

  const Int along = by_rows ? lda : 1, across = by_rows ? 1 : lda;
  // With a left end the first element of the first row has its partner in xleft, and both rows go on one step later.
  T* const x = left ? a + along : a;
  T* const y = left ? a + std::ptrdiff_t{1} + lda : a + across;
  T* const last = a + across + std::ptrdiff_t{nl - 1} * along;
  rotate<T>(nl - ends, {x, along}, {y, along}, c, s);
  if (left) rotate<T>(1, {a, 1}, {&xleft, 1}, c, s);
  if (right) rotate<T>(1, {&xright, 1}, {last, 1}, c, s);
}

}  // namespace nuv

#include "generators/random_orthogonal.entries.inc"
