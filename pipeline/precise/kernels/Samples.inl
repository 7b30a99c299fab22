// Samples of any type and layout <-> values of a block. A level's source includes this file inside
// its own unnamed namespace, after Arithmetic.inl.
//
// Samples pass through planes, one array a channel: what they are and where they lie are matters
// of their own. Loops that the compilers turn into vectors by themselves are left to them.

// Loads and stores of samples, which need not be aligned.
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

// One array a channel: R, G, B and alpha.
struct Planes {
  unsigned char* at[4];
};

// ---- Where samples lie --------------------------------------------------------------------------

// kThreeOfFour: three together, and room for a fourth one, which is not this image's.
enum class Layout { kPlanes, kThree, kFour, kThreeOfFour, kApart };

template <typename Byte>
Byte* LowestOf(Byte* const (&samples)[4], int count) {
  Byte* lowest = samples[0];
  for (int c = 1; c < count; ++c) lowest = samples[c] < lowest ? samples[c] : lowest;
  return lowest;
}

// Whether samples lie at the given pointers' positions 0 to count - 1, in any order. Sizes are
// powers of two: a call of one pixel would notice six divisions.
template <typename Byte>
bool AreTogether(Byte* const (&samples)[4], int count, int size) {
  Byte* const first = LowestOf(samples, count);
  unsigned taken = 0;
  for (int c = 0; c < count; ++c) {
    const std::ptrdiff_t distance = samples[c] - first;
    if ((distance & (size - 1)) != 0 || distance >= count * size) return false;
    taken |= 1u << (distance >> __builtin_ctz(static_cast<unsigned>(size)));
  }
  return taken + 1 == 1u << count;
}

template <typename Byte>
Layout LayoutOf(const PixelRun<Byte>& run) {
  const int size = SizeOf(run.type), channels = run.samples[3] == nullptr ? 3 : 4;
  if (run.pixelStride == size) return Layout::kPlanes;
  if (!AreTogether(run.samples, channels, size)) return Layout::kApart;
  if (run.pixelStride == 4 * size) return channels == 4 ? Layout::kFour : Layout::kThreeOfFour;
  return run.pixelStride == 3 * size && channels == 3 ? Layout::kThree : Layout::kApart;
}

// Samples that lie together: the first one's address, and the planes in the order of addresses.
template <typename Byte>
struct Interleaved {
  Byte* first;
  unsigned char* plane[4];
};
template <int kCount, typename Byte>
Interleaved<Byte> Order(Byte* const (&samples)[4], int size, const Planes& planes) {
  Interleaved<Byte> order = {LowestOf(samples, kCount), {}};
  for (int c = 0; c < kCount; ++c) order.plane[(samples[c] - order.first) / size] = planes.at[c];
  return order;
}

template <typename Sample>
void GatherTwo(const unsigned char* __restrict from, unsigned char* __restrict a,
               unsigned char* __restrict b, int pixels) {
  constexpr int kSize = sizeof(Sample);
  for (int p = 0; p < pixels; ++p) {
    Write(a + kSize * p, Read<Sample>(from + 2 * kSize * p));
    Write(b + kSize * p, Read<Sample>(from + 2 * kSize * p + kSize));
  }
}

template <typename Sample>
void ScatterTwo(const unsigned char* __restrict a, const unsigned char* __restrict b,
                unsigned char* __restrict to, int pixels) {
  constexpr int kSize = sizeof(Sample);
  for (int p = 0; p < pixels; ++p) {
    Write(to + 2 * kSize * p, Read<Sample>(a + kSize * p));
    Write(to + 2 * kSize * p + kSize, Read<Sample>(b + kSize * p));
  }
}

template <typename Sample>
void GatherThree(const unsigned char* __restrict from, unsigned char* __restrict a,
                 unsigned char* __restrict b, unsigned char* __restrict c, int pixels) {
  constexpr int kSize = sizeof(Sample);
  for (int p = 0; p < pixels; ++p) {
    const unsigned char* const pixel = from + 3 * kSize * p;
    Write(a + kSize * p, Read<Sample>(pixel));
    Write(b + kSize * p, Read<Sample>(pixel + kSize));
    Write(c + kSize * p, Read<Sample>(pixel + 2 * kSize));
  }
}

