#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace wyvlet {

/// Pure functions over UTF-8 text. All of them accept any bytes: what is not valid UTF-8 is kept as
/// it is where text is passed through, and counts byte by byte where characters are counted.

/// Unicode lower case, character by character (not locale-dependent).
std::string lowerCased(std::string_view text);

/// Unicode upper case, character by character.
std::string upperCased(std::string_view text);

/// Whether `text`, lower-cased, contains `part`, lower-cased. An empty part is contained in all.
bool containsIgnoringCase(std::string_view text, std::string_view part);

/// Whether both are the same when lower-cased.
bool equalIgnoringCase(std::string_view a, std::string_view b);

/// The number of user-perceived characters (extended grapheme clusters).
std::size_t characterCount(std::string_view text);

/// The first (last) `count` user-perceived characters; the whole text when it has fewer.
std::string_view firstCharacters(std::string_view text, std::size_t count);
std::string_view lastCharacters(std::string_view text, std::size_t count);

bool isValidUTF8(std::string_view text);

/// The text with every ill-formed sequence replaced by U+FFFD; the same text when it is valid.
std::string validUTF8(std::string text);

/// The longest prefix of at most `maxBytes` bytes that ends between UTF-8 sequences.
std::string_view prefixBytes(std::string_view text, std::size_t maxBytes);

/// Without leading and trailing white space and newlines (Unicode white space included).
std::string_view trimmed(std::string_view text);

/// The pieces between the separators; always at least one.
std::vector<std::string_view> split(std::string_view text, std::string_view separator);

std::string joined(const std::vector<std::string>& parts, std::string_view separator);

/// `text` with every occurrence of `what` replaced.
std::string replacedAll(std::string_view text, std::string_view what, std::string_view with);

/// `value` with `decimals` decimals, as "%.Nf" writes it, whatever the locale.
std::string fixedText(double value, int decimals);

/// `value` truncated towards zero, clamped to the range of the type; NaN is 0.
long long truncatedInteger(double value);

/// One word for a shell command line: bare when every character is in [A-Za-z0-9._:/@%+=,-] and the
/// text is not empty and does not begin with "=", else in single quotes with single quotes inside
/// closed, escaped and reopened.
/// NUL bytes are left out, since no argument can hold one.
std::string shellWord(std::string_view text);

/// `text` for use between single quotes of a shell command line that are already there: each single
/// quote becomes '\'' and NUL bytes are left out.
std::string insideSingleQuotes(std::string_view text);

}  // namespace wyvlet
