/// The costliest search expressions that a hill climb over the matcher's syntax finds: what bounds the time of a search
/// has to hold for them too.
#pragma once

#include "QVvisaFind.h"
#include "slre.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <vector>

class HostileExpressions {
public:
  explicit HostileExpressions(std::vector<std::string> names) : names_(std::move(names)) {}

  /// The costliest expression found within the time given.
  std::string find(std::chrono::seconds limit) {
    const auto end = Clock::now() + limit;
    Expression worst;
    double worstTime = 0;
    while (Clock::now() < end) {
      Expression top = random();
      climb(top, end);
      const double time = measure(text(top), 30);
      if (time > worstTime) worstTime = time, worst = top;
    }
    return text(worst);
  }

private:
  using Clock = std::chrono::steady_clock;
  using Expression = std::vector<const char*>;  // its pieces
  /// A hill is left after so many steps in a row that lead down.
  static constexpr int kPatience = 150;

  std::size_t below(std::size_t limit) { return engine_() % limit; }

  const char* piece() {
    static const std::string set = "[" + std::string(64, '-') + "]";
    static const char* const pieces[] = {
        ".*",  ".*?",    ".+",   "(.*)", "(",     ")",    "|",      "(.*)*",    "((.*)+)", "(.|..)", "(a|b|.)*",
        "))*", ".*[^q]", "\\S*", "\\d",  "[0-9]", "[^x]", "[:-Z]",  "0",        ":",       "::",     "INSTR",
        "x?",  ".?",     "^",    "$",    "*",     "?",    "((((((", "a*a*a*a*", "|||",     "7",      set.c_str()};
    return pieces[below(std::size(pieces))];
  }

  Expression random() {
    Expression made(1 + below(12));
    std::generate(made.begin(), made.end(), [this] { return piece(); });
    return made;
  }

  void mutate(Expression& expression) {
    const auto at = expression.begin() + static_cast<std::ptrdiff_t>(below(expression.size()));
    switch (below(4)) {
    case 0:
      if (expression.size() > 1) expression.erase(at);
      break;
    case 1:
      *at = piece();
      break;
    case 2:
      expression.insert(at, piece());
      break;
    default:
      expression.insert(at, below(20), *at);
    }
  }

  void climb(Expression& top, Clock::time_point end) {
    double height = measure(text(top), 3);
    for (int downhill = 0; downhill < kPatience && Clock::now() < end; ++downhill) {
      Expression next = top;
      for (std::size_t i = below(3) + 1; i > 0; --i) mutate(next);
      const std::string expression = text(next);
      if (expression.size() > QVVISA_MAX_REGEX_LEN || measure(expression, 1) <= height) continue;
      const double measured = measure(expression, 8);
      if (measured <= height) continue;
      height = measured;
      top = std::move(next);
      downhill = 0;
    }
  }

  /// Seconds that all names take at best, in so many tries: a load on the machine isn't the expression's merit.
  double measure(const std::string& expression, int tries) const {
    double best = 1;
    for (; tries > 0; --tries) {
      const auto start = Clock::now();
      for (const std::string& name : names_)
        benchmark::DoNotOptimize(
            slre_match_within(QVVISA_MATCH_COST, expression.c_str(), name.c_str(), static_cast<int>(name.size())));
      best = std::min(best, std::chrono::duration<double>(Clock::now() - start).count());
    }
    return best;
  }

  static std::string text(const Expression& expression) {
    std::string all;
    for (const char* piece : expression) all += piece;
    return all;
  }

  std::vector<std::string> names_;
  std::mt19937 engine_{20240607};
};
