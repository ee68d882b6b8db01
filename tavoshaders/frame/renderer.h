/* The renderer interface as the shaders of this library see it: value types,
 * the per-ray state, the renderer operations and the two host functions.
 * Everything the library reads from or asks of the outside world is declared
 * here and nowhere else; the reference host includes this header too, so both
 * sides agree on every layout. Plain C, so that any renderer-side tool can use it. */
#ifndef TAVO_FRAME_RENDERER_H
#define TAVO_FRAME_RENDERER_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- value types --------------------------------------------------------- */

typedef int          miBoolean;
typedef int          miInteger;
typedef unsigned int miUint;
typedef float        miScalar;
typedef unsigned int miTag;
typedef miScalar     miMatrix[16];

#define miFALSE   0
#define miTRUE    1
#define miNULLTAG 0u

typedef struct miVector { miScalar x, y, z; } miVector;
typedef struct miColor  { miScalar r, g, b, a; } miColor;

/* Ray types the shaders test for (the state's `type`). */
enum {
    miRAY_EYE            = 0,
    miRAY_TRANSPARENT    = 1,
    miRAY_REFLECT        = 2,
    miRAY_REFRACT        = 3,
    miRAY_LIGHT          = 4,
    miRAY_SHADOW         = 5,
    miRAY_ENVIRONMENT    = 6,
    miRAY_PROBE          = 7,   /* the child state of mi_trace_probe: never shaded */
    miRAY_FINALGATHER    = 20,
    miRAY_LM_MESH        = 22
};

/* Shader types handed to mi_call_shader / mi_call_shader_x. */
enum {
    miSHADER_MATERIAL    = 4,
    miSHADER_TEXTURE     = 6,
    miSHADER_LIGHTMAP    = 13
};

/* mi_query codes the library uses. */
enum {
    miQ_NUM_TEXTURES     = 82,  /* out: miInteger, texture-coordinate vectors in the state */
    miQ_FUNC_USERPTR     = 51,  /* out: void **, the instance's user-pointer slot */
    miQ_PIXEL_SAMPLE     = 116, /* out: four miIntegers: pixel x, pixel y, sample, samples per pixel */
    miQ_FUNC_TLS_GETALL  = 127, /* out: void ** array, then (variadic) miInteger * count */
    miQ_DECAL_PROJECTION = 140, /* out: miInteger, 1 when decals can be projected at the state */
    miQ_ENVIRONMENT_MODE = 142  /* out: miInteger, 0 for what the camera sees, 1 for lighting lookups */
};

/* Lifetimes handed to mi_shaderstate_set. */
enum {
    miSHADERSTATE_LIFETIME_STATE  = 0, /* until the state it was set on is done */
    miSHADERSTATE_LIFETIME_TILE   = 1, /* until the thread finishes its image tile */
    miSHADERSTATE_LIFETIME_SAMPLE = 2  /* until the sample is done */
};

/* Kinds of mi_tri_vectors: the hit triangle's vertex data. */
enum {
    miTRI_NORMALS        = 'n', /* 110: vertex normals */
    miTRI_POINTS         = 'p', /* 112: vertex positions */
    miTRI_TEXTURES       = 't'  /* 116: texture vectors of one texture space */
};

/* ---- renderer records ---------------------------------------------------- */

/* The renderer's record of a running shader instance (a "function"). */
typedef struct miFunction {
    miTag     tag;        /* the instance's own database tag */
    miTag     decl;       /* the tag of its declaration */
    miInteger ghost_offs; /* bytes from a parameter to its connection word; 0: no connections */
    miInteger parameter_size;
} miFunction;

typedef struct miCamera {
    miScalar  focal;
    miScalar  aperture;
    miScalar  aspect;
    miInteger x_resolution;
    miInteger y_resolution;
    miBoolean orthographic;
} miCamera;

typedef struct miOptions {
    miBoolean trace;            /* ray tracing on */
    miInteger reflection_depth;
    miInteger refraction_depth;
    miInteger trace_depth;
} miOptions;

typedef struct miState miState;

/* The per-ray state. The renderer owns it; shaders read it and, where their
 * contract says so, change a field and restore it. */
struct miState {
    /* ray */
    miInteger   type;              /* one of miRAY_* */
    miInteger   reflection_level;
    miInteger   refraction_level;
    miState    *parent;
    miState    *child;
    miVector    org;               /* ray origin */
    miVector    dir;               /* ray direction */
    miScalar    dist;              /* distance to the hit, 0 when none */
    /* hit */
    miVector    point;
    miVector    normal;
    miVector    normal_geom;
    miScalar    dot_nd;
    miBoolean   inv_normal;
    miTag       instance;
    miTag       material;
    void       *pri;               /* the hit primitive (box) */
    miInteger   pri_idx;           /* the hit primitive's index within it */
    miScalar    bary[4];           /* barycentric coordinates of the hit */
    miVector   *tex_list;          /* texture-coordinate vectors */
    miInteger   raster_x;
    miInteger   raster_y;
    /* scene and shader */
    miCamera   *camera;
    miOptions  *options;
    miFunction *shader;            /* the shader that is running */
    miInteger   thread;
    void       *renderer;          /* the renderer's own per-sample data */
    /* appended */
    miInteger   texture_spaces;    /* vectors at tex_list; shaders ask mi_query 82 */
};

