#include <algorithm>

#include "kernels/special/elements.hpp"

namespace nuv::kernels::inline NUV_ISA {
namespace {

enum class Pivot { variable, top, bottom };

/// How a sweep of rotations walks down or up the rows.
///
/// Rotation r of 0 ... m-2 takes rows x above y to c x + s y and c y - s x. One of the two rows is in the plane of the
/// next rotation too, and is carried there in registers; the other one is read, rotated and written. With a variable
/// pivot the carried row becomes the other one after each rotation.
template <Pivot pivot, bool forward>
struct Sweep {
  static constexpr bool is_forward = forward;
  static constexpr bool carries_upper = pivot == Pivot::top || (pivot == Pivot::variable && forward);
  static constexpr bool writes_upper = pivot == Pivot::bottom || (pivot == Pivot::variable && forward);

  /// Rows, counted from zero, that rotation r reads and writes.
  static constexpr int read_offset = carries_upper ? 1 : 0;
  static constexpr int write_offset = writes_upper ? 0 : 1;

  /// Rows that the carried one is taken from before the first rotation, and goes to after the last.
  static Int first_row(Int m) { return carries_upper ? 0 : m - 1; }
  static Int last_row(Int m) { return (pivot == Pivot::variable) == carries_upper ? m - 1 : 0; }
};

template <RealScalar R>
bool is_identity(R c, R s) {
  return c == R(1) && s == R(0);
}

/// One rotation: `other` comes in as the row that is read and goes out as the one that is written. An identity is to
/// leave everything as it is, infinities included.
template <class Order, bool has_identities, RealScalar R>
[[gnu::always_inline]] inline void rotate(R c, R s, Simd<R>& carried, Simd<R>& other) {
  const Simd<R> x = Order::carries_upper ? carried : other;
  const Simd<R> y = Order::carries_upper ? other : carried;
  Simd<R> upper = x, lower = y;
  if (!has_identities || !is_identity(c, s)) {
    const Simd<R> cosine = simd::broadcast(c), sine = simd::broadcast(s);
    upper = simd::fma(sine, y, cosine * x);
    lower = simd::fnma(sine, x, cosine * y);
  }
  other = Order::writes_upper ? upper : lower;
  carried = Order::writes_upper ? lower : upper;
}

/// A few columns of A, one for each element of a vector.
template <Scalar T>
class Strip {
 public:
  static constexpr int width = elements_per_vector<T>;

  /// count   columns there are, at most `width`; what lies behind the last is the last again, and is not written
  Strip(T* first, Int lda, int count) : count_(count) {
#pragma GCC unroll 16
    for (int j = 0; j < width; ++j) column_[j] = first + std::ptrdiff_t{lda} * std::min(j, count - 1);
  }

  Simd<Real<T>> load_row(Int i) const {
    T row[width];
    for (int j = 0; j < width; ++j) row[j] = column_[j][i];
    return load_elements(row);
  }
  void store_row(Int i, Simd<Real<T>> x) const {
    T row[width];
    store_elements(row, x);
    for (int j = 0; j < count_; ++j) column_[j][i] = row[j];
  }

  /// Rotations r to r + height, 0 < height <= width, whose rows pass through the registers as one square.
  template <class Order, bool has_identities>
  [[gnu::always_inline]] void rotate_rows(Int r, int height, const Real<T>* c, const Real<T>* s,
                                          Simd<Real<T>>& carried) const {
    const bool is_whole = height == width;
    Simd<Real<T>> row[width];
#pragma GCC unroll 16
    for (int j = 0; j < width; ++j) {
      const T* const from = column_[j] + r + Order::read_offset;
      row[j] = is_whole ? load_elements(from) : load_elements(from, height);
    }
    transpose<T>(row);
#pragma GCC unroll 16
    for (int k = 0; k < width; ++k) {
      const int i = Order::is_forward ? k : width - 1 - k;
      if (is_whole || i < height) rotate<Order, has_identities>(c[r + i], s[r + i], carried, row[i]);
    }
    transpose<T>(row);
#pragma GCC unroll 16
    for (int j = 0; j < width; ++j) {
      if (j == count_) break;
      T* const to = column_[j] + r + Order::write_offset;
      if (is_whole) {
        store_elements(to, row[j]);
      } else {
        store_elements(to, row[j], height);
      }
    }
  }

