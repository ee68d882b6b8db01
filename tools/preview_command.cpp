// tavo preview MATERIAL [NAME=VALUE ...] -o OUT: the material on a shader
// ball in front of a curved backdrop, lit by the generated studio
// environment and a soft key light; a converter (tavo_Shd_X_spider) is shown
// through its material phenomenon (tavo_Mtl_X).
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>

#include "command.h"
#include "renderer_core.h"
#include "values.h"

namespace fs = std::filesystem;
using namespace tavo::host;

namespace tavo::tool {

namespace {

// A cyclorama: the floor, a quarter cylinder of radius 2 bending it up, and
// the wall, in strips narrow enough that the bend reads as smooth.
std::string backdrop() {
  std::string out;
  char line[256];
  const auto strip = [&](int k, float y0, float z0, float y1, float z1) {
    std::snprintf(line, sizeof line,
                  "object \"backdrop_%d\" plane origin -8 %g %g u 16 0 0 v 0 %g %g material \"backdrop\" end object\n", k,
                  y0, z0, y1 - y0, z1 - z0);
    out += line;
  };
  strip(0, 0, 8, 0, -2);
  constexpr int kStrips = 12;
  for (int k = 0; k < kStrips; ++k) {
    const float a0 = 1.5707963f * k / kStrips, a1 = 1.5707963f * (k + 1) / kStrips;
    strip(k + 1, 2 - 2 * std::cos(a0), -2 - 2 * std::sin(a0), 2 - 2 * std::cos(a1), -2 - 2 * std::sin(a1));
  }
  strip(kStrips + 1, 2, -4, 10, -4);
  return out;
}

}  // namespace

std::string preview_scene(const std::string &material, int width, int height) {
  std::string shader = material;
  std::smatch m;
  static const std::regex converter("tavo_Shd_(.+)_spider");
  if (std::regex_match(material, m, converter) && Renderer::get().function("tavo_Mtl_" + m[1].str()))
    shader = "tavo_Mtl_" + m[1].str();
  if (!Renderer::get().function(shader)) throw UsageError("unknown material or converter '" + material + "'");
  return "link \"tavohelpers.so\"\n$include \"tavohelpers.mi\"\n"
         "material \"backdrop\" \"tavo_host_layered\" ( \"diffuse\" 0.55 0.55 0.56, \"roughness\" 1 ) end material\n"
         "material \"preview\" \"" + shader + "\" ( ) end material\n"
         "object \"ball\" sphere centre 0 1 0 radius 1 segments 64 32 material \"preview\" end object\n" +
         backdrop() +
         "light \"studio\" environment studio samples 2 intensity 1 end light\n"
         "light \"key\" area origin -4 5 3 u 2 0 0 v 0 1.2 -1 samples 1 color 1 0.97 0.92 intensity 0.5 end light\n"
         "camera \"view\" resolution " + std::to_string(width) + " " + std::to_string(height) +
         " aperture 36 focal 55 position 0 1.7 6.5 look_at 0 0.95 0 end camera\n"
         "options \"settings\" trace on trace depth 3 4 6 end options\n";
}

int run_preview(const PreviewOptions &options, const fs::path &library_dir) {
  RenderOptions render = options.render;
  int width = 320, height = 240;
  if (!render.resolution.empty()) {
    const std::vector<std::string> wh = split_words(render.resolution, ',');
    if (wh.size() == 2) width = std::atoi(wh[0].c_str()), height = std::atoi(wh[1].c_str());
  }
  for (const std::string &assignment : options.assignments) {
    split_assignment(assignment, "parameter");  // NAME=VALUE, or a usage error
    render.sets.push_back("preview." + assignment);
  }
  const fs::path scene = fs::temp_directory_path() / ("tavo_preview_" + std::to_string(getpid()) + ".mi");
  {
    std::ofstream out(scene);
    out << preview_scene(options.material, std::max(width, 1), std::max(height, 1));
    if (!out) throw Error("cannot write the preview scene " + scene.string());
  }
  render.file = scene.string();
  try {
    const int status = run_render(render, library_dir);
    fs::remove(scene);
    return status;
  } catch (...) {
    fs::remove(scene);
    throw;
  }
}

}  // namespace tavo::tool
