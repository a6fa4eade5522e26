#pragma once

// Eigenvalues and eigenvectors by the library's drivers for symmetric and Hermitian matrices.

#include <optional>
#include <string_view>
#include <vector>

#include "base/types.hpp"
#include "dense_matrix.hpp"

namespace nuv::tools {

/// Which of the eigenvalues, in ascending order: all, those above `above` and not above `up_to`, or the first-th to
/// the last-th.
struct Selection {
  enum class By { All, Value, Index } by = By::All;
  double above = 0, up_to = 0;
  Int first = 0, last = 0;
};

enum class EigenMethod {
  Qr,                ///< QL and QR iteration
  DivideAndConquer,  ///< Cuppen's method for the vectors
  Representations,   ///< multiple relatively robust representations; bisection for a part of the values
};

struct EigenRequest {
  bool vectors = false;
  Selection selection;
  EigenMethod method = EigenMethod::Qr;
  Int type = 1;  ///< of the generalised problem: 1 A x = w B x, 2 A B x = w x, 3 B A x = w x
};

template <Scalar T>
struct Eigenpairs {
  std::vector<Real<T>> values;   ///< ascending
  DenseMatrix<T> vectors{0, 0};  ///< a column for each value, if wanted
  std::string_view driver;       ///< that found them, without its precision letter
  Int info = 0;                  ///< as the driver gave it
};

/// Of a real symmetric or a Hermitian matrix, of which the lower triangle is read. A part of the values needs
/// EigenMethod::Representations.
template <Scalar T>
Eigenpairs<T> eigenpairs(DenseMatrix<T> a, const EigenRequest& request);

/// With a positive definite matrix b, of which the lower triangle is read. A part of the values is found by bisection.
template <Scalar T>
Eigenpairs<T> generalised_eigenpairs(DenseMatrix<T> a, DenseMatrix<T> b, const EigenRequest& request);

}  // namespace nuv::tools
