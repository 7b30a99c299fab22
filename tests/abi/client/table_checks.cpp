#include <cstring>
#include <memory>

#include "checks.h"
#include "declarations.h"
#include "profiles.h"

using namespace ICC40::ICC_UNIT;
using namespace ICC40::ICCFILE;
using namespace client;
using ICC40::ICC4_HEADER::TagA2B0;

namespace {

using Word = unsigned short;

/// Parsed lookup tag with linear curves; the grid is 2 points of zeros.
std::unique_ptr<CLut16Type> Lut(unsigned ins, unsigned outs, unsigned inEntries,
                                unsigned outEntries) {
  Bytes bytes = Mft2(ins, outs, 2, inEntries, outEntries, [](int, int, int, unsigned*) {});
  auto lut = std::make_unique<CLut16Type>();
  lut->Initial(TagA2B0, bytes.data(), static_cast<int>(bytes.size()));
  return lut;
}

void RunState() {
  Info* info = new Info;
  CHECK_EQ(info->profile, 65535);
  CHECK_EQ(info->spare, 65535);
  CHECK_EQ(info->in, 65535);
  CHECK_EQ(info->out, 65535);
  CHECK_EQ(info->status, 65535);
  CHECK_EQ(info->type, 65534);
  CHECK(info->work == nullptr && info->from == nullptr && info->to == nullptr);
  CHECK_EQ(info->count, 0);
  CHECK_EQ(info->elements, 0);
  CHECK_EQ(info->path1.size() + info->path2.size(), 0);

  CHECK_EQ(info->CheckCurrentProfile("a", nullptr), 1);
  CHECK_EQ(info->CheckCurrentProfile("a", nullptr), 0);
  CHECK_EQ(info->path1, std::string("a"));
  CHECK_EQ(info->CheckCurrentProfile("a", "b"), 1);
  CHECK_EQ(info->path2, std::string("b"));
  CHECK_EQ(info->CheckCurrentProfile(nullptr, nullptr), 1);
  CHECK_EQ(info->path1, std::string());
  CHECK_EQ(info->CheckCurrentProfile("kept", nullptr), 1);

  CHECK_EQ(info->CheckLch(0, 0, 0), 0);
  CHECK_EQ(info->CheckLch(1, -2, 3), 1);
  CHECK_EQ(info->dL, 1);
  CHECK_EQ(info->dC, -2);
  CHECK_EQ(info->dH, 3);

  info->in = RGB;
  info->out = sRGB_16;
  info->CheckConversionType();
  CHECK_EQ(info->type, 258);
  unsigned char src[4], dst[4];
  CHECK_EQ(info->CheckWorkingBuf(src, dst, 10), 0);
  CHECK(info->from == src && info->to == dst && info->work != nullptr);
  CHECK_EQ(info->count, 10);
  CHECK_EQ(info->elements, 30);
  info->work[29] = 7;
  info->out = NoColor;
  info->CheckConversionType();
  CHECK_EQ(info->type, 256);
  CHECK_EQ(info->CheckWorkingBuf(dst, src, 11), 65534);
  CHECK_EQ(info->elements, 0);
  CHECK(info->work != nullptr && info->work[29] == 7);
  CHECK_EQ(info->DeleteWorkingBuf(), 0);
  CHECK(info->work == nullptr);
  info->status = 12;
  CHECK_EQ(info->Reset(), 0);
  CHECK_EQ(info->in, 65535);
  CHECK_EQ(info->type, 65534);
  CHECK_EQ(info->dC, 0);
  CHECK(info->from == nullptr);
  CHECK_EQ(info->status, 12);
  CHECK_EQ(info->path1, std::string("kept"));
  delete info;
}

/// Replaces the interpolation that the table's own Initial asks for.
struct MyInputTable : InputTable33 {
  using InputTable33::Conversion;
  int Conversion(Word& c0, Word& c1, Word& c2, Word&, Word&, Word&, Word&) override {
    ++calls;
    c0 = static_cast<Word>(65535 - c0);
    c1 = 1;
    c2 = 2;
    return 0;
  }
  int calls = 0;
};

void ThreeInputs() {
  const auto lut = Lut(3, 3, 256, 3);
  auto table = std::make_unique<InputTable33>();
  Base* base = table.get();
  CHECK_TEXT(base->label, "InputTable33");
  CHECK_EQ(table->bits, 16);
  CHECK_EQ(table->table[2][65535], 0);
  CHECK_EQ(table->Initial(lut.get(), RGB_16), 0);
  CHECK_EQ(table->spacing, 257.0);
  CHECK_EQ(table->bits, 16);
  CHECK_EQ(table->points[2][255], 65535);
  int different = 0;
  for (std::uint32_t v = 0; v < 65536; ++v) {
    different += (table->table[0][v] != v) + (table->table[2][v] != v);
  }
  CHECK_EQ(different, 0);
  Word c0 = 1000, c1 = 2000, c2 = 3000, o = 9;
  base->Conversion(c0, c1, c2, o, o, o, o);
  CHECK_EQ(c0 + c1 + c2, 6000);
  CHECK_EQ(o, 9);
  unsigned char bytes[3] = {1, 2, 3};
  base->Conversion(bytes, 1);
  CHECK_EQ(bytes[1], 2);

  Info info;
  Word samples[6] = {1, 20000, 65535, 4, 5, 6};
  info.in = RGB_16;
  info.out = RGB;
  info.CheckConversionType();
  info.CheckWorkingBuf(reinterpret_cast<unsigned char*>(samples), nullptr, 2);
  CHECK_EQ(base->Conversion(&info), 0);
  CHECK(std::memcmp(info.work, samples, sizeof(samples)) == 0);
  info.type = 259;
  info.work[0] = 77;
  CHECK_EQ(base->Conversion(&info), 65535);
  CHECK_EQ(info.work[0], 77);

  auto copy = std::make_unique<InputTable33>();
  CHECK_EQ(copy->Initial(table.get()), 0);
  CHECK_EQ(copy->table[1][40000], 40000);
  CHECK_EQ(copy->Change_Lut16_To_Lut8(), 0);
  CHECK_EQ(copy->bits, 8);
  CHECK_EQ(copy->table[1][1], 256);
  CHECK_EQ(copy->table[1][254], 65024);
  CHECK_EQ(copy->table[1][255], 65535);

  copy->Initial(table.get());
  CHECK_EQ(copy->Change_Lut16_To_Lab8(), 0);
  CHECK_EQ(copy->table[1][0], 32767);
  CHECK_EQ(copy->table[1][255], 32513);
  CHECK_EQ(copy->table[1][128], 32768);
  CHECK_EQ(copy->table[0][255], 65280);

  copy->Initial(table.get());
  CHECK_EQ(copy->Change_Lut16_To_Lab16(), 0);
  CHECK_EQ(copy->table[1][0], 32768);
  CHECK_EQ(copy->table[1][32767], 32767);  // stays unswapped
  CHECK_EQ(copy->table[0][0], 0);
  CHECK_EQ(copy->bits, 16);

  auto mine = std::make_unique<MyInputTable>();
  CHECK_EQ(mine->Initial(lut.get(), RGB_16), 0);
  CHECK_EQ(mine->calls, 65535);
  CHECK_EQ(mine->table[0][100], 65435);
  CHECK_EQ(mine->table[1][65534], 1);
  CHECK_EQ(mine->table[2][0], 2);
  CHECK_EQ(mine->table[2][65535], 65535);  // the curve's last entry
}

template <class Table>
void WiderInput(const char* name, int outputColor, int samples) {
  const auto lut = Lut(3, 3, 256, 3);
  auto table = std::make_unique<Table>();
  CHECK_TEXT(table->label, name);
  CHECK_EQ(table->extra, 0);
  CHECK_EQ(table->bits, 16);
  CHECK_EQ(table->Initial(lut.get(), RGB_16), 0);
  CHECK_EQ(table->extra, 0);
  Base* base = table.get();
  Info info;
  Word pixels[6] = {10, 20, 30, 40, 50, 60};
  info.in = RGB_16;
  info.out = outputColor;
  info.CheckConversionType();
  info.CheckWorkingBuf(reinterpret_cast<unsigned char*>(pixels), nullptr, 2);
  CHECK_EQ(info.elements, 2 * samples);
  CHECK_EQ(base->Conversion(&info), 0);
  CHECK_EQ(info.work[2], 30);
  CHECK_EQ(info.work[3], 0);
  CHECK_EQ(info.work[samples], 40);
  CHECK_EQ(info.work[2 * samples - 1], 0);
  info.type = 257;
  CHECK_EQ(base->Conversion(&info), 65535);
  unsigned char bytes[1] = {5};
  base->Conversion(bytes, 1);
  CHECK_EQ(bytes[0], 5);
  Word c0 = 7, c1 = 8, c2 = 9, o = 1;
  base->Conversion(c0, c1, c2, o, o, o, o);
  CHECK_EQ(c0 + c1 + c2, 24);
}

void FourInputs() {
  const auto lut = Lut(4, 3, 256, 3);
  for (int i = 0; i < 256; ++i) {
    lut->inCurves[3 * 256 + i] = 4242;
  }
  auto table = std::make_unique<InputTable43>();
  CHECK_TEXT(table->label, "InputTable43");
  CHECK_EQ(table->bits, 16);
  CHECK_EQ(table->Initial(lut.get()), 0);
  CHECK_EQ(table->spacing, 257.0);
  CHECK_EQ(table->points[3][255], 4242);
  Base* base = table.get();
  Word c0 = 7, c1 = 8, c2 = 9, o0 = 1, o1 = 5;
  base->Conversion(c0, c1, c2, o0, o1, o1, o1);
  CHECK_EQ(c0, 7);
  CHECK_EQ(c2, 9);
  CHECK_EQ(o0, 4242);
  CHECK_EQ(o1, 5);
  Info info;
  CHECK_EQ(base->Conversion(&info), 0);
  unsigned char bytes[1] = {5};
  base->Conversion(bytes, 1);
  CHECK_EQ(bytes[0], 5);
}

struct MyOutputTable : OutputTable33 {
  int Interpolation1D(int channel) override {
    asked += static_cast<char>('0' + channel);
    return 0;
  }
  std::string asked;
};

void Output() {
  auto table = std::make_unique<OutputTable33>();
  Base* base = table.get();
  CHECK_TEXT(base->label, "OutputTable33");
  CHECK_EQ(table->packing, 0);
  CHECK_EQ(table->points[6][4095], 4095);
  CHECK_EQ(table->table[6][65535], 65535);
  CHECK_EQ(table->ResetTable(), 65536);

  const auto lut = Lut(3, 3, 3, 256);
  OutputTable33* virtually = table.get();
  CHECK_EQ(virtually->Initial(lut.get()), 0);
  CHECK_EQ(table->planes, 3);
  CHECK_EQ(table->perPlane, 256);
  CHECK_EQ(table->spacing, 257.0);
  CHECK_EQ(table->fractionDivisor, 256.0);
  CHECK_EQ(table->table[2][256], 257);
  CHECK_EQ(table->table[2][257], 257);
  CHECK_EQ(table->table[2][65535], 65535);
  table->points[1][0] = 90;
  CHECK_EQ(virtually->Interpolation1D(1), virtually->Interpolation1D(1));
  CHECK_EQ(table->table[1][0], 90);

  Word c0 = 256, c1 = 0, c2 = 65535, o = 3;
  base->Conversion(c0, c1, c2, o, o, o, o);
  CHECK_EQ(c0, 257);
  CHECK_EQ(c1, 90);
  CHECK_EQ(c2, 65535);
  CHECK_EQ(o, 3);

  Bytes bytes8;
  bytes8.Text("mft1").Big32(0).U8(1).U8(2).U8(1).U8(0).Zeros(36).Big16(1).Big16(256).U8(0).Zeros(2);
  for (unsigned i = 0; i < 512; ++i) {
    bytes8.U8(i < 256 ? 255 - i : i);
  }
  CLut8Type lut8;
  lut8.Initial(TagA2B0, bytes8.data(), static_cast<int>(bytes8.size()));
  CHECK_EQ(virtually->Initial(&lut8), 0);
  CHECK_EQ(table->table[0][0], 255);
  CHECK_EQ(table->table[0][255], 0);
  CHECK_EQ(table->table[1][255], 255);
  CHECK_EQ(table->table[0][256], 257);

  unsigned char rising[256];
  for (int i = 0; i < 256; ++i) {
    rising[i] = static_cast<unsigned char>(i);
  }
  CHECK_EQ(table->Initial(rising, rising, rising, 256), 0);
  CHECK_EQ(table->spacing, 257.0);
  CHECK_EQ(table->table[2][257], 256);
  CHECK_EQ(table->table[2][25700], 25600);

  const auto at = [&](int channel, int level) { return table->table[channel][level]; };
  table->ResetTable();
  table->packing = 99;
  CHECK_EQ(table->OutputRGB8(), 0);
  CHECK_EQ(table->packing, 1);
  CHECK_EQ(at(2, 128), 0);
  CHECK_EQ(at(2, 129), 1);
  CHECK_EQ(at(2, 65535), 255);
  CHECK_EQ(at(3, 65535), 65535);
  table->ResetTable();
  CHECK_EQ(table->OutputGamma100(Adobe100), 20);
  CHECK_EQ(at(0, 129), 1);
  table->ResetTable();
  CHECK_EQ(table->OutputCMYK_16(), 5);
  CHECK_EQ(table->packing, 2);
  CHECK_EQ(table->OutputCMYK_8(), 4);
  CHECK_EQ(table->packing, 3);
  CHECK_EQ(at(3, 129), 1);
  CHECK_EQ(at(4, 129), 129);
  table->ResetTable();
  CHECK_EQ(table->OutputCLR6_16(), 17);
  CHECK_EQ(table->packing, 4);
  CHECK_EQ(table->OutputCLR6_8(), 16);
  CHECK_EQ(table->packing, 5);
  CHECK_EQ(at(5, 129), 1);
  CHECK_EQ(at(6, 129), 129);
  table->ResetTable();
  CHECK_EQ(table->OutputCLR7_16(), 19);
  CHECK_EQ(table->packing, 6);
  CHECK_EQ(table->OutputCLR7_8(), 18);
  CHECK_EQ(table->packing, 7);
  CHECK_EQ(at(6, 129), 1);
  table->ResetTable();
  CHECK_EQ(table->OutputLab_8(), 2);
  CHECK_EQ(table->packing, 1);
  CHECK_EQ(at(0, 128), 1);  // L* is rounded by 128
  CHECK_EQ(at(1, 32768), 0);
  CHECK_EQ(at(1, 0), 128);
  table->ResetTable();
  CHECK_EQ(table->OutputLab_16(), 3);
  CHECK_EQ(table->packing, 0);
  CHECK_EQ(at(0, 5), 5);
  CHECK_EQ(at(2, 5), 32773);

  CHECK_EQ(table->OutputGamma_sRGB(), 8);
  CHECK_EQ(table->packing, 1);
  CHECK_EQ(at(0, 0), 0);
  CHECK_EQ(at(1, 1), 1);
  CHECK_EQ(at(1, 32768), 189);
  CHECK_EQ(at(2, 65535), 255);
  CHECK_EQ(table->OutputGamma_sRGB_16(), 9);
  CHECK_EQ(table->packing, 0);
  CHECK_EQ(at(0, 1), 12);
  CHECK_EQ(at(1, 100), 1292);
  CHECK_EQ(at(1, 32768), 48191);
  CHECK_EQ(at(2, 65535), 65535);
  CHECK_EQ(table->OutputGamma180_16(Apple_16), 27);
  CHECK_EQ(at(1, 32768), 44589);
  CHECK_EQ(table->OutputGamma180(Apple), 26);
  CHECK_EQ(table->packing, 1);
  CHECK_EQ(at(1, 32768), (44589 + 127 + 127) / 256);
  CHECK_EQ(at(2, 65535), 255);

  table->ResetTable();
  CHECK_EQ(table->OutputGamma_KodakPhoto_16(), 35);
  CHECK_EQ(table->packing, 0);
  CHECK_EQ(at(0, 0), 0);
  CHECK_EQ(at(0, 1), 6);
  CHECK_EQ(at(1, 1023), 6774);
  CHECK_EQ(at(1, 1024), 6908);
  CHECK_EQ(at(2, 32768), 45031);
  CHECK_EQ(at(2, 65535), 65535);
  table->ResetTable();
  CHECK_EQ(table->OutputGamma_KodakPhoto(), 34);
  CHECK_EQ(table->packing, 1);
  CHECK_EQ(at(1, 1023), (6774 + 127) / 256);
  CHECK_EQ(at(2, 32768), (45031 + 127) / 256);
  table->ResetTable();
  table->KodakCurve(512, 2048, 1.5, 0.2, 2.2);
  CHECK_EQ(at(1, 512), 0);
  CHECK_EQ(at(1, 513), 4);
  CHECK_EQ(at(1, 2047), 7600);
  CHECK_EQ(at(1, 2048), 7733);
  // The 8-bit and 16-bit forms differ in their density offset.
  table->ResetTable();
  CHECK_EQ(table->OutputGamma_KodakMix(), 36);
  CHECK_EQ(at(1, 2048), (7733 + 127) / 256);
  table->ResetTable();
  CHECK_EQ(table->OutputGamma_KodakMix_16(), 37);
  CHECK(at(1, 2048) < 7000);
  table->ResetTable();
  CHECK_EQ(table->OutputGamma_KodakText_16(), 39);
  CHECK_EQ(at(0, 2048), 0);
  CHECK_EQ(at(0, 10240), 16722);
  table->ResetTable();
  CHECK_EQ(table->OutputGamma_KodakText(), 38);
  CHECK_EQ(at(0, 10240), (16722 + 127) / 256);

  table->ResetTable();
  Info info;
  Word out[6] = {};
  info.in = RGB;
  info.out = sRGB_16;
  info.CheckConversionType();
  info.CheckWorkingBuf(nullptr, reinterpret_cast<unsigned char*>(out), 2);
  for (int i = 0; i < 6; ++i) {
    info.work[i] = static_cast<Word>(1000 * i + 1);
  }
  CHECK_EQ(base->Conversion(&info), 0);
  CHECK(std::memcmp(out, info.work, sizeof(out)) == 0);
  info.type = 264;  // seven colours: nothing is written
  out[0] = 4711;
  CHECK_EQ(base->Conversion(&info), 0);
  CHECK_EQ(out[0], 4711);
  unsigned char bytes[1] = {5};
  base->Conversion(bytes, 1);
  CHECK_EQ(bytes[0], 5);

  auto mine = std::make_unique<MyOutputTable>();
  OutputTable33* asBase = mine.get();
  asBase->Initial(lut.get());
  CHECK_EQ(mine->asked, std::string("012"));
  asBase->Initial(rising, rising, rising, 256);
  CHECK_EQ(mine->asked, std::string("012012"));
  CHECK_EQ(mine->table[0][257], 257);  // left alone
}

}  // namespace

void CheckTables() {
  RunState();
  ThreeInputs();
  WiderInput<InputTable34>("InputTable34", CMYK_16, 4);
  WiderInput<InputTable36>("InputTable36", CLR6_16, 6);
  WiderInput<InputTable37>("InputTable37", CLR7_16, 7);
  FourInputs();
  Output();
}
