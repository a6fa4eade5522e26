// Any bytes as the configuration file. What the reader leaves in the tables is compared with the same rules written
// down in strings.

#include <nuv/nuv_services.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "frame/configuration.hpp"

namespace {

using nuv::name_room;

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "configuration_content_fuzz: %s\n", what);
  std::abort();
}

/// The seven names, kernel libraries first.
using Names = std::array<std::string, 7>;
constexpr int lapack = 5;
constexpr int oql = 6;

Names default_names() {
  Names names;
  std::copy(dll_def_names, dll_def_names + nuv::tier_count, names.begin());
  names[lapack] = dll_def_names_l[0];
  names[oql] = dll_def_names_oql[0];
  return names;
}

Names names_in_tables() {
  Names names;
  std::copy(std::begin(nuv::dll_cfg_names), std::end(nuv::dll_cfg_names), names.begin());
  names[lapack] = nuv::dll_cfg_names_l;
  names[oql] = nuv::dll_cfg_names_oql;
  return names;
}

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

void apply(std::string_view line, Names& names) {
  constexpr std::pair<std::string_view, int> keys[] = {{"nuv_x87so=", 0},        {"nuv_sse1so=", 1},
                                                       {"nuv_sse2so=", 2},       {"nuv_sse3so=", 3},
                                                       {"nuv_intervalso=", oql}, {"nuv_lapackso=", lapack}};
  std::string folded;
  for (const char c : line) {
    if (!is_blank(c)) folded += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  if (line.ends_with('\n') || line.ends_with('\r')) line.remove_suffix(1);
  while (!line.empty() && is_blank(line.back())) line.remove_suffix(1);
  for (const auto& [key, name] : keys) {
    if (!folded.starts_with(key)) continue;
    const std::string_view value = line.substr(line.find('=') + 1);
    if (!value.empty()) names[name] = value;
  }
}

Names expected_names(std::string_view content) {
  Names names = default_names();
  while (!content.empty()) {
    const std::size_t end = std::min(content.find('\n'), content.size() - 1) + 1;
    std::string_view line = content.substr(0, std::min<std::size_t>(end, name_room - 1));
    content.remove_prefix(line.size());
    apply(line.substr(0, line.find('\0')), names);
  }
  return names;
}

/// A file in memory, which the reader opens by a path.
int configuration_file() {
  static const int file = [] {
    const int descriptor = memfd_create("nuv.cfg", 0);
    require(descriptor >= 0, "no file in memory");
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    setenv("NUV_CFG_FILE", path.c_str(), 1);
    return descriptor;
  }();
  return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const int file = configuration_file();
  require(ftruncate(file, 0) == 0 && pwrite(file, data, size, 0) == static_cast<ssize_t>(size), "can't write the file");

  require(nuv_cfg_file(0) == nuv::configuration_file_read, "the file was not read");
  require(names_in_tables() == expected_names({reinterpret_cast<const char*>(data), size}), "names differ");
  require(nuv_cfg_file(0) == nuv::configuration_was_read_before, "the second call is not told as such");
  nuv::forget_configuration();

  require(nuv_cfg_file(1) == nuv::configuration_file_read, "the file was not read without keys");
  require(names_in_tables() == default_names(), "a key was applied");
  nuv::forget_configuration();
  return 0;
}
