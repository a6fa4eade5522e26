#pragma once

// Options that several commands have, and what their values must be.

#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <charconv>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "error.hpp"
#include "matrix_file.hpp"

namespace nuv::tools {

inline constexpr std::string_view about_input =
    "Files may be in the Matrix Market format (.mtx: array or coordinate, real, complex or integer, with any "
    "symmetry;\n"
    "entries given more than once are summed), in NumPy's (.npy), or tables (.csv; .txt, .tsv and .dat: blanks "
    "between\n"
    "numbers), packed by gzip or not; - is standard input or output. What a file begins with, or else its suffix, "
    "tells\n"
    "its format; --format is for files that don't, and for the output whatever its suffix. ";
inline constexpr std::string_view about_answer =
    "Exit status: 0 answered, 1 not answered (one line on standard error says why), 2 wrong usage.";
inline constexpr const char* about_square = "File of the square matrix";
inline constexpr const char* about_tolerance = "Share of the largest up to which others count as zero, see below";

const CLI::Validator& not_empty();

/// Takes digits, and drops the zeros that would make the parser read octal ones.
template <class T>
CLI::Validator whole_number(T least = 0, T largest = std::numeric_limits<T>::max()) {
  return CLI::Validator(
      [=](std::string& text) {
        T value = 0;
        const char* const end = text.data() + text.size();
        const auto [stop, status] = std::from_chars(text.data(), end, value);
        const bool is_number = status == std::errc() && stop == end && !text.starts_with('-');
        if (!is_number || value < least || value > largest) {
          return fmt::format("{} is not a whole number from {} to {}", in_quotes(text), least, largest);
        }
        text = std::to_string(value);
        return std::string();
      },
      "");
}

void add_output_option(CLI::App& command, std::optional<std::string>& file, const std::string& about_file);

void add_precision_option(CLI::App& command, std::optional<char>& precision,
                          const std::string& default_precision = "d, or z for complex data");

void add_format_option(CLI::App& command, std::optional<FileFormat>& format);

/// What the commands have in common that read a matrix.
void add_matrix_options(CLI::App& command, MatrixOptions& options, const std::string& about_matrix);

void add_force_option(CLI::App& command, bool& force, const std::string& what);

/// What all commands have that compute: --threads, --json and --quiet, which hold for the whole process.
void add_common_options(CLI::App& command);

}  // namespace nuv::tools
