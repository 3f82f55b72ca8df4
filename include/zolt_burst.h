/*
 * zolt_burst: one clean picture out of several noisy ones of the same scene.
 *
 * The layer above zolt_mfdenoise that takes pictures as people have them: planes with strides, RGB, any size
 * from 16 x 16. It measures the noise, picks the reference, aligns the frames to hundredths of a pixel,
 * leaves out those that don't fit and tells what it did. Plain C99, usable from C++11 and later.
 *
 * Records: the first field of every record is its size in bytes, set by the caller (the _init functions and
 * the describing helpers do it), so that records can grow: a library that is newer than its caller reads and
 * writes no more than that. All records of one array have the same size.
 *
 * Threads: any thread may call at any time; calls that compute are put in order inside, one after another.
 * One zolt_burst must not be used by two threads at once. A call has ended its own threads when it returns.
 *
 * Results: the same input gives the same bytes on every processor and every run.
 */
#ifndef ZOLT_BURST_H
#define ZOLT_BURST_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define ZOLT_BURST_API __attribute__((visibility("default")))
#else
#define ZOLT_BURST_API
#endif

/* ---- results ---- */

enum {
  ZOLT_BURST_OK = 0,
  ZOLT_BURST_BAD_ARGUMENT = 1, /* null where that is not allowed, or an option out of its range */
  ZOLT_BURST_BAD_PICTURE = 2,  /* a picture's planes, sides or strides can't be: see zolt_burst_picture */
  ZOLT_BURST_UNLIKE_SIZES = 3, /* a frame or the output differs in width or height from the first frame */
  ZOLT_BURST_NO_FRAMES = 4,    /* nothing to work on: no frame has been added */
  ZOLT_BURST_NO_MEMORY = 5,    /* memory was refused, by the hooks or the system */
  ZOLT_BURST_MEMORY_LIMIT = 6, /* the burst needs more than options.memory_limit in any mode */
  ZOLT_BURST_BAD_TUNING = 7, /* no readable multiframe.xml in options.tuning_folder, or it switches all off */
  ZOLT_BURST_CANCELLED = 8,  /* the progress callback asked for it */
  ZOLT_BURST_NO_THREADS = 9  /* threads can't be started */
};

/* What a result means, in English; a text for any number. Owned by the library. */
ZOLT_BURST_API const char* zolt_burst_error_text(int32_t result);

/* "1.2.70": of the library that runs. Owned by the library. */
ZOLT_BURST_API const char* zolt_burst_version(void);

/* ---- pictures ---- */

enum {
  ZOLT_BURST_GREY = 0,   /* planes[0]: luma */
  ZOLT_BURST_YUV420 = 1, /* planes[0]: Y; [1], [2]: U, V of (width + 1) / 2 x (height + 1) / 2 samples */
  ZOLT_BURST_RGB = 2     /* planes[0..2]: red, green, blue; [3]: alpha or null */
};

/*
 * A picture in the caller's memory: 8 bits a sample, full range; YUV is BT.601 with chroma between the luma
 * samples, as in JPEG.
 *
 * planes        first sample of the upper left pixel. Interleaved forms are planes that start side by side:
 * NV21 has V at the first chroma byte and U one behind, RGB has red, green, blue at bytes 0, 1, 2. row_stride
 * bytes from a row to the next; may be negative (bottom-up), never 0 with more than one row. pixel_stride
 * bytes from a sample to the next in its row: 1 side by side, 2 in NV12's chroma, 3 in RGB; may be negative.
 * Either stride may be the larger one, but samples must not share bytes.
 *
 * Alpha is not read, but copied from the reference to an output that has it too; an output's alpha is 255 if
 * the frames have none.
 */
typedef struct zolt_burst_picture {
  uint32_t size;
  int32_t layout; /* ZOLT_BURST_GREY, _YUV420, _RGB */
  int32_t width;  /* pixels, 16 or more */
  int32_t height;
  uint8_t* planes[4]; /* frames are only read */
  ptrdiff_t row_stride[4];
  ptrdiff_t pixel_stride[4];
} zolt_burst_picture;

/* Describe common forms. Strides in bytes; row_stride 0: rows without padding. */
ZOLT_BURST_API zolt_burst_picture zolt_burst_grey(const uint8_t* pixels, int32_t width, int32_t height,
                                                  ptrdiff_t row_stride);
