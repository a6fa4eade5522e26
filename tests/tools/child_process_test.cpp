#include "support/child_process.hpp"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace nuv::test {
namespace {

ChildResult run_shell(const std::string& script) {
  return run_child({.arguments = {"sh", "-c", script}});
}

TEST(ChildProcess, KeepsBothStreamsApart) {
  const ChildResult result = run_shell("printf 'one\\n'; printf 'two' >&2; exit 7");
  EXPECT_EQ(result.exit_status, 7);
  EXPECT_EQ(result.signal, 0);
  EXPECT_FALSE(result.succeeded());
  EXPECT_EQ(result.output, "one\n");
  EXPECT_EQ(result.error, "two");
}

TEST(ChildProcess, ReportsASignal) {
  const ChildResult result = run_shell("kill -SEGV $$");
  EXPECT_EQ(result.signal, SIGSEGV);
  EXPECT_EQ(result.exit_status, -1);
  EXPECT_FALSE(result.succeeded());
}

TEST(ChildProcess, PassesArgumentsUntouched) {
  const ChildResult result = run_child({.arguments = {"printf", "[%s]", "a b", "", "$HOME", "'\""}});
  EXPECT_TRUE(result.succeeded()) << to_string(result);
  EXPECT_EQ(result.output, "[a b][][$HOME]['\"]");
}

TEST(ChildProcess, ChangesTheEnvironmentOfTheChildAlone) {
  ASSERT_EQ(setenv("NUV_TEST_KEPT", "kept", 1), 0);
  ASSERT_EQ(setenv("NUV_TEST_REMOVED", "there", 1), 0);
  const ChildResult result =
      run_child({.arguments = {"sh", "-c", "echo $NUV_TEST_KEPT ${NUV_TEST_REMOVED-gone} $NUV_TEST_SET"},
                 .environment = {{"NUV_TEST_REMOVED", std::nullopt}, {"NUV_TEST_SET", "x"}, {"NUV_TEST_SET", "y"}}});
  EXPECT_EQ(result.output, "kept gone y\n");
  EXPECT_STREQ(getenv("NUV_TEST_REMOVED"), "there");
  EXPECT_EQ(getenv("NUV_TEST_SET"), nullptr);
}

TEST(ChildProcess, RunsInTheGivenFolderOnEmptyInput) {
  const ChildResult result = run_child({.arguments = {"sh", "-c", "pwd; cat"}, .working_directory = "/usr"});
  EXPECT_EQ(result.output, "/usr\n");
}

TEST(ChildProcess, SendsOutputToAFile) {
  const ChildResult result = run_child({.arguments = {"sh", "-c", "echo lost"}, .output_file = "/dev/full"});
  EXPECT_NE(result.exit_status, 0);
  EXPECT_EQ(result.output, "");
  EXPECT_NE(result.error, "");
}

TEST(ChildProcess, TakesMoreThanAPipeHolds) {
  const ChildResult result = run_shell("yes | head -c 1000000; yes | head -c 500000 >&2");
  EXPECT_EQ(result.output.size(), 1000000u);
  EXPECT_EQ(result.error.size(), 500000u);
}

TEST(ChildProcess, KillsTheWholeGroupAtTheTimeLimit) {
  using std::chrono::milliseconds;
  for (const char* script : {"sleep 60", "exec >&- 2>&-; sleep 60", "sleep 60 & exit 0"}) {
    const auto start = std::chrono::steady_clock::now();
    const ChildResult result = run_child({.arguments = {"sh", "-c", script}, .time_limit = milliseconds(200)});
    EXPECT_TRUE(result.timed_out) << script;
    EXPECT_FALSE(result.succeeded()) << script;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30)) << script;
  }
}

TEST(ChildProcess, TellsWhatCannotBeStarted) {
  EXPECT_THROW(run_child({.arguments = {"/no/such/program"}}), std::system_error);
  EXPECT_THROW(run_child({.arguments = {"true"}, .working_directory = "/no/such/folder"}), std::system_error);
  EXPECT_THROW(run_child({.arguments = {"true"}, .output_file = "/no/such/file"}), std::system_error);
  EXPECT_THROW(run_child({.arguments = {}}), std::invalid_argument);
}

}  // namespace
}  // namespace nuv::test
