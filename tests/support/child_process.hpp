#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace nuv::test {

/// A program to run as a child. Standard input is empty; both output streams are captured byte for byte.
struct ChildCommand {
  /// The program and its arguments. A program without a slash is looked up in PATH.
  std::vector<std::string> arguments;

  /// Changes to the inherited environment, made in order: a value sets the variable, std::nullopt removes it.
  std::vector<std::pair<std::string, std::optional<std::string>>> environment = {};

  /// Folder to run in; empty: the caller's.
  std::string working_directory = {};

  /// File that standard output goes to instead of being captured (opened for writing, never created).
  std::string output_file = {};

  /// After this long the child and every process of its group are killed.
  std::chrono::milliseconds time_limit = std::chrono::minutes(2);
};

struct ChildResult {
  int exit_status = -1;  ///< as given to exit; -1 when a signal ended the child
  int signal = 0;        ///< the signal that ended the child, 0 for a normal exit
  bool timed_out = false;
  std::string output;  ///< standard output
  std::string error;   ///< standard error

  bool succeeded() const { return exit_status == 0 && !timed_out; }
};

/// Runs a command to its end. Throws std::system_error when it can't be started.
ChildResult run_child(const ChildCommand& command);

/// Readable account of a result, for test messages.
std::string to_string(const ChildResult& result);

}  // namespace nuv::test
