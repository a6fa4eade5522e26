// Runs nuv with --json and --threads.

#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "nuv_command.hpp"

namespace nuv::test {
namespace {

using Json = nlohmann::json;
using Keys = std::set<std::string>;
using Words = std::vector<std::string>;

const std::string array = "%%MatrixMarket matrix array real general\n";

class JsonReport : public testing::Test {
 protected:
  JsonReport() {
    folder.write("A.mtx", array + "2 2\n2\n1\n1\n3\n");
    folder.write("S.mtx", "%%MatrixMarket matrix array real symmetric\n2 2\n2\n1\n3\n");
    folder.write("b.mtx", array + "2 1\n3\n4\n");
  }

  ChildResult run(Words arguments) {
    arguments.push_back("--json");
    const ChildResult result = run_nuv(folder, arguments);
    EXPECT_TRUE(result.succeeded()) << to_string(result);
    return result;
  }

  /// A report that stands alone on standard output.
  Json report(const Words& arguments) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const ChildResult result = run(arguments);
    EXPECT_EQ(result.error, "");
    return Json::parse(result.output);
  }

  TemporaryFolder folder;
};

Keys keys_of(const Json& object) {
  Keys keys;
  for (const auto& [key, value] : object.items()) keys.insert(key);
  return keys;
}

// The keys are what programs rely on: none may go or change its name.
TEST_F(JsonReport, KeysOfEachCommand) {
  const Json solve = report({"solve", "A.mtx", "b.mtx", "-o", "x.mtx"});
  EXPECT_EQ(keys_of(solve),
            (Keys{"command", "matrix", "right_hand_sides", "method", "method_reason", "solved_by", "precision",
                  "scaled_residual", "reciprocal_condition", "equilibrated", "forward_error", "time", "threads"}));
  EXPECT_EQ(keys_of(solve["time"]), (Keys{"read", "solve", "check", "write"}));
  EXPECT_EQ(solve["matrix"], Json::parse(R"({"file": "A.mtx", "rows": 2, "columns": 2})"));
  EXPECT_EQ(solve["right_hand_sides"], Json::parse(R"({"file": "b.mtx", "rows": 2, "columns": 1})"));
  EXPECT_EQ(solve["solved_by"], "nuv_lapack_dgesvx");
  EXPECT_EQ(solve["precision"], "d");

  EXPECT_EQ(keys_of(report({"lstsq", "A.mtx", "b.mtx", "-o", "x.mtx"})),
            (Keys{"command", "matrix", "kind", "right_hand_sides", "rank", "rank_tolerance", "factored_by", "precision",
                  "residual_norm", "time", "threads"}));
  EXPECT_EQ(keys_of(report({"lstsq", "A.mtx", "b.mtx", "-o", "x.mtx", "--rcond", "1e-9"})),
            (Keys{"command", "matrix", "kind", "right_hand_sides", "rank", "rank_tolerance", "factored_by", "precision",
                  "residual_norm", "time", "threads"}));
  const Json constrained = report({"lstsq", "A.mtx", "b.mtx", "-o", "x.mtx", "--constraints", "A.mtx", "b.mtx"});
  EXPECT_EQ(keys_of(constrained),
            (Keys{"command", "matrix", "kind", "right_hand_sides", "constraints", "rank_tolerance", "factored_by",
                  "precision", "residual_norm", "constraint_norm", "time", "threads"}));
  EXPECT_EQ(constrained["constraints"],
            Json::parse(R"({"file": "A.mtx", "rows": 2, "columns": 2, "right_hand_sides": "b.mtx"})"));
  EXPECT_EQ(keys_of(report({"inv", "A.mtx", "-o", "x.mtx"})),
            (Keys{"command", "matrix", "factored_by", "inverted_by", "precision", "reciprocal_condition", "time",
                  "threads"}));
  EXPECT_EQ(keys_of(report({"eig", "S.mtx", "-o", "w.mtx", "--vectors", "Z.mtx"})),
            (Keys{"command", "matrix", "eigenvalues", "found_by", "precision", "residual", "orthogonality", "time",
                  "threads"}));
  EXPECT_EQ(keys_of(report({"eig", "S.mtx", "-o", "w.mtx", "--vectors", "V.mtx", "--left", "U.mtx", "--schur", "T.mtx",
                            "--conditions"})),
            (Keys{"command", "matrix", "eigenvalues", "complex", "found_by", "precision", "residual", "left_residual",
                  "schur_residual", "conditions", "separations", "time", "threads"}));
  EXPECT_EQ(keys_of(report({"svd", "A.mtx", "-o", "s.mtx", "--left", "U.mtx"})),
            (Keys{"command", "matrix", "singular_values", "rank", "rank_tolerance", "condition", "found_by",
                  "precision", "residual", "orthogonality", "time", "threads"}));
  EXPECT_EQ(keys_of(report({"cond", "A.mtx"})),
            (Keys{"command", "matrix", "factored_by", "precision", "reciprocal_condition", "time", "threads"}));
  EXPECT_EQ(keys_of(report({"det", "A.mtx"})), (Keys{"command", "matrix", "factored_by", "precision", "phase",
                                                     "logarithm", "reciprocal_condition", "time", "threads"}));
  EXPECT_EQ(keys_of(report({"norm", "A.mtx"})), (Keys{"command", "matrix", "precision", "norms", "time", "threads"}));
  EXPECT_EQ(keys_of(report({"residual", "A.mtx", "b.mtx", "b.mtx"})),
            (Keys{"command", "matrix", "solution", "right_hand_sides", "precision", "residual_norm", "kind",
                  "scaled_residual", "threshold", "good", "time", "threads"}));
  EXPECT_EQ(keys_of(report({"make", "general", "3", "-o", "made.mtx"})),
            (Keys{"command", "kind", "matrix", "spectrum", "precision", "seed", "layout", "written", "made_again_by",
                  "time", "threads"}));
  EXPECT_EQ(keys_of(report({"convert", "A.mtx", "A.npy"})),
            (Keys{"command", "matrix", "written", "layout", "symmetry", "precision", "time", "threads"}));
  EXPECT_EQ(keys_of(report({"info"})), (Keys{"command", "solver_library", "kernel_library", "thread_layer", "processor",
                                             "instruction_set", "tier", "configuration", "threads"}));
}

TEST_F(JsonReport, LeavesStandardOutputToTheResult) {
  const ChildResult there = run({"solve", "A.mtx", "b.mtx"});
  EXPECT_EQ(there.output, array + "2 1\n1\n1\n");
  EXPECT_EQ(Json::parse(there.error)["command"], "solve");
  const ChildResult by_name = run({"solve", "A.mtx", "b.mtx", "-o", "/dev/stdout"});
  EXPECT_EQ(by_name.output, array + "2 1\n1\n1\n");
  EXPECT_EQ(Json::parse(by_name.error)["command"], "solve");
  const ChildResult vectors = run({"eig", "S.mtx", "-o", "w.mtx", "--vectors", "/dev/stdout"});
  EXPECT_TRUE(vectors.output.starts_with(array + "2 2\n"));
  EXPECT_EQ(Json::parse(vectors.error)["command"], "eig");
}

TEST_F(JsonReport, NumbersHaveAllTheirDigits) {
  folder.write("third.mtx", array + "1 1\n0.33333333333333331\n");
  EXPECT_EQ(report({"norm", "third.mtx"})["norms"]["largest"].get<double>(), 1.0 / 3);
  EXPECT_EQ(report({"det", "third.mtx"})["logarithm"].get<double>(), std::log(1.0 / 3));
  const Json time = report({"cond", "A.mtx"})["time"];
  EXPECT_GT(time["read"].get<double>(), 0);
  EXPECT_GT(time["solve"].get<double>(), 0);
}

TEST_F(JsonReport, NumbersThatAreNotFiniteAreNull) {
  folder.write("zero.mtx", array + "1 1\n0\n");
  const Json det = report({"det", "zero.mtx"});
  EXPECT_TRUE(det["logarithm"].is_null());
  EXPECT_EQ(det["phase"]["real"], 0);
  EXPECT_EQ(det["warning"], "the matrix is singular: pivot U(1,1) is exactly zero");
  EXPECT_TRUE(report({"svd", "zero.mtx", "-o", "s.mtx"})["condition"].is_null());
}

TEST_F(JsonReport, HoldsWhateverAFileIsCalled) {
  const std::string name = "two\n\"lines\" \xff";
  folder.write(name, folder.read("A.mtx"));
  EXPECT_EQ(report({"norm", name})["matrix"]["file"], "two\n\"lines\" \xef\xbf\xbd");
}

TEST_F(JsonReport, ErrorsStayOneLine) {
  expect_refusal(run_nuv(folder, {"det", "none.mtx", "--json"}), 1, "none.mtx: cannot open: No such file or directory");
}

TEST_F(JsonReport, TellsTheThreadsThatWereAskedFor) {
  EXPECT_EQ(report({"info", "--threads", "3"})["threads"], 3);
  EXPECT_EQ(report({"info", "--threads=256"})["threads"], 256);
  EXPECT_EQ(report({"det", "A.mtx", "--threads", "007"})["threads"], 7);
}

TEST_F(JsonReport, AnyNumberOfThreadsMakesTheSameMatrix) {
  const std::string one = run_nuv(folder, {"make", "general", "300", "--threads", "1"}).output;
  EXPECT_TRUE(run_nuv(folder, {"make", "general", "300", "--threads", "3"}).output == one);
}

}  // namespace
}  // namespace nuv::test
