#include "svd/bidiagonal_sweeps.hpp"

#include "svd/sweep_rotation.hpp"

namespace nuv {
namespace {

template <RealScalar R>
struct Rotation {
  R c, s;
};

/// Takes (f, g) to (r, 0).
template <RealScalar R>
[[gnu::always_inline]] inline Rotation<R> annihilate(R f, R g, R& r) {
  Rotation<R> rotation;
  rotation_of_sweep<Normalised::by_reciprocal>(f, g, rotation.c, rotation.s, r);
  return rotation;
}

/// A bidiagonal matrix in the order in which a sweep goes through it: D(k) and E(k) are counted from where it begins.
/// From bottom to top the matrix is the transpose of what a sweep from top to bottom sees.
template <bool downwards, RealScalar R>
struct SweptMatrix {
  Int n;  ///< rotations of each kind, one less than the order
  R *d, *e;
  R* store;
  Int ldst;
  std::ptrdiff_t second;  ///< from the place of the first rotations to that of the second

  SweptMatrix(Int n_, R* d_, R* e_, R* store_, Int ldst_, Int off)
      : n(n_), d(d_), e(e_), store(store_), ldst(ldst_), second(2 * std::ptrdiff_t{ldst_} * off) {}

  Int place(Int k) const { return downwards ? k - 1 : n - k; }
  R& D(Int k) const { return d[downwards ? k - 1 : n + 1 - k]; }
  R& E(Int k) const { return e[place(k)]; }

  /// The element behind the last step. Where there was no step there is none, but that from bottom to top it has a
  /// place.
  void set_last(R value) const {
    if (n > 0 || !downwards) E(n) = value;
  }

  void keep(Int k, Rotation<R> first, Rotation<R> second_one) const {
    keep_at(store + place(k), first);
    keep_at(store + place(k) + second, second_one);
  }

 private:
  void keep_at(R* to, Rotation<R> rotation) const {
    to[0] = rotation.c;
    to[ldst] = downwards ? rotation.s : negated(rotation.s);
  }
};

template <bool downwards, RealScalar R>
void sweep_with_shift(const SweptMatrix<downwards, R>& B, R shift) {
  const R first = B.D(1);
  R f = first < 0 ? (first + shift) * (1 - shift / first) : (first - shift) * (shift / first + 1);
  R g = B.n > 0 ? B.E(1) : R(0);
  for (Int k = 1; k <= B.n; ++k) {
    R r;
    const Rotation right = annihilate(f, g, r);
    if (k > 1) B.E(k - 1) = r;
    f = right.c * B.D(k) + right.s * B.E(k);
    B.E(k) = right.c * B.E(k) - right.s * B.D(k);
    g = right.s * B.D(k + 1);
    B.D(k + 1) = right.c * B.D(k + 1);

    const Rotation left = annihilate(f, g, r);
    B.D(k) = r;
    f = left.c * B.E(k) + left.s * B.D(k + 1);
    B.D(k + 1) = left.c * B.D(k + 1) - left.s * B.E(k);
    if (k < B.n) {
      g = left.s * B.E(k + 1);
      B.E(k + 1) = left.c * B.E(k + 1);
    }
    B.keep(k, right, left);
  }
  B.set_last(f);
}

template <bool downwards, RealScalar R>
void sweep_without_shift(const SweptMatrix<downwards, R>& B) {
  Rotation<R> right{1, 0}, left{1, 0};
  for (Int k = 1; k <= B.n; ++k) {
    R r;
    right = annihilate(B.D(k) * right.c, B.E(k), r);
    if (k > 1) B.E(k - 1) = left.s * r;
    left = annihilate(left.c * r, B.D(k + 1) * right.s, B.D(k));
    B.keep(k, right, left);
  }
  const R last = B.D(B.n + 1) * right.c;
  B.D(B.n + 1) = last * left.c;
  B.set_last(last * left.s);
}

}  // namespace

template <RealScalar R>
void laq1(Int count, R* d, R* e, R shift, R* store, Int ldst, Int off) {
  sweep_with_shift(SweptMatrix<true, R>(count, d, e, store, ldst, off), shift);
}

template <RealScalar R>
void laq2(Int count, R* d, R* e, R shift, R* store, Int ldst, Int off) {
  sweep_with_shift(SweptMatrix<false, R>(count - 1, d, e, store, ldst, off), shift);
}

template <RealScalar R>
void laq3(Int count, R* d, R* e, R* store, Int ldst, Int off) {
  sweep_without_shift(SweptMatrix<true, R>(count, d, e, store, ldst, off));
}

template <RealScalar R>
void laq4(Int count, R* d, R* e, R* store, Int ldst, Int off) {
  sweep_without_shift(SweptMatrix<false, R>(count - 1, d, e, store, ldst, off));
}

}  // namespace nuv

#include "svd/bidiagonal_sweeps.entries.inc"
