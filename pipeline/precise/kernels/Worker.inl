// The loop over blocks. A level's source includes this file inside its own unnamed namespace, after
// ColorStages.inl and Samples.inl.

// Up to whole vectors.
static_assert(kBlockPixels % kElements == 0);
constexpr int RoundUp(int pixels) {
  return (pixels + kElements - 1) / kElements * kElements;
}

// What a call needs to know besides the program.
struct Call {
  Layout sourceLayout, destinationLayout;
  Groups sourceGroups, destinationGroups;
  StageList stages;
  bool isTabled;     // samples of 8 bits are looked up
  bool divides;      // colour by alpha, before
  bool multiplies;   // after
  bool copiesAlpha;  // as the source stores it
  bool convertsAlpha;
  bool fillsAlpha;  // with 1
  bool readsAlpha;  // as numbers
};

Call Prepare(const Program& program, const SourceRun& source, const DestinationRun& destination,
             AlphaResult alpha) {
  const bool hasAlpha = source.samples[3] != nullptr,
             givesAlpha = destination.samples[3] != nullptr;
  const bool keepsAlpha = hasAlpha && givesAlpha && alpha == AlphaResult::kKept;
  const bool isInteger =
      destination.type == SampleType::kUInt8 || destination.type == SampleType::kUInt16;
  Call call;
  call.sourceLayout = LayoutOf(source);
  call.destinationLayout = LayoutOf(destination);
  // Only samples that are apart are taken in groups; a gap is not written over.
  if (call.sourceLayout == Layout::kApart) call.sourceGroups = GroupsOf(source);
  if (call.destinationLayout == Layout::kApart || call.destinationLayout == Layout::kThreeOfFour) {
    call.destinationGroups = GroupsOf(destination);
  }
  call.stages = isInteger ? program.forIntegers : program.forFloats;
  call.divides = hasAlpha && source.isAssociated;
  call.multiplies = keepsAlpha && destination.isAssociated;
  call.copiesAlpha = keepsAlpha && source.type == destination.type;
  call.convertsAlpha = keepsAlpha && source.type != destination.type;
  call.fillsAlpha = givesAlpha && !keepsAlpha;
  call.readsAlpha = call.divides || call.multiplies || call.convertsAlpha;
  call.isTabled = source.type == SampleType::kUInt8 && !call.divides;
  return call;
}

void LookUp(const float* table, const unsigned char* plane, float* values, int pixels) {
  for (int p = 0; p < pixels; p += kElements) {
    Store(values + p, FromLanes([&](int lane) {
            std::uint32_t levels;
            __builtin_memcpy(&levels, plane + p + kLaneElements * lane, sizeof levels);
            constexpr int kFirst = kIsLittleEndian ? 0 : 24, kStep = kIsLittleEndian ? 8 : -8;
            return LaneWords(LaneFloats{table[levels >> kFirst & 0xFF],
                                        table[levels >> (kFirst + kStep) & 0xFF],
                                        table[levels >> (kFirst + 2 * kStep) & 0xFF],
                                        table[levels >> (kFirst + 3 * kStep) & 0xFF]});
          }));
  }
}

// Colour under alpha 0 stays as it is. `factor` becomes what undoes the division.
void DivideByAlpha(PixelBlock& block, int pixels, BlockFloats& factor) {
  for (int p = 0; p < pixels; p += kElements) {
    const Floats alpha = Load<Floats>(block.alpha + p);
    const Floats divisor = Select(alpha > 0.0f, alpha, Splat(1));
    Store(factor.at + p, divisor);
    for (float* values : block.values) Store(values + p, Clip(Load<Floats>(values + p) / divisor));
  }
}

void Multiply(const float* factor, PixelBlock& block, int pixels) {
  for (int p = 0; p < pixels; p += kElements) {
    const Floats f = Load<Floats>(factor + p);
    for (float* values : block.values) Store(values + p, Load<Floats>(values + p) * f);
  }
}

template <int kSampleBytes>
struct alignas(64) Plane {
  unsigned char at[kSampleBytes * kBlockPixels];
};

// What a block needs besides its values. Colours that are floats stand where their values do.
struct Workspace {
  PixelBlock block;
  BlockFloats factor;
  Plane<2> colors[3];
  Plane<4> sourceAlpha, destinationAlpha;
};

Planes OwnPlanes(SampleType type, Workspace& space, Plane<4>& alpha) {
  Planes planes = {{space.colors[0].at, space.colors[1].at, space.colors[2].at, alpha.at}};
  if (type != SampleType::kFloat) return planes;
  for (int c = 0; c < 3; ++c) {
    planes.at[c] = reinterpret_cast<unsigned char*>(space.block.values[c]);
  }
  return planes;
}

// Zeros, which every stage can take, for the last vector of values.
template <int kSampleBytes>
KXCMS_INLINE void ClearLast(unsigned char* plane, int padded) {
  constexpr int kBytes = kSampleBytes * kElements;
  __builtin_memset(plane + kSampleBytes * padded - kBytes, 0, kBytes);
}
void ClearLast(SampleType type, const Planes& planes, int padded) {
  for (unsigned char* plane : planes.at) {
    switch (SizeOf(type)) {
      case 1:
        ClearLast<1>(plane, padded);
        break;
      case 2:
        ClearLast<2>(plane, padded);
        break;
      default:
        ClearLast<4>(plane, padded);
    }
  }
}

