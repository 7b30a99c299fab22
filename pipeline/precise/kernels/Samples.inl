// Samples of any type and layout <-> values of a block. A level's source includes this file inside
// its own unnamed namespace, after Arithmetic.inl.
//
// Samples pass through planes, one array a channel: what they are and where they lie are matters
// of their own. Loops that the compilers turn into vectors by themselves are left to them.

using Sample16 = std::uint16_t __attribute__((may_alias));
using Sample32 = std::uint32_t __attribute__((may_alias));

// One array a channel, R, G, B and alpha, for samples of any type.
struct Planes {
  unsigned char* bytes[4];

  template <typename Sample>
  Sample* Of(int channel) const {
    return reinterpret_cast<Sample*>(bytes[channel]);
  }
};

constexpr int SizeOf(SampleType type) {
  return type == SampleType::kUInt8 ? 1 : type == SampleType::kFloat ? 4 : 2;
}

// ---- Where samples lie --------------------------------------------------------------------------

enum class Layout { kPlanes, kThree, kFour, kApart };

// Whether samples lie at the given pointers' positions 0 to count - 1, in any order.
template <typename Byte>
bool AreTogether(Byte* const (&samples)[4], int count, int size) {
  Byte* first = samples[0];
  for (int c = 1; c < count; ++c) first = samples[c] < first ? samples[c] : first;
  unsigned taken = 0;
  for (int c = 0; c < count; ++c) {
    const std::ptrdiff_t distance = samples[c] - first;
    if (distance % size != 0 || distance >= count * size) return false;
    taken |= 1u << (distance / size);
  }
  return taken + 1 == 1u << count;
}

template <typename Byte>
Layout LayoutOf(const PixelRun<Byte>& run) {
  const int size = SizeOf(run.type);
  if (run.pixelStride == size) return Layout::kPlanes;
  if (run.pixelStride == 3 * size && AreTogether(run.samples, 3, size) &&
      run.samples[3] == nullptr) {
    return Layout::kThree;
  }
  if (run.pixelStride == 4 * size && run.samples[3] != nullptr &&
      AreTogether(run.samples, 4, size)) {
    return Layout::kFour;
  }
  return Layout::kApart;
}

// The first of samples that lie together, and their planes in the order of their addresses.
template <typename Sample, typename Byte>
struct Interleaved {
  Byte* first;
  Sample* plane[4];
};
template <typename Sample, int kCount, typename Byte>
KXCMS_INLINE Interleaved<Sample, Byte> Order(Byte* const (&samples)[4], const Planes& planes) {
  Interleaved<Sample, Byte> order = {samples[0], {}};
  for (int c = 1; c < kCount; ++c)
    order.first = samples[c] < order.first ? samples[c] : order.first;
  for (int c = 0; c < kCount; ++c) {
    order.plane[(samples[c] - order.first) / static_cast<int>(sizeof(Sample))] =
        planes.Of<Sample>(c);
  }
  return order;
}

template <typename Sample>
KXCMS_INLINE Sample Read(const unsigned char* from) {
  Sample sample;
  __builtin_memcpy(&sample, from, sizeof sample);
  return sample;
}
template <typename Sample>
KXCMS_INLINE void Write(unsigned char* to, Sample sample) {
  __builtin_memcpy(to, &sample, sizeof sample);
}

template <typename Sample>
void GatherThree(const unsigned char* __restrict from, Sample* __restrict a, Sample* __restrict b,
                 Sample* __restrict c, int pixels) {
  constexpr int kSize = sizeof(Sample);
  for (int p = 0; p < pixels; ++p) {
    a[p] = Read<Sample>(from + 3 * kSize * p);
    b[p] = Read<Sample>(from + 3 * kSize * p + kSize);
    c[p] = Read<Sample>(from + 3 * kSize * p + 2 * kSize);
  }
}

template <typename Sample>
void ScatterThree(const Sample* __restrict a, const Sample* __restrict b,
                  const Sample* __restrict c, unsigned char* __restrict to, int pixels) {
  constexpr int kSize = sizeof(Sample);
  for (int p = 0; p < pixels; ++p) {
    Write(to + 3 * kSize * p, a[p]);
    Write(to + 3 * kSize * p + kSize, b[p]);
    Write(to + 3 * kSize * p + 2 * kSize, c[p]);
  }
}

