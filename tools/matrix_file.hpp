#pragma once

// What the commands share that read a matrix from a file.

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "file_format.hpp"
#include "input.hpp"
#include "stored_matrix.hpp"

namespace nuv::tools {

struct MatrixOptions {
  std::string matrix_file;           ///< - is standard input
  std::optional<char> precision;     ///< s, d, c or z; none: d, or z where a file is complex
  std::optional<FileFormat> format;  ///< of what is written, and of what is read where nothing else tells it
};

/// Reads a matrix in any format.
StoredMatrix read_matrix(Input& input, std::string_view file, std::optional<FileFormat> format, Precision precision);

/// Reads a file in one of the formats, rounded to the precision of that letter, if there is one.
StoredMatrix read_in(std::optional<char> precision, const std::string& file, std::optional<FileFormat> format);

/// Throws UsageError where more than one of the files is standard input.
void require_one_standard_input(std::initializer_list<std::string_view> files);

/// Throws FileError where the matrix isn't square, as what is in those words needs it.
void require_square(const StoredMatrix& file, std::string_view what);

/// The letter of the precision to work in. Throws FileError where it is real and a file is not.
char precision_for(std::optional<char> precision, std::initializer_list<const StoredMatrix*> files);

}  // namespace nuv::tools
