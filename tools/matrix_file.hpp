#pragma once

// What the commands share that read a matrix from a file.

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "matrix_market.hpp"

namespace nuv::tools {

struct MatrixOptions {
  std::string matrix_file;
  std::optional<char> precision;  ///< s, d, c or z; none: d, or z where a file is complex
};

/// Reads a file for work in the precision of that letter, if there is one.
MatrixMarket read_in(std::optional<char> precision, const std::string& file);

/// Throws FileError where the matrix isn't square, as what is in those words needs it.
void require_square(const MatrixMarket& file, std::string_view what);

/// The letter of the precision to work in. Throws FileError where it is real and a file is not.
char precision_for(std::optional<char> precision, std::initializer_list<const MatrixMarket*> files);

/// A matrix in an account.
std::string words_of(const MatrixMarket& file);

}  // namespace nuv::tools
