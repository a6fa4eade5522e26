#include "support/benchmarks.hpp"

#include "base/instruction_set.hpp"

namespace nuv::bench {

int run(int argc, char** argv) {
  benchmark::AddCustomContext("instruction set", instruction_set_names[static_cast<int>(choose_instruction_set().set)]);
  benchmark::AddCustomContext("arithmetic limit, double, FLOP/s", std::to_string(arithmetic_limit<double>()));
  benchmark::AddCustomContext("arithmetic limit, single, FLOP/s", std::to_string(arithmetic_limit<float>()));
  benchmark::AddCustomContext("read limit, B/s", std::to_string(read_limit()));
  benchmark::AddCustomContext("read-write limit, B/s", std::to_string(read_write_limit()));
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}

}  // namespace nuv::bench
