// A state of the random numbers makes the same test matrix and leaves the same state whatever computes it: either
// thread layer, at any number of threads, and the kernels of any instruction set.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/instruction_set.hpp"
#include "support/child_process.hpp"

namespace nuv::test {
namespace {

struct PrintedMatrix {
  std::string name, order, info_and_state;
  std::vector<double> numbers;

  /// Unit roundoff, twice, of the precision that its name begins with.
  double epsilon() const {
    return name[0] == 'S' || name[0] == 'C' ? double(std::numeric_limits<float>::epsilon())
                                            : std::numeric_limits<double>::epsilon();
  }
};

std::vector<PrintedMatrix> parse(const std::string& output) {
  std::vector<PrintedMatrix> matrices;
  std::istringstream stream(output);
  PrintedMatrix matrix;
  std::string numbers;
  while (std::getline(stream, matrix.name, '|') && std::getline(stream, matrix.order, '|') &&
         std::getline(stream, matrix.info_and_state, '|') && std::getline(stream, numbers)) {
    matrix.numbers.clear();
    char* end = nullptr;
    for (const char* at = numbers.c_str(); *at != '\0'; at = end) {
      matrix.numbers.push_back(std::strtod(at, &end));
      if (end == at) throw std::invalid_argument(matrix.name + " has something else than numbers");
    }
    matrices.push_back(matrix);
  }
  return matrices;
}

double norm(const std::vector<double>& x) {
  double sum = 0;
  for (const double x_i : x) sum += x_i * x_i;
  return std::sqrt(sum);
}

/// What a program prints with the kernels of an instruction set, or of the widest one if the machine lacks it.
std::string print(const char* program, const char* set, const char* threads) {
  const ChildResult child =
      run_child({.arguments = {program}, .environment = {{"NUV_ISA", set}, {"NUV_NUM_THREADS", threads}}});
  EXPECT_TRUE(child.succeeded()) << child.error;
  return child.output;
}

TEST(TestMatrices, AreTheSameToTheBitInBothLayers) {
  for (const char* set : instruction_set_names) {
    const std::string alone = print(NUV_PRINT_MATRICES_SEQUENTIAL, set, "1");
    EXPECT_EQ(std::count(alone.begin(), alone.end(), '\n'), 4 * 23);
    for (const char* threads : {"1", "2"}) {
      EXPECT_TRUE(print(NUV_PRINT_MATRICES_THREADED, set, threads) == alone) << set << ", " << threads << " threads";
    }
  }
}

TEST(TestMatrices, AreTheSameUpToRoundingWithEveryInstructionSet) {
  const std::vector<PrintedMatrix> first = parse(print(NUV_PRINT_MATRICES_SEQUENTIAL, instruction_set_names[0], "1"));
  ASSERT_EQ(first.size(), 4 * 23);
  for (const char* set : instruction_set_names) {
    const std::vector<PrintedMatrix> others = parse(print(NUV_PRINT_MATRICES_SEQUENTIAL, set, "1"));
    ASSERT_EQ(others.size(), first.size());
    for (std::size_t k = 0; k < first.size(); ++k) {
      const PrintedMatrix &A = first[k], &B = others[k];
      SCOPED_TRACE(A.name + " of order " + A.order + ", " + set);
      EXPECT_EQ(A.name, B.name);
      EXPECT_EQ(A.info_and_state.substr(0, 2), "0:");
      EXPECT_EQ(A.info_and_state, B.info_and_state);
      ASSERT_EQ(A.numbers.size(), B.numbers.size());
      std::vector<double> difference(A.numbers.size());
      std::transform(A.numbers.begin(), A.numbers.end(), B.numbers.begin(), difference.begin(), std::minus<>());
      // Each of some n steps rounds by eps or so; a similarity with singular values from 1 to 1/10 makes ten of it.
      EXPECT_GT(norm(A.numbers), 0);
      EXPECT_LE(norm(difference), 20 * std::stod(A.order) * A.epsilon() * norm(A.numbers));
    }
  }
}

}  // namespace
}  // namespace nuv::test
