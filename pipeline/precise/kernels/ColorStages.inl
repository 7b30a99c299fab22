// Stages that mix the channels. A level's source includes this file inside its own unnamed
// namespace, after ChannelStages.inl.

// ---- Grid ---------------------------------------------------------------------------------------

// Paths are found, and then followed, for a third of a block at a time: all of them would not stay
// in the first-level cache while nodes are read.
constexpr int kPathPixels = kBlockPixels / 3;
static_assert(kBlockPixels % 3 == 0 && kPathPixels % kElements == 0);

// The ways of pixels through their cells: from the lowest node along the axis with the largest
// fraction, then along the next, to the highest node. In bytes from the first node of all.
struct alignas(64) Paths {
  std::int32_t offset[4][kPathPixels];
};

// A grid as its kernel keeps it in registers.
struct GridConstants {
  float factor[3];
  Floats belowLast[3], stride[3];
  // In bytes: from a node to the next along the first and the last axis; along the second one, from
  // an even or odd position; and what is added at an odd one.
  Ints firstStep, lastStep, evenStep, oddStep, ifOdd;
};

KXCMS_INLINE GridConstants ConstantsOf(const Grid& grid) {
  constexpr int kSize = sizeof(Node);
  GridConstants c;
  for (int axis = 0; axis < 3; ++axis) {
    c.factor[axis] = grid.factor[axis];
    c.belowLast[axis] = Splat(grid.belowLast[axis]);
    c.stride[axis] = Splat(grid.stride[axis]);
  }
  c.firstStep = Truncate(c.stride[0]) * kSize;
  c.lastStep = Truncate(c.stride[2]) * kSize;
  c.ifOdd = Ints{} + grid.ifOdd * kSize;
  c.evenStep = Truncate(c.stride[1]) * kSize + c.ifOdd;
  c.oddStep = Truncate(c.stride[1]) * kSize - c.ifOdd;
  return c;
}

// Finds the paths of the vector of pixels that begins with p; they become those from `at` on. The
// values become the fractions.
KXCMS_INLINE void FindPath(const GridConstants& grid, PixelBlock& block, int p, Paths& paths,
                           int at) {
  Floats fraction[3], cell[3];
  Ints whole[3];
  for (int axis = 0; axis < 3; ++axis) {
    const Floats position = Load<Floats>(block.values[axis] + p) * grid.factor[axis];
    whole[axis] = Truncate(Lower(position, grid.belowLast[axis]));
    cell[axis] = ToFloats(whole[axis]);
    fraction[axis] = position - cell[axis];
  }
  const auto [r, g, b] = fraction;
  for (int axis = 0; axis < 3; ++axis) Store(block.values[axis] + p, fraction[axis]);
  // Whole numbers below 2^24, exact.
  const Floats lowest =
      cell[0] * grid.stride[0] + cell[1] * grid.stride[1] + cell[2] * grid.stride[2];
  const Ints isOdd = (whole[1] & 1) != 0;
  const Ints offset =
      Truncate(lowest) * static_cast<int>(sizeof(Node)) + Select(isOdd, grid.ifOdd, Ints{});
  const Ints step[3] = {grid.firstStep, Select(isOdd, grid.oddStep, grid.evenStep), grid.lastStep};
  // Where fractions tie, any order gives the same value, up to rounding; this one is always the
  // same.
  const Ints rg = r >= g, rb = r >= b, gb = g >= b;
  const Ints first = Select(rg, Select(rb, step[0], step[2]), Select(gb, step[1], step[2]));
  const Ints last = Select(rg, Select(gb, step[2], step[1]), Select(rb, step[2], step[0]));
  const Ints highest = offset + (step[0] + step[2]) + step[1];
  Store(paths.offset[0] + at, offset);
  Store(paths.offset[1] + at, offset + first);
  Store(paths.offset[2] + at, highest - last);
  Store(paths.offset[3] + at, highest);
}

