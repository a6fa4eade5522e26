#include "output.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "error.hpp"

namespace nuv::tools {
namespace {

bool is_standard_output(const struct stat& file) {
  struct stat output;
  return fstat(STDOUT_FILENO, &output) == 0 && output.st_dev == file.st_dev && output.st_ino == file.st_ino;
}

/// The file that a name stands for, behind symbolic links, whether it is there or not.
std::string link_target(std::filesystem::path file) {
  constexpr int longest_chain = 40;  // as the system has it
  std::error_code error;
  for (int k = 0; k < longest_chain && is_symlink(file, error); ++k) {
    file = file.parent_path() / read_symlink(file, error);
  }
  return file.string();
}

}  // namespace

std::string output_name(const std::optional<std::string>& file) {
  return !file || *file == "-" ? "standard output" : *file;
}

Output::Output(const std::optional<std::string>& file, std::optional<FileFormat> wanted)
    : name_(output_name(file)), format_(format_to_write(file, wanted)), descriptor_(STDOUT_FILENO) {
  if (!file || *file == "-") return;
  look_at(*file);
  if (has_packed_suffix(*file)) {
    packer_ = std::make_unique<Packer>([this](std::string_view bytes) { write_through(bytes); });
  }
}

void Output::look_at(const std::string& file) {
  struct stat found;
  target_ = file;
  const bool exists = stat(file.c_str(), &found) == 0;
  if (!exists && errno != ENOENT) fail(errno);
  if (exists && is_standard_output(found)) return;
  descriptor_ = -1;
  if (exists) {
    way_ = Way::InPlace;
    if (S_ISDIR(found.st_mode)) fail(EISDIR);
    if (access(file.c_str(), W_OK) != 0) fail(errno);
  } else {
    way_ = Way::Create;
    target_ = link_target(file);
    if (access(folder_of(target_).c_str(), W_OK | X_OK) != 0) fail(errno);
  }
}

Output::~Output() {
  if (way_ == Way::InPlace && descriptor_ >= 0) ::close(descriptor_);
}

void Output::fail(int error) const {
  if (error == EPIPE) throw ReaderGone();
  throw FileError(name_, fmt::format("cannot write: {}", std::strerror(error)));
}

void Output::open() {
  if (way_ == Way::Create) {
    temporary_.emplace(target_);
    descriptor_ = temporary_->descriptor();
  } else {
    descriptor_ = ::open(target_.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (descriptor_ < 0) fail(errno);
  }
}

void Output::write_through(std::string_view bytes) {
  if (descriptor_ < 0) {
    try {
      open();
    } catch (const std::system_error& error) {
      fail(error.code().value());
    }
  }
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail(errno);
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void Output::write(std::string_view text) {
  packer_ ? packer_->write(text) : write_through(text);
}

void Output::commit() {
  if (packer_) packer_->finish();
  write_through({});  // a result without a byte makes a file, too
  if (way_ == Way::StandardOutput) return;
  const int descriptor = std::exchange(descriptor_, -1);
  if (way_ == Way::InPlace && ::close(descriptor) != 0) fail(errno);
  if (way_ != Way::Create) return;
  try {
    temporary_->keep();
  } catch (const std::system_error& error) {
    fail(error.code().value());
  }
}

}  // namespace nuv::tools
