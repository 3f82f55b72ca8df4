/*
 * zolt_mfdenoise: multi-frame noise reduction of a camera burst.
 *
 * A session takes a burst of 2 to 10 YUV 4:2:0 frames of one scene, one call per frame, and builds one image
 * that is less noisy than any single frame in the caller's own result buffer. Plain C99, usable from C++11
 * and later.
 *
 * Threads: all calls are synchronous; every thread that a call starts has ended when it returns. The hooks,
 * the halved mode and the worker pools are shared by the whole process, so no two calls may run at once, not
 * even for two sessions.
 */
#ifndef ZOLT_MFDENOISE_H
#define ZOLT_MFDENOISE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define ZOLT_MF_API __attribute__((visibility("default")))
#else
#define ZOLT_MF_API
#endif

/* Result codes of the three functions. */
enum {
  ZOLT_MF_OK = 0,
  /* Width or height is no multiple of 8 or below 64, or differs from the burst's first frame: nothing has
     changed. From a later frame of the burst's own size: a worker thread ran out of memory, and the burst is
     lost. */
  ZOLT_MF_BAD_SIZE = 1,
  /* The tuning file switches noise reduction off for this ISO: the result holds the first frame. */
  ZOLT_MF_OFF = 2,
  /* The tuning file can't be loaded; a later frame without a first one; threads can't be started. */
  ZOLT_MF_LOAD_FAILURE = -997,
  /* An argument is out of its range. Nothing has changed. */
  ZOLT_MF_BAD_ARGUMENT = -998,
  /* Memory was refused, by the hooks or the system. */
  ZOLT_MF_NO_MEMORY = -1000
};

/* Layouts of a frame of width x height pixels: width * height bytes of luma, then the chroma, no padding
 * anywhere, 3 * width * height / 2 bytes in all. */
enum {
  ZOLT_MF_FORMAT_NV21 = 0, /* interleaved chroma, V first */
  ZOLT_MF_FORMAT_NV12 = 1, /* interleaved chroma, U first */
  ZOLT_MF_FORMAT_I420 = 2  /* a plane of U, then a plane of V */
};

/* Place of a frame in its burst. */
enum { ZOLT_MF_TAG_FIRST = 0, ZOLT_MF_TAG_MIDDLE = 1, ZOLT_MF_TAG_LAST = 2 };

/* Allocator of the caller. `pool` names the user ("mfdenoise" or "surf_reg"), `flags` is always 0. `alloc`
 * gets the size in bytes and returns null to refuse, which the library survives; the block need not be
 * cleared. Both are only called on the thread that is inside one of the three functions. */
typedef struct MfAllocHooks {
  void* (*alloc)(uint32_t size, const char* pool, uint32_t flags);
  void (*free)(void* block, const char* pool, uint32_t flags);
} MfAllocHooks;

/* What a caller may say of a frame beside its pixels. */
typedef struct MfFrameExtra {
  int32_t reserved; /* never read */
  /* Nonzero on the first frame: exposure fusion runs on the burst's last frame, whatever the tuning file
   * says; zero: it does not, and dropped frames (below) are possible. */
  int32_t eis_mode;
  /* 0: the frame takes part. 1: it is dropped, and from then on frame_total counts half of the frames
   * delivered. */
  int32_t frame_kind;
  int32_t frame_index; /* index in the full sequence of frames, counted by the caller from 0 */
} MfFrameExtra;

typedef struct MfSession MfSession;

/*
 * Opens a session and reads its tuning file.
 *
 * session_out  receives the session, which the library owns until zolt_mfUnInitialize; written on success
 *              only.
 * path         folder of "multiframe.xml", ending in its own slash; null, or 480 characters and more: the
 *              file is looked up by its bare name. A folder of 242 to 479 characters makes too long a name.
 * hooks        allocator, or null for malloc and free; also taken when either pointer is null. The latest
 *              choice serves every session of the process and must stay callable as long as one is open.
 *              Null: blocks of 4 MB and more that were given back wait for the next burst until the last
 *              session ends, never more than a burst takes at once. An idle session should be ended.
 *
 * ZOLT_MF_OK, ZOLT_MF_LOAD_FAILURE (no file, under 200 bytes, malformed), ZOLT_MF_NO_MEMORY, or
 * ZOLT_MF_BAD_ARGUMENT (session_out is null).
 */
ZOLT_MF_API int32_t zolt_mfInitialize(MfSession** session_out, const char* path, const MfAllocHooks* hooks);

/*
 * Takes one frame of a burst.
 *
 * session       from zolt_mfInitialize.
 * image_src     the frame: 3 * width * height / 2 bytes in `format`; only read, and only during the call.
 * image_result  a buffer of the same size, the same one for every frame of a burst: it holds the running
 *               result between the calls, planar whatever the format, and the finished image in `format`
 *               when the last frame's call returned 0. The first frame does not touch it. Must not overlap
 *               image_src.
 * height, width pixels: multiples of 8, 64 or more, the same for every frame of a burst.
 * frame_tag     ZOLT_MF_TAG_FIRST starts a burst, from any state; then MIDDLE, and LAST for the last frame.
 * frame_total   frames of the burst, 2 to 10. With 2 the second frame is the last whatever its tag.
 * format        ZOLT_MF_FORMAT_...
 * iso           sensitivity, 0 or more; the first frame's selects the tuning.
 * extra         or null.
 *
 * ZOLT_MF_OK; ZOLT_MF_BAD_SIZE (a size that is not allowed or not the burst's), ZOLT_MF_BAD_ARGUMENT and
 * ZOLT_MF_LOAD_FAILURE (no burst is running) change nothing. Any other result of a later frame (ZOLT_MF_OFF,
 * ZOLT_MF_NO_MEMORY, ZOLT_MF_BAD_SIZE though the size is the burst's when a worker ran out of memory,
 * ZOLT_MF_LOAD_FAILURE when threads can't be started) loses the burst: image_result then holds the burst's
 * first frame in `format`, every further frame returns the same code, and the last one puts itself into
 * image_result. A new first frame starts afresh.
 */
ZOLT_MF_API int32_t zolt_mfNoiseReduction(MfSession* session, const uint8_t* image_src, uint8_t* image_result,
                                          int32_t height, int32_t width, int32_t frame_tag,
                                          int32_t frame_total, uint32_t format, int32_t iso,
                                          const MfFrameExtra* extra);

/* Ends a session and gives back all that it holds; the session may be null. Always ZOLT_MF_OK. */
ZOLT_MF_API int32_t zolt_mfUnInitialize(MfSession* session);

#ifdef __cplusplus
}
#endif

#endif /* ZOLT_MFDENOISE_H */
