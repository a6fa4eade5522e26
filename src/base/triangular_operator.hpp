#pragma once

#include "base/matrix.hpp"
#include "frame/option_matching.hpp"

namespace nuv {

/// op(A) of a triangular A as a function of its indices. Never reads the triangle that uplo does not name.
template <Scalar T>
class TriangularOperator {
 public:
  TriangularOperator(char uplo, char trans, char diag, const T* a, Int lda)
      : a_(a, lda),
        stored_upper_(same_letter(uplo, 'U')),
        transposed_(!same_letter(trans, 'N')),
        conjugated_(same_letter(trans, 'C')),
        unit_diagonal_(same_letter(diag, 'U')) {}

  /// True if op(A) itself is upper triangular.
  bool upper() const { return stored_upper_ != transposed_; }

  /// True if the diagonal counts as ones; it is not to be read then.
  bool unit_diagonal() const { return unit_diagonal_; }

  T operator()(Int i, Int j) const {
    const T entry = transposed_ ? a_(j, i) : a_(i, j);
    return conjugated_ ? conjugate(entry) : entry;
  }

 private:
  Matrix<const T> a_;
  bool stored_upper_, transposed_, conjugated_, unit_diagonal_;
};

}  // namespace nuv
