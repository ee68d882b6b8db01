// mi_spline: a uniform Catmull-Rom spline through n control values at evenly
// spaced knots k / (n - 1) over [0, 1]. At a knot it returns the control value
// itself; between knots it is the cubic Hermite segment whose tangents are the
// central differences of the neighbours (one-sided at the two ends), so linear
// data comes out linear. Like every Catmull-Rom spline it may overshoot where
// the data levels off (0.98, 1, 1 rises above 1 just after the 1); callers
// that need a bound clamp.
#include <cmath>

#include "frame/renderer.h"

namespace {

// Slope at knot k in control units per segment.
float tangent(const miScalar *p, int n, int k) {
  if (k == 0) return p[1] - p[0];
  if (k == n - 1) return p[n - 1] - p[n - 2];
  return (p[k + 1] - p[k - 1]) * 0.5f;
}

}  // namespace

extern "C" miScalar mi_spline(miScalar t, int n, miScalar *control) {
  if (n < 1 || control == nullptr) return 0.0f;
  if (n == 1) return control[0];
  if (!(t > 0.0f)) t = 0.0f;  // NaN too
  if (t > 1.0f) t = 1.0f;

  const int segments = n - 1;
  const float x = t * static_cast<float>(segments);
  // The float nearest a knot k / (n - 1) gives that knot's value exactly, even
  // where t * (n - 1) rounds to just beside k.
  const int nearest = static_cast<int>(std::lround(x));
  if (static_cast<float>(nearest) / static_cast<float>(segments) == t) return control[nearest];
  int i = static_cast<int>(std::floor(x));
  if (i > segments - 1) i = segments - 1;  // t = 1 ends the last segment
  const float f = x - static_cast<float>(i);

  const float f2 = f * f;
  const float f3 = f2 * f;
  const float h00 = 2.0f * f3 - 3.0f * f2 + 1.0f;
  const float h10 = f3 - 2.0f * f2 + f;
  const float h01 = -2.0f * f3 + 3.0f * f2;
  const float h11 = f3 - f2;
  return h00 * control[i] + h10 * tangent(control, n, i) + h01 * control[i + 1] +
         h11 * tangent(control, n, i + 1);
}
