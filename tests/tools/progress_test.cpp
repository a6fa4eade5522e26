// What stands on a terminal while nuv works. A process that is stopped for a while has worked for long.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "nuv_command.hpp"

namespace nuv::test {
namespace {

using namespace std::chrono_literals;
using Words = std::vector<std::string>;

/// A terminal with nobody before it.
class Terminal {
 public:
  explicit Terminal(unsigned short columns) : master_(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) throw std::runtime_error("no terminal");
    slave_ = open(ptsname(master_), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const winsize size = {.ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    ioctl(slave_, TIOCSWINSZ, &size);
  }
  ~Terminal() {
    close(slave_);
    close(master_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  int descriptor() const { return slave_; }

  /// All that was written to it.
  std::string text() const {
    std::string text;
    char piece[1024];
    for (ssize_t count; (count = read(master_, piece, sizeof piece)) > 0;) text.append(piece, std::size_t(count));
    return text;
  }

 private:
  int master_, slave_;
};

class Progress : public testing::Test {
 protected:
  /// Runs nuv, whose standard error is the terminal, and holds it up for a time.
  std::string seen(const Words& arguments, std::chrono::milliseconds held_up, unsigned short columns = 80) {
    const Terminal terminal(columns);
    Words words = arguments;
    words.insert(words.begin(), nuv_program());
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    const std::string path = folder.path();
    const pid_t child = fork();
    if (child == 0) {
      dup2(terminal.descriptor(), STDERR_FILENO);
      if (chdir(path.c_str()) == 0) execv(pointers.front(), pointers.data());
      _exit(127);
    }
    std::this_thread::sleep_for(100ms);
    kill(child, SIGSTOP);
    std::this_thread::sleep_for(held_up);
    kill(child, SIGCONT);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    return terminal.text();
  }

  TemporaryFolder folder;
};

// Some tenths of a second of work.
const Words make = {"make", "general", "1200", "-o", "A.mtx"};

Words with(Words words, const std::string& more) {
  words.push_back(more);
  return words;
}

TEST_F(Progress, ShowsPercentOfLongWorkAndGoes) {
  const std::string text = seen(make, 2100ms);
  const std::string line = "making a 1200 by 1200 matrix: ";
  EXPECT_TRUE(text.starts_with("\r" + line)) << text;
  EXPECT_NE(text.find(" %"), text.npos) << text;
  EXPECT_EQ(text.find('\x1b'), text.npos) << text;
  // Blanks over the line, and the account in its place.
  EXPECT_NE(text.find(std::string(line.size() + 3, ' ')), text.npos) << text;
  EXPECT_NE(text.find("\rmatrix             1200 by 1200"), text.npos) << text;
}

TEST_F(Progress, FitsANarrowTerminal) {
  const std::string text = seen(make, 2100ms, 24);
  const std::string line = text.substr(1, text.find('\r', 1) - 1);
  EXPECT_TRUE(line.starts_with("making a 120")) << text;
  EXPECT_NE(line.find("...: "), line.npos) << text;
  EXPECT_EQ(line.size(), 23u) << text;
}

TEST_F(Progress, IsSilentForShortWorkAndWhereAsked) {
  EXPECT_TRUE(seen({"make", "general", "100", "-o", "A.mtx"}, 100ms).starts_with("matrix "));
  EXPECT_TRUE(seen(with(make, "--quiet"), 2100ms).starts_with("matrix "));
}

}  // namespace
}  // namespace nuv::test
