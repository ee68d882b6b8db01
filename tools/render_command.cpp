// tavo render SCENE -o OUT: the scene's image, written only once it is whole.
#include <cstdio>

#include "command.h"
#include "platform.h"
#include "render.h"
#include "renderer_core.h"
#include "scene.h"
#include "scene_file.h"
#include "values.h"
#include "work_limits.h"

namespace fs = std::filesystem;
using namespace tavo::host;

namespace tavo::tool {

int run_render(const RenderOptions &options, const fs::path &library_dir) {
  Renderer &renderer = Renderer::get();
  RenderSettings settings;
  if (!options.resolution.empty()) {
    const std::vector<std::string> wh = split_words(options.resolution, ',');
    try {
      if (wh.size() != 2) throw Error("");
      settings.width = parse_integer(wh[0]);
      settings.height = parse_integer(wh[1]);
    } catch (const Error &) {
      throw UsageError("expected --resolution W,H with two integers, found '" + options.resolution + "'");
    }
    try {
      check_resolution(settings.width, settings.height);
    } catch (const Error &e) {
      throw UsageError(std::string("--resolution: ") + e.what());
    }
  }
  if (options.samples < 1 || options.samples > 1024)
    throw UsageError("--samples must lie in 1..1024, found " + std::to_string(options.samples));
  if (options.threads < 0) throw UsageError("--threads must not be negative, found " + std::to_string(options.threads));
  // The output must be writable before any work is done for it.
  try {
    check_output(options.output);
  } catch (const FormatError &e) {
    throw UsageError(e.what());
  }
  settings.samples = options.samples;
  settings.threads = options.threads;
  settings.sampler = options.sampler == "independent" ? SamplerKind::Independent : SamplerKind::Sobol;
  // A bar redrawn in place only where a person watches; a log gets a line a tenth.
  settings.progress = options.quiet                      ? ProgressStyle::Off
                      : platform::is_terminal(stderr)     ? ProgressStyle::Bar
                                                          : ProgressStyle::Lines;

  const LoadedScene loaded = load_scene_with(options.file, library_dir, options.sets);
  report_notes(options.strict);
  renderer.set_current_scene(loaded.scene);
  renderer.set_scene(loaded.record.value_or(Renderer::default_scene()));
  RenderedImage image = render(*loaded.scene, loaded.instances, settings);
  if (options.tonemap && !is_linear_format(options.output)) tonemap(image);
  draw_captions(image, *loaded.scene);  // on the finished picture: the tone curve leaves the text alone
  for (const Message &m : renderer.messages())
    if (m.level == "error") std::fprintf(stderr, "tavo: %s: %s\n", m.level.c_str(), m.text.c_str());
  save_image(options.output, image, render_attributes(image, std::string("tavo ") + TAVO_VERSION));
  if (options.stats && options.json) std::fputs(stats_json(image).c_str(), stdout);
  else if (options.stats || !options.quiet) std::fprintf(stderr, "%s\n", stats_line(image).c_str());
  return 0;
}

}  // namespace tavo::tool