template <typename Sample>
void GatherFour(const unsigned char* __restrict from, Sample* __restrict a, Sample* __restrict b,
                Sample* __restrict c, Sample* __restrict d, int pixels) {
  constexpr int kSize = sizeof(Sample);
  for (int p = 0; p < pixels; ++p) {
    a[p] = Read<Sample>(from + 4 * kSize * p);
    b[p] = Read<Sample>(from + 4 * kSize * p + kSize);
    c[p] = Read<Sample>(from + 4 * kSize * p + 2 * kSize);
    d[p] = Read<Sample>(from + 4 * kSize * p + 3 * kSize);
  }
}

template <typename Sample>
void ScatterFour(const Sample* __restrict a, const Sample* __restrict b, const Sample* __restrict c,
                 const Sample* __restrict d, unsigned char* __restrict to, int pixels) {
  constexpr int kSize = sizeof(Sample);
  for (int p = 0; p < pixels; ++p) {
    Write(to + 4 * kSize * p, a[p]);
    Write(to + 4 * kSize * p + kSize, b[p]);
    Write(to + 4 * kSize * p + 2 * kSize, c[p]);
    Write(to + 4 * kSize * p + 3 * kSize, d[p]);
  }
}

// Samples at any distance, as many at a time as a register takes.
template <typename Sample>
void GatherApart(const unsigned char* from, std::ptrdiff_t stride, Sample* plane, int pixels) {
  constexpr int kGroup = 8 / sizeof(Sample);
  int p = 0;
  for (; p + kGroup <= pixels; p += kGroup, from += kGroup * stride) {
    std::uint64_t group = 0;
#pragma GCC unroll 8
    for (int i = 0; i < kGroup; ++i) {
      const auto sample = static_cast<std::uint64_t>(Read<Sample>(from + i * stride));
      const int at = kIsLittleEndian ? i : kGroup - 1 - i;
      group |= sample << (8 * static_cast<int>(sizeof(Sample)) * at);
    }
    __builtin_memcpy(plane + p, &group, sizeof group);
  }
  for (; p < pixels; ++p, from += stride) plane[p] = Read<Sample>(from);
}

template <typename Sample>
void ScatterApart(const Sample* plane, unsigned char* to, std::ptrdiff_t stride, int pixels) {
  constexpr int kGroup = 8 / sizeof(Sample);
  int p = 0;
  for (; p + kGroup <= pixels; p += kGroup, to += kGroup * stride) {
    std::uint64_t group;
    __builtin_memcpy(&group, plane + p, sizeof group);
#pragma GCC unroll 8
    for (int i = 0; i < kGroup; ++i) {
      const int at = kIsLittleEndian ? i : kGroup - 1 - i;
      Write(to + i * stride,
            static_cast<Sample>(group >> (8 * static_cast<int>(sizeof(Sample)) * at)));
    }
  }
  for (; p < pixels; ++p, to += stride) Write(to, plane[p]);
}

template <typename Sample>
void Gather(const SourceRun& run, Layout layout, int pixels, const Planes& planes) {
  constexpr int kSize = sizeof(Sample);
  if (layout == Layout::kThree) {
    const auto [first, plane] = Order<Sample, 3>(run.samples, planes);
    return GatherThree(first, plane[0], plane[1], plane[2], pixels);
  }
  if (layout == Layout::kFour) {
    const auto [first, plane] = Order<Sample, 4>(run.samples, planes);
    return GatherFour(first, plane[0], plane[1], plane[2], plane[3], pixels);
  }
  for (int c = 0; c < 4; ++c) {
    const unsigned char* from = run.samples[c];
    if (from == nullptr || planes.bytes[c] == nullptr) continue;
    if (layout == Layout::kPlanes) {
      __builtin_memcpy(planes.bytes[c], from, static_cast<unsigned>(kSize * pixels));
      continue;
    }
    GatherApart(from, run.pixelStride, planes.Of<Sample>(c), pixels);
  }
}

template <typename Sample>
void Scatter(const Planes& planes, const DestinationRun& run, Layout layout, int pixels) {
  constexpr int kSize = sizeof(Sample);
  if (layout == Layout::kThree) {
    const auto [first, plane] = Order<Sample, 3>(run.samples, planes);
    return ScatterThree(plane[0], plane[1], plane[2], first, pixels);
  }
  if (layout == Layout::kFour) {
    const auto [first, plane] = Order<Sample, 4>(run.samples, planes);
    return ScatterFour(plane[0], plane[1], plane[2], plane[3], first, pixels);
  }
  for (int c = 0; c < 4; ++c) {
    unsigned char* to = run.samples[c];
    if (to == nullptr) continue;
    if (layout == Layout::kPlanes) {
      __builtin_memcpy(to, planes.bytes[c], static_cast<unsigned>(kSize * pixels));
      continue;
    }
    ScatterApart(planes.Of<Sample>(c), to, run.pixelStride, pixels);
  }
}

