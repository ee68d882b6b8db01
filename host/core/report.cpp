#include "report.h"

#include <cstdio>
#include <cmath>
#include <cstring>

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

void field_lines(std::string &out, const Type &record, const std::string &indent) {
  for (const Field &f : record.fields) {
    out += indent + f.type.name() + " " + f.name;
    if (!f.default_words.empty()) out += " = " + default_text(f);
    out += "\n";
    const Type *inner = f.type.kind == Kind::Array ? f.type.element.get() : &f.type;
    if (inner->kind == Kind::Struct) field_lines(out, *inner, indent + "    ");
  }
}

std::string type_json(const Type &type);

std::string fields_json(const Type &record, bool with_defaults) {
  std::string out = "[";
  bool first = true;
  for (const Field &f : record.fields) {
    out += std::string(first ? "" : ", ") + "{\"name\": " + json_string(f.name) + ", \"type\": " + type_json(f.type);
    if (with_defaults && !f.default_words.empty()) out += ", \"default\": " + json_string(default_text(f));
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
    out += "  parameters:" + std::string(d.parameters.fields.empty() ? " none" : "") + "\n";
    field_lines(out, d.parameters, "    ");
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
           ", \"parameters\": " + fields_json(d.parameters, true) + ", \"result\": " + type_json(d.result) +
           phenomenon_json(d) + "}" +
           (i + 1 < functions.size() ? ",\n" : "\n");
  }
  return out + "]\n";
}

}  // namespace tavo::host
