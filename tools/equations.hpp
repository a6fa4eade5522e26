#pragma once

// What the commands share that read a matrix A and right-hand sides B from files and write an X.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/types.hpp"
#include "dense_matrix.hpp"
#include "error.hpp"
#include "matrix_file.hpp"
#include "matrix_writer.hpp"
#include "memory.hpp"
#include "output.hpp"
#include "precision.hpp"
#include "stored_matrix.hpp"

namespace nuv::tools {

struct EquationOptions : MatrixOptions {
  std::string right_hand_side_file;
  std::optional<std::string> output_file;  ///< none: standard output
};

/// The two files as they stand there.
struct EquationFiles {
  StoredMatrix a, b;
};

EquationFiles read_equation_files(const EquationOptions& options);

/// Refuses a rows by columns matrix from that file where so many copies of it are more than the machine can hold. Two
/// are the least: a solver overwrites its arguments, and the residual needs the originals.
void require_memory(const StoredMatrix& file, Int rows, Int columns, std::size_t element_size, int copies = 2);

/// Writes a matrix and makes it final.
template <Scalar T>
void write_result(const DenseMatrix<T>& x, Output& output) {
  write_matrix(x, output.format(), [&](std::string_view text) { output.write(text); });
  output.commit();
}

/// The same for numbers, as an array of one column.
template <RealScalar R>
void write_result(const std::vector<R>& numbers, Output& output) {
  DenseMatrix<R> column(static_cast<Int>(numbers.size()), 1);
  column.elements = numbers;
  write_result(column, output);
}

/// Runs a command; memory that there is not becomes a FileError about the matrix.
template <class Command>
void within_memory(const EquationOptions& options, Command command) {
  within_memory(options.matrix_file, "the system does not fit into memory", command);
}

}  // namespace nuv::tools
