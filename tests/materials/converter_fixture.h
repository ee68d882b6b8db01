// Running material converters in the host: under a scene record of a chosen
// unit or none, and result fields read by declared name.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "host_fixture.h"

namespace tavo::test {

// A scene record with its unit, or none at all (nullopt).
using SceneChoice = std::optional<float>;

class ConverterTest : public HostTest {
 protected:
  static void use_scene(SceneChoice unit_scale, int scene_flag = 0, int passthrough = 0) {
    if (unit_scale) renderer().set_scene(scene_with_unit_scale(*unit_scale, scene_flag, passthrough));
    else renderer().clear_scene();
  }
};

// Every converter the declarations file lists, the mirror (no ready record) last.
inline const std::vector<host::ShaderDeclaration> &declared_converters() {
  static const std::vector<host::ShaderDeclaration> all = [] {
    std::vector<host::ShaderDeclaration> out;
    for (const host::ShaderDeclaration &d : declarations())
      if (d.name.starts_with("tavo_Shd_")) out.push_back(d);
    std::stable_partition(out.begin(), out.end(), [](const auto &d) { return d.name != "tavo_Shd_Mirror_spider"; });
    return out;
  }();
  return all;
}

// A scalar, integer or boolean field of a result word as a float; "name.g"
// picks a channel of a colour.
inline float result_value(const std::string &shader, const std::string &name, const host::CallResult &call) {
  const host::ShaderDeclaration *d = declared(shader);
  const std::size_t dot = name.find('.');
  const host::Field *f = d == nullptr ? nullptr : field(d->result, name.substr(0, dot));
  if (f == nullptr) throw std::runtime_error(shader + " has no field " + name);
  const std::size_t at = f->offset + (dot == std::string::npos ? 0 : 4 * std::string("rgba").find(name[dot + 1]));
  const std::uint32_t word = call.result[at / 4];
  if (f->type.kind == host::Kind::Integer || f->type.kind == host::Kind::Boolean) {
    return static_cast<float>(static_cast<std::int32_t>(word));
  }
  float v;
  std::memcpy(&v, &word, sizeof v);
  return v;
}

}  // namespace tavo::test
