// SPDX-License-Identifier: MIT
// Matching whole strings against wildcard patterns, and splitting text into words without
// breaking such patterns apart.
//
// Two dialects. The plain one knows "*" (any run of code units, the empty run included) and "?"
// (exactly one unit); every other unit matches itself. The Unix dialect adds bracket classes that
// match one unit: "[abc]", ranges "[a-z]", negation "[^a-z]". Neither has an escape character, and
// a pattern must account for the whole string.
//
//   textrix::isLikeWildcard(u"report.txt", u"*.txt");                        // true
//   textrix::isCaseInsensitiveLikeUnixWildcard(u"Draft7", u"d*[0-9]");      // true
//   textrix::wordsUsingWildcardSeparation(u"ls a?c [a b]*", nullptr);     // "ls", "a?c", "[a b]*"
//
// The class rules stay exactly as they are, since stored patterns rely on them: members are
// scanned left to right
// and the first that matches wins; "]" closes the class, even first, so "[]" never matches and
// "[^]" matches any unit; "-" makes a range of the units on either side of it, and the unit before
// a "-" that directly follows "[" or "[^" is that "[" or "^" itself, so "[-a]" runs from "[" to
// "a"; a range in the wrong order matches nothing and its upper bound is no member by itself; a
// "-" at the end of the pattern is skipped; "|" is skipped (it only separates members) but may be
// a range bound; "!" is ordinary. After a matching member the pattern goes on behind the next "]",
// and a class left unclosed by the end of the pattern is accepted when the string ends with it.
//
// Matching follows every way through the pattern at once, so however many "*" a pattern holds its
// time is linear in the string's length: at worst the string's length times the square of the
// pattern's. Positions and lengths are UTF-16 code units.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

#include "text/charsets.h"

namespace textrix {

// The matchers. True when pattern accounts for all of string; an empty pattern matches only the
// empty string, and "*" matches every string, the empty one included.
// Plain dialect, exact code units.
bool stringMatchesWildcard(std::u16string_view string, std::u16string_view pattern);
// Plain dialect, each string unit replaced by its table entry before it is compared; the pattern
// is taken as already mapped through the same table.
bool stringMatchesWildcardUsingUnicharTable(std::u16string_view string, std::u16string_view pattern,
                                            const CharsTable& table);
// Unix dialect, exact code units.
bool stringMatchesUnixWildcard(std::u16string_view string, std::u16string_view pattern);
// Unix dialect, string units through the table; the pattern, class bounds included, already
// mapped.
bool stringMatchesUnixWildcardUsingUnicharTable(std::u16string_view string,
                                                std::u16string_view pattern,
                                                const CharsTable& table);

// The string operations: false when string or pattern is empty (so the empty string matches
// nothing, not even "*"), true for the pattern "*", otherwise the matcher's answer. The
// case-insensitive forms map the pattern through the upper table and compare the string through
// it, so "[a-c]" takes letters of either case.
bool isLikeWildcard(std::u16string_view string, std::u16string_view pattern);
bool isCaseInsensitiveLikeWildcard(std::u16string_view string, std::u16string_view pattern);
bool isLikeUnixWildcard(std::u16string_view string, std::u16string_view pattern);
bool isCaseInsensitiveLikeUnixWildcard(std::u16string_view string, std::u16string_view pattern);

// The word separators without "*", "?", "[" and "]", built once and shared; never null.
const CharacterSetRep* defaultWildcardSeparators();

// The words of text split by the wildcard separators, each at least one unit, with a "[" carrying
// its word on to the next "]" so that "[a b]" stays whole; views into text. separatedByHyphens,
// when given, receives whether every separator was "-" and at least two words were found. Empty
// text gives no list (and false).
std::optional<std::vector<std::u16string_view>> wordsUsingWildcardSeparation(
    std::u16string_view text, bool* separatedByHyphens);

}  // namespace textrix
