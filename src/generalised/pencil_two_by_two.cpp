#include "generalised/pencil_two_by_two.hpp"

#include <algorithm>
#include <cmath>

#include "base/matrix.hpp"
#include "environment/machine_constants.hpp"
#include "environment/service_math.hpp"
#include "environment/sums_of_squares.hpp"
#include "environment/two_by_two.hpp"
#include "generalised/pencil_rotations.hpp"

namespace nuv {
namespace {

/// The one-norm of a matrix of order two, or `least` if it is smaller.
template <RealScalar R>
R one_norm_of_two(Matrix<const R> A, R least) {
  return std::max({std::abs(A(1, 1)) + std::abs(A(2, 1)), std::abs(A(1, 2)) + std::abs(A(2, 2)), least});
}

/// Eigenvalues of A - lambda B, both scaled to about one.
template <RealScalar R>
struct ScaledValues {
  R wr1, wr2, wi;
};

/// A pencil of order two with A scaled to norm one and the diagonal of B to a largest element of one.
template <RealScalar R>
struct ScaledPencil {
  R safmin, rtmin, rtmax;
  R ascale;  ///< A was multiplied by this
  R bsize;   ///< the larger diagonal element of B, by which B was divided
  R bnorm;   ///< norm of B as it was
  R a11, a21, a12, a22, b11, b12, b22;

  ScaledPencil(Matrix<const R> A, Matrix<const R> B, R safmin_)
      : safmin(safmin_), rtmin(std::sqrt(safmin)), rtmax(1 / rtmin), ascale(1 / one_norm_of_two(A, safmin)) {
    a11 = ascale * A(1, 1);
    a21 = ascale * A(2, 1);
    a12 = ascale * A(1, 2);
    a22 = ascale * A(2, 2);

    // B is made to be safely nonsingular.
    b11 = B(1, 1);
    b12 = B(1, 2);
    b22 = B(2, 2);
    const R bmin = rtmin * std::max({std::abs(b11), std::abs(b12), std::abs(b22), rtmin});
    if (std::abs(b11) < bmin) b11 = sign(bmin, b11);
    if (std::abs(b22) < bmin) b22 = sign(bmin, b22);
    bnorm = std::max({std::abs(b11), std::abs(b12) + std::abs(b22), safmin});
    bsize = std::max(std::abs(b11), std::abs(b22));
    const R bscale = 1 / bsize;
    b11 *= bscale;
    b12 *= bscale;
    b22 *= bscale;
  }

  /// From the matrix A B^-1 less the smaller one of the quotients of diagonal elements, which the one element of A
  /// below the diagonal moves least (C. F. Van Loan, "A general matrix eigenvalue algorithm", SIAM J. Numer. Anal. 12,
  /// 1975).
  ScaledValues<R> values() const {
    const R binv11 = 1 / b11, binv22 = 1 / b22;
    const R s1 = a11 * binv11, s2 = a22 * binv22;
    const R ss = a21 * (binv11 * binv22);
    R abi22, pp, shift, as12;
    if (std::abs(s1) <= std::abs(s2)) {
      as12 = a12 - s1 * b12;
      const R as22 = a22 - s1 * b22;
      abi22 = as22 * binv22 - ss * b12;
      pp = R(0.5) * abi22;
      shift = s1;
    } else {
      as12 = a12 - s2 * b12;
      const R as11 = a11 - s2 * b11;
      abi22 = negated(ss * b12);
      pp = R(0.5) * (as11 * binv11 + abi22);
      shift = s2;
    }
    const Root root(*this, pp, ss * as12);
    // A discriminant that is negative, but whose root has vanished, is as good as zero.
    if (!(root.discriminant >= 0 || root.size == 0)) return {shift + pp, shift + pp, root.size};

    const R signed_root = sign(root.size, pp);
    const R wbig = shift + (pp + signed_root);
    R wsmall = shift + (pp - signed_root);
    if (R(0.5) * std::abs(wbig) > std::max(std::abs(wsmall), safmin)) {
      wsmall = (a11 * a22 - a12 * a21) * (binv11 * binv22) / wbig;
    }
    const R low = std::min(wbig, wsmall), high = std::max(wbig, wsmall);
    return pp > abi22 ? ScaledValues<R>{low, high, R(0)} : ScaledValues<R>{high, low, R(0)};
  }

 private:
  /// The discriminant pp^2 + qq, scaled if it must be, and the root of its magnitude.
  struct Root {
    R discriminant, size;

