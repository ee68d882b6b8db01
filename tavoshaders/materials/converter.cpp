// The shared converter pieces that are more than a line.
#include "materials/converter.h"

#include <math.h>

namespace tavo::converter {

SceneFacts scene_facts(miState *state) {
  SceneFacts scene{GetSceneData(state), 1.0f};
  // Not greater than 0 (zero, negative, NaN): no usable unit, stay at 1.
  if (scene.record != nullptr && scene.record->unit_scale > 0.0f) scene.u = 1.0f / scene.record->unit_scale;
  return scene;
}

miScalar weighted_brightness(const miColor &c) { return (0.67f * c.g + 0.265f * c.r) + 0.065f * c.b; }

miScalar largest_channel(const miColor &c) {
  miScalar m = c.r;
  if (c.g > m) m = c.g;
  if (c.b > m) m = c.b;
  return m;
}

Hsv rgb_to_hsv(const miColor &c) {
  miScalar max = c.r;
  if (c.g > max) max = c.g;
  if (c.b > max) max = c.b;
  miScalar min = c.r;
  if (min > c.g) min = c.g;
  if (min > c.b) min = c.b;

  Hsv hsv{0.0f, 0.0f, max};
  if (max == min) return hsv;
  // The hue sextant starts from the channel that is smallest.
  miScalar d;
  miScalar k;
  if (c.r == min) {
    d = c.g - c.b;
    k = 3.0f;
  } else if (c.g == min) {
    d = c.b - c.r;
    k = 5.0f;
  } else {
    d = c.r - c.g;
    k = 1.0f;
  }
  const miScalar spread = max - min;
  hsv.h = (k - d / spread) / 6.0f;
  hsv.s = spread / max;
  return hsv;
}

miColor hsv_to_rgb(const Hsv &hsv, miScalar alpha) {
  const miScalar x = hsv.h * 6.0f;
  const miScalar whole = floorf(x);
  // A hue from rgb_to_hsv lies in [0, 1]; anything else (NaN, infinite or out
  // of range, from a colour with such channels) is read as sextant 0 rather
  // than converted to an integer it cannot be.
  const int i = whole >= 0.0f && whole <= 6.0f ? static_cast<int>(whole) : 0;
  miScalar f = x - static_cast<miScalar>(i);
  if (i % 2 == 0) f = 1.0f - f;
  const miScalar v = hsv.v;
  const miScalar p = (1.0f - hsv.s) * v;
  const miScalar q = (1.0f - f * hsv.s) * v;
  switch (i) {
    case 1: return {q, v, p, alpha};
    case 2: return {p, v, q, alpha};
    case 3: return {p, q, v, alpha};
    case 4: return {q, p, v, alpha};
    case 5: return {v, p, q, alpha};
    default: return {v, q, p, alpha};  // 0 and 6
  }
}

}  // namespace tavo::converter
