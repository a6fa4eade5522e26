#pragma once

// Rotations of neighbouring rows and columns that chase elements off a Hermitian band, many at once (L. Kaufman,
// "Banded eigenvalue solvers on vector machines", ACM Trans. Math. Softw. 10, 1984).

#include <algorithm>
#include <limits>
#include <utility>

#include "environment/hermitian.hpp"
#include "svd/vector_rotations.hpp"
#include "symmetric/band_half.hpp"

namespace nuv {

/// Rotations that have nothing in common: those of planes (p - 1, p) for p = first, first + kd + 1, ...
struct Wave {
  Int first, count;
};

/// A rotation of plane (p - 1, p) annihilates an element (p, p - kd - 1), and brings another one outside of the band
/// into being, (p + kd, p - 1). Before it is annihilated such an element is kept with the sine that is to come of it,
/// s(p).
template <Scalar T>
class BandRotations {
  using R = Real<T>;

 public:
  /// L      with kd >= 1 diagonals below the main one
  /// c, s   n elements of workspace: the cosine and the sine of the rotation of plane (p - 1, p) in place p - shift
  BandRotations(const BandHalf<T>& L, Int n, Int kd, R* c, T* s, Int shift = 0)
      : L_(L), n_(n), kd_(kd), c_(c), s_(s), shift_(shift) {}

  /// Distance between two rotations of a wave.
  Int spacing() const { return kd_ + 1; }

  /// All from plane (first - 1, first) on.
  Wave wave_from(std::int64_t first) const {
    if (first > n_) return {n_, 0};
    return {static_cast<Int>(first), (n_ - static_cast<Int>(first)) / spacing() + 1};
  }

  R& cosine(Int p) const { return c_[place(p)]; }
  T& sine(Int p) const { return s_[place(p)]; }

  template <class Visit>
  void for_each(const Wave& wave, Visit visit) const {
    for (Int l = 0; l < wave.count; ++l) visit(wave.first + l * spacing());
  }

  /// Makes the rotation that annihilates element (p, j) of the band.
  void annihilate(Int p, Int j) const {
    sine(p) = std::exchange(L_(p, j), T(0));
    largv(1, L_.at(p - 1, j), 1, &sine(p), 1, &cosine(p), 1);
  }

  /// Rotates rows p - 1 and p in columns from ... to.
  void rotate_rows(Int p, Int from, Int to) const {
    rotate(to - from + 1, L_.row(p - 1, from), L_.row(p, from), cosine(p), sine(p));
  }

  /// Annihilates the elements outside of the band, and rotates their rows and those above up to the diagonal.
  void annihilate_outside(const Wave& wave) const {
    in_vectors(wave, [&](Int p, Int count, Int step) {
      largv(count, L_.at(p - 1, p - kd_ - 1), step, &sine(p), spacing(), &cosine(p), spacing());
    });
    if (is_long(wave, kd_ - 1)) {
      for (Int j = kd_; j >= 2; --j) {
        rotate_pairs(wave, [&](Int p) { return std::pair{L_.at(p - 1, p - j), L_.at(p, p - j)}; });
      }
    } else {
      for_each(wave, [&](Int p) { rotate_rows(p, p - kd_, p - 2); });
    }
  }

  /// Rotates the planes themselves. From the right it is the adjoints of the rotations that are applied: from now on
  /// these are what is kept.
  void rotate_diagonals(const Wave& wave) const {
    in_vectors(wave, [&](Int p, Int count, Int step) {
      lar2v(count, L_.at(p - 1, p - 1), L_.at(p, p), L_.at(p, p - 1), step, &cosine(p), &sine(p), spacing());
      conjugate_vector(count, Vector<T>{&sine(p), spacing()});
    });
  }

  /// Rotates columns p - 1 and p in rows p + from ... p + to.
  void rotate_columns(const Wave& wave, Int from, Int to) const {
    if (is_long(wave, to - from + 1)) {
      for (Int j = from; j <= to; ++j) {
        const Wave in_place{wave.first, last(wave) + j <= n_ ? wave.count : wave.count - 1};
        rotate_pairs(in_place, [&](Int p) { return std::pair{L_.at(p + j, p - 1), L_.at(p + j, p)}; });
      }
    } else {
      for_each(wave, [&](Int p) {
        const Int bottom = std::min(to, n_ - p);
        rotate(bottom - from + 1, L_.column(p + from, p - 1), L_.column(p + from, p), cosine(p), sine(p));
      });
    }
  }

  /// Whether a rotation of plane (p - 1, p) makes an element outside of the band.
  bool leaves_band(Int p) const { return p + kd_ <= n_; }

  /// Element (p + kd, p - 1), so far zero, comes into being.
  void leave_band(Int p) const {
    pass_on(p);
    enter(p + kd_);
  }

  /// The same in two steps: the rotation is kept in the place of the one that is to come of it,
  void pass_on(Int p) const {
    cosine(p + kd_) = cosine(p);
    sine(p + kd_) = sine(p);
  }
  /// from where it makes element (p, p - kd - 1).
  void enter(Int p) const {
    T& beside = L_(p, p - kd_);
    sine(p) *= beside;
    beside *= cosine(p);
  }

 private:
  bool goes_back() const { return L_.down < 0; }

  /// Kernels go forward in memory. So cosines and sines lie in the order in which the band does.
  std::ptrdiff_t place(Int p) const { return goes_back() ? n_ - (p - shift_) : p - shift_ - 1; }

  Int last(const Wave& wave) const { return wave.first + (wave.count - 1) * spacing(); }

  /// Distance of their elements in memory.
  std::ptrdiff_t stride() const { return std::ptrdiff_t{spacing()} * std::abs(std::ptrdiff_t{L_.down} + L_.across); }

  /// Whether a wave is so much longer than what each of its rotations has to do, which lies closer together, that they
  /// are better taken together than one by one.
  static bool is_long(const Wave& wave, Int each) { return wave.count > std::int64_t{2} * each; }

  /// apply(p, count, step) for all rotations at once, of which that of plane (p - 1, p) is the first in memory, or for
  /// one after the other where kernels can't step so far.
  template <class Apply>
  void in_vectors(const Wave& wave, Apply apply) const {
    if (wave.count <= 0) return;
    if (stride() > std::numeric_limits<Int>::max()) return for_each(wave, [&](Int p) { apply(p, 1, 1); });
    apply(goes_back() ? last(wave) : wave.first, wave.count, static_cast<Int>(stride()));
  }

  /// Rotates, for each p, a pair of elements.
  template <class Pair>
  void rotate_pairs(const Wave& wave, Pair pair) const {
    in_vectors(wave, [&](Int p, Int count, Int step) {
      const auto [x, y] = pair(p);
      blas::lartv(count, {x, step}, {y, step}, &cosine(p), &sine(p), spacing());
    });
  }

  static void rotate(Int count, Vector<T> x, Vector<T> y, R c, T s) {
    if (count > 0) blas::rot(count, forward(count, x), forward(count, y), c, s);
  }

  BandHalf<T> L_;
  Int n_, kd_;
  R* c_;
  T* s_;
  Int shift_;
};

}  // namespace nuv
