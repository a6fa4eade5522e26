#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace nuv::tools {

/// Where bytes come from.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  /// Fills the room as far as there are bytes; fewer than that only at the end.
  virtual std::size_t read(char* room, std::size_t size) = 0;
};

/// The bytes of a file, of standard input or of memory, unpacked where they are packed by gzip, whatever the name says.
/// What goes wrong is a FileError.
class Input {
 public:
  /// The named file, or standard input for `-`.
  static Input open(const std::string& file);

  /// Bytes in memory, which must outlive the object.
  static Input of(std::string_view bytes, std::string name);

  /// As messages give it.
  const std::string& name() const { return name_; }

  /// The first bytes, up to a few; read() gives them again.
  std::string_view start() const { return start_; }

  /// Fills the room as far as there are bytes; fewer than that only at the end.
  std::size_t read(char* room, std::size_t size);

  /// How many bytes there are, where that is known before they are read.
  std::optional<std::uint64_t> size() const { return size_; }

  /// From now on `reach` is told, after each read, the share of the file that was read, where the size of the file is
  /// known. It may be called from any thread, one at a time.
  void tell(std::function<void(double)> reach) { reach_ = std::move(reach); }

 private:
  class Counted;

  Input(std::string name, std::unique_ptr<ByteSource> source, std::optional<std::uint64_t> size);

  std::string name_;
  std::optional<std::uint64_t> size_, packed_size_;
  std::unique_ptr<ByteSource> source_;
  const Counted* counted_ = nullptr;  ///< the bytes of the file itself, at the root of the source
  std::string start_;
  std::function<void(double)> reach_;
};

}  // namespace nuv::tools
