#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace nuv::tools {

/// A failure that one line explains: `FILE: message` or, where a line of the file is to blame, `FILE:LINE: message`;
/// line 0 stands for none.
class FileError : public std::runtime_error {
 public:
  FileError(std::string_view file, std::string_view message);
  FileError(std::string_view file, std::size_t line, std::string_view message);
};

/// A command that contradicts itself, beyond what the parser of the command line sees.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What a file is called in messages that `-` may stand for, which is standard input there.
std::string shown(std::string_view file);

/// The text with its control characters spelled out, so that whatever a file holds fits on one line of a terminal.
std::string printable(std::string_view text);

/// A word from a file in quotes, printable and cut to a length that suits a message.
std::string in_quotes(std::string_view word);

}  // namespace nuv::tools
