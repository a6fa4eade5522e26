#include "memory.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

namespace nuv::tools {
namespace {

long double physical_memory() {
  return static_cast<long double>(sysconf(_SC_PHYS_PAGES)) * static_cast<long double>(sysconf(_SC_PAGE_SIZE));
}

}  // namespace

// Sizes whose product leaves the range of integers are still told apart here: 2^31 squared times 16 is exact.
std::optional<std::string> memory_shortage(Int rows, Int columns, std::size_t element_size, int copies,
                                           std::string_view purpose) {
  const long double needed = static_cast<long double>(copies) * rows * columns * static_cast<long double>(element_size);
  const long double there =
      std::min<long double>(physical_memory(), static_cast<long double>(std::numeric_limits<std::ptrdiff_t>::max()));
  if (needed <= there) return std::nullopt;
  constexpr long double gibibyte = 1L << 30;
  return fmt::format("a {} by {} matrix takes {:.3g} GiB to {}, this machine can give {:.3g}", rows, columns,
                     needed / gibibyte, purpose, there / gibibyte);
}

}  // namespace nuv::tools