struct Triple {
  Floats v[3];
};

KXCMS_INLINE Triple LoadTriple(const PixelBlock& block, int p) {
  return {{Load<Floats>(block.values[0] + p), Load<Floats>(block.values[1] + p),
           Load<Floats>(block.values[2] + p)}};
}

KXCMS_INLINE Triple ReadNodes(const Node* nodes, const std::int32_t* offsets) {
  const Floats a = ReadPairs<0, 1>(nodes, offsets), b = ReadPairs<2, 1>(nodes, offsets);
  const Words firstTwo = Words(Unzip<0>(a, b));
  return {{ToFloats(Ints(firstTwo & 0xFFFF)), ToFloats(Ints(firstTwo >> 16)), Unzip<1>(a, b)}};
}

KXCMS_INLINE void FollowPath(const Node* nodes, const Paths& paths, int at, PixelBlock& block,
                             int p) {
  const auto [r, g, b] = LoadTriple(block, p).v;
  const Floats low = Lower(r, g), high = Higher(r, g);
  const Floats large = Higher(high, b), middle = Higher(low, Lower(high, b)), small = Lower(low, b);
  const Triple v0 = ReadNodes(nodes, paths.offset[0] + at);
  const Triple v1 = ReadNodes(nodes, paths.offset[1] + at);
  const Triple v2 = ReadNodes(nodes, paths.offset[2] + at);
  const Triple v3 = ReadNodes(nodes, paths.offset[3] + at);
  for (int c = 0; c < 3; ++c) {
    Store(block.values[c] + p, v0.v[c] + large * (v1.v[c] - v0.v[c]) +
                                   middle * (v2.v[c] - v1.v[c]) + small * (v3.v[c] - v2.v[c]));
  }
}

void Interpolate(const Grid& grid, PixelBlock& block, int pixels) {
  const GridConstants constants = ConstantsOf(grid);
  const Node* const nodes = grid.nodes;
  Paths paths;
  for (int first = 0; first < pixels; first += kPathPixels) {
    const int count = Least(pixels - first, kPathPixels);
    for (int p = 0; p < count; p += kElements) FindPath(constants, block, first + p, paths, p);
    for (int p = 0; p < count; p += kElements) FollowPath(nodes, paths, p, block, first + p);
  }
}

// ---- Matrices -----------------------------------------------------------------------------------

KXCMS_INLINE Triple Product(const float (&rows)[3][4], const Triple& x) {
  Triple y;
  for (int n = 0; n < 3; ++n) {
    y.v[n] = rows[n][0] * x.v[0] + rows[n][1] * x.v[1] + rows[n][2] * x.v[2] + rows[n][3];
  }
  return y;
}

template <bool kClips>
KXCMS_INLINE void StoreTriple(PixelBlock& block, int p, const Triple& x) {
  for (int n = 0; n < 3; ++n) Store(block.values[n] + p, kClips ? Clip(x.v[n]) : x.v[n]);
}

template <bool kClips>
void MultiplyBlock(const Matrix& given, PixelBlock& block, int pixels) {
  const Matrix matrix = given;
  for (int p = 0; p < pixels; p += kElements) {
    StoreTriple<kClips>(block, p, Product(matrix.rows, LoadTriple(block, p)));
  }
}

// CIE 15:2004, 8.2.1.1: above 6/29 the cube of t, below it the tangent at 6/29. Its slope 108/841
// is one unit of the last place less here, so that black, 4/29, gives 0.
constexpr float kToeSlope = 0x1.07004cp-3f;

KXCMS_INLINE Floats CubeWithToe(Floats t) {
  const Floats above = Higher(t, Splat(6.0f / 29));
  return above * above * above + (t - above) * kToeSlope;
}

