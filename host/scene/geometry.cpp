#include "geometry.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "declarations.h"
#include "files.h"
#include "values.h"

namespace tavo::host {

namespace {

constexpr double kPi = 3.14159265358979323846;

// Unit direction from the sphere's centre at texture (u, v).
miVector sphere_direction(double u, double v) {
  const double phi = (u - 0.5) * 2 * kPi, theta = v * kPi;
  return {static_cast<float>(std::sin(theta) * std::sin(phi)), static_cast<float>(-std::cos(theta)),
          static_cast<float>(std::sin(theta) * std::cos(phi))};
}

void add_triangle(Object &o, const miVector p[3], const miVector n[3], const miVector t[3]) {
  for (int k = 0; k < 3; ++k) {
    o.points.push_back(p[k]);
    o.normals.push_back(n[k]);
    o.textures[0].push_back(t[k]);
  }
}

void add_parallelogram(Object &o, const miVector &origin, const miVector &u, const miVector &v) {
  const miVector n = normalize(cross(u, v));
  if (length(cross(u, v)) == 0.0f) throw Error("a parallelogram needs two edges that are not parallel");
  const miVector corner[4] = {origin, origin + u, origin + u + v, origin + v};
  const miVector uv[4] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
  const miVector normal[3] = {n, n, n};
  const miVector p0[3] = {corner[0], corner[1], corner[2]}, t0[3] = {uv[0], uv[1], uv[2]};
  const miVector p1[3] = {corner[0], corner[2], corner[3]}, t1[3] = {uv[0], uv[2], uv[3]};
  add_triangle(o, p0, normal, t0);
  add_triangle(o, p1, normal, t1);
}

}  // namespace

miVector Object::sphere_uv(const miVector &point) const {
  const miVector d = normalize(point - centre);
  double u = 0.5 + std::atan2(static_cast<double>(d.x), static_cast<double>(d.z)) / (2 * kPi);
  if (u >= 1.0) u -= 1.0;
  const double v = std::acos(std::clamp(-static_cast<double>(d.y), -1.0, 1.0)) / kPi;
  return {static_cast<float>(u), static_cast<float>(v), 0.0f};
}

int Object::sphere_triangle(const miVector &uv, float bary[3]) const {
  const double x = std::clamp(static_cast<double>(uv.x), 0.0, 1.0) * segments_u;
  const double y = std::clamp(static_cast<double>(uv.y), 0.0, 1.0) * segments_v;
  const int i = std::min(static_cast<int>(x), segments_u - 1);
  const int j = std::min(static_cast<int>(y), segments_v - 1);
  const double fu = x - i, fv = y - j;
  const int cell = j * segments_u + i;
  // lower triangle (c00, c10, c11) where fu >= fv, upper (c00, c11, c01) otherwise
  if (fu >= fv) {
    bary[0] = static_cast<float>(1 - fu), bary[1] = static_cast<float>(fu - fv), bary[2] = static_cast<float>(fv);
    return 2 * cell;
  }
  bary[0] = static_cast<float>(1 - fv), bary[1] = static_cast<float>(fu), bary[2] = static_cast<float>(fv - fu);
  return 2 * cell + 1;
}

bool Object::texture_at(int triangle, const miVector &hit, int space, const miVector &Q, miVector &t) const {
  if (space < 0 || space >= texture_spaces() || triangle < 0 || triangle >= triangles()) return false;
  if (shape == Shape::Sphere) {
    if (space != 0) return false;
    const miVector uv = sphere_uv(hit);
    const double phi = (uv.x - 0.5) * 2 * kPi, theta = uv.y * kPi;
    // dP/du and dP/dv of the parametrisation, at the hit
    const double s = std::sin(theta), c = std::cos(theta);
    const double pu[3] = {2 * kPi * radius * s * std::cos(phi), 0.0, -2 * kPi * radius * s * std::sin(phi)};
    const double pv[3] = {kPi * radius * c * std::sin(phi), kPi * radius * s, kPi * radius * c * std::cos(phi)};
    const double uu = pu[0] * pu[0] + pu[2] * pu[2];
    const double vv = pv[0] * pv[0] + pv[1] * pv[1] + pv[2] * pv[2];
    if (!(uu > 1e-12 * radius * radius) || !(vv > 0)) return false;  // at a pole u has no direction
    const double d[3] = {static_cast<double>(Q.x) - hit.x, static_cast<double>(Q.y) - hit.y,
                         static_cast<double>(Q.z) - hit.z};
    t.x = static_cast<float>(uv.x + (d[0] * pu[0] + d[2] * pu[2]) / uu);
    t.y = static_cast<float>(uv.y + (d[0] * pv[0] + d[1] * pv[1] + d[2] * pv[2]) / vv);
    t.z = 0.0f;
    return true;
  }
  const miVector *p = &points[3 * static_cast<std::size_t>(triangle)];
  const miVector *tex = &textures[space][3 * static_cast<std::size_t>(triangle)];
  const miVector e1 = p[1] - p[0], e2 = p[2] - p[0], w = Q - p[0];
  const double d11 = dot(e1, e1), d12 = dot(e1, e2), d22 = dot(e2, e2);
  const double w1 = dot(w, e1), w2 = dot(w, e2);
  const double den = d11 * d22 - d12 * d12;
  if (!(den > 1e-20 * d11 * d22)) return false;
  const double b1 = (d22 * w1 - d12 * w2) / den, b2 = (d11 * w2 - d12 * w1) / den, b0 = 1 - b1 - b2;
  t.x = static_cast<float>(b0 * tex[0].x + b1 * tex[1].x + b2 * tex[2].x);
  t.y = static_cast<float>(b0 * tex[0].y + b1 * tex[1].y + b2 * tex[2].y);
  t.z = static_cast<float>(b0 * tex[0].z + b1 * tex[1].z + b2 * tex[2].z);
  return true;
}

Object make_sphere(const miVector &centre, float radius, int segments_u, int segments_v) {
  if (!(radius > 0.0f) || !std::isfinite(radius)) throw Error("a sphere needs a positive radius");
  if (segments_u < 3 || segments_v < 2 || segments_u > 512 || segments_v > 512)
    throw Error("a sphere needs 3 to 512 segments around and 2 to 512 from pole to pole");
  Object o;
  o.shape = Object::Shape::Sphere;
  o.centre = centre;
  o.radius = radius;
  o.segments_u = segments_u;
  o.segments_v = segments_v;
  o.textures.resize(1);
  const auto corner = [&](int i, int j, miVector &p, miVector &n, miVector &t) {
    const double u = static_cast<double>(i) / segments_u, v = static_cast<double>(j) / segments_v;
    n = sphere_direction(u, v);
    p = centre + n * radius;
    t = {static_cast<float>(u), static_cast<float>(v), 0.0f};
  };
  for (int j = 0; j < segments_v; ++j)
    for (int i = 0; i < segments_u; ++i) {
      miVector p[4], n[4], t[4];
      corner(i, j, p[0], n[0], t[0]);
      corner(i + 1, j, p[1], n[1], t[1]);
      corner(i + 1, j + 1, p[2], n[2], t[2]);
      corner(i, j + 1, p[3], n[3], t[3]);
      const miVector pa[3] = {p[0], p[1], p[2]}, na[3] = {n[0], n[1], n[2]}, ta[3] = {t[0], t[1], t[2]};
      const miVector pb[3] = {p[0], p[2], p[3]}, nb[3] = {n[0], n[2], n[3]}, tb[3] = {t[0], t[2], t[3]};
      add_triangle(o, pa, na, ta);
      add_triangle(o, pb, nb, tb);
    }
  return o;
}

Object make_parallelogram(const miVector &origin, const miVector &u, const miVector &v) {
  Object o;
  o.textures.resize(1);
  add_parallelogram(o, origin, u, v);
  return o;
}

Object make_box(const miVector &lo, const miVector &hi) {
  if (!(hi.x > lo.x && hi.y > lo.y && hi.z > lo.z)) throw Error("a box needs max greater than min on every axis");
  Object o;
  o.textures.resize(1);
  const miVector d = hi - lo;
  const miVector X{d.x, 0, 0}, Y{0, d.y, 0}, Z{0, 0, d.z};
  add_parallelogram(o, {lo.x, lo.y, hi.z}, X, Y);      // front  (+z)
  add_parallelogram(o, {hi.x, lo.y, lo.z}, X * -1, Y);  // back   (-z)
  add_parallelogram(o, {hi.x, lo.y, hi.z}, Z * -1, Y);  // right  (+x)
  add_parallelogram(o, lo, Z, Y);                       // left   (-x)
  add_parallelogram(o, {lo.x, hi.y, hi.z}, X, Z * -1);  // top    (+y)
  add_parallelogram(o, lo, X, Z);                       // bottom (-y)
  return o;
}

Object read_obj(const std::string &path, float scale, const miVector &translate) {
  return parse_obj(read_file(path, "mesh file"), path, scale, translate);
}

Object parse_obj(std::string_view content, const std::string &path, float scale, const miVector &translate) {
  std::vector<miVector> positions, texcoords, normals;
  struct Corner { int p, t, n; };
  struct Face { std::vector<Corner> corners; int line; };
  std::vector<Face> faces;
  std::string text;
  int line = 0;
  const auto fail = [&](const std::string &what) -> void { throw Error(path + ":" + std::to_string(line) + ": " + what); };
  const auto numbers = [&](std::istringstream &words, int lo, int hi, const char *what) {
    std::vector<float> values;
    std::string word;
    while (words >> word) {
      try {
        values.push_back(parse_scalar(word));
      } catch (const Error &e) {
        fail(std::string("expected ") + what + ": " + e.what());
      }
    }
    if (static_cast<int>(values.size()) < lo || static_cast<int>(values.size()) > hi)
      fail(std::string("expected ") + what);
    for (const float v : values)
      if (!std::isfinite(v)) fail(std::string("expected ") + what + ", finite numbers, found '" + format_scalar(v) + "'");
    values.resize(3, 0.0f);
    return miVector{values[0], values[1], values[2]};
  };
  for (std::size_t at = 0; at < content.size();) {
    const std::size_t end = std::min(content.find('\n', at), content.size());
    text.assign(content.substr(at, end - at));
    at = end + 1;
    ++line;
    if (const auto hash = text.find('#'); hash != std::string::npos) text.resize(hash);
    std::istringstream words(text);
    std::string kind;
    if (!(words >> kind)) continue;
    if (kind == "v") {
      positions.push_back(numbers(words, 3, 4, "a vertex: x y z"));
    } else if (kind == "vt") {
      texcoords.push_back(numbers(words, 1, 3, "a texture vertex: u [v [w]]"));
    } else if (kind == "vn") {
      normals.push_back(numbers(words, 3, 3, "a normal: x y z"));
    } else if (kind == "f") {
      Face face{{}, line};
      std::string word;
      while (words >> word) {
        int index[3] = {0, 0, 0};
        std::size_t start = 0;
        for (int k = 0; k < 3 && start <= word.size(); ++k) {
          const std::size_t slash = word.find('/', start);
          const std::string part = word.substr(start, slash == std::string::npos ? slash : slash - start);
          if (!part.empty()) {
            try {
              index[k] = parse_integer(part);
            } catch (const Error &) {
              fail("expected a face corner v, v/vt, v//vn or v/vt/vn, found '" + word + "'");
            }
            if (index[k] == 0) fail("indices count from 1, found '" + word + "'");
          } else if (k == 0) {
            fail("expected a face corner v, v/vt, v//vn or v/vt/vn, found '" + word + "'");
          }
          if (slash == std::string::npos) break;
          start = slash + 1;
        }
        face.corners.push_back({index[0], index[1], index[2]});
      }
      if (face.corners.size() < 3) fail("a face needs at least three corners");
      faces.push_back(std::move(face));
    }
    // o, g, s, usemtl, mtllib and the rest do not change the geometry
  }
  if (faces.empty()) throw Error(path + ": the mesh has no faces");

  // Negative indices count back from the last element read so far; resolved
  // against the final lists, as a mesh is read whole before its faces are used.
  const auto resolve = [&](int index, std::size_t count, const char *what, int face_line) -> int {
    if (index == 0) return -1;
    const long long i = index > 0 ? index - 1LL : static_cast<long long>(count) + index;
    if (i < 0 || i >= static_cast<long long>(count)) {
      line = face_line;
      fail(std::string(what) + " index " + std::to_string(index) + " is out of range (" + std::to_string(count) +
           " in the file)");
    }
    return static_cast<int>(i);
  };
  Object o;
  if (!texcoords.empty()) o.textures.resize(1);
  for (const Face &face : faces) {
    std::vector<Corner> c;
    for (const Corner &k : face.corners)
      c.push_back({resolve(k.p, positions.size(), "vertex", face.line),
                   resolve(k.t, texcoords.size(), "texture vertex", face.line),
                   resolve(k.n, normals.size(), "normal", face.line)});
    for (std::size_t k = 1; k + 1 < c.size(); ++k) {
      const Corner tri[3] = {c[0], c[k], c[k + 1]};
      miVector p[3];
      for (int m = 0; m < 3; ++m) {
        p[m] = positions[tri[m].p] * scale + translate;
        if (!std::isfinite(p[m].x) || !std::isfinite(p[m].y) || !std::isfinite(p[m].z)) {
          line = face.line;
          fail("vertex " + std::to_string(tri[m].p + 1) + " lies beyond the largest float once scaled and moved");
        }
      }
      const miVector flat = normalize(cross(p[1] - p[0], p[2] - p[0]));
      for (int m = 0; m < 3; ++m) {
        o.points.push_back(p[m]);
        o.normals.push_back(tri[m].n >= 0 ? normalize(normals[tri[m].n]) : flat);
        if (!o.textures.empty()) o.textures[0].push_back(tri[m].t >= 0 ? texcoords[tri[m].t] : miVector{0, 0, 0});
      }
    }
  }
  return o;
}

}  // namespace tavo::host
