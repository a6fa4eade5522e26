#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace nuv::tools {

enum class FileFormat {
  MatrixMarket,
  Npy,    ///< arrays of NumPy
  Csv,    ///< rows of numbers with commas between them
  Table,  ///< rows of numbers with blanks between them
};

/// The format that a name stands for: mtx, npy, csv or table.
std::optional<FileFormat> format_named(std::string_view name);

/// The format that the suffix of a file tells, that in front of .gz where it is packed.
std::optional<FileFormat> format_by_suffix(std::string_view file);

/// Whether the suffix of a file says that it is packed.
bool has_packed_suffix(std::string_view file);

/// The format of a file to be read. Its first bytes tell it where they can, then its suffix, then what was asked for;
/// a file that nothing is known of is a table.
FileFormat format_to_read(std::string_view start, std::string_view file, std::optional<FileFormat> wanted);

/// The format of a file to be written, or of standard output where there is no name: what was asked for, then what the
/// suffix tells, then Matrix Market.
FileFormat format_to_write(const std::optional<std::string>& file, std::optional<FileFormat> wanted);

}  // namespace nuv::tools
