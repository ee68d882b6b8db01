// The library's own records as each shader's test file registers them; layout_test.cpp compares them with the
// host's layout of the declarations file.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tavo::test {

struct FieldLayout {
  std::string name;
  std::size_t offset;
};

struct RecordLayout {
  std::string shader;
  enum Which { Parameters, Result } which;
  std::size_t size;                 // sizeof the C record
  std::vector<FieldLayout> fields;  // every field, by the name the declarations use
};

inline std::vector<RecordLayout> &layout_registry() {
  static std::vector<RecordLayout> registry;
  return registry;
}

struct RegisterLayout {
  explicit RegisterLayout(RecordLayout layout) { layout_registry().push_back(std::move(layout)); }
};

}  // namespace tavo::test

#define TAVO_FIELD(Record, field) ::tavo::test::FieldLayout{#field, offsetof(Record, field)}
// Registers a record: TAVO_LAYOUT(shader, Parameters or Result, Record, TAVO_FIELD(Record, a), ...)
#define TAVO_LAYOUT_CAT2(a, b) a##b
#define TAVO_LAYOUT_CAT(a, b) TAVO_LAYOUT_CAT2(a, b)
#define TAVO_LAYOUT(shader, which, Record, ...)                                   \
  static const ::tavo::test::RegisterLayout TAVO_LAYOUT_CAT(layout_, __LINE__){   \
      {shader, ::tavo::test::RecordLayout::which, sizeof(Record), {__VA_ARGS__}}}
