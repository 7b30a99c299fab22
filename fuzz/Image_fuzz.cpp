#include <cstring>
#include <memory>

#include "api/pipeline.h"
#include "fuzz/FuzzSupport.h"
#include "tests/profile/ProfileForms.h"

// Two images in one piece of memory between pages that cannot be touched: strides, places and types
// of samples as they come. What shares bytes is refused and changes nothing; what is converted
// gives what its pixels give one by one, and touches no other byte.
//
// Input: choices, up to 90 bytes.

namespace {

using fuzz::Bytes;
using fuzz::Input;

constexpr std::ptrdiff_t kSampleBytes[] = {1, 2, 2, 4};

// ---- The memory ---------------------------------------------------------------------------------

class Arena {
 public:
  static constexpr std::ptrdiff_t kBytes = 16384;

  Arena() {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    auto* const mapped = static_cast<unsigned char*>(
        mmap(nullptr, kBytes + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    FUZZ_CHECK(mapped != MAP_FAILED && kBytes % page == 0);
    memory_ = mapped + page;
    FUZZ_CHECK(mprotect(memory_, kBytes, PROT_READ | PROT_WRITE) == 0);
  }
  unsigned char* data() const { return memory_; }
  Bytes Contents() const { return Bytes(memory_, memory_ + kBytes); }

 private:
  unsigned char* memory_;
};

// ---- Descriptions -------------------------------------------------------------------------------

struct Drawn {
  std::ptrdiff_t first[4];  // in the arena
  std::ptrdiff_t pixel, row;
  std::uint32_t sample, flags;
  int channels;

  std::ptrdiff_t Place(std::size_t x, std::size_t y, int channel) const {
    return first[channel] + static_cast<std::ptrdiff_t>(x) * pixel +
           static_cast<std::ptrdiff_t>(y) * row;
  }
  std::ptrdiff_t Size() const { return kSampleBytes[sample]; }

  kxp_image In(const Arena& arena) const {
    kxp_image image = {};
    image.size = sizeof image;
    image.r = arena.data() + first[0];
    image.g = arena.data() + first[1];
    image.b = arena.data() + first[2];
    image.a = channels == 4 ? arena.data() + first[3] : nullptr;
    image.pixel_stride = pixel;
    image.row_stride = row;
    image.sample = sample;
    image.flags = flags;
    return image;
  }
};

struct Shape {
  std::size_t width, height;
};

// A few small rows, or now and then one that is longer than what is converted at a time.
Shape DrawShape(Input& call) {
  const unsigned width = call.U8(), height = call.U8();
  if (height >= 224) return {1 + call.U16() % 1300u, 1};
  return {1 + width % 24u, 1 + height % 8u};
}

std::ptrdiff_t SmallNumber(Input& call) {
  return static_cast<std::ptrdiff_t>(call.U8()) - 128;
}

// The strides of packed pixels and rows, or a little off, or of columns, or anything.
void DrawStrides(Input& call, const Shape& shape, Drawn& image) {
  const std::ptrdiff_t size = image.Size();
  const auto width = static_cast<std::ptrdiff_t>(shape.width),
             height = static_cast<std::ptrdiff_t>(shape.height);
  const unsigned kind = call.U8();
  image.pixel = (kind & 1) != 0 ? size : image.channels * size;
  image.row = width * image.pixel;
  if ((kind & 2) != 0) {
    image.row = image.channels * size;
    image.pixel = height * image.row;
  }
  if ((kind & 4) != 0) image.pixel += SmallNumber(call) / 16;
  if ((kind & 8) != 0) image.row += SmallNumber(call) / 8;
  if ((kind & 16) != 0) image.pixel = -image.pixel;
  if ((kind & 32) != 0) image.row = -image.row;
  if ((kind & 64) != 0) image.row = SmallNumber(call);
  if ((kind & 128) != 0) image.pixel = SmallNumber(call) / 4;
  // 0 stands for packed pixels.
  if (image.pixel == 0) image.pixel = 1;
  if (image.row == 0) image.row = 1;
}

// Samples beside one another in any order, planes, or anywhere; moved into the arena.
bool DrawPlaces(Input& call, const Shape& shape, Drawn& image) {
  const unsigned kind = call.U8();
  const std::ptrdiff_t size = image.Size();
  const std::ptrdiff_t plane = static_cast<std::ptrdiff_t>(shape.width * shape.height) * size;
  for (int c = 0; c < image.channels; ++c) {
    const auto order = (c + static_cast<int>(kind / 4)) % image.channels;
    if (kind % 4 == 0) image.first[c] = order * plane;
    if (kind % 4 == 1 || kind % 4 == 2) image.first[c] = order * size;
    if (kind % 4 == 3) image.first[c] = 8 * SmallNumber(call) + call.U8() % 8;
  }
  if (image.channels < 4) image.first[3] = 0;
  std::ptrdiff_t lowest = image.first[0], highest = image.first[0];
  for (int c = 0; c < image.channels; ++c) {
    for (const std::size_t x : {std::size_t{0}, shape.width - 1}) {
      for (const std::size_t y : {std::size_t{0}, shape.height - 1}) {
        lowest = std::min(lowest, image.Place(x, y, c));
        highest = std::max(highest, image.Place(x, y, c));
      }
    }
  }
  const std::ptrdiff_t extent = highest + size - lowest;
  if (extent > Arena::kBytes) return false;
  // At either end of the arena, or anywhere.
  const std::ptrdiff_t room = Arena::kBytes - extent;
  const unsigned where = call.U8();
  const std::ptrdiff_t begin = where % 4 == 0   ? 0
                               : where % 4 == 1 ? room
                                                : std::min<std::ptrdiff_t>(room, call.U16() % 2048);
  for (int c = 0; c < image.channels; ++c) image.first[c] += begin - lowest;
  return true;
}

bool Draw(Input& call, const Shape& shape, bool isDestination, Drawn& image) {
  image.sample = call.U8() % 4;
  image.channels = call.U8() % 2 == 0 ? 3 : 4;
  image.flags = call.U8() % (isDestination ? 4 : 2);
  DrawStrides(call, shape, image);
  return DrawPlaces(call, shape, image);
}

// ---- What must become of them -------------------------------------------------------------------

// Every byte of the arena: whose it is, or nobody's.
struct Owner {
  std::size_t pixel = 0;
  int channel = -1, byte = 0;
  bool operator==(const Owner&) const = default;
};

struct Owners {
  std::vector<Owner> of = std::vector<Owner>(Arena::kBytes);
  bool isShared = false;
};

template <typename Use>
void ForEachByte(const Drawn& image, const Shape& shape, const Use& use) {
  for (std::size_t y = 0; y < shape.height; ++y) {
    for (std::size_t x = 0; x < shape.width; ++x) {
      for (int c = 0; c < image.channels; ++c) {
        for (int byte = 0; byte < image.Size(); ++byte) {
          use(static_cast<std::size_t>(image.Place(x, y, c) + byte),
              Owner{y * shape.width + x, c, byte});
        }
      }
    }
  }
}

Owners OwnersOf(const Drawn& destination, const Shape& shape) {
  Owners owners;
  ForEachByte(destination, shape, [&](std::size_t at, const Owner& owner) {
    owners.isShared = owners.isShared || owners.of[at].channel >= 0;
    owners.of[at] = owner;
  });
  return owners;
}

// Whether a source's bytes are the destination's too, and whether everywhere the same sample's.
struct Sharing {
  bool any = false, onlySame = true;
};
Sharing SharingOf(const Drawn& source, const Owners& owners, const Shape& shape) {
  Sharing sharing;
  ForEachByte(source, shape, [&](std::size_t at, const Owner& owner) {
    if (owners.of[at].channel < 0) return;
    sharing.any = true;
    sharing.onlySame = sharing.onlySame && owners.of[at] == owner;
  });
  return sharing;
}

bool ExtentsOverlap(const Drawn& a, const Drawn& b, const Shape& shape) {
  const auto extent = [&](const Drawn& image) {
    std::ptrdiff_t low = Arena::kBytes, high = 0;
    ForEachByte(image, shape, [&](std::size_t at, const Owner&) {
      low = std::min(low, static_cast<std::ptrdiff_t>(at));
      high = std::max(high, static_cast<std::ptrdiff_t>(at) + 1);
    });
    return std::pair(low, high);
  };
  const auto [lowA, highA] = extent(a);
  const auto [lowB, highB] = extent(b);
  return lowA < highB && lowB < highA;
}

enum class Verdict { kConverted, kRefused };

Verdict VerdictOf(const Drawn& source, const Drawn& destination, const Owners& owners,
                  const Shape& shape) {
  if (owners.isShared) return Verdict::kRefused;
  if (source.pixel != destination.pixel || source.row != destination.row) {
    return ExtentsOverlap(source, destination, shape) ? Verdict::kRefused : Verdict::kConverted;
  }
  const Sharing sharing = SharingOf(source, owners, shape);
  const bool inPlace = source.sample == destination.sample &&
                       std::equal(source.first, source.first + 3, destination.first);
  return !sharing.any || (inPlace && sharing.onlySame) ? Verdict::kConverted : Verdict::kRefused;
}

// A pixel's samples of the destination, from packed samples to packed samples.
struct Pixel {
  alignas(4) unsigned char bytes[16];
};
Pixel ConvertedAlone(const kxp_pipeline* pipeline, const Drawn& source, const Drawn& destination,
                     const Bytes& before, std::size_t x, std::size_t y) {
  Pixel from = {}, to = {};
  for (int c = 0; c < source.channels; ++c) {
    std::memcpy(from.bytes + c * source.Size(), before.data() + source.Place(x, y, c),
                static_cast<std::size_t>(source.Size()));
  }
  const auto packed = [](const Drawn& image, Pixel& pixel) {
    kxp_image described = {};
    described.size = sizeof described;
    described.r = pixel.bytes;
    described.g = pixel.bytes + image.Size();
    described.b = pixel.bytes + 2 * image.Size();
    described.a = image.channels == 4 ? pixel.bytes + 3 * image.Size() : nullptr;
    described.sample = image.sample;
    described.flags = image.flags;
    return described;
  };
  const kxp_image in = packed(source, from), out = packed(destination, to);
  FUZZ_CHECK(kxp_convert(pipeline, &in, &out, 1, 1, nullptr, nullptr) == KXP_OK);
  return to;
}

// ---- The pipelines ------------------------------------------------------------------------------

struct Release {
  void operator()(kxp_pipeline* pipeline) const { kxp_pipeline_release(pipeline); }
};
using Pipeline = std::unique_ptr<kxp_pipeline, Release>;

kxp_profile* BuiltIn(const char* name) {
  kxp_profile* profile = nullptr;
  FUZZ_CHECK(kxp_profile_builtin(name, &profile, nullptr) == KXP_OK);
  return profile;
}

// Input curves, a grid and output curves.
kxp_profile* WithGrid() {
  const Bytes bytes = profile_forms::Forms()[0].bytes;
  kxp_profile* profile = nullptr;
  FUZZ_CHECK(kxp_profile_from_memory(bytes.data(), bytes.size(), &profile, nullptr) == KXP_OK);
  return profile;
}

// Takes the source.
Pipeline Between(kxp_profile* source, const char* to, std::uint32_t flags) {
  kxp_profile* const destination = BuiltIn(to);
  kxp_pipeline* pipeline = nullptr;
  kxp_pipeline_options options = {};
  options.size = sizeof options;
  options.flags = flags;
  FUZZ_CHECK(kxp_pipeline_create(source, destination, &options, &pipeline, nullptr) == KXP_OK);
  kxp_profile_release(source);
  kxp_profile_release(destination);
  return Pipeline(pipeline);
}

void RunBackwards(void*, std::uint32_t count, kxp_job job, void* argument) {
  while (count-- > 0) job(argument, count);
}

// ---- Strides that lead nowhere ------------------------------------------------------------------

// Descriptions that no memory holds are refused, whatever stands beside them.
void CheckWildStrides(const kxp_pipeline* pipeline, const Arena& arena, Input& call) {
  constexpr std::ptrdiff_t kFar = std::numeric_limits<std::ptrdiff_t>::max();
  const std::ptrdiff_t kStrides[] = {kFar, -kFar, -kFar - 1, kFar / 2 + 1, -kFar / 2 - 2};
  const Drawn drawn = {{0, 1, 2, 3}, 3, 3, KXP_U8, 0, 3};
  const kxp_image good = drawn.In(arena);
  kxp_image wild = good;
  wild.pixel_stride = 3 + call.U8();
  wild.row_stride = call.OneOf(kStrides);
  const bool isSource = call.U8() % 2 == 0;
  const Bytes before = arena.Contents();
  FUZZ_CHECK(kxp_convert(pipeline, isSource ? &wild : &good, isSource ? &good : &wild,
                         1 + call.U8() % 3u, 4 + call.U16(), nullptr,
                         nullptr) == KXP_ERROR_ARGUMENT);
  FUZZ_CHECK(arena.Contents() == before);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  fuzz::PrepareProcess(*argc, *argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Arena arena;
  static const Pipeline pipelines[] = {Between(BuiltIn("prophoto"), "srgb", 0),
                                       Between(BuiltIn("rec2020"), "adobe-rgb", KXP_UNCLIPPED),
                                       Between(WithGrid(), "srgb", 0)};
  Input call(data, size);
  const unsigned kind = call.U8();
  const kxp_pipeline* const pipeline = pipelines[kind % 3].get();
  const Bytes fill = fuzz::SomePixels(Arena::kBytes, kind / 2 % 4);
  std::copy(fill.begin(), fill.end(), arena.data());
  if (kind >= 248) {
    CheckWildStrides(pipeline, arena, call);
    return 0;
  }

  const Shape shape = DrawShape(call);
  Drawn source = {}, destination = {};
  if (!Draw(call, shape, false, source)) return 0;
  const unsigned relation = call.U8();
  if (relation % 4 == 0) {
    // In place, with an alpha and flags of its own.
    destination = source;
    destination.flags = call.U8() % 4;
    if (relation % 8 == 0 && source.channels == 4) destination.channels = 3;
    if (relation % 16 == 4 && source.channels == 4) source.channels = 3;
  } else {
    if (!Draw(call, shape, true, destination)) return 0;
    if (relation % 4 == 1) {
      destination.pixel = source.pixel;
      destination.row = source.row;
      if (!DrawPlaces(call, shape, destination)) return 0;
    }
  }
  const Owners owners = OwnersOf(destination, shape);
  const Verdict verdict = VerdictOf(source, destination, owners, shape);

  kxp_convert_options options = {};
  options.size = sizeof options;
  options.threads = call.U8() % 4;
  if (call.U8() % 4 == 0) options.run = RunBackwards;
  const kxp_image in = source.In(arena), out = destination.In(arena);
  kxp_error error = {};
  error.size = sizeof error;
  const kxp_status status =
      kxp_convert(pipeline, &in, &out, shape.width, shape.height, &options, &error);
  const Bytes after = arena.Contents();
  if (verdict == Verdict::kRefused) {
    FUZZ_CHECK(status == KXP_ERROR_ARGUMENT && error.status == status);
    FUZZ_CHECK(after == fill);
    return 0;
  }
  FUZZ_CHECK(status == KXP_OK);
  Bytes expected = fill;
  for (std::size_t y = 0; y < shape.height; ++y) {
    for (std::size_t x = 0; x < shape.width; ++x) {
      const Pixel pixel = ConvertedAlone(pipeline, source, destination, fill, x, y);
      for (int c = 0; c < destination.channels; ++c) {
        std::memcpy(expected.data() + destination.Place(x, y, c),
                    pixel.bytes + c * destination.Size(),
                    static_cast<std::size_t>(destination.Size()));
      }
    }
  }
  FUZZ_CHECK(after == expected);
  return 0;
}
