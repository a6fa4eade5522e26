#pragma once

#include <string>

namespace nuv::tools {

/// A file under a name that nobody looks for, until it is whole and takes its own.
///
/// It is removed with the object, and where a signal ends the process: SIGINT, SIGTERM, SIGHUP, SIGQUIT or SIGXFSZ,
/// unless it is ignored. The process dies by the signal all the same.
class TemporaryFile {
 public:
  /// Creates the file that is to become `target`, in the folder of that. Throws std::system_error.
  explicit TemporaryFile(const std::string& target);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  int descriptor() const { return descriptor_; }

  /// Closes the file and gives it its name. Throws std::system_error.
  void keep();

 private:
  std::string target_, name_;
  int descriptor_ = -1;
};

/// The folder that a file stands in.
std::string folder_of(const std::string& file);

}  // namespace nuv::tools
