#pragma once

// The LU factors of a square matrix, for questions about the matrix itself.

#include <complex>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/types.hpp"
#include "dense_matrix.hpp"
#include "matrix_file.hpp"
#include "report.hpp"
#include "stored_matrix.hpp"

namespace nuv::tools {

/// phase * exp(logarithm) with a phase of magnitude one, or zero.
struct Determinant {
  std::complex<long double> phase = 1;
  long double logarithm = 0;
  bool is_real = true;  ///< as that of a real or a Hermitian matrix
};

/// Factors in some precision and storage.
class MatrixFactors {
 public:
  virtual ~MatrixFactors() = default;

  /// The first k for which U(k, k) is exactly zero.
  virtual std::optional<Int> zero_pivot() const = 0;

  /// The estimate of 1 / (||A|| ||A^-1||), norm '1' or 'I'; zero where a pivot is.
  virtual double reciprocal_condition(char norm) const = 0;

  /// Whether the matrix is singular to working precision.
  virtual bool is_singular() const = 0;

  virtual Determinant determinant() const = 0;

  /// Adds to an account what factored the matrix.
  virtual void tell(Report& report) const = 0;
};

/// The implementation for a DenseMatrix or a BandMatrix.
///
/// A matrix of numbers near the ends of the range is multiplied by a power of two first, so that neither its norms nor
/// its factors leave the range.
template <class Matrix>
class LuFactors final : public MatrixFactors {
 public:
  using T = typename Matrix::Element;

  explicit LuFactors(Matrix a, bool is_hermitian = false);

  std::optional<Int> zero_pivot() const override;
  double reciprocal_condition(char norm) const override;
  bool is_singular() const override;
  Determinant determinant() const override;
  void tell(Report& report) const override;

  /// Turns the factors into the inverse, for a DenseMatrix.
  Matrix inverse() &&;

 private:
  bool is_hermitian_;
  int exponent_;  ///< 2^exponent A was factored
  long double one_norm_, infinity_norm_;
  Matrix factors_;
  std::vector<Int> pivots_;
  Int info_ = 0;
};

/// Factors the matrix of a file in the precision of that letter, as a band where that pays. Throws FileError if it
/// doesn't fit into memory.
std::unique_ptr<MatrixFactors> factor(StoredMatrix file, char precision);

/// In which way the matrix is singular, if it is.
std::optional<std::string> singularity_of(const MatrixFactors& factors);

/// "singular to working precision", and how much so.
std::string singular_words(double reciprocal_condition);

/// Shows the account of a command that asks something about a square matrix, for which `what` stands in messages: the
/// matrix and what factored it, what `answer` adds to that, and the time.
void show_from_factors(std::string_view command, const MatrixOptions& options, std::string_view what,
                       const std::function<void(const MatrixFactors&, Report&)>& answer);

}  // namespace nuv::tools
