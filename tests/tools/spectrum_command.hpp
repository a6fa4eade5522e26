#pragma once

// What tests of the commands have in common that find numbers of a matrix and draw them.

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "nuv_command.hpp"

namespace nuv::test {

inline const std::string array = "%%MatrixMarket matrix array real general\n";

/// Runs a command on A.mtx.
class SpectrumCommand : public testing::Test {
 protected:
  explicit SpectrumCommand(std::string command) : command_(std::move(command)) {}

  ChildResult run(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {command_, "A.mtx"});
    return run_nuv(folder, options);
  }

  /// The numbers in an array file.
  static std::vector<double> numbers(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    std::getline(lines, line);
    std::getline(lines, line);
    std::vector<double> result;
    for (double x; lines >> x;) result.push_back(x);
    return result;
  }

  std::vector<double> values(const std::string& matrix, const std::vector<std::string>& options = {}) const {
    folder.write("A.mtx", matrix);
    const ChildResult result = run(options);
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    return numbers(result.output);
  }

  /// The words behind a label in the account of a call.
  std::string account(const std::string& label, const std::vector<std::string>& options = {}) const {
    const ChildResult result = run(options);
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    std::istringstream lines(result.error);
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with(label + " ")) return line.substr(19);
    }
    ADD_FAILURE() << "no " << label << " in\n" << result.error;
    return "nan";
  }

  void refuse(const std::string& matrix, const std::vector<std::string>& options, int status,
              const std::string& message) const {
    folder.write("A.mtx", matrix);
    expect_refusal(run(options), status, message);
  }

  /// What a picture of the values is drawn by.
  std::string script_of_picture(std::vector<std::string> options = {}) const {
    write_plotter("[ \"$1\" = --version ] || { echo '<svg>'; cat \"$1\"; echo '</svg>'; }\n");
    options.insert(options.end(), {"--plot", "values.svg"});
    const ChildResult result = run_with_path(path_of_plotter(), options);
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    return folder.read("values.svg");
  }

  /// Where gnuplot fails, or is not there.
  void expect_words_where_no_picture_comes() const {
    write_plotter("[ \"$1\" = --version ]\n");
    expect_no_picture(path_of_plotter(), {}, "gnuplot did not draw the picture");
    std::filesystem::remove(folder / "gnuplot");
    expect_no_picture(folder.path(), {},
                      "--plot needs gnuplot, which is not installed here (on Debian: apt install gnuplot-nox)");
  }

  void expect_no_value_to_draw(const std::vector<std::string>& options) const {
    write_plotter("exit 0\n");
    expect_no_picture(path_of_plotter(), options, "--plot: there is no value to draw");
  }

  TemporaryFolder folder;

 private:
  std::string path_of_plotter() const { return folder.path() + ":/usr/bin:/bin"; }

  /// A program in the place of gnuplot.
  void write_plotter(const std::string& script) const {
    folder.write("gnuplot", "#!/bin/sh\n" + script);
    std::filesystem::permissions(folder / "gnuplot", std::filesystem::perms::owner_all);
  }

  ChildResult run_with_path(const std::string& path, const std::vector<std::string>& options) const {
    ChildCommand command{.arguments = {nuv_program(), command_, "A.mtx"}, .environment = {{"PATH", path}}};
    command.arguments.insert(command.arguments.end(), options.begin(), options.end());
    command.working_directory = folder.path();
    return run_child(command);
  }

  void expect_no_picture(const std::string& path, std::vector<std::string> options, const std::string& message) const {
    options.insert(options.end(), {"--plot", "none.svg"});
    expect_refusal(run_with_path(path, options), 1, message);
    EXPECT_FALSE(std::filesystem::exists(folder / "none.svg"));
  }

  std::string command_;
};

}  // namespace nuv::test
