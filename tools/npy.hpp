#pragma once

// Reader of NumPy's files of one array, versions 1 to 3 (R. Kern, "A Simple File Format for NumPy Arrays", 2007).

#include <cstdint>
#include <string>

#include "base/types.hpp"
#include "input.hpp"
#include "stored_matrix.hpp"

namespace nuv::tools {

/// Reads an array of at most two dimensions of real, complex or integer numbers, in either order of the elements and of
/// the bytes; one of one dimension is a column. Throws FileError for whatever isn't such a file of finite numbers, for
/// numbers beyond the precision, and for sizes that can't be held in memory.
StoredMatrix read_npy(Input& input, Precision precision);

/// What stands in front of the elements of a rows by columns matrix that are written down the columns, in the order of
/// this machine's bytes. type: f for real numbers, c for complex ones; size: of one, in bytes
std::string npy_header(char type, std::size_t size, Int rows, Int columns);

}  // namespace nuv::tools
