// The reader of tables under arbitrary contents.

#include "tools/table.hpp"

#include "arbitrary_file.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return nuv::tools::read_arbitrary(data, size, nuv::tools::read_table);
}
