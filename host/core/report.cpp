#include "report.h"

#include <cstdio>
#include <cmath>
#include <cstring>
#include <functional>

#include "values.h"

namespace tavo::host {

std::string json_string(const std::string &text) {
  std::string out = "\"";
  for (const char c : text) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\t': out += "\\t"; break;
      case '\r': out += "\\r"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char escape[8];
          std::snprintf(escape, sizeof escape, "\\u%04x", c);
          out += escape;
        } else {
          out += c;
        }
    }
  }
  return out + "\"";
}

namespace {

float scalar_at(const std::byte *p) {
  float v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

std::string json_scalar(float v) {
  const std::string text = format_scalar(v);
  return std::isfinite(v) ? text : "\"" + text + "\"";
}

std::string json_scalars(const std::byte *p, int n) {
  std::string out = "[";
  for (int i = 0; i < n; ++i) out += (i ? ", " : "") + json_scalar(scalar_at(p + 4 * i));
  return out + "]";
}

std::string default_text(const Field &f) {
  std::string out;
  for (const std::string &w : f.default_words) out += (out.empty() ? "" : " ") + w;
  return out;
}

using ControlOf = std::function<const Control *(std::string_view)>;

std::string number_text(double v) { return format_scalar(static_cast<float>(v)); }

// One line a field, with what the declarations tell a person about it: its
// description, range or values (one line each).
void field_lines(std::string &out, const Type &record, const std::string &indent, const ControlOf &control = {}) {
  for (const Field &f : record.fields) {
    out += indent + f.type.name() + " " + f.name;
    if (!f.default_words.empty()) out += " = " + default_text(f);
    const Control *c = control ? control(f.name) : nullptr;
    if (c && !c->description.empty()) out += ": " + c->description;
    if (c && c->values.empty() && !c->bounds().empty()) out += " (" + c->bounds() + ")";
    out += "\n";
    if (c)
      for (const EnumValue &v : c->values)
        out += indent + "    " + std::to_string(v.value) + (v.name.empty() ? "" : " " + v.name) +
               (v.meaning.empty() ? "" : ": " + v.meaning) + "\n";
    const Type *inner = f.type.kind == Kind::Array ? f.type.element.get() : &f.type;
    if (inner->kind == Kind::Struct) field_lines(out, *inner, indent + "    ");
  }
}

// `, "description": ..., "values": [...], "range": [min, max]` as far as the control says.
std::string control_json(const Control *c) {
  if (!c) return {};
  std::string out;
  if (!c->description.empty()) out += ", \"description\": " + json_string(c->description);
  if (!c->values.empty()) {
    out += ", \"values\": [";
    for (std::size_t i = 0; i < c->values.size(); ++i) {
      const EnumValue &v = c->values[i];
      out += std::string(i ? ", " : "") + "{\"value\": " + std::to_string(v.value) +
             ", \"meaning\": " + json_string(v.meaning) + (v.name.empty() ? "" : ", \"name\": " + json_string(v.name)) + "}";
    }
    out += "]";
  }
  if (c->minimum || c->maximum)
    out += ", \"range\": [" + (c->minimum ? number_text(*c->minimum) : "null") + ", " +
           (c->maximum ? number_text(*c->maximum) : "null") + "]";
  return out;
}

std::string type_json(const Type &type);

std::string fields_json(const Type &record, bool with_defaults, const ControlOf &control = {}) {
  std::string out = "[";
  bool first = true;
  for (const Field &f : record.fields) {
    out += std::string(first ? "" : ", ") + "{\"name\": " + json_string(f.name) + ", \"type\": " + type_json(f.type);
    if (with_defaults && !f.default_words.empty()) out += ", \"default\": " + json_string(default_text(f));
    if (control) out += control_json(control(f.name));
    out += "}";
    first = false;
  }
  return out + "]";
}

std::string type_json(const Type &type) {
  if (type.kind == Kind::Struct) return "{\"struct\": " + fields_json(type, true) + "}";
  if (type.kind == Kind::Array) return "{\"array\": " + type_json(*type.element) + "}";
  return json_string(type.name());
}

// `, "phenomenon": {...}` for a phenomenon: its shaders in order and its root.
std::string phenomenon_json(const ShaderDeclaration &d) {
  if (!d.phenomenon) return {};
  std::string out = ", \"phenomenon\": {\"shaders\": [";
  for (std::size_t i = 0; i < d.phenomenon->shaders.size(); ++i) {
    const PhenomenonShader &s = d.phenomenon->shaders[i];
    out += std::string(i ? ", " : "") + "{\"name\": " + json_string(s.name) + ", \"shader\": " + json_string(s.shader) + "}";
  }
  return out + "], \"root\": " + json_string(d.phenomenon->root) + "}";
}

}  // namespace

std::string json_value(const Type &type, const std::byte *value) {
  switch (type.kind) {
    case Kind::Scalar: return json_scalar(scalar_at(value));
    case Kind::Vector: return json_scalars(value, 3);
    case Kind::Color: return json_scalars(value, 4);
    case Kind::Transform: return json_scalars(value, 16);
    case Kind::Tag: {
      miTag tag;
      std::memcpy(&tag, value, sizeof tag);
      return std::to_string(tag);
    }
    case Kind::Boolean:
    case Kind::Integer: {
      miInteger v;
      std::memcpy(&v, value, sizeof v);
      return std::to_string(v);
    }
    case Kind::Struct: {
      std::string out = "{";
      for (std::size_t i = 0; i < type.fields.size(); ++i) {
        const Field &f = type.fields[i];
        out += (i ? ", " : "") + json_string(f.name) + ": " + json_value(f.type, value + f.offset);
      }
      return out + "}";
    }
    case Kind::Array: return "null";  // results hold no arrays
  }
  return "null";
}

namespace {

ControlOf controls_of(const Function &fn) {
  return [&fn](std::string_view parameter) { return Renderer::get().control(fn, parameter); };
}

}  // namespace

std::string declarations_text(const std::vector<const Function *> &functions) {
  std::string out;
  for (const Function *fn : functions) {
    const ShaderDeclaration &d = fn->decl;
    if (d.phenomenon) {
      out += d.name + "  (phenomenon:";
      for (const PhenomenonShader &s : d.phenomenon->shaders) out += " " + s.name + " = " + s.shader + ",";
      out += " root " + d.phenomenon->root + ")\n";
    } else {
      out += d.name + (fn->main ? "" : "  (not exported)") + "\n";
    }
    if (!d.description.empty()) out += "  " + d.description + "\n";
    out += "  parameters:" + std::string(d.parameters.fields.empty() ? " none" : "") + "\n";
    field_lines(out, d.parameters, "    ", controls_of(*fn));
    out += "  result: " + d.result.name() + "\n";
    if (d.result.kind == Kind::Struct) field_lines(out, d.result, "    ");
  }
  return out;
}

std::string declarations_json(const std::vector<const Function *> &functions) {
  std::string out = "[\n";
  for (std::size_t i = 0; i < functions.size(); ++i) {
    const Function *fn = functions[i];
    const ShaderDeclaration &d = fn->decl;
    out += "  {\"name\": " + json_string(d.name) + ", \"exported\": " + (fn->main ? "true" : "false") +
           ", \"version\": " + std::to_string(d.version) +
           (d.description.empty() ? "" : ", \"description\": " + json_string(d.description)) +
           ", \"parameters\": " + fields_json(d.parameters, true, controls_of(*fn)) + ", \"result\": " + type_json(d.result) +
           phenomenon_json(d) + "}" +
           (i + 1 < functions.size() ? ",\n" : "\n");
  }
  return out + "]\n";
}

}  // namespace tavo::host
