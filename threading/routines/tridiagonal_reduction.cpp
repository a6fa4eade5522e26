#include "symmetric/tridiagonal_panel.hpp"

#include <nuv/nuv_services.h>

#include <algorithm>

#include "kernels/level2/symmetric_product.hpp"
#include "routines.hpp"
#include "threading/level3/parallel.hpp"
#include "x_variants.hpp"

// Reduction to tridiagonal form: half of its work is the product of the rest of the matrix with a vector, for each
// column, and waits for memory. In a layer with threads they share it; the other half are products that find the
// threads by themselves.

namespace nuv::threading::inline NUV_ISA {
namespace {

/// Real multiply-adds of a reduction, and the order of a product with a vector, from which several threads pay,
/// measured on two.
constexpr double least_work = 20e6;
template <Scalar T>
constexpr Int least_order = ComplexScalar<T> ? 256 : 384;

/// y := A x for a symmetric or Hermitian A of order n, cut into strips of columns. Each strip of the stored triangle,
/// with its mirror image, gives a vector, and these are added up in the order of the strips:
///
///     upper   R . .    the strip's square D on the diagonal and the rectangle R beside it take part in the rows of R
///             D . .    and of D
///
/// Strips depend on n alone, so that any number of threads gives the same bits, and so does a thread without memory for
/// the vectors.
template <Scalar T>
class StripProduct {
 public:
  StripProduct(char uplo, Int n, Matrix<const T> A, const T* x)
      : upper_(same_letter(uplo, 'U')), n_(n), width_(width_of_strips(n)), A_(A), x_(x) {}

  Int strips() const { return (n_ - 1) / width_ + 1; }

  /// Elements of room for the vectors of all strips of a matrix of order n or less.
  static std::size_t room(Int n) { return std::size_t(most_strips(n)) * n; }

  /// room: as many elements, or null.
  void multiply(T* room, T* y) const {
    std::fill(y, y + n_, T(0));
    room != nullptr ? multiply_shared(room, y) : multiply_alone(y);
  }

 private:
  static constexpr bool hermitian = ComplexScalar<T>;
  static constexpr Int narrowest = 64, widest = 256, usual_strips = 16;

  /// Rows of a strip that are taken at a time.
  static constexpr Int rows_of_block = 8192 / static_cast<int>(sizeof(T));

  /// Multiples of the columns that the kernel takes at a time.
  static Int width_of_strips(Int n) { return std::clamp((n / usual_strips + 7) / 8 * 8, narrowest, widest); }
  static Int most_strips(Int n) { return std::max(usual_strips, n / widest) + 1; }

  struct Strip {
    Int from, width;                 ///< columns, and rows of the square
    Int first_beside, count_beside;  ///< rows of the rectangle
  };

  Strip strip(Int s) const {
    const Int from = s * width_, width = std::min(width_, n_ - from);
    const auto [first, count] = kernels::rows_beside(upper_, n_, from, width);
    return {from, width, first, count};
  }

  void add_square(const Strip& s, T* y) const {
    kernels::add_symmetric_product<hermitian>(upper_, s.width, T(1), block(A_, s.from + 1, s.from + 1),
                                              Vector<const T>(x_ + s.from, 1), Vector<T>(y, 1));
  }

  /// Calls visit(first, count) for the blocks of rows of a strip's rectangle.
  template <class Visit>
  static void for_each_block(const Strip& s, Visit visit) {
    for (Int i = 0; i < s.count_beside; i += rows_of_block) {
      visit(s.first_beside + i, std::min(rows_of_block, s.count_beside - i));
    }
  }

  /// y_rows: beside the block's rows; y_columns: beside the strip's columns
  void add_block(const Strip& s, Int first, Int count, T* y_rows, T* y_columns) const {
    kernels::symmetric_detail::add_rectangle<hermitian>(count, s.width, T(1), block(A_, first + 1, s.from + 1),
                                                        x_ + first, y_rows, Vector<const T>(x_ + s.from, 1),
                                                        Vector<T>(y_columns, 1));
  }

