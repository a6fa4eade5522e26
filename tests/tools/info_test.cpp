#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "nuv_command.hpp"

namespace nuv::test {
namespace {

using Environment = std::vector<std::pair<std::string, std::optional<std::string>>>;

class Info : public testing::Test {
 protected:
  /// The lines that `nuv info` prints by their labels, in an environment where no nuv.cfg is found unless `changes`
  /// name one.
  std::map<std::string, std::string> lines(const Environment& changes = {}) {
    ChildCommand command = {
        .arguments = {nuv_program(), "info"},
        .environment = {{"NUV_PROCESSOR_TIER", std::nullopt}, {"NUV_CFG_FILE", std::nullopt}, {"PATH", folder.path()}},
        .working_directory = folder.path()};
    command.environment.insert(command.environment.end(), changes.begin(), changes.end());
    const ChildResult result = run_child(command);
    EXPECT_EQ(result.exit_status, 0) << to_string(result);
    EXPECT_EQ(result.error, "");

    std::map<std::string, std::string> found;
    std::istringstream text(result.output);
    for (std::string line; std::getline(text, line);) {
      const auto end_of_label = line.find("  ");
      const auto value = line.find_first_not_of(' ', end_of_label);
      if (value == std::string::npos) {
        ADD_FAILURE() << "no label: " << line;
      } else {
        found[line.substr(0, end_of_label)] = line.substr(value);
      }
    }
    return found;
  }

  /// File name of a library line, after a check that the file is there.
  static std::string library(const std::string& file) {
    EXPECT_TRUE(std::filesystem::path(file).is_absolute()) << file;
    EXPECT_TRUE(std::filesystem::is_regular_file(file)) << file;
    return std::filesystem::path(file).filename().string();
  }

  TemporaryFolder folder;
};

std::string hardware_tier() {
  return __builtin_cpu_supports("ssse3")  ? "4 (SSSE3)"
         : __builtin_cpu_supports("sse3") ? "3 (SSE3)"
         : __builtin_cpu_supports("sse2") ? "2 (SSE2)"
                                          : "1 (SSE)";
}

TEST_F(Info, NamesTheBoundLibraries) {
  const auto info = lines();
  EXPECT_EQ(info.size(), 8u);
  EXPECT_EQ(library(info.at("solver library")), "libnuv_lapack.so");
  EXPECT_EQ(library(info.at("kernel library")), __builtin_cpu_supports("ssse3") ? "libnuv_kpb.so" : "libnuv_kpa.so");
  EXPECT_EQ(library(info.at("thread layer")), "libnuv_orvo_thread.so");
  EXPECT_EQ(lines({{"NUV_NUM_THREADS", "3"}}).at("threads"), "3");
}

TEST_F(Info, NamesTheProcessor) {
  const std::string processor = lines().at("processor");
  const auto comma = processor.find(", ");
  ASSERT_EQ(comma, 12u) << processor;  // a vendor string has 12 characters
  EXPECT_EQ(__builtin_cpu_is("intel") != 0, processor.starts_with("GenuineIntel"));
  EXPECT_EQ(__builtin_cpu_is("amd") != 0, processor.starts_with("AuthenticAMD"));

  std::ifstream cpuinfo("/proc/cpuinfo");
  const std::string text{std::istreambuf_iterator<char>(cpuinfo), {}};
  EXPECT_NE(text.find(": " + processor.substr(comma + 2) + "\n"), std::string::npos) << processor;
}

TEST_F(Info, TellsThatTheProcessorChose) {
  const std::string by_hardware = hardware_tier() + ", by the processor's features";
  EXPECT_EQ(lines().at("tier"), by_hardware);
  EXPECT_EQ(lines({{"NUV_PROCESSOR_TIER", ""}}).at("tier"), by_hardware);
  for (const std::string text : {"9", "5", "-2", "abc", "00", "0x", " 0", "4294967298"}) {
    EXPECT_EQ(lines({{"NUV_PROCESSOR_TIER", text}}).at("tier"),
              by_hardware + "; NUV_PROCESSOR_TIER=" + text + " is ignored");
  }
}

TEST_F(Info, TellsThatTheVariableChose) {
  struct Choice {
    std::string text, tier, library;
  };
  for (const auto& [text, tier, kernels] : std::vector<Choice>{{"0", "0 (no SSE)", "libnuv_kpa.so"},
                                                               {"1", "1 (SSE)", "libnuv_kpa.so"},
                                                               {"2", "2 (SSE2)", "libnuv_kpa.so"},
                                                               {"3x", "3 (SSE3)", "libnuv_kpa.so"},
                                                               {" +4", "4 (SSSE3)", "libnuv_kpb.so"}}) {
    const auto info = lines({{"NUV_PROCESSOR_TIER", text}});
    EXPECT_EQ(info.at("tier"), tier + ", asked for by NUV_PROCESSOR_TIER=" + text);
    EXPECT_EQ(library(info.at("kernel library")), kernels) << text;
  }
}

TEST_F(Info, TellsWhetherAConfigurationWasRead) {
  EXPECT_EQ(lines().at("configuration"), "no nuv.cfg found, built-in defaults");
  folder.write("nuv.cfg", "# nothing\n");
  EXPECT_EQ(lines().at("configuration"), "a nuv.cfg was read");
  std::filesystem::rename(folder / "nuv.cfg", folder / "other.cfg");
  EXPECT_EQ(lines().at("configuration"), "no nuv.cfg found, built-in defaults");
  EXPECT_EQ(lines({{"NUV_CFG_FILE", (folder / "other.cfg").string()}}).at("configuration"), "a nuv.cfg was read");
}

TEST_F(Info, TellsThatTheTiersLibraryIsMissing) {
  folder.write("nuv.cfg", "nuv_sse2so=libnuv_absent.so\nnuv_sse3so=libnuv_kpb.so\n");
  const auto absent = lines({{"NUV_PROCESSOR_TIER", "2"}});
  EXPECT_EQ(absent.at("tier"),
            "2 (SSE2), asked for by NUV_PROCESSOR_TIER=2; its kernel library cannot be opened, that of tier 0 serves");
  EXPECT_EQ(library(absent.at("kernel library")), "libnuv_kpa.so");
  EXPECT_EQ(library(lines({{"NUV_PROCESSOR_TIER", "3"}}).at("kernel library")), "libnuv_kpb.so");
}

TEST_F(Info, ShowsTheInstructionSetAndWhy) {
  EXPECT_EQ(lines({{"NUV_ISA", "sse2"}})["instruction set"], "sse2, asked for by NUV_ISA");
  const std::string widest = lines({{"NUV_ISA", std::nullopt}})["instruction set"];
  EXPECT_TRUE(widest.ends_with(", the widest of the machine")) << widest;
  EXPECT_EQ(lines({{"NUV_ISA", ""}})["instruction set"], widest);
  EXPECT_EQ(lines({{"NUV_ISA", "AVX2"}})["instruction set"], widest + "; NUV_ISA=AVX2 is ignored");
}

}  // namespace
}  // namespace nuv::test