// ---- What samples are ---------------------------------------------------------------------------

// IEEE 754 binary16 to binary32, exactly.
KXCMS_INLINE float FromHalf(std::uint32_t half) {
  const std::uint32_t magnitude = half & 0x7FFF;
  constexpr std::uint32_t kRebias = (127 - 15) << 23;
  // Infinities and what is no number have the largest exponent in both forms.
  const std::uint32_t number = (magnitude << 13) + (magnitude < 0x7C00 ? kRebias : 2 * kRebias);
  const float small = static_cast<float>(static_cast<std::int32_t>(magnitude)) * 0x1p-24f;
  const std::uint32_t bits = magnitude < 0x400 ? __builtin_bit_cast(std::uint32_t, small) : number;
  return __builtin_bit_cast(float, bits | (half & 0x8000) << 16);
}

// To the nearest, halves to even; what is too large becomes infinite.
KXCMS_INLINE std::uint32_t ToHalf(float x) {
  const std::uint32_t bits = __builtin_bit_cast(std::uint32_t, x);
  const std::uint32_t magnitude = bits & 0x7FFFFFFF;
  constexpr std::uint32_t kRebias = (127 - 15) << 23;
  const std::uint32_t number = (magnitude - kRebias + 0xFFF + (magnitude >> 13 & 1)) >> 13;
  // Below 2^-14, halves are multiples of 2^-24, as floats from 1/2 to 1 are.
  const float shifted = __builtin_bit_cast(float, magnitude) + 0.5f;
  const std::uint32_t small = __builtin_bit_cast(std::uint32_t, shifted) - 0x3F000000;
  const std::uint32_t finite = magnitude < 0x38800000 ? small : number;
  const std::uint32_t large = magnitude > 0x7F800000 ? 0x7E00 : 0x7C00;
  return (magnitude < 0x47800000 ? finite : large) | (bits >> 16 & 0x8000);
}

// A plane's samples as values in [0, 1]. A plane of floats is the array of values itself.
void ToValues(SampleType type, const unsigned char* plane, float* __restrict values, int pixels) {
  switch (type) {
    case SampleType::kUInt8: {
      for (int p = 0; p < pixels; ++p) values[p] = static_cast<float>(plane[p]) * (1.0f / 255);
      return;
    }
    case SampleType::kUInt16: {
      const auto* const samples = reinterpret_cast<const Sample16*>(plane);
      for (int p = 0; p < pixels; ++p) values[p] = static_cast<float>(samples[p]) * (1.0f / 65535);
      return;
    }
    case SampleType::kHalf: {
      const auto* const samples = reinterpret_cast<const Sample16*>(plane);
      for (int p = 0; p < pixels; ++p) values[p] = FromHalf(samples[p]);
      break;
    }
    case SampleType::kFloat:
      break;
  }
  for (int p = 0; p < pixels; p += kElements) Store(values + p, Clip(Load<Floats>(values + p)));
}

// Values, in [0, 1] where the samples are integers, as a plane of samples. Integers are rounded to
// nearest, halves up.
void FromValues(SampleType type, const float* __restrict values, unsigned char* __restrict plane,
                int pixels) {
  switch (type) {
    case SampleType::kUInt8: {
      for (int p = 0; p < pixels; ++p) {
        plane[p] = static_cast<unsigned char>(static_cast<std::int32_t>(values[p] * 255.0f + 0.5f));
      }
      return;
    }
    case SampleType::kUInt16: {
      auto* const samples = reinterpret_cast<Sample16*>(plane);
      for (int p = 0; p < pixels; ++p) {
        samples[p] = static_cast<Sample16>(static_cast<std::int32_t>(values[p] * 65535.0f + 0.5f));
      }
      return;
    }
    case SampleType::kHalf: {
      auto* const samples = reinterpret_cast<Sample16*>(plane);
      for (int p = 0; p < pixels; ++p) samples[p] = static_cast<Sample16>(ToHalf(values[p]));
      return;
    }
    case SampleType::kFloat:
      return;
  }
}
