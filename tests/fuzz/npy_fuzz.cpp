// The reader of NumPy's files under arbitrary contents.

#include "tools/npy.hpp"

#include "arbitrary_file.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return nuv::tools::read_arbitrary(data, size, nuv::tools::read_npy);
}
