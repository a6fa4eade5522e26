#include "nonsymmetric/sylvester.hpp"

#include <algorithm>
#include <cmath>

#include "base/quotient.hpp"
#include "blas.hpp"
#include "environment/abs1.hpp"
#include "environment/hermitian.hpp"
#include "environment/machine_constants.hpp"
#include "environment/norms_general.hpp"
#include "frame/error_report.hpp"
#include "frame/option_matching.hpp"
#include "nonsymmetric/diagonal_blocks.hpp"
#include "nonsymmetric/small_shifted_system.hpp"
#include "nonsymmetric/small_sylvester.hpp"

namespace nuv {
namespace {

/// A triangle of order n and whether it is meant as its adjoint.
template <Scalar T>
struct Coefficient {
  Matrix<const T> S;
  Int n;
  bool is_adjoint;

  T diagonal(Int j) const { return is_adjoint ? conjugate(S(j, j)) : S(j, j); }
};

/// An equation on its way: where X is known, it has taken the place of C.
///
///     op(A) = | o o o |     known are, of a column of blocks, those below, and whole columns to the left; with A^H
///             |   o o |     those above, with B^H the columns to the right
///             |     o |
template <Scalar T>
class Substitution {
  using R = Real<T>;

 public:
  Substitution(Coefficient<T> A, Coefficient<T> B, Int isgn, Matrix<T> C)
      : A_(A), B_(B), C_(C), isgn_(isgn), sign_(R(isgn)) {
    constexpr R eps = Machine<R>::precision;
    const R least = Machine<R>::safe_min * R(std::int64_t{A.n} * B.n) / eps;
    greatest_ = 1 / least;
    R unused;
    smin_ = std::max({least, eps * lange('M', A.n, A.n, A.S.data, A.S.ld, &unused),
                      eps * lange('M', B.n, B.n, B.S.data, B.S.ld, &unused)});
  }

  void run() {
    for_each_diagonal_block(B_.S, B_.n, !B_.is_adjoint, [&](DiagonalBlock l) {
      for_each_diagonal_block(A_.S, A_.n, A_.is_adjoint, [&](DiagonalBlock k) { solve(k, l); });
    });
  }

  R scale() const { return scale_; }
  bool is_perturbed() const { return perturbed_; }

 private:
  /// What is left of C(i, j) behind the known elements of X in row i of op(A) X and in column j of X op(B), i in a
  /// block k and j in a block l.
  T right_side(DiagonalBlock k, Int i, DiagonalBlock l, Int j) const {
    const Matrix<const T> A = A_.S, B = B_.S, C = C_;
    const T left = A_.is_adjoint
                       ? inner_product<T>(true, k.first - 1, column(A, 1, i), column(C, 1, j))
                       : inner_product<T>(false, A_.n - k.last, row(A, i, k.last + 1), column(C, k.last + 1, j));
    const T right = B_.is_adjoint
                        ? conjugate(inner_product<T>(true, B_.n - l.last, row(C, i, l.last + 1), row(B, j, l.last + 1)))
                        : inner_product<T>(false, l.first - 1, row(C, i, 1), column(B, 1, j));
    return C_(i, j) - (left + sign_ * right);
  }

  void solve(DiagonalBlock k, DiagonalBlock l) {
    if constexpr (RealScalar<T>) {
      if (k.order() == 2 || l.order() == 2) return solve_small_system(k, l);
    }
    solve_single(k, l);
  }

  void solve_single(DiagonalBlock k, DiagonalBlock l) {
    const T rest = right_side(k, k.first, l, l.first);
    T divisor = A_.diagonal(k.first) + sign_ * B_.diagonal(l.first);
    R size = abs1(divisor);
    if (size < smin_) {
      divisor = T(smin_);
      size = smin_;
      perturbed_ = true;
    }
    const R rest_size = abs1(rest);
    const bool would_overflow = size < 1 && rest_size > 1 && rest_size > greatest_ * size;
    const R factor = would_overflow ? 1 / rest_size : R(1);
    const T x = quotient(rest * factor, divisor);
    scale_down(factor);
    C_(k.first, l.first) = x;
  }

