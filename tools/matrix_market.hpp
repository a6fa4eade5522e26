#pragma once

// Reader of the Matrix Market exchange format (R. F. Boisvert, R. Pozo, K. A. Remington, "The Matrix Market Exchange
// Formats: Initial Design", NISTIR 5935, 1996).
//
// Accepted: array and coordinate layout; real, complex and integer fields; general, symmetric, skew-symmetric and
// hermitian symmetry. Words of the banner are read without regard to case; comment lines and blank lines may stand
// anywhere after it; lines may end in LF or CR LF. Exponents may begin with Fortran's d. An array may have any number
// of values on a line, coordinates have one entry on each. A symmetric matrix is stored by its lower triangle, a
// skew-symmetric one by its strictly lower triangle. Coordinate entries given more than once are summed, as the
// assembly of finite elements writes them.

#include "decimal.hpp"
#include "input.hpp"
#include "stored_matrix.hpp"

namespace nuv::tools {

/// Reads a matrix in that format. Throws FileError for whatever isn't a well-formed file of finite numbers, and for
/// sizes whose entries can't be held in memory.
StoredMatrix read_matrix_market(Input& input, Precision precision);

}  // namespace nuv::tools
