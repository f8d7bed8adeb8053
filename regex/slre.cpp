#include "slre.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <utility>

namespace {

constexpr int MAX_BRACKETS = 100;
constexpr int MAX_BRANCHES = 100;
/// A step of the walk costs as much as this many bytes that are looked at, so that the cost of a match tells its time.
constexpr int STEP = 8;
constexpr int MAX_COST = STEP << 20;
constexpr int MAX_DEPTH = 256;
/// Keeps every sum of offsets inside an int.
constexpr std::size_t MAX_EXPRESSION = INT_MAX / 2;

constexpr char metacharacters[] = "^$().[]*+?|\\Ssdbfnrtv";

/// A stretch of the expression or of the subject; len is never negative.
struct text {
  const char* ptr;
  int len;

  /// What follows the first n characters, n being at most len.
  text from(int n) const { return {ptr + n, len - n}; }
};

struct bracket_pair {
  const char* ptr;   // first character behind the '('
  int len;           // characters up to the ')'; -1 while open
  int branches;      // first row in regex_info::branches
  int num_branches;  // number of its rows there
};

struct branch {
  int bracket_index;
  const char* schlong;  // the bar
};

struct regex_info {
  bracket_pair brackets[MAX_BRACKETS];  // row 0 is the whole expression
  int num_brackets;
  branch branches[MAX_BRANCHES];
  int num_branches;
  slre_cap* caps;
  int num_caps;
  int flags;

