// The name that somebody may have meant, and the line that shows how far work is.

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tools/command_line/nearest.hpp"
#include "tools/progress.hpp"

namespace nuv::test {
namespace {

using tools::edit_distance;
using tools::nearest;
using tools::progress_line;
using tools::Seconds;

TEST(Nearest, EditDistanceCountsSteps) {
  EXPECT_EQ(edit_distance("", ""), 0u);
  EXPECT_EQ(edit_distance("", "abc"), 3u);
  EXPECT_EQ(edit_distance("abc", ""), 3u);
  EXPECT_EQ(edit_distance("solve", "solve"), 0u);
  EXPECT_EQ(edit_distance("solve", "slove"), 1u);  // neighbours exchanged
  EXPECT_EQ(edit_distance("kitten", "sitting"), 3u);
  EXPECT_EQ(edit_distance("lstsq", "lsq"), 2u);
}

TEST(Nearest, NamesOneThatIsNear) {
  const std::vector<std::string> names = {"--output", "--precision", "--quiet", "--json", "--rank"};
  EXPECT_EQ(nearest("--ouput", names), "--output");
  EXPECT_EQ(nearest("--prec", names), "--precision");
  EXPECT_EQ(nearest("--jsno", names), "--json");
  EXPECT_EQ(nearest("--frobnicate", names), std::nullopt);
  EXPECT_EQ(nearest("--x", names), std::nullopt);
  EXPECT_EQ(nearest("--", names), std::nullopt);
  EXPECT_EQ(nearest("sovle", {"solve", "svd"}), "solve");
  EXPECT_EQ(nearest("svs", {"solve", "svd"}), "svd");
}

TEST(ProgressLine, TellsWhatIsKnown) {
  const auto line = [](double elapsed, std::optional<double> share, std::optional<double> estimate) {
    return progress_line("reading A", Seconds(elapsed), share,
                         estimate ? std::optional(Seconds(*estimate)) : std::nullopt, 80);
  };
  EXPECT_EQ(line(3, 0.456, {}), "reading A: 45 %");
  EXPECT_EQ(line(3, 1, {}), "reading A: 99 %");  // it is not over yet
  EXPECT_EQ(line(3, -1, {}), "reading A: 0 %");
  EXPECT_EQ(line(3, {}, 10), "reading A: about 30 %");
  EXPECT_EQ(line(9.999, {}, 10), "reading A: about 99 %");
  EXPECT_EQ(line(12, {}, 10), "reading A: longer than estimated, 12 s");
  EXPECT_EQ(line(12, {}, {}), "reading A: 12 s");
}

TEST(ProgressLine, FitsTheTerminal) {
  const auto line = [](const std::string& what, std::size_t columns) {
    return progress_line(what, Seconds(3), 0.5, {}, columns);
  };
  EXPECT_EQ(line("reading matrix", 21), "reading matrix: 50 %");
  EXPECT_EQ(line("reading matrix", 20), "reading ma...: 50 %");
  EXPECT_EQ(line("\xc3\xa4\xc3\xb6\xc3\xbc\xc3\xa4\xc3\xb6\xc3\xbc", 11), "\xc3\xa4...: 50 %");  // whole characters
  EXPECT_EQ(line("reading matrix", 7), ": 50 %");
  EXPECT_EQ(line("reading matrix", 4), ": 5");
  EXPECT_EQ(line("reading matrix", 1), "");
  EXPECT_EQ(line("reading matrix", 0), "");
}

}  // namespace
}  // namespace nuv::test
