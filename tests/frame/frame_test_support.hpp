#pragma once

// A folder for a test's files, and runs of frame_probe in it.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/child_process.hpp"

namespace nuv::test {

/// A folder that is gone when the test ends.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "nuv_frame_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no folder for the test's files");
    path_ = pattern;
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }
  std::string path(std::string_view relative) const { return (path_ / relative).string(); }

  /// Makes a folder and those above it.
  std::string folder(std::string_view relative) const {
    std::filesystem::create_directories(path_ / relative);
    return path(relative);
  }

  /// Writes a file byte for byte, and makes the folders above it.
  std::string file(std::string_view relative, std::string_view content) const {
    const std::filesystem::path target = path_ / relative;
    std::filesystem::create_directories(target.parent_path());
    std::ofstream stream(target, std::ios::binary);
    stream << content;
    if (!stream.flush()) throw std::runtime_error("could not write " + target.string());
    return target.string();
  }

  void link(std::string_view relative, const std::string& target) const {
    std::filesystem::create_directories((path_ / relative).parent_path());
    std::filesystem::create_symlink(target, path_ / relative);
  }

 private:
  std::filesystem::path path_;
};

using Environment = std::vector<std::pair<std::string, std::optional<std::string>>>;

/// Runs frame_probe with these operations in a folder. Of the variables that the frame reads only those given are set.
inline ChildResult run_probe(const std::string& working_folder, Environment environment,
                             const std::vector<std::string>& operations) {
  ChildCommand command;
  command.arguments = {NUV_FRAME_PROBE};
  command.arguments.insert(command.arguments.end(), operations.begin(), operations.end());
  command.environment = {{"NUV_CFG_FILE", {}}, {"PATH", {}}, {"NUV_PROCESSOR_TIER", {}}};
  command.environment.insert(command.environment.end(), environment.begin(), environment.end());
  command.working_directory = working_folder;
  return run_child(command);
}

}  // namespace nuv::test
