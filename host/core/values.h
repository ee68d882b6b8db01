// Literal values of parameters: parsed from words and stored in the renderer's
// in-memory representation, and read back for reports.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "declarations.h"

namespace tavo::host {

// Splits "x,y,z" (command line) into its words.
std::vector<std::string> split_words(std::string_view text, char separator);

// Parses words into the bytes of a scalar-like type (not a struct or array).
// Raises Error describing what was expected; the caller adds where.
void encode_value(const Type &type, const std::vector<std::string> &words, std::byte *dest);

float parse_scalar(std::string_view word);
int parse_integer(std::string_view word);
int parse_boolean(std::string_view word);

// A float the way reports print it: %.9g, so that a 32-bit float round-trips;
// non-finite values as "nan", "inf", "-inf".
std::string format_scalar(float value);

}  // namespace tavo::host
