// Works the frame's once-per-process services in a process of its own and prints what came of it, one line for each
// operation given on the command line:
//
//   cfg:ARGUMENT   runs nuv_cfg_file             word           the exported result word
//   search:NAME    runs SearchPath               tables         the tables of library names
//   detect         runs nuv_serv_cpu_detect      state          processor tier and kernel library in use
//   load           runs nuv_serv_load_dll        unbind         forgets the kernel library
//   opened         paths tried with fopen        held           files that are open now and were not at the start
//   tier:NUMBER    sets the processor tier       tell_opens     from now on, what dlopen is asked while what is bound
//   meanwhile:OPERATION                          runs it in another thread during the next call of dlopen
//
// Texts stand in square brackets, so that blanks and carriage returns at their ends are seen.

#include <dlfcn.h>
#include <nuv/nuv_services.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "frame/binding.hpp"
#include "frame/configuration.hpp"
#include "frame/processor.hpp"

namespace {

std::vector<std::string>& opened_paths() {
  static std::vector<std::string> paths;
  return paths;
}

std::FILE* open_and_note(const char* path, const char* mode, const char* real_function) {
  if (std::string_view(mode) == "rt") opened_paths().emplace_back(path);
  using Open = std::FILE*(const char*, const char*);
  return reinterpret_cast<Open*>(dlsym(RTLD_NEXT, real_function))(path, mode);
}

std::set<std::string> open_files() {
  std::set<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    const auto target = std::filesystem::read_symlink(entry.path(), ignored);
    if (!target.empty() && !target.string().starts_with("/proc/")) files.insert(target);
  }
  return files;
}

void print_tables() {
  for (int tier = 0; tier < nuv::tier_count; ++tier) std::printf("%d [%s]\n", tier, nuv::dll_cfg_names[tier]);
  std::printf("lapack [%s]\noql [%s]\n", nuv::dll_cfg_names_l, nuv::dll_cfg_names_oql);
}

void search(const std::string& name) {
  char result[nuv::name_room] = "untouched";
  const int length = SearchPath("/etc", name.c_str(), ".so", 3, result);
  std::printf("search %d [%s]\n", length, result);
}

const char* bound_kernels() {
  if (nuv::nuv_serv_dll_handle == nullptr) return "none";
  const void* name = dlsym(nuv::nuv_serv_dll_handle, "nuv_fake_kernel_name");
  return name != nullptr ? static_cast<const char*>(name) : "no kernel library";
}

void print_state() {
  std::printf("state %d %s\n", nuv::nuv_cpu_type, bound_kernels());
}

bool opens_are_told = false;

/// What another thread does during the next call of dlopen.
std::function<void()> meanwhile;

using Operations = std::map<std::string, std::function<void(const std::string& argument)>>;

/// Runs what is written as NAME or NAME:ARGUMENT.
void run(const Operations& operations, const std::string& text) {
  const auto colon = text.find(':');
  const auto operation = operations.find(text.substr(0, colon));
  if (operation == operations.end()) {
    std::fprintf(stderr, "frame_probe: no operation '%s'\n", text.c_str());
    std::exit(2);
  }
  operation->second(colon == std::string::npos ? "" : text.substr(colon + 1));
}

void print_held(const std::set<std::string>& at_start) {
  for (const std::string& file : open_files()) {
    if (!at_start.contains(file)) std::printf("held [%s]\n", file.c_str());
  }
}

}  // namespace

// The reader's own calls come here first, by either name that the C library gives it.
extern "C" std::FILE* fopen(const char* path, const char* mode) {
  return open_and_note(path, mode, "fopen");
}
extern "C" std::FILE* fopen64(const char* path, const char* mode) {
  return open_and_note(path, mode, "fopen64");
}

extern "C" void* dlopen(const char* file, int mode) noexcept {
  if (opens_are_told) std::printf("dlopen [%s], bound: %s\n", file, bound_kernels());
  if (const auto work = std::exchange(meanwhile, nullptr)) std::thread(work).join();
  return reinterpret_cast<decltype(&dlopen)>(dlsym(RTLD_NEXT, "dlopen"))(file, mode);
}

int main(int argument_count, char** arguments) {
  const std::set<std::string> at_start = open_files();
  const Operations operations = {
      {"cfg", [](const std::string& argument) { std::printf("cfg %d\n", nuv_cfg_file(std::stoi(argument))); }},
      {"word", [](const std::string&) { std::printf("word %d\n", __nuv_cfg_file_readed_extern); }},
      {"tables", [](const std::string&) { print_tables(); }},
      {"search", search},
      {"detect", [](const std::string&) { std::printf("detect %d\n", nuv_serv_cpu_detect()); }},
      {"load", [](const std::string&) { nuv_serv_load_dll(); }},
      {"unbind", [](const std::string&) { nuv::nuv_serv_dll_handle = nullptr; }},
      {"state", [](const std::string&) { print_state(); }},
      {"opened",
       [](const std::string&) {
         for (const std::string& path : opened_paths()) std::printf("open [%s]\n", path.c_str());
       }},
      {"held", [&](const std::string&) { print_held(at_start); }},
      {"tier", [](const std::string& number) { nuv::nuv_cpu_type = std::stoi(number); }},
      {"tell_opens", [](const std::string&) { opens_are_told = true; }},
      {"meanwhile", [&](const std::string& text) { meanwhile = [&operations, text] { run(operations, text); }; }},
  };
  for (int i = 1; i < argument_count; ++i) run(operations, arguments[i]);
  return 0;
}
