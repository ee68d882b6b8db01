#include "layout_registry.h"

namespace tavo::test {

std::vector<RecordLayout> &layout_registry() {
  static std::vector<RecordLayout> registry;
  return registry;
}

}  // namespace tavo::test
