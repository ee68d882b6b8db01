// Noise for the time spent: the gallery at 120x80 against a 1024-sample
// reference, rendered with the low-discrepancy sampler and with the first
// renderer's independent hashes at the same sample count. Monte Carlo error
// falls as the square root of the time, so each RMS error is brought to the
// same time before the two are compared: the ratio is what the
// low-discrepancy sampler gains at equal render time.
#include <cmath>
#include <cstdio>

#include "bench.h"
#include "render.h"
#include "scene.h"

namespace tavo::bench {
namespace {

constexpr int kWidth = 120, kHeight = 80, kSamples = 32, kReferenceSamples = 1024;

host::RenderedImage render(host::SamplerKind sampler, int samples) {
  const host::LoadedScene &scene = gallery();
  host::RenderSettings settings;
  settings.width = kWidth, settings.height = kHeight, settings.samples = samples, settings.threads = 2;
  settings.sampler = sampler;
  return host::render(*scene.scene, scene.instances, settings);
}

// RMS error of the displayed (sRGB-encoded) colours.
double rms(const host::RenderedImage &a, const host::RenderedImage &b) {
  double sum = 0;
  std::size_t n = 0;
  for (std::size_t i = 0; i < a.rgba.size(); ++i) {
    if (i % 4 == 3) continue;
    const double d = host::srgb_encode(a.rgba[i]) - host::srgb_encode(b.rgba[i]);
    sum += d * d, ++n;
  }
  return std::sqrt(sum / static_cast<double>(n));
}

void noise(benchmark::State &state) {
  static const host::RenderedImage reference = render(host::SamplerKind::Sobol, kReferenceSamples);
  for (auto _ : state) {
    const host::RenderedImage sobol = render(host::SamplerKind::Sobol, kSamples);
    const host::RenderedImage independent = render(host::SamplerKind::Independent, kSamples);
    const double e_sobol = rms(sobol, reference), e_independent = rms(independent, reference);
    // at equal time: error x sqrt(time)
    const double ratio = e_independent * std::sqrt(independent.stats.cpu_seconds) /
                         (e_sobol * std::sqrt(sobol.stats.cpu_seconds));
    figure("noise/gallery_rms_sobol", e_sobol, "RMS error against 1024 samples, 32 samples, low-discrepancy");
    figure("noise/gallery_rms_independent", e_independent, "RMS error against 1024 samples, 32 samples, independent");
    figure("noise/gallery_error_ratio_equal_time", ratio, "x less error at equal time than the independent sampler",
           2.0, true);
  }
}

const bool registered = [] {
  benchmark::RegisterBenchmark("noise/gallery_120x80", noise)->Iterations(1)->UseRealTime();
  return true;
}();

}  // namespace
}  // namespace tavo::bench
