#ifndef KXCMS_PIPELINE_PRECISE_KERNELS_PRECISEKERNELS_H
#define KXCMS_PIPELINE_PRECISE_KERNELS_PRECISEKERNELS_H

#include <cstdint>

#include "pipeline/precise/PixelRun.h"
#include "pipeline/precise/Stages.h"

// The kernels of precise conversion. All levels do the same operations in the same order on every
// value, without fused multiply-add, so that they give the same bits.
//
//   PreciseKernels.cpp    chooses the level, once
//   PrecisePortable.cpp   one level each: vector width, and what only its instructions can do
//   PreciseAvx2.cpp
//   PreciseAvx512.cpp
//   FloatVectors.inl      vectors of pixels, in the compilers' vector extension
//   ChannelStages.inl            stages that work channel by channel
//   ColorStages.inl            stages that mix the channels: grid, matrices, CIE Lab
//   Samples.inl           samples <-> values
//   Worker.inl        the loop over blocks

namespace kxcms {

struct PreciseKernels {
  /// Converts `count` pixels. The runs may be the same where their types and strides are; apart
  /// from that they must not overlap. Nothing but their samples is read or written.
  void (*convert)(const Program& program, const SourceRun& source,
                  const DestinationRun& destination, AlphaResult alpha, std::int64_t count);
  /// Takes the first `pixels` pixels of a block through stages, and up to a vector of those behind.
  void (*run)(const StageList& stages, PixelBlock& block, int pixels);
};

/// The kernels of the chosen instruction-set level.
const PreciseKernels& ChosenPreciseKernels();

extern const PreciseKernels kPrecisePortable;
extern const PreciseKernels kPreciseAvx2;
extern const PreciseKernels kPreciseAvx512;

}  // namespace kxcms

#endif
