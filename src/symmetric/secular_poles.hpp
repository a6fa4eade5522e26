#pragma once

// What the poles of a secular equation are, given the numbers d(j).

namespace nuv {

/// The numbers themselves: eigenvalues.
struct PlainPoles {
  /// The distance of two poles, of numbers or of packs of them.
  template <class V>
  [[gnu::always_inline]] static inline V gap(V a, V b) {
    return a - b;
  }
};

/// Their squares, none of which is formed, since differences of squares would lose digits: singular values.
struct SquaredPoles {
  template <class V>
  [[gnu::always_inline]] static inline V gap(V a, V b) {
    return (a - b) * (a + b);
  }
};

}  // namespace nuv
