#include "nuv_command.hpp"

#include <gtest/gtest.h>
#include <regex.h>
#include <stdlib.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace nuv::test {

TemporaryFolder::TemporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "nuv-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
  path_ = std::filesystem::canonical(name);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void TemporaryFolder::write(std::string_view name, std::string_view text) const {
  std::ofstream stream(path_ / name, std::ios::binary);
  stream << text;
  if (!stream.flush()) throw std::runtime_error("cannot write " + std::string(name));
}

std::string TemporaryFolder::read(std::string_view name) const {
  std::ifstream stream(path_ / name, std::ios::binary);
  if (!stream) throw std::runtime_error("cannot read " + std::string(name));
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<std::string> TemporaryFolder::names() const {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(path_))
    names.push_back(entry.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

std::string nuv_program() {
  return NUV_COMMAND;
}

ChildResult run_nuv(const TemporaryFolder& folder, const std::vector<std::string>& arguments) {
  ChildCommand command = {.arguments = {nuv_program()}, .working_directory = folder.path()};
  command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
  return run_child(command);
}

void expect_refusal(const ChildResult& result, int exit_status, const std::string& message) {
  EXPECT_EQ(result.error, "nuv: " + message + "\n");
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.exit_status, exit_status) << to_string(result);
}

std::vector<std::string> match(const std::string& text, const std::string& pattern) {
  regex_t expression;
  if (regcomp(&expression, ("^(" + pattern + ")$").c_str(), REG_EXTENDED) != 0) {
    throw std::invalid_argument("bad pattern: " + pattern);
  }
  std::vector<regmatch_t> groups(expression.re_nsub + 1);
  const bool matched = regexec(&expression, text.c_str(), groups.size(), groups.data(), 0) == 0;
  regfree(&expression);
  if (!matched) return {};

  std::vector<std::string> found;
  for (std::size_t k = 1; k < groups.size(); ++k) {
    const auto [begin, end] = groups[k];
    found.push_back(begin < 0 ? ""
                              : text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
  }
  return found;
}

}  // namespace nuv::test
