// Interpolation, the same at every level that works in vectors. A level's source includes this file
// inside its own unnamed namespace, after Vectors.inl and BlockLookups.inl, and after it has
// defined:
//
//   AddWhereGreater(sum, a, b, amount)  adds to the words where a > b, numbers below 2^15
//   Products(a, b)                      sums of two neighbouring words' products, 32 bits wide, of
//                                       numbers below 2^15: some levels multiply signed words
//   AddProducts(sum, a, b)              the same, added to such sums
//   ShiftRightTo16<bits>(a, b)          32-bit elements below 2^(16 + bits) without their lowest
//                                       bits, as words: in each 128-bit lane first a's, then b's
//   LoadRecords(records, halfRecords)   one record a lane: of halfRecords[0], [8], ...

struct Fractions {
  Vector x, y, z;
};

Fractions FractionsOf(const PixelBlock& block, int pixel) {
  return {LoadVector(block.coordinates[0] + pixel) & 0xFFF,
          LoadVector(block.coordinates[1] + pixel) & 0xFFF,
          LoadVector(block.coordinates[2] + pixel) & 0xFFF};
}

// Which records a block needs, counted in half records of 8 bytes: x86 addresses scale an index by
// 8 at most. 16 bits hold the last one, 4095 * 12 + 10. All are known before the first one is read,
// so that reads need not wait for comparisons.
struct alignas(64) Paths {
  std::uint16_t halfRecords[kBlockPixels];
};

void FindPaths(const PixelBlock& block, int pixels, Paths& paths) {
  for (int p = 0; p < pixels; p += kVectorWords) {
    const Vector cell = (LoadVector(block.coordinates[0] + p) >> 4 & 0xF00) |
                        (LoadVector(block.coordinates[1] + p) >> 8 & 0xF0) |
                        LoadVector(block.coordinates[2] + p) >> 12;
    // Record within the cell, 0..5: 3 (x > y) + (y > z) + (x > z).
    const Fractions f = FractionsOf(block, p);
    Vector half = cell * (2 * 6);
    half = AddWhereGreater(half, f.x, f.y, 2 * 3);
    half = AddWhereGreater(half, f.y, f.z, 2);
    half = AddWhereGreater(half, f.x, f.z, 2);
    StoreVector(paths.halfRecords + p, half);
  }
}

// The four weights of each pixel in pairs: of the path's first and third node, of its second and
// fourth. [0] and [1] are the pixels of the lanes' lower and upper halves.
struct Weights {
  Vector even[2], odd[2];
};

// With the fractions sorted, a value is the sum of the path's four nodes times the weights
// 4096 - max, max - mid, mid - min, min, shifted right by 4 (a node byte stands for 256 times its
// value, a fraction for 1/4096). Tied fractions give a node the weight 0, so that any order among
// them gives the same value.
Weights WeightsOf(const Fractions& f) {
  const Vector lowXy = Min(f.x, f.y);
  const Vector highXy = Max(f.x, f.y);
  const Vector max = Max(highXy, f.z);
  const Vector mid = Max(lowXy, Min(highXy, f.z));
  const Vector min = Min(lowXy, f.z);
  const Vector weight[4] = {4096 - max, max - mid, mid - min, min};
  return {{UnpackLow<16>(weight[0], weight[2]), UnpackHigh<16>(weight[0], weight[2])},
          {UnpackLow<16>(weight[1], weight[3]), UnpackHigh<16>(weight[1], weight[3])}};
}

// One channel's sums for the pixels whose four nodes are the four bytes of each 32-bit element.
Vector WeightedSum(Vector nodes, Vector evenWeights, Vector oddWeights) {
  return AddProducts(Products(nodes & 0xFF, evenWeights), nodes >> 8, oddWeights);
}

void Interpolate(const CompactTables& tables, PixelBlock& block, int pixels) {
  Paths paths;
  FindPaths(block, pixels, paths);
  const TetrahedronRecord* const records = tables.records;
  for (int p = 0; p < pixels; p += kVectorWords) {
    const Weights weights = WeightsOf(FractionsOf(block, p));
    Vector sums[3][2];
    for (int half = 0; half < 2; ++half) {
      // The records of four pixels a lane, transposed to one channel a vector.
      const std::uint16_t* first = paths.halfRecords + p + 4 * half;
      const Vector a = LoadRecords(records, first);
      const Vector b = LoadRecords(records, first + 1);
      const Vector c = LoadRecords(records, first + 2);
      const Vector d = LoadRecords(records, first + 3);
      const Vector channels01[2] = {UnpackLow<32>(a, b), UnpackLow<32>(c, d)};
      const Vector channel2[2] = {UnpackHigh<32>(a, b), UnpackHigh<32>(c, d)};
      const Vector even = weights.even[half];
      const Vector odd = weights.odd[half];
      sums[0][half] = WeightedSum(UnpackLow<64>(channels01[0], channels01[1]), even, odd);
      sums[1][half] = WeightedSum(UnpackHigh<64>(channels01[0], channels01[1]), even, odd);
      sums[2][half] = WeightedSum(UnpackLow<64>(channel2[0], channel2[1]), even, odd);
    }
    for (int c = 0; c < 3; ++c) {
      StoreVector(block.values[c] + p, ShiftRightTo16<4>(sums[c][0], sums[c][1]));
    }
  }
}