template <typename Sample>
void ScatterThree(const unsigned char* __restrict a, const unsigned char* __restrict b,
                  const unsigned char* __restrict c, unsigned char* __restrict to, int pixels) {
  constexpr int kSize = sizeof(Sample);
  for (int p = 0; p < pixels; ++p) {
    unsigned char* const pixel = to + 3 * kSize * p;
    Write(pixel, Read<Sample>(a + kSize * p));
    Write(pixel + kSize, Read<Sample>(b + kSize * p));
    Write(pixel + 2 * kSize, Read<Sample>(c + kSize * p));
  }
}

template <typename Sample>
void GatherFour(const unsigned char* __restrict from, unsigned char* __restrict a,
                unsigned char* __restrict b, unsigned char* __restrict c,
                unsigned char* __restrict d, int pixels) {
  constexpr int kSize = sizeof(Sample);
  for (int p = 0; p < pixels; ++p) {
    const unsigned char* const pixel = from + 4 * kSize * p;
    Write(a + kSize * p, Read<Sample>(pixel));
    Write(b + kSize * p, Read<Sample>(pixel + kSize));
    Write(c + kSize * p, Read<Sample>(pixel + 2 * kSize));
    Write(d + kSize * p, Read<Sample>(pixel + 3 * kSize));
  }
}

template <typename Sample>
void ScatterFour(const unsigned char* __restrict a, const unsigned char* __restrict b,
                 const unsigned char* __restrict c, const unsigned char* __restrict d,
                 unsigned char* __restrict to, int pixels) {
  constexpr int kSize = sizeof(Sample);
  for (int p = 0; p < pixels; ++p) {
    unsigned char* const pixel = to + 4 * kSize * p;
    Write(pixel, Read<Sample>(a + kSize * p));
    Write(pixel + kSize, Read<Sample>(b + kSize * p));
    Write(pixel + 2 * kSize, Read<Sample>(c + kSize * p));
    Write(pixel + 3 * kSize, Read<Sample>(d + kSize * p));
  }
}

// Samples at any distance, as many at a time as a general register holds.
template <typename Sample>
void GatherApart(const unsigned char* from, std::ptrdiff_t stride, unsigned char* plane,
                 int pixels) {
  constexpr int kSize = sizeof(Sample), kGroup = 8 / kSize;
  int p = 0;
  for (; p + kGroup <= pixels; p += kGroup, from += kGroup * stride) {
    std::uint64_t group = 0;
#pragma GCC unroll 8
    for (int i = 0; i < kGroup; ++i) {
      const int at = kIsLittleEndian ? i : kGroup - 1 - i;
      group |= std::uint64_t{Read<Sample>(from + i * stride)} << (8 * kSize * at);
    }
    Write(plane + kSize * p, group);
  }
  for (; p < pixels; ++p, from += stride) Write(plane + kSize * p, Read<Sample>(from));
}

template <typename Sample>
void ScatterApart(const unsigned char* plane, unsigned char* to, std::ptrdiff_t stride,
                  int pixels) {
  constexpr int kSize = sizeof(Sample), kGroup = 8 / kSize;
  int p = 0;
  for (; p + kGroup <= pixels; p += kGroup, to += kGroup * stride) {
    const auto group = Read<std::uint64_t>(plane + kSize * p);
#pragma GCC unroll 8
    for (int i = 0; i < kGroup; ++i) {
      const int at = kIsLittleEndian ? i : kGroup - 1 - i;
      Write(to + i * stride, static_cast<Sample>(group >> (8 * kSize * at)));
    }
  }
  for (; p < pixels; ++p, to += stride) Write(to, Read<Sample>(plane + kSize * p));
}

// The same for samples of two channels that lie side by side: read and written as one of twice the
// size.
template <typename Sample>
using PairOf =
    std::conditional_t<sizeof(Sample) == 1, std::uint16_t,
                       std::conditional_t<sizeof(Sample) == 2, std::uint32_t, std::uint64_t>>;

