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

/// Some reflectors I - tau v v^H: number k has its vector in column k, with zeros above the one on the diagonal.
template <Scalar T>
class ReflectorBlock {
 public:
  explicit ReflectorBlock(Int rows) : vectors_(rows, block_width), tau_(block_width) {}

  /// Starts anew with identities.
  void begin() { std::fill(tau_.begin(), tau_.end(), T(0)); }

  /// Draws a random direction of n numbers; reflector k turns it to the first axis. A direction of one number is none,
  /// and the reflector stays the identity.
  void draw(Int k, Int n, std::array<Int, 4>& iseed) {
    T* const head = std::fill_n(vectors_.column(k), k - 1, T(0));
    *head = 1;
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
    std::transform(drawn_.begin() + 1, drawn_.end(), head + 1, [&](T x) { return x * factor; });
  }

  /// A := Q A, or A := A Q^H from the right, for the product Q of the first `count` reflectors and a part of a matrix
  /// from element (first, first) on.
  void apply(char side, Int count, DenseMatrix<T>& a, Int first) {
    const bool from_left = side == 'L';
    const char form = from_left ? 'N' : adjoint;
    const Int rows = a.rows - first + 1, columns = a.columns - first + 1, length = from_left ? rows : columns;
    const Int lda = a.ld(), ldv = vectors_.ld(), ldt = factor_.ld(), ldwork = from_left ? columns : rows;
    form_factor(length, count);
    work_.resize(static_cast<std::size_t>(ldwork) * block_width);
    Routines<T>::larfb(&side, &form, "F", "C", &rows, &columns, &count, vectors_.elements.data(), &ldv,
                       factor_.elements.data(), &ldt, &a(first, first), &lda, work_.data(), &ldwork, 1, 1, 1, 1);
  }

  /// A := Q A Q^H, or Q A Q^T where that is what transposes, for the lower triangle of a part of a matrix with that
  /// symmetry. Q = I - V T V^H: with X = A V T^H, S = T V^H X and W = X - V S / 2 it is A - V W^H - W V^H, or with the
  /// conjugate V to the right of A and transposes in place of adjoints.
  void apply_on_both_sides(Sides sides, Int count, DenseMatrix<T>& a, Int first) {
    const bool transposes = sides == Sides::Transposed;
    const char adjoint_of_factor = transposes ? 'T' : adjoint;
    const T one(1), zero(0), minus_one(-1), minus_half(Real<T>(-0.5));
    const Real<T> real_one = 1;
    const Int n = a.rows - first + 1, lda = a.ld(), ldv = vectors_.ld(), ldt = factor_.ld();
    form_factor(n, count);
    const DenseMatrix<T> conjugates = transposes ? conjugate(vectors_) : DenseMatrix<T>(0, 0);
    const T* const v = vectors_.elements.data();
    const T* const t = factor_.elements.data();
    T* const part = &a(first, first);
    work_.resize(static_cast<std::size_t>(ldv) * block_width);
    T* const x = work_.data();
    DenseMatrix<T> s(block_width, block_width);

    if (transposes) {
      Routines<T>::symm("L", "L", &n, &count, &one, part, &lda, conjugates.elements.data(), &ldv, &zero, x, &ldv, 1, 1);
    } else {
      Routines<T>::hemm("L", "L", &n, &count, &one, part, &lda, v, &ldv, &zero, x, &ldv, 1, 1);
    }
    Routines<T>::trmm("R", "U", &adjoint_of_factor, "N", &n, &count, &one, t, &ldt, x, &ldv, 1, 1, 1, 1);
    Routines<T>::gemm(&adjoint, "N", &count, &count, &n, &one, v, &ldv, x, &ldv, &zero, s.elements.data(), &ldt, 1, 1);
    Routines<T>::trmm("L", "U", "N", "N", &count, &count, &one, t, &ldt, s.elements.data(), &ldt, 1, 1, 1, 1);
    Routines<T>::gemm("N", "N", &n, &count, &count, &minus_half, v, &ldv, s.elements.data(), &ldt, &one, x, &ldv, 1, 1);
    if (transposes) {
      Routines<T>::syr2k("L", "N", &n, &count, &minus_one, v, &ldv, x, &ldv, &one, part, &lda, 1, 1);
    } else {
      Routines<T>::her2k("L", "N", &n, &count, &minus_one, v, &ldv, x, &ldv, &real_one, part, &lda, 1, 1);
    }
  }

 private:
  static constexpr char adjoint = ComplexScalar<T> ? 'C' : 'T';

  static DenseMatrix<T> conjugate(DenseMatrix<T> a) {
    for (T& x : a.elements) {
      if constexpr (ComplexScalar<T>) x = std::conj(x);
    }
    return a;
  }

  /// The factor T of the first `count` reflectors.
  void form_factor(Int length, Int count) {
    const Int ldv = vectors_.ld(), ldt = factor_.ld();
    // It stays as it is where memory for its computation lacks.
    factor_(1, 1) = std::numeric_limits<Real<T>>::quiet_NaN();
    Routines<T>::larft("F", "C", &length, &count, vectors_.elements.data(), &ldv, tau_.data(), factor_.elements.data(),
                       &ldt, 1, 1);
    if (factor_(1, 1) != factor_(1, 1)) throw std::bad_alloc();
  }

  DenseMatrix<T> vectors_, factor_{block_width, block_width};
  std::vector<T> tau_, drawn_, work_;
};

/// The work for the reflectors from number `first` on, in some unit.
double work_from(Int first, Int count, Int rows, Int columns) {
  double work = 0;
  for (Int i = first; i <= count; ++i) work += double(rows - i + 1) * double(columns - i + 1);
  return work;
}

/// Completes a matrix whose lower triangle was made.
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
    if (independent) {
      left.apply('L', width, a, first);
      right.apply('R', width, a, first);
    } else {
      left.apply_on_both_sides(sides, width, a, first);
    }
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
