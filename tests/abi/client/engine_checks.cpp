#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "checks.h"
#include "declarations.h"
#include "engine_model.h"
#include "profiles.h"

using namespace ICC40::ICCFILE;
using namespace client;
using ICC40::ICC4_HEADER::TagA2B0;
using ICC40::ICC_ENG_S4::CIccEngineS;

namespace {

/// 16 * i interpolated with the divisor 15: what two output entries stand for.
double TwoEntryOutput(unsigned v) {
  const double step = 16.003663003663004;
  const int i = static_cast<int>(v / step);
  const double f = (v - i * step) / 15.0;
  return std::trunc(16 * i * (1 - f) + 16 * (i + 1) * f + 0.5);
}

double Clamp255(double v) {
  return v > 255 ? 255 : v < 0 ? 0 : v;
}

/// Node of the colour stage for sRGB primaries: Lab codes through the output tables, to linear RGB
/// in whole 8-bit levels times 256.
struct RgbNode {
  RgbNode(int i, int j, int k) {
    unsigned codes[7] = {};
    ScanNode(i, j, k, codes);
    const double labL = TwoEntryOutput(codes[0]) * 100.0 / 65280.0;
    const double labA = (TwoEntryOutput(codes[1]) - 32768) * 0.00390625;
    const double labB = (TwoEntryOutput(codes[2]) - 32768) * 0.00390625;
    double fy = (labL + 16) / 116, y = fy * fy * fy;
    if (!(labL > 7.9996)) {
      y = labL / 903.3;
      fy = 7.787 * y + 0.137931;
    }
    const double fx = labA / 500 + fy, fz = fy - labB / 200;
    const double x = (fx > 0.2069 ? fx * fx * fx : (fx - 0.137931) / 7.787) * (63195 / 65535.0);
    const double z = (fz > 0.2069 ? fz * fz * fz : (fz - 0.137931) / 7.787) * (54073 / 65535.0);
    const double rows[3][3] = {
        {3.1341, -1.6174, -0.4907}, {-0.9788, 1.9163, 0.0334}, {0.072, -0.229, 1.4054}};
    for (int c = 0; c < 3; ++c) {
      rgb[c] = static_cast<int>(Clamp255(255 * (rows[c][0] * x + rows[c][1] * y + rows[c][2] * z)))
               << 8;
    }
  }
  int rgb[3];
};

/// Every coefficient of every cell, from the vertex paths of the six tetrahedra.
void CheckCells(const CIccEngineS& engine) {
  // Vertices as bits: 4 is channel 0, 2 channel 1, 1 channel 2.
  const int kPaths[6][4] = {{0, 4, 6, 7}, {0, 4, 5, 7}, {0, 1, 5, 7},
                            {0, 2, 6, 7}, {0, 2, 3, 7}, {0, 1, 3, 7}};
  std::vector<RgbNode> nodes;
  for (int i = 0; i < 17; ++i) {
    for (int j = 0; j < 17; ++j) {
      for (int k = 0; k < 17; ++k) {
        nodes.emplace_back(i, j, k);
      }
    }
  }
  int different = 0;
  for (int cell = 0; cell < 4096; ++cell) {
    const int i = cell >> 8, j = cell >> 4 & 15, k = cell & 15;
    const auto node = [&](int vertex, int channel) {
      return nodes[static_cast<std::size_t>(
                       ((i + (vertex >> 2)) * 17 + j + (vertex >> 1 & 1)) * 17 + k + (vertex & 1))]
          .rgb[channel];
    };
    for (int t = 0; t < 6; ++t) {
      for (int c = 0; c < 3; ++c) {
        int expected[4] = {node(0, c) << 12, 0, 0, 0};
        for (int step = 1; step < 4; ++step) {
          const int bit = kPaths[t][step] ^ kPaths[t][step - 1];
          const int axis = bit == 4 ? 1 : bit == 2 ? 2 : 3;
          expected[axis] = node(kPaths[t][step], c) - node(kPaths[t][step - 1], c);
        }
        different += std::memcmp(&engine.cell[i][j][k][t][4 * c], expected, sizeof(expected)) != 0;
      }
    }
  }
  CHECK_EQ(different, 0);
}

void Fresh() {
  auto engine = std::make_unique<CIccEngineS>();
  CHECK_EQ(engine->profile, 65535);
  CHECK_EQ(engine->out, 65535);
  CHECK_EQ(engine->type, 65534);
  CHECK_EQ(engine->bitsOfFraction, 12);
  CHECK(engine->in0 == nullptr && engine->in1 == nullptr && engine->in2 == nullptr);
  CHECK(engine->aux0 == nullptr && engine->aux1 == nullptr && engine->aux2 == nullptr);
  CHECK_EQ(engine->file.head.magic, 0);
  CHECK_EQ(engine->Initial(5), 65533);
  CHECK_EQ(engine->DeleteWorkingBuf(), 65533);
  CHECK_EQ(engine->ConstructEngine(0, 0, 0), 65535);
  CHECK(engine->GetMft2() == nullptr);
  unsigned char src[3] = {1, 2, 3}, dst[6] = {9, 9, 9, 9, 9, 9};
  CHECK_EQ(engine->Conversion(src, dst, 1), 0);
  CHECK_EQ(engine->Conversion(src, reinterpret_cast<unsigned short*>(dst), 1), 0);
  CHECK_EQ(dst[0], 9);
  CHECK_EQ(engine->SetProfile("/no/such.icc", Percepture, RGB, sRGB, 0, 0, 0), 65531);
  CHECK_EQ(engine->out, 65535);
  CHECK_EQ(engine->SetProfile(ScanProfile().c_str(), Percepture, Lab, sRGB, 0, 0, 0), 65530);
  CHECK_EQ(engine->out, 65535);
}

void Pipeline() {
  auto engine = std::make_unique<CIccEngineS>();
  const std::string path = ScanProfile();
  CHECK_EQ(engine->SetProfile(path.c_str(), "ignored", Percepture, RGB, sRGB, 0, 0, 0), 0);
  CHECK_EQ(engine->profile, 0);
  CHECK_EQ(engine->in, 0);
  CHECK_EQ(engine->out, 12);
  CHECK_EQ(engine->status, 12);  // the output code; the sRGB builder itself reports 8
  CHECK_EQ(engine->type, 257);
  CHECK_EQ(engine->path1, path);
  CHECK_EQ(engine->file.head.manufacturer, 0x6D616B65);
  ICC40::ICCFILE::iccTagBase* tag = engine->GetMft2();
  CHECK(tag && tag->signature == TagA2B0);

  // 8-bit level x stands at x * 256, 255 at the top.
  CHECK_EQ(engine->in0[0], 0);
  CHECK_EQ(engine->in1[0x12], 0x10200);
  CHECK_EQ(engine->in2[255], 0xF0FFF);
  CheckCells(*engine);
  CHECK_EQ(engine->outTable[0][1], 1);
  CHECK_EQ(engine->outTable[1][32768], 189);
  CHECK_EQ(engine->outTable[2][65535], 255);

  CLut16Type* lut = dynamic_cast<CLut16Type*>(tag);
  CHECK(lut != nullptr);
  std::memset(engine->cell, 0, sizeof(engine->cell));
  engine->Set3DLut(lut, 0, 0, 0);
  CheckCells(*engine);
  engine->in1[0x12] = 0;
  engine->Set1DLutIn(lut);
  CHECK_EQ(engine->in1[0x12], 0x10200);
  engine->outTable[1][32768] = 0;
  CHECK_EQ(engine->Set1DLutOut(lut), 8);
  CHECK_EQ(engine->status, 8);
  CHECK_EQ(engine->outTable[1][32768], 189);
  CHECK_EQ(engine->InputColorSpace2RGB(0, 0, 0), 12);
  CHECK_EQ(engine->ConstructEngine(0, 0, 0), 12);

  // The auxiliary tables are as large as the others, and the program's to write into.
  CHECK(engine->aux0 != nullptr && engine->aux1 != nullptr && engine->aux2 != nullptr);
  std::memset(engine->aux0, 0, 256 * sizeof(uint32_t));
  std::memset(engine->aux1, 0xFF, 256 * sizeof(uint32_t));
  std::memset(engine->aux2, 0x5A, 256 * sizeof(uint32_t));

  // Pixels by the rule, from the tables at their stated places.
  std::vector<unsigned char> src(3 * 257), dst(3 * 257), expected(3 * 257);
  for (std::size_t i = 0; i < src.size(); ++i) {
    src[i] = static_cast<unsigned char>(i * 151 + i / 7);
  }
  for (std::size_t p = 0; p < 257; ++p) {
    for (int c = 0; c < 3; ++c) {
      expected[3 * p + static_cast<std::size_t>(c)] = static_cast<unsigned char>(
          ModelSample(*engine, src[3 * p], src[3 * p + 1], src[3 * p + 2], c));
    }
  }
  CHECK_EQ(engine->Conversion(src.data(), dst.data(), 257), 0);
  CHECK(dst == expected);
  std::vector<unsigned short> wide(3 * 257);
  CHECK_EQ(engine->Conversion(src.data(), wide.data(), 257), 0);
  CHECK(std::equal(wide.begin(), wide.end(), expected.begin()));
  dst = src;
  CHECK_EQ(engine->Conversion(dst.data(), dst.data(), 257), 0);
  CHECK(dst == expected);

  // Offsets: whole units decide, the colour stage alone is rebuilt.
  CHECK_EQ(engine->Adjust_Lch(0.4, 0, 0), 12);
  CheckCells(*engine);
  const int before = engine->cell[8][8][8][0][0];
  CHECK_EQ(engine->Adjust_Lch(20, 0, 0), 12);
  CHECK_EQ(engine->dL, 20);
  CHECK(engine->cell[8][8][8][0][0] > before);
  CHECK_EQ(engine->Adjust_Lch(0, 0, 0), 12);
  CheckCells(*engine);

  // Caller's curves: entry i stands at 257 * i with the value 256 * curve[i].
  unsigned char rising[256], falling[256];
  for (int i = 0; i < 256; ++i) {
    rising[i] = static_cast<unsigned char>(i);
    falling[i] = static_cast<unsigned char>(255 - i);
  }
  CHECK_EQ(engine->Adjust_Output(rising, falling, nullptr, 256), 12);
  CHECK_EQ(engine->outTable[1][32768], 189);
  CHECK_EQ(engine->Adjust_Output(rising, falling, rising, 256), 12);
  CHECK_EQ(engine->outTable[0][25700], 100);
  CHECK_EQ(engine->outTable[1][25700], 155);
  CHECK_EQ(engine->outTable[2][257], 1);
  CHECK_EQ(engine->status, 12);

  // 16-bit input through SetIntent: 65536 entries, no new conversion type.
  CHECK_EQ(engine->SetIntent(Absolute, RGB_16, sRGB_16, 0, 0, 0), 13);
  CHECK_EQ(engine->intentCode, 3);
  CHECK_EQ(engine->type, 257);
  CHECK_EQ(engine->in0[4096], 0x10000);
  CHECK_EQ(engine->in2[65535], 0xF0FFF);
  CHECK_EQ(engine->outTable[1][32768], 48191);
  for (uint32_t* aux : {engine->aux0, engine->aux1, engine->aux2}) {
    std::memset(aux, 0, 65536 * sizeof(uint32_t));
  }
  std::vector<unsigned short> source16(3 * 100), result16(3 * 100), expected16(3 * 100);
  for (std::size_t i = 0; i < source16.size(); ++i) {
    source16[i] = static_cast<unsigned short>(i * 40503);
  }
  for (std::size_t p = 0; p < 100; ++p) {
    for (int c = 0; c < 3; ++c) {
      expected16[3 * p + static_cast<std::size_t>(c)] = static_cast<unsigned short>(
          ModelSample(*engine, source16[3 * p], source16[3 * p + 1], source16[3 * p + 2], c));
    }
  }
  engine->Conversion(reinterpret_cast<unsigned char*>(source16.data()),
                     reinterpret_cast<unsigned char*>(result16.data()), 100);
  CHECK(result16 == expected16);

  engine->Reset();
  CHECK(engine->in0 == nullptr && engine->aux2 == nullptr);
  CHECK_EQ(engine->out, 65535);
  CHECK_EQ(engine->path1, path);
  CHECK_EQ(engine->SetIntent(Absolute, NoColor, NoColor, 0, 0, 0), 65535);
  CHECK(engine->in0 == nullptr && engine->aux0 == nullptr);
  int result = 0;
  CHECK_TEXT(
      Printed(
          1,
          [&] { result = engine->Conversion("/no/such.tif", Scratch::Path("never.tif").c_str()); }),
      "/no/such.tif Open fail.\n");
  CHECK_EQ(result, -1);
  CHECK(!std::filesystem::exists(Scratch::Path("never.tif")));
}

/// Manufacturer "none": the output tables' own contents, position by position.
void FillWorker() {
  const std::string path = Scratch::Path("none.icc");
  WriteFile(path, Profile({{TagA2B0, Mft2(3, 3, 17, 2, 2, ScanNode)}}, 0x6E6F6E65));
  auto engine = std::make_unique<CIccEngineS>();
  CHECK_EQ(engine->SetProfile(path.c_str(), Percepture, RGB_16, sRGB_16, 0, 0, 0), 0);
  unsigned short src[12], dst[12];
  std::fill(src, src + 12, static_cast<unsigned short>(40000));
  engine->Conversion(reinterpret_cast<unsigned char*>(src), reinterpret_cast<unsigned char*>(dst),
                     4);
  for (int p = 0; p < 12; ++p) {
    const double n = p / 65535.0;
    CHECK_EQ(dst[p], static_cast<int>(n * 65535.0 * 12.92));
  }
}

}  // namespace

