#include "temporary_file.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace nuv::tools {
namespace {

// The names of files that must not outlive the process. More at the same time than there are outputs of a command is a
// mistake in it.
std::array<std::atomic<const char*>, 8> doomed;

/// Runs as a handler, also in a thread that came with a library: what it calls is allowed there.
extern "C" void remove_and_die(int signal) {
  for (const auto& name : doomed) {
    if (const char* const file = name.load()) ::unlink(file);
  }
  // The handler is gone by now, and the signal held back until this returns.
  ::raise(signal);
}

void handle_signals() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXFSZ}) {
    struct sigaction before, action = {};
    if (sigaction(signal, nullptr, &before) != 0 || before.sa_handler != SIG_DFL) continue;
    action.sa_handler = remove_and_die;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigfillset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
  }
}

void doom(const char* file) {
  [[maybe_unused]] static const bool handled = (handle_signals(), true);
  for (auto& name : doomed) {
    const char* none = nullptr;
    if (name.compare_exchange_strong(none, file)) return;
  }
  throw std::logic_error("too many files are written at the same time");
}

void spare(const char* file) {
  for (auto& name : doomed) {
    const char* expected = file;
    if (name.compare_exchange_strong(expected, nullptr)) return;
  }
}

[[noreturn]] void fail(int error = errno) {
  throw std::system_error(error, std::generic_category());
}

}  // namespace

std::string folder_of(const std::string& file) {
  const std::string folder = std::filesystem::path(file).parent_path().string();
  return folder.empty() ? "." : folder;
}

TemporaryFile::TemporaryFile(const std::string& target) : target_(target) {
  for (unsigned attempt = 0; descriptor_ < 0; ++attempt) {
    name_ = fmt::format("{}/.nuv-{}-{}", folder_of(target_), getpid(), attempt);
    doom(name_.c_str());  // before it is there, lest a signal comes between
    descriptor_ = ::open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor_ >= 0) return;
    const int error = errno;
    spare(name_.c_str());
    if (error != EEXIST) fail(error);
  }
}

TemporaryFile::~TemporaryFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
  if (name_.empty()) return;
  ::unlink(name_.c_str());
  spare(name_.c_str());
}

void TemporaryFile::keep() {
  if (::close(std::exchange(descriptor_, -1)) != 0) fail();
  if (::rename(name_.c_str(), target_.c_str()) != 0) fail();
  spare(name_.c_str());
  name_.clear();
}

}  // namespace nuv::tools
