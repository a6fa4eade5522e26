#include "interfaces/cblas/storage.hpp"

#include <algorithm>

namespace nuv::test {

Dense op(CBLAS_TRANSPOSE trans, const Dense& A) {
  if (trans == CblasNoTrans) return A;
  Dense result(A.columns(), A.rows());
  for (Int j = 0; j < A.columns(); ++j) {
    for (Int i = 0; i < A.rows(); ++i) result(j, i) = trans == CblasTrans ? A(i, j) : std::conj(A(i, j));
  }
  return result;
}

Sum& Sum::add(WideScalar factor, const Dense& A) {
  if (factor == WideScalar(0)) return *this;
  for (Int j = 0; j < A.columns(); ++j) {
    for (Int i = 0; i < A.rows(); ++i) {
      value_(i, j) += factor * A(i, j);
      magnitude_(i, j) += std::abs(factor) * std::abs(A(i, j));
    }
  }
  ++terms_;
  return *this;
}

Sum& Sum::add(WideScalar factor, const Dense& A, const Dense& B) {
  if (factor == WideScalar(0)) return *this;
  for (Int j = 0; j < B.columns(); ++j) {
    for (Int i = 0; i < A.rows(); ++i) {
      for (Int k = 0; k < A.columns(); ++k) {
        value_(i, j) += factor * A(i, k) * B(k, j);
        magnitude_(i, j) += std::abs(factor) * std::abs(A(i, k)) * std::abs(B(k, j));
      }
    }
  }
  terms_ += A.columns();
  return *this;
}

Sum Sum::product(WideScalar factor, const Dense& A, const Dense& B) {
  return Sum(A.rows(), B.columns()).add(factor, A, B);
}

double Sum::error_of(Int i, Int j, WideScalar computed, double eps) const {
  const auto bound = static_cast<long double>(eps) * static_cast<long double>(terms_ + 1) * magnitude_(i, j).real();
  const auto error = std::abs(computed - value_(i, j));
  return error == 0 ? 0 : static_cast<double>(error / bound);
}

std::ptrdiff_t Storage::index(Int i, Int j) const {
  if ((part == upper && i > j) || (part == lower && i < j)) return -1;
  const bool by_columns = layout == CblasColMajor;
  const std::ptrdiff_t row = i, column = j;
  switch (kind) {
    case full:
      return by_columns ? row + column * ld : row * ld + column;
    case band:
      if (i - j > kl || j - i > ku) return -1;
      return by_columns ? ku + row - column + column * ld : kl + column - row + row * ld;
    case packed:
      if (by_columns) return row + column * (part == upper ? column + 1 : 2 * n - column - 1) / 2;
      return column + row * (part == lower ? row + 1 : 2 * n - row - 1) / 2;
    default:
      return ld > 0 ? row * ld : (row - (m - 1)) * ld;
  }
}

std::size_t Storage::size() const {
  if (kind == packed) return std::size_t(n) * std::size_t(n + 1) / 2;
  if (kind == strided) return std::size_t(m) * std::size_t(std::abs(ld));
  return std::size_t(ld) * std::size_t(layout == CblasColMajor ? n : m);
}

namespace {

Storage::Part part_of(CBLAS_UPLO uplo) {
  return uplo == CblasUpper ? Storage::upper : Storage::lower;
}

}  // namespace

Storage general(CBLAS_LAYOUT layout, Int m, Int n, Int more) {
  return {Storage::full, layout, Storage::all, m, n, std::max(1, layout == CblasColMajor ? m : n) + more, 0, 0};
}

Storage triangle(CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n, Int more) {
  return {Storage::full, layout, part_of(uplo), n, n, std::max(1, n) + more, 0, 0};
}

Storage general_band(CBLAS_LAYOUT layout, Int m, Int n, Int kl, Int ku, Int more) {
  return {Storage::band, layout, Storage::all, m, n, kl + ku + 1 + more, kl, ku};
}

Storage triangle_band(CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n, Int k, Int more) {
  const bool is_upper = uplo == CblasUpper;
  return {Storage::band, layout, part_of(uplo), n, n, k + 1 + more, is_upper ? 0 : k, is_upper ? k : 0};
}

Storage packed_triangle(CBLAS_LAYOUT layout, CBLAS_UPLO uplo, Int n) {
  return {Storage::packed, layout, part_of(uplo), n, n, 0, 0, 0};
}

Storage vector_of(Int n, Int inc) {
  return {Storage::strided, CblasColMajor, Storage::all, n, 1, inc, 0, 0};
}

Dense completed(Meaning meaning, Storage::Part part, Dense stored) {
  if (meaning == Meaning::as_stored) return stored;
  for (Int j = 0; j < stored.columns(); ++j) {
    if (meaning == Meaning::unit_triangle) stored(j, j) = 1;
    if (meaning == Meaning::hermitian) stored(j, j) = stored(j, j).real();
    if (meaning == Meaning::unit_triangle) continue;
    for (Int i = 0; i < j; ++i) {
      const Int row = part == Storage::upper ? j : i, column = part == Storage::upper ? i : j;
      const WideScalar mirrored = stored(column, row);
      stored(row, column) = meaning == Meaning::hermitian ? std::conj(mirrored) : mirrored;
    }
  }
  return stored;
}

}  // namespace nuv::test
