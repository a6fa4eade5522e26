// What a stub promises its caller and its target, on stubs of invented names. Every test runs in a child, where nothing
// is bound yet.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <nuv/nuv_services.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

#include "base/instruction_set.hpp"
#include "base/platform.hpp"
#include "frame_test_support.hpp"
#include "invented_targets.hpp"

extern "C" {
void call_with_registers(nuv::test::RegisterImage* image, void* function, int width);

const char* own_set();

/// How often the stubs of dispatch and the entries of bodies did not know where to go.
extern int stubs_bound, entries_bound;
}

namespace nuv::test {
namespace {

const std::string layer_file = NUV_FAKE_LIBRARIES "/invented/" NUV_LIBRARY_FILE("libnuv_sequential");
const std::string configured_file = NUV_FAKE_LIBRARIES "/invented/" NUV_LIBRARY_FILE("libnuv_kpb");
const std::string fallback_file = NUV_FAKE_LIBRARIES "/invented/" NUV_LIBRARY_FILE("libnuv_kpa");
constexpr int layer_number = 52, configured_number = 54, fallback_number = 50;

/// Differences between what was expected and what was found; the child's exit tells whether there are any.
class Findings {
 public:
  template <class Found, class Expected>
  void expect_equal(const std::string& what, Found found, Expected expected) {
    if (found == expected) return;
    text_ += what + ": " + std::to_string(found) + " instead of " + std::to_string(expected) + "\n";
  }

  [[noreturn]] void end_process() const {
    std::fputs(text_.c_str(), stderr);
    std::exit(text_.empty() ? 0 : 1);
  }

 private:
  std::string text_;
};

/// A stub by its name.
template <class Function>
Function* stub(const std::string& name) {
  void* address = dlsym(RTLD_DEFAULT, name.c_str());
  if (address == nullptr) {
    std::fprintf(stderr, "no stub %s\n", name.c_str());
    std::exit(2);
  }
  return reinterpret_cast<Function*>(address);
}

#define STUB(family, target) stub<decltype(::target)>(family + "_" #target)

class StubPattern : public testing::Test {
 protected:
  void SetUp() override {
    const std::string configuration = "nuv_sse2so=" + configured_file + "\nnuv_x87so=" + fallback_file + "\n";
    setenv("NUV_CFG_FILE", scratch_.file("nuv.cfg", configuration).c_str(), 1);
    setenv("NUV_PROCESSOR_TIER", "2", 1);
  }

  void TearDown() override {
    unsetenv("NUV_CFG_FILE");
    unsetenv("NUV_PROCESSOR_TIER");
  }

