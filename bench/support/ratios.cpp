#include "ratios.h"

#include <cstdio>

namespace qbench {

void Recorder::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& r : runs) {
    if (r.error_occurred) continue;
    const bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
    if (r.run_type != Run::RT_Iteration && !median) continue;
    const double unit = benchmark::GetTimeUnitMultiplier(r.time_unit);
    const times t{r.GetAdjustedCPUTime() / unit, r.GetAdjustedRealTime() / unit};
    keep(r.run_name.function_name, t, median);
    keep(r.run_name.str(), t, median);
  }
  ConsoleReporter::ReportRuns(runs);
}

void Recorder::keep(const std::string& name, const times& t, bool median) {
  if (median)
    medians_.insert(name);
  else if (medians_.count(name))
    return;  // a single run never replaces the median
  times_[name] = t;
}

double Recorder::cpu(const std::string& name) const {
  const auto i = times_.find(name);
  return i == times_.end() ? 0.0 : i->second.cpu;
}

double Recorder::real(const std::string& name) const {
  const auto i = times_.find(name);
  return i == times_.end() ? 0.0 : i->second.real;
}

bool run(int argc, char** argv, Recorder& recorder, const std::function<bool()>& setup) {
  // Repetitions in random order, so that a change in what else the machine runs weighs on quelt
  // and on the comparisons alike; a later flag on the command line overrides it.
  std::vector<char*> args(argv, argv + argc);
  char interleave[] = "--benchmark_enable_random_interleaving=true";
  args.insert(args.begin() + 1, interleave);
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return false;
  if (setup && !setup()) return false;
  benchmark::RunSpecifiedBenchmarks(&recorder);
  benchmark::Shutdown();
  return true;
}

void ratio(const char* label, double a, double b) {
  if (a > 0 && b > 0) std::printf("  %-56s %6.2f\n", label, a / b);
}

}  // namespace qbench
