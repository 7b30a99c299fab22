// The loop over blocks. A level's source includes this file inside its own unnamed namespace, after
// ColorStages.inl and Samples.inl.

constexpr int RoundUp(int pixels) {
  return (pixels + kElements - 1) / kElements * kElements;
}

// What a call needs to know besides the program.
struct Call {
  Layout sourceLayout, destinationLayout;
  AlphaResult alpha;  ///< kOpaque, too, where the source has none
  bool divides, multiplies, readsAlpha;
  StageList stages;
  bool isTabled;  ///< 8-bit samples are looked up
};

Call Prepare(const Program& program, const SourceRun& source, const DestinationRun& destination,
             AlphaResult alpha) {
  Call call;
  const bool sourceHasAlpha = source.samples[3] != nullptr;
  const bool destinationHasAlpha = destination.samples[3] != nullptr;
  call.sourceLayout = LayoutOf(source);
  call.destinationLayout = LayoutOf(destination);
  call.alpha = sourceHasAlpha ? alpha : AlphaResult::kOpaque;
  const bool isKept = destinationHasAlpha && call.alpha == AlphaResult::kKept;
  call.divides = sourceHasAlpha && source.isAssociated;
  call.multiplies = isKept && destination.isAssociated;
  call.readsAlpha = call.divides || call.multiplies || (isKept && source.type != destination.type);
  const bool isInteger =
      destination.type == SampleType::kUInt8 || destination.type == SampleType::kUInt16;
  call.stages = isInteger ? program.forIntegers : program.forFloats;
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

void GatherSamples(const SourceRun& run, Layout layout, int pixels, const Planes& planes) {
  switch (SizeOf(run.type)) {
    case 1:
      return Gather<unsigned char>(run, layout, pixels, planes);
    case 2:
      return Gather<Sample16>(run, layout, pixels, planes);
    default:
      return Gather<Sample32>(run, layout, pixels, planes);
  }
}

void ScatterSamples(const Planes& planes, const DestinationRun& run, Layout layout, int pixels) {
  switch (SizeOf(run.type)) {
    case 1:
      return Scatter<unsigned char>(planes, run, layout, pixels);
    case 2:
      return Scatter<Sample16>(planes, run, layout, pixels);
    default:
      return Scatter<Sample32>(planes, run, layout, pixels);
  }
}

struct alignas(64) PlaneBytes {
  unsigned char at[4 * kBlockPixels];
};

// What a block needs besides its values.
struct Workspace {
  PixelBlock block;
  BlockFloats factor;
  PlaneBytes colors[3], sourceAlpha, destinationAlpha;
};

Planes PlanesOf(SampleType type, Workspace& space, PlaneBytes& alpha) {
  Planes planes = {{space.colors[0].at, space.colors[1].at, space.colors[2].at, alpha.at}};
  if (type != SampleType::kFloat) return planes;
  for (int c = 0; c < 3; ++c) {
    planes.bytes[c] = reinterpret_cast<unsigned char*>(space.block.values[c]);
  }
  return planes;
}

// Fills up to whole vectors with zeros, which every stage can take.
void Pad(unsigned char* plane, int size, int pixels) {
  const int missing = RoundUp(pixels) - pixels;
  if (missing == 0) return;
  __builtin_memset(plane + size * pixels, 0, static_cast<unsigned>(size * missing));
}

void ReadBlock(const Program& program, const Call& call, const SourceRun& source, int pixels,
               Workspace& space) {
  const int padded = RoundUp(pixels);
  const int size = SizeOf(source.type);
  Planes planes = PlanesOf(source.type, space, space.sourceAlpha);
  GatherSamples(source, call.sourceLayout, pixels, planes);
  for (int c = 0; c < 3; ++c) {
    Pad(planes.bytes[c], size, pixels);
    if (call.isTabled) {
      LookUp(program.levels8[c], planes.bytes[c], space.block.values[c], padded);
    } else {
      ToValues(source.type, planes.bytes[c], space.block.values[c], padded);
    }
  }
  if (!call.readsAlpha) return;
  Pad(planes.bytes[3], size, pixels);
  if (source.type == SampleType::kFloat) {
    __builtin_memcpy(space.block.alpha, planes.bytes[3], sizeof space.block.alpha);
  }
  ToValues(source.type, planes.bytes[3], space.block.alpha, padded);
  if (call.divides) DivideByAlpha(space.block, padded, space.factor);
}

void WriteBlock(const Call& call, SampleType sourceType, const DestinationRun& destination,
                int pixels, Workspace& space) {
  const int padded = RoundUp(pixels);
  if (call.multiplies) {
    Multiply(call.divides ? space.factor.at : space.block.alpha, space.block, padded);
  }
  Planes planes = PlanesOf(destination.type, space, space.destinationAlpha);
  for (int c = 0; c < 3; ++c) {
    FromValues(destination.type, space.block.values[c], planes.bytes[c], padded);
  }
  if (destination.samples[3] != nullptr && call.alpha == AlphaResult::kKept) {
    if (sourceType == destination.type) {
      planes.bytes[3] = space.sourceAlpha.at;
    } else if (destination.type == SampleType::kFloat) {
      planes.bytes[3] = reinterpret_cast<unsigned char*>(space.block.alpha);
    } else {
      FromValues(destination.type, space.block.alpha, planes.bytes[3], padded);
    }
  }
  ScatterSamples(planes, destination, call.destinationLayout, pixels);
}

template <typename Byte>
void Advance(PixelRun<Byte>& run, int pixels) {
  for (Byte*& sample : run.samples) {
    if (sample != nullptr) sample += pixels * run.pixelStride;
  }
}

void Convert(const Program& program, const SourceRun& source, const DestinationRun& destination,
             AlphaResult alpha, std::int64_t count) {
  const Call call = Prepare(program, source, destination, alpha);
  SourceRun from = source;
  DestinationRun to = destination;
  Workspace space;
  if (destination.samples[3] != nullptr && call.alpha == AlphaResult::kOpaque) {
    // The same for all blocks.
    for (float& value : space.block.alpha) value = 1;
    if (destination.type == SampleType::kFloat) {
      __builtin_memcpy(space.destinationAlpha.at, space.block.alpha, sizeof space.block.alpha);
    }
    FromValues(destination.type, space.block.alpha, space.destinationAlpha.at, kBlockPixels);
  }
  while (count > 0) {
    const int pixels = count < kBlockPixels ? static_cast<int>(count) : kBlockPixels;
    ReadBlock(program, call, from, pixels, space);
    RunStages(call.stages, call.isTabled ? program.tabledStages : 0, space.block, RoundUp(pixels));
    WriteBlock(call, source.type, to, pixels, space);
    count -= pixels;
    if (count == 0) return;
    Advance(from, pixels);
    Advance(to, pixels);
  }
}

void Run(const StageList& stages, PixelBlock& block) {
  RunStages(stages, 0, block, kBlockPixels);
}
