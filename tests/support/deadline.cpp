#include "support/deadline.hpp"

#include <signal.h>
#include <unistd.h>

#include <cstdlib>

namespace nuv::test {
namespace {

std::string watched;

void give_up(int) {
  const auto ignored = write(STDERR_FILENO, watched.data(), watched.size());
  _exit(ignored >= 0 ? EXIT_FAILURE : EXIT_FAILURE + 1);
}

}  // namespace

Deadline::Deadline(unsigned seconds, const std::string& what) {
  watched = what + " does not end\n";
  signal(SIGALRM, give_up);
  alarm(seconds);
}

Deadline::~Deadline() {
  alarm(0);
}

}  // namespace nuv::test