  Int first_row(const Strip& s) const { return upper_ ? 0 : s.from; }
  Int end_of_rows(const Strip& s) const { return upper_ ? s.from + s.width : n_; }

  void multiply_shared(T* room, T* y) const {
    const auto vector = [&](Int index) { return room + std::ptrdiff_t{index} * n_; };
    split(strips(), {1, 1}, real_multiply_adds<T>(n_, n_, 1), [&](Int from, Int until) {
      for (Int index = from; index < until; ++index) {
        const Strip s = strip(index);
        T* const sum = vector(index);
        std::fill(sum + first_row(s), sum + end_of_rows(s), T(0));
        add_square(s, sum + s.from);
        for_each_block(s, [&](Int first, Int count) { add_block(s, first, count, sum + first, sum + s.from); });
      }
    });
    for (Int index = 0; index < strips(); ++index) {
      const Strip s = strip(index);
      const T* const sum = vector(index);
      for (Int i = first_row(s); i < end_of_rows(s); ++i) y[i] += sum[i];
    }
  }

  void multiply_alone(T* y) const {
    for (Int index = 0; index < strips(); ++index) {
      const Strip s = strip(index);
      T columns[widest] = {}, rows[rows_of_block];
      add_square(s, columns);
      for_each_block(s, [&](Int first, Int count) {
        std::fill(rows, rows + count, T(0));
        add_block(s, first, count, rows, columns);
        for (Int i = 0; i < count; ++i) y[first + i] += rows[i];
      });
      for (Int j = 0; j < s.width; ++j) y[s.from + j] += columns[j];
    }
  }

  bool upper_;
  Int n_, width_;
  Matrix<const T> A_;
  const T* x_;
};

/// A block of the pool, null if it was refused.
class Room {
 public:
  explicit Room(std::size_t bytes)
      : data_(bytes <= UINT32_MAX ? nuv_serv_allocate(static_cast<unsigned>(bytes), 128) : nullptr) {}
  Room(const Room&) = delete;
  Room& operator=(const Room&) = delete;
  ~Room() {
    if (data_ != nullptr) nuv_serv_deallocate(data_);
  }
  void* data() const { return data_; }

 private:
  void* data_;
};

template <Scalar T>
struct SharedMeans {
  T* room;

  void reflect(Int n, T& alpha, T* x, T& tau) const { routine_call::larfg(n, alpha, Vector<T>(x, 1), tau); }

  void multiply(char uplo, Int n, Matrix<const T> A, Vector<const T> x, Vector<T> y) const {
    if (n >= least_order<T>) {
      StripProduct<T>(uplo, n, A, x.data).multiply(room, y.data);
    } else if constexpr (ComplexScalar<T>) {
      blas::hemv_nb(uplo, n, n, T(1), A, x, T(0), y);
    } else {
      blas::symv_nb(uplo, n, n, T(1), A, x, T(0), y);
    }
  }
};

}  // namespace

template <Scalar T>
void sytrd(char uplo, Int n, T* a, Int lda, Real<T>* d, Real<T>* e, T* tau, T* work, Int lwork, Int& info) {
  const Team team(lwork == -1 ? 0 : real_multiply_adds<T>(n, n, n) * 2 / 3, least_work);
  x_variant::sytrd(uplo, n, Matrix{a, lda}, d, e, tau, work, lwork, info);
}

template <Scalar T>
void latrd(char uplo, Int n, Int nb, T* a, Int lda, Real<T>* e, T* tau, T* w, Int ldw) {
  if (!has_threads() || n <= least_order<T>) {
    return x_variant::latrd(uplo, n, nb, Matrix{a, lda}, e, tau, Matrix{w, ldw});
  }
  const Team team(real_multiply_adds<T>(n, n, nb), least_work);
  const Room room(StripProduct<T>::room(n) * sizeof(T));
  reduce_panel(uplo, n, nb, a, lda, e, tau, w, ldw, SharedMeans<T>{static_cast<T*>(room.data())});
}

}  // namespace nuv::threading::inline NUV_ISA

#include "threading/routines/tridiagonal_reduction.entries.inc"
