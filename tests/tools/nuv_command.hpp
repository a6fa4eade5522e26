#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "support/child_process.hpp"

namespace nuv::test {

/// A folder of its own for a test, removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string path() const { return path_.string(); }
  std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

  void write(std::string_view name, std::string_view text) const;
  std::string read(std::string_view name) const;

  /// The names in it, hidden ones too, in order.
  std::vector<std::string> names() const;

 private:
  std::filesystem::path path_;
};

/// The program under test, for a ChildCommand.
std::string nuv_program();

/// Runs nuv in the folder.
ChildResult run_nuv(const TemporaryFolder& folder, const std::vector<std::string>& arguments);

/// Expects one line on standard error, `nuv: ` and the message, nothing on standard output, and the exit status.
void expect_refusal(const ChildResult& result, int exit_status, const std::string& message);

/// The whole text and the groups of it, if the POSIX extended regular expression matches all of the text; else nothing.
std::vector<std::string> match(const std::string& text, const std::string& pattern);

}  // namespace nuv::test
