#include "memory.hpp"

#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

namespace nuv::tools {
namespace {

/// What this process can have: what the machine has, what its limits allow, and what it can address.
long double memory_there() {
  const long double machine =
      static_cast<long double>(sysconf(_SC_PHYS_PAGES)) * static_cast<long double>(sysconf(_SC_PAGE_SIZE));
  long double there = std::min<long double>(machine, std::numeric_limits<std::ptrdiff_t>::max());
  rlimit limit;
  if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) {
    there = std::min<long double>(there, limit.rlim_cur);
  }
  return there;
}

}  // namespace

std::optional<std::string> memory_shortage(std::string_view what, long double bytes, std::string_view purpose) {
  const long double there = memory_there();
  if (bytes <= there) return std::nullopt;
  constexpr long double gibibyte = 1L << 30;
  return fmt::format("{} takes {:.3g} GiB to {}, this machine can give {:.3g}", what, bytes / gibibyte, purpose,
                     there / gibibyte);
}

// Sizes whose product leaves the range of integers are still told apart here: 2^31 squared times 16 is exact.
std::optional<std::string> memory_shortage(Int rows, Int columns, std::size_t element_size, int copies,
                                           std::string_view purpose) {
  const long double bytes = static_cast<long double>(copies) * rows * columns * static_cast<long double>(element_size);
  return memory_shortage(fmt::format("a {} by {} matrix", rows, columns), bytes, purpose);
}

}  // namespace nuv::tools
