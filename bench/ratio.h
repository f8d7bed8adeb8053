/// Ratios between the benchmarks of one program. Speed is stated against a baseline that runs beside it, since the time
/// of either alone says more about the machine and its load than about the code.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

/// The best time of one benchmark over the best time of another, and how large it has to be.
struct Ratio {
  const char* slower;  ///< name of the benchmark above, with its arguments ("name/8")
  const char* faster;  ///< name of the benchmark below
  double atLeast;      ///< below 1 when `slower` may be the faster one by so much
};

namespace ratio_detail {

/// Keeps the best repetition of each benchmark. Only noise can make a repetition slower than it needs to be.
class BestTimes : public benchmark::BenchmarkReporter {
public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const std::string& args = run.run_name.args;
      const std::string name = args.empty() ? run.run_name.function_name : run.run_name.function_name + "/" + args;
      if (run.error_occurred) std::printf("%s: %s\n", name.c_str(), run.error_message.c_str());
      if (run.error_occurred || run.run_type != Run::RT_Iteration) continue;
      const double nanoseconds = run.real_accumulated_time / static_cast<double>(run.iterations) * 1e9;
      const auto [best, isNew] = times_.emplace(name, nanoseconds);
      if (!isNew) best->second = std::min(best->second, nanoseconds);
    }
  }

  /// 0 when there is none.
  double best(const std::string& name) const {
    const auto found = times_.find(name);
    return found == times_.end() ? 0 : found->second;
  }

  void print() const {
    for (const auto& [name, time] : times_) std::printf("%14.0f ns  %s\n", time, name.c_str());
  }

private:
  std::map<std::string, double> times_;
};

}  // namespace ratio_detail

/// Runs the program's benchmarks, several times and in turn, and prints best times and ratios. Command-line options are
/// Google Benchmark's.
/// @return the exit code: 0 when every ratio is reached, 1 when one is missed or one of its benchmarks has no result
inline int runRatios(int argc, char** argv, std::initializer_list<Ratio> ratios) {
  // Options given by the user come behind the defaults and win. Taking turns spreads a burst of load over all.
  std::vector<std::string> options{argv[0], "--benchmark_repetitions=7", "--benchmark_min_time=0.05",
                                   "--benchmark_enable_random_interleaving=true"};
  options.insert(options.end(), argv + 1, argv + argc);
  std::vector<char*> args;
  args.reserve(options.size());
  for (std::string& option : options) args.push_back(option.data());
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;

  ratio_detail::BestTimes times;
  benchmark::RunSpecifiedBenchmarks(&times);
  times.print();
  bool reached = true;
  for (const Ratio& ratio : ratios) {
    const double slower = times.best(ratio.slower), faster = times.best(ratio.faster);
    const double value = faster > 0 ? slower / faster : 0;
    const bool ok = value >= ratio.atLeast;
    std::printf("%s  %s / %s = %.2f, to be at least %.2f\n", ok ? "ok    " : "MISSED", ratio.slower, ratio.faster,
                value, ratio.atLeast);
    reached = reached && ok;
  }
  return reached ? 0 : 1;
}