/* order: "RGB", "BGR", "RGBA", "BGRA", "ARGB", "ABGR"; any other gives a picture without planes, which every
 * call refuses. */
ZOLT_BURST_API zolt_burst_picture zolt_burst_rgb(const uint8_t* pixels, int32_t width, int32_t height,
                                                 ptrdiff_t row_stride, const char* order);
/* Android's YUV_420_888 as it is: row and pixel stride of U and V are equal there. */
ZOLT_BURST_API zolt_burst_picture zolt_burst_yuv420(const uint8_t* y, const uint8_t* u, const uint8_t* v,
                                                    int32_t width, int32_t height, ptrdiff_t y_row_stride,
                                                    ptrdiff_t uv_row_stride, ptrdiff_t uv_pixel_stride);
/* One block: Y, then chroma, without padding; order "I420", "YV12", "NV12" or "NV21", any other gives a
 * picture that every call refuses. */
ZOLT_BURST_API zolt_burst_picture zolt_burst_yuv420_block(const uint8_t* block, int32_t width, int32_t height,
                                                          const char* order);

/* ---- options ---- */

enum {
  ZOLT_BURST_FAST = 0, /* merged and filtered at the frames' own size */
  ZOLT_BURST_FINE =
      1 /* merged at twice the size: keeps more texture, full-size chroma; slower, more memory */
};

enum {
  ZOLT_BURST_FUSION_AUTO = 0, /* a last frame of brighter exposure is fused; a darker one is left out */
  ZOLT_BURST_FUSION_OFF = 1   /* a last frame of another exposure is left out */
};

/* The caller's allocator: `pool` names the user, `flags` is always 0. `alloc` returns null to refuse. Only
 * called on the thread that is inside a call of this library. Both or neither. */
typedef struct zolt_burst_hooks {
  void* (*alloc)(uint32_t size, const char* pool, uint32_t flags);
  void (*free)(void* block, const char* pool, uint32_t flags);
} zolt_burst_hooks;

/* `done` rises from 0 to 1. Nonzero cancels: the call returns ZOLT_BURST_CANCELLED soon. On the caller's
 * thread, which holds the library's order: it must not call this library. */
typedef int (*zolt_burst_progress)(void* user, double done);

typedef struct zolt_burst_options {
  uint32_t size;
  int32_t mode; /* ZOLT_BURST_FAST (default) or ZOLT_BURST_FINE */
  int32_t iso;  /* 0 (default): the measured noise chooses the tuning's band; above: the band of this ISO */
  int32_t reference; /* -1 (default): the sharpest of the first frames; else the index of the frame */
  int32_t fusion;    /* ZOLT_BURST_FUSION_AUTO (default) or _OFF */
  int32_t keep_all;  /* nonzero: blurred frames take part too; others can't */
  /* Frames that will be added, 2 to 10, or 0 (default): not known. With `reference` 0 and the number known,
   * each zolt_burst_add merges its frame at once and none is kept; the noise is measured from the first two
   * then. */
  int32_t expected_frames;
  uint64_t memory_limit;     /* bytes that a burst may take, 0 (default): no limit */
  const char* tuning_folder; /* folder of multiframe.xml; null (default): the built-in tunings, of which mode
                              * and fusion choose */
  zolt_burst_hooks hooks;    /* null, null (default): the system's malloc and free */
  zolt_burst_progress progress;
  void* progress_user;
} zolt_burst_options;

ZOLT_BURST_API void zolt_burst_options_init(zolt_burst_options* options);

/* ---- reports ---- */

enum {
  ZOLT_BURST_USED = 0,           /* merged */
  ZOLT_BURST_IS_REFERENCE = 1,   /* the others are aligned to it */
  ZOLT_BURST_FUSED = 2,          /* brighter last frame, fused in */
  ZOLT_BURST_BLURRED = 3,        /* left out: clearly less sharp than the reference */
  ZOLT_BURST_OTHER_EXPOSURE = 4, /* left out: brighter or darker than the reference */
  ZOLT_BURST_OTHER_SCENE = 5,    /* left out: does not align, or shows something else */
  ZOLT_BURST_MOVED = 6,          /* left out: too much of it moved */
  ZOLT_BURST_TOO_MANY = 7        /* left out: ten others are better */
};

/* "used", "reference", "blurred", ...; owned by the library. */
ZOLT_BURST_API const char* zolt_burst_use_text(int32_t use);

