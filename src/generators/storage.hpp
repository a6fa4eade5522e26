#pragma once

// How test matrices are stored: all of them or a triangle; in an array of their own shape, packed, or as a band.

#include "base/matrix.hpp"
#include "frame/option_matching.hpp"
#include "generators/symmetry.hpp"

namespace nuv {

enum class Part { all, upper, lower };
enum class Layout { full, packed, band };

struct Storage {
  char letter;
  Part part;
  Layout layout;
};

inline constexpr Storage storages[] = {
    {'N', Part::all, Layout::full},     {'U', Part::upper, Layout::full},   {'L', Part::lower, Layout::full},
    {'C', Part::upper, Layout::packed}, {'R', Part::lower, Layout::packed}, {'B', Part::lower, Layout::band},
    {'Q', Part::upper, Layout::band},   {'Z', Part::all, Layout::band},
};

/// The storage that a driver's letter names, or null.
constexpr const Storage* storage_of(char pack) {
  for (const Storage& storage : storages) {
    if (same_letter(pack, storage.letter)) return &storage;
  }
  return nullptr;
}

/// Whether the part of an m by n matrix that is stored tells all of it.
constexpr bool holds(const Storage& storage, Symmetry symmetry, Int m, Int n, Int kl, Int ku) {
  if (storage.part == Part::all) return true;
  if (m != n) return false;
  if (is_symmetric(symmetry)) return true;
  if (storage.layout == Layout::full) return false;
  return storage.part == Part::upper ? kl == 0 : ku == 0;
}

/// Shape of the array of an m by n matrix; of a packed one, that of its columns before they are packed.
struct ArrayShape {
  std::int64_t rows;
  std::int64_t diagonal_row;  ///< the row of the main diagonal, in a band
};

constexpr ArrayShape array_for(const Storage& storage, std::int64_t m, std::int64_t kl, std::int64_t ku) {
  if (storage.layout != Layout::band) return {m, 1};
  switch (storage.part) {
    case Part::upper:
      return {ku + 1, ku + 1};
    case Part::lower:
      return {kl + 1, 1};
    default:
      return {2 * kl + ku + 1, kl + ku + 1};
  }
}

/// View of the array, packed ones aside, by which (i, j) is that element of the matrix.
template <Scalar T>
Matrix<T> elements_of(const Storage& storage, const ArrayShape& shape, T* a, Int lda) {
  return storage.layout == Layout::band ? Matrix<T>{a + (shape.diagonal_row - 1), lda - 1} : Matrix<T>{a, lda};
}

}  // namespace nuv
