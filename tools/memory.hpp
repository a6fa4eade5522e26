#pragma once

#include <cstddef>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "base/types.hpp"
#include "error.hpp"

namespace nuv::tools {

/// A message if something takes more bytes for a purpose than this process can have; nothing where they fit.
std::optional<std::string> memory_shortage(std::string_view what, long double bytes, std::string_view purpose);

/// The same for so many copies of a rows by columns matrix.
std::optional<std::string> memory_shortage(Int rows, Int columns, std::size_t element_size, int copies,
                                           std::string_view purpose);

/// Runs a command; memory that there is not becomes a FileError with that message.
template <class Command>
void within_memory(std::string_view file, std::string_view message, Command command) {
  try {
    command();
  } catch (const std::bad_alloc&) {
    throw FileError(file, message);
  } catch (const std::length_error&) {
    throw FileError(file, message);
  }
}

}  // namespace nuv::tools
