// Forwarding entries with variable arguments. A thunk cannot know how many
// arguments such a call carries, so these entries read them and build the
// renderer call themselves.
#include "binding/binding.h"
#include "binding/variadic.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace {

using QueryFn = miBoolean (*)(int, miState *, miTag, void *, ...);
using SceneCreateFn = void *(*)(miTag *, int, ...);
using MessageFn = void (*)(const char *, ...);
using NumberedMessageFn = void (*)(int, const char *, ...);

template <typename Fn>
Fn target(TavoSlot slot)
{
    return reinterpret_cast<Fn>(tavo_binding_target(slot));
}

constexpr std::size_t message_size = 1024;

// Length to keep of s[0..n) so that it does not end inside a UTF-8 sequence.
std::size_t utf8_cut(const char *s, std::size_t n)
{
    std::size_t start = n;
    std::size_t continuation = 0;
    while (start > 0 && continuation < 3 && (static_cast<unsigned char>(s[start - 1]) & 0xC0) == 0x80) {
        --start;
        ++continuation;
    }
    if (start == 0)
        return n;
    const unsigned char lead = static_cast<unsigned char>(s[start - 1]);
    const std::size_t length = lead >= 0xF0 && lead < 0xF8 ? 4
                             : lead >= 0xE0 && lead < 0xF0 ? 3
                             : lead >= 0xC0 && lead < 0xE0 ? 2
                             : 1;
    return continuation + 1 < length ? start - 1 : n;
}

// The text handed to the renderer in place of its format. The renderer formats
// it once more, so every '%' of the finished text goes over doubled and prints
// as itself. What the renderer prints is cut to 1023 bytes: at the last whole
// character, never inside a UTF-8 sequence or between the two halves of "%%".
__attribute__((format(printf, 2, 0)))
void renderer_text(char (&out)[message_size], const char *format, va_list args)
{
    if (format == nullptr) { // nothing to format: the renderer gets an empty message
        out[0] = '\0';
        return;
    }
    char text[message_size];
    const int full = std::vsnprintf(text, sizeof text, format, args);
    std::size_t length = 0;
    bool cut = false;
    if (full > 0) {
        length = static_cast<std::size_t>(full) < sizeof text ? static_cast<std::size_t>(full) : sizeof text - 1;
        cut = static_cast<std::size_t>(full) > length;
    }

    std::size_t o = 0;
    for (std::size_t i = 0; i < length; ++i) {
        const std::size_t need = text[i] == '%' ? 2 : 1;
        if (o + need > message_size - 1) {
            cut = true;
            break;
        }
        out[o++] = text[i];
        if (text[i] == '%')
            out[o++] = '%';
    }
    if (cut)
        o = utf8_cut(out, o);
    out[o] = '\0';
}

// Resolve first, format afterwards; a message whose renderer function cannot
// be found is dropped (the resolver has already reported it on stderr).
__attribute__((format(printf, 2, 0)))
void forward_message(TavoSlot slot, const char *format, va_list args)
{
    const MessageFn fn = target<MessageFn>(slot);
    if (fn == nullptr)
        return;
    char text[message_size];
    renderer_text(text, format, args);
    fn(text);
}

__attribute__((format(printf, 3, 0)))
void forward_numbered_message(TavoSlot slot, int number, const char *format, va_list args)
{
    const NumberedMessageFn fn = target<NumberedMessageFn>(slot);
    if (fn == nullptr)
        return;
    char text[message_size];
    renderer_text(text, format, args);
    fn(number, text);
}

} // namespace

TAVO_EXPORT miBoolean mi_query(int code, miState *state, miTag tag, void *result, ...)
{
    const QueryFn fn = target<QueryFn>(tavo_slot_mi_query);
    if (fn == nullptr)
        return miFALSE;

    va_list args;
    va_start(args, result);
    // Only codes 15 and 127 carry a fifth argument; for any other code the
    // caller may have passed none, so none is read.
    miBoolean answer;
    if (code == 15) {
        const int extra = va_arg(args, int);
        answer = fn(code, state, tag, result, extra);
    } else if (code == miQ_FUNC_TLS_GETALL) {
        void *const extra = va_arg(args, void *);
        answer = fn(code, state, tag, result, extra);
    } else {
        answer = fn(code, state, tag, result);
    }
    va_end(args);
    return answer;
}

TAVO_EXPORT void *mi_scene_create(miTag *tag, int type, ...)
{
    const SceneCreateFn fn = target<SceneCreateFn>(tavo_slot_mi_scene_create);
    if (fn == nullptr)
        return nullptr;

    // Arguments are read into locals first: their order in a call is unspecified.
    va_list args;
    va_start(args, type);
    void *created;
    if (type == 51) {
        const int a = va_arg(args, int);
        const int b = va_arg(args, int);
        const int c = va_arg(args, int);
        void *const p = va_arg(args, void *);
        created = fn(tag, type, a, b, c, p);
    } else {
        void *const p = type == 40 ? va_arg(args, void *) : nullptr;
        int v[8];
        for (int &value : v)
            value = va_arg(args, int);
        if (type == 40)
            created = fn(tag, type, p, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]);
        else
            created = fn(tag, type, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]);
    }
    va_end(args);
    return created;
}

#define TAVO_MESSAGE_ENTRY(name)                                                                   \
    TAVO_EXPORT void name(const char *format, ...)                                                 \
    {                                                                                              \
        va_list args;                                                                              \
        va_start(args, format);                                                                    \
        forward_message(tavo_slot_##name, format, args);                                           \
        va_end(args);                                                                              \
    }

#define TAVO_NUMBERED_MESSAGE_ENTRY(name)                                                          \
    TAVO_EXPORT void name(int number, const char *format, ...)                                     \
    {                                                                                              \
        va_list args;                                                                              \
        va_start(args, format);                                                                    \
        forward_numbered_message(tavo_slot_##name, number, format, args);                         \
        va_end(args);                                                                              \
    }

TAVO_MESSAGE_ENTRY(mi_fatal)
TAVO_MESSAGE_ENTRY(mi_error)
TAVO_MESSAGE_ENTRY(mi_warning)
TAVO_MESSAGE_ENTRY(mi_info)
TAVO_MESSAGE_ENTRY(mi_progress)
TAVO_MESSAGE_ENTRY(mi_debug)
TAVO_MESSAGE_ENTRY(mi_vdebug)
TAVO_NUMBERED_MESSAGE_ENTRY(mi_nfatal)
TAVO_NUMBERED_MESSAGE_ENTRY(mi_nerror)
TAVO_NUMBERED_MESSAGE_ENTRY(mi_nwarning)
