// The host's texture lookups, plain (bilinear) and filtered (elliptical, over
// the mip levels), against OpenImageIO's own texture() at the same points
// with the same kind of filtering.
#include <OpenImageIO/imageio.h>
#include <OpenImageIO/texture.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <vector>

#include "bench.h"
#include "shading.h"
#include "texture.h"

namespace tavo::bench {
namespace {

constexpr int kSide = 512;
constexpr int kPoints = 256;

// A 512x512 RGBA test card, as the host's texture and as a file for OpenImageIO.
struct Card {
  miTag tag = 0;
  std::string file;
  std::vector<float> st;  // kPoints lookup positions, s and t
  Card() {
    std::vector<float> rows(4 * kSide * kSide);
    for (int j = 0; j < kSide; ++j)
      for (int i = 0; i < kSide; ++i)
        for (int c = 0; c < 4; ++c)
          rows[4 * (j * kSide + i) + c] = 0.5f + 0.5f * std::sin(0.05f * i * (c + 1) + 0.03f * j);
    tag = renderer().add_texture(std::make_unique<host::Image>("card", kSide, kSide, 4, rows));
    file = (std::filesystem::temp_directory_path() / "tavo_bench_card.exr").string();
    auto out = OIIO::ImageOutput::create(file);
    out->open(file, OIIO::ImageSpec(kSide, kSide, 4, OIIO::TypeDesc::FLOAT));
    out->write_image(OIIO::TypeDesc::FLOAT, rows.data());
    out->close();
    for (int k = 0; k < kPoints; ++k) st.push_back(std::fmod(0.6180339f * k, 1.0f)), st.push_back(std::fmod(0.7548777f * k, 1.0f));
  }
};

Card &card() {
  static Card c;
  return c;
}

// Derivatives of a footprint some eight texels across, at a slant.
constexpr float kDsDx = 8.0f / kSide, kDtDx = 2.0f / kSide, kDsDy = -1.0f / kSide, kDtDy = 6.0f / kSide;

void host_plain(benchmark::State &state) {
  Card &c = card();
  miColor color;
  for (auto _ : state)
    for (int k = 0; k < kPoints; ++k) {
      const miVector coord{c.st[2 * k], c.st[2 * k + 1], 0};
      host::lookup_color_texture(&color, &shading().state, c.tag, &coord);
      benchmark::DoNotOptimize(color);
    }
}

void host_filtered(benchmark::State &state) {
  Card &c = card();
  miTexfilter settings{};
  settings.eccmax = 20, settings.max_minor = 16, settings.circle_radius = 0.5f, settings.bilinear = miTRUE;
  miColor color;
  for (auto _ : state)
    for (int k = 0; k < kPoints; ++k) {
      miScalar st[10] = {kDsDx, kDtDx, 0, 0, kDsDy, kDtDy, 0, 0, c.st[2 * k], c.st[2 * k + 1]};
      host::lookup_filter_color_texture(&color, &shading().state, c.tag, &settings, st);
      benchmark::DoNotOptimize(color);
    }
}

void oiio(benchmark::State &state, bool filtered) {
  Card &c = card();
  static std::shared_ptr<OIIO::TextureSystem> system(OIIO::TextureSystem::create(false),
                                                     [](OIIO::TextureSystem *t) { OIIO::TextureSystem::destroy(t); });
  system->attribute("automip", 1);
  const OIIO::ustring name(c.file);
  OIIO::TextureOpt options;
  options.swrap = options.twrap = OIIO::TextureOpt::WrapPeriodic;
  if (!filtered) options.mipmode = OIIO::TextureOpt::MipModeNoMIP, options.interpmode = OIIO::TextureOpt::InterpBilinear;
  float color[4];
  for (auto _ : state)
    for (int k = 0; k < kPoints; ++k) {
      const float s = c.st[2 * k], t = c.st[2 * k + 1];
      if (filtered) system->texture(name, options, s, t, kDsDx, kDtDx, kDsDy, kDtDy, 4, color);
      else system->texture(name, options, s, t, 0, 0, 0, 0, 4, color);
      benchmark::DoNotOptimize(color);
    }
}

const bool registered = [] {
  add("baseline/oiio_texture_bilinear", [](benchmark::State &s) { oiio(s, false); });
  add("texture/lookup_plain", host_plain);
  add("baseline/oiio_texture_filtered", [](benchmark::State &s) { oiio(s, true); });
  add("texture/lookup_filtered", host_filtered);
  ratio("texture/lookup_plain", "baseline/oiio_texture_bilinear", 0, "256 bilinear lookups");
  ratio("texture/lookup_filtered", "baseline/oiio_texture_filtered", 0, "256 filtered lookups, 8 texels across");
  return true;
}();

}  // namespace
}  // namespace tavo::bench