    Root(const ScaledPencil& pencil, R pp, R qq) {
      const R safmin = pencil.safmin, rtmin = pencil.rtmin, rtmax = pencil.rtmax;
      if (std::abs(pp * rtmin) >= 1) {
        discriminant = (rtmin * pp) * (rtmin * pp) + qq * safmin;
        size = std::sqrt(std::abs(discriminant)) * rtmax;
      } else if (pp * pp + std::abs(qq) <= safmin) {
        discriminant = (rtmax * pp) * (rtmax * pp) + qq * (1 / safmin);
        size = std::sqrt(std::abs(discriminant)) * rtmin;
      } else {
        discriminant = pp * pp + qq;
        size = std::sqrt(std::abs(discriminant));
      }
    }
  };
};

/// What an eigenvalue w of the scaled pencil is divided by, so that in s A - w B with the scale s that belongs to it
/// nothing overflows, s A and w B themselves don't, s does not underflow, and the larger of s and |w| is not tiny.
template <RealScalar R>
class EigenvalueScale {
 public:
  explicit EigenvalueScale(const ScaledPencil<R>& p)
      : safmin_(p.safmin),
        larger_(std::max(p.ascale, p.bsize)),
        smaller_(std::min(p.ascale, p.bsize)),
        s_a_(p.bsize * (safmin_ * std::max(R(1), p.ascale))),
        w_b_(safmin_ * std::max(R(1), p.bnorm)),
        difference_(p.bsize * safmin_),
        no_underflow_(p.ascale <= 1 && p.bsize <= 1 ? std::min(R(1), (p.ascale / safmin_) * p.bsize) : R(1)),
        not_tiny_(p.ascale <= 1 || p.bsize <= 1 ? std::min(R(1), p.ascale * p.bsize) : R(1)) {}

  /// Finds 1 / (the divisor) for an eigenvalue of that size, and the scale s.
  R factor(R size, R& scale) const {
    constexpr R a_little_more = R(1.00001);
    const R divisor = std::max({safmin_, s_a_, a_little_more * (size * w_b_ + difference_),
                                std::min(no_underflow_, R(0.5) * std::max(size, not_tiny_))});
    if (divisor == 1) {
      scale = larger_ * smaller_;
      return 1;
    }
    const R inverse = 1 / divisor;
    scale = divisor > 1 ? (larger_ * inverse) * smaller_ : (smaller_ * inverse) * larger_;
    return inverse;
  }

 private:
  R safmin_, larger_, smaller_;
  R s_a_, w_b_, difference_, no_underflow_, not_tiny_;  ///< bounds, by what each of them is for
};

}  // namespace

template <RealScalar T>
void lag2(const T* a, Int lda, const T* b, Int ldb, T safmin, T& scale1, T& scale2, T& wr1, T& wr2, T& wi) {
  const ScaledPencil<T> pencil({a, lda}, {b, ldb}, safmin);
  const ScaledValues<T> w = pencil.values();
  const EigenvalueScale<T> scale(pencil);

  const T factor = scale.factor(std::abs(w.wr1) + std::abs(w.wi), scale1);
  wr1 = w.wr1 * factor;
  wi = w.wi * factor;
  if (w.wi != 0) {
    wr2 = wr1;
    scale2 = scale1;
  } else {
    wr2 = w.wr2 * scale.factor(std::abs(w.wr2), scale2);
  }
}

namespace {

/// A pencil of order two, scaled to norm one, on its way to its Schur form by a rotation from each side.
template <RealScalar R>
struct PencilOfTwo {
  using Rotation = PlaneRotation<R>;

  Matrix<R> A, B;
  R anorm, bnorm;
  Rotation left{1, 0}, right{1, 0};

  PencilOfTwo(Matrix<R> A_, Matrix<R> B_) : A(A_), B(B_), anorm(one_norm_of_two(Matrix<const R>(A), safmin)) {
    B(2, 1) = 0;
    bnorm = one_norm_of_two(Matrix<const R>(B), safmin);
    scale(A, 1 / anorm);
    scale(B, 1 / bnorm);
  }

  void unscale() const {
    scale(A, anorm);
    scale(B, bnorm);
  }

