// The surfaces of a scene. Every object is a list of triangles with
// per-corner positions, normals and texture vectors; that is what
// mi_tri_vectors hands out and what barycentric coordinates refer to. A sphere
// is traced exactly, and its triangles are the cells of its (u, v) grid: a hit
// reports the grid triangle that contains its (u, v), with barycentrics taken
// in (u, v), so that they interpolate the texture vectors exactly.
#pragma once

#include <cmath>

#include <string>
#include <string_view>
#include <vector>

#include "frame/renderer.h"

namespace tavo::host {

// The most texture spaces an object has; states carry room for this many.
inline constexpr int kMaxTextureSpaces = 8;

struct Object {
  enum class Shape { Sphere, Triangles };

  miTag tag = 0;
  std::string name;
  Shape shape = Shape::Triangles;
  miTag material = 0;

  // Spheres: centre, radius and grid. Texture space 0 is (u, v, 0): u goes
  // once around the y axis, 0.5 facing +z and growing towards +x; v runs
  // from 0 at the bottom pole to 1 at the top.
  miVector centre{};
  float radius = 0;
  int segments_u = 0;
  int segments_v = 0;

  // Three entries per triangle, counter-clockwise seen from the outside.
  std::vector<miVector> points;
  std::vector<miVector> normals;
  std::vector<std::vector<miVector>> textures;  // one list per texture space

  int triangles() const { return static_cast<int>(points.size() / 3); }
  int texture_spaces() const { return static_cast<int>(textures.size()); }

  // Sphere: (u, v) of a point on the surface, and the grid triangle and
  // barycentrics of that (u, v).
  miVector sphere_uv(const miVector &point) const;
  int sphere_triangle(const miVector &uv, float bary[3]) const;

  // The texture vector (space `space`) of a point Q on the tangent plane at
  // `hit` on triangle `triangle`: the triangle's linear mapping extended over
  // its plane, or for a sphere the first-order expansion around `hit`.
  // False where the mapping is degenerate (a sphere's poles, a sliver triangle).
  bool texture_at(int triangle, const miVector &hit, int space, const miVector &Q, miVector &t) const;
};

Object make_sphere(const miVector &centre, float radius, int segments_u, int segments_v);
// A parallelogram from `origin` along edges u and v; (u, v) texture 0..1.
Object make_parallelogram(const miVector &origin, const miVector &u, const miVector &v);
// An axis-aligned box; each face has (u, v) texture 0..1.
Object make_box(const miVector &lo, const miVector &hi);
// A triangle mesh from a Wavefront OBJ file (v, vt, vn, f; polygons are
// fanned), scaled and then moved. Raises Error "file:line: ..." when malformed,
// or when a number is not finite.
Object read_obj(const std::string &path, float scale, const miVector &translate);
// The same from the file's content; `path` names it in errors.
Object parse_obj(std::string_view content, const std::string &path, float scale, const miVector &translate);

// Small vector helpers shared by the host's geometry code.
inline miVector operator+(const miVector &a, const miVector &b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline miVector operator-(const miVector &a, const miVector &b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline miVector operator*(const miVector &a, float s) { return {a.x * s, a.y * s, a.z * s}; }
inline float dot(const miVector &a, const miVector &b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline miVector cross(const miVector &a, const miVector &b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline float length(const miVector &a) { return std::sqrt(dot(a, a)); }
inline miVector normalize(const miVector &a) {  // the zero vector stays zero
  const float l = length(a);
  return l > 0.0f ? a * (1.0f / l) : a;
}

}  // namespace tavo::host
