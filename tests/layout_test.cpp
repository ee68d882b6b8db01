// Every shader the library exports reads its parameters and writes its result where the declarations file says.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "declarations.h"
#include "platform.h"
#include "layout_registry.h"

namespace tavo::test {
namespace {

using host::Kind;
using host::Type;

void expect_same(const RecordLayout &record, const Type &declared) {
  SCOPED_TRACE(record.shader + (record.which == RecordLayout::Parameters ? " parameters" : " result"));
  std::string mine = std::to_string(record.size), theirs = std::to_string(declared.size());
  for (const FieldLayout &f : record.fields) mine += " " + f.name + "@" + std::to_string(f.offset);
  if (declared.kind == Kind::Struct)
    for (const host::Field &f : declared.fields) theirs += " " + f.name + "@" + std::to_string(f.offset);
  EXPECT_EQ(mine, theirs);
}

TEST(Layout, EveryExportedShaderMatchesItsDeclaration) {
  const auto decls = host::read_declarations(TAVO_DECLARATIONS);
  std::map<std::string, const host::ShaderDeclaration *> by_name;
  for (const auto &d : decls) by_name[d.name] = &d;

  std::set<std::string> parameters_checked;
  for (const RecordLayout &record : layout_registry()) {
    const auto it = by_name.find(record.shader);
    ASSERT_NE(it, by_name.end()) << record.shader << " is not declared";
    expect_same(record, record.which == RecordLayout::Parameters ? it->second->parameters : it->second->result);
    if (record.which == RecordLayout::Parameters) parameters_checked.insert(record.shader);
  }

  std::string why;
  void *lib = host::platform::load_module(TAVO_LIBRARY, why);
  ASSERT_NE(lib, nullptr) << why;
  int exported = 0;
  for (const auto &d : decls) {
    if (!host::platform::find_symbol(lib, d.name.c_str())) continue;
    ++exported;
    // without tracing, the tests of the shaders that need a scene (and register their records) are not built
    EXPECT_TRUE(!TAVO_TRACING || parameters_checked.count(d.name)) << d.name << " is exported but its records are not checked";
    // one version function for every shader, which says 1
    const auto version = reinterpret_cast<int (*)()>(host::platform::find_symbol(lib, (d.name + "_version").c_str()));
    EXPECT_EQ(reinterpret_cast<void *>(version), host::platform::find_symbol(lib, "tavo_scale_meters_to_internal_version"));
    EXPECT_TRUE(version && version() == 1) << d.name;
  }
  EXPECT_GE(exported, 3);
}

}  // namespace
}  // namespace tavo::test
