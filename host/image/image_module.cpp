#include "image_module.h"

#include <filesystem>

#include "declarations.h"
#include "platform.h"

namespace tavo::host {

namespace {

void module_anchor() {}

struct Module {
  void *handle = nullptr;
  std::string path;
  std::string error;
};

const Module &module() {
  static const Module loaded = [] {
    Module m;
    const std::string name = std::string("tavoimageio") + platform::kModuleSuffix;
    std::filesystem::path path = name;
    const std::string here = platform::module_file(reinterpret_cast<const void *>(&module_anchor));
    if (!here.empty()) path = std::filesystem::path(here).parent_path() / name;
    m.path = path.string();
    std::string why;
    m.handle = platform::load_module(m.path, why);
    if (!m.handle) m.error = "cannot load the image module " + m.path + ": " + why;
    return m;
  }();
  return loaded;
}

}  // namespace

void *image_module_function(const char *name) {
  const Module &m = module();
  if (!m.handle) throw Error(m.error);
  void *fn = platform::find_symbol(m.handle, name);
  if (!fn) throw Error(m.path + " lacks its entry point " + name);
  return fn;
}

}  // namespace tavo::host