typedef struct zolt_burst_frame_report {
  uint32_t size;
  int32_t use;     /* ZOLT_BURST_USED to _TOO_MANY */
  float sharpness; /* gradient energy above the noise's own, relative to the reference's */
  float shift_x;   /* where the frame shows the reference's middle, in pixels from its own middle */
  float shift_y;
  float moved_share;  /* share of the overlap that moved in the scene, 0 to 1 */
  float gain;         /* brightness relative to the reference's, mean luma */
  float milliseconds; /* time spent on this frame */
} zolt_burst_frame_report;

typedef struct zolt_burst_report {
  uint32_t size;
  int32_t mode;           /* as it ran: fine falls back to fast where it does not fit */
  int32_t fell_back;      /* nonzero: fine was asked for, fast ran */
  int32_t frames;         /* given */
  int32_t merged;         /* in the result, with the reference and a fused frame */
  int32_t reference;      /* index */
  int32_t noise_measured; /* nonzero: the five fields below hold; else iso was named and they are 0 */
  float luma_sigma;       /* of one frame, grey levels */
  float chroma_sigma;     /* of U and V */
  float blotchiness;      /* 1: white; about 2: coarse blotches */
  float texture;          /* of the scene, grey levels */
  int32_t iso;            /* named, or what the measured noise amounts to in the tuning */
  int32_t band;           /* of the tuning, 1 to 8 */
  int32_t fused;          /* nonzero: the last frame was fused in */
  uint64_t peak_memory;   /* bytes that this burst held at once beside the caller's own */
  float milliseconds;     /* of all calls for this burst */
} zolt_burst_report;

ZOLT_BURST_API void zolt_burst_report_init(zolt_burst_report* report);
ZOLT_BURST_API void zolt_burst_frame_report_init(zolt_burst_frame_report* report);

/* ---- one call ---- */

/*
 * Cleans a burst.
 *
 * frames   `count` pictures, 1 or more, all of one width and height; layouts may differ. Only read.
 * options  or null for the defaults.
 * output   describes where the result goes: same width and height, any layout. Bytes between its samples and
 * rows stay as they are. May be one of the frames' memory. Written last: untouched on any error. report   or
 * null. frame_reports  `count` records or null, of one size, each with its `size` set.
 *
 * More than ten frames are more than the merge takes: the best ten are chosen. A single frame, or one that no
 * other fits, is filtered alone.
 */
ZOLT_BURST_API int32_t zolt_burst_denoise(const zolt_burst_picture* frames, int32_t count,
                                          const zolt_burst_options* options, const zolt_burst_picture* output,
                                          zolt_burst_report* report, zolt_burst_frame_report* frame_reports);

/* Upper bound in bytes of what such a burst takes beside the caller's pictures; 0 for a size or mode that
 * can't be. The frames that zolt_burst_add keeps are counted. */
ZOLT_BURST_API uint64_t zolt_burst_memory_needed(int32_t width, int32_t height, int32_t frames, int32_t mode);

/* ---- noise alone ---- */

/* Measures the noise of 1 or more frames of one scene (the first four are looked at; one alone gives a rough
 * value). Fills the fields noise_measured, luma_sigma, chroma_sigma, blotchiness, texture, iso, band and
 * frames of the report. */
ZOLT_BURST_API int32_t zolt_burst_measure_noise(const zolt_burst_picture* frames, int32_t count,
                                                const zolt_burst_options* options, zolt_burst_report* report);

/* ---- frame by frame ---- */

typedef struct zolt_burst zolt_burst;

/* Opens a burst; `options` are copied, or null. `*burst` receives a handle that zolt_burst_close ends; null
 * on failure. */
ZOLT_BURST_API int32_t zolt_burst_open(zolt_burst** burst, const zolt_burst_options* options);

/* Adds a frame, which is read during the call only. On an error the burst is as it was before. */
ZOLT_BURST_API int32_t zolt_burst_add(zolt_burst* burst, const zolt_burst_picture* frame);

/* Ends the burst: the same result as zolt_burst_denoise gives for the frames that were added. The burst is
 * empty then, whatever the result, and takes frames anew; its memory is kept for them. `frame_reports` has
 * room for `capacity` records, those of further frames are dropped. */