/* Settings of an elliptical filtered texture lookup. Callers set the four
 * named fields; the spare ones are never read. */
typedef struct miTexfilter {
    miScalar  eccmax;        /* largest major/minor axis ratio; below 1: no limit */
    miScalar  max_minor;     /* most texels along the minor axis (picks the mip level) */
    miScalar  circle_radius; /* smallest axis, in texels */
    miBoolean bilinear;      /* blend two mip levels; bilinear fallback */
    miScalar  spare[10];
} miTexfilter;

/* An image as the renderer keeps it; reached through mi_db_access. */
typedef struct miImg_image miImg_image;

/* ---- renderer operations ------------------------------------------------- */

void     *mi_phen_eval(miState *state, void *parameter);
miBoolean mi_query(int code, miState *state, miTag tag, void *result, ...);
void     *mi_mem_int_allocate(const char *file, int line, size_t size);
void      mi_mem_int_release(const char *file, int line, void *block);
miBoolean mi_call_shader(miColor *result, int type, miState *state, miTag shader);
miBoolean mi_call_shader_x(miColor *result, int type, miState *state, miTag shader, void *arg);
miScalar  mi_spline(miScalar t, int n, miScalar *control);

/* database and images */
void     *mi_db_access(miTag tag);
void      mi_db_unpin(miTag tag);
int       mi_img_get_width(const miImg_image *image);
int       mi_img_get_height(const miImg_image *image);

/* textures */
miBoolean mi_lookup_color_texture(miColor *color, miState *state, miTag tex, miVector *coord);
miBoolean mi_lookup_filter_color_texture(miColor *color, miState *state, miTag tex, miTexfilter *paras, miMatrix ST);
miBoolean mi_texture_filter_project(miVector p[3], miVector t[3], miState *state, miScalar disc_r, miUint space);
miBoolean mi_texture_filter_transform(miMatrix ST, miVector p[3], miVector t[3]);

/* rays */
miBoolean mi_trace_eye(miColor *result, miState *state, miVector *origin, miVector *direction);
miBoolean mi_trace_reflection(miColor *result, miState *state, miVector *direction);
miBoolean mi_trace_refraction(miColor *result, miState *state, miVector *direction);
miBoolean mi_trace_transparent(miColor *result, miState *state);
miBoolean mi_trace_probe(miState *state, miVector *direction, miVector *origin);
miBoolean mi_tri_vectors(miState *state, int which, int ntex, miVector **a, miVector **b, miVector **c);

/* shader state and caches */
void      mi_flush_cache(miState *state);
miBoolean mi_shaderstate_set(miState *state, const char *key, void *value, int size, int lifetime);
void     *mi_shaderstate_get(miState *state, const char *key, int *size);
void      mi_warning(const char *format, ...) __attribute__((format(printf, 1, 2)));
void      mi_error(const char *format, ...) __attribute__((format(printf, 1, 2)));

/* ---- host application ---------------------------------------------------- */

/* The host's scene record: 32-bit fields counted from 0. Only the named fields
 * are read; the others belong to the host. */
typedef struct SceneData {
    miInteger scene_flag;                    /*  0 */
    miInteger host_1_20[20];                 /*  1 .. 20 */
    miInteger passthrough_value;             /* 21 */
    miScalar  unit_scale;                    /* 22: metres per scene unit */
    miInteger host_23_24[2];                 /* 23 .. 24 */
    miScalar  blurred_reflection_multiplier; /* 25 */
    miScalar  blurred_refraction_multiplier; /* 26 */
    miInteger area_shadow_samples;           /* 27 */
    miInteger host_28_31[4];                 /* 28 .. 31 */
} SceneData;

SceneData *GetSceneData(miState *state);
miBoolean  CallMaterial(miColor *result, miState *state, miTag material, int zero);

#ifdef __cplusplus
} /* extern "C" */

static_assert(offsetof(SceneData, passthrough_value) == 21 * 4, "scene record field 21");
static_assert(offsetof(SceneData, unit_scale) == 22 * 4, "scene record field 22");
static_assert(offsetof(SceneData, blurred_reflection_multiplier) == 25 * 4, "scene record field 25");
static_assert(offsetof(SceneData, area_shadow_samples) == 27 * 4, "scene record field 27");
#endif

#endif
