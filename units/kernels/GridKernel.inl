// The buffer conversion of the colour tables, one source for every level, in GCC's and Clang's
// vector extension (`vector_size`), whose operators work element by element. A level's source
// includes this file inside its own unnamed namespace.

constexpr int kNodeValues = 7;
// Distances between neighbouring nodes along the three axes, in ints.
constexpr std::uint32_t kStride[3] = {33 * 33 * kNodeValues, 33 * kNodeValues, kNodeValues};

// Four neighbouring values of a node. Their sums wrap, like the pixel conversion's.
using Values = std::uint32_t __attribute__((vector_size(16)));
using SignedValues = std::int32_t __attribute__((vector_size(16)));
using Words = std::uint16_t __attribute__((vector_size(8)));

Values LoadValues(const int* from) {
  Values values;
  __builtin_memcpy(&values, from, sizeof values);
  return values;
}

struct FarNear {
  std::uint64_t far, near;
};

// Two selections and not one branch: fractions come in no predictable order.
FarNear Order(std::uint64_t a, std::uint64_t b) {
  return {a > b ? a : b, a > b ? b : a};
}

// The corners of a tetrahedron's path and the fractions that lead to them.
struct Path {
  const int* node[4];
  std::uint32_t fraction[4];  // [0] is not used
};

__attribute__((always_inline)) inline Path FindPath(const GridView& grid,
                                                    const std::uint16_t* samples) {
  // Fraction and stride in one word: sorting by fraction gives the path. Among tied fractions any
  // order gives the same sum, since the differences along the path add up.
  std::uint64_t key[3];
  const int* node = grid.nodes;
  for (int axis = 0; axis < 3; ++axis) {
    const std::uint32_t sample = samples[axis];
    node += (sample >> grid.shift) * kStride[axis];
    key[axis] = static_cast<std::uint64_t>(sample & static_cast<std::uint32_t>(grid.mask)) << 32 |
                kStride[axis];
  }
  const FarNear firstTwo = Order(key[0], key[1]);
  const FarNear high = Order(firstTwo.far, key[2]);
  const FarNear low = Order(firstTwo.near, high.near);
  const std::uint64_t steps[3] = {high.far, low.far, low.near};
  Path path{{node}, {}};
  for (int corner = 1; corner < 4; ++corner) {
    const std::uint64_t step = steps[corner - 1];
    node += static_cast<std::uint32_t>(step);
    path.node[corner] = node;
    path.fraction[corner] = static_cast<std::uint32_t>(step >> 32);
  }
  return path;
}

// Four outputs, from the node value `first` on.
__attribute__((always_inline)) inline Words InterpolateFour(const Path& path, int first,
                                                            int shift) {
  Values last = LoadValues(path.node[0] + first);
  Values sum = last << shift;
  for (int corner = 1; corner < 4; ++corner) {
    const Values values = LoadValues(path.node[corner] + first);
    sum += (values - last) * path.fraction[corner];
    last = values;
  }
  return __builtin_convertvector(SignedValues(sum) >> shift, Words);
}

template <int kSamples>
void Convert(const GridView& view, std::uint16_t* samples, std::int64_t pixels) {
  const GridView grid = view;  // stays in registers, whatever the stores change
  for (std::int64_t p = 0; p < pixels; ++p, samples += kSamples) {
    const Path path = FindPath(grid, samples);
    const Words words = InterpolateFour(path, 0, grid.shift);
    __builtin_memcpy(samples, &words, sizeof(std::uint16_t) * (kSamples < 4 ? kSamples : 4));
    if constexpr (kSamples > 4) {
      // The last four; with six samples two of them, with seven one, are written again.
      const Words lastFour = InterpolateFour(path, kSamples - 4, grid.shift);
      __builtin_memcpy(samples + kSamples - 4, &lastFour, sizeof lastFour);
    }
  }
}

GridKernel ConvertFor(int samplesPerPixel) {
  switch (samplesPerPixel) {
    case 3:
      return Convert<3>;
    case 4:
      return Convert<4>;
    case 6:
      return Convert<6>;
    default:
      return Convert<7>;
  }
}
