// Any values of NUV_CFG_FILE and PATH, in a folder with configuration files of every sort. Which file is read is
// compared with the search written down in strings. Input: the first value, a line feed, the second value.

#include <nuv/nuv_services.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "frame/configuration.hpp"

namespace {

using nuv::name_room;
namespace fs = std::filesystem;

void require(bool condition, const char* what) {
  if (condition) return;
  std::fprintf(stderr, "configuration_environment_fuzz: %s\n", what);
  std::abort();
}

fs::path scratch_folder;

/// Each file tells its own name in the entry of this library.
void make_files() {
  std::string pattern = (fs::temp_directory_path() / "nuv_fuzz_XXXXXX").string();
  require(mkdtemp(pattern.data()) != nullptr, "no folder to work in");
  scratch_folder = pattern;
  std::atexit([] { fs::remove_all(scratch_folder); });
  for (const char* file : {"a/nuv.cfg", "b/other", "c.nuv.cfg", ".nuv.cfg", "d e/nuv.cfg", "f/nuv.cfg/nuv.cfg"}) {
    fs::create_directories((scratch_folder / file).parent_path());
    std::ofstream(scratch_folder / file) << "nuv_lapackso=" << file << "\n";
  }
  fs::create_directories(scratch_folder / "g/nuv.cfg");
}

/// The path as the reader spells it, if there is a file to read.
std::optional<std::string> readable(const std::string& path) {
  if (path.size() >= name_room) return std::nullopt;
  std::error_code ignored;
  if (fs::is_directory(path, ignored)) return std::nullopt;
  if (std::FILE* file = std::fopen(path.c_str(), "r")) {
    std::fclose(file);
    return path;
  }
  return std::nullopt;
}

std::optional<std::string> found_along(std::string path) {
  path += ":./:";
  for (std::size_t begin = 0, end; (end = path.find(':', begin)) != std::string::npos; begin = end + 1) {
    std::string element = path.substr(begin, end - begin);
    if (element.size() >= name_room) continue;
    while (!element.empty() && (element.back() == ' ' || element.back() == '\t')) element.pop_back();
    if (!element.ends_with('.') && !element.ends_with('/')) element += '/';
    if (auto found = readable(element + "nuv.cfg")) return found;
  }
  return std::nullopt;
}

std::optional<std::string> expected_file(const std::string& variable, const std::string& path) {
  const std::string first = variable.empty() ? "nuv.cfg" : variable;
  if (auto found = readable(first)) return found;
  if (auto found = readable(first + "/nuv.cfg")) return found;
  return found_along(path);
}

std::string first_line(const std::string& path) {
  std::string line;
  std::ifstream file(path);
  std::getline(file, line);
  return line;
}

/// Works in the folder of those files while it lives; the fuzzer itself goes by paths from where it was started.
class InScratchFolder {
 public:
  InScratchFolder() : before_(fs::current_path()) { fs::current_path(scratch_folder); }
  ~InScratchFolder() { fs::current_path(before_); }

 private:
  fs::path before_;
};

/// Devices and the like may never come to an end, and the files of a process change under the reader's eyes.
bool leads_outside(std::string_view text) {
  return text.find("/dev") != text.npos || text.find("/proc") != text.npos || text.find("/sys") != text.npos ||
         text.find("/run") != text.npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  if (scratch_folder.empty()) make_files();
  const std::string input(reinterpret_cast<const char*>(data), size);
  if (leads_outside(input)) return -1;
  const InScratchFolder folder;
  const std::string variable = input.substr(0, input.find('\n')).c_str();
  const std::string path = input.find('\n') == input.npos ? "" : input.substr(input.find('\n') + 1).c_str();
  setenv("NUV_CFG_FILE", variable.c_str(), 1);
  setenv("PATH", path.c_str(), 1);

  const auto expected = expected_file(variable, path);
  const int result = nuv_cfg_file(0);
  require(result == (expected ? nuv::configuration_file_read : nuv::no_configuration_file), "wrong result");
  const std::string key = "nuv_lapackso=";
  if (expected && first_line(*expected).starts_with(key)) {
    require(first_line(*expected) == key + nuv::dll_cfg_names_l, "another file was read");
  }
  nuv::forget_configuration();

  char found[name_room] = "";
  const auto expected_path = found_along(path);
  require(SearchPath(nullptr, "nuv.cfg", nullptr, 0, found) == static_cast<int>(std::strlen(found)), "wrong length");
  require(found == expected_path.value_or(""), "another path was found");
  return 0;
}