template <bool kClips>
void ConvertLab(const LabMatrix& given, PixelBlock& block, int pixels) {
  const LabMatrix stage = given;
  for (int p = 0; p < pixels; p += kElements) {
    const Triple lab = LoadTriple(block, p);
    const Floats y = lab.v[0] * stage.lightness[0] + stage.lightness[1];
    const Floats x = y + (lab.v[1] * stage.a[0] + stage.a[1]);
    const Floats z = y - (lab.v[2] * stage.b[0] + stage.b[1]);
    const Triple xyz = {{CubeWithToe(x), CubeWithToe(y), CubeWithToe(z)}};
    StoreTriple<kClips>(block, p, Product(stage.matrix.rows, xyz));
  }
}

// The inverse of CubeWithToe.
void TakeCubeRoots(const ParabolaTable& given, float* values, int pixels) {
  const ParabolaTable table = given;
  BlockIndices offset;
  for (int p = 0; p < pixels; p += kElements) {
    const Floats t = Min(Load<Floats>(values + p), Splat(table.highest));
    Store(offset.at + p, ParabolaOffset(table, t));
  }
  for (int p = 0; p < pixels; p += kElements) {
    const Floats t = Load<Floats>(values + p);
    const Floats root = FollowParabola(table, offset.at + p, Min(t, Splat(table.highest)));
    const Floats toe = t * (841.0f / 108) + 4.0f / 29;
    Store(values + p, Select(t > 216.0f / 24389, root, toe));
  }
}

void ConvertToLab(const MatrixLab& given, PixelBlock& block, int pixels) {
  const MatrixLab stage = given;
  MultiplyBlock<false>(stage.matrix, block, pixels);
  for (float* values : block.values) TakeCubeRoots(stage.cubeRoot, values, pixels);
  for (int p = 0; p < pixels; p += kElements) {
    const auto [x, y, z] = LoadTriple(block, p).v;
    const Triple lab = {{y * stage.lightness[0] + stage.lightness[1],
                         (x - y) * stage.a[0] + stage.a[1], (y - z) * stage.b[0] + stage.b[1]}};
    stage.clips ? StoreTriple<true>(block, p, lab) : StoreTriple<false>(block, p, lab);
  }
}

void Scale(const Scaling& given, PixelBlock& block, int pixels) {
  for (int c = 0; c < 3; ++c) {
    const float factor = given.factor[c];
    for (int p = 0; p < pixels; p += kElements) {
      Store(block.values[c] + p, Clip(Load<Floats>(block.values[c] + p) * factor));
    }
  }
}

// ---- All stages ---------------------------------------------------------------------------------

void RunStage(const Stage& stage, PixelBlock& block, int pixels) {
  switch (stage.kind) {
    case StageKind::kCurves:
      for (int c = 0; c < 3; ++c) Follow(stage.curves->curve[c], block.values[c], pixels);
      return;
    case StageKind::kGrid:
      return Interpolate(*stage.grid, block, pixels);
    case StageKind::kMatrix:
      return stage.matrix->clips ? MultiplyBlock<true>(*stage.matrix, block, pixels)
                                 : MultiplyBlock<false>(*stage.matrix, block, pixels);
    case StageKind::kLabMatrix:
      return stage.labMatrix->matrix.clips ? ConvertLab<true>(*stage.labMatrix, block, pixels)
                                           : ConvertLab<false>(*stage.labMatrix, block, pixels);
    case StageKind::kMatrixLab:
      return ConvertToLab(*stage.matrixLab, block, pixels);
    case StageKind::kEncoding:
      for (float* values : block.values) {
        stage.encoding->isOdd ? EncodeOdd(stage.encoding->table, values, pixels)
                              : EncodeClipped(stage.encoding->table, values, pixels);
      }
      return;
    case StageKind::kScaling:
      return Scale(*stage.scaling, block, pixels);
  }
}

void RunStages(const StageList& list, int from, PixelBlock& block, int pixels) {
  for (int n = from; n < list.count; ++n) RunStage(list.stages[n], block, pixels);
}
