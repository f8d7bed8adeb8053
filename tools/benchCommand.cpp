/// bench.
#include "commandLine.h"
#include "instrument.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

struct Arguments {
  std::string query = "*IDN?";
  size_t count = 100;
};

/// Times between two bounds.
struct Bin {
  double from_ms;
  double to_ms;
  size_t count;
};

/// How long queries took, shortest first.
class Times {
public:
  explicit Times(std::vector<double> times_ms) : sorted_(std::move(times_ms)) {
    std::sort(sorted_.begin(), sorted_.end());
  }
  size_t count() const { return sorted_.size(); }
  /// The time that so much of all times doesn't exceed.
  double percentile(size_t percent) const { return sorted_[(sorted_.size() * percent + 99) / 100 - 1]; }
  double shortest() const { return sorted_.front(); }
  double longest() const { return sorted_.back(); }
  /// Bounds are 1, 2 and 5 times a power of ten, and all bins between the shortest and the longest time are there.
  std::vector<Bin> bins() const;

private:
  std::vector<double> sorted_;
};

std::vector<Bin> Times::bins() const {
  static constexpr std::array<double, 3> steps = {1, 2, 5};
  std::vector<Bin> bins;
  auto time = sorted_.begin();
  double from_ms = 0;
  for (int i = 0; time != sorted_.end(); ++i) {
    // From a microsecond on.
    const double to_ms = steps[static_cast<size_t>(i) % steps.size()] * std::pow(10.0, i / 3 - 3);
    const auto end = std::lower_bound(time, sorted_.end(), to_ms);
    if (end != sorted_.begin()) bins.push_back({from_ms, to_ms, static_cast<size_t>(end - time)});
    time = end;
    from_ms = to_ms;
  }
  return bins;
}

template <typename... Values>
std::string format(const char* pattern, Values... values) {
  std::array<char, 128> text{};
  snprintf(text.data(), text.size(), pattern, values...);
  return text.data();
}

std::string textOfTimes(const Times& times) {
  constexpr size_t barLength = 50;
  std::string text = std::to_string(times.count()) + " queries\n";
  text += format("median           %9.3f ms\n95th percentile  %9.3f ms\n99th percentile  %9.3f ms\n",
                 times.percentile(50), times.percentile(95), times.percentile(99));
  text += format("from %.3f to %.3f ms\n\n", times.shortest(), times.longest());
  for (const Bin& bin : times.bins()) {
    const std::string bar((bin.count * barLength + times.count() - 1) / times.count(), '#');
    text += format("%9.3f .. %9.3f ms %8zu  ", bin.from_ms, bin.to_ms, bin.count);
    text += bar + '\n';
  }
  return text;
}

std::string jsonOf(const std::string& resource, const std::string& query, const Times& times) {
  nlohmann::ordered_json histogram = nlohmann::ordered_json::array();
  for (const Bin& bin : times.bins()) {
    histogram.push_back({{"from_ms", bin.from_ms}, {"to_ms", bin.to_ms}, {"count", bin.count}});
  }
  return textOf({{"resource", resource},
                 {"query", query},
                 {"count", times.count()},
                 {"median_ms", times.percentile(50)},
                 {"percentile95_ms", times.percentile(95)},
                 {"percentile99_ms", times.percentile(99)},
                 {"shortest_ms", times.shortest()},
                 {"longest_ms", times.longest()},
                 {"histogram", histogram}});
}

Answer measure(const std::string& resource, const Options& options, const Arguments& arguments) {
  using Clock = std::chrono::steady_clock;
  const std::string message = unescape(arguments.query);
  Instrument instrument(resource, options);
  // The first one takes what lies on the line, and isn't counted.
  Response response = instrument.query(message);
  std::vector<double> times_ms;
  while (response.flaw.empty() && times_ms.size() < arguments.count) {
    const Clock::time_point start = Clock::now();
    instrument.write(message);
    response = instrument.read();
    times_ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
  }
  if (!response.flaw.empty()) {
    throw Failure("after " + std::to_string(times_ms.size()) + " queries: " + response.flaw);
  }
  const Times times(std::move(times_ms));
  return {options.json ? jsonOf(resource, arguments.query, times) : textOfTimes(times), {}};
}

}  // namespace

void addBenchCommand(CommandLine& line) {
  const auto arguments = std::make_shared<Arguments>();
  CLI::App* bench =
      line.addOnResource("bench", "Measure how long queries take", [&line, arguments](const auto& resource) {
        return measure(resource, line.options(), *arguments);
      });
  addArgument(bench, "QUERY", arguments->query, "The query, *IDN? if left out");
  bench->add_option("-n,--count", arguments->count, "How many times it is asked, after a first time that isn't counted")
      ->type_name("N")
      ->take_last()
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
}
