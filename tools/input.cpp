#include "input.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "error.hpp"
#include "gzip.hpp"

namespace nuv::tools {
namespace {

/// An open file, closed in the end unless it is standard input.
class FileSource : public ByteSource {
 public:
  FileSource(int descriptor, std::string name) : descriptor_(descriptor), name_(std::move(name)) {}
  ~FileSource() override {
    if (descriptor_ != STDIN_FILENO) ::close(descriptor_);
  }
  FileSource(const FileSource&) = delete;
  FileSource& operator=(const FileSource&) = delete;

  std::size_t read(char* room, std::size_t size) override {
    std::size_t filled = 0;
    while (filled < size) {
      const ssize_t count = ::read(descriptor_, room + filled, size - filled);
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) throw FileError(name_, fmt::format("cannot read: {}", std::strerror(errno)));
      if (count == 0) break;
      filled += static_cast<std::size_t>(count);
    }
    return filled;
  }

  /// Of a regular file: how much of it is still to be read.
  std::optional<std::uint64_t> size() const {
    struct stat found;
    if (fstat(descriptor_, &found) != 0 || !S_ISREG(found.st_mode) || found.st_size == 0) return std::nullopt;
    const off_t at = lseek(descriptor_, 0, SEEK_CUR);
    return static_cast<std::uint64_t>(std::max<off_t>(found.st_size - std::max<off_t>(at, 0), 0));
  }

 private:
  int descriptor_;
  std::string name_;
};

class MemorySource : public ByteSource {
 public:
  explicit MemorySource(std::string_view bytes) : bytes_(bytes) {}

  std::size_t read(char* room, std::size_t size) override {
    const std::size_t count = bytes_.copy(room, size);
    bytes_.remove_prefix(count);
    return count;
  }

 private:
  std::string_view bytes_;
};

/// Bytes that were read to see what they are, and those behind them.
class WithStart : public ByteSource {
 public:
  WithStart(std::string start, std::unique_ptr<ByteSource> rest) : start_(std::move(start)), rest_(std::move(rest)) {}

  std::size_t read(char* room, std::size_t size) override {
    const std::size_t count = start_.copy(room, size);
    start_.erase(0, count);
    return count + rest_->read(room + count, size - count);
  }

 private:
  std::string start_;
  std::unique_ptr<ByteSource> rest_;
};

int open_descriptor(const std::string& file) {
  const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) throw FileError(file, fmt::format("cannot open: {}", std::strerror(errno)));
  return descriptor;
}

/// The first bytes of a source; it begins with them all the same.
std::string look_at_start(std::unique_ptr<ByteSource>& source) {
  constexpr std::size_t few = 64;
  std::string start(few, '\0');
  start.resize(source->read(start.data(), few));
  source = std::make_unique<WithStart>(start, std::move(source));
  return start;
}

}  // namespace

/// Counts what is read from a file, packed or not.
class Input::Counted : public ByteSource {
 public:
  explicit Counted(std::unique_ptr<ByteSource> source) : source_(std::move(source)) {}

  std::size_t read(char* room, std::size_t size) override {
    const std::size_t count = source_->read(room, size);
    count_ += count;
    return count;
  }

  std::uint64_t count() const { return count_; }

 private:
  std::unique_ptr<ByteSource> source_;
  std::uint64_t count_ = 0;
};

Input::Input(std::string name, std::unique_ptr<ByteSource> source, std::optional<std::uint64_t> size)
    : name_(std::move(name)), size_(size), packed_size_(size) {
  auto counted = std::make_unique<Counted>(std::move(source));
  counted_ = counted.get();
  source_ = std::move(counted);
  start_ = look_at_start(source_);
  if (!is_gzip(start_)) return;
  size_.reset();
  source_ = unpacked(std::move(source_), name_);
  start_ = look_at_start(source_);
}

Input Input::open(const std::string& file) {
  const std::string name = file == "-" ? shown(file) : file;
  const int descriptor = file == "-" ? STDIN_FILENO : open_descriptor(file);
  auto source = std::make_unique<FileSource>(descriptor, name);
  struct stat found;
  if (fstat(descriptor, &found) == 0 && S_ISDIR(found.st_mode)) {
    throw FileError(name, std::strerror(EISDIR));
  }
  const auto size = source->size();
  return Input(name, std::move(source), size);
}

Input Input::of(std::string_view bytes, std::string name) {
  return Input(std::move(name), std::make_unique<MemorySource>(bytes), bytes.size());
}

std::size_t Input::read(char* room, std::size_t size) {
  const std::size_t count = source_->read(room, size);
  if (reach_ && packed_size_ && *packed_size_ > 0) {
    reach_(std::min(1., static_cast<double>(counted_->count()) / static_cast<double>(*packed_size_)));
  }
  return count;
}

}  // namespace nuv::tools
