#pragma once

// Reader of plain tables: rows of numbers with commas, semicolons or blanks between them.

#include "input.hpp"
#include "stored_matrix.hpp"

namespace nuv::tools {

/// Reads a table. The first row tells what stands between numbers: semicolons, commas, or else blanks and tabs, any
/// number of them. A first row without a number is a header and skipped. Lines whose first word begins with # or % are
/// comments. Complex numbers are written 1+2i, with i or j, perhaps in parentheses. Throws FileError for whatever isn't
/// such a table of finite numbers with equally many in each row.
StoredMatrix read_table(Input& input, Precision precision);

}  // namespace nuv::tools
