#include "values.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "frame/renderer.h"

namespace tavo::host {

std::vector<std::string> split_words(std::string_view text, char separator) {
  std::vector<std::string> words;
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = text.find(separator, start);
    words.emplace_back(text.substr(start, end == std::string_view::npos ? end : end - start));
    if (end == std::string_view::npos) break;
    start = end + 1;
  }
  return words;
}

float parse_scalar(std::string_view word) {
  const std::string s(word);
  if (s == "nan" || s == "+nan") return std::numeric_limits<float>::quiet_NaN();
  if (s == "-nan") return -std::numeric_limits<float>::quiet_NaN();
  if (s == "inf" || s == "+inf") return std::numeric_limits<float>::infinity();
  if (s == "-inf") return -std::numeric_limits<float>::infinity();
  char *end = nullptr;
  errno = 0;
  // strtof rounds the decimal straight to the nearest float, never through a double
  const float value = std::strtof(s.c_str(), &end);
  const bool digits = !s.empty() && s.find_first_of("0123456789") != std::string::npos;
  if (!digits || end != s.c_str() + s.size() || std::isspace(static_cast<unsigned char>(s[0])) ||
      s.find_first_of("xXpP") != std::string::npos)
    throw Error("expected a decimal number, found '" + s + "'");
  return value;
}

int parse_integer(std::string_view word) {
  const std::string s(word);
  char *end = nullptr;
  errno = 0;
  const long long value = std::strtoll(s.c_str(), &end, 10);
  if (s.empty() || end != s.c_str() + s.size() || std::isspace(static_cast<unsigned char>(s[0])))
    throw Error("expected a decimal integer, found '" + s + "'");
  if (errno == ERANGE || value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max())
    throw Error("integer out of range: '" + s + "'");
  return static_cast<int>(value);
}

int parse_boolean(std::string_view word) {
  if (word == "true" || word == "on") return 1;
  if (word == "false" || word == "off") return 0;
  try {
    return parse_integer(word);
  } catch (const Error &) {
    throw Error("expected a boolean (true, false, on, off or an integer), found '" + std::string(word) + "'");
  }
}

static unsigned parse_tag(std::string_view word) {
  const std::string s(word);
  char *end = nullptr;
  errno = 0;
  const unsigned long long value = std::strtoull(s.c_str(), &end, 10);
  if (s.empty() || s[0] == '-' || end != s.c_str() + s.size() || errno == ERANGE ||
      value > std::numeric_limits<unsigned>::max())
    throw Error("expected a tag (a non-negative integer), found '" + s + "'");
  return static_cast<unsigned>(value);
}

void encode_value(const Type &type, const std::vector<std::string> &words, std::byte *dest) {
  const auto count = [&](std::size_t lo, std::size_t hi, const char *what) {
    if (words.size() < lo || words.size() > hi) throw Error(std::string("expected ") + what);
  };
  switch (type.kind) {
    case Kind::Boolean: {
      count(1, 1, "one boolean");
      const miBoolean v = parse_boolean(words[0]);
      std::memcpy(dest, &v, sizeof v);
      return;
    }
    case Kind::Integer: {
      count(1, 1, "one integer");
      const miInteger v = parse_integer(words[0]);
      std::memcpy(dest, &v, sizeof v);
      return;
    }
    case Kind::Tag: {
      count(1, 1, "one tag");
      const miTag v = parse_tag(words[0]);
      std::memcpy(dest, &v, sizeof v);
      return;
    }
    case Kind::Scalar:
    case Kind::Vector:
    case Kind::Color:
    case Kind::Transform: {
      std::size_t n = 1;
      miScalar values[16] = {};
      if (type.kind == Kind::Vector) {
        count(3, 3, "a vector: x,y,z");
        n = 3;
      } else if (type.kind == Kind::Color) {
        count(3, 4, "a colour: r,g,b or r,g,b,a");
        n = 4;
        values[3] = 1.0f;  // r,g,b alone is opaque
      } else if (type.kind == Kind::Transform) {
        count(16, 16, "a transform: 16 numbers");
        n = 16;
      } else {
        count(1, 1, "one scalar");
      }
      for (std::size_t i = 0; i < words.size(); ++i) values[i] = parse_scalar(words[i]);
      std::memcpy(dest, values, n * sizeof(miScalar));
      return;
    }
    case Kind::Struct:
    case Kind::Array:
      throw Error("a " + type.name() + " takes its values field by field or element by element");
  }
}

std::string format_scalar(float value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "inf" : "-inf";
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.9g", static_cast<double>(value));
  return buffer;
}

}  // namespace tavo::host