template <typename Sample>
void GatherPairs(const unsigned char* from, std::ptrdiff_t stride, unsigned char* a,
                 unsigned char* b, int pixels) {
  unsigned char pairs[2 * sizeof(Sample) * kBlockPixels];
  GatherApart<PairOf<Sample>>(from, stride, pairs, pixels);
  GatherTwo<Sample>(pairs, a, b, pixels);
}

template <typename Sample>
void ScatterPairs(const unsigned char* a, const unsigned char* b, unsigned char* to,
                  std::ptrdiff_t stride, int pixels) {
  unsigned char pairs[2 * sizeof(Sample) * kBlockPixels];
  ScatterTwo<Sample>(a, b, pairs, pixels);
  ScatterApart<PairOf<Sample>>(pairs, to, stride, pixels);
}

// Channels that are read or written together: one, or two whose samples lie side by side, in the
// order of addresses.
struct Group {
  int first, second;  // the second one is -1 where there is one alone
};
struct Groups {
  int count;
  Group group[4];
};

template <typename Byte>
Groups GroupsOf(const PixelRun<Byte>& run) {
  Byte* const(&samples)[4] = run.samples;
  const int size = SizeOf(run.type);
  Groups groups = {};
  bool isDone[4] = {false, false, false, samples[3] == nullptr};
  for (int c = 0; c < 4; ++c) {
    if (isDone[c]) continue;
    Group group = {c, -1};
    for (int d = c + 1; d < 4 && group.second < 0; ++d) {
      if (isDone[d]) continue;
      const std::ptrdiff_t distance = samples[d] - samples[c];
      if (distance == size) group = {c, d};
      if (distance == -size) group = {d, c};
      isDone[d] = group.second >= 0;
    }
    groups.group[groups.count++] = group;
  }
  return groups;
}

template <typename Sample>
void Gather(const SourceRun& run, Layout layout, const Groups& groups, int pixels,
            const Planes& planes) {
  constexpr int kSize = sizeof(Sample);
  if (layout == Layout::kThree) {
    const auto [first, plane] = Order<3>(run.samples, kSize, planes);
    return GatherThree<Sample>(first, plane[0], plane[1], plane[2], pixels);
  }
  if (layout == Layout::kFour) {
    const auto [first, plane] = Order<4>(run.samples, kSize, planes);
    return GatherFour<Sample>(first, plane[0], plane[1], plane[2], plane[3], pixels);
  }
  if (layout == Layout::kThreeOfFour) {
    // What is between two pixels can be read; past the last one there may be nothing.
    unsigned char unused[kSize * kBlockPixels];
    const auto [first, plane] = Order<3>(run.samples, kSize, planes);
    const int last = pixels - 1;
    GatherFour<Sample>(first, plane[0], plane[1], plane[2], unused, last);
    for (int c = 0; c < 3; ++c) {
      Write(plane[c] + kSize * last, Read<Sample>(first + kSize * (4 * last + c)));
    }
    return;
  }
  if (layout == Layout::kPlanes) {
    for (int c = 0; c < 4; ++c) {
      if (run.samples[c] == nullptr) continue;
      __builtin_memcpy(planes.at[c], run.samples[c], static_cast<unsigned>(kSize * pixels));
    }
    return;
  }
  for (int n = 0; n < groups.count; ++n) {
    const auto [c, d] = groups.group[n];
    if (d < 0) {
      GatherApart<Sample>(run.samples[c], run.pixelStride, planes.at[c], pixels);
    } else {
      GatherPairs<Sample>(run.samples[c], run.pixelStride, planes.at[c], planes.at[d], pixels);
    }
  }
}

