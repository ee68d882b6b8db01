// What the texture and bump lookups share: the leading fields of their
// instance records (the filter settings fixed at init), the guard that decides
// whether an elliptical filtered lookup is tried at a state, the preparation of
// that lookup, and the choice of one of their eight texture and colour slots.
#ifndef TAVO_UTILITY_FILTER_GUARD_H
#define TAVO_UTILITY_FILTER_GUARD_H

#include "frame/frame.h"

namespace tavo::filtering {

// The first eight fields of both lookups' instance records, in this order.
struct FilterRecord {
  miInteger plain_only;  // non-zero: the instance never filters (scene flag, or a camera focal of exactly 1)
  miBoolean filter;
  miScalar disc_r;
  miScalar eccmax;
  miScalar max_minor;
  miScalar circle_radius;
  miBoolean bilinear;
  miInteger space;
};

// The scene flag of the host's record (0 without one), forced to 1 when the
// camera's focal length is exactly 1.0. Init only.
miInteger plain_only(miState *state);

// Fills the record at init from the scene, the camera and the lookup's
// parameters `filter` to `space`, each evaluated once, in declaration order.
template <typename Params>
void init_filter_record(miState *state, Params *paras, FilterRecord *record) {
  record->plain_only = plain_only(state);
  record->filter = tavo::eval(state, &paras->filter);
  record->disc_r = tavo::eval(state, &paras->disc_r);
  record->eccmax = tavo::eval(state, &paras->eccmax);
  record->max_minor = tavo::eval(state, &paras->max_minor);
  record->circle_radius = tavo::eval(state, &paras->circle_radius);
  record->bilinear = tavo::eval(state, &paras->bilinear);
  record->space = tavo::eval(state, &paras->space);
}

// Whether a filtered lookup may be tried at this state: a pixel sample the
// renderer can place, a primary (unreflected) ray that is neither final
// gathering nor a photon, and a disc of `disc_r` pixels (0.3 when `disc_r` is
// not above 0) that projects into texture `space`. On success `p` and `t` hold
// the projected points and their texture points.
bool filter_guard(miState *state, miScalar disc_r, miInteger space, miVector p[3], miVector t[3]);

// Everything before a filtered lookup: the record's own switches, the guard,
// the `remap` shader (evaluated here; none means no filtering) applied to the
// three projected texture points, the pixel transform and the filter
// settings. True when `st` and `settings` are ready and only the ellipse's
// centre, `st` elements 8 and 9, remains to be set.
bool prepare_filtered_lookup(miState *state, const FilterRecord &record, miTag *remap, miMatrix st,
                             miTexfilter *settings);

// ---- slots ------------------------------------------------------------------

inline constexpr miInteger kSlots = 8;

// The slot an `index` selects. Out-of-range indices are clamped: below 0 reads
// slot 0, above 7 reads slot 7, so nothing past the eight slots is ever read.
inline miInteger slot_of(miInteger index) { return index < 0 ? 0 : index >= kSlots ? kSlots - 1 : index; }

// The texture and colour fields of a slot. The sixteen slot fields are plain
// parameters, not an array, so each is reached through its own member.
template <typename Params>
miTag *slot_texture(Params *paras, miInteger slot) {
  static constexpr miTag Params::*kTextures[kSlots] = {&Params::tex_0, &Params::tex_1, &Params::tex_2,
                                                        &Params::tex_3, &Params::tex_4, &Params::tex_5,
                                                        &Params::tex_6, &Params::tex_7};
  return &(paras->*kTextures[slot_of(slot)]);
}

template <typename Params>
miColor *slot_color(Params *paras, miInteger slot) {
  static constexpr miColor Params::*kColors[kSlots] = {&Params::color_0, &Params::color_1, &Params::color_2,
                                                        &Params::color_3, &Params::color_4, &Params::color_5,
                                                        &Params::color_6, &Params::color_7};
  return &(paras->*kColors[slot_of(slot)]);
}

}  // namespace tavo::filtering

#endif
