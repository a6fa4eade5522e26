#include "tools/temporary_file.hpp"

#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <string>

namespace nuv::tools {
namespace {

namespace fs = std::filesystem;

class Temporary : public testing::Test {
 protected:
  Temporary() {
    std::string name = (fs::temp_directory_path() / "nuv-test-XXXXXX").string();
    folder = mkdtemp(name.data());
  }
  ~Temporary() override { fs::remove_all(folder); }

  std::ptrdiff_t files() const { return std::distance(fs::directory_iterator(folder), fs::directory_iterator()); }
  std::string target() const { return (folder / "x.mtx").string(); }

  /// Has a child create a file, waits until it is there, and sends the signal; returns how the child ended.
  int end_of_child(int signal, bool ignored) const {
    int ready[2];
    EXPECT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
      if (ignored) ::signal(signal, SIG_IGN);
      TemporaryFile file(target());
      const bool told = write(file.descriptor(), "1\n", 2) == 2 && write(ready[1], "!", 1) == 1;
      if (ignored) sleep(1);
      else pause();
      if (told) file.keep();
      _exit(0);
    }
    char mark;
    EXPECT_EQ(read(ready[0], &mark, 1), 1);
    EXPECT_EQ(files(), 1);
    EXPECT_FALSE(fs::exists(target()));
    kill(child, signal);
    int status = 0;
    waitpid(child, &status, 0);
    close(ready[0]);
    close(ready[1]);
    return status;
  }

  fs::path folder;
};

TEST_F(Temporary, TakesItsNameWhenItIsKept) {
  TemporaryFile file(target());
  EXPECT_FALSE(fs::exists(target()));
  EXPECT_EQ(files(), 1);
  file.keep();
  EXPECT_TRUE(fs::exists(target()));
  EXPECT_EQ(files(), 1);
}

TEST_F(Temporary, GoesWithItsObject) {
  { const TemporaryFile first(target()), second(target()); }
  EXPECT_EQ(files(), 0);
}

TEST_F(Temporary, GoesWithAProcessThatASignalEnds) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXFSZ}) {
    const int status = end_of_child(signal, false);
    EXPECT_TRUE(WIFSIGNALED(status)) << signal;
    EXPECT_EQ(WTERMSIG(status), signal);
    EXPECT_EQ(files(), 0) << signal;
  }
}

TEST_F(Temporary, StaysWhereTheSignalIsIgnored) {
  const int status = end_of_child(SIGHUP, true);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_TRUE(fs::exists(target()));
}

}  // namespace
}  // namespace nuv::tools
