// Interpolation in vectors, the same at every level. A level's source includes this file inside its
// own unnamed namespace, after BlockLookups.inl and after it has defined Vector and the operations
// on it. The number in an operation's name is the width of the elements; an unpacking operation
// works within each 128-bit lane.

// Words of a vector: pixels of one step.
constexpr int kVectorWords = sizeof(Vector) / 2;

struct Fractions {
  Vector x, y, z;
};

Fractions FractionsOf(const PixelBlock& block, int pixel) {
  const Vector mask = Splat16(0xFFF);
  return {And(LoadVector(block.coordinates[0] + pixel), mask),
          And(LoadVector(block.coordinates[1] + pixel), mask),
          And(LoadVector(block.coordinates[2] + pixel), mask)};
}

// Which records a block needs, counted in half records. All addresses are known before the first
// record is read, so that reads need not wait for comparisons.
struct alignas(64) Paths {
  std::uint16_t halfRecords[kBlockPixels];
};

void FindPaths(const PixelBlock& block, int pixels, Paths& paths) {
  for (int p = 0; p < pixels; p += kVectorWords) {
    const Vector x = ShiftRight16<4>(LoadVector(block.coordinates[0] + p));
    const Vector y = ShiftRight16<8>(LoadVector(block.coordinates[1] + p));
    const Vector z = ShiftRight16<12>(LoadVector(block.coordinates[2] + p));
    const Vector cell = Or(Or(And(x, Splat16(0xF00)), And(y, Splat16(0xF0))), z);
    // Record within the cell, 0..5: 3 (fx > fy) + (fy > fz) + (fx > fz).
    const Fractions f = FractionsOf(block, p);
    Vector half = Multiply16(cell, Splat16(2 * 6));
    half = AddWhereGreater16(half, f.x, f.y, 2 * 3);
    half = AddWhereGreater16(half, f.y, f.z, 2);
    half = AddWhereGreater16(half, f.x, f.z, 2);
    StoreVector(paths.halfRecords + p, half);
  }
}

// The four weights of each pixel, in pairs: of the path's first and third node, of its second and
// fourth. One half of a vector's pixels is in [0], the other in [1], as unpacking leaves them.
struct Weights {
  Vector even[2], odd[2];
};

// With the fractions sorted, a value is the sum of the path's four nodes times the weights
// 4096 - max, max - mid, mid - min, min, shifted right by 4 (a node byte stands for 256 times its
// value, a fraction for 1/4096). Tied fractions give a node the weight 0, so that any order among
// them gives the same value.
Weights WeightsOf(const Fractions& f) {
  const Vector lowXy = Min16(f.x, f.y);
  const Vector highXy = Max16(f.x, f.y);
  const Vector max = Max16(highXy, f.z);
  const Vector mid = Max16(lowXy, Min16(highXy, f.z));
  const Vector min = Min16(lowXy, f.z);
  const Vector weight[4] = {Subtract16(Splat16(4096), max), Subtract16(max, mid),
                            Subtract16(mid, min), min};
  return {{UnpackLow16(weight[0], weight[2]), UnpackHigh16(weight[0], weight[2])},
          {UnpackLow16(weight[1], weight[3]), UnpackHigh16(weight[1], weight[3])}};
}

// One channel's values of the pixels whose four nodes are the four bytes of each double word.
Vector WeightedSum(Vector nodes, Vector evenWeights, Vector oddWeights) {
  const Vector even = And(nodes, Splat16(0xFF));
  const Vector odd = ShiftRight16<8>(nodes);
  return AddProducts16(Products16(even, evenWeights), odd, oddWeights);
}

void Interpolate(const WorkerTables& tables, PixelBlock& block, int pixels) {
  Paths paths;
  FindPaths(block, pixels, paths);
  const TetrahedronRecord* const records = tables.records;
  for (int p = 0; p < pixels; p += kVectorWords) {
    const Weights weights = WeightsOf(FractionsOf(block, p));
    Vector sums[3][2];
    for (int half = 0; half < 2; ++half) {
      // Four pixels a lane, one channel a double word: transposed to one channel a vector.
      const std::uint16_t* first = paths.halfRecords + p + 4 * half;
      const Vector a = LoadRecords(records, first);
      const Vector b = LoadRecords(records, first + 1);
      const Vector c = LoadRecords(records, first + 2);
      const Vector d = LoadRecords(records, first + 3);
      const Vector low[2] = {UnpackLow32(a, b), UnpackLow32(c, d)};
      const Vector high[2] = {UnpackHigh32(a, b), UnpackHigh32(c, d)};
      const Vector even = weights.even[half];
      const Vector odd = weights.odd[half];
      sums[0][half] = WeightedSum(UnpackLow64(low[0], low[1]), even, odd);
      sums[1][half] = WeightedSum(UnpackHigh64(low[0], low[1]), even, odd);
      sums[2][half] = WeightedSum(UnpackLow64(high[0], high[1]), even, odd);
    }
    for (int c = 0; c < 3; ++c) {
      StoreVector(block.values[c] + p, ShiftRightTo16<4>(sums[c][0], sums[c][1]));
    }
  }
}
