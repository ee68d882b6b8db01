// tavo: the command-line face of the reference host. `tavo list` shows what
// the shader library declares; `tavo eval` runs one shader's whole life cycle
// in the host and prints what it produced as JSON (--batch: many, one a
// line); `tavo render` renders a scene file to an image.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "command.h"
#include "platform.h"
#include "renderer_core.h"
#include "report.h"
#include "work_limits.h"

namespace fs = std::filesystem;
using namespace tavo::host;
using namespace tavo::tool;

namespace {

// TAVO_LIBRARY, or the library the build put where this program finds it:
// ../lib on Linux, beside the program on Windows.
fs::path default_library() {
  if (const char *env = std::getenv("TAVO_LIBRARY")) return env;
  const fs::path exe = platform::executable_file();
  const std::string name = std::string("tavoshaders") + platform::kModuleSuffix;
#ifdef _WIN32
  return exe.parent_path() / name;
#else
  return exe.parent_path().parent_path() / "lib" / name;
#endif
}

}  // namespace

namespace tavo::tool {

void add_render_options(CLI::App &app, RenderOptions &options) {
  app.add_option("--resolution", options.resolution,
                 "W,H (default: the camera's; the horizontal field of view stays, the aspect follows W,H)");
  app.add_option("--samples", options.samples, "samples per pixel");
  app.add_option("--threads", options.threads, "rendering threads (default: every core)")
      ->check(CLI::Range(1, kMaxThreads));
  app.add_flag("--quiet", options.quiet, "no progress and no statistics line");
  app.add_flag("--stats", options.stats, "print the statistics line even when quiet");
  app.add_flag("--json", options.json, "with --stats: the statistics as JSON on standard output");
  app.add_option("--set", options.sets, "INSTANCE.PARAM=VALUE: a value the scene's instance gets as if "
                                        "its file gave it (repeatable)");
  app.add_flag("--strict", options.strict, "a value outside its declared values or range is an error");
  app.add_flag("--tonemap", options.tonemap, "a filmic tone curve before the sRGB encoding (.png, .jpg, ...)");
  app.add_option("--sampler", options.sampler)->group("")->check(CLI::IsMember({"sobol", "independent"}));
}

}  // namespace tavo::tool

int main(int argc, char **argv) {
  platform::set_binary(stdout);
  CLI::App app{"tavo: run the tavoshaders library in the reference host"};
  app.require_subcommand(1);
  std::string library;
  app.add_option("--library", library, "the shader library (its declarations beside it, .mi)");

  app.set_version_flag("--version", std::string("tavo ") + TAVO_VERSION);

  bool list_json = false;
  std::vector<std::string> list_names;
  CLI::App *list = app.add_subcommand("list", "list the declared shaders (or just NAME...) with their parameters, "
                                              "values, ranges and result");
  list->add_option("NAME", list_names, "shaders to show (default: all)");
  list->add_flag("--json", list_json, "print JSON");

  EvalOptions eval;
  std::string batch;
  CLI::App *ev = app.add_subcommand("eval", "run one shader's life cycle and print its results as JSON");
  add_eval_options(*ev, eval);
  ev->add_option("--batch", batch, "evaluate each line of FILE (- for standard input) as eval's options, "
                                   "printing one JSON document a line");

  RenderOptions render_options;
  CLI::App *rd = app.add_subcommand("render", "render a scene file to an image (.png: sRGB, .exr: linear)");
  rd->add_option("SCENE", render_options.file, "the scene file")->required();
  rd->add_option("-o,--output", render_options.output, "the image to write; its extension picks the format")
      ->required();
  add_render_options(*rd, render_options);

  PreviewOptions preview;
  preview.render.samples = 16;
  CLI::App *pv = app.add_subcommand("preview", "render a material on a shader ball under a studio light");
  pv->add_option("MATERIAL", preview.material, "a material phenomenon (tavo_Mtl_Metal) or a converter")->required();
  pv->add_option("NAME=VALUE", preview.assignments, "the material's parameters");
  pv->add_option("-o,--output", preview.render.output, "the image to write; its extension picks the format")
      ->required();
  add_render_options(*pv, preview.render);

  DiffOptions diff;
  CLI::App *df = app.add_subcommand("diff", "compare two images: mean, RMS, PSNR and maximum error "
                                            "(exit 0 pass, 1 warning, 2 failure, 3 sizes differ, 4 unreadable)");
  add_diff_options(*df, diff);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp &e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion &e) {
    return app.exit(e);
  } catch (const CLI::ParseError &e) {
    // A word where the command belongs: say which commands there are.
    if (app.get_subcommands().empty())
      for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--library") { ++i; continue; }
        if (word.rfind("-", 0) == 0) continue;
        std::fprintf(stderr, "tavo: unknown command '%s' (commands: list, eval, render, preview, diff)\n", word.c_str());
        return 2;
      }
    std::fprintf(stderr, "tavo: %s\n", e.what());
    return 2;
  }

  if (df->parsed()) {
#if TAVO_TRACING
    return run_diff(diff);
#else
    std::fprintf(stderr, "tavo: diff needs image files, which this build of tavo does not have (Linux only)\n");
    return 2;
#endif
  }
  try {
    const fs::path lib = library.empty() ? default_library() : fs::path(library);
    if (rd->parsed() || pv->parsed()) {
      const char *what = rd->parsed() ? "render" : "preview";
#if TAVO_TRACING
      (void)what;
      load_library(lib);
      return rd->parsed() ? run_render(render_options, lib.parent_path()) : run_preview(preview, lib.parent_path());
#else
      throw UsageError(std::string(what) +
                       " needs ray tracing and image files, which this build of tavo does not have (Linux only)");
#endif
    }
    if (ev->parsed() && !batch.empty()) {
      if (!eval.shader.empty() || !eval.file.empty() || !eval.assignments.empty())
        throw UsageError("--batch takes each evaluation from its lines, found '" +
                         (eval.shader.empty() ? eval.file : eval.shader) + "' beside it");
      return run_batch(batch, lib);
    }
    load_library(lib);
    if (list->parsed()) {
      std::vector<const Function *> functions = Renderer::get().functions();
      if (!list_names.empty()) {
        functions.clear();
        for (const std::string &name : list_names) {
          const Function *fn = Renderer::get().function(name);
          if (!fn) throw UsageError("unknown shader '" + name + "'");
          functions.push_back(fn);
        }
      }
      std::fputs((list_json ? declarations_json(functions) : declarations_text(functions)).c_str(), stdout);
      return 0;
    }
    std::fputs(evaluate(eval, lib.parent_path()).c_str(), stdout);
    return 0;
  } catch (const UsageError &e) {
    std::fprintf(stderr, "tavo: %s\n", e.what());
    return 2;
  } catch (const Error &e) {
    std::fprintf(stderr, "tavo: %s\n", e.what());
    return 1;
  } catch (const std::bad_alloc &) {
    std::fputs("tavo: not enough memory\n", stderr);
    return 1;
  } catch (const std::exception &e) {  // a failure nothing above foresaw still ends in one line, not a core dump
    std::fprintf(stderr, "tavo: %s\n", e.what());
    return 1;
  }
}
