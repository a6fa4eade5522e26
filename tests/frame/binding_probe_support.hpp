#pragma once

// Runs of binding_probe. A program that includes this is compiled with
//
//   NUV_BINDING_PROBE   the path of binding_probe; its variants stand beside it under longer names
//   NUV_LIBRARIES       the folder of the real libraries
//   NUV_FAKE_LIBRARIES  the folders of fake ones

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "frame_test_support.hpp"
#include "support/child_process.hpp"

namespace nuv::test {

inline std::string fake_libraries(const std::string& folder) { return NUV_FAKE_LIBRARIES "/" + folder; }

/// What the loader says about a library that it can't find.
inline std::string missing_file_text(const std::string& file) {
  EXPECT_EQ(dlopen(file.c_str(), RTLD_LAZY), nullptr) << file << " is not missing";
  const char* text = dlerror();
  return text != nullptr ? text : "";
}

/// What the loader says about a name that a library lacks.
inline std::string missing_name_text(const std::string& file, const char* name) {
  void* library = dlopen(file.c_str(), RTLD_LAZY | RTLD_LOCAL);
  EXPECT_NE(library, nullptr) << dlerror();
  EXPECT_EQ(dlsym(library, name), nullptr) << file << " has " << name;
  const char* text = dlerror();
  return text != nullptr ? text : "";
}

class ProbeTest : public testing::Test {
 protected:
  /// Libraries are looked for in these folders, in order.
  void search_libraries_in(const std::vector<std::string>& folders) {
    std::string path;
    for (const std::string& folder : folders) path += (path.empty() ? "" : ":") + folder;
    set("LD_LIBRARY_PATH", path);
  }

  void set_tier(int tier) { set("NUV_PROCESSOR_TIER", std::to_string(tier)); }

  void configure(const std::string& text) { set("NUV_CFG_FILE", scratch_.file("nuv.cfg", text)); }

  void set(const std::string& variable, const std::string& value) { environment_.emplace_back(variable, value); }

  /// Puts libraries into a folder of their own, beside which the loader finds no others, and has them used.
  void install(const std::vector<std::string>& files) {
    const std::filesystem::path folder = scratch_.folder("installation");
    for (const std::filesystem::path file : files) std::filesystem::copy_file(file, folder / file.filename());
    search_libraries_in({folder});
  }

  /// Runs the probe, or the variant of it that goes by the suffix.
  ChildResult probe(const std::vector<std::string>& operations, const std::string& variant = "") const {
    ChildCommand command;
    command.arguments = {NUV_BINDING_PROBE + variant};
    command.arguments.insert(command.arguments.end(), operations.begin(), operations.end());
    command.environment = environment_;
    command.working_directory = scratch_.path();
    return run_child(command);
  }

  ScratchFolder scratch_;

 private:
  // A sanitizer's own account of a fault would hide that nothing else is said.
  Environment environment_ = {{"LD_LIBRARY_PATH", NUV_LIBRARIES}, {"NUV_CFG_FILE", {}},
                              {"NUV_PROCESSOR_TIER", {}},         {"PATH", {}},
                              {"ASAN_OPTIONS", "handle_segv=0"},  {"TSAN_OPTIONS", "handle_segv=0"}};
};

/// Expects an end by exit with this status, and both streams byte for byte.
inline void expect_end(const ChildResult& result, int exit_status, const std::string& output,
                       const std::string& error = "") {
  EXPECT_EQ(result.output, output);
  EXPECT_EQ(result.error, error);
  EXPECT_EQ(result.exit_status, exit_status) << to_string(result);
  EXPECT_EQ(result.signal, 0);
}

}  // namespace nuv::test
