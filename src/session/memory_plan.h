#pragma once

#include <array>
#include <cstdint>

namespace zolt {

/// Bytes that a stage family wants of a burst's block: `head` is kept over the burst, `scratch` only while
/// the stage runs. In 64 bits: a frame that no 32-bit block could hold must not wrap round to a small one.
/// Exact for frames of up to 2^32 pixels.
struct MemSize {
  int64_t head;
  int64_t scratch;
};

/// The aligned frame and what registration keeps from frame to frame.
int64_t RegistrationHead(int32_t width, int32_t height);
MemSize RegistrationMemSize(int32_t width, int32_t height);
MemSize GhostMemSize(int32_t width, int32_t height);
MemSize DenoiseMemSize(int32_t width, int32_t height);
MemSize FusionMemSize(int32_t width, int32_t height);

/// All of a burst: the temporal and spatial stages' scratch may run over the registration and ghost parts of
/// the head, which are free again by then, so only what goes beyond them counts.
MemSize PublicMemSizes(int32_t width, int32_t height, bool planar, bool fusion_configured);

/// Named places in a burst's block. Those of the head lie one behind the other; the last three are where
/// stages may write freely, and two of them run over parts of the head that are dead by then.
enum RegionName : int32_t {
  kFirstFrame,        ///< planar, never modified: what a lost burst falls back to
  kChromaPlanes,      ///< U and V of an interleaved frame, within one call; empty for planar bursts
  kWeightMap,         ///< frames folded per pixel
  kAlignedFrame,      ///< planar, within one call
  kRegistrationData,  ///< features of the reference, from frame to frame
  kGhostMap,          ///< within one call, but the burst's last frame may meet the one before's
  kScratch,           ///< of registration and ghost detection
  kLastFrameScratch,  ///< of the spatial stages: from the aligned frame to the block's end
  kFusionScratch,     ///< of the fusion, which reads the aligned frame while it runs: from behind it
  kRegionCount,
};

struct Region {
  uint64_t offset;
  uint64_t size;
};

/// A burst's block, cut up.
struct MemoryPlan {
  uint64_t block_size;  ///< what the hook is asked for
  uint64_t head_size;   ///< a multiple of 16; the scratch starts there
  std::array<Region, kRegionCount> regions;

  const Region& operator[](RegionName name) const { return regions[name]; }
};

/// Fills `plan`. False when the block would not fit the hook's 32 bits, or when a region would reach past the
/// block's end or a lasting one into the scratch.
bool MakeMemoryPlan(int32_t width, int32_t height, bool planar, bool fusion_configured, MemoryPlan* plan);

/// The check that MakeMemoryPlan makes of its own table.
bool RegionsFit(const MemoryPlan& plan);

}  // namespace zolt
