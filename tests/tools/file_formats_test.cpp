// The formats of files, as the command reads and writes them.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "nuv_command.hpp"

namespace nuv::test {
namespace {

using Words = std::vector<std::string>;

class FileFormats : public testing::Test {
 protected:
  /// Runs a script of the shell, in which $0 is nuv.
  ChildResult run_script(const std::string& script) const {
    return run_child({.arguments = {"sh", "-c", script, nuv_program()}, .working_directory = folder.path()});
  }

  void convert(const std::string& in, const std::string& out, const Words& more = {}) const {
    Words arguments = {"convert", in, out};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const ChildResult result = run_nuv(folder, arguments);
    EXPECT_TRUE(result.succeeded()) << in << " " << out << " " << to_string(result);
  }

  void expect_converted(const std::string& in, const std::string& out, const Words& more, const std::string& text) {
    convert(in, out, more);
    EXPECT_EQ(folder.read(out), text) << in;
  }

  TemporaryFolder folder;
};

const std::string array = "%%MatrixMarket matrix array real general\n";

TEST_F(FileFormats, EachBecomesEachInEachPrecision) {
  for (const std::string precision : {"s", "d", "c", "z"}) {
    SCOPED_TRACE(precision);
    ASSERT_TRUE(run_nuv(folder, {"make", "general", "3", "2", "-p", precision, "-o", "A.mtx"}).succeeded());
    const Words same = {"-p", precision};
    convert("A.mtx", "A.mtx", same);  // without the comment of make
    const std::string text = folder.read("A.mtx");
    std::string before = "A.mtx";
    for (const std::string name : {"A.npy", "A.csv", "A.txt", "A.tsv.gz", "B.mtx.gz", "B.NPY", "B.npy.gz"}) {
      convert(before, name, same);
      convert(name, "back.mtx", same);
      EXPECT_EQ(folder.read("back.mtx"), text) << name;
      before = name;
    }
    // An array of NumPy tells its precision itself.
    convert("A.npy", "back.mtx");
    EXPECT_EQ(folder.read("back.mtx"), text);
  }
}

TEST_F(FileFormats, SayWhatTheMatrixIs) {
  folder.write("symmetric.csv", "1,2\n2,3\n");
  folder.write("skew.csv", "0,-2\n2,0\n");
  folder.write("hermitian.csv", "1,2-1i\n2+1i,3\n");
  folder.write("general.csv", "1,2\n2.0000000000000004,3\n");
  folder.write("row.csv", "1,1\n");
  expect_converted("symmetric.csv", "x.mtx", {}, "%%MatrixMarket matrix array real symmetric\n2 2\n1\n2\n3\n");
  expect_converted("skew.csv", "x.mtx", {}, "%%MatrixMarket matrix array real skew-symmetric\n2 2\n2\n");
  expect_converted("hermitian.csv", "x.mtx", {}, "%%MatrixMarket matrix array complex hermitian\n2 2\n1 0\n2 1\n3 0\n");
  expect_converted("general.csv", "x.mtx", {}, array + "2 2\n1\n2.0000000000000004\n2\n3\n");
  expect_converted("row.csv", "x.mtx", {}, array + "1 2\n1\n1\n");
  expect_converted("skew.csv", "x.mtx", {"--layout", "coordinate"},
                   "%%MatrixMarket matrix coordinate real skew-symmetric\n2 2 1\n2 1 2\n");
  expect_converted("symmetric.csv", "x.csv", {"-p", "z"}, "1+0i,2+0i\n2+0i,3+0i\n");
  expect_converted("hermitian.csv", "x.txt", {}, "1+0i 2-1i\n2+1i 3+0i\n");
}

TEST_F(FileFormats, KeepCoordinatesWhichAreNeverStoredWhole) {
  const std::string banner = "%%MatrixMarket matrix coordinate real ";
  folder.write("A.mtx", banner + "general\n2000000000 2000000000 6\n7 1 2\n1 7 1.5\n1 7 0.5\n3 3 0\n2 2 1\n2 2 -1\n");
  expect_converted("A.mtx", "x.mtx", {}, banner + "symmetric\n2000000000 2000000000 1\n7 1 2\n");
  folder.write("B.mtx", banner + "symmetric\n3 3 2\n2 1 5\n3 3 1\n");
  expect_converted("B.mtx", "x.mtx", {}, banner + "symmetric\n3 3 2\n2 1 5\n3 3 1\n");
  expect_converted("B.mtx", "x.mtx", {"--layout", "array"},
                   "%%MatrixMarket matrix array real symmetric\n3 3\n0\n5\n0\n0\n0\n1\n");
  expect_converted("B.mtx", "x.csv", {}, "0,5,0\n5,0,0\n0,0,1\n");
  const ChildResult dense = run_nuv(folder, {"convert", "A.mtx", "x.npy"});
  EXPECT_TRUE(dense.error.starts_with("nuv: A.mtx:2: a 2000000000 by 2000000000 matrix takes 2.98e+10 GiB to convert"))
      << dense.error;
  folder.write("sum.mtx", banner + "general\n2 2 2\n1 1 1e308\n1 1 1e308\n");
  expect_refusal(run_nuv(folder, {"convert", "sum.mtx", "x.mtx"}), 1,
                 "sum.mtx: the sum of duplicate entries overflows the precision");
}

TEST_F(FileFormats, GoThroughStandardInputAndOutput) {
  folder.write("A.csv", "2,0\n0,4\n");
  folder.write("b.csv", "2\n1\n");
  const ChildResult piped = run_script(
      "\"$0\" convert A.csv - --format npy | \"$0\" convert - - | \"$0\" solve - b.csv --format csv 2>/dev/null");
  EXPECT_EQ(piped.output, "1\n0.25\n") << to_string(piped);
  const ChildResult solved =
      run_script("\"$0\" solve A.csv - <b.csv -o - --format table 2>account; grep right account");
  EXPECT_EQ(solved.output, "1\n0.25\nright-hand sides   1, standard input\n");
  EXPECT_EQ(run_script("gzip -c A.csv | \"$0\" convert - -  --format table").output, "2 0\n0 4\n");
}

TEST_F(FileFormats, NameStandardInputInMessages) {
  folder.write("b.csv", "2\n1\n");
  EXPECT_EQ(run_script("printf '1 2\\n3\\n' | \"$0\" cond -").error,
            "nuv: standard input:2: 1 number in the row, 2 in those above\n");
  EXPECT_EQ(run_script("printf '1 1\\n1 1\\n' | \"$0\" inv -").error,
            "nuv: standard input: the matrix is singular: pivot U(2,2) is exactly zero\n");
  EXPECT_EQ(run_script("printf '1 2 3\\n' | \"$0\" cond -").error,
            "nuv: standard input: the matrix is 1 by 3, a condition number needs a square one\n");
  for (const Words& arguments :
       {Words{"solve", "-", "-"}, Words{"lstsq", "-", "-"}, Words{"eig", "-", "--with", "-"}}) {
    expect_refusal(run_nuv(folder, arguments), 2,
                   "only one of the files can be standard input (nuv help " + arguments.front() + " tells more)");
  }
}

TEST_F(FileFormats, AreToldByContentsBeforeTheSuffix) {
  folder.write("A.txt", array + "1 1\n3\n");
  expect_converted("A.txt", "x.csv", {}, "3\n");
  convert("A.txt", "x.npy");
  ASSERT_TRUE(run_script("cp x.npy x.csv; cp x.npy nothing").succeeded());
  expect_converted("x.csv", "y.csv", {}, "3\n");
  expect_converted("nothing", "y.csv", {}, "3\n");
  expect_converted("nothing", "y.csv", {"--format", "mtx"}, array + "1 1\n3\n");
  folder.write("table", "3\n");
  expect_refusal(run_nuv(folder, {"convert", "table", "y.mtx", "--format", "npy"}), 1,
                 "table: not an npy file: it does not begin with \\x93NUMPY");
  folder.write("A.mtx", "3\n");
  expect_refusal(run_nuv(folder, {"convert", "A.mtx", "y.csv"}), 1,
                 "A.mtx:1: not a Matrix Market file: the first line does not begin with %%MatrixMarket");
}

TEST_F(FileFormats, AreRefusedWherePackedDataIsDamaged) {
  ASSERT_TRUE(run_nuv(folder, {"make", "general", "30", "-o", "A.mtx.gz"}).succeeded());
  const std::string packed = folder.read("A.mtx.gz");
  const auto expect_refused = [&](const std::string& bytes, const std::string& message) {
    folder.write("B.mtx.gz", bytes);
    expect_refusal(run_nuv(folder, {"cond", "B.mtx.gz"}), 1, "B.mtx.gz: " + message);
  };
  expect_refused(packed.substr(0, packed.size() / 2), "the packed data ends too early");
  expect_refused(packed.substr(0, packed.size() - 3), "the packed data ends too early");
  expect_refused(packed + "more", "unexpected data behind the packed data");
  std::string changed = packed;
  changed[changed.size() - 6] ^= 1;  // of the check sum
  expect_refused(changed, "the packed data is damaged");
  // Two packed files, one behind another, are one text.
  ASSERT_TRUE(run_script("printf '1 2\\n' | gzip >two.gz; printf '3 4\\n' | gzip >>two.gz").succeeded());
  expect_converted("two.gz", "x.csv", {}, "1,2\n3,4\n");
}

TEST_F(FileFormats, ServeEachCommand) {
  folder.write("A.csv", "2,1\n1,2\n");
  folder.write("B.txt", "2 0\n0 2\n");
  const ChildResult values =
      run_nuv(folder, {"eig", "A.csv", "--with", "B.txt", "--format", "table", "--vectors", "Z.txt"});
  EXPECT_EQ(std::count(values.output.begin(), values.output.end(), '\n'), 2) << values.output;
  EXPECT_TRUE(values.output.starts_with("0.")) << values.output;
  EXPECT_TRUE(run_nuv(folder, {"svd", "Z.txt", "--left", "U.csv"}).succeeded());
  EXPECT_EQ(run_nuv(folder, {"lstsq", "B.txt", "A.csv", "--format", "csv"}).output, "1,0.5\n0.5,1\n");
  EXPECT_TRUE(run_nuv(folder, {"inv", "B.txt", "-o", "-", "--format", "csv"}).output.starts_with("0.5,"));
  EXPECT_TRUE(run_nuv(folder, {"det", "U.csv"}).succeeded());
  EXPECT_EQ(run_script("printf '3,1\\n' | \"$0\" make positive 2 --spectrum - --format csv -o A.csv").exit_status, 0);
}

TEST_F(FileFormats, RefuseLayoutsOfOthers) {
  folder.write("A.csv", "1\n");
  expect_refusal(run_nuv(folder, {"convert", "A.csv", "x.npy", "--layout", "coordinate"}), 2,
                 "--layout is for files in the Matrix Market format (nuv help convert tells more)");
  folder.write("A.csv", "1,2i\n");
  expect_refusal(run_nuv(folder, {"convert", "A.csv", "x.npy", "-pd"}), 1,
                 "A.csv:1: complex data does not fit the real precision d");
}

}  // namespace
}  // namespace nuv::test