  bool traceless;     // nothing is captured, so attempts may be reordered or left out when the result allows it
  bool inner_caret;   // a '^' stands behind the first character
  std::int64_t left;  // what the match may still cost; below 0 every walk fails at once
  int depth;
  const char* furthest;  // the furthest place of the subject that a result depended on, its end included
};

bool spend(regex_info* info, int cost) {
  return (info->left -= cost) >= 0;
}

void look_at(regex_info* info, const char* place) {
  info->furthest = std::max(info->furthest, place);
}

/// What a character of the expression, or the NUL behind it, can be. Both passes step over long runs of ordinary
/// characters, so they ask a table.
enum kind : unsigned char { PLAIN, OPERATOR, QUANTIFIER, STRUCTURE };

constexpr auto kinds = [] {
  std::array<kind, 256> table{};
  for (const char c : {'.', '^', '$'}) table[static_cast<unsigned char>(c)] = OPERATOR;
  for (const char c : {'*', '+', '?'}) table[static_cast<unsigned char>(c)] = QUANTIFIER;
  for (const char c : {'(', ')', '[', '|', '\\', '\0'}) table[static_cast<unsigned char>(c)] = STRUCTURE;
  return table;
}();

kind kind_of(char c) {
  return kinds[static_cast<unsigned char>(c)];
}

bool is_quantifier(char c) {
  return kind_of(c) == QUANTIFIER;
}

bool is_metacharacter(char c) {
  return std::memchr(metacharacters, c, sizeof metacharacters - 1) != nullptr;
}

bool is_space(int c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

bool is_digit(int c) {
  return c >= '0' && c <= '9';
}

/// tolower() of the C locale, whatever locale the host program has set.
int to_lower(char c) {
  const int byte = static_cast<unsigned char>(c);
  return byte >= 'A' && byte <= 'Z' ? byte + ('a' - 'A') : byte;
}

bool is_hex_digit(char c) {
  const int lower = to_lower(c);
  return is_digit(lower) || (lower >= 'a' && lower <= 'f');
}

int toi(int c) {
  return is_digit(c) ? c - '0' : c - 'a' + 10;
}

int hextoi(const char* digits) {
  return toi(to_lower(digits[0])) << 4 | toi(to_lower(digits[1]));
}

int op_len(const char* re) {
  if (*re != '\\') return 1;
  return re[1] == 'x' ? 4 : 2;
}

int set_len(text re) {
  int len = 0;
  while (len < re.len && re.ptr[len] != ']') len += op_len(re.ptr + len);
  return len <= re.len ? len + 1 : -1;
}

int get_op_len(text re) {
  return *re.ptr == '[' ? set_len(re.from(1)) + 1 : op_len(re.ptr);
}

bool match_escape(const char* escape, char c) {
  const int byte = static_cast<unsigned char>(c);
  switch (*escape) {
  case 'S':
    return !is_space(byte);
  case 's':
    return is_space(byte);
  case 'd':
    return is_digit(byte);
  case 'b':
    return byte == '\b';
  case 'f':
    return byte == '\f';
  case 'n':
    return byte == '\n';
  case 'r':
    return byte == '\r';
  case 't':
    return byte == '\t';
  case 'v':
    return byte == '\v';
  case 'x':  // inside a set the digits haven't been checked before
    return is_hex_digit(escape[1]) && is_hex_digit(escape[2]) && byte == hextoi(escape + 1);
  default:
    return c == *escape;
  }
}

int match_op(const char* re, char c, int flags) {
  const auto result = [](bool matched) { return matched ? 1 : SLRE_NO_MATCH; };
  switch (*re) {
  case '$':
    return SLRE_NO_MATCH;
  case '.':
    return 1;
  case '|':
    return SLRE_INTERNAL_ERROR;
  case '\\':
    return result(match_escape(re + 1, c));
  default:
    return result(flags & SLRE_IGNORE_CASE ? to_lower(*re) == to_lower(c) : *re == c);
  }
}

bool in_range(char low, char high, char c, int flags) {
  if (flags & SLRE_IGNORE_CASE) return to_lower(low) <= to_lower(c) && to_lower(c) <= to_lower(high);
  const auto value = [](char byte) { return static_cast<signed char>(byte); };
  return value(low) <= value(c) && value(c) <= value(high);
}

/// @param set  what follows the '[', up to the end of the stretch that is walked
int match_set(text set, char c, regex_info* info) {
  const bool inverted = set.len > 0 && *set.ptr == '^';
  if (inverted) set = set.from(1);
  bool matched = false;
  int i = 0;
  while (i < set.len && set.ptr[i] != ']' && !matched) {
    const char* member = set.ptr + i;
    if (member[0] != '-' && member[1] == '-' && member[2] != ']' && member[2] != '\0') {
      matched = in_range(member[0], member[2], c, info->flags);
      i += 3;
    } else {
      matched = match_op(member, c, info->flags) > 0;
      i += op_len(member);
    }
  }
  spend(info, i);
  return matched != inverted ? 1 : SLRE_NO_MATCH;
}

/// Whether an element, when it matches, takes exactly one byte.
bool is_one_byte(text element) {
  return *element.ptr != '(' && *element.ptr != '^' && *element.ptr != '$';
}

int match_byte(text element, char c, regex_info* info) {
  return *element.ptr == '[' ? match_set(element.from(1), c, info) : match_op(element.ptr, c, info->flags);
}

/// Matches the one-byte element that a stretch begins with against the first byte of the subject.
int match_next(text element, text s, regex_info* info) {
  look_at(info, s.ptr);
  return s.len > 0 ? match_byte(element, *s.ptr, info) : SLRE_NO_MATCH;
}

/// Matches the plain bytes that a stretch begins with, up to the first that carries a quantifier. Bytes that don't
/// match fail alike at every earlier end of the subject, so only a match depends on where the subject ends.
/// @return their number, 0 when the stretch begins with something else, or SLRE_NO_MATCH
int match_run(text re, text s, regex_info* info) {
  const char* const end = re.ptr + std::min(re.len, s.len);
  const char* next = re.ptr;
  const char* byte = s.ptr;
  if (info->flags & SLRE_IGNORE_CASE) {
    while (next < end && kind_of(*next) == PLAIN && to_lower(*next) == to_lower(*byte)) ++next, ++byte;
  } else {
    while (next < end && kind_of(*next) == PLAIN && *next == *byte) ++next, ++byte;
  }
  const char* const stretch_end = re.ptr + re.len;
  if (next < stretch_end) {
    const bool differs = kind_of(*next) == PLAIN;
    const bool quantified = next + differs < stretch_end && is_quantifier(next[differs]);
    if (differs && !quantified) return SLRE_NO_MATCH;
    if (!differs && quantified && next > re.ptr) --next, --byte;
  }
  const int run = static_cast<int>(next - re.ptr);
  if (run > 0) look_at(info, byte - 1);
  spend(info, run);
  return run;
}

/// Whether a stretch begins with a byte that stands for itself, once.
bool begins_plain(text re, const regex_info* info) {
  return re.len > 0 && kind_of(*re.ptr) == PLAIN && !(info->flags & SLRE_IGNORE_CASE) &&
         !(re.len > 1 && is_quantifier(re.ptr[1]));
}

// The walk. Each of these takes a stretch of the expression, a stretch of the subject and a bracket index, and returns
// the number of bytes matched or a negative code. The bracket index is that of the group entered last in this stretch,
// and the next '(' is taken for the one behind it. That holds for groups in a row; brackets inside an earlier group
// without a quantifier and in an earlier alternative aren't counted, which makes the walk lose step with the table.
int bar(text re, text s, int bi, regex_info* info);
int doh(text s, int bi, regex_info* info);

/// Matches an element once, leaving out its quantifier.
int match_once(text element, text s, int bi, regex_info* info) {
  if (!is_one_byte(element)) return bar(element, s, bi, info);
  return spend(info, STEP) ? match_next(element, s, info) : SLRE_NO_MATCH;
}

/// The number of times that a one-byte element matches in a row.
int run_length(text element, text s, regex_info* info) {
  int run = 0;
  if (*element.ptr == '.') {
    run = s.len;
  } else {
    while (run < s.len && match_byte(element, s.ptr[run], info) > 0 && spend(info, 1)) ++run;
  }
  look_at(info, s.ptr + run);
  return run;
}

/// repeat() for a greedy one-byte element when no attempt leaves a trace. The longest repetition after which the rest
/// matches is then found from the far end, mostly at once.
int repeat_byte(text element, bool plus, text rest, text s, int bi, regex_info* info) {
  const int longest = run_length(element, s, info);
  if (plus && longest == 0) return SLRE_NO_MATCH;
  if (rest.len == 0) return longest;
  const auto rest_from = [&](int j) { return bar(rest, s.from(j), bi, info); };
  int n = rest_from(longest);
  if (n >= 0) return longest + n;
  const int without = plus ? SLRE_NO_MATCH : rest_from(0);
  if (without > 0) return without;
  const bool searchable = begins_plain(rest, info);
  for (int j = longest - 1; j > 0 && spend(info, 1); --j) {
    if (searchable && s.ptr[j] != *rest.ptr) continue;
    n = rest_from(j);
    if (n >= 0) return j + n;
  }
  return without == 0 ? 0 : SLRE_NO_MATCH;
}

/// repeat() in the plain way: the rest is tried after each repetition.
int repeat_any(text element, bool plus, bool lazy, text rest, text s, int bi, int rest_index, regex_info* info) {
  int moved = 0, best = 0, n1 = 0, n2 = -1;
  do {
    n1 = match_once(element, s.from(moved), bi, info);
    if (plus && n1 < 0) break;
    moved += std::max(0, n1);
    n2 = rest.len > 0 ? bar(rest, s.from(moved), rest_index, info) : 0;
    if (n2 >= 0) best = moved + n2;
  } while (n1 > 0 && !(lazy && best > 0));

  // Zero repetitions come last, and when they work they win over what the loop has found.
  if (!plus && n1 < 0 && n2 < 0) {
    n2 = bar(rest, s, rest_index, info);
    if (n2 > 0) best = n2;
  }
  const bool failed = best == 0 && (plus || n2 < 0);
  return failed ? SLRE_NO_MATCH : best;
}

/// Matches an element that carries `*` or `+` and everything behind it.
/// @param tail        the stretch from the quantifier on
/// @param rest_index  the bracket index behind the element
int repeat(text element, text tail, text s, int bi, int rest_index, regex_info* info) {
  const bool plus = *tail.ptr == '+';
  const bool lazy = tail.len > 1 && tail.ptr[1] == '?';
  const text rest = tail.from(lazy ? 2 : 1);
  if (info->traceless && !lazy && is_one_byte(element)) return repeat_byte(element, plus, rest, s, rest_index, info);
  return repeat_any(element, plus, lazy, rest, s, bi, rest_index, info);
}

struct group_match {
  int len;   // bytes that the group matched, or a negative code
  int rest;  // bytes that the rest matched behind it
};

/// Matches the group of bracket bi and what follows it in the stretch, and stores the capture.
group_match match_group(text rest, text s, int bi, regex_info* info) {
  group_match n{SLRE_NO_MATCH, 0};
  if (rest.len == 0) {
    n.len = doh(s, bi, info);
  } else {
    // The group gives back by being tried on ever shorter subjects. An end beyond the furthest place that it looked at
    // can't change its result, so these are left out.
    const char* furthest = info->furthest;
    const bool plain = begins_plain(rest, info);
    bool matched = false;
    for (int end = s.len; end >= 0 && !matched && spend(info, 1);) {
      info->furthest = s.ptr;
      n.len = doh({s.ptr, end}, bi, info);
      end = std::min(end - 1, static_cast<int>(info->furthest - s.ptr));
      if (n.len >= 0 && plain && (n.len == s.len || s.ptr[n.len] != *rest.ptr)) {
        n.len = SLRE_NO_MATCH;
      } else if (n.len >= 0) {
        n.rest = bar(rest, s.from(n.len), bi, info);
        matched = n.rest >= 0;
        if (!matched) n.len = n.rest;
      }
      furthest = std::max(furthest, info->furthest);
    }
    info->furthest = furthest;
  }
  if (n.len > 0 && info->caps != nullptr && bi <= info->num_caps) info->caps[bi - 1] = {s.ptr, n.len};
  return n;
}

/// The last of the brackets that stand inside bracket bi, itself included.
int last_bracket_inside(int bi, regex_info* info) {
  const int first = bi;
  const char* end = info->brackets[bi].ptr + info->brackets[bi].len;
  while (bi + 1 < info->num_brackets && info->brackets[bi + 1].ptr <= end) ++bi;
  spend(info, bi - first);
  return bi;
}

/// The length of the element that a stretch begins with, without its quantifier, or the fault that stands there.
int element_len(text here, int bi, regex_info* info) {
  if (*here.ptr == '(') return bi + 1 < info->num_brackets ? info->brackets[bi + 1].len + 2 : SLRE_INTERNAL_ERROR;
  if (is_quantifier(*here.ptr)) return SLRE_UNEXPECTED_QUANTIFIER;
  const int len = get_op_len(here);
  if (*here.ptr == '[') spend(info, len);
  return len > 0 ? len : SLRE_INVALID_CHARACTER_SET;
}

/// Matches an element other than a group, once, against the subject from j on.
int match_single(text here, text s, int j, regex_info* info) {
  if (*here.ptr == '^') return j == 0 ? 0 : SLRE_NO_MATCH;
  if (*here.ptr != '$') return match_next(here, s.from(j), info);
  look_at(info, s.ptr + j);
  return j == s.len ? 0 : SLRE_NO_MATCH;
}

/// How far a walk has come in its stretch, in the subject and in the brackets.
struct place {
  int i;
  int j;
  int bi;
};

/// Matches the element of a walk's place with its quantifier. `*` and `+` match the rest of the stretch too.
int walk_quantified(text element, text tail, text s, place* at, regex_info* info) {
  const int rest_index = *element.ptr == '(' ? last_bracket_inside(at->bi + 1, info) : at->bi;
  int n = 0;
  if (*tail.ptr == '?') {
    n = std::max(0, match_once(element, s, at->bi, info));
    at->i += element.len + 1;
  } else {
    n = repeat(element, tail, s, at->bi, rest_index, info);
    at->i += element.len + tail.len;
  }
  at->bi = rest_index;
  return n;
}

/// Matches the group of a walk's place, which carries no quantifier.
int walk_group(text rest, text s, int step, place* at, regex_info* info) {
  const group_match n = match_group(rest, s, ++at->bi, info);
  at->i += step;
  if (n.len < 0 || info->inner_caret) return n.len;
  // Walking on would repeat the walk of the rest, which doubles the time with each group. Only a '^' can tell the two
  // apart: it sees the offset in this stretch when walked here, and its own offset 0 as the rest.
  at->i += rest.len;
  return n.len + n.rest;
}

/// Matches the element of a walk's place and moves on in the stretch.
/// @return the number of bytes matched, or a negative code
int walk_element(text here, text s, place* at, regex_info* info) {
  const int step = element_len(here, at->bi, info);
  if (step < 0) return step;
  // An element that a stretch cuts off ends with it.
  const text rest = here.from(std::min(step, here.len));
  if (rest.len > 0 && is_quantifier(*rest.ptr)) return walk_quantified({here.ptr, step}, rest, s.from(at->j), at, info);
  if (*here.ptr == '(') return walk_group(rest, s.from(at->j), step, at, info);
  at->i += step;
  return match_single(here, s, at->j, info);
}

/// Walks a stretch of the expression from the start of the subject on.
/// @param run  the number of plain bytes at the start of both that have been matched already
[[gnu::noinline]] int walk(text re, text s, int run, int bi, regex_info* info) {
  place at{run, run, bi};
  while (at.i < re.len) {
    if (!spend(info, STEP)) return SLRE_NO_MATCH;
    const text here = re.from(at.i);
    int n = kind_of(*here.ptr) == PLAIN ? match_run(here, s.from(at.j), info) : 0;
    if (n > 0) {
      at.i += n;
    } else if (n == 0) {
      n = walk_element(here, s, &at, info);
    }
    if (n < 0) return n;
    at.j += n;
  }
  return at.j;
}

/// Walks within the limits. All recursion passes through here.
int bar(text re, text s, int bi, regex_info* info) {
  if (info->depth == MAX_DEPTH) info->left = -1;
  if (!spend(info, STEP)) return SLRE_NO_MATCH;
  const int run = kind_of(*re.ptr) == PLAIN ? match_run(re, s, info) : 0;
  if (run < 0 || run == re.len) return run;
  ++info->depth;
  const int n = walk(re, s, run, bi, info);
  --info->depth;
  return n;
}

/// Tries the alternatives of a bracket until one takes at least a byte.
int doh(text s, int bi, regex_info* info) {
  const bracket_pair& bracket = info->brackets[bi];
  const char* start = bracket.ptr;
  for (int row = bracket.branches;; ++row) {
    const bool last = row == bracket.branches + bracket.num_branches;
    const char* end = last ? bracket.ptr + bracket.len : info->branches[row].schlong;
    const int n = bar({start, std::max(0, static_cast<int>(end - start))}, s, bi, info);
    if (n > 0 || last) return n;
    start = end + 1;
  }
}

/// Whether a failure at the first start position holds for all later ones: the expression is bound to the start, or it
/// begins with a repeated '.' that has already tried the rest everywhere.
bool is_anchored(text re, const regex_info* info) {
  if (re.len > 0 && *re.ptr == '^') return true;
  return info->traceless && info->brackets[0].num_branches == 0 && re.len > 1 && *re.ptr == '.' &&
         (re.ptr[1] == '*' || re.ptr[1] == '+');
}

/// Tries the start positions, and returns the end of the first match or the last failure.
int baz(text s, regex_info* info) {
  const text re{info->brackets[0].ptr, info->brackets[0].len};
  const bool anchored = is_anchored(re, info);
  const bool searchable = !anchored && info->brackets[0].num_branches == 0 && begins_plain(re, info);
  int result = SLRE_NO_MATCH;
  for (int i = 0; i <= s.len && spend(info, STEP); ++i) {
    if (searchable) {
      const void* found = i < s.len ? std::memchr(s.ptr + i, *re.ptr, static_cast<std::size_t>(s.len - i)) : nullptr;
      if (found == nullptr) return SLRE_NO_MATCH;
      i = static_cast<int>(static_cast<const char*>(found) - s.ptr);
    }
    result = doh(s.from(i), 0, info);
    if (result >= 0) return i + result;
    if (anchored) break;
  }
  return result;
}

/// Sorts the bars by bracket and gives each bracket its share.
void setup_branch_points(regex_info* info) {
  // An exchange sort isn't stable: the bars of one bracket can change places when a later bar belongs to an outer one.
  for (int i = 0; i < info->num_branches; ++i) {
    for (int j = i + 1; j < info->num_branches; ++j) {
      if (info->branches[i].bracket_index > info->branches[j].bracket_index)
        std::swap(info->branches[i], info->branches[j]);
    }
  }
  int row = 0;
  for (int i = 0; i < info->num_brackets; ++i) {
    const int first = row;
    while (row < info->num_branches && info->branches[row].bracket_index == i) ++row;
    info->brackets[i].branches = first;
    info->brackets[i].num_branches = row - first;
  }
}

bool is_valid_escape(text escape) {
  if (escape.len < 2) return false;
  if (escape.ptr[1] == 'x') return escape.len >= 4 && is_hex_digit(escape.ptr[2]) && is_hex_digit(escape.ptr[3]);
  return is_metacharacter(escape.ptr[1]);
}

/// The bracket that a bar or a ')' belongs to. An older one than the newest is told by the depth alone, which is wrong
/// behind a closed group: in `(a)((b)|c)` the bar goes to the first group.
int current_bracket(int depth, const regex_info* info) {
  const int newest = info->num_brackets - 1;
  return info->brackets[newest].len == -1 ? newest : depth;
}

int add_bracket(const char* ptr, regex_info* info) {
  if (info->num_brackets == MAX_BRACKETS) return SLRE_TOO_MANY_BRACKETS;
  info->brackets[info->num_brackets++] = {ptr, -1, 0, 0};
  const bool fits = info->num_caps <= 0 || info->num_brackets - 1 <= info->num_caps;
  return fits ? 0 : SLRE_CAPS_ARRAY_TOO_SMALL;
}

int add_branch(const char* bar_ptr, int depth, regex_info* info) {
  if (info->num_branches == MAX_BRANCHES) return SLRE_TOO_MANY_BRANCHES;
  info->branches[info->num_branches++] = {current_bracket(depth, info), bar_ptr};
  return 0;
}

int close_bracket(const char* end, int* depth, regex_info* info) {
  bracket_pair& bracket = info->brackets[current_bracket(*depth, info)];
  bracket.len = static_cast<int>(end - bracket.ptr);
  if (--*depth < 0) return SLRE_UNBALANCED_BRACKETS;
  return end[-1] == '(' ? SLRE_NO_MATCH : 0;
}

/// Notes the brackets and bars of the expression and goes on to match it.
int foo(text re, text s, regex_info* info) {
  info->brackets[0] = {re.ptr, re.len, 0, 0};
  info->num_brackets = 1;
  int depth = 0;
  for (int i = 0, step = 0; i < re.len; i += step) {
    const char* next = re.ptr + i;
    while (kind_of(*next) != STRUCTURE) ++next;  // the NUL stops it
    i = static_cast<int>(next - re.ptr);
    if (i == re.len) break;
    const text here = re.from(i);
    step = get_op_len(here);
    if (step <= 0) return SLRE_INVALID_CHARACTER_SET;
    int fault = 0;
    switch (*here.ptr) {
    case '|':
      fault = add_branch(here.ptr, depth, info);
      break;
    case '\\':
      fault = is_valid_escape(here) ? 0 : SLRE_INVALID_METACHARACTER;
      break;
    case '(':
      ++depth;
      fault = add_bracket(here.ptr + 1, info);
      break;
    case ')':
      fault = close_bracket(here.ptr, &depth, info);
      break;
    default:
      break;
    }
    if (fault < 0) return fault;
  }
  if (depth != 0) return SLRE_UNBALANCED_BRACKETS;
  setup_branch_points(info);
  info->traceless = info->caps == nullptr || info->num_caps <= 0 || info->num_brackets == 1;
  info->inner_caret = re.len > 0 && std::memchr(re.ptr + 1, '^', static_cast<std::size_t>(re.len - 1)) != nullptr;
  return baz(s, info);
}

int match(const char* regexp, text s, slre_cap* caps, int num_caps, int flags, int cost) {
  const std::size_t length = std::strlen(regexp);
  if (length > MAX_EXPRESSION) return SLRE_NO_MATCH;
  regex_info info;  // the tables' rows are written before they are read
  info.num_brackets = 0;
  info.num_branches = 0;
  info.caps = caps;
  info.num_caps = num_caps;
  info.flags = flags;
  info.left = cost;
  info.depth = 0;
  info.furthest = s.ptr;
  const int result = foo({regexp, static_cast<int>(length)}, s, &info);
  return info.left < 0 ? SLRE_NO_MATCH : result;
}

}  // namespace

int slre_match(const char* regexp, const char* s, int s_len, slre_cap* caps, int num_caps, int flags) {
  return match(regexp, {s, s_len}, caps, num_caps, flags, MAX_COST);
}

int slre_match_within(int cost, const char* regexp, const char* s, int s_len) {
  return match(regexp, {s, s_len}, nullptr, 0, 0, cost);
}
