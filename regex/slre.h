/// Regular expression matcher. It compiles nothing, allocates nothing and keeps no state: a call scans the expression
/// once for its brackets and bars and then walks expression and subject together.
///
/// Syntax: `.` `^` `$` `(...)` `|` `[...]` `[^...]`, the quantifiers `*` `+` `?` and, not greedy, `*?` `+?`; the
/// escapes `\S` `\s` `\d` (no white space, white space, digit), `\b` `\f` `\n` `\r` `\t` `\v` (control characters),
/// `\xHH` (a byte by its two hexadecimal digits), and a backslash before one of `^$().[]*+?|\`.
///
/// Backtracking is narrow on purpose. `*` and `+` try the rest of the expression after each repetition and keep the
/// longest repetition that worked, a group followed by something gives bytes back, and that is all: `?` never gives its
/// byte back, and an alternative that has matched is not reconsidered. Groups count from the first one on in every
/// alternative: in `(USB.*)|(ASRL.*)` the second alternative walks the text of the first group, so that it never finds
/// an ASRL. Write alternatives without groups (`USB.*|ASRL.*`) or within one (`(USB|ASRL).*`).
#pragma once

#include "export.h"

/// Flags of slre_match().
enum {
  SLRE_IGNORE_CASE = 1  ///< ASCII letters match in both cases; escapes stay exact
};

/// What slre_match() returns in place of a match.
enum {
  SLRE_NO_MATCH = -1,               ///< no match, an empty pair of brackets, or a walk beyond its limits
  SLRE_UNEXPECTED_QUANTIFIER = -2,  ///< `*`, `+` or `?` where an element must stand
  SLRE_UNBALANCED_BRACKETS = -3,    ///< `)` without `(`, or the reverse
  SLRE_INTERNAL_ERROR = -4,         ///< the walk lost step with the brackets, or met a bar as a plain byte
  SLRE_INVALID_CHARACTER_SET = -5,  ///< a set that ends inside an escape
  SLRE_INVALID_METACHARACTER = -6,  ///< a backslash at the end or before something that has no escape
  SLRE_CAPS_ARRAY_TOO_SMALL = -7,   ///< num_caps is above 0 and below the number of brackets
  SLRE_TOO_MANY_BRANCHES = -8,      ///< more than 100 bars
  SLRE_TOO_MANY_BRACKETS = -9       ///< more than 99 pairs of brackets
};

/// The text that a pair of brackets matched.
struct slre_cap {
  const char* ptr;  ///< start, inside the subject
  int len;          ///< length in bytes
};

extern "C" {

/**
 * Looks for the leftmost place in a subject where an expression matches.
 *
 * A call may cost at most 2^23, where a step of the walk costs 8 and a byte that is looked at costs 1, in the subject
 * as in the expression, and may nest 256 levels deep (groups, and repetitions with something behind them); going beyond
 * either is SLRE_NO_MATCH. So a hostile expression takes some hundredths of a second at most and a small, bounded part
 * of the stack. Some faults of an expression show only when the walk reaches them, and a fault that an alternative or a
 * quantifier steps around isn't reported.
 *
 * @param regexp    the expression, NUL-terminated, not null
 * @param s         the subject; needs no NUL, may contain it, and may be null when s_len is 0
 * @param s_len     length of the subject in bytes
 * @param caps      receives one entry per pair of brackets, in the order of the opening brackets, or null. An entry is
 *                  written only when its brackets matched at least one byte, also during an attempt that later fails
 * @param num_caps  number of entries in caps; 0 captures nothing
 * @param flags     0 or SLRE_IGNORE_CASE
 * @return the number of bytes from the start of the subject to the end of the match (0 for an empty match at the
 * start), or one of the negative codes
 *
 * Any number of threads may call it at once.
 */
QVVISA_API int slre_match(const char* regexp, const char* s, int s_len, slre_cap* caps, int num_caps, int flags);

/// slre_match() without captures and flags, at the most for the given cost.
int slre_match_within(int cost, const char* regexp, const char* s, int s_len);
}
