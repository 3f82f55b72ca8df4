#include "support/stage_doubles.h"

#include <cstring>

#include "noise/spatial_stage.h"
#include "noise/temporal_merge.h"

// The linker sends every call of a stage from another object file here (--wrap); these are the names that the
// compiler gives the functions.
#if __SIZEOF_LONG__ == 8
#define REGISTRATION "_ZN4zolt15ImgRegistrationEPNS_17RegistrationInputEPNS_11MotionModelEPhm"
#else
#define REGISTRATION "_ZN4zolt15ImgRegistrationEPNS_17RegistrationInputEPNS_11MotionModelEPhy"
#endif
#define GHOST "_ZN4zolt14GhostDetectionEPNS_15GhostStageInputERKNS_9GhostMaskE"
#define TEMPORAL "_ZN4zolt18TemporalNrMaincallERKNS_14NrStageContextERKNS_8YuvImageE"
#define SPATIAL_LOW "_ZN4zolt25SpatialNrLowLevelMainCallERKNS_14NrStageContextERKNS_8YuvImageE"
#define SPATIAL_HIGH "_ZN4zolt26SpatialNrHighLevelMainCallERKNS_14NrStageContextERKNS_8YuvImageE"
#define FUSION "_ZN4zolt14ExposureFusionERKNS_8YuvImageES2_RKNS_10FusionParaE"

namespace zolt::test {
namespace {

StageDoubles* current = nullptr;

}  // namespace

#define STAGE_DOUBLE(Name, SYMBOL, member, parameters, arguments)            \
  int32_t Real##Name parameters __asm__("__real_" SYMBOL);                   \
  int32_t Wrapped##Name parameters __asm__("__wrap_" SYMBOL);                \
  int32_t Wrapped##Name parameters {                                         \
    if (current == nullptr || !current->member) return Real##Name arguments; \
    return current->member arguments;                                        \
  }

STAGE_DOUBLE(Registration, REGISTRATION, registration,
             (RegistrationInput * request, MotionModel* model, uint8_t* arena, uint64_t arena_size),
             (request, model, arena, arena_size))
STAGE_DOUBLE(Ghost, GHOST, ghost, (GhostStageInput * input, const GhostMask& mask), (input, mask))
STAGE_DOUBLE(Temporal, TEMPORAL, temporal, (const NrStageContext& context, const YuvImage& output),
             (context, output))
STAGE_DOUBLE(SpatialLow, SPATIAL_LOW, spatial_low, (const NrStageContext& context, const YuvImage& image),
             (context, image))
STAGE_DOUBLE(SpatialHigh, SPATIAL_HIGH, spatial_high, (const NrStageContext& context, const YuvImage& image),
             (context, image))
STAGE_DOUBLE(Fusion, FUSION, fusion,
             (const YuvImage& image, const YuvImage& aligned, const FusionPara& fusion),
             (image, aligned, fusion))

StageDoubles::StageDoubles() {
  current = this;
}
StageDoubles::~StageDoubles() {
  current = nullptr;
}

void StageDoubles::FoldOnly() {
  registration = [](RegistrationInput*, MotionModel*, uint8_t*, uint64_t) { return 3; };
  ghost = [](GhostStageInput* input, const GhostMask& mask) {
    const YuvImage& size = input->images.images[0];
    std::memset(mask.map, 0, static_cast<size_t>(size.width) * static_cast<size_t>(size.height));
    *mask.count = 0;
    return 0;
  };
  spatial_low = [](const NrStageContext&, const YuvImage&) { return 0; };
  spatial_high = spatial_low;
  fusion = [](const YuvImage&, const YuvImage&, const FusionPara&) { return 0; };
}

}  // namespace zolt::test