  /// True if the pencil has conjugate eigenvalues, of which wr and wi are then s times the parts, s `scale`.
  bool reduce(R& scale, R& wr, R& wi) {
    wi = 0;
    if (std::abs(A(2, 1)) <= ulp) {
      A(2, 1) = 0;
      return false;
    }
    if (std::abs(B(1, 1)) <= ulp) {
      left = Rotation::annihilate(A(1, 1), A(2, 1));
      left.turn_rows(A, 1, 2, 2);
      left.turn_rows(B, 1, 1, 2);
      B(1, 1) = 0;
      B(2, 1) = 0;
      return false;
    }
    if (std::abs(B(2, 2)) <= ulp) {
      R f = A(2, 2), g = A(2, 1);
      turn_columns(Rotation::annihilate(f, g));
      A(2, 1) = 0;
      B(2, 1) = 0;
      B(2, 2) = 0;
      return false;
    }
    R scale2, wr2;
    lag2(A.data, A.ld, B.data, B.ld, safmin, scale, scale2, wr, wr2, wi);
    if (wi == 0) split(scale, wr);
    else diagonalise_b();
    return wi != 0;
  }

 private:
  static constexpr R safmin = Machine<R>::safe_min, ulp = Machine<R>::precision;

  static void scale(Matrix<R> M, R factor) {
    for (Int j = 1; j <= 2; ++j) {
      for (Int i = 1; i <= 2; ++i) M(i, j) *= factor;
    }
  }

  /// Turns columns by a rotation that takes elements (2, 2) and (2, 1) of a matrix to (r, 0).
  void turn_columns(const Rotation& rotation) {
    right = {rotation.c, negated(rotation.s)};
    for (const Matrix<R>& M : {A, B}) turn_columns(M);
  }

  void turn_columns(Matrix<R> M) const {
    for (Int i = 1; i <= 2; ++i) {
      const R x = M(i, 1), y = M(i, 2);
      M(i, 1) = right.c * x + right.s * y;
      M(i, 2) = right.c * y - right.s * x;
    }
  }

  static R infinity_norm(Matrix<R> M) {
    return std::max(std::abs(M(1, 1)) + std::abs(M(1, 2)), std::abs(M(2, 1)) + std::abs(M(2, 2)));
  }

  /// For a real eigenvalue wr / s: the first column is turned to where s A - wr B vanishes, which the larger row of
  /// this matrix tells best.
  void split(R s, R wr) {
    const R h11 = s * A(1, 1) - wr * B(1, 1), h12 = s * A(1, 2) - wr * B(1, 2);
    const R h21 = s * A(2, 1), h22 = s * A(2, 2) - wr * B(2, 2);
    const bool first_row = lapy2(h11, h12) >= lapy2(h21, h22);
    R f = first_row ? h12 : h22, g = first_row ? h11 : h21;
    turn_columns(Rotation::annihilate(f, g));

    // Now s a = wr b for the first columns a and b, so that one rotation of rows serves both. It is read where the
    // column is longer beside the norm of its matrix, and rounding errors are less: |b| / |B| >= |a| / |A| just where
    // s |A| >= |wr| |B|.
    const Matrix<R>& which = s * infinity_norm(A) >= std::abs(wr) * infinity_norm(B) ? B : A;
    f = which(1, 1);
    g = which(2, 1);
    left = Rotation::annihilate(f, g);
    left.turn_rows(A, 1, 1, 2);
    left.turn_rows(B, 1, 1, 2);
    A(2, 1) = 0;
    B(2, 1) = 0;
  }

  void diagonalise_b() {
    R ssmin, ssmax;
    lasv2(B(1, 1), B(1, 2), B(2, 2), ssmin, ssmax, right.s, right.c, left.s, left.c);
    for (const Matrix<R>& M : {A, B}) {
      left.turn_rows(M, 1, 1, 2);
      turn_columns(M);
    }
    B(2, 1) = 0;
    B(1, 2) = 0;
  }
};

}  // namespace

template <RealScalar T>
void lagv2(T* a, Int lda, T* b, Int ldb, T* alphar, T* alphai, T* beta, T& csl, T& snl, T& csr, T& snr) {
  PencilOfTwo<T> pencil({a, lda}, {b, ldb});
  T scale, wr, wi;
  const bool are_conjugate = pencil.reduce(scale, wr, wi);
  pencil.unscale();
  csl = pencil.left.c;
  snl = pencil.left.s;
  csr = pencil.right.c;
  snr = pencil.right.s;
  if (are_conjugate) {
    alphar[0] = alphar[1] = pencil.anorm * wr / scale / pencil.bnorm;
    alphai[0] = pencil.anorm * wi / scale / pencil.bnorm;
    alphai[1] = negated(alphai[0]);
    beta[0] = beta[1] = 1;
    return;
  }
  for (Int i = 1; i <= 2; ++i) {
    alphar[i - 1] = pencil.A(i, i);
    alphai[i - 1] = 0;
    beta[i - 1] = pencil.B(i, i);
  }
}

}  // namespace nuv

#include "generalised/pencil_two_by_two.entries.inc"
