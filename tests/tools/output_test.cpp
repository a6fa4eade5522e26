// Where the solution goes, and what is left when it can't go there.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "nuv_command.hpp"

namespace nuv::test {
namespace {

namespace fs = std::filesystem;

const std::string solution = "%%MatrixMarket matrix array real general\n2 1\n1\n0.25\n";

class OutputTest : public testing::Test {
 protected:
  OutputTest() {
    folder.write("A.mtx", "%%MatrixMarket matrix array real general\n2 2\n2\n0\n0\n4\n");
    folder.write("b.mtx", "%%MatrixMarket matrix array real general\n2 1\n2\n1\n");
  }

  ChildResult solve_to(const std::string& output) const {
    return run_nuv(folder, {"solve", "A.mtx", "b.mtx", "-o", output});
  }

  /// Runs a script of the shell, in which $0 is nuv.
  ChildResult run_script(const std::string& script) const {
    return run_child({.arguments = {"sh", "-c", script, nuv_program()}, .working_directory = folder.path()});
  }

  std::vector<std::string> names_with(std::vector<std::string> more) const {
    std::vector<std::string> names = {"A.mtx", "b.mtx"};
    names.insert(names.end(), more.begin(), more.end());
    return names;
  }

  TemporaryFolder folder;
};

TEST_F(OutputTest, GoesToStandardOutput) {
  const ChildResult result = run_nuv(folder, {"solve", "A.mtx", "b.mtx"});
  EXPECT_TRUE(result.succeeded());
  EXPECT_EQ(result.output, solution);
  EXPECT_NE(result.error, "");
}

TEST_F(OutputTest, CreatesAFileAndNothingElse) {
  const mode_t before = umask(027);
  const ChildResult result = solve_to("x.mtx");
  umask(before);
  EXPECT_TRUE(result.succeeded()) << to_string(result);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(folder.read("x.mtx"), solution);
  EXPECT_EQ(folder.names(), names_with({"x.mtx"}));
  EXPECT_EQ(fs::status(folder / "x.mtx").permissions(), fs::perms(0640));
}

TEST_F(OutputTest, OverwritesAFileAndKeepsItsPermissions) {
  folder.write("x.mtx", std::string(1000, 'x'));
  fs::permissions(folder / "x.mtx", fs::perms(0626));
  const mode_t before = umask(077);
  EXPECT_TRUE(solve_to("x.mtx").succeeded());
  umask(before);
  EXPECT_EQ(folder.read("x.mtx"), solution);
  EXPECT_EQ(fs::status(folder / "x.mtx").permissions(), fs::perms(0626));
  EXPECT_EQ(folder.names(), names_with({"x.mtx"}));
}

TEST_F(OutputTest, KeepsTheFormerFileWhenTheSolveFails) {
  folder.write("x.mtx", "before\n");
  folder.write("A.mtx", "%%MatrixMarket matrix array real general\n2 2\n1\n1\n1\n1\n");
  expect_refusal(solve_to("x.mtx"), 1, "A.mtx: the matrix is singular: pivot U(2,2) is exactly zero");
  EXPECT_EQ(folder.read("x.mtx"), "before\n");
  EXPECT_EQ(folder.names(), names_with({"x.mtx"}));
}

TEST_F(OutputTest, MayReplaceItsOwnInput) {
  EXPECT_TRUE(solve_to("b.mtx").succeeded());
  EXPECT_EQ(folder.read("b.mtx"), solution);
}

TEST_F(OutputTest, FollowsASymbolicLink) {
  fs::create_directory(folder / "elsewhere");
  folder.write("elsewhere/x.mtx", "before\n");
  fs::create_symlink("elsewhere/x.mtx", folder / "link");
  EXPECT_TRUE(solve_to("link").succeeded());
  EXPECT_TRUE(fs::is_symlink(folder / "link"));
  EXPECT_EQ(folder.read("elsewhere/x.mtx"), solution);
  EXPECT_EQ(folder.names(), names_with({"elsewhere", "link"}));
}

TEST_F(OutputTest, CreatesTheTargetOfASymbolicLink) {
  fs::create_directory(folder / "elsewhere");
  fs::create_symlink("elsewhere/x.mtx", folder / "second");
  fs::create_symlink("second", folder / "first");
  EXPECT_TRUE(solve_to("first").succeeded());
  EXPECT_TRUE(fs::is_symlink(folder / "first") && fs::is_symlink(folder / "second"));
  EXPECT_EQ(folder.read("elsewhere/x.mtx"), solution);
  EXPECT_EQ(folder.names(), names_with({"elsewhere", "first", "second"}));
}

TEST_F(OutputTest, WritesToAllNamesOfAFile) {
  folder.write("x.mtx", std::string(1000, 'x'));
  fs::create_hard_link(folder / "x.mtx", folder / "y.mtx");
  EXPECT_TRUE(solve_to("x.mtx").succeeded());
  EXPECT_EQ(fs::hard_link_count(folder / "x.mtx"), 2u);
  EXPECT_EQ(folder.read("y.mtx"), solution);
}

// The tests may run as root, whose mistakes could replace a device: none is ever named as the file to write.

TEST_F(OutputTest, WritesThroughTheNameOfStandardOutput) {
  const ChildResult result = solve_to("/proc/self/fd/1");
  EXPECT_TRUE(result.succeeded()) << to_string(result);
  EXPECT_EQ(result.output, solution);

  EXPECT_TRUE(run_script("{ echo first; \"$0\" solve A.mtx b.mtx -o /proc/self/fd/1; echo last; } >all").succeeded());
  EXPECT_EQ(folder.read("all"), "first\n" + solution + "last\n");
}

TEST_F(OutputTest, WritesIntoAPipe) {
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  const ChildResult result = run_script("cat pipe >copy & \"$0\" solve A.mtx b.mtx -o pipe && wait");
  EXPECT_TRUE(result.succeeded()) << to_string(result);
  EXPECT_EQ(folder.read("copy"), solution);
  EXPECT_TRUE(fs::is_fifo(folder / "pipe"));
  EXPECT_EQ(folder.names(), names_with({"copy", "pipe"}));
}

TEST_F(OutputTest, TellsWhatCannotBeWritten) {
  expect_refusal(solve_to("."), 1, ".: cannot write: Is a directory");
  expect_refusal(solve_to("none/x.mtx"), 1, "none/x.mtx: cannot write: No such file or directory");
  expect_refusal(solve_to("A.mtx/x.mtx"), 1, "A.mtx/x.mtx: cannot write: Not a directory");
  expect_refusal(solve_to("/proc/x.mtx"), 1, "/proc/x.mtx: cannot write: No such file or directory");
  const std::string long_name(300, 'x');
  expect_refusal(solve_to(long_name), 1, long_name + ": cannot write: File name too long");
  EXPECT_EQ(folder.names(), names_with({}));
}

TEST_F(OutputTest, LooksAtTheTargetBeforeItReadsTheSystem) {
  expect_refusal(run_nuv(folder, {"solve", "no A", "no b", "-o", "none/x.mtx"}), 1,
                 "none/x.mtx: cannot write: No such file or directory");
}

TEST_F(OutputTest, PacksWhatItsNameSays) {
  EXPECT_TRUE(solve_to("x.mtx.gz").succeeded());
  EXPECT_EQ(folder.read("x.mtx.gz").substr(0, 2), "\x1f\x8b");
  const ChildResult unpacked = run_script("gzip -dc x.mtx.gz");
  EXPECT_EQ(unpacked.output, solution);
}

TEST_F(OutputTest, TakesADashForStandardOutput) {
  const ChildResult result = solve_to("-");
  EXPECT_EQ(result.output, solution);
  EXPECT_EQ(folder.names(), names_with({}));
  const ChildResult full = run_script("\"$0\" solve A.mtx b.mtx -o - >/dev/full");
  expect_refusal(full, 1, "standard output: cannot write: No space left on device");
  const ChildResult too_big = run_nuv(folder, {"make", "general", "2147483647", "-o", "-"});
  EXPECT_TRUE(too_big.error.starts_with("nuv: standard output: a 2147483647 by 2147483647 matrix takes "))
      << to_string(too_big);
}

TEST_F(OutputTest, DiesOfTheSizeLimitAndLeavesNothing) {
  const ChildResult result = run_script("ulimit -f 0; exec \"$0\" solve A.mtx b.mtx -o x.mtx");
  EXPECT_EQ(result.signal, SIGXFSZ) << to_string(result);
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(folder.names(), names_with({}));
}

TEST_F(OutputTest, LeavesNothingWhereItIsKilledBeforeThereIsAResult) {
  ASSERT_EQ(mkfifo((folder / "slow").c_str(), 0600), 0);
  const ChildResult result = run_script(
      "exec 3<>slow; \"$0\" solve slow b.mtx -o x.mtx 3<&- & echo '%%MatrixMarket' >&3; sleep 0.1; kill -TERM $!; "
      "wait $!; echo $?");
  EXPECT_EQ(result.output, std::to_string(128 + SIGTERM) + "\n") << to_string(result);
  EXPECT_EQ(folder.names(), names_with({"slow"}));
}

TEST_F(OutputTest, RemovesTheTemporaryWhenTheDiskIsFull) {
  const ChildResult result = run_script("ulimit -f 0; trap '' XFSZ; exec \"$0\" solve A.mtx b.mtx -o x.mtx");
  expect_refusal(result, 1, "x.mtx: cannot write: File too large");
  EXPECT_EQ(folder.names(), names_with({}));
  // The first bytes go into what room there is.
  const ChildResult partly = run_script("ulimit -f 1; trap '' XFSZ; exec \"$0\" make general 40 -o x.mtx");
  expect_refusal(partly, 1, "x.mtx: cannot write: File too large");
  EXPECT_EQ(folder.names(), names_with({}));
}

TEST_F(OutputTest, TellsThatStandardOutputCannotBeWritten) {
  const std::vector<std::vector<std::string>> commands = {
      {"solve", "A.mtx", "b.mtx"}, {"info"}, {"--help"}, {"--version"}};
  for (const auto& arguments : commands) {
    SCOPED_TRACE(arguments[0]);
    ChildCommand command = {
        .arguments = {nuv_program()}, .working_directory = folder.path(), .output_file = "/dev/full"};
    command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
    expect_refusal(run_child(command), 1, "standard output: cannot write: No space left on device");
  }
}

TEST_F(OutputTest, StandsClosedStreams) {
  expect_refusal(run_script("exec \"$0\" solve A.mtx b.mtx >&-"), 1,
                 "standard output: cannot write: Bad file descriptor");
  EXPECT_TRUE(run_script("exec \"$0\" solve A.mtx b.mtx -o x.mtx >&- 2>&- <&-").succeeded());
  EXPECT_EQ(folder.read("x.mtx"), solution);
}

TEST_F(OutputTest, EndsQuietlyWhenTheReaderWentAway) {
  // More than a pipe holds, so that the writer can't be done before the reader ends.
  folder.write("unit.mtx", "%%MatrixMarket matrix coordinate real general\n1 1 1\n1 1 1\n");
  folder.write("many.mtx", "%%MatrixMarket matrix coordinate real general\n1 100000 0\n");
  const ChildResult standard = run_script("{ \"$0\" solve unit.mtx many.mtx; echo $? >&2; } | true");
  EXPECT_EQ(standard.error, "1\n");

  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  const ChildResult named = run_script("true <pipe & \"$0\" solve unit.mtx many.mtx -o pipe");
  EXPECT_EQ(named.error, "");
  EXPECT_EQ(named.exit_status, 1);
  EXPECT_TRUE(fs::is_fifo(folder / "pipe"));
}

}  // namespace
}  // namespace nuv::test
