#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace nuv::tools {

/// Where a result goes: standard output, or a file that appears whole or not at all.
///
/// A regular file is written under a temporary name in its folder and takes its own name in commit(); without that the
/// temporary is removed again. What exists and isn't a regular file, a device or a pipe, is written to directly.
/// Every failure is a FileError.
class Output {
 public:
  /// Standard output.
  Output();

  /// The named file. Nothing is created yet, but a folder and what can't be written are refused here, before a caller
  /// puts hours into the result.
  explicit Output(const std::string& file);

  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void write(std::string_view text);

  /// Makes the result final. Nothing may be written after it.
  void commit();

 private:
  enum class Way { StandardOutput, Direct, Replace };

  void open();
  void open_temporary();
  [[noreturn]] void fail(std::string_view what, int error) const;

  std::string name_;  ///< as messages give it
  Way way_;
  std::string target_;     ///< for Replace, with symbolic links resolved
  std::string temporary_;  ///< name of the temporary while it exists
  mode_t mode_ = 0666;     ///< of the file to replace, or what the process's mask is applied to
  bool replaces_ = false;
  int descriptor_ = -1;
};

}  // namespace nuv::tools