  ScratchFolder scratch_;
};

void bring_layer_in() {
  if (dlopen(layer_file.c_str(), RTLD_LAZY | RTLD_LOCAL) == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    std::exit(2);
  }
}

class EachFamily : public StubPattern, public testing::WithParamInterface<std::string> {
 protected:
  /// Runs a check in a child where the thread layer is present and nothing is bound.
  template <class Check>
  void in_child(Check&& check) {
    const auto run = [&] {
      bring_layer_in();
      Findings findings;
      check(GetParam(), findings);
      findings.end_process();
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
  }

  /// Runs a check of one stub on its first call, which binds it, and on its second.
  template <class Check>
  void in_child_twice(Check&& check) {
    in_child([&](const std::string& family, Findings& findings) {
      check(family, findings);
      check(family, findings);
    });
  }
};

INSTANTIATE_TEST_SUITE_P(Stubs, EachFamily, testing::Values("configured_kernel", "kernel", "layer"),
                         [](const auto& instance) { return instance.param; });

TEST_P(EachFamily, PassesManyIntegers) {
  in_child_twice([](auto& family, Findings& findings) {
    const std::int64_t sum = STUB(family, weigh_integers)(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18,
                                                          19, 20, 21, 22, 23, 1000000);
    findings.expect_equal("weighted sum", sum, 23 * 24 * 47 / 6 + 24 * 1000000);
  });
}

TEST_P(EachFamily, PassesManyDoubles) {
  in_child_twice([](auto& family, Findings& findings) {
    const double sum = STUB(family, weigh_doubles)(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 0.25);
    findings.expect_equal("weighted sum", sum, 11 * 12 * 23 / 6 + 3);
  });
}

TEST_P(EachFamily, PassesArgumentsOfAllKindsInOrder) {
  in_child_twice([](auto& family, Findings& findings) {
    const int three = 3;
    const double digits = STUB(family, mix)(1, 2, &three, 4, 5, 6, 7, 8, 9, 1, 2, 3, 4, 5, 6, 7);
    findings.expect_equal("digits", digits, 1234567891234567.0);
  });
}

TEST_P(EachFamily, HandsBackWhateverTheTargetReturns) {
  in_child_twice([](auto& family, Findings& findings) {
    findings.expect_equal("float", STUB(family, half)(3), 1.5f);
    findings.expect_equal("long double", STUB(family, reciprocal)(3), 1 / 3.0L);
    const TwoDoubles pair = STUB(family, swapped)(1.25, 2.5);
    findings.expect_equal("first of two doubles", pair.first, 2.5);
    findings.expect_equal("second of two doubles", pair.second, 1.25);
    const ManyWords many = STUB(family, from_one)(std::int64_t{1} << 40);
    for (int i = 0; i < 9; ++i) {
      findings.expect_equal("word " + std::to_string(i), many.words[i], (std::int64_t{1} << 40) + i);
    }
  });
}

#if defined(__x86_64__)
constexpr int vector_count = 16, wide_vector_count = 32, word_size = 8;
constexpr std::array general_places = {AX, BX, SI, DI, BP, CX, DX, R8, R9, R10, R12, R13, R14, R15};
#else
constexpr int vector_count = 8, wide_vector_count = 8, word_size = 4;
constexpr std::array general_places = {AX, BX, SI, DI, BP};
#endif

/// A different value in every byte that a machine of this width has.
RegisterImage filled_image(int width) {
  RegisterImage image = {};
  unsigned char pattern = 1;
  const auto fill = [&](void* place, int size) {
    for (int i = 0; i < size; ++i) static_cast<unsigned char*>(place)[i] = pattern = pattern * 5 + 3;
  };
  for (int place : general_places) fill(&image.general[place], word_size);
  for (auto& word : image.stack) fill(&word, word_size);
  const int vectors = width == UP_TO_ZMM ? wide_vector_count : vector_count;
  for (int i = 0; i < vectors; ++i) fill(image.vectors[i], 16 << width);
  if (width == UP_TO_ZMM) {
    for (auto& mask : image.masks) fill(&mask, 8);
  }
  image.mxcsr = 0x7f80;        // rounds towards zero
  image.x87_control = 0x0f7f;  // likewise
  return image;
}

/// Calls a stub of dump_registers and compares what its target saw.
void check_registers(const std::string& name, const std::string& file, Findings& findings) {
  const int width = widest_vectors();
  RegisterImage given = filled_image(width);
  call_with_registers(&given, reinterpret_cast<void*>(stub<void()>(name)), width);
  void* library = dlopen(file.c_str(), RTLD_NOLOAD | RTLD_LAZY);
  if (library == nullptr) {
    std::fprintf(stderr, "%s is not bound\n", file.c_str());
    std::exit(2);
  }
  const auto last = reinterpret_cast<decltype(&last_register_dump)>(dlsym(library, "last_register_dump"));
  const RegisterImage& seen = *last();

  const std::string where = name + ", ";
  for (int i = 0; i < 16; ++i) {
    findings.expect_equal(where + "general register " + std::to_string(i), seen.general[i], given.general[i]);
  }
  findings.expect_equal(where + "MXCSR", seen.mxcsr, given.mxcsr);
  findings.expect_equal(where + "x87 control word", seen.x87_control, given.x87_control);
  for (int i = 0; i < 8; ++i) {
    findings.expect_equal(where + "mask register " + std::to_string(i), seen.masks[i], given.masks[i]);
  }
  for (int i = 0; i < 32; ++i) {
    const auto& bytes = seen.vectors[i];
    const auto differing = std::mismatch(std::begin(bytes), std::end(bytes), given.vectors[i]).first - bytes;
    findings.expect_equal(where + "leading bytes as given of vector register " + std::to_string(i), differing, 64);
  }
  for (int i = 0; i < STACK_WORDS; ++i) {
    findings.expect_equal(where + "stack word " + std::to_string(i), seen.stack[i], given.stack[i]);
  }
  findings.expect_equal(where + "stack alignment behind the return address", (seen.general[SP] + word_size) % 16, 0u);
}

TEST_P(EachFamily, DisturbsNoRegister) {
  in_child([](auto& family, Findings& findings) {
    const std::string file = family == "layer" ? layer_file : configured_file;
    check_registers(family + "_dump_registers", file, findings);        // binds the library
    check_registers(family + "_dump_registers", file, findings);        // knows its target
    check_registers(family + "_dump_registers_again", file, findings);  // knows the library
  });
}

TEST_P(EachFamily, AsksOnce) {
  in_child([](auto& family, Findings& findings) {
    const int expected = family == "layer" ? layer_number : configured_number;
    for (int call = 1; call <= 3; ++call) {
      findings.expect_equal("number", STUB(family, file_number)(), expected);
      findings.expect_equal("stubs bound after call " + std::to_string(call), stubs_bound, 1);
    }
    STUB(family, half)(3);
    findings.expect_equal("stubs bound after the call of another", stubs_bound, 2);
  });
}

/// Runs a check in a child where nothing is bound.
template <class Check>
void expect_in_child(Check&& check) {
  const auto run = [&] {
    bring_layer_in();
    Findings findings;
    check(findings);
    findings.end_process();
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

const std::string configured_kernel = "configured_kernel", kernel = "kernel", layer = "layer";

// The word shows how often the configuration was asked for: once by the binding, and before that by the stub.
TEST_F(StubPattern, AKernelStubWithoutTheTestHonoursTheConfiguration) {
  expect_in_child([](Findings& findings) {
    findings.expect_equal("word", __nuv_cfg_file_readed_extern, 0);
    findings.expect_equal("number", STUB(kernel, file_number)(), configured_number);
    findings.expect_equal("word", __nuv_cfg_file_readed_extern, -777);
    findings.expect_equal("number", STUB(configured_kernel, file_number)(), configured_number);
    findings.expect_equal("word", __nuv_cfg_file_readed_extern, -777);
  });
}

TEST_F(StubPattern, AKernelStubWithTheTestAsksFirst) {
  expect_in_child([](Findings& findings) {
    findings.expect_equal("number", STUB(configured_kernel, file_number)(), configured_number);
    findings.expect_equal("word", __nuv_cfg_file_readed_extern, 333);
  });
}

TEST_F(StubPattern, ALayerStubAsksNeitherForConfigurationNorForKernels) {
  setenv("NUV_CFG_FILE", scratch_.file("nuv.cfg", "nuv_sse2so=/absent\nnuv_x87so=/absent\n").c_str(), 1);
  expect_in_child([](Findings& findings) {
    findings.expect_equal("number", STUB(layer, file_number)(), layer_number);
    findings.expect_equal("number", STUB(layer, file_number)(), layer_number);
    findings.expect_equal("word", __nuv_cfg_file_readed_extern, 0);
  });
}

TEST_F(StubPattern, TheTestIsMadeAtEveryCallOfItsFamilyAlone) {
  expect_in_child([](Findings& findings) {
    const std::pair<std::string, int> words[] = {{configured_kernel, 333}, {kernel, 0}, {layer, 0}};
    for (const auto& [family, word] : words) {
      STUB(family, file_number)();
      __nuv_cfg_file_readed_extern = 0;
      const int expected = family == layer ? layer_number : configured_number;
      findings.expect_equal(family + ", number", STUB(family, file_number)(), expected);
      findings.expect_equal(family + ", word", __nuv_cfg_file_readed_extern, word);
    }
  });
}

TEST_F(StubPattern, DetectionBindsForTheStubs) {
  expect_in_child([](Findings& findings) {
    findings.expect_equal("tier", nuv_serv_cpu_detect(), 2);
    findings.expect_equal("number", STUB(kernel, file_number)(), configured_number);
    findings.expect_equal("word", __nuv_cfg_file_readed_extern, -777);
  });
}

TEST_F(StubPattern, TheFallbackServesWhereTheTiersFileIsAbsent) {
  const std::string configuration = "nuv_sse2so=/absent\nnuv_x87so=" + fallback_file + "\n";
  setenv("NUV_CFG_FILE", scratch_.file("nuv.cfg", configuration).c_str(), 1);
  expect_in_child([](Findings& findings) {
    findings.expect_equal("number", STUB(kernel, file_number)(), fallback_number);
    findings.expect_equal("number", STUB(configured_kernel, file_number)(), fallback_number);
    findings.expect_equal("tier", nuv_serv_cpu_detect(), -2);
  });
}

// An entry chooses the body for the instruction set in use, and keeps it.
TEST(IsaEntry, ChoosesOnce) {
  const int widest = static_cast<int>(widest_instruction_set());
  for (int set = 0; set <= widest; ++set) {
    setenv("NUV_ISA", instruction_set_names[set], 1);
    expect_in_child([&](Findings& findings) {
      for (int call = 1; call <= 3; ++call) {
        const std::string expected = instruction_set_names[set];
        findings.expect_equal("body of " + expected, own_set() == expected, true);
        findings.expect_equal("entries bound after call " + std::to_string(call), entries_bound, 1);
      }
    });
  }
  unsetenv("NUV_ISA");
}

}  // namespace
}  // namespace nuv::test
