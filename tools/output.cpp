#include "output.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "error.hpp"

namespace nuv::tools {
namespace {

std::string folder_of(const std::string& file) {
  const std::string folder = std::filesystem::path(file).parent_path().string();
  return folder.empty() ? "." : folder;
}

bool is_standard_output(const struct stat& file) {
  struct stat output;
  return fstat(STDOUT_FILENO, &output) == 0 && output.st_dev == file.st_dev && output.st_ino == file.st_ino;
}

}  // namespace

Output::Output() : name_("standard output"), way_(Way::StandardOutput), descriptor_(STDOUT_FILENO) {}

Output::Output(const std::string& file) : name_(file), way_(Way::Replace), target_(file) {
  struct stat found;
  if (stat(file.c_str(), &found) != 0) {
    if (errno != ENOENT) fail("cannot write", errno);
    if (access(folder_of(file).c_str(), W_OK | X_OK) != 0) fail("cannot write", errno);
  } else if (S_ISDIR(found.st_mode)) {
    fail("cannot write", EISDIR);
  } else if (is_standard_output(found)) {
    way_ = Way::StandardOutput;
    descriptor_ = STDOUT_FILENO;
  } else if (access(file.c_str(), W_OK) != 0) {
    fail("cannot write", errno);
  } else if (!S_ISREG(found.st_mode)) {
    way_ = Way::Direct;
  } else {
    target_ = std::filesystem::canonical(file).string();
    mode_ = found.st_mode & 07777;
    replaces_ = true;
  }
}

Output::~Output() {
  if (way_ != Way::StandardOutput && descriptor_ >= 0) ::close(descriptor_);
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
}

void Output::fail(std::string_view what, int error) const {
  throw FileError(name_, fmt::format("{}: {}", what, std::strerror(error)));
}

void Output::open_temporary() {
  for (unsigned attempt = 0; descriptor_ < 0; ++attempt) {
    const std::string name = fmt::format("{}/.nuv-{}-{}", folder_of(target_), getpid(), attempt);
    descriptor_ = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode_);
    if (descriptor_ >= 0) temporary_ = name;
    if (descriptor_ < 0 && errno != EEXIST) fail("cannot write", errno);
  }
  if (replaces_ && fchmod(descriptor_, mode_) != 0) fail("cannot write", errno);
}

void Output::open() {
  if (way_ == Way::Replace) return open_temporary();
  descriptor_ = ::open(target_.c_str(), O_WRONLY | O_CLOEXEC);
  if (descriptor_ < 0) fail("cannot write", errno);
}

void Output::write(std::string_view text) {
  if (descriptor_ < 0) open();
  while (!text.empty()) {
    const ssize_t count = ::write(descriptor_, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) fail("cannot write", errno);
    text.remove_prefix(static_cast<std::size_t>(count));
  }
}

void Output::commit() {
  if (way_ == Way::StandardOutput) return;
  if (descriptor_ < 0) open();
  const int descriptor = descriptor_;
  descriptor_ = -1;
  if (::close(descriptor) != 0) fail("cannot write", errno);
  if (way_ != Way::Replace) return;
  if (::rename(temporary_.c_str(), target_.c_str()) != 0) fail("cannot write", errno);
  temporary_.clear();
}

}  // namespace nuv::tools
