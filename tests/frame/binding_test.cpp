// Which libraries the stubs and the binding functions reach, and how the process ends where there is none.
//
// Of the fake libraries, those in the folder "complete" answer with the numbers 10 (libnuv_kpa), 14 (libnuv_kpb),
// 21 (libnuv_orvo_thread), 22 (libnuv_sequential) and 23 (libnuv_oql); those in the folder "incomplete", of which the
// kernel libraries lack nuv_blas_dgemv and the thread layers nuv_blas_dgemm, with 30, 34, 31 and 32.

#include <csignal>

#include "base/platform.hpp"
#include "binding_probe_support.hpp"

namespace nuv::test {
namespace {

const std::string kpa = NUV_LIBRARY_FILE("libnuv_kpa");
const std::string kpb = NUV_LIBRARY_FILE("libnuv_kpb");
const std::string threaded = NUV_LIBRARY_FILE("libnuv_orvo_thread");
const std::string sequential = NUV_LIBRARY_FILE("libnuv_sequential");
const std::string sibling = NUV_LIBRARY_FILE("libnuv_oql");
const std::string lapack = NUV_LIBRARY_FILE("libnuv_lapack");
const std::string absent = NUV_LIBRARY_FILE("libnuv_absent");

const std::string no_layer = "\nNUV FATAL ERROR: Can't load nuv-thread-layer library.";

std::string fatal_error(const std::string& loader_text) {
  return "NUV FATAL ERROR: " + loader_text + "\n";
}

std::string unbound_text(const std::string& name) {
  return "no library is bound: undefined symbol: " + name;
}

std::string real_library(const std::string& file) {
  return NUV_LIBRARIES "/" + file;
}

class KernelBinding : public ProbeTest {
 protected:
  void use_fakes(const std::string& folder) { search_libraries_in({fake_libraries(folder), NUV_LIBRARIES}); }
};

using LayerBinding = KernelBinding;
using CompanionBinding = KernelBinding;
using ConfigurationWord = KernelBinding;

TEST_F(KernelBinding, RealKernelsOfEveryTier) {
  for (int tier = 0; tier <= 4; ++tier) {
    set_tier(tier);
    expect_end(probe({"idamax", "dgemv"}), 0, "idamax 2\ndgemv 11\n");
  }
}

TEST_F(KernelBinding, TheTierChoosesTheLibrary) {
  use_fakes("complete");
  set_tier(4);
  expect_end(probe({"idamax", "dgemv"}), 0, "idamax 14\ndgemv 14\n");
  set_tier(0);
  expect_end(probe({"idamax", "dgemv"}), 0, "idamax 10\ndgemv 10\n");
}

TEST_F(KernelBinding, WithoutTheTiersLibraryTheFallbackServesInSilence) {
  install({real_library(lapack), fake_libraries("complete/" + kpa)});
  set_tier(4);
  expect_end(probe({"idamax", "detect", "dgemv"}), 0, "idamax 10\ndetect -4\ndgemv 10\n");
}

TEST_F(KernelBinding, AConfiguredLibraryThatIsAbsentGivesWayToTheFallback) {
  use_fakes("complete");
  configure("nuv_sse1so=" + absent + "\nnuv_sse2so=" + absent + "\nnuv_sse3so=" + absent + "\n");
  for (int tier = 2; tier <= 3; ++tier) {
    set_tier(tier);
    expect_end(probe({"idamax", "detect", "dgemv"}), 0, "idamax 10\ndetect " + std::to_string(-tier) + "\ndgemv 10\n");
  }
}

// The negated first tier reads as one that was not found out. Detection then tries that tier's library once more, and
// leaves no handle; the next stub binds again.
TEST_F(KernelBinding, TheFirstTierNegatedReadsAsNotDetected) {
  use_fakes("complete");
  configure("nuv_sse1so=" + absent + "\n");
  set_tier(1);
  expect_end(probe({"idamax", "detect", "detect", "dgemv"}), 0, "idamax 10\ndetect 0\ndetect 0\ndgemv 10\n");
}

TEST_F(KernelBinding, ConfiguredLibrariesServeTheirTiers) {
  use_fakes("incomplete");
  const std::string configured = fake_libraries("complete/" + kpb);
  configure("nuv_x87so=" + configured + "\nnuv_sse1so=" + configured + "\nnuv_sse2so=" + configured +
            "\nnuv_sse3so=" + configured + "\n");
  for (int tier = 0; tier <= 3; ++tier) {
    set_tier(tier);
    expect_end(probe({"dgemv"}), 0, "dgemv 14\n");
  }
}

TEST_F(KernelBinding, DetectionBindsForTheStubs) {
  use_fakes("complete");
  configure("");
  set_tier(4);
  expect_end(probe({"detect", "word", "find:nuv_blas_idamax", "idamax"}), 0,
             "detect 4\nword -777\nnuv_blas_idamax found\nidamax 14\n");
}

TEST_F(KernelBinding, AfterDetectionWithoutALibraryTheFallbackServes) {
  install({real_library(lapack), fake_libraries("complete/" + kpa)});
  set_tier(4);
  expect_end(probe({"detect", "idamax", "detect"}), 0, "detect 0\nidamax 10\ndetect -4\n");
  set_tier(0);
  expect_end(probe({"detect", "idamax"}), 0, "detect 0\nidamax 10\n");
}

TEST_F(KernelBinding, NoKernelLibraryEndsTheProcess) {
  std::string text = missing_file_text(absent);
  text.replace(text.find(absent), absent.size(), kpa);
  install({real_library(lapack)});
  for (int tier : {0, 2, 4}) {
    set_tier(tier);
    for (const char* operation : {"idamax", "bind_kernels", "print_stub:DGESV :6:1"}) {
      expect_end(probe({operation}), 1, fatal_error(text));
    }
  }
}

TEST_F(KernelBinding, AnAbsentConfiguredFallbackEndsTheProcess) {
  configure("nuv_x87so=" + absent + "\nnuv_sse2so=" + absent + ".2\n");
  for (int tier : {0, 2}) {
    set_tier(tier);
    expect_end(probe({"idamax"}), 1, fatal_error(missing_file_text(absent)));
  }
}

TEST_F(KernelBinding, AFallbackThatIsNoLibraryEndsTheProcess) {
  const std::string file = scratch_.file("text.so", "not a library\n");
  configure("nuv_x87so=" + file + "\n");
  set_tier(0);
  expect_end(probe({"idamax"}), 1, fatal_error(missing_file_text(file)));
}

TEST_F(KernelBinding, AMissingKernelEndsTheProcess) {
  use_fakes("incomplete");
  const std::pair<int, std::string> bound[] = {{0, kpa}, {4, kpb}};
  for (const auto& [tier, file] : bound) {
    set_tier(tier);
    const std::string text = missing_name_text(fake_libraries("incomplete/" + file), "nuv_blas_dgemv") + "\n ";
    const std::string found = "idamax 3" + std::to_string(tier) + "\n";
    expect_end(probe({"dgemv"}), 1, text);
    expect_end(probe({"idamax", "dgemv"}), 1, found + text);
    expect_end(probe({"bind_kernels", "find:nuv_blas_idamax", "find:nuv_blas_dgemv"}), 1,
               "nuv_blas_idamax found\n" + text);
  }
}

TEST_F(KernelBinding, ItsFunctionsAreBoundWhenTheyAreCalled) {
  use_fakes("complete");
  set_tier(4);
  ASSERT_EQ(dlopen(fake_libraries("complete/" + kpb).c_str(), RTLD_NOW), nullptr) << "a function of it is missing";
  expect_end(probe({"idamax"}), 0, "idamax 14\n");
  expect_end(probe({"detect"}), 0, "detect 4\n");
}

TEST_F(KernelBinding, ItsNamesStayItsOwn) {
  use_fakes("complete");
  set_tier(4);
  const std::string name = "fake_kernels_own_function";
  for (const char* binding : {"bind_kernels", "detect"}) {
    const std::string detected = std::string(binding) == "detect" ? "detect 4\n" : "";
    expect_end(probe({binding, "find:" + name, "in_process:" + name}), 0,
               detected + name + " found\n" + name + " null\n");
  }
}

// The loader would look for it in the whole process, where the stub itself has the name.
TEST_F(KernelBinding, ANameAskedForBeforeBindingEndsTheProcess) {
  expect_end(probe({"find:nuv_blas_dgemv"}), 1, unbound_text("nuv_blas_dgemv") + "\n ");
  set_tier(0);
  expect_end(probe({"detect", "find:nuv_blas_dgemv"}), 1, "detect 0\n" + unbound_text("nuv_blas_dgemv") + "\n ");
}

// The library has itself called when the process forks, and so it has to be there.
TEST_F(KernelBinding, AForkMayFollowTheEndOfTheLibrarysUse) {
  expect_end(probe({"unload_and_fork"}, "_unlinked"), 0, "child 0\n");
}

TEST_F(LayerBinding, NoLayerEndsTheProcess) {
  // Its file can be found, and yet it is not brought in.
  ASSERT_TRUE(std::filesystem::exists(real_library(sequential)));
  for (const char* operation : {"dgemm", "dgetrf", "threads", "find_layer:nuv_blas_dgemm"}) {
    expect_end(probe({operation}), 1, no_layer);
  }
}

TEST_F(LayerBinding, NoLayerEndsTheProcessThoughKernelsAreFine) {
  expect_end(probe({"idamax", "dgemv", "dgemm"}), 1, "idamax 2\ndgemv 11\n" + no_layer);
  expect_end(probe({"idamax", "dgetrf"}), 1, "idamax 2\n" + no_layer);
}

TEST_F(LayerBinding, TheSequentialLayerAlone) {
  const std::string output = "dgemm 12\ndgetrf 1\nthreads 1\n";
  expect_end(probe({"open:" + sequential, "dgemm", "dgetrf", "threads"}), 0, output);
  expect_end(probe({"dgemm", "dgetrf", "threads"}, "_sequential"), 0, output);
  use_fakes("complete");
  expect_end(probe({"open:" + sequential, "dgemm", "dgetrf", "threads"}), 0, "dgemm 22\ndgetrf 22\nthreads 22\n");
}

TEST_F(LayerBinding, TheThreadedLayerAlone) {
  use_fakes("complete");
  expect_end(probe({"open:" + threaded, "dgemm", "dgetrf", "threads"}), 0, "dgemm 21\ndgetrf 21\nthreads 21\n");
}

TEST_F(LayerBinding, OfBothTheThreadedOneWins) {
  use_fakes("complete");
  const std::string output = "dgemm 21\ndgetrf 21\nthreads 21\n";
  expect_end(probe({"open:" + sequential, "open:" + threaded, "dgemm", "dgetrf", "threads"}), 0, output);
  expect_end(probe({"open:" + threaded, "open:" + sequential, "dgemm", "dgetrf", "threads"}), 0, output);
  expect_end(probe({"open:" + threaded, "dgemm", "dgetrf", "threads"}, "_sequential"), 0, output);
}

TEST_F(LayerBinding, TheFirstChoiceStays) {
  use_fakes("complete");
  expect_end(probe({"open:" + sequential, "threads", "open:" + threaded, "threads", "dgemm"}), 0,
             "threads 22\nthreads 22\ndgemm 22\n");
}

TEST_F(LayerBinding, ANameThatTheLayerLacksIsTheAddressZero) {
  use_fakes("incomplete");
  for (const std::string& layer : {sequential, threaded}) {
    expect_end(probe({"open:" + layer, "find_layer:nuv_blas_dgemm", "find_layer:nuv_lapack_dgetrf"}), 0,
               "nuv_blas_dgemm null\nnuv_lapack_dgetrf found\n");
    const ChildResult result = probe({"open:" + layer, "dgemm"});
    EXPECT_EQ(result.signal, SIGSEGV) << to_string(result);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.error, "");
  }
}

TEST_F(ConfigurationWord, KernelStubsHaveTheFileRead) {
  configure("");
  // Read by the stub, and asked for again by the binding.
  expect_end(probe({"word", "idamax", "word"}), 0, "word 0\nidamax 2\nword 333\n");
}

TEST_F(ConfigurationWord, KernelStubsTestItAtEveryCall) {
  configure("");
  expect_end(probe({"idamax", "clear_word", "idamax", "word", "dgemv", "word"}), 0,
             "idamax 2\nidamax 2\nword 333\ndgemv 11\nword 333\n");
}

TEST_F(ConfigurationWord, BindingReadsTheFileOnce) {
  configure("");
  expect_end(probe({"bind_kernels", "word", "bind_kernels", "word", "idamax", "word"}), 0,
             "word -777\nword -777\nidamax 2\nword -777\n");
}

TEST_F(ConfigurationWord, LayerStubsLeaveItAlone) {
  configure("");
  expect_end(probe({"open:" + sequential, "threads", "dgemm", "word", "dgemm", "word"}), 0,
             "threads 1\ndgemm 12\nword 0\ndgemm 12\nword 0\n");
}

TEST_F(ConfigurationWord, TheStubOfTheErrorHandlerTestsIt) {
  configure("");
  expect_end(probe({"print_stub:DGESV :6:4", "word", "clear_word", "print_stub:DGESV :6:4", "word"}), 0,
             "returned 57\nword 333\nreturned 57\nword 333\n",
             "NUV ERROR : Parameter 4 was incorrect on entry to DGESV \n"
             "NUV ERROR : Parameter 4 was incorrect on entry to DGESV \n");
}

TEST_F(CompanionBinding, ByTheirDefaultNames) {
  use_fakes("complete");
  expect_end(probe({"bind_oql", "call_oql:fake_sibling_number"}), 0, "bound once\nnumber 23\n");
  expect_end(probe({"open:" + sequential, "bind_lapack", "call_lapack:nuv_serv_nuv_get_max_threads"}), 0,
             "bound once\nnumber 22\n");
}

TEST_F(CompanionBinding, ByTheirConfiguredNames) {
  const std::string file = fake_libraries("complete/" + sibling);
  configure("nuv_lapackso=" + file + "\n");
  expect_end(probe({"bind_lapack", "word", "call_lapack:fake_sibling_number"}), 0,
             "bound once\nword -777\nnumber 23\n");
  configure("nuv_intervalso=" + file + "\n");
  expect_end(probe({"bind_oql", "word", "call_oql:fake_sibling_number"}), 0, "bound once\nword -777\nnumber 23\n");
}

TEST_F(CompanionBinding, AnAbsentLibraryEndsTheProcess) {
  expect_end(probe({"bind_oql"}), 1, fatal_error(missing_file_text(sibling)));
  configure("nuv_lapackso=" + absent + "\nnuv_intervalso=" + absent + ".1\n");
  expect_end(probe({"bind_lapack"}), 1, fatal_error(missing_file_text(absent)));
  expect_end(probe({"bind_oql"}), 1, fatal_error(missing_file_text(absent + ".1")));
}

TEST_F(CompanionBinding, AMissingNameEndsTheProcess) {
  const std::string file = fake_libraries("complete/" + sibling);
  configure("nuv_lapackso=" + file + "\nnuv_intervalso=" + file + "\n");
  const std::string text = missing_name_text(file, "nuv_no_such_name") + "\n";
  expect_end(probe({"bind_lapack", "call_lapack:nuv_no_such_name"}), 1, "bound once\n" + text);
  expect_end(probe({"bind_oql", "call_oql:nuv_no_such_name"}), 1, "bound once\n" + text);
}

TEST_F(CompanionBinding, ANameAskedForBeforeBindingEndsTheProcess) {
  expect_end(probe({"in_process:printf"}), 0, "printf found\n");
  expect_end(probe({"call_lapack:printf"}), 1, unbound_text("printf") + "\n");
  expect_end(probe({"call_oql:printf"}), 1, unbound_text("printf") + "\n");
}

TEST_F(CompanionBinding, ItsNamesStayItsOwn) {
  use_fakes("complete");
  expect_end(probe({"bind_oql", "in_process:fake_sibling_number"}), 0, "bound once\nfake_sibling_number null\n");
}

}  // namespace
}  // namespace nuv::test
