#pragma once

// Bytes packed by gzip (P. Deutsch, GZIP file format specification, RFC 1952, 1996), by way of zlib.

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "input.hpp"

namespace nuv::tools {

/// Whether a file that begins so is packed.
bool is_gzip(std::string_view start);

/// The bytes that are packed in a source. The name is for messages.
std::unique_ptr<ByteSource> unpacked(std::unique_ptr<ByteSource> packed, std::string name);

/// Packs what it is given and hands it on.
class Packer {
 public:
  using Sink = std::function<void(std::string_view)>;

  explicit Packer(Sink sink);
  ~Packer();
  Packer(const Packer&) = delete;
  Packer& operator=(const Packer&) = delete;

  void write(std::string_view bytes);

  /// Hands on all that is left. Nothing may be written after it.
  void finish();

 private:
  struct Stream;

  void pack(std::string_view bytes, int flush);

  Sink sink_;
  std::unique_ptr<Stream> stream_;
};

}  // namespace nuv::tools
