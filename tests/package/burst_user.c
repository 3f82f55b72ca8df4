/* Cleans a burst in the layout of Android's camera through the installed library: rows longer than the
 * picture, interleaved chroma. */
#include <stdio.h>
#include <string.h>
#include <zolt_burst.h>

enum { WIDTH = 162, HEIGHT = 121, ROW = 192, CHROMA_ROWS = (HEIGHT + 1) / 2, FRAMES = 4, GAP = 7 };

static uint8_t luma[FRAMES + 1][HEIGHT * ROW], chroma[FRAMES + 1][CHROMA_ROWS * ROW];

int main(void) {
  zolt_burst_picture pictures[FRAMES + 1];
  zolt_burst_report report;
  uint32_t random = 1;
  int i, x, y;
  for (i = 0; i <= FRAMES; ++i) {
    memset(luma[i], GAP, sizeof luma[i]);
    memset(chroma[i], 128, sizeof chroma[i]);
    for (y = 0; y < HEIGHT; ++y) {
      for (x = 0; x < WIDTH; ++x) {
        random = random * 1664525u + 1013904223u;
        luma[i][y * ROW + x] = (uint8_t)(40 + 30 * ((x / 9 + y / 7) % 5) + (random >> 28));
      }
    }
    pictures[i] = zolt_burst_yuv420(luma[i], chroma[i] + 1, chroma[i], WIDTH, HEIGHT, ROW, ROW, 2);
  }
  zolt_burst_report_init(&report);
  i = zolt_burst_denoise(pictures, FRAMES, 0, &pictures[FRAMES], &report, 0);
  printf("%s %s: %d of %d frames, sigma %.2f\n", zolt_burst_version(), zolt_burst_error_text(i),
         report.merged, report.frames, (double)report.luma_sigma);
  if (i != ZOLT_BURST_OK || report.merged != FRAMES) return 1;
  for (y = 0; y < HEIGHT; ++y) {
    for (x = WIDTH; x < ROW; ++x) {
      if (luma[FRAMES][y * ROW + x] != GAP) return 2;
    }
  }
  return luma[FRAMES][ROW] == GAP ? 3 : 0;
}
