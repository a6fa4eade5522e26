// nuv for C++: every routine under its name without the letter of the precision, which the types of its arguments tell.
//
//     std::vector<double> a = ..., b = ...;
//     std::vector<int> pivots(n);
//     if (const int info = nuv::gesv(n, 1, a.data(), n, pivots.data(), b.data(), n); info != 0) ...
//
// Sizes are values, matrices are pointers to columns of a leading dimension each, and what a routine has to say about
// its success, its info, is what the call returns. A routine that wants workspace has two forms: one that takes it, and
// one without it, which asks how much it should be, allocates it and gives it back. That form throws std::bad_alloc if
// there is not so much memory, or if a size does not fit its type; nothing else throws. What some routines leave in
// their workspace for the caller is lost then.
//
// An option is a letter in either case, as the comment of the routine names it, or a constant with a name:
// nuv::Uplo::lower is 'L'. An integer is no option.
//
// What no argument tells apart is a template: nuv::lamch<double>('E').
//
// Needs C++17 and a thread layer beside libnuv_lapack (or libnuv alone, which brings one).

#ifndef NUV_NUV_HPP
#define NUV_NUV_HPP

#include <nuv/nuv_lapack.h>

#include <climits>
#include <complex>
#include <cstddef>
#include <new>
#include <string_view>
#include <type_traits>

namespace nuv {

/// An option by its letter. Made of a char alone, so that an integer in its place does not compile.
class Letter {
 public:
  template <class Char, class = std::enable_if_t<std::is_same_v<Char, char>>>
  constexpr Letter(Char letter) noexcept : letter_(letter) {}

  constexpr operator char() const noexcept { return letter_; }
  constexpr const char* place() const noexcept { return &letter_; }

 private:
  char letter_;
};

/// Which triangle holds a matrix, or which is meant.
struct Uplo : Letter {
  using Letter::Letter;
  static const Uplo upper, lower, both;
};

/// What is done to a matrix before it takes part: nothing, op(A) = A^T, op(A) = A^H.
struct Op : Letter {
  using Letter::Letter;
  static const Op none, transpose, adjoint;
};

/// The side on which a matrix stands in a product.
struct Side : Letter {
  using Letter::Letter;
  static const Side left, right;
};

/// Whether the diagonal of a triangle is stored, or ones.
struct Diag : Letter {
  using Letter::Letter;
  static const Diag stored, unit;
};

/// A norm; `largest` is the largest magnitude of an element, which is no norm of matrices.
struct Norm : Letter {
  using Letter::Letter;
  static const Norm largest, one, infinity, frobenius;
};

/// Which vectors are wanted beside the values. `none` and `vectors` are for eigenproblems; singular vectors are `none`,
/// `all` of a square matrix, `thin`, as many as there are values, or thin and `in_place` of the matrix.
struct Job : Letter {
  using Letter::Letter;
  static const Job none, vectors, all, thin, in_place;
};

/// Which eigenvalues are wanted: all, those in an interval, or those of given numbers.
struct Range : Letter {
  using Letter::Letter;
  static const Range all, interval, numbers;
};

inline constexpr Uplo Uplo::upper{'U'}, Uplo::lower{'L'}, Uplo::both{'A'};
inline constexpr Op Op::none{'N'}, Op::transpose{'T'}, Op::adjoint{'C'};
inline constexpr Side Side::left{'L'}, Side::right{'R'};
inline constexpr Diag Diag::stored{'N'}, Diag::unit{'U'};
inline constexpr Norm Norm::largest{'M'}, Norm::one{'O'}, Norm::infinity{'I'}, Norm::frobenius{'F'};
inline constexpr Job Job::none{'N'}, Job::vectors{'V'}, Job::all{'A'}, Job::thin{'S'}, Job::in_place{'O'};
inline constexpr Range Range::all{'A'}, Range::interval{'V'}, Range::numbers{'I'};

namespace workspace {

// Sizes are computed in double precision, which holds every number of elements that any memory has, and overflows
// nowhere.

constexpr double max(double x, double y) noexcept {
  return x < y ? y : x;
}

constexpr double min(double x, double y) noexcept {
  return y < x ? y : x;
}

/// The least l with 2^l >= x.
constexpr double log2(double x) noexcept {
  double l = 0;
  for (double power = 1; power < x; power *= 2) ++l;
  return l;
}

/// Whether an option is an upper-case letter in either case.
constexpr bool is(char option, char letter) noexcept {
  return option == letter || option == letter - 'A' + 'a';
}

/// As an argument of a routine, at least one; what no int holds is refused before it gets there.
constexpr int as_int(double size) noexcept {
  return size < 1 ? 1 : size < INT_MAX ? static_cast<int>(size) : INT_MAX;
}

template <class T>
struct RealOf {
  using type = T;
};
template <class R>
struct RealOf<std::complex<R>> {
  using type = R;
};
template <class T>
using Real = typename RealOf<T>::type;

constexpr double first_part(double x) noexcept {
  return x;
}

template <class R>
constexpr double first_part(std::complex<R> x) noexcept {
  return x.real();
}

/// Memory for the time of a call. Before it is allocated it is one element, for the answer to the question how long it
/// should be.
template <class T>
class Memory {
 public:
  Memory() noexcept = default;
  explicit Memory(double size) { allocate(size); }
  Memory(const Memory&) = delete;
  Memory& operator=(const Memory&) = delete;
  ~Memory() { ::operator delete(data_); }

  /// One element at least.
  void allocate(double size) {
    constexpr double most = static_cast<double>(PTRDIFF_MAX / sizeof(T));
    const double elements = max(size, 1);
    if (!(elements < most)) throw std::bad_alloc();
    data_ = static_cast<T*>(::operator new(static_cast<std::size_t>(elements) * sizeof(T)));
    length_ = as_int(elements);
  }

  /// As many elements as the answer says.
  void allocate_answer(double least = 1) {
    const double size = max(first_part(answer_), least);
    if (!(size <= INT_MAX)) throw std::bad_alloc();
    allocate(size);
  }

  T* data() noexcept { return data_ ? data_ : &answer_; }

  /// -1, which asks, before it is allocated.
  int length() const noexcept { return length_; }

 private:
  T* data_ = nullptr;
  T answer_{};
  int length_ = -1;
};

}  // namespace workspace