namespace client {

void ScanNode(int i, int j, int k, unsigned* values) {
  values[0] = static_cast<unsigned>(1000 + 1300 * i + 1500 * j + 1000 * k);
  values[1] = static_cast<unsigned>(32768 + 700 * i - 600 * j + 100 * k);
  values[2] = static_cast<unsigned>(32768 + 300 * i + 400 * j - 700 * k);
}

std::string ScanProfile() {
  const std::string path = Scratch::Path("scan.icc");
  WriteFile(path, Profile({{TagA2B0, Mft2(3, 3, 17, 2, 2, ScanNode)},
                           {ICC40::ICC4_HEADER::TagWtpt, WhitePointTag()}},
                          0x6D616B65));
  return path;
}

std::uint32_t ModelSample(const CIccEngineS& engine, unsigned s0, unsigned s1, unsigned s2,
                          int channel) {
  const std::uint32_t e0 = engine.in0[s0], e1 = engine.in1[s1], e2 = engine.in2[s2];
  const int fx = e0 & 0xFFFF, fy = e1 & 0xFFFF, fz = e2 & 0xFFFF;
  int t;
  if (fx > fy) {
    t = fx > fz ? (fy > fz ? 0 : 1) : 2;
  } else {
    t = fy > fz ? (fx > fz ? 3 : 4) : 5;
  }
  const std::int32_t* q = &engine.cell[e0 >> 16][e1 >> 16][e2 >> 16][t][4 * channel];
  return engine.outTable[channel][(q[0] + q[1] * fx + q[2] * fy + q[3] * fz) >> 12];
}

}  // namespace client

void CheckEngine() {
  Fresh();
  Pipeline();
  FillWorker();
}
