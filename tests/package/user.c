/* Denoises two grey frames through the installed library, as the first program of someone who just installed
 * it. */
#include <stdio.h>
#include <string.h>
#include <zolt_mfdenoise.h>

enum { WIDTH = 64, HEIGHT = 64, BYTES = WIDTH * HEIGHT * 3 / 2 };

int main(int argc, char** argv) {
  static uint8_t frame[BYTES], result[BYTES];
  MfSession* session = 0;
  int32_t first, last, i;
  if (argc != 2 || zolt_mfInitialize(&session, argv[1], 0) != ZOLT_MF_OK) return 1;
  memset(frame, 100, BYTES);
  first = zolt_mfNoiseReduction(session, frame, result, HEIGHT, WIDTH, ZOLT_MF_TAG_FIRST, 2,
                                ZOLT_MF_FORMAT_NV21, 800, 0);
  last = zolt_mfNoiseReduction(session, frame, result, HEIGHT, WIDTH, ZOLT_MF_TAG_LAST, 2,
                               ZOLT_MF_FORMAT_NV21, 800, 0);
  zolt_mfUnInitialize(session);
  for (i = 0; i < BYTES; ++i) {
    if (result[i] != 100) return 2;
  }
  printf("%d %d\n", first, last);
  return first == ZOLT_MF_OK && last == ZOLT_MF_OK ? 0 : 3;
}
