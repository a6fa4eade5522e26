// The way of a report: from nuv_serv_xerbla to an application's handler or to the text on the error stream. This
// program has a handler of its own; where there is none, or another, the probe is run.

#include <nuv/nuv_services.h>
#include <sys/mman.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "base/platform.hpp"
#include "binding_probe_support.hpp"
#include "routines.hpp"
#include "support/precisions.hpp"
#include "watched_stream.hpp"

namespace nuv::test {
namespace {

/// What this program's handler was last given, and what it answers.
struct Received {
  const char* name;
  const int* code;
  std::string characters;
  int value;
  int length;
};

Received received;
int reports = 0;
constexpr int answer = -271828;

}  // namespace
}  // namespace nuv::test

int xerbla_(const char* name, const int* code, int length) {
  using namespace nuv::test;
  received = {name, code, std::string(name, length), *code, length};
  ++reports;
  return answer;
}

namespace nuv::test {
namespace {

TEST(OwnHandler, GetsTheArgumentsThemselves) {
  const char name[] = {'D', 'G', 'E', 'S', 'V', ' ', 'x'};  // not terminated
  for (auto* reporter : {nuv_serv_xerbla, nuv_serv_dll_xerbla}) {
    for (const int code : {4, 0, -3, 1000, INT_MAX}) {
      for (const int length : {6, 0, 7}) {
        received = {};
        EXPECT_EQ(reporter(name, &code, length), answer);
        EXPECT_EQ(received.name, name);
        EXPECT_EQ(received.code, &code);
        EXPECT_EQ(received.length, length);
      }
    }
  }
}

TEST(OwnHandler, IsWhatTheNameStandsForInTheProcess) {
  EXPECT_EQ(platform::find_in_process("xerbla_"), reinterpret_cast<void*>(&xerbla_));
}

template <class T>
class RoutineReports : public testing::Test {
 protected:
  /// Expects one report with a positive code, and that the routine came back with its negative info.
  template <class Call>
  void expect_report(const std::string& operation, int position, Call&& call) {
    received = {};
    reports = 0;
    Int info = 12345;
    call(info);
    EXPECT_EQ(info, -position);
    EXPECT_EQ(reports, 1);
    EXPECT_EQ(received.characters, reported_name<T>(operation));
    EXPECT_EQ(received.length, 6);
    EXPECT_EQ(received.value, position);
  }

