// Rendering a whole image: eye rays through every pixel of the camera, shaded
// by the objects' materials (or the environment on a miss), tile by tile on
// as many threads as asked for, and written out through OpenImageIO.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "renderer_core.h"
#include "shading.h"
#include "texture.h"
#include "texture.h"

namespace tavo::host {

class Scene;

// How a render shows its progress on standard error: a bar redrawn in place
// (for a terminal), a line at each tenth (for a log), or not at all.
enum class ProgressStyle { Off, Bar, Lines };

struct RenderSettings {
  int width = 0;    // 0: the camera's resolution
  int height = 0;
  int samples = 1;  // per pixel (any thread count gives the same image)
  // how samples choose: Owen-scrambled Sobol points, or the first renderer's
  // hashes on a fixed grid of pixel positions (kept to measure against)
  SamplerKind sampler = SamplerKind::Sobol;
  int threads = 0;  // 0: every core
  ProgressStyle progress = ProgressStyle::Off;
};

// What a render did and what it cost.
struct RenderStats {
  double wall_seconds = 0;
  double cpu_seconds = 0;  // of the whole process, every thread
  int threads = 0;
  long long pixels = 0;
  long long samples = 0;  // camera samples
  Sample::RayCounts rays;
  long long peak_memory_bytes = 0;  // the process's peak resident size
};

struct RenderedImage {
  int width = 0;
  int height = 0;
  int samples_per_pixel = 1;
  std::vector<float> rgba;  // linear, rows top first
  RenderStats stats;
};

// The stats as one line for a person, and as a JSON document.
std::string stats_line(const RenderedImage &image);
std::string stats_json(const RenderedImage &image);

// Inits every instance in `instances` (a scene file's, in order), renders the
// scene and runs every exit. Raises Error for settings it cannot honour.
RenderedImage render(Scene &scene, const std::vector<miTag> &instances, const RenderSettings &settings);

// Draws the scene's captions into the image, each centred under where its
// point appears, at a size that follows the image's height. Raises Error
// when the text cannot be drawn (no font).
void draw_captions(RenderedImage &image, const Scene &scene);

// Checks, before any work, that save_image can write `path`: a format
// OpenImageIO writes, in a folder that exists and takes files. Returns the
// channels the file will have (3 where the format has no alpha); raises
// FormatError for a name that gives no such format, Error naming the path
// when it cannot be written.
int check_output(const std::string &path);

// Writes the image by the file's extension: `.png` (and the other 8-bit
// formats) converted to sRGB, `.exr` as linear floats, without alpha where
// the format has none. The file appears whole or not at all (files.h, OutputFile).
void save_image(const std::string &path, const RenderedImage &image, const ImageAttributes &attributes = {});

// What a render's file says of how it was made: the software, render time,
// samples per pixel and the statistics.
ImageAttributes render_attributes(const RenderedImage &image, const std::string &software);

// Whether the file's format keeps linear floats (.exr, .hdr, .pfm).
bool is_linear_format(const std::string &path);

// A filmic tone curve on a linear value: highlights roll off into white
// instead of clipping; the result is still linear light for the sRGB encoding.
float filmic(float linear);
void tonemap(RenderedImage &image);

// The sRGB encoding of a linear value, clamped to [0, 1].
float srgb_encode(float linear);

}  // namespace tavo::host
