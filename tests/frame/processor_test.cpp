// The processor tier, what overrides it, and the two functions that choose a kernel library by it.

#include <cpuid.h>
#include <gtest/gtest.h>
#include <nuv/nuv_services.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "base/platform.hpp"
#include "frame/configuration.hpp"
#include "frame/frame_test_support.hpp"
#include "frame/processor.hpp"
#include "frame/stepped_processor.hpp"

namespace nuv::test {
namespace {

struct FeatureRegisters {
  unsigned ecx = 0, edx = 0;
};

constexpr FeatureRegisters sse = {.edx = 1u << 25};
constexpr FeatureRegisters sse2 = {.edx = 1u << 26};
constexpr FeatureRegisters sse3 = {.ecx = 1u << 0};
constexpr FeatureRegisters ssse3 = {.ecx = 1u << 9};
constexpr FeatureRegisters sse41 = {.ecx = 1u << 19};

constexpr FeatureRegisters operator|(FeatureRegisters a, FeatureRegisters b) {
  return {a.ecx | b.ecx, a.edx | b.edx};
}

MadeUpProcessor with(FeatureRegisters features) {
  return {.leaf_1_ecx = features.ecx, .leaf_1_edx = features.edx};
}

FeatureRegisters this_processor() {
  unsigned eax, ebx, ecx, edx;
  __cpuid(1, eax, ebx, ecx, edx);
  return {ecx, edx};
}

int tier_of_this_processor() {
  const FeatureRegisters has = this_processor();
  return has.ecx & ssse3.ecx ? 4 : has.ecx & sse3.ecx ? 3 : has.edx & sse2.edx ? 2 : has.edx & sse.edx ? 1 : 0;
}

// ---------------------------------------------------------------------------------------------------- feature tests

struct FeatureCase {
  const char* name;
  int (*function)();
  FeatureRegisters bit;
};

class FeatureTest : public testing::TestWithParam<FeatureCase> {};

TEST_P(FeatureTest, LooksAtItsBitOfLeafOneOnly) {
  const FeatureCase& feature = GetParam();
  const SteppedRun present = run_on(with(feature.bit), feature.function);
  EXPECT_EQ(present.result, 1);
  EXPECT_EQ(present.leaves, std::vector<unsigned>{1});
  const SteppedRun absent = run_on(with({~feature.bit.ecx, ~feature.bit.edx}), feature.function);
  EXPECT_EQ(absent.result, 0);
}

TEST_P(FeatureTest, AgreesWithThisProcessor) {
  const FeatureCase& feature = GetParam();
  const FeatureRegisters has = this_processor();
  EXPECT_EQ(feature.function() != 0, (has.ecx & feature.bit.ecx) != 0 || (has.edx & feature.bit.edx) != 0);
}

INSTANTIATE_TEST_SUITE_P(All, FeatureTest,
                         testing::Values(FeatureCase{"SSE", NUV_CPUhasSSE, sse},
                                         FeatureCase{"SSE2", NUV_CPUhasSSE2, sse2},
                                         FeatureCase{"SSE3", NUV_CPUhasSSE3, sse3},
                                         FeatureCase{"SSSE3", NUV_CPUhasSSSE3, ssse3},
                                         FeatureCase{"SSE41", NUV_CPUhasSSE41, sse41}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(Processor, VendorIsComparedWhole) {
  const SteppedRun maker = run_on({.vendor = "OrvoOrvoOrvo"}, NUV_CPUisORVO);
  EXPECT_EQ(maker.result, 1);
  EXPECT_EQ(maker.leaves, std::vector<unsigned>{0});
  for (const char* other : {"orvoOrvoOrvo", "OrvoOrvoOrvO", "OrvoXrvoOrvo", "GenuineOrvo!"}) {
    EXPECT_EQ(run_on({.vendor = other}, NUV_CPUisORVO).result, 0) << other;
  }
}

std::uintptr_t flags() {
  std::uintptr_t value;
#if defined(__x86_64__)
  asm volatile("lea -128(%%rsp), %%rsp; pushfq; popq %0; lea 128(%%rsp), %%rsp" : "=r"(value) : : "memory");
#else
  asm volatile("pushfl; popl %0" : "=r"(value) : : "memory");
#endif
  return value;
}

TEST(Processor, CpuidIsToldByAFlagThatStaysToggled) {
  constexpr std::uintptr_t id_flag = 1u << 21;
  const std::uintptr_t before = flags() & id_flag;
  EXPECT_EQ(NUV_CPUIDavailable(), 1);
  EXPECT_EQ(flags() & id_flag, before ^ id_flag);
  EXPECT_EQ(NUV_CPUIDavailable(), 1);
  EXPECT_EQ(flags() & id_flag, before);

  EXPECT_EQ(run_on({}, NUV_CPUIDavailable).result, 1);
  EXPECT_EQ(run_on({.has_cpuid = false}, NUV_CPUIDavailable).result, 0);
}

// --------------------------------------------------------------------------------------------------------- the tier

class Tier : public testing::Test {
 protected:
  Tier() { unsetenv("NUV_PROCESSOR_TIER"); }
  ~Tier() override { unsetenv("NUV_PROCESSOR_TIER"); }
};

TEST_F(Tier, IsTheHighestFeature) {
  struct Case {
    FeatureRegisters features;
    int tier;
    std::size_t questions;  // each feature asks anew
  };
  for (const auto& [features, tier, questions] :
       {Case{{}, 0, 4}, Case{sse, 1, 4}, Case{sse | sse2, 2, 3}, Case{sse | sse2 | sse3, 3, 2},
        Case{sse | sse2 | sse3 | ssse3, 4, 1}, Case{sse | sse2 | sse3 | ssse3 | sse41, 4, 1}, Case{ssse3, 4, 1},
        Case{sse41, 0, 4}}) {
    const SteppedRun run = run_on(with(features), detect_tier);
    EXPECT_EQ(run.result, tier);
    EXPECT_EQ(run.leaves, std::vector<unsigned>(questions, 1)) << "tier " << tier;
  }
}

TEST_F(Tier, IsZeroWithoutCpuidAndTheInstructionIsNotRun) {
  const SteppedRun run = run_on({.has_cpuid = false, .leaf_1_ecx = ~0u, .leaf_1_edx = ~0u}, detect_tier);
  EXPECT_EQ(run.result, 0);
  EXPECT_TRUE(run.leaves.empty());
}

TEST_F(Tier, DoesNotDependOnTheMaker) {
  for (const char* vendor : {"OrvoOrvoOrvo", "GenuineOther"}) {
    MadeUpProcessor processor = with(sse | sse2 | sse3);
    processor.vendor = vendor;
    EXPECT_EQ(run_on(processor, detect_tier).result, 3) << vendor;
  }
}

TEST_F(Tier, OfThisProcessor) {
  EXPECT_EQ(detect_tier(), tier_of_this_processor());
}

TEST_F(Tier, OverridesBeatTheHardware) {
  struct Case {
    const char* text;
    int tier;
  };
  for (const auto& [text, tier] : {Case{"0", 0}, Case{"1", 1}, Case{"2", 2}, Case{"3", 3}, Case{"4", 4}, Case{"3x", 3},
                                   Case{" 2", 2}, Case{"+1", 1}, Case{"04", 4}, Case{"1.9", 1}}) {
    setenv("NUV_PROCESSOR_TIER", text, 1);
    EXPECT_EQ(detect_tier(), tier) << text;
    const SteppedRun bare = run_on({.has_cpuid = false}, detect_tier);
    EXPECT_EQ(bare.result, tier) << text;
    EXPECT_TRUE(bare.leaves.empty()) << text;
  }
}

TEST_F(Tier, OtherTextsLeaveTheHardwareToDecide) {
  for (const char* text : {"", "5", "9", "-2", "-1", "abc", "00", "0x3", "0 ", " 0", "+0", "-0", "x3", "40",
                           "4294967298", "-4294967294", "18446744073709551618", "99999999999999999999999"}) {
    setenv("NUV_PROCESSOR_TIER", text, 1);
    EXPECT_EQ(detect_tier(), tier_of_this_processor()) << text;
    EXPECT_EQ(run_on(with(sse | sse2), detect_tier).result, 2) << text;
  }
}

TEST_F(Tier, DetectionLeavesTheWordToItsCaller) {
  EXPECT_EQ(nuv_cpu_type, -1);
  detect_tier();
  EXPECT_EQ(nuv_cpu_type, -1);
}

TEST(Processor, TheOverridesNameIsScrambledInTheLibrary) {
  std::ifstream file(NUV_LAPACK_FILE, std::ios::binary);
  const std::string library{std::istreambuf_iterator<char>(file), {}};
  ASSERT_FALSE(library.empty());

  std::string name = "NUV_PROCESSOR_TIER";
  EXPECT_EQ(library.find(name), std::string::npos);
  ASSERT_EQ(name.size(), 18u);
  for (int i = 0; i < 18; ++i) name[i] = static_cast<char>(name[i] ^ ((2 * i) % 5 + 1));
  EXPECT_NE(library.find(name), std::string::npos);
}

// ---------------------------------------------------------------------------------------------------- both loaders

const std::string kpa = NUV_LIBRARY_FILE("libnuv_kpa");
const std::string kpb = NUV_LIBRARY_FILE("libnuv_kpb");
const std::string fatal = "NUV FATAL ERROR: ";

/// A folder of kernel libraries, and a configuration that gives each tier a library of its own.
class Loader : public testing::Test {
 protected:
  Loader() {
    supply("k0.so", "zero");
    supply("k1.so", "one");
    supply("k2.so", "two");
    supply("k3.so", "three");
    supply(kpa, "zero");
    supply(kpb, "four");
  }

  void supply(const std::string& file, const std::string& kernel) {
    folder.link("lib/" + file, std::string(NUV_FAKE_KERNELS) + "/" + kernel + ".so");
  }

  void remove(const std::string& file) { std::filesystem::remove(folder.path("lib/" + file)); }

  void spoil(const std::string& file) {
    remove(file);
    folder.file("lib/" + file, "This is no library.\n");
  }

  /// A file in the folder of the frame that looks for it, here that of the program.
  static std::string beside(const std::string& file) {
    return (std::filesystem::path(NUV_FRAME_PROBE).parent_path() / file).string();
  }

  void configure() {
    folder.file("nuv.cfg", "nuv_x87so=k0.so\nnuv_sse1so=k1.so\nnuv_sse2so=k2.so\nnuv_sse3so=k3.so\n");
  }

  ChildResult run(const std::optional<std::string>& override_text, const std::vector<std::string>& operations) {
    return run_probe(folder.path().string(),
                     {{"LD_LIBRARY_PATH", folder.path("lib")}, {"NUV_PROCESSOR_TIER", override_text}}, operations);
  }

  std::string output(const std::optional<std::string>& override_text, const std::vector<std::string>& operations) {
    const ChildResult result = run(override_text, operations);
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    return result.output;
  }

  ScratchFolder folder;
};

TEST_F(Loader, NothingIsDetectedOrBoundAtTheStart) {
  EXPECT_EQ(output("3", {"state"}), "state -1 none\n");
}

TEST_F(Loader, EachTierOpensItsEntry) {
  configure();
  const char* kernels[] = {"zero", "one", "two", "three", "four"};
  for (int tier = 1; tier <= 4; ++tier) {
    const std::string state = "state " + std::to_string(tier) + " " + kernels[tier] + "\n";
    EXPECT_EQ(output(std::to_string(tier), {"load", "state", "word"}), state + "word -777\n");
    EXPECT_EQ(output(std::to_string(tier), {"detect", "state", "word"}),
              "detect " + std::to_string(tier) + "\n" + state + "word -777\n");
  }
}

TEST_F(Loader, TheDefaultsServeWithoutAConfiguration) {
  for (int tier = 1; tier <= 3; ++tier) {
    EXPECT_EQ(output(std::to_string(tier), {"load", "state", "word"}),
              "state " + std::to_string(tier) + " zero\nword -111\n");
  }
  EXPECT_EQ(output("4", {"load", "state"}), "state 4 four\n");
}

TEST_F(Loader, TierZeroOpensTheFallbackOrNothing) {
  configure();
  EXPECT_EQ(output("0", {"load", "state"}), "state 0 zero\n");
  EXPECT_EQ(output("0", {"detect", "state", "word"}), "detect 0\nstate 0 none\nword -777\n");
  EXPECT_EQ(output("0", {"detect", "load", "state", "detect"}), "detect 0\nstate 0 zero\ndetect 0\n");
}

TEST_F(Loader, TheHardwareDecidesWithoutAnOverride) {
  configure();
  const int tier = tier_of_this_processor();
  const std::string kernel = std::vector<std::string>{"zero", "one", "two", "three", "four"}.at(tier);
  for (const auto& text : {std::optional<std::string>(), {"5"}, {""}}) {
    EXPECT_EQ(output(text, {"load", "state"}), "state " + std::to_string(tier) + " " + kernel + "\n");
  }
}

TEST_F(Loader, ABoundLibraryIsKept) {
  configure();
  EXPECT_EQ(output("2", {"detect", "load", "state"}), "detect 2\nstate 2 two\n");
  EXPECT_EQ(output("2", {"load", "load", "detect", "state"}), "detect 2\nstate 2 two\n");
}

TEST_F(Loader, ATierWithoutAHandleGoesStraightToTheFallback) {
  configure();
  EXPECT_EQ(output("2", {"detect", "unbind", "load", "state"}), "detect 2\nstate 2 zero\n");
  EXPECT_EQ(output("2", {"detect", "unbind", "detect", "state"}), "detect 2\ndetect 2\nstate 2 none\n");
}

TEST_F(Loader, AFailedTierIsNegatedAndTheFallbackServes) {
  for (const bool absent : {true, false}) {
    absent ? remove(kpb) : spoil(kpb);
    EXPECT_EQ(output("4", {"load", "state"}), "state -4 zero\n");
    EXPECT_EQ(output("4", {"detect", "state", "detect", "state"}),
              "detect 0\nstate -4 none\ndetect -4\nstate -4 none\n");
    EXPECT_EQ(output("4", {"detect", "load", "state", "detect"}), "detect 0\nstate -4 zero\ndetect -4\n");
    EXPECT_EQ(output("4", {"load", "detect", "state"}), "detect -4\nstate -4 zero\n");
  }
  configure();
  for (const int tier : {2, 3}) {
    spoil("k" + std::to_string(tier) + ".so");
    EXPECT_EQ(output(std::to_string(tier), {"load", "state"}), "state -" + std::to_string(tier) + " zero\n");
  }
}

TEST_F(Loader, AProcessorWithSsse3FallsBackFromTheBetterKernels) {
  if (tier_of_this_processor() == 4) {
    EXPECT_EQ(output({}, {"load", "state"}), "state 4 four\n");
    spoil(kpb);
    EXPECT_EQ(output({}, {"load", "state"}), "state -4 zero\n");
    EXPECT_EQ(output({}, {"detect", "detect"}), "detect 0\ndetect -4\n");
  } else {
    EXPECT_EQ(output({}, {"load", "state"}), "state " + std::to_string(tier_of_this_processor()) + " zero\n");
  }
}

TEST_F(Loader, AFailedTierOneReadsAsUndetected) {
  configure();
  spoil("k1.so");
  EXPECT_EQ(output("1", {"load", "state", "load", "state"}), "state -1 zero\nstate -1 zero\n");
  // Detecting again tries the tier's file again, and the library that is bound stays.
  EXPECT_EQ(output("1", {"load", "detect", "state", "load", "state"}), "detect 0\nstate -1 zero\nstate -1 zero\n");
  EXPECT_EQ(output("1", {"detect", "word", "detect", "word"}), "detect 0\nword -777\ndetect 0\nword 333\n");
}

// The tier is known before the configuration was read: another thread is about to.
TEST_F(Loader, AnUnfilledTableIsFilledBeforeTheFallbackIsOpened) {
  configure();
  EXPECT_EQ(output("2", {"tier:2", "load", "state", "word"}), "state 2 zero\nword -777\n");
  EXPECT_EQ(output("2", {"cfg:0", "tier:2", "load", "word"}), "cfg -777\nword -777\n") << "a filled one is left alone";
}

// ------------------------------------------------------------------------------------------- threads that race to bind

// A second thread comes while the first is opening the tier's library: it sees a tier and no handle, and binds the
// fallback. Then the first comes back without a library, which must not undo that.
TEST_F(Loader, AFailedOpenLeavesWhatAnotherThreadHasBound) {
  remove(kpb);
  // The first looks beside itself, too, before it gives up.
  const std::string opens = "dlopen [" + kpb + "], bound: none\ndlopen [" + kpa + "], bound: none\ndlopen [" +
                            beside(kpb) + "], bound: zero\n";
  EXPECT_EQ(output("4", {"tell_opens", "meanwhile:load", "load", "state"}),
            opens + "dlopen [" + kpa + "], bound: zero\nstate -4 zero\n");
  EXPECT_EQ(output("4", {"tell_opens", "meanwhile:load", "detect", "state"}), opens + "detect 0\nstate -4 zero\n");
}

TEST_F(Loader, TheFirstLibraryThatIsBoundStays) {
  EXPECT_EQ(output("4", {"meanwhile:load", "load", "state"}), "state 4 zero\n");
  EXPECT_EQ(output("4", {"meanwhile:load", "detect", "state"}), "detect 4\nstate 4 zero\n");
}

TEST_F(Loader, BetweenTierAndHandleTheTiersLibraryServesWhereThereIsNoFallback) {
  remove(kpa);
  EXPECT_EQ(output("4", {"tell_opens", "meanwhile:load", "load", "state"}),
            "dlopen [" + kpb + "], bound: none\ndlopen [" + kpa + "], bound: none\ndlopen [" + beside(kpa) +
                "], bound: none\ndlopen [" + kpb + "], bound: none\nstate 4 four\n");
}

TEST_F(Loader, WithoutAFallbackOnlyOneOfTheLoadersEndsTheProcess) {
  remove(kpa);
  remove(kpb);
  EXPECT_EQ(output("4", {"detect", "state"}), "detect 0\nstate -4 none\n");
  for (const char* tier : {"0", "2", "4"}) {
    const ChildResult result = run(tier, {"load", "state"});
    EXPECT_EQ(result.exit_status, 1) << to_string(result);
    EXPECT_TRUE(result.output.starts_with(fatal)) << result.output;
    EXPECT_NE(result.output.find(kpa), std::string::npos) << result.output;
    EXPECT_TRUE(result.output.ends_with("\n")) << result.output;
    EXPECT_EQ(result.error, "");
  }
}

}  // namespace
}  // namespace nuv::test