 private:
  T* column_[width];
  int count_;
};

template <class Order, bool has_identities, Scalar T>
void rotate_strip(Strip<T> strip, Int m, const Real<T>* c, const Real<T>* s) {
  constexpr int width = Strip<T>::width;
  const Int rotations = m - 1;
  const int rest = static_cast<int>(rotations % width);
  Simd<Real<T>> carried = strip.load_row(Order::first_row(m));
  if (Order::is_forward) {
    Int r = 0;
    for (; r + width <= rotations; r += width) {
      strip.template rotate_rows<Order, has_identities>(r, width, c, s, carried);
    }
    if (rest > 0) strip.template rotate_rows<Order, has_identities>(r, rest, c, s, carried);
  } else {
    Int r = rotations;
    for (; r >= width; r -= width) {
      strip.template rotate_rows<Order, has_identities>(r - width, width, c, s, carried);
    }
    if (rest > 0) strip.template rotate_rows<Order, has_identities>(0, rest, c, s, carried);
  }
  strip.store_row(Order::last_row(m), carried);
}

/// A := P A for the m - 1 rotations of a sweep, A m by n. Every element of A is read and written once.
template <class Order, Scalar T>
void apply(Int m, Int n, const Real<T>* c, const Real<T>* s, T* a, Int lda) {
  if (m <= 1 || n <= 0) return;
  bool has_identities = false;
  for (Int r = 0; r < m - 1; ++r) has_identities |= is_identity(c[r], s[r]);
  for (Int j = 0; j < n; j += Strip<T>::width) {
    const Strip<T> strip(a + std::ptrdiff_t{j} * lda, lda, static_cast<int>(std::min<Int>(Strip<T>::width, n - j)));
    if (has_identities) {
      rotate_strip<Order, true>(strip, m, c, s);
    } else {
      rotate_strip<Order, false>(strip, m, c, s);
    }
  }
}

}  // namespace

/// A := P A for an m by n matrix, lda >= max(1, m), and m - 1 plane rotations (c[r], s[r]). Rotations with c = 1 and
/// s = 0 touch nothing. Here rotation r turns rows r and r + 1, in rising order.
template <Scalar T>
void lasr_lvf(Int m, Int n, const Real<T>* c, const Real<T>* s, T* a, Int lda) {
  apply<Sweep<Pivot::variable, true>>(m, n, c, s, a, lda);
}

/// Rows r and r + 1, in falling order; rotation (c[r], s[r]).
template <Scalar T>
void lasr_lvb(Int m, Int n, const Real<T>* c, const Real<T>* s, T* a, Int lda) {
  apply<Sweep<Pivot::variable, false>>(m, n, c, s, a, lda);
}

/// The first row and row r + 1, in rising order; rotation (c[r], s[r]).
template <Scalar T>
void lasr_ltf(Int m, Int n, const Real<T>* c, const Real<T>* s, T* a, Int lda) {
  apply<Sweep<Pivot::top, true>>(m, n, c, s, a, lda);
}

/// The first row and row r + 1, in falling order; rotation (c[r], s[r]).
template <Scalar T>
void lasr_ltb(Int m, Int n, const Real<T>* c, const Real<T>* s, T* a, Int lda) {
  apply<Sweep<Pivot::top, false>>(m, n, c, s, a, lda);
}

/// Row r and the last one, in rising order; rotation (c[r], s[r]).
template <Scalar T>
void lasr_lbf(Int m, Int n, const Real<T>* c, const Real<T>* s, T* a, Int lda) {
  apply<Sweep<Pivot::bottom, true>>(m, n, c, s, a, lda);
}

/// Row r and the last one, in falling order; rotation (c[r], s[r]).
template <Scalar T>
void lasr_lbb(Int m, Int n, const Real<T>* c, const Real<T>* s, T* a, Int lda) {
  apply<Sweep<Pivot::bottom, false>>(m, n, c, s, a, lda);
}

}  // namespace nuv::kernels::inline NUV_ISA

#include "kernels/special/lasr.entries.inc"
