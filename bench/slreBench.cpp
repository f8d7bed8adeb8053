/// The matcher on the resource strings of one search, against std::regex and PCRE2 without its JIT. The matcher has
/// nothing to compile and reads its expression each time. The baselines get theirs compiled once, outside the
/// measurement, but for one that reads it each time too.
#define PCRE2_CODE_UNIT_WIDTH 8

#include "ratio.h"
#include "slre.h"

#include <memory>
#include <pcre2.h>
#include <regex>
#include <string>
#include <vector>

namespace {

constexpr const char* ENDING = ".*::INSTR";
constexpr const char* WHOLE = "^USB0::.*::(INSTR|RAW)$";

/// 60 strings as a search prints them: 24 USBTMC interfaces, 24 raw ones and 12 serial ports.
const std::vector<std::string>& resources() {
  static const auto all = [] {
    std::vector<std::string> made;
    for (int i = 0; i < 24; ++i) {
      const std::string device = "USB0::0x7C5A::0x00" + std::to_string(40 + i) + "::A" + std::to_string(1234 + 97 * i);
      made.push_back(device + "::INSTR");
      made.push_back(device + "::1::RAW");
      if (i % 2 == 0) made.push_back("ASRL" + std::to_string(3 + i) + "::INSTR");
    }
    return made;
  }();
  return all;
}

/// Measures one search and makes sure that all engines find the same number of strings.
template <class Match>
void search(benchmark::State& state, const char* expression, Match match) {
  const int expected = expression == ENDING ? 36 : 48;
  for (auto _ : state) {
    int found = 0;
    for (const std::string& resource : resources()) found += match(resource) ? 1 : 0;
    if (found != expected) state.SkipWithError("wrong number of matches");
  }
}

void searchSlre(benchmark::State& state, const char* expression) {
  search(state, expression, [=](const std::string& resource) {
    return slre_match(expression, resource.c_str(), static_cast<int>(resource.size()), nullptr, 0, 0) > 0;
  });
}

void searchStdRegex(benchmark::State& state, const char* expression) {
  const std::regex compiled(expression, std::regex::ECMAScript | std::regex::optimize | std::regex::nosubs);
  search(state, expression, [&](const std::string& resource) { return std::regex_search(resource, compiled); });
}

void readStdRegex(benchmark::State& state, const char* expression) {
  search(state, expression,
         [=](const std::string& resource) { return std::regex_search(resource, std::regex(expression)); });
}

void searchPcre2(benchmark::State& state, const char* expression) {
  int error = 0;
  PCRE2_SIZE place = 0;
  const std::unique_ptr<pcre2_code, decltype(&pcre2_code_free)> compiled(
      pcre2_compile(reinterpret_cast<PCRE2_SPTR>(expression), PCRE2_ZERO_TERMINATED, PCRE2_DOTALL, &error, &place,
                    nullptr),
      pcre2_code_free);
  const std::unique_ptr<pcre2_match_data, decltype(&pcre2_match_data_free)> data(
      pcre2_match_data_create_from_pattern(compiled.get(), nullptr), pcre2_match_data_free);
  search(state, expression, [&](const std::string& resource) {
    const auto* subject = reinterpret_cast<PCRE2_SPTR>(resource.c_str());
    return pcre2_match(compiled.get(), subject, resource.size(), 0, 0, data.get(), nullptr) > 0;
  });
}

BENCHMARK_CAPTURE(searchSlre, ending, ENDING);
BENCHMARK_CAPTURE(searchSlre, whole, WHOLE);
BENCHMARK_CAPTURE(searchStdRegex, ending, ENDING);
BENCHMARK_CAPTURE(searchStdRegex, whole, WHOLE);
BENCHMARK_CAPTURE(readStdRegex, whole, WHOLE);
BENCHMARK_CAPTURE(searchPcre2, ending, ENDING);
BENCHMARK_CAPTURE(searchPcre2, whole, WHOLE);

}  // namespace

int main(int argc, char** argv) {
  // Bound to the start, an expression leaves a compiled baseline one short attempt a string, while the matcher still
  // reads all of it for each string. Hence the smaller lead.
  return runRatios(argc, argv,
                   {{"searchStdRegex/ending", "searchSlre/ending", 20},
                    {"searchStdRegex/whole", "searchSlre/whole", 4},
                    {"readStdRegex/whole", "searchSlre/whole", 20},
                    {"searchPcre2/ending", "searchSlre/ending", 1},
                    {"searchPcre2/whole", "searchSlre/whole", 1}});
}
