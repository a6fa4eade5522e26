#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "file_format.hpp"
#include "gzip.hpp"
#include "temporary_file.hpp"

namespace nuv::tools {

/// Who read what is written went away, and wants no more of it: no failure that a message would help with.
class ReaderGone : public std::runtime_error {
 public:
  ReaderGone() : std::runtime_error("the reader of the output went away") {}
};

/// What an output is called in messages: standard output, or the name of the file.
std::string output_name(const std::optional<std::string>& file);

/// Where a result goes: standard output or a file, written as a shell's `>` would write it, but not before there is a
/// result.
///
/// A file that wasn't there appears whole or not at all: it is written under a temporary name in its folder, and takes
/// its own in commit(). One that was there is written in place, so that it keeps its owner, its permissions and all of
/// its names; it is emptied only when the first piece of the result comes, hence not by a run that fails before.
/// Devices and pipes are written to directly. A symbolic link leads to its target, which may have to be created.
///
/// What goes to a file whose name ends in .gz is packed. Every failure is a FileError but for the ReaderGone of a pipe.
class Output {
 public:
  /// The named file; standard output for none, and for `-`. Nothing is created yet, but a folder and what can't be
  /// written are refused here, before a caller puts hours into the result.
  explicit Output(const std::optional<std::string>& file = std::nullopt,
                  std::optional<FileFormat> wanted = std::nullopt);

  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// What is to be written there.
  FileFormat format() const { return format_; }

  void write(std::string_view text);

  /// Makes the result final. Nothing may be written after it.
  void commit();

 private:
  enum class Way { StandardOutput, InPlace, Create };

  void look_at(const std::string& file);
  void open();
  void write_through(std::string_view bytes);
  [[noreturn]] void fail(int error) const;

  std::string name_;  ///< as messages give it
  FileFormat format_;
  Way way_ = Way::StandardOutput;
  std::string target_;  ///< with symbolic links resolved
  int descriptor_ = -1;
  std::optional<TemporaryFile> temporary_;  ///< while a file is created
  std::unique_ptr<Packer> packer_;
};

}  // namespace nuv::tools
