#include "spectrum_by_blocks.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <new>

#include "routines.hpp"

namespace nuv::tools {
namespace {

constexpr Int block_width = 192;  ///< the fewer blocks, the fewer passes through a matrix that no cache holds

template <Scalar T>
Real<T> norm_of(const std::vector<T>& x) {
  double sum = 0;
  for (const T& element : x) sum += std::norm(std::complex<double>(element));
  return static_cast<Real<T>>(std::sqrt(sum));
}

/// x / |x|, and 1 for zero.
template <Scalar T>
T direction(T x) {
  return x == T(0) ? T(1) : x / std::abs(x);
}

/// The vectors of some reflectors I - tau v v^H, as a factorisation leaves them: number k in column k, from the one on
/// the diagonal down.
template <Scalar T>
class ReflectorBlock {
 public:
  explicit ReflectorBlock(Int rows) : vectors_(rows, block_width), tau_(block_width) {}

  /// Starts anew with identities.
  void begin() { std::fill(tau_.begin(), tau_.end(), T(0)); }

  /// Draws a random direction of n numbers; reflector k turns it to the first axis. A direction of one number is none,
  /// and the reflector stays the identity.
  void draw(Int k, Int n, std::array<Int, 4>& iseed) {
    if (n <= 1) return;
    constexpr Int normal = 3;
    drawn_.resize(static_cast<std::size_t>(n));
    Routines<T>::larnv(&normal, iseed.data(), &n, drawn_.data());
    const Real<T> norm = norm_of(drawn_);
    if (norm == 0) return;
    const T along = direction(drawn_.front()) * norm;
    const T divisor = drawn_.front() + along;
    tau_[static_cast<std::size_t>(k - 1)] = std::real(divisor / along);
    const T factor = T(1) / divisor;
    std::transform(drawn_.begin() + 1, drawn_.end(), vectors_.column(k) + k, [&](T x) { return x * factor; });
  }

  /// The reflectors with the conjugate vectors.
  ReflectorBlock conjugate() const {
    ReflectorBlock result = *this;
    for (T& x : result.vectors_.elements) {
      if constexpr (ComplexScalar<T>) x = std::conj(x);
    }
    return result;
  }

  /// A := Q A, or A := A Q^H from the right, for the product Q of the first `count` reflectors and a part of a matrix
  /// from element (first, first) on.
  void apply(char side, Int count, DenseMatrix<T>& a, Int first) {
    const bool from_left = side == 'L';
    const char adjoint = ComplexScalar<T> ? 'C' : 'T', form = from_left ? 'N' : adjoint;
    const Int rows = a.rows - first + 1, columns = a.columns - first + 1, length = from_left ? rows : columns;
    const Int lda = a.ld(), ldv = vectors_.ld(), ldt = factor_.ld(), ldwork = from_left ? columns : rows;
    // The factor stays as it is where memory for its computation lacks.
    factor_(1, 1) = std::numeric_limits<Real<T>>::quiet_NaN();
    Routines<T>::larft("F", "C", &length, &count, vectors_.elements.data(), &ldv, tau_.data(), factor_.elements.data(),
                       &ldt, 1, 1);
    if (factor_(1, 1) != factor_(1, 1)) throw std::bad_alloc();
    work_.resize(static_cast<std::size_t>(ldwork) * block_width);
    Routines<T>::larfb(&side, &form, "F", "C", &rows, &columns, &count, vectors_.elements.data(), &ldv,
                       factor_.elements.data(), &ldt, &a(first, first), &lda, work_.data(), &ldwork, 1, 1, 1, 1);
  }

 private:
  DenseMatrix<T> vectors_, factor_{block_width, block_width};
  std::vector<T> tau_, drawn_, work_;
};

/// The work for the reflectors from number `first` on, in some unit.
double work_from(Int first, Int count, Int rows, Int columns) {
  double work = 0;
  for (Int i = first; i <= count; ++i) work += double(rows - i + 1) * double(columns - i + 1);
  return work;
}

/// Rounding errors that make the triangles differ are those of the lower one.
template <Scalar T>
void mirror_lower_triangle(Sides sides, DenseMatrix<T>& a) {
  for (Int j = 1; j <= a.columns; ++j) {
    for (Int i = j; i <= a.rows; ++i) {
      if constexpr (ComplexScalar<T>) {
        if (sides == Sides::Adjoint && i == j) a(i, j) = std::real(a(i, j));
        a(j, i) = sides == Sides::Adjoint ? std::conj(a(i, j)) : a(i, j);
      } else {
        a(j, i) = a(i, j);
      }
    }
  }
}

}  // namespace

template <Scalar T>
void fill_with_spectrum(Sides sides, const std::vector<Real<T>>& d, std::array<Int, 4>& iseed, DenseMatrix<T>& a,
                        const std::function<void(double)>& tell) {
  const bool independent = sides == Sides::Independent;
  std::fill(a.elements.begin(), a.elements.end(), T(0));
  for (Int i = 1; i <= static_cast<Int>(d.size()); ++i) a(i, i) = d[static_cast<std::size_t>(i - 1)];

  // One reflector on each side for each number, from the last to the first; both sides of a symmetric matrix have the
  // same, and its last would be the identity.
  const Int count = static_cast<Int>(d.size()) - (independent ? 0 : 1);
  const double all_work = work_from(1, count, a.rows, a.columns);
  ReflectorBlock<T> left(a.rows), right(independent ? a.columns : 0);
  for (Int last = count; last >= 1; last -= block_width) {
    const Int first = std::max(1, last - block_width + 1);
    left.begin();
    right.begin();
    for (Int i = last; i >= first; --i) {
      left.draw(i - first + 1, a.rows - i + 1, iseed);
      if (independent) right.draw(i - first + 1, a.columns - i + 1, iseed);
    }
    const Int width = last - first + 1;
    left.apply('L', width, a, first);
    if (independent) right.apply('R', width, a, first);
    else if (sides == Sides::Adjoint) left.apply('R', width, a, first);
    else left.conjugate().apply('R', width, a, first);
    tell(work_from(first, count, a.rows, a.columns) / all_work);
  }
  if (!independent) mirror_lower_triangle(sides, a);
}

#define NUV_INSTANTIATE(T)                                                                                   \
  template void fill_with_spectrum(Sides, const std::vector<Real<T>>&, std::array<Int, 4>&, DenseMatrix<T>&, \
                                   const std::function<void(double)>&);

NUV_INSTANTIATE(float)
NUV_INSTANTIATE(double)
NUV_INSTANTIATE(std::complex<float>)
NUV_INSTANTIATE(std::complex<double>)
#undef NUV_INSTANTIATE

}  // namespace nuv::tools
