#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/types.hpp"
#include "file_format.hpp"

namespace nuv::tools {

/// What the command line says; what it leaves open depends on the rest of it.
struct MakeOptions {
  std::string kind;                         ///< general, band, symmetric, hermitian or positive
  Int rows = 0;                             ///< not negative, as all sizes
  std::optional<Int> columns;               ///< none: as many as rows
  std::optional<Int> lower, upper;          ///< diagonals below and above the main one
  std::optional<Int> mode;                  ///< -6 ... 6, as ?latms takes it; none: 3, or 0 with a spectrum
  std::optional<double> cond;               ///< none: 100
  std::optional<double> norm;               ///< none: 1
  std::optional<std::string> distribution;  ///< of mode 6: uniform, symmetric or normal; none: normal
  std::optional<std::string> spectrum_file;
  std::uint64_t seed = 1;
  std::optional<char> precision;           ///< s, d, c or z; none: d, or z where the matrix must be complex
  std::optional<FileFormat> format;        ///< of the output
  std::optional<std::string> output_file;  ///< none: standard output
};

/// Makes a random matrix with given singular values or eigenvalues. It goes to the output with a comment that repeats
/// the command; the account of it to standard error. Throws UsageError and FileError.
void make(const MakeOptions& options);

}  // namespace nuv::tools
