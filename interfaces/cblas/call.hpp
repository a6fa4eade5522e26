#pragma once

// What the functions of the C interface share: reports of bad arguments, option letters, and untyped pointers.

#include <nuv/cblas.h>

#include <cstdint>

namespace nuv::cblas {

/// A call under examination. Each question answers whether an argument is bad, which is reported then.
struct Call {
  const char* routine;

  template <class... Settings>
  bool unknown(int position, const char* name, int value, Settings... settings) const {
    if (((value == static_cast<int>(settings)) || ...)) [[likely]]
      return false;
    report_unknown(position, name, value);
    return true;
  }

  bool negative(int position, const char* name, int value) const {
    if (value >= 0) [[likely]]
      return false;
    report_less(position, name, value, 0);
    return true;
  }

  bool zero(int position, const char* name, int value) const {
    if (value != 0) [[likely]]
      return false;
    report_zero(position, name);
    return true;
  }

  /// Whether a leading dimension is less than it must be; it is never less than 1.
  bool less(int position, const char* name, int value, std::int64_t least) const {
    if (least < 1) least = 1;
    if (value >= least) [[likely]]
      return false;
    report_less(position, name, value, least);
    return true;
  }

 private:
  [[gnu::cold]] void report_unknown(int position, const char* name, int value) const;
  [[gnu::cold]] void report_zero(int position, const char* name) const;
  [[gnu::cold]] void report_less(int position, const char* name, int value, std::int64_t least) const;
};

inline const char* letter(CBLAS_TRANSPOSE trans) {
  return trans == CblasNoTrans ? "N" : trans == CblasTrans ? "T" : "C";
}
inline const char* letter(CBLAS_UPLO uplo) {
  return uplo == CblasUpper ? "U" : "L";
}
inline const char* letter(CBLAS_DIAG diag) {
  return diag == CblasUnit ? "U" : "N";
}
inline const char* letter(CBLAS_SIDE side) {
  return side == CblasLeft ? "L" : "R";
}

inline CBLAS_UPLO other(CBLAS_UPLO uplo) {
  return uplo == CblasUpper ? CblasLower : CblasUpper;
}
inline CBLAS_SIDE other(CBLAS_SIDE side) {
  return side == CblasLeft ? CblasRight : CblasLeft;
}

/// What transposes the transpose of a matrix where trans transposes the matrix. The adjoint of a real one is that, too.
inline CBLAS_TRANSPOSE transposed(CBLAS_TRANSPOSE trans) {
  return trans == CblasNoTrans ? CblasTrans : CblasNoTrans;
}

/// The same for matrices that are conjugated as well.
inline CBLAS_TRANSPOSE adjoint(CBLAS_TRANSPOSE trans) {
  return trans == CblasNoTrans ? CblasConjTrans : CblasNoTrans;
}

template <class T>
const T* typed(const void* pointer) {
  return static_cast<const T*>(pointer);
}
template <class T>
T* typed(void* pointer) {
  return static_cast<T*>(pointer);
}

/// A pointer that takes the type of the parameter for which it is passed.
template <class Void>
struct Untyped {
  Void* pointer;

  template <class T>
  operator T*() const {
    return static_cast<T*>(pointer);
  }
};

inline Untyped<const void> typed(const void* pointer) {
  return {pointer};
}
inline Untyped<void> typed(void* pointer) {
  return {pointer};
}

}  // namespace nuv::cblas
