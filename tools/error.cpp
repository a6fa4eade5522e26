#include "error.hpp"

#include <fmt/format.h>

#include <iterator>

namespace nuv::tools {

FileError::FileError(std::string_view file, std::string_view message)
    : std::runtime_error(fmt::format("{}: {}", shown(file), message)) {}

FileError::FileError(std::string_view file, std::size_t line, std::string_view message)
    : std::runtime_error(line == 0 ? fmt::format("{}: {}", shown(file), message)
                                   : fmt::format("{}:{}: {}", shown(file), line, message)) {}

std::string shown(std::string_view file) {
  return file == "-" ? "standard input" : printable(file);
}

std::string printable(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    if (code < 0x20 || code == 0x7f) {
      fmt::format_to(std::back_inserter(result), "\\x{:02x}", code);
    } else {
      result += c;
    }
  }
  return result;
}

std::string in_quotes(std::string_view word) {
  constexpr std::size_t longest = 40;
  const bool cut = word.size() > longest;
  return fmt::format("'{}{}'", printable(word.substr(0, longest)), cut ? "..." : "");
}

}  // namespace nuv::tools
