#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "nuv_command.hpp"

namespace nuv::test {
namespace {

class CommandLine : public testing::Test {
 protected:
  CommandLine() {
    for (const char* name : {"A.mtx", "b.mtx", "solve", "info"}) {
      folder.write(name, "%%MatrixMarket matrix array real general\n1 1\n2\n");
    }
  }

  TemporaryFolder folder;
};

TEST_F(CommandLine, WrongUsageIsOneLineAndStatus2) {
  struct Wrong {
    std::vector<std::string> arguments;
    std::string culprit;  ///< what the message must name
  };
  const std::vector<Wrong> wrong = {
      {{}, "a command is missing (nuv --help tells more)"},
      {{"frobnicate"}, "no such command: frobnicate (nuv --help tells more)"},
      {{"sovle"}, "no such command: sovle; did you mean solve?"},
      {{"--frobnicate"}, "nuv has no option --frobnicate (nuv --help tells more)"},
      {{"--verzion"}, "nuv has no option --verzion; did you mean --version?"},
      {{"help", "cnd"}, "no such command: cnd; did you mean cond? (nuv --help tells more)"},
      {{"help", "solve", "cond"}, "one argument too many: cond"},
      {{"two\nlines"}, "two\\x0alines"},
      {{"solve"}, "A is required"},
      {{"solve", "A.mtx"}, "B is required"},
      {{"solve", "A.mtx", "b.mtx", "c.mtx"}, "one argument too many: c.mtx (nuv help solve tells more)"},
      {{"solve", "A.mtx", "b.mtx", "--frobnicate"}, "nuv solve has no option --frobnicate (nuv help solve tells more)"},
      {{"solve", "A.mtx", "b.mtx", "--ouput", "x"}, "nuv solve has no option --ouput; did you mean --output?"},
      {{"solve", "A.mtx", "b.mtx", "--ouput=x"}, "nuv solve has no option --ouput; did you mean --output?"},
      {{"solve", "A.mtx", "--forse"}, "nuv solve has no option --forse; did you mean --force?"},
      {{"solve", "A.mtx", "b.mtx", "--threads", "0"}, "--threads: '0' is not a whole number from 1 to 256"},
      {{"solve", "A.mtx", "b.mtx", "--threads", "257"}, "--threads: '257' is not a whole number from 1 to 256"},
      {{"solve", "A.mtx", "b.mtx", "--threads", "-1"}, "--threads"},
      {{"solve", "A.mtx", "b.mtx", "--threads", "two"}, "--threads: 'two' is not a whole number from 1 to 256"},
      {{"solve", "A.mtx", "b.mtx", "--threads", "1.5"}, "--threads: '1.5' is not a whole number from 1 to 256"},
      {{"eig", "A.mtx", "--vec", "Z"}, "nuv eig has no option --vec; did you mean --vectors?"},
      {{"solve", "A.mtx", "b.mtx", "-x"}, "-x"},
      {{"solve", "A.mtx", "b.mtx", "-p"}, "--precision"},
      {{"solve", "A.mtx", "b.mtx", "-p", "q"}, "q not in {s,d,c,z}"},
      {{"solve", "A.mtx", "b.mtx", "-p", "D"}, "D not in {s,d,c,z}"},
      {{"solve", "A.mtx", "b.mtx", "-p", "dz"}, "dz not in {s,d,c,z}"},
      {{"solve", "A.mtx", "b.mtx", "-p", ""}, "--precision"},
      {{"solve", "A.mtx", "b.mtx", "-p", "d", "-p", "z"}, "--precision"},
      {{"solve", "A.mtx", "b.mtx", "-o"}, "--output"},
      {{"solve", "A.mtx", "b.mtx", "-o", ""}, "--output: a file name must not be empty"},
      {{"solve", "A.mtx", "b.mtx", "-o", "x", "-o", "y"}, "--output"},
      {{"solve", "", "b.mtx"}, "A: a file name must not be empty"},
      {{"solve", "A.mtx", ""}, "B: a file name must not be empty"},
      {{"solve", "A.mtx", "b.mtx", "--method", "qr"}, "qr not in {lu,cholesky,indefinite,band,mixed}"},
      {{"solve", "A.mtx", "b.mtx", "--method"}, "--method"},
      {{"solve", "A.mtx", "b.mtx", "--spd", "--method", "lu"}, "--spd asks for a Cholesky factorisation, --method lu"},
      {{"solve", "A.mtx", "b.mtx", "--spd", "--method", "indefinite"}, "--method indefinite for another"},
      {{"solve", "A.mtx", "b.mtx", "--spd", "--method", "mixed"}, "--method mixed for another"},
      {{"solve", "A.mtx", "b.mtx", "--method", "mixed", "-ps"}, "--method mixed works in precision d, not s"},
      {{"solve", "A.mtx", "b.mtx", "--method", "mixed", "-pz"}, "--method mixed works in precision d, not z"},
      {{"cond"}, "A is required"},
      {{"cond", ""}, "A: a file name must not be empty"},
      {{"cond", "A.mtx", "-o", "x"}, "-o"},
      {{"cond", "A.mtx", "-p", "q"}, "q not in {s,d,c,z}"},
      {{"inv"}, "A is required"},
      {{"inv", "A.mtx", "b.mtx"}, "b.mtx"},
      {{"inv", "A.mtx", "-o", ""}, "--output: a file name must not be empty"},
      {{"det"}, "A is required"},
      {{"det", "A.mtx", "--force"}, "--force"},
      {{"eig"}, "A is required"},
      {{"eig", "A.mtx", "B.mtx"}, "B.mtx"},
      {{"eig", "A.mtx", "--vectors", ""}, "--vectors: a file name must not be empty"},
      {{"eig", "A.mtx", "--method", "jacobi"}, "jacobi not in {qr,dc,mrrr}"},
      {{"eig", "A.mtx", "--range", "1"}, "--range takes two numbers with a colon between, not '1'"},
      {{"eig", "A.mtx", "--range", "1:x"}, "--range takes two numbers with a colon between, not '1:x'"},
      {{"eig", "A.mtx", "--range", "nan:1"}, "--range takes two numbers with a colon between, not 'nan:1'"},
      {{"eig", "A.mtx", "--range", "2:2"}, "nothing lies above the first number and not above the second"},
      {{"eig", "A.mtx", "--index", "0:1"}, "--index '0:1': counts from 1, the smaller number first"},
      {{"eig", "A.mtx", "--index", "3:2"}, "--index '3:2': counts from 1, the smaller number first"},
      {{"eig", "A.mtx", "--index", "1:2.5"}, "--index takes two numbers with a colon between, not '1:2.5'"},
      {{"eig", "A.mtx", "--index", "1:2", "--range", "1:2"}, "--range and --index are two ways to choose: give one"},
      {{"eig", "A.mtx", "--index", "1:2", "--method", "dc"}, "--method dc finds all values"},
      {{"eig", "A.mtx", "--type", "2"}, "--type is for two matrices: give --with"},
      {{"eig", "A.mtx", "--with", "B.mtx", "--type", "4"}, "--type"},
      {{"eig", "A.mtx", "--with", "B.mtx", "--method", "mrrr"}, "--method mrrr is for one matrix, --with gives two"},
      {{"svd"}, "A is required"},
      {{"svd", "A.mtx", "b.mtx"}, "b.mtx"},
      {{"svd", ""}, "A: a file name must not be empty"},
      {{"svd", "A.mtx", "--left"}, "--left"},
      {{"svd", "A.mtx", "--left", ""}, "--left: a file name must not be empty"},
      {{"svd", "A.mtx", "--right", ""}, "--right: a file name must not be empty"},
      {{"svd", "A.mtx", "--plot", ""}, "--plot: a file name must not be empty"},
      {{"svd", "A.mtx", "-p", "q"}, "q not in {s,d,c,z}"},
      {{"svd", "A.mtx", "--thin"}, "--thin is for vectors: give --left or --right"},
      {{"svd", "A.mtx", "--full"}, "--full is for vectors: give --left or --right"},
      {{"svd", "A.mtx", "--left", "U", "--thin", "--full"}, "--thin and --full are two ways to choose: give one"},
      {{"svd", "A.mtx", "--rank"}, "--rank"},
      {{"svd", "A.mtx", "--rank", "few"}, "--rank"},
      {{"svd", "A.mtx", "--rank", "-1e-9"}, "--rank takes a number from 0 to below 1"},
      {{"svd", "A.mtx", "--rank", "1"}, "--rank takes a number from 0 to below 1"},
      {{"svd", "A.mtx", "--rank", "nan"}, "--rank takes a number from 0 to below 1"},
      {{"svd", "A.mtx", "--vectors", "Z"}, "--vectors"},
      {{"svd", "A.mtx", "--with", ""}, "--with: a file name must not be empty"},
      {{"svd", "A.mtx", "--with", "B.mtx", "--with-left", ""}, "--with-left: a file name must not be empty"},
      {{"svd", "A.mtx", "--with-left", "V"}, "--with-left is for two matrices: give --with"},
      {{"svd", "A.mtx", "--with", "B.mtx", "--rank", "0.1"}, "--rank is for one matrix, --with gives two"},
      {{"svd", "A.mtx", "--with", "B.mtx", "--full"}, "--full is for vectors: give --left or --right"},
      {{"svd", "-", "--with", "-"}, "only one of the files can be standard input"},
      {{"lstsq"}, "A is required"},
      {{"lstsq", "A.mtx", "b.mtx", "--rank", "1"}, "--rank takes a number from 0 to below 1"},
      {{"lstsq", "A.mtx", "b.mtx", "--rank=-0.1"}, "--rank takes a number from 0 to below 1"},
      {{"lstsq", "A.mtx", "b.mtx", "--rcond", "1"}, "--rcond takes a number from 0 to below 1"},
      {{"lstsq", "A.mtx", "b.mtx", "--rcond=-0.1"}, "--rcond takes a number from 0 to below 1"},
      {{"lstsq", "A.mtx", "b.mtx", "--rcond", "nan"}, "--rcond takes a number from 0 to below 1"},
      {{"lstsq", "A.mtx", "b.mtx", "--rcond", "0.1", "--rank", "0.1"}, "--rank and --rcond are two ways"},
      {{"lstsq", "A.mtx", "b.mtx", "--constraints", "C.mtx"}, "--constraints"},
      {{"lstsq", "A.mtx", "b.mtx", "--constraints", "C.mtx", ""}, "--constraints: a file name must not be empty"},
      {{"lstsq", "A.mtx", "b.mtx", "--constraints", "C.mtx", "d.mtx", "--rcond", "0.1"}, "give one of them"},
      {{"lstsq", "A.mtx", "b.mtx", "--constraints", "-", "-"}, "standard input"},
      {{"lstsq", "A.mtx"}, "B is required"},
      {{"lstsq", "A.mtx", "b.mtx", "c.mtx"}, "c.mtx"},
      {{"lstsq", "A.mtx", "b.mtx", "--spd"}, "--spd"},
      {{"lstsq", "A.mtx", "b.mtx", "-p", "q"}, "q not in {s,d,c,z}"},
      {{"lstsq", "A.mtx", "b.mtx", "-o", ""}, "--output: a file name must not be empty"},
      {{"lstsq", "", "b.mtx"}, "A: a file name must not be empty"},
      {{"make"}, "KIND is required"},
      {{"make", "general"}, "ROWS is required"},
      {{"make", "bidiagonal", "3"}, "bidiagonal not in {general,band,symmetric,hermitian,positive}"},
      {{"make", "general", "3", "4", "5"}, "5"},
      {{"make", "general", "3", "--mode", "7"}, "--mode"},
      {{"make", "general", "3", "--mode", "1.5"}, "--mode"},
      {{"make", "general", "3", "--mode", "6", "--distribution", "cauchy"}, "cauchy not in {uniform,symmetric,normal}"},
      {{"make", "general", "3", "--cond", "x"}, "--cond"},
      {{"make", "general", "3", "--spectrum", ""}, "--spectrum: a file name must not be empty"},
      {{"make", "general", "3", "-p", "q"}, "q not in {s,d,c,z}"},
      {{"make", "general", "3", "-o", ""}, "--output: a file name must not be empty"},
      {{"info", "A.mtx"}, "A.mtx"},
      {{"info", "-p", "d"}, "-p"},
      {{"info", "solve", "A.mtx", "b.mtx"}, "solve"},
  };
  const std::vector<std::string> before = folder.names();
  for (const auto& [arguments, culprit] : wrong) {
    const ChildResult result = run_nuv(folder, arguments);
    SCOPED_TRACE(testing::PrintToString(arguments) + to_string(result));
    EXPECT_EQ(result.exit_status, 2);
    EXPECT_EQ(result.output, "");
    EXPECT_TRUE(result.error.starts_with("nuv: "));
    EXPECT_TRUE(result.error.ends_with(" tells more)\n"));
    EXPECT_EQ(std::count(result.error.begin(), result.error.end(), '\n'), 1);
    EXPECT_NE(result.error.find(culprit), std::string::npos);
  }
  EXPECT_EQ(folder.names(), before);
}

TEST_F(CommandLine, HelpNamesTheCommandsAndOptions) {
  for (const char* option : {"-h", "--help"}) {
    const ChildResult result = run_nuv(folder, {option});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.error, "");
    for (const char* word : {"solve", "lstsq", "cond", "inv", "det", "eig", "svd", "make", "info", "--version"})
      EXPECT_NE(result.output.find(word), std::string::npos) << word;

    const ChildResult of_solve = run_nuv(folder, {"solve", option});
    EXPECT_EQ(of_solve.exit_status, 0);
    EXPECT_EQ(of_solve.error, "");
    for (const char* word :
         {"-o,--output FILE", "-p,--precision", "s, d, c or z", "--spd", "--method NAME", "--force",
          "indefinite  Bunch-", "singular to working precision is not solved", "more than once are summed"}) {
      EXPECT_NE(of_solve.output.find(word), std::string::npos) << word;
    }
    const ChildResult of_lstsq = run_nuv(folder, {"lstsq", option});
    EXPECT_EQ(of_lstsq.exit_status, 0);
    for (const char* word : {"-o,--output FILE", "-p,--precision", "--rank TOL", "--rcond RCOND", "--constraints FILE",
                             "least norm", "max(m, n) eps", "more than once are summed"}) {
      EXPECT_NE(of_lstsq.output.find(word), std::string::npos) << word;
    }
    const ChildResult of_svd = run_nuv(folder, {"svd", option});
    EXPECT_EQ(of_svd.exit_status, 0);
    for (const char* word : {"-o,--output FILE", "-p,--precision", "--left FILE", "--right FILE", "--thin", "--full",
                             "--rank TOL", "--plot FILE", "max(m, n) eps", "two-norm", "more than once are summed"}) {
      EXPECT_NE(of_svd.output.find(word), std::string::npos) << word;
    }
    const ChildResult of_make = run_nuv(folder, {"make", option});
    EXPECT_EQ(of_make.exit_status, 0);
    for (const char* word :
         {"KIND", "ROWS", "[COLUMNS]", "--cond COND", "--mode MODE", "--norm NORM", "--spectrum FILE",
          "--distribution NAME", "--lower KL", "--upper KU", "--seed SEED", "-o,--output FILE", "-p,--precision",
          "mode 3", "SplitMix64", "A comment in it repeats the command"}) {
      EXPECT_NE(of_make.output.find(word), std::string::npos) << word;
    }
    const std::string of_inv = run_nuv(folder, {"inv", option}).output;
    for (const char* word : {"-o,--output FILE", "-p,--precision", "--force", "more than once are summed"}) {
      EXPECT_NE(of_inv.find(word), std::string::npos) << word;
    }
    EXPECT_NE(run_nuv(folder, {"cond", option}).output.find("reciprocal condition numbers"), std::string::npos);
    EXPECT_NE(run_nuv(folder, {"det", option}).output.find("the logarithm of the magnitude"), std::string::npos);
    EXPECT_EQ(run_nuv(folder, {"info", option}).exit_status, 0);
  }
}

TEST_F(CommandLine, HelpIsACommandToo) {
  EXPECT_EQ(run_nuv(folder, {"help"}).output, run_nuv(folder, {"--help"}).output);
  for (const char* name : {"solve", "lstsq", "cond", "inv", "det", "norm", "residual", "eig", "svd", "make", "info"}) {
    const std::string help = run_nuv(folder, {"help", name}).output;
    EXPECT_NE(help.find(std::string("Usage: nuv ") + name), std::string::npos) << help;
    EXPECT_EQ(help, run_nuv(folder, {name, "--help"}).output);
    for (const char* option : {"--threads N", "--json", "--quiet"}) EXPECT_NE(help.find(option), std::string::npos);
  }
}

TEST_F(CommandLine, VersionIsTheProjects) {
  const ChildResult result = run_nuv(folder, {"--version"});
  EXPECT_EQ(result.exit_status, 0);
  EXPECT_EQ(result.output, "nuv " NUV_VERSION "\n");
  EXPECT_EQ(result.error, "");
}

TEST_F(CommandLine, TakesOptionsInAnyPlaceAndForm) {
  const std::string real = "%%MatrixMarket matrix array real general\n1 1\n1\n";
  const std::string complex = "%%MatrixMarket matrix array complex general\n1 1\n1 0\n";
  EXPECT_EQ(run_nuv(folder, {"solve", "-p", "s", "A.mtx", "b.mtx"}).output, real);
  EXPECT_EQ(run_nuv(folder, {"solve", "A.mtx", "-pc", "b.mtx"}).output, complex);
  EXPECT_EQ(run_nuv(folder, {"solve", "A.mtx", "b.mtx", "--precision", "z"}).output, complex);
  EXPECT_EQ(run_nuv(folder, {"solve", "A.mtx", "b.mtx", "--precision=d"}).output, real);
  EXPECT_EQ(run_nuv(folder, {"solve", "--", "A.mtx", "b.mtx"}).output, real);
  EXPECT_TRUE(run_nuv(folder, {"solve", "-ox.mtx", "A.mtx", "b.mtx"}).succeeded());
  EXPECT_EQ(folder.read("x.mtx"), real);
  EXPECT_TRUE(run_nuv(folder, {"solve", "A.mtx", "b.mtx", "--output", "y.mtx"}).succeeded());
  EXPECT_EQ(folder.read("y.mtx"), real);
}

TEST_F(CommandLine, TakesFilesNamedLikeCommandsAndOptions) {
  const std::string real = "%%MatrixMarket matrix array real general\n1 1\n1\n";
  EXPECT_EQ(run_nuv(folder, {"solve", "solve", "info"}).output, real);
  folder.write("-p", folder.read("A.mtx"));
  EXPECT_EQ(run_nuv(folder, {"solve", "--", "-p", "b.mtx"}).output, real);
  EXPECT_EQ(run_nuv(folder, {"solve", "./-p", "b.mtx"}).output, real);
}

}  // namespace
}  // namespace nuv::test
