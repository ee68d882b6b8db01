// What every material converter shares: the entry family around a ready
// record, the scene-unit factor and the five length forms built on it, the map
// pass-through pair and map mode, the glass colour table with the weighted
// brightness, and the hue/saturation/value colour work.
#ifndef TAVO_MATERIALS_CONVERTER_H
#define TAVO_MATERIALS_CONVERTER_H

#include <stddef.h>
#include <string.h>

#include "frame/frame.h"

namespace tavo::converter {

// ---- ready record -----------------------------------------------------------

// Allocates the ready record, stores it in the user-pointer slot and clears it:
// a field no init step writes is handed out as 0 (the allocator's memory is not).
template <typename Ready>
inline Ready *create_ready_record(miState *state, const char *file, int line) {
  Ready *ready = tavo::create_instance_record<Ready>(state, file, line);
  memset(ready, 0, sizeof *ready);
  return ready;
}

// Starts a call's result as a copy of the whole ready record.
template <typename Ready>
inline Ready *copy_out(Ready *result, miState *state) {
  memcpy(result, tavo::instance_record<Ready>(state), sizeof *result);
  return result;
}

// The entries of a converter shader. `build(ready, state, paras)` fills the
// cleared ready record in the instance-level init; `per_call(result, state,
// paras)` finishes the copied record on every call. Each converter's source
// file is named after its shader, so the shader's name is its memory tag.
#define TAVO_CONVERTER(name, Ready, Params, build, per_call)                               \
  TAVO_SHADER_ENTRIES(name, Ready, Params);                                                \
  void name##_init(miState *state, Params *paras, miBoolean *init_req) {                   \
    if (tavo::shader_level_init(paras, init_req)) return;                                  \
    build(tavo::converter::create_ready_record<Ready>(state, #name, __LINE__), state, paras); \
  }                                                                                        \
  miBoolean name(Ready *result, miState *state, Params *paras) {                           \
    per_call(tavo::converter::copy_out(result, state), state, paras);                      \
    return miTRUE;                                                                         \
  }                                                                                        \
  void name##_exit(miState *state, Params *paras) { tavo::exit_plain(state, paras, #name); }

// The row of a preset table that an enumeration value selects, or NULL for a
// value the table does not list (negative ones included): nothing is selected.
template <typename Row, size_t N>
inline const Row *preset_row(const Row (&table)[N], miInteger value) {
  return value >= 0 && static_cast<size_t>(value) < N ? &table[value] : nullptr;
}

// The reflection values that the masonry, stone and plastic tables set
// together, in this order.
struct ReflectionPreset {
  miScalar roughness;
  miScalar reflectivity;
  miScalar glossiness;
  miScalar preset_a;
  miScalar reflection_curve;
};

template <typename Ready>
inline void apply_reflection_preset(Ready *ready, const ReflectionPreset &preset) {
  ready->roughness = preset.roughness;
  ready->reflectivity = preset.reflectivity;
  ready->glossiness = preset.glossiness;
  ready->preset_a = preset.preset_a;
  ready->reflection_curve = preset.reflection_curve;
}

// ---- scene unit and lengths -------------------------------------------------

// What an instance-level init learns from the host's scene record, asked once.
struct SceneFacts {
  const SceneData *record;  // NULL when the host has none; never kept past init
  miScalar u;               // scene units per metre
};

// u = 1 / unit_scale when the record has a unit_scale greater than 0, else 1.
SceneFacts scene_facts(miState *state);

// The scene flag; a missing record counts as 0.
inline miInteger scene_flag(const SceneFacts &scene) {
  return scene.record != nullptr ? scene.record->scene_flag : 0;
}

// The five length forms, in exactly these float forms so results agree to the bit.
inline miScalar inch_scale(miScalar k, miScalar u) { return k / u; }
inline miScalar metre_length(miScalar u, miScalar metres) { return u * metres; }
inline miScalar millimetre_parameter(miScalar millimetres, miScalar u) { return millimetres / 1000.0f * u; }
inline miScalar inch_value(miScalar inches, miScalar u) { return inches / 39.37008f * u; }
inline miScalar flag_length(const SceneFacts &scene, miScalar value, miScalar c) {
  return scene_flag(scene) == 0 ? value * (1.0f / (scene.u * c)) : value;
}

// ---- map pass-through and map mode ------------------------------------------

// The map when its switch is on for this call, else the null tag; the map is
// not evaluated while the switch is off.
inline miTag map_pass_through(miState *state, miBoolean *custom_map_on, miTag *custom_map) {
  return tavo::eval(state, custom_map_on) ? tavo::eval(state, custom_map) : miNULLTAG;
}

inline miInteger map_mode(miBoolean map_mode_on) { return map_mode_on ? 2 : 1; }

// The per-call work of a converter whose only per-call field is the map.
template <typename Ready, typename Params>
inline void pass_map_through(Ready *result, miState *state, Params *paras) {
  result->custom_map = map_pass_through(state, &paras->custom_map_on, &paras->custom_map);
}

// The per-call work of a converter whose result is its ready record as it stands.
template <typename Ready, typename Params>
inline void copy_only(Ready *, miState *, Params *) {}

// ---- glass ------------------------------------------------------------------

// The tint of light that passes through each preset glass.
struct GlassColor {
  miColor transmittance;
};

inline constexpr GlassColor glass_color_table[6] = {
    {{0.858f, 0.893f, 0.879f, 1.0f}},  // nearly neutral, faintly green
    {{0.676f, 0.797f, 0.737f, 1.0f}},  // green
    {{0.451f, 0.449f, 0.472f, 1.0f}},  // grey
    {{0.367f, 0.514f, 0.651f, 1.0f}},  // blue
    {{0.654f, 0.788f, 0.772f, 1.0f}},  // blue-green
    {{0.583f, 0.516f, 0.467f, 1.0f}},  // bronze
};

// (0.67 g + 0.265 r) + 0.065 b: the weights add up to exactly 1 as floats.
miScalar weighted_brightness(const miColor &c);

// The largest of r, g and b, taken in that order.
miScalar largest_channel(const miColor &c);

// ---- hue, saturation, value -------------------------------------------------

struct Hsv {
  miScalar h;  // 0 to 1; pure red is 1, not 0
  miScalar s;
  miScalar v;
};

Hsv rgb_to_hsv(const miColor &c);
// r, g, b from hue, saturation and value; alpha as given.
miColor hsv_to_rgb(const Hsv &hsv, miScalar alpha);

}  // namespace tavo::converter

#endif
