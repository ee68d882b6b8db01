// Texture lookup: the colour of one of eight texture slots at a coordinate,
// through an elliptical filtered lookup where the filter guard lets it, a
// plain lookup otherwise, or the slot's colour; always through an inverse gamma.
#include "utility/tavo_Utility_TexLookup.h"

#include <math.h>

#include "frame/frame.h"

using tavo::tex_lookup::InstanceData;
using tavo::tex_lookup::Params;
namespace filtering = tavo::filtering;

namespace {

const char kFile[] = "tavo_Utility_TexLookup";

// A gamma of 0 would divide by zero: it stands for the smallest gamma instead.
constexpr miScalar kZeroGamma = 0.0001f;

// Raises every channel, alpha included, to 1/gamma; a gamma of exactly 1 leaves the colour alone.
void inverse_gamma(miColor *color, miScalar gamma) {
  if (gamma == 1.0f) return;
  const miScalar e = 1.0f / gamma;
  color->r = powf(color->r, e);
  color->g = powf(color->g, e);
  color->b = powf(color->b, e);
  color->a = powf(color->a, e);
}

// The slot's colour as the result.
miBoolean slot_color_result(miColor *result, miState *state, Params *paras, const InstanceData *data) {
  *result = tavo::eval(state, filtering::slot_color(paras, data->index));
  inverse_gamma(result, data->gamma);
  return miTRUE;
}

}  // namespace

TAVO_SHADER_ENTRIES(tavo_Utility_TexLookup, miColor, Params);

void tavo_Utility_TexLookup_init(miState *state, Params *paras, miBoolean *init_req) {
  if (tavo::shader_level_init(paras, init_req)) return;
  InstanceData *data = tavo::create_instance_record<InstanceData>(state, kFile, __LINE__);
  filtering::init_filter_record(state, paras, &data->filtering);
  data->gamma = tavo::eval(state, &paras->gamma);
  if (data->gamma == 0.0f) data->gamma = kZeroGamma;
  data->index = tavo::eval(state, &paras->index);
  data->use_color = tavo::eval(state, &paras->use_color);
}

miBoolean tavo_Utility_TexLookup(miColor *result, miState *state, Params *paras) {
  const InstanceData *data = tavo::instance_record<InstanceData>(state);
  if (data->use_color != miFALSE) return slot_color_result(result, state, paras, data);
  const miTag tex = tavo::eval(state, filtering::slot_texture(paras, data->index));
  if (tex == miNULLTAG) return slot_color_result(result, state, paras, data);
  miVector coord = tavo::eval(state, &paras->coord);

  miMatrix st;
  miTexfilter settings;
  if (filtering::prepare_filtered_lookup(state, data->filtering, &paras->remap, st, &settings)) {
    st[8] = coord.x;  // the ellipse's centre: the lookup's own coordinate, not the projected point
    st[9] = coord.y;
    if (mi_lookup_filter_color_texture(result, state, tex, &settings, st)) {
      inverse_gamma(result, data->gamma);
      return miTRUE;
    }
  }
  if (!mi_lookup_color_texture(result, state, tex, &coord)) return slot_color_result(result, state, paras, data);
  inverse_gamma(result, data->gamma);
  return miTRUE;
}

void tavo_Utility_TexLookup_exit(miState *state, Params *paras) { tavo::exit_plain(state, paras, kFile); }
