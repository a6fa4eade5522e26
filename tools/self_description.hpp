#pragma once

#include <string>

namespace CLI {
class App;
}

namespace nuv::tools {

/// Name of the check of options and arguments that are names of files.
inline constexpr const char* file_check = "file name";

/// All that a command line may say, as its parser knows it, in JSON: the program with its commands, each with what it
/// is for, its arguments and its options. The manual page and what the shell completes are made from this, so that
/// nothing is written down twice.
std::string description_in_json(CLI::App& program);

}  // namespace nuv::tools
