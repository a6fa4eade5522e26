#include "progress.hpp"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <stop_token>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "error.hpp"

namespace nuv::tools {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr Seconds long_enough = 2s;  ///< for work to be shown
constexpr Seconds first_look = 1s;   ///< at what can be told to take that long
constexpr auto step = 200ms;

bool is_silent = false;

bool is_continuation(char c) {
  return (static_cast<unsigned char>(c) & 0xc0) == 0x80;
}

/// How many characters UTF-8 text has.
std::size_t width_of(std::string_view text) {
  return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), is_continuation));
}

/// The text, cut to so many characters.
std::string cut_to(std::string_view text, std::size_t width) {
  constexpr std::string_view dots = "...";
  if (width_of(text) <= width) return std::string(text);
  if (width <= dots.size()) return {};
  while (width_of(text) > width - dots.size()) text.remove_suffix(1);
  return fmt::format("{}{}", text, dots);
}

std::size_t terminal_columns() {
  winsize size;
  const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

/// Work in the background leaves the terminal to what is in front.
bool is_in_front() {
  const pid_t front = tcgetpgrp(STDERR_FILENO);
  return front < 0 || front == getpgrp();
}

void put(const std::string& text) {
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

std::string progress_line(const std::string& what, Seconds elapsed, std::optional<double> share,
                          std::optional<Seconds> estimate, std::size_t columns) {
  const auto percent = [](double part) { return std::clamp(static_cast<int>(100 * part), 0, 99); };
  std::string state;
  if (share) state = fmt::format(": {} %", percent(*share));
  else if (estimate && elapsed < *estimate) state = fmt::format(": about {} %", percent(elapsed / *estimate));
  else if (estimate) state = fmt::format(": longer than estimated, {:.0f} s", elapsed.count());
  else state = fmt::format(": {:.0f} s", elapsed.count());
  const std::size_t room = std::max<std::size_t>(columns, 1) - 1;
  const std::size_t room_for_what = room > state.size() ? room - state.size() : 0;
  return (cut_to(what, room_for_what) + state).substr(0, room_for_what == 0 ? room : std::string::npos);
}

/// The thread that writes the line, and what it needs to know.
class Progress::Display {
 public:
  Display(std::string what, std::optional<Seconds> estimate)
      : what_(printable(what)), estimate_(estimate), start_(Clock::now()) {
    // A signal is for the thread that works.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
      thread_ = std::jthread([this](std::stop_token stop) { watch(stop); });
    } catch (const std::system_error&) {
      // The work is worth more than the sight of it.
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }

  void reach(double share) noexcept { share_.store(share, std::memory_order_relaxed); }

 private:
  void watch(std::stop_token stop) {
    std::unique_lock lock(mutex_);
    const auto never = [] { return false; };
    asleep_.wait_for(lock, stop, first_look, never);
    while (!stop.stop_requested()) {
      show();
      asleep_.wait_for(lock, stop, step, never);
    }
    erase();
  }

  std::optional<double> share() const {
    const double share = share_.load(std::memory_order_relaxed);
    return share < 0 ? std::nullopt : std::optional(share);
  }

  bool will_last(Seconds elapsed) const {
    if (elapsed >= long_enough) return true;
    if (const auto done = share()) return elapsed >= *done * long_enough;
    return estimate_ && *estimate_ >= long_enough;
  }

  void show() {
    const Seconds elapsed = Clock::now() - start_;
    if (!will_last(elapsed) || !is_in_front()) return;
    std::string line = progress_line(what_, elapsed, share(), estimate_, terminal_columns());
    if (line == shown_) return;
    const std::size_t width = width_of(line), width_before = width_of(shown_);
    put(fmt::format("\r{}{:{}}", line, "", width_before > width ? width_before - width : 0));
    shown_ = std::move(line);
  }

  void erase() {
    if (!shown_.empty()) put(fmt::format("\r{:{}}\r", "", width_of(shown_)));
  }

  std::string what_;
  std::optional<Seconds> estimate_;
  Clock::time_point start_;
  std::string shown_;
  std::atomic<double> share_ = -1;  ///< negative while nobody told
  std::mutex mutex_;
  std::condition_variable_any asleep_;
  std::jthread thread_;  ///< the last member: it uses the others until it is joined
};

Progress::Progress(std::string what) : Progress(std::move(what), std::nullopt) {}

Progress::Progress(std::string what, std::optional<Seconds> estimate) {
  if (is_shown()) display_ = std::make_unique<Display>(std::move(what), estimate);
}

Progress::~Progress() = default;

void Progress::reach(double share) noexcept {
  if (display_) display_->reach(share);
}

void Progress::silence() {
  is_silent = true;
}

bool Progress::is_shown() {
  return !is_silent && isatty(STDERR_FILENO) == 1;
}

}  // namespace nuv::tools