  T a_[4] = {}, b_[2] = {};
  Int ipiv_[2] = {};
};

TYPED_TEST_SUITE(RoutineReports, Precisions, PrecisionLetter);

TYPED_TEST(RoutineReports, NameOfSixCharactersPositiveCodeAndReturn) {
  this->expect_report("GESV", 4, [&](Int& info) {
    routine_call::gesv(2, 1, Matrix<TypeParam>(this->a_, 1), this->ipiv_, Matrix<TypeParam>(this->b_, 2), info);
  });
}

struct Line {
  std::string name;
  int length, code;
  std::string text;
};

const std::vector<Line> lines = {
    {"DGESV ", 6, 4, "NUV ERROR : Parameter 4 was incorrect on entry to DGESV \n"},
    {"DGESV ", 6, 0, "NUV INTERNAL ERROR : Condition 0 detected in function DGESV \n"},
    {"DGESV ", 6, -3, "NUV INTERNAL ERROR : Condition 3 detected in function DGESV \n"},
    {"DGESV ", 6, -1000, "NUV INTERNAL ERROR : Condition 1000 detected in function DGESV \n"},
    {"DGESV ", 6, 1000, "NUV INTERNAL ERROR : Not enough work memory in function DGESV \n"},
    {"DGESV ", 6, 1001, "NUV ERROR : Incompatible optional parameters on entry to DGESV \n"},
    {"DGESV ", 6, 1002, "NUV ERROR : Parameter 1002 was incorrect on entry to DGESV \n"},
    {"DGESV ", 6, 999, "NUV ERROR : Parameter 999 was incorrect on entry to DGESV \n"},
    {"DGESV ", 6, 1, "NUV ERROR : Parameter 1 was incorrect on entry to DGESV \n"},
    {"DGESV ", 6, 13, "NUV ERROR : Parameter 13 was incorrect on entry to DGESV \n"},
    {"DGESV ", 6, INT_MAX, "NUV ERROR : Parameter 2147483647 was incorrect on entry to DGESV \n"},
    {"ABCDEFGHIJKLMN", 14, 2, "NUV ERROR : Parameter 2 was incorrect on entry to ABCDEFGHIJKL\n"},
    {"ABCDEFGHIJKL", 12, 2, "NUV ERROR : Parameter 2 was incorrect on entry to ABCDEFGHIJKL\n"},
    {"ABCDEFGHIJKLMN", 13, 1000, "NUV INTERNAL ERROR : Not enough work memory in function ABCDEFGHIJKL\n"},
    {"ABCDEFGHIJKLMN", 11, 0, "NUV INTERNAL ERROR : Condition 0 detected in function ABCDEFGHIJK\n"},
    {"DGETRF", 6, 2, "NUV ERROR : Parameter 2 was incorrect on entry to DGETRF\n"},
    {"DGETRFXX", 6, 2, "NUV ERROR : Parameter 2 was incorrect on entry to DGETRF\n"},
    {"DX          Y", 12, 2, "NUV ERROR : Parameter 2 was incorrect on entry to DX          \n"},
    {"DX              ", 16, 2, "NUV ERROR : Parameter 2 was incorrect on entry to DX          \n"},
    {"D%sX", 4, 2, "NUV ERROR : Parameter 2 was incorrect on entry to D%sX\n"},
    {"DX", 6, 2, "NUV ERROR : Parameter 2 was incorrect on entry to DX\n"},
    {"DX", 0, 2, "NUV ERROR : Parameter 2 was incorrect on entry to \n"},
};

class ReportText : public ProbeTest {
 protected:
  /// Runs every line through one way of reporting. The probe prints the result, the number of characters printed.
  void expect_lines(const std::string& reporter, const std::vector<std::string>& preparation = {},
                    const std::string& variant = "") {
    std::vector<std::string> operations = preparation;
    std::string output, error;
    for (const Line& line : lines) {
      operations.push_back(reporter + ":" + line.name + ":" + std::to_string(line.length) + ":" +
                           std::to_string(line.code));
      output += "returned " + std::to_string(line.text.size()) + "\n";
      error += line.text;
    }
    expect_end(probe(operations, variant), 0, output, error);
  }
};

TEST_F(ReportText, OfThisLibrary) {
  expect_lines("print");
}

TEST_F(ReportText, OfBothKernelLibraries) {
  for (int tier : {0, 4}) {
    set_tier(tier);
    expect_lines("print_kernels");
  }
}

TEST_F(ReportText, OfTheWholeChainWithoutAHandler) {
  expect_lines("report");
  expect_lines("report_dll");
  expect_lines("print_stub");
}

TEST_F(ReportText, ComesFromTheKernelLibrary) {
  search_libraries_in({fake_libraries("complete"), NUV_LIBRARIES});
  set_tier(4);
  expect_end(probe({"report:DGESV :6:4", "word"}), 0, "returned 29\nword 333\n", "kernel library 14: DGESV , 4\n");
  expect_end(probe({"bad_dgesv"}), 0, "dgesv returned -4\n", "kernel library 14: DGESV , 4\n");
  set_tier(0);
  expect_end(probe({"report:DGESV :6:-4"}), 0, "returned 30\n", "kernel library 10: DGESV , -4\n");
}

TEST_F(ReportText, OfARoutineThatReturns) {
  expect_end(probe({"bad_dgesv", "bad_dgesv"}), 0, "dgesv returned -4\ndgesv returned -4\n",
             "NUV ERROR : Parameter 4 was incorrect on entry to DGESV \n"
             "NUV ERROR : Parameter 4 was incorrect on entry to DGESV \n");
  expect_end(probe({"bad_dgetrf"}, "_sequential"), 0, "dgetrf returned -1\n",
             "NUV ERROR : Parameter 1 was incorrect on entry to DGETRF\n");
}

TEST(DefaultHandler, ReadsTheNameNoFurtherThanItsLength) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  void* pages = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(pages, MAP_FAILED);
  char* end = static_cast<char*>(pages) + page;
  ASSERT_EQ(mprotect(end, page, PROT_NONE), 0);
  const std::string name = "ABCDEFGHIJKLMN";
  name.copy(end - name.size(), name.size());
  const auto report = [&](int length) {
    const int code = 4;
    nuv_serv_default_xerbla(end - length, &code, length);
    std::exit(0);
  };
  EXPECT_EXIT(report(6), testing::ExitedWithCode(0), "on entry to IJKLMN\n");
  EXPECT_EXIT(report(14), testing::ExitedWithCode(0), "on entry to ABCDEFGHIJKL\n");
  munmap(pages, 2 * page);
}

// So that lines of two threads stay whole.
TEST(DefaultHandler, PrintsALineInOneCall) {
  for (const int code : {4, 0, 1000, 1001}) {
    int calls = 0;
    {
      const WatchedStream watched(stderr, [&] { ++calls; });
      nuv_serv_default_xerbla("DGESV ", &code, 6);
    }
    EXPECT_EQ(calls, 1) << "code " << code;
  }
}

class HandlerInTheProcess : public ProbeTest {
 protected:
  const std::string report_ = "report:DGESV :6:4";
  const std::string handled_ = "own handler: name [DGESV ], length 6, code 4\nreturned 4711\n";
  const std::string printed_ = "NUV ERROR : Parameter 4 was incorrect on entry to DGESV \n";
};

TEST_F(HandlerInTheProcess, OfTheProgram) {
  expect_end(probe({report_, report_}, "_with_handler"), 0, handled_ + handled_);
  expect_end(probe({"bad_dgesv"}, "_with_handler"), 0,
             "own handler: name [DGESV ], length 6, code 4\ndgesv returned -4\n");
}

TEST_F(HandlerInTheProcess, OfTheProgramForTheThreadLayer) {
  expect_end(probe({"open:" NUV_LIBRARY_FILE("libnuv_sequential"), "bad_dgetrf"}, "_with_handler"), 0,
             "own handler: name [DGETRF], length 6, code 1\ndgetrf returned -1\n");
}

TEST_F(HandlerInTheProcess, OfALibraryBeforeThisOne) {
  expect_end(probe({report_, "report:WIDGETS:6:1001"}, "_handler_before"), 0,
             handled_ + "own handler: name [WIDGET], length 6, code 1001\nreturned 4711\n");
}

TEST_F(HandlerInTheProcess, OfALibraryBehindThisOneIsNotFound) {
  expect_end(probe({report_}, "_handler_behind"), 0, "returned 57\n", printed_);
}

TEST_F(HandlerInTheProcess, IsFoundWithoutTheKernelLibrary) {
  install({NUV_LIBRARIES "/" NUV_LIBRARY_FILE("libnuv_lapack")});
  expect_end(probe({report_}, "_with_handler"), 0, handled_);
}

TEST_F(HandlerInTheProcess, IsLookedUpOnce) {
  const std::string handler = "open_global:" NUV_ERROR_HANDLER;
  expect_end(probe({"word", handler, report_}, "_unlinked"), 0, "word 0\n" + handled_);
  expect_end(probe({report_, handler, report_}, "_unlinked"), 0, "returned 57\nreturned 57\n", printed_ + printed_);
}

// A program that holds the chain and no name xerbla_ anywhere.
TEST_F(HandlerInTheProcess, WithoutAnyTheChainPrintsForItself) {
  ChildCommand command;
  command.arguments = {NUV_REPORT_PROBE};
  expect_end(run_child(command), 57, "", printed_);
}

TEST(NamedErrors, AreTheTextsOfTheirCodes) {
  EXPECT_STREQ(named_errors[0], "NUV INTERNAL ERROR : Not enough work memory in function ");
  EXPECT_STREQ(named_errors[1], "NUV ERROR : Incompatible optional parameters on entry to ");
}

}  // namespace
}  // namespace nuv::test
