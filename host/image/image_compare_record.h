/* What crosses from the renderer core into the image module when two images
 * are compared: the thresholds in, the figures out. Plain C. */
#ifndef TAVO_IMAGE_COMPARE_RECORD_H
#define TAVO_IMAGE_COMPARE_RECORD_H

typedef struct TavoImageComparison {
  /* in */
  double fail_threshold, warn_threshold, scale;
  /* out: the two images' sizes, then the figures (when the sizes agree) */
  int width, height, channels;
  int other_width, other_height, other_channels;
  double mean_error, rms_error, psnr, max_error;
  int max_x, max_y, max_channel;
  long long failing, warning; /* pixels with a channel over each threshold */
} TavoImageComparison;

#endif
