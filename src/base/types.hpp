#pragma once

// The scalar types that every library of the set computes with, and the words of the Fortran calling convention.

#include <complex>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace nuv {

using Int = std::int32_t;

/// A Fortran logical: all bits set for true, none for false; callers test the lowest bit.
using Logical = std::int32_t;

constexpr Logical to_logical(bool value) {
  return value ? -1 : 0;
}

constexpr bool is_true(Logical value) {
  return (value & 1) != 0;
}

template <class T>
concept RealScalar = std::same_as<T, float> || std::same_as<T, double>;

template <class T>
concept ComplexScalar = std::same_as<T, std::complex<float>> || std::same_as<T, std::complex<double>>;

template <class T>
concept Scalar = RealScalar<T> || ComplexScalar<T>;

namespace detail {
template <Scalar T>
struct RealOf {
  using type = T;
};
template <RealScalar R>
struct RealOf<std::complex<R>> {
  using type = R;
};
}  // namespace detail

/// The real type of a precision: float for s and c, double for d and z.
template <Scalar T>
using Real = typename detail::RealOf<T>::type;

/// The letter by which a precision goes in routine names.
template <Scalar T>
inline constexpr char precision_letter = ComplexScalar<T> ? (std::same_as<Real<T>, float> ? 'C' : 'Z')
                                                          : (std::same_as<T, float> ? 'S' : 'D');

template <RealScalar T>
constexpr T conjugate(T x) {
  return x;
}

template <RealScalar R>
constexpr std::complex<R> conjugate(std::complex<R> x) {
  return {x.real(), R(0) - x.imag()};
}

/// Negation inside a numerical routine is a subtraction from zero, so that the negative of +0 is +0.
template <Scalar T>
constexpr T negated(T x) {
  return T(0) - x;
}

/// A character argument as the Fortran convention passes it: a pointer, not terminated, and the length that travels
/// behind the last argument.
struct Text {
  const char* data;
  Int length;

  constexpr Text(const char* data_, Int length_) : data(data_), length(length_) {}

  template <std::size_t Size>
  constexpr Text(const char (&literal)[Size]) : data(literal), length(Size - 1) {}
};

/// The upper-case name of a routine in one precision, padded to six characters: "DGETRS", "DGESV ". A few kernels have
/// longer names.
template <Scalar T>
class RoutineName {
 public:
  template <std::size_t Size>
  constexpr explicit RoutineName(const char (&operation)[Size]) : length_(Size < 6 ? 6 : Size) {
    static_assert(Size <= longest);
    for (std::size_t i = 0; i + 1 < Size; ++i) characters_[i + 1] = operation[i];
  }

  constexpr operator Text() const { return {characters_, length_}; }

 private:
  static constexpr int longest = 12;
  char characters_[longest] = {precision_letter<T>, ' ', ' ', ' ', ' ', ' '};
  Int length_;
};

/// The name of a routine whose complex members begin with other letters than the real ones: "ORMBR", "UNMBR".
template <Scalar T, std::size_t Size>
constexpr RoutineName<T> name_of(const char (&real_name)[Size], const char (&complex_name)[Size]) {
  return RoutineName<T>(ComplexScalar<T> ? complex_name : real_name);
}

/// A number of elements as work(1) returns it: no less, where it has more digits than a real number of that precision.
template <Scalar T>
T as_work_size(std::int64_t elements) {
  std::int64_t unit = 1;
  while (elements / unit >> std::numeric_limits<Real<T>>::digits > 0) unit *= 2;
  return T(static_cast<Real<T>>((elements + (unit - 1)) / unit * unit));
}

}  // namespace nuv
