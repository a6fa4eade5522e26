#pragma once

// Rotations of neighbouring rows of a general band matrix, or of its columns as the rows of its transpose, which chase
// elements off the band, many at once.

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <utility>

#include "environment/hermitian.hpp"
#include "svd/vector_rotations.hpp"

namespace nuv {

/// Rotations of lines p - 1 and p that have nothing in common, for p = first, first + spacing, ...
struct LineWave {
  Int first, count;
};

/// The rows of a band matrix, or its columns.
template <class T>
struct BandLines {
  T* first;    ///< element (1, 1)
  Int down;    ///< from an element to the same of the next line
  Int across;  ///< from an element to the next of its line
  Int lines;   ///< not counting those that are zero
  Int length;  ///< of a line, likewise
  Int below;   ///< elements of a line in front of the diagonal,
  Int above;   ///< and behind it

  T* at(Int i, Int j) const { return first + (i - std::ptrdiff_t{1}) * down + (j - std::ptrdiff_t{1}) * across; }

  /// A line from element (i, j) on.
  Vector<T> line(Int i, Int j) const { return {at(i, j), across}; }
};

/// Vectors, one for each line, that are rotated with the lines: those of a matrix that is multiplied from the left, or
/// the columns of one that is multiplied by the adjoints from the right.
template <Scalar T>
struct Companions {
  T* first;
  Int to_next;  ///< from one vector to the next
  Int inc;
  Int size;      ///< of each vector; zero where there are none
  bool adjoint;  ///< the latter

  Vector<T> vector(Int p) const { return {first + (p - std::ptrdiff_t{1}) * to_next, inc}; }

  void rotate(Int p, Int q, Real<T> c, T s) const {
    if (size > 0) blas::rot(size, vector(p), vector(q), c, adjoint ? conjugate(s) : s);
  }

  /// Line p is multiplied by the conjugate of a phase.
  void turn(Int p, T phase) const {
    if (size > 0) blas::scal(size, adjoint ? phase : conjugate(phase), vector(p));
  }
};

/// A rotation of lines p - 1 and p annihilates element (p, p - below - 1), which is in front of the band, and brings
/// element (p - 1, p + above) behind it into being, which is the transpose's to annihilate. Such an element is kept
/// with the sine that is to come of it, in place p of the rows or p + above of the columns.
template <Scalar T>
class LineRotations {
  using R = Real<T>;

 public:
  /// c, s   an element for each row or column: cosines and sines, for both sides
  LineRotations(const BandLines<T>& A, R* c, T* s, std::initializer_list<Companions<T>> companions)
      : A_(A), c_(c), s_(s), companions_(companions) {}

  const BandLines<T>& lines() const { return A_; }
  Int spacing() const { return A_.below + A_.above + 1; }
  T& sine(Int p) const { return s_[p - 1]; }
  R& cosine(Int p) const { return c_[p - 1]; }

  /// Annihilates element (p, j) of the band by line p - 1, and rotates what stands behind it in both.
  void start(Int p, Int j) const {
    sine(p) = std::exchange(*A_.at(p, j), T(0));
    largv(1, A_.at(p - 1, j), 1, &sine(p), 1, &cosine(p), 1);
    rotate_line(p, j + 1);
  }

  /// Annihilates the elements in front of the band, and rotates what stands in it in both lines.
  void annihilate_outside(const LineWave& wave) const {
    if (wave.count <= 0) return;
    in_vectors(wave, [&](Int p, Int count, Int step) {
      largv(count, A_.at(p - 1, p - A_.below - 1), step, &sine(p), spacing(), &cosine(p), spacing());
    });
    // A wave that is so much longer than what each of its rotations has to do, which lies closer together, is better
    // taken an element of each at a time.
    if (wave.count > std::int64_t{2} * (A_.below + A_.above)) {
      for (Int j = -A_.below; j < A_.above; ++j) rotate_pairs(within_length(wave, j), j);
    } else {
      for_each(wave, [&](Int p) { rotate_line(p, p - A_.below); });
    }
  }

  /// Rotates what goes with the lines.
  void rotate_companions(const LineWave& wave) const {
    for (const Companions<T>& one : companions_) {
      if (one.size == 0) continue;
      for_each(wave, [&](Int p) { one.rotate(p - 1, p, cosine(p), sine(p)); });
    }
  }

  /// Brings the elements behind the band into being, where lines reach so far. The rotations of the other side that are
  /// to annihilate them are returned.
  LineWave leave_band(const LineWave& wave) const {
    const LineWave leaving = within_length(wave, A_.above);
    for_each(leaving, [&](Int p) {
      T& beside = *A_.at(p, p + A_.above);
      sine(p + A_.above) = sine(p) * beside;
      beside *= cosine(p);
    });
    return {wave.first + A_.above, leaving.count};
  }

  /// Multiplies line p by the conjugate of a phase, but for its own elements.
  void turn_companions(Int p, T phase) const {
    for (const Companions<T>& one : companions_) one.turn(p, phase);
  }

 private:
  /// At most one matrix goes with the columns, two with the rows.
  struct CompanionList {
    Companions<T> all[2] = {};
    Int count = 0;

    CompanionList(std::initializer_list<Companions<T>> list) {
      for (const Companions<T>& one : list) all[count++] = one;
    }
    const Companions<T>* begin() const { return all; }
    const Companions<T>* end() const { return all + count; }
  };

  template <class Visit>
  void for_each(const LineWave& wave, Visit visit) const {
    for (Int l = 0; l < wave.count; ++l) visit(wave.first + l * spacing());
  }

  /// Those of a wave whose lines have an element p + j.
  LineWave within_length(const LineWave& wave, Int j) const {
    const Int room = A_.length - j - wave.first;
    return {wave.first, room < 0 ? 0 : std::min(wave.count, room / spacing() + 1)};
  }

  /// Rotates lines p - 1 and p from column `from` to the end of the band.
  void rotate_line(Int p, Int from) const {
    const Int count = std::min(p + A_.above - 1, A_.length) - from + 1;
    if (count > 0) blas::rot(count, A_.line(p - 1, from), A_.line(p, from), cosine(p), sine(p));
  }

  /// Rotates elements p + j of lines p - 1 and p.
  void rotate_pairs(const LineWave& wave, Int j) const {
    if (wave.count <= 0) return;
    in_vectors(wave, [&](Int p, Int count, Int step) {
      blas::lartv(count, {A_.at(p - 1, p + j), step}, {A_.at(p, p + j), step}, &cosine(p), &sine(p), spacing());
    });
  }

  /// apply(p, count, step) for all rotations at once, or for one after the other where kernels can't step so far.
  template <class Apply>
  void in_vectors(const LineWave& wave, Apply apply) const {
    const std::ptrdiff_t step = std::ptrdiff_t{spacing()} * (std::ptrdiff_t{A_.down} + A_.across);
    if (step > std::numeric_limits<Int>::max()) return for_each(wave, [&](Int p) { apply(p, 1, 1); });
    apply(wave.first, wave.count, static_cast<Int>(step));
  }

  BandLines<T> A_;
  R* c_;
  T* s_;
  CompanionList companions_;
};

}  // namespace nuv
