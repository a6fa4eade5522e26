#pragma once

// Which method solves a system: what there is, and what a file's structure suggests.

#include <optional>
#include <string>
#include <string_view>

#include "band_matrix.hpp"
#include "base/types.hpp"
#include "stored_matrix.hpp"

namespace nuv::tools {

enum class Factorisation { Lu, Cholesky, Symmetric, Hermitian, Mixed };
enum class Storage { Dense, Band };

/// A factorisation of a matrix in one storage, and what its driver and its reports are called.
struct Method {
  Factorisation factorisation;
  Storage storage;
  std::string_view words;
  std::string_view driver;     ///< its routine, without the letter of the precision
  std::string_view breakdown;  ///< what info = {0} says
  double copies;               ///< of the dense matrix that a solve keeps at once; a band has copies_of_band
};

const Method& method_for(Factorisation factorisation, Storage storage);

/// What the user wants a system to be solved by.
struct MethodRequest {
  std::optional<std::string> name;  ///< lu, cholesky, indefinite, band or mixed; none: by the structure of the file
  bool positive_definite = false;   ///< --spd
};

/// Throws UsageError if a request contradicts itself or the precision of that letter, where one is asked for.
void require_consistent(const MethodRequest& request, std::optional<char> precision);

struct Choice {
  Method method;
  Bandwidth band;      ///< of a matrix to be stored as one
  bool certain;        ///< false: the elements must show whether the matrix is symmetric or Hermitian
  std::string reason;  ///< in words that follow those of the method
};

/// The method for the matrix of a file, in complex arithmetic or not.
Choice choose_method(const StoredMatrix& file, const MethodRequest& request, bool is_complex);

/// LU factorisation in the storage that pays for the matrix of a file.
Choice choose_lu(const StoredMatrix& file);

/// Throws FileError if the machine can't hold what a solve by the method takes.
void require_memory(const StoredMatrix& file, const Choice& choice, std::size_t element_size);

}  // namespace nuv::tools