void ReadBlock(const Program& program, const Call& call, const SourceRun& source, int pixels,
               Workspace& space) {
  const int padded = RoundUp(pixels);
  const Planes own = OwnPlanes(source.type, space, space.sourceAlpha);
  const unsigned char* plane[4] = {own.at[0], own.at[1], own.at[2], own.at[3]};
  if (call.sourceLayout == Layout::kPlanes && pixels == padded) {
    for (int c = 0; c < 4; ++c) plane[c] = source.samples[c];
  } else {
    if (pixels != padded) ClearLast(source.type, own, padded);
    Gather(source, call.sourceLayout, call.sourceGroups, pixels, own);
  }
  for (int c = 0; c < 3; ++c) {
    if (call.isTabled) {
      LookUp(program.levels8[c], plane[c], space.block.values[c], padded);
    } else {
      ToValues(source.type, plane[c], space.block.values[c], padded);
    }
  }
  if (call.copiesAlpha && plane[3] != own.at[3]) {
    __builtin_memcpy(own.at[3], plane[3], static_cast<unsigned>(SizeOf(source.type) * pixels));
  }
  if (call.readsAlpha) ToValues(source.type, plane[3], space.block.alpha, padded);
  if (call.divides) DivideByAlpha(space.block, padded, space.factor);
}

void WriteBlock(const Call& call, const DestinationRun& destination, int pixels, Workspace& space) {
  if (call.multiplies) {
    Multiply(call.divides ? space.factor.at : space.block.alpha, space.block, RoundUp(pixels));
  }
  const SampleType type = destination.type;
  Planes planes = OwnPlanes(type, space, space.destinationAlpha);
  for (int c = 0; c < 3; ++c) {
    const auto* const values = reinterpret_cast<const unsigned char*>(space.block.values[c]);
    if (call.destinationLayout == Layout::kPlanes) planes.at[c] = destination.samples[c];
    if (planes.at[c] != values) FromValues(type, space.block.values[c], planes.at[c], pixels);
  }
  if (call.copiesAlpha) planes.at[3] = space.sourceAlpha.at;
  if (call.convertsAlpha) FromValues(type, space.block.alpha, planes.at[3], pixels);
  Scatter(planes, destination, call.destinationLayout, call.destinationGroups, pixels);
}

template <typename Byte>
void Advance(PixelRun<Byte>& run, int pixels) {
  for (Byte*& sample : run.samples) {
    if (sample != nullptr) sample += pixels * run.pixelStride;
  }
}

// Asks for the memory of the pixels of a run from `first` on, before `end`. The processor would
// begin to fetch it only when it is touched: a block is short, and the one before is long ago by
// then. Inline, because GCC drops calls of functions that do nothing else.
template <bool kWrites, typename Byte>
KXCMS_INLINE void Prefetch(const PixelRun<Byte>& run, int first, int end) {
  constexpr std::ptrdiff_t kLineBytes = 64;
  const bool isBackward = run.pixelStride < 0;
  const std::ptrdiff_t stride = isBackward ? -run.pixelStride : run.pixelStride;
  const std::ptrdiff_t step = stride > kLineBytes ? stride : kLineBytes;
  for (int c = 0; c < 4; ++c) {
    Byte* const samples = run.samples[c];
    if (samples == nullptr) continue;
    const std::ptrdiff_t beside = samples - run.samples[0];
    if (c > 0 && beside > -kLineBytes && beside < kLineBytes) continue;
    for (std::ptrdiff_t at = first * stride; at < end * stride; at += step) {
      __builtin_prefetch(isBackward ? samples - at : samples + at, kWrites);
    }
  }
}

// Takes a whole block through the stages from `first` on, and before each asks for a part of the
// memory that is touched next: where the results go, and the pixels that come after the block.
void RunStages(const StageList& list, int first, PixelBlock& block, const DestinationRun& results,
               const SourceRun& next, int nextPixels) {
  const int stages = list.count - first;
  const int atOnce = stages > 0 ? (kBlockPixels + stages - 1) / stages : 0;
  for (int n = 0; n < stages; ++n) {
    const int from = n * atOnce, to = from + atOnce;
    Prefetch<true>(results, from, Least(to, kBlockPixels));
    Prefetch<false>(next, from, Least(to, nextPixels));
    RunStage(list.stages[first + n], block, kBlockPixels);
  }
}

void Convert(const Program& program, const SourceRun& source, const DestinationRun& destination,
             AlphaResult alpha, std::int64_t count) {
  const Call call = Prepare(program, source, destination, alpha);
  const int first = call.isTabled ? program.tabledStages : 0;
  SourceRun from = source;
  DestinationRun to = destination;
  Workspace space;
  if (call.fillsAlpha) {
    const int filled = static_cast<int>(Least<std::int64_t>(count, kBlockPixels));
    for (int p = 0; p < filled; ++p) space.block.alpha[p] = 1;
    FromValues(to.type, space.block.alpha, space.destinationAlpha.at, filled);
  }
  while (count > 0) {
    const int pixels = static_cast<int>(Least<std::int64_t>(count, kBlockPixels));
    ReadBlock(program, call, from, pixels, space);
    count -= pixels;
    const int nextPixels = static_cast<int>(Least<std::int64_t>(count, kBlockPixels));
    // Past the last pixel there is nothing to point to.
    if (nextPixels > 0) Advance(from, pixels);
    if (pixels == kBlockPixels) {
      RunStages(call.stages, first, space.block, to, from, nextPixels);
    } else {
      RunStages(call.stages, first, space.block, RoundUp(pixels));
    }
    WriteBlock(call, to, pixels, space);
    if (nextPixels > 0) Advance(to, pixels);
  }
}

void Run(const StageList& stages, PixelBlock& block, int pixels) {
  RunStages(stages, 0, block, RoundUp(pixels));
}
