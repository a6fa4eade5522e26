#include "child_process.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

extern char** environ;

namespace nuv::test {
namespace {

[[noreturn]] void fail(const std::string& what, int error = errno) {
  throw std::system_error(error, std::generic_category(), what);
}

class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~FileDescriptor() { close(); }

  int get() const { return fd_; }
  bool is_open() const { return fd_ >= 0; }
  void close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

 private:
  int fd_ = -1;
};

struct Pipe {
  FileDescriptor reader, writer;

  // Above the three standard descriptors, so that the child's dup2 never meets source equal to target, which
  // would leave close-on-exec set.
  static FileDescriptor raised(int fd) {
    FileDescriptor low(fd);
    FileDescriptor high(::fcntl(fd, F_DUPFD_CLOEXEC, 3));
    if (!high.is_open()) fail("fcntl");
    return high;
  }

  Pipe() {
    std::array<int, 2> ends;
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) fail("pipe2");
    reader = raised(ends[0]);
    writer = raised(ends[1]);
  }
};

FileDescriptor open_file(const std::string& path, int flags) {
  FileDescriptor low(::open(path.c_str(), flags | O_CLOEXEC));
  if (!low.is_open()) fail(path);
  FileDescriptor high(::fcntl(low.get(), F_DUPFD_CLOEXEC, 3));
  if (!high.is_open()) fail("fcntl");
  return high;
}

std::vector<std::string> changed_environment(const ChildCommand& command) {
  std::vector<std::string> variables;
  for (char** entry = environ; *entry != nullptr; ++entry) variables.emplace_back(*entry);
  for (const auto& [name, value] : command.environment) {
    const std::string prefix = name + "=";
    std::erase_if(variables, [&](const std::string& variable) { return variable.starts_with(prefix); });
    if (value) variables.push_back(prefix + *value);
  }
  return variables;
}

std::vector<char*> pointers_to(std::vector<std::string>& strings) {
  std::vector<char*> pointers;
  pointers.reserve(strings.size() + 1);
  for (std::string& string : strings) pointers.push_back(string.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Everything the child touches between fork and exec, made ready beforehand: there only calls that are safe in a
// signal handler may be made, since another thread may hold the allocator's lock at the time of the fork.
struct Launch {
  char** arguments;
  char** environment;
  const char* directory;
  int input, output, error, report;
};

[[noreturn]] void become(const Launch& launch) {
  ::setpgid(0, 0);
  const bool ready = ::dup2(launch.input, STDIN_FILENO) >= 0 && ::dup2(launch.output, STDOUT_FILENO) >= 0 &&
                     ::dup2(launch.error, STDERR_FILENO) >= 0 &&
                     (*launch.directory == '\0' || ::chdir(launch.directory) == 0);
  if (ready) ::execvpe(launch.arguments[0], launch.arguments, launch.environment);
  const int error = errno;
  [[maybe_unused]] const ssize_t sent = ::write(launch.report, &error, sizeof error);
  ::_exit(127);
}

ssize_t read_retrying(int fd, void* buffer, std::size_t size) {
  ssize_t count;
  do {
    count = ::read(fd, buffer, size);
  } while (count < 0 && errno == EINTR);
  return count;
}

// Appends what is there; closes the descriptor at the end of the stream.
void drain(FileDescriptor& source, std::string& text) {
  std::array<char, 65536> buffer;
  const ssize_t count = read_retrying(source.get(), buffer.data(), buffer.size());
  if (count < 0) fail("read");
  if (count == 0) return source.close();
  text.append(buffer.data(), static_cast<std::size_t>(count));
}

// Reads both streams until their ends or until the deadline; false for the deadline.
bool collect(FileDescriptor& output, FileDescriptor& error, ChildResult& result,
             std::chrono::steady_clock::time_point deadline) {
  using std::chrono::milliseconds;
  while (output.is_open() || error.is_open()) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now()).count();
    if (left <= 0) return false;
    std::array<pollfd, 2> waits = {{{output.get(), POLLIN, 0}, {error.get(), POLLIN, 0}}};
    if (::poll(waits.data(), waits.size(), static_cast<int>(std::min<long long>(left, 1000))) < 0) {
      if (errno == EINTR) continue;
      fail("poll");
    }
    if (waits[0].revents != 0) drain(output, result.output);
    if (waits[1].revents != 0) drain(error, result.error);
  }
  return true;
}

void record_status(int status, ChildResult& result) {
  if (WIFEXITED(status)) result.exit_status = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
}

int wait_for(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) fail("waitpid");
  }
  return status;
}

// The streams can end long before the process does, so the deadline is watched here too.
int wait_until(pid_t child, bool& timed_out, std::chrono::steady_clock::time_point deadline) {
  while (!timed_out) {
    int status = 0;
    const pid_t ended = ::waitpid(child, &status, WNOHANG);
    if (ended == child) return status;
    if (ended < 0 && errno != EINTR) fail("waitpid");
    timed_out = std::chrono::steady_clock::now() >= deadline;
    if (!timed_out) ::usleep(1000);
  }
  ::kill(-child, SIGKILL);
  return wait_for(child);
}

}  // namespace

ChildResult run_child(const ChildCommand& command) {
  if (command.arguments.empty()) throw std::invalid_argument("run_child: no program given");
  const auto deadline = std::chrono::steady_clock::now() + command.time_limit;

  std::vector<std::string> arguments = command.arguments;
  std::vector<std::string> environment = changed_environment(command);
  const std::vector<char*> argument_pointers = pointers_to(arguments);
  const std::vector<char*> environment_pointers = pointers_to(environment);

  Pipe output, error, report;
  FileDescriptor input = open_file("/dev/null", O_RDONLY);
  if (!command.output_file.empty()) output.writer = open_file(command.output_file, O_WRONLY);

  const Launch launch = {const_cast<char**>(argument_pointers.data()),
                         const_cast<char**>(environment_pointers.data()),
                         command.working_directory.c_str(),
                         input.get(),
                         output.writer.get(),
                         error.writer.get(),
                         report.writer.get()};
  const pid_t child = ::fork();
  if (child < 0) fail("fork");
  if (child == 0) become(launch);
  ::setpgid(child, child);  // both sides set it: neither may rely on the other being first

  output.writer.close();
  error.writer.close();
  report.writer.close();
  int launch_error = 0;
  if (read_retrying(report.reader.get(), &launch_error, sizeof launch_error) == sizeof launch_error) {
    wait_for(child);
    fail(arguments[0], launch_error);
  }

  ChildResult result;
  result.timed_out = !collect(output.reader, error.reader, result, deadline);
  record_status(wait_until(child, result.timed_out, deadline), result);
  return result;
}

std::string to_string(const ChildResult& result) {
  std::string text = result.timed_out     ? "killed at the time limit"
                     : result.signal != 0 ? "ended by signal " + std::to_string(result.signal)
                                          : "exit status " + std::to_string(result.exit_status);
  return text + "\nstandard output:\n" + result.output + "\nstandard error:\n" + result.error;
}

}  // namespace nuv::test