ZOLT_BURST_API int32_t zolt_burst_finish(zolt_burst* burst, const zolt_burst_picture* output,
                                         zolt_burst_report* report, zolt_burst_frame_report* frame_reports,
                                         int32_t capacity);

/* Drops the frames that were added. */
ZOLT_BURST_API void zolt_burst_reset(zolt_burst* burst);

/* Ends the handle, which may be null. */
ZOLT_BURST_API void zolt_burst_close(zolt_burst* burst);

/* ---- frame after frame of a video ---- */

/*
 * Each frame of a video is the reference of a burst of its own: the `window` frames around it, of which
 * `delay` come after it. At the ends of a shot the window moves inward, and it never crosses a cut. Frames
 * that don't align, are blurred, of another exposure or mostly moved are left out of a burst, as always. The
 * bytes of a result are those of zolt_burst_denoise for the window's frames with the same mode, the frame as
 * `reference`, fusion off and the report's `iso`.
 *
 * Frames go in by push, results come out by pull, one for each frame in the same order. As soon as one is
 * ready it should be pulled: only what waits to be pulled and window - 1 frames before are kept.
 */
typedef struct zolt_burst_stream zolt_burst_stream;

typedef struct zolt_burst_stream_options {
  uint32_t size;
  int32_t window; /* frames merged for one result, 2 to 10; 5 by default */
  /* Frames of the window that come after the frame at hand, 0 to window - 1. 0: the past only, for live use.
   * No frame waits for more than that; the first ones of a shot have smaller windows then. -1 (default):
   * window / 2, and the first frames of a shot wait until window - 1 others came. */
  int32_t delay;
  /* mode, iso, memory_limit, tuning_folder, hooks and progress (of one pull) count. iso 0: measured at the
   * start of a shot, then followed slowly, so that the picture does not flicker. fusion, reference, keep_all
   * and expected_frames are not used. */
  zolt_burst_options burst;
} zolt_burst_stream_options;

ZOLT_BURST_API void zolt_burst_stream_options_init(zolt_burst_stream_options* options);

/* Opens a stream; `options` are copied, or null. `*stream` receives a handle that zolt_burst_stream_close
 * ends; null on failure. */
ZOLT_BURST_API int32_t zolt_burst_stream_open(zolt_burst_stream** stream,
                                              const zolt_burst_stream_options* options);

/* Upper bound in bytes of what a stream takes beside the caller's pictures if each result is pulled as soon
 * as it is ready; 0 for a size, window or mode that can't be. */
ZOLT_BURST_API uint64_t zolt_burst_stream_memory_needed(int32_t width, int32_t height, int32_t window,
                                                        int32_t mode);

/* Takes the next frame, which is copied. ZOLT_BURST_UNLIKE_SIZES for another size than before: pull what is
 * left after zolt_burst_stream_end, or flush, first. On an error the stream is as it was before. */
ZOLT_BURST_API int32_t zolt_burst_stream_push(zolt_burst_stream* stream, const zolt_burst_picture* frame);

/* No frame follows: all that are left become ready. A later push begins anew and shares no window with them.
 */
ZOLT_BURST_API int32_t zolt_burst_stream_end(zolt_burst_stream* stream);

/* Results that can be pulled now; 0 for null. */
ZOLT_BURST_API int32_t zolt_burst_stream_ready(const zolt_burst_stream* stream);

/* Computes the next result. ZOLT_BURST_NO_FRAMES if none is ready. `output` of the frames' size, any layout;
 * null: the result is skipped and nothing computed, for a frame that comes too late; its frame still serves
 * the others. `report` or null; `frame_reports`, of the window's frames, has room for `capacity` records or
 * is null; neither is written for a skipped result. On an error the output is untouched and the result can be
 * pulled again or skipped. */
ZOLT_BURST_API int32_t zolt_burst_stream_pull(zolt_burst_stream* stream, const zolt_burst_picture* output,
                                              zolt_burst_report* report,
                                              zolt_burst_frame_report* frame_reports, int32_t capacity);

/* Drops all frames and what was not pulled, as after a seek. */
ZOLT_BURST_API void zolt_burst_stream_flush(zolt_burst_stream* stream);

/* Ends the handle, which may be null. */
ZOLT_BURST_API void zolt_burst_stream_close(zolt_burst_stream* stream);

#ifdef __cplusplus
}
#endif

#endif /* ZOLT_BURST_H */
