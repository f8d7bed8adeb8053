#include "nearest.h"

#include "text.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace {

constexpr size_t kMostSuggestions = 3;

/// A name as it is compared: in capitals, without the prefix that may be left out.
std::string core(std::string_view name) {
  std::string text(withoutPrefix(name));
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

/// The number of letters to put in, take out, replace or swap with their neighbour.
size_t distance(std::string_view a, std::string_view b) {
  std::vector<size_t> beforeLast(b.size() + 1);
  std::vector<size_t> last(b.size() + 1);
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    beforeLast.swap(last);
    last.swap(row);
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
  }
  return row[b.size()];
}

/// How far a candidate is from the word. One that holds the word as a whole part is as near as one mistake.
size_t remoteness(const std::string& word, const std::string& candidate) {
  const bool isPart = word.size() >= 3 && candidate.find(word) != std::string::npos;
  const size_t mistakes = distance(word, candidate);
  return isPart ? std::min<size_t>(mistakes, 1) : mistakes;
}

}  // namespace

std::string didYouMean(std::string_view word, std::span<const std::string> candidates) {
  const std::string wanted = core(word);
  size_t nearest = wanted.size() / 3 + 1;
  std::vector<std::string_view> best;
  for (const std::string& candidate : candidates) {
    const size_t found = remoteness(wanted, core(candidate));
    if (found > nearest) continue;
    if (found < nearest) best.clear();
    nearest = found;
    best.push_back(candidate);
  }
  if (best.empty()) return {};
  best.resize(std::min(best.size(), kMostSuggestions));
  std::string text = " Did you mean ";
  for (size_t i = 0; i < best.size(); ++i) {
    if (i > 0) text += i + 1 < best.size() ? ", " : " or ";
    text += best[i];
  }
  return text + '?';
}