  /// Blocks of which one or both are of order two.
  void solve_small_system(DiagonalBlock k, DiagonalBlock l) {
    T rest[2 * 2], x[2 * 2];
    const Matrix<T> Rest{rest, 2}, X{x, 2};
    for (Int j = l.first; j <= l.last; ++j) {
      for (Int i = k.first; i <= k.last; ++i) Rest(i - k.first + 1, j - l.first + 1) = right_side(k, i, l, j);
    }
    const R factor = k.order() == 1   ? solve_row(k, l, Rest, X)
                     : l.order() == 1 ? solve_column(k, l, Rest, X)
                                      : solve_square(k, l, Rest, X);
    scale_down(factor);
    for (Int j = l.first; j <= l.last; ++j) {
      for (Int i = k.first; i <= k.last; ++i) C_(i, j) = X(i - k.first + 1, j - l.first + 1);
    }
  }

  /// (op(A) + sign b I) x = rest
  R solve_column(DiagonalBlock k, DiagonalBlock l, Matrix<T> rest, Matrix<T> X) {
    return solve_shifted(A_.is_adjoint, A_.S.at(k.first, k.first), A_.S.ld, negated(sign_ * B_.S(l.first, l.first)),
                         rest.data, X.data);
  }

  /// (op(B)^T + sign a I) x^T = sign rest^T
  R solve_row(DiagonalBlock k, DiagonalBlock l, Matrix<T> rest, Matrix<T> X) {
    const T turned[] = {sign_ * rest(1, 1), sign_ * rest(1, 2)};
    T x[2];
    const R factor = solve_shifted(!B_.is_adjoint, B_.S.at(l.first, l.first), B_.S.ld,
                                   negated(sign_ * A_.S(k.first, k.first)), turned, x);
    X(1, 1) = x[0];
    X(1, 2) = x[1];
    return factor;
  }

  R solve_shifted(bool transposed, const T* s, Int lds, T shift, const T* rest, T* x) {
    R factor, xnorm;
    Int info;
    laln2<T>(to_logical(transposed), 2, 1, smin_, 1, s, lds, 1, 1, rest, 2, shift, 0, x, 2, factor, xnorm, info);
    perturbed_ = perturbed_ || info != 0;
    return factor;
  }

  R solve_square(DiagonalBlock k, DiagonalBlock l, Matrix<T> rest, Matrix<T> X) {
    R factor, xnorm;
    Int info;
    lasy2(to_logical(A_.is_adjoint), to_logical(B_.is_adjoint), isgn_, 2, 2, A_.S.at(k.first, k.first), A_.S.ld,
          B_.S.at(l.first, l.first), B_.S.ld, rest.data, rest.ld, factor, X.data, X.ld, xnorm, info);
    perturbed_ = perturbed_ || info != 0;
    return factor;
  }

  void scale_down(R factor) {
    if (factor == 1) return;
    for (Int j = 1; j <= B_.n; ++j) blas::scal(A_.n, factor, column(C_, 1, j));
    scale_ *= factor;
  }

  Coefficient<T> A_, B_;
  Matrix<T> C_;
  Int isgn_;
  R sign_, smin_, greatest_, scale_ = 1;
  bool perturbed_ = false;
};

template <Scalar T>
bool is_transposition(char trans) {
  return same_letter(trans, 'C') || (RealScalar<T> && same_letter(trans, 'T'));
}

}  // namespace

template <Scalar T>
void trsyl(char trana, char tranb, Int isgn, Int m, Int n, const T* a, Int lda, const T* b, Int ldb, T* c, Int ldc,
           Real<T>& scale, Int& info) {
  info = 0;
  const bool adjoint_a = is_transposition<T>(trana), adjoint_b = is_transposition<T>(tranb);
  if (!adjoint_a && !same_letter(trana, 'N')) info = -1;
  else if (!adjoint_b && !same_letter(tranb, 'N')) info = -2;
  else if (isgn != 1 && isgn != -1) info = -3;
  else if (m < 0) info = -4;
  else if (n < 0) info = -5;
  else if (lda < std::max(1, m)) info = -7;
  else if (ldb < std::max(1, n)) info = -9;
  else if (ldc < std::max(1, m)) info = -11;
  if (info != 0) return report_bad_argument<T>("TRSYL", info);
  scale = 1;
  if (m == 0 || n == 0) return;

  Substitution<T> substitution({{a, lda}, m, adjoint_a}, {{b, ldb}, n, adjoint_b}, isgn, {c, ldc});
  substitution.run();
  scale = substitution.scale();
  info = substitution.is_perturbed() ? 1 : 0;
}

}  // namespace nuv

#include "nonsymmetric/sylvester.entries.inc"
