/// The matcher's rules written a second time, as plainly as they can be: no shortcut, no reordering, no cut. What the
/// matcher does faster must come out the same.
#pragma once

#include "slre.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class SlreOracle {
public:
  using Capture = std::pair<int, int>;  ///< offset and length; {-1, 0} when not written

  /// Both texts must outlive the oracle.
  SlreOracle(std::string_view expression, std::string_view subject, int numCaps, int flags)
      : re_(expression.data()), size_(static_cast<int>(expression.size())), s_(subject.data()),
        end_(static_cast<int>(subject.size())), numCaps_(numCaps), fold_((flags & SLRE_IGNORE_CASE) != 0) {}

  /// The result, or nothing when it takes more elements than stepLimit to find.
  std::optional<int> run(long stepLimit) {
    captures.assign(static_cast<std::size_t>(std::max(numCaps_, 0)), {-1, 0});
    stepsLeft_ = stepLimit;
    const int fault = scan();
    const int result = fault < 0 ? fault : search();
    return stepsLeft_ < 0 ? std::nullopt : std::optional(result);
  }

  std::vector<Capture> captures;

private:
  /// A half-open stretch of the expression or the subject, by offset.
  struct Span {
    int begin;
    int end;
  };

  int at(int i) const { return i < size_ ? static_cast<unsigned char>(re_[i]) : 0; }
  int byteAt(int i) const { return static_cast<unsigned char>(s_[i]); }
  static bool oneOf(int c, const char* list) { return c != 0 && std::strchr(list, c) != nullptr; }

  int escapeLen(int i) const { return at(i) == '\\' ? (at(i + 1) == 'x' ? 4 : 2) : 1; }
  int elementLen(int i, int end) const {
    if (at(i) != '[') return escapeLen(i);
    int k = i + 1;
    while (k < end && at(k) != ']') k += escapeLen(k);
    return k > end ? 0 : k + 1 - i;
  }

  Span& bracket(int index) { return brackets_[static_cast<std::size_t>(index)]; }
  int newest() const { return static_cast<int>(brackets_.size()) - 1; }

  /// Notes the element at a place, or tells its fault.
  int note(int i, int& depth) {
    const int current = brackets_.back().end < brackets_.back().begin ? newest() : depth;
    switch (at(i)) {
    case '|':
      if (bars_.size() == 100) return SLRE_TOO_MANY_BRANCHES;
      bars_.emplace_back(current, i);
      return 0;
    case '\\': {
      const bool hex = at(i + 1) == 'x' && std::isxdigit(at(i + 2)) && std::isxdigit(at(i + 3));
      return hex || oneOf(at(i + 1), "^$().[]*+?|\\Ssdbfnrtv") ? 0 : SLRE_INVALID_METACHARACTER;
    }
    case '(':
      if (brackets_.size() == 100) return SLRE_TOO_MANY_BRACKETS;
      ++depth;
      brackets_.push_back({i + 1, i});
      return numCaps_ > 0 && newest() > numCaps_ ? SLRE_CAPS_ARRAY_TOO_SMALL : 0;
    case ')':
      bracket(current).end = i;
      if (--depth < 0) return SLRE_UNBALANCED_BRACKETS;
      return at(i - 1) == '(' ? SLRE_NO_MATCH : 0;
    default:
      return 0;
    }
  }

  int scan() {
    brackets_ = {{0, size_}};
    int depth = 0;
    for (int i = 0, len = 0; i < size_; i += len) {
      len = elementLen(i, size_);
      if (len == 0) return SLRE_INVALID_CHARACTER_SET;
      if (const int fault = note(i, depth); fault != 0) return fault;
    }
    if (depth != 0) return SLRE_UNBALANCED_BRACKETS;
    for (std::size_t i = 0; i < bars_.size(); ++i)
      for (std::size_t k = i + 1; k < bars_.size(); ++k)
        if (bars_[i].first > bars_[k].first) std::swap(bars_[i], bars_[k]);
    return 0;
  }

  int search() {
    int result = SLRE_NO_MATCH;
    for (int start = 0; start <= end_; ++start) {
      result = alternatives(0, {start, end_});
      if (result >= 0) return start + result;
      if (at(0) == '^') break;
    }
    return result;
  }

  int alternatives(int index, Span subject) {
    Span re = bracket(index);
    for (const auto& [owner, bar] : bars_) {
      if (owner != index) continue;
      const int result = sequence({re.begin, bar}, subject, index);
      if (result > 0) return result;
      re.begin = bar + 1;
    }
    return sequence(re, subject, index);
  }

  int sequence(Span re, Span subject, int index) {
    int place = subject.begin;
    for (int i = re.begin; i < re.end;) {
      if (--stepsLeft_ < 0) return SLRE_NO_MATCH;
      const bool group = at(i) == '(';
      if (group && index == newest()) return SLRE_INTERNAL_ERROR;
      const int len = group ? bracket(index + 1).end - bracket(index + 1).begin + 2 : elementLen(i, re.end);
      if (oneOf(at(i), "*+?")) return SLRE_UNEXPECTED_QUANTIFIER;
      if (len <= 0) return SLRE_INVALID_CHARACTER_SET;
      const int next = i + len;
      const int behind = group ? lastInside(index + 1) : index;
      if (next < re.end && at(next) == '?') {
        place += std::max(0, sequence({i, next}, {place, subject.end}, index));
        index = behind;
        i = next + 1;
        continue;
      }
      if (next < re.end && oneOf(at(next), "*+")) {
        const int n = repetition({i, next}, re.end, {place, subject.end}, index, behind);
        return n < 0 ? n : place - subject.begin + n;
      }
      const int n =
          group ? groupThenRest(++index, {next, re.end}, {place, subject.end}) : single(i, re.end, place, subject);
      if (n < 0) return n;
      place += n;
      i = next;
    }
    return place - subject.begin;
  }

  /// An element other than a group, once.
  int single(int i, int end, int place, Span subject) {
    if (at(i) == '^') return place == subject.begin ? 0 : SLRE_NO_MATCH;
    if (at(i) == '$') return place == subject.end ? 0 : SLRE_NO_MATCH;
    if (place == subject.end) return SLRE_NO_MATCH;
    return at(i) == '[' ? setMatches({i + 1, end}, byteAt(place)) : elementMatches(i, byteAt(place));
  }

  int groupThenRest(int index, Span rest, Span subject) {
    const int earliestEnd = rest.begin < rest.end ? subject.begin : subject.end;
    int n = SLRE_NO_MATCH;
    for (int end = subject.end; end >= earliestEnd; --end) {
      n = alternatives(index, {subject.begin, end});
      if (n < 0) continue;
      const int behind = sequence(rest, {subject.begin + n, subject.end}, index);
      if (behind >= 0) break;
      n = behind;
    }
    if (n > 0 && index <= numCaps_) captures[static_cast<std::size_t>(index) - 1] = {subject.begin, n};
    return n;
  }

  int repetition(Span element, int end, Span subject, int index, int behind) {
    const bool plus = at(element.end) == '+';
    const bool lazy = element.end + 1 < end && at(element.end + 1) == '?';
    const Span rest{element.end + (lazy ? 2 : 1), end};
    int place = subject.begin, best = place, once = 0, last = -1;
    do {
      once = sequence(element, {place, subject.end}, index);
      place += std::max(0, once);
      if (plus && once < 0) break;
      last = sequence(rest, {place, subject.end}, behind);
      if (last >= 0) best = place + last;
    } while (!(lazy && best > subject.begin) && once > 0);
    if (!plus && once < 0 && last < 0) {
      last = sequence(rest, subject, behind);
      if (last > 0) best = subject.begin + last;
    }
    if (best > subject.begin) return best - subject.begin;
    return plus || last < 0 ? SLRE_NO_MATCH : 0;
  }

  int lastInside(int index) {
    int last = index;
    for (int i = index + 1; i <= newest(); ++i)
      if (bracket(i).begin <= bracket(index).end) last = i;
    return last;
  }

  int folded(int c) const { return fold_ ? std::tolower(c) : c; }

  bool escapeMatches(int i, int byte) const {
    constexpr std::string_view letters = "bfnrtv", controls = "\b\f\n\r\t\v";
    const int escaped = at(i + 1);
    if (escaped == 'd') return std::isdigit(byte) != 0;
    if (oneOf(escaped, "sS")) return (std::isspace(byte) != 0) == (escaped == 's');
    if (escaped == 'x')
      return std::isxdigit(at(i + 2)) && std::isxdigit(at(i + 3)) &&
             std::stoi(std::string(re_ + i + 2, 2), nullptr, 16) == byte;
    const auto control = letters.find(static_cast<char>(escaped));
    return byte == (control != std::string_view::npos ? controls[control] : escaped);
  }

  int elementMatches(int i, int byte) const {
    if (at(i) == '|') return SLRE_INTERNAL_ERROR;
    const bool matches =
        at(i) == '\\' ? escapeMatches(i, byte) : at(i) == '.' || (at(i) != '$' && folded(at(i)) == folded(byte));
    return matches ? 1 : SLRE_NO_MATCH;
  }

  int setMatches(Span set, int byte) const {
    const auto bound = [&](int c) { return fold_ ? std::tolower(c) : static_cast<int>(static_cast<signed char>(c)); };
    const bool inverted = set.begin < set.end && at(set.begin) == '^';
    bool matched = false;
    for (int i = set.begin + inverted; !matched && i < set.end && at(i) != ']';) {
      const bool range = at(i) != '-' && at(i + 1) == '-' && at(i + 2) != ']' && at(i + 2) != 0;
      matched = range ? bound(at(i)) <= bound(byte) && bound(byte) <= bound(at(i + 2)) : elementMatches(i, byte) == 1;
      i += range ? 3 : escapeLen(i);
    }
    return matched != inverted ? 1 : SLRE_NO_MATCH;
  }

  const char* re_;
  int size_;
  const char* s_;
  int end_;
  int numCaps_;
  bool fold_;
  long stepsLeft_ = 0;
  std::vector<Span> brackets_;  ///< an open one ends before its beginning, for good when the scan mistakes it
  std::vector<std::pair<int, int>> bars_;  ///< the bracket and the place of each
};

/// One call of the matcher with its texts in blocks of exactly their size, so that a sanitizer sees a read beyond them.
struct SlreCall {
  int result = 0;
  std::vector<SlreOracle::Capture> captures;

  SlreCall(std::string_view expression, std::string_view subject, int numCaps, int flags)
      : captures(static_cast<std::size_t>(numCaps), {-1, 0}) {
    const auto re = std::make_unique<char[]>(expression.size() + 1);
    const auto s = std::make_unique<char[]>(subject.size());
    const auto caps = std::make_unique<slre_cap[]>(captures.size());
    std::copy(expression.begin(), expression.end(), re.get());
    std::copy(subject.begin(), subject.end(), s.get());
    result = slre_match(re.get(), s.get(), static_cast<int>(subject.size()), caps.get(), numCaps, flags);
    for (std::size_t i = 0; i < captures.size(); ++i)
      if (caps[i].ptr != nullptr) captures[i] = {static_cast<int>(caps[i].ptr - s.get()), caps[i].len};
  }
};
