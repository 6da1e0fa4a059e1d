// What every benchmark program shares: a reporter that keeps each benchmark's time per iteration
// (the median when there are repetitions, with or without the single runs in the report), the
// run of the benchmarks, and the printing of one ratio.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace qbench {

// Console output as usual. Times are seconds per iteration, kept under the benchmark's function
// name ("quelt_paragraph/grey") and under its full run name ("BM_arch_ff/real_time").
class Recorder : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override;
  // Processor time: on a shared machine the clock also counts the neighbours' turns.
  double cpu(const std::string& name) const;
  // Time on the clock, for what waits on a disk or a display server.
  double real(const std::string& name) const;

 private:
  struct times {
    double cpu = 0, real = 0;
  };
  void keep(const std::string& name, const times& t, bool median);
  std::map<std::string, times> times_;
  std::set<std::string> medians_;
};

// Reads the flags (repetitions run interleaved in random order unless a flag says otherwise),
// calls `setup`, which registers what is registered at run time and may refuse to go on, runs
// every benchmark into `recorder` and shuts Google Benchmark down. False on an unknown flag or
// a refusal of `setup`.
bool run(int argc, char** argv, Recorder& recorder, const std::function<bool()>& setup = {});

// Prints "label  a / b" when both times are known (above 0).
void ratio(const char* label, double a, double b);

}  // namespace qbench
