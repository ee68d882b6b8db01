// What the subcommands of tavo share: the usage error (exit status 2), the
// NAME=VALUE words of a command line, and where the shader library lies.
#pragma once

#include <CLI/CLI.hpp>

#include <filesystem>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "declarations.h"
#include "scene_file.h"

namespace tavo::tool {

// A mistake in what the user typed: exit status 2.
struct UsageError : host::Error {
  using host::Error::Error;
};

// Splits "NAME=VALUE"; `what` names the left side in the error.
std::pair<std::string, std::string> split_assignment(const std::string &text, const char *what);

// --- tavo eval
struct EvalOptions {
  std::string shader;
  std::vector<std::string> assignments;
  std::vector<std::string> scene;
  bool no_scene = false;
  std::vector<std::string> rays;
  std::string file;
  std::string pixel;
  bool strict = false;
  std::vector<std::string> sets;  // --set INSTANCE.PARAM=VALUE, with --file
  std::vector<std::string> states;  // --state FIELD=N
  std::string argument;             // --argument mesh=V,T
};

// The options of one evaluation, as `tavo eval` and each line of a batch take them.
void add_eval_options(CLI::App &app, EvalOptions &options);

// One evaluation in a fresh life cycle; returns its JSON document. Raises
// UsageError for a mistake in the options, Error when the library cannot run it.
std::string evaluate(const EvalOptions &options, const std::filesystem::path &library_dir);

// Evaluates each line of `source` (a file, or "-" for standard input) as the
// options of one `tavo eval`, printing one JSON document a line. Returns the
// exit status: 0 when every line succeeded, else the highest status a
// failing line would have had on its own.
int run_batch(const std::string &source, const std::filesystem::path &library);

// `--set INSTANCE.PARAM=VALUE` words as overrides of a scene's values.
std::vector<host::Override> overrides(const std::vector<std::string> &sets);

// Loads a scene file with the overrides; an override that names nothing in
// the scene is the user's mistake.
host::LoadedScene load_scene_with(const std::string &file, const std::filesystem::path &library_dir,
                                  const std::vector<std::string> &sets);

// Writes the host's notes (values outside what their declarations allow) as
// warnings on standard error, or with `strict` raises the first as a UsageError.
void report_notes(bool strict);

// Loads the shader library and its declarations (the .mi file beside it).
void load_library(const std::filesystem::path &library);

// --- tavo diff
struct DiffOptions {
  std::string a, b;
  double fail = 1e-6, fail_percent = 0, hard_fail = std::numeric_limits<double>::infinity();
  double warn = 1e-6, warn_percent = 0, hard_warn = std::numeric_limits<double>::infinity();
  std::string difference;
  double scale = 1;
  bool json = false;
};

void add_diff_options(CLI::App &app, DiffOptions &options);
// Prints the comparison and returns the exit status (0 to 4).
int run_diff(const DiffOptions &options);

// --- tavo render
struct RenderOptions {
  std::string file;
  std::string output;
  std::string resolution;
  int samples = 1;
  int threads = 0;
  bool quiet = false;
  bool strict = false;
  bool stats = false;  // the statistics line even when quiet; with json, a JSON document on standard output
  bool json = false;
  std::vector<std::string> sets;
  bool tonemap = false;          // a filmic curve before the sRGB encoding of 8-bit formats
  std::string sampler = "sobol";  // hidden: "independent", the first renderer's sampler, to measure against
};

// The options render and preview share, on either subcommand.
void add_render_options(CLI::App &app, RenderOptions &options);

int run_render(const RenderOptions &options, const std::filesystem::path &library_dir);

// --- tavo preview
struct PreviewOptions {
  std::string material;
  std::vector<std::string> assignments;  // NAME=VALUE of the material's parameters
  RenderOptions render;
};

// The shader-ball scene for a material phenomenon, or a converter's (tavo_Shd_X_spider: tavo_Mtl_X).
std::string preview_scene(const std::string &material, int width, int height);
int run_preview(const PreviewOptions &options, const std::filesystem::path &library_dir);

}  // namespace tavo::tool
