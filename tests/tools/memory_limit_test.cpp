// Runs the commands where the process may not have the memory that they need. Sanitizers reserve more addresses than
// any limit allows, so this program is no part of their builds.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "nuv_command.hpp"

namespace nuv::test {
namespace {

class MemoryLimit : public testing::Test {
 protected:
  /// Expects that nuv, with 200 MB of addresses, refuses and leaves no result.
  void expect_refused(std::vector<std::string> arguments, const std::string& message) {
    arguments.insert(arguments.begin(), {"sh", "-c", "ulimit -v 200000; exec \"$0\" \"$@\"", nuv_program()});
    arguments.insert(arguments.end(), {"-o", "result.mtx"});
    expect_refusal(run_child({.arguments = arguments, .working_directory = folder.path()}), 1, message);
    EXPECT_FALSE(std::filesystem::exists(folder / "result.mtx"));
  }

  TemporaryFolder folder;
};

TEST_F(MemoryLimit, OfMakeIsTold) {
  expect_refused({"make", "general", "6000"}, "result.mtx: the matrix does not fit into memory");
}

TEST_F(MemoryLimit, OfSolveIsTold) {
  folder.write("large.mtx", "%%MatrixMarket matrix coordinate real general\n6000 6000 0\n");
  folder.write("large-rhs.mtx", "%%MatrixMarket matrix coordinate real general\n6000 1 0\n");
  expect_refused({"solve", "large.mtx", "large-rhs.mtx"}, "large.mtx: the system does not fit into memory");
}

}  // namespace
}  // namespace nuv::test
