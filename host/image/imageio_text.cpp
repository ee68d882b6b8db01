// Text drawn into an image with OpenImageIO's text rendering (FreeType and
// the DejaVu fonts), for the captions of a rendered picture.
#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>

#include <exception>

#define TAVO_EXPORT extern "C" __attribute__((visibility("default")))

// Draws `text` centred on x with its baseline at y into rows (top first) of
// four floats a pixel, in `color` over a soft dark halo; 0 when the text
// cannot be drawn (no font).
TAVO_EXPORT int tavo_image_text(float *rgba, int width, int height, int x, int y, const char *text, int size,
                                const float *color) {
  try {
    OIIO::ImageBuf image(OIIO::ImageSpec(width, height, 4, OIIO::TypeDesc::FLOAT), rgba);
    const float halo[4] = {0.0f, 0.0f, 0.0f, 1.0f};
    const float ink[4] = {color[0], color[1], color[2], 1.0f};
    // the halo first, a pixel down and right, so that light text reads on light ground
    return OIIO::ImageBufAlgo::render_text(image, x + 1, y + 1, text, size, "DejaVuSans", halo,
                                           OIIO::ImageBufAlgo::TextAlignX::Center) &&
                   OIIO::ImageBufAlgo::render_text(image, x, y, text, size, "DejaVuSans", ink,
                                                   OIIO::ImageBufAlgo::TextAlignX::Center)
               ? 1
               : 0;
  } catch (const std::exception &) {
    return 0;
  }
}