template <typename Sample>
void Scatter(const Planes& planes, const DestinationRun& run, Layout layout, const Groups& groups,
             int pixels) {
  constexpr int kSize = sizeof(Sample);
  if (layout == Layout::kThree) {
    const auto [first, plane] = Order<3>(run.samples, kSize, planes);
    return ScatterThree<Sample>(plane[0], plane[1], plane[2], first, pixels);
  }
  if (layout == Layout::kFour) {
    const auto [first, plane] = Order<4>(run.samples, kSize, planes);
    return ScatterFour<Sample>(plane[0], plane[1], plane[2], plane[3], first, pixels);
  }
  if (layout == Layout::kPlanes) {
    for (int c = 0; c < 4; ++c) {
      if (run.samples[c] == nullptr || run.samples[c] == planes.at[c]) continue;
      __builtin_memcpy(run.samples[c], planes.at[c], static_cast<unsigned>(kSize * pixels));
    }
    return;
  }
  for (int n = 0; n < groups.count; ++n) {
    const auto [c, d] = groups.group[n];
    if (d < 0) {
      ScatterApart<Sample>(planes.at[c], run.samples[c], run.pixelStride, pixels);
    } else {
      ScatterPairs<Sample>(planes.at[c], planes.at[d], run.samples[c], run.pixelStride, pixels);
    }
  }
}

void Gather(const SourceRun& run, Layout layout, const Groups& groups, int pixels,
            const Planes& planes) {
  switch (SizeOf(run.type)) {
    case 1:
      return Gather<std::uint8_t>(run, layout, groups, pixels, planes);
    case 2:
      return Gather<std::uint16_t>(run, layout, groups, pixels, planes);
    default:
      return Gather<std::uint32_t>(run, layout, groups, pixels, planes);
  }
}

void Scatter(const Planes& planes, const DestinationRun& run, Layout layout, const Groups& groups,
             int pixels) {
  switch (SizeOf(run.type)) {
    case 1:
      return Scatter<std::uint8_t>(planes, run, layout, groups, pixels);
    case 2:
      return Scatter<std::uint16_t>(planes, run, layout, groups, pixels);
    default:
      return Scatter<std::uint32_t>(planes, run, layout, groups, pixels);
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

// A plane's samples as values in [0, 1]. A plane of floats may be the values themselves. `pixels`
// are whole vectors of them.
void ToValues(SampleType type, const unsigned char* plane, float* values, int pixels) {
  switch (type) {
    case SampleType::kUInt8:
      for (int p = 0; p < pixels; ++p) values[p] = static_cast<float>(plane[p]) * (1.0f / 255);
      return;
    case SampleType::kUInt16:
      for (int p = 0; p < pixels; ++p) {
        values[p] = static_cast<float>(Read<std::uint16_t>(plane + 2 * p)) * (1.0f / 65535);
      }
      return;
    case SampleType::kHalf:
      for (int p = 0; p < pixels; ++p) values[p] = FromHalf(Read<std::uint16_t>(plane + 2 * p));
      plane = reinterpret_cast<const unsigned char*>(values);
      break;
    case SampleType::kFloat:
      break;
  }
  for (int p = 0; p < pixels; p += kElements) Store(values + p, Clip(Read<Floats>(plane + 4 * p)));
}

// Values, in [0, 1] where the samples are integers, as a plane of samples. Integers are rounded to
// nearest, halves up.
void FromValues(SampleType type, const float* __restrict values, unsigned char* __restrict plane,
                int pixels) {
  switch (type) {
    case SampleType::kUInt8:
      for (int p = 0; p < pixels; ++p) {
        plane[p] = static_cast<unsigned char>(static_cast<std::int32_t>(values[p] * 255.0f + 0.5f));
      }
      return;
    case SampleType::kUInt16:
      for (int p = 0; p < pixels; ++p) {
        const auto level = static_cast<std::int32_t>(values[p] * 65535.0f + 0.5f);
        Write(plane + 2 * p, static_cast<std::uint16_t>(level));
      }
      return;
    case SampleType::kHalf:
      for (int p = 0; p < pixels; ++p) {
        Write(plane + 2 * p, static_cast<std::uint16_t>(ToHalf(values[p])));
      }
      return;
    case SampleType::kFloat:
      __builtin_memcpy(plane, values, static_cast<unsigned>(4 * pixels));
      return;
  }
}
