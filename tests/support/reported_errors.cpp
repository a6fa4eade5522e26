#include "support/reported_errors.hpp"

#include <nuv/nuv_services.h>

#include <mutex>
#include <ostream>
#include <utility>

namespace nuv::test {
namespace {

std::mutex guard_of_reports;
std::vector<ErrorReport> reports;

}  // namespace

void PrintTo(const ErrorReport& report, std::ostream* stream) {
  *stream << '"' << report.name << "\" " << report.code;
}

std::vector<ErrorReport> take_error_reports() {
  const std::lock_guard lock(guard_of_reports);
  return std::exchange(reports, {});
}

}  // namespace nuv::test

int xerbla_(const char* name, const int* code, int length) {
  using namespace nuv::test;
  const std::lock_guard lock(guard_of_reports);
  reports.push_back({std::string(name, length), *code});
  return 0;
}
