// Programs read and derive from these objects directly: every field offset, object size, base class
// and virtual slot is interface (LP64, Itanium C++ ABI). All of it is proved here and nowhere else.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "codes/ColorCodes.h"
#include "codes/ResultCodes.h"
#include "colormath/CLCH.h"
#include "colormath/RgbMatrices.h"
#include "engine/CIccEngineS.h"
#include "iccfile/CChad.h"
#include "iccfile/CCurveType.h"
#include "iccfile/CDataType.h"
#include "iccfile/CLut.h"
#include "iccfile/CLut16Type.h"
#include "iccfile/CLut8Type.h"
#include "iccfile/CTextDescriptionType.h"
#include "iccfile/CTextType.h"
#include "iccfile/CXYZType.h"
#include "iccfile/IccFile4.h"
#include "interface/EngineSlots.h"
#include "tiff/BitsPerSampleTag.h"
#include "tiff/CTiff.h"
#include "tiff/Exif_IFD_Tag.h"
#include "tiff/ResolutionTag.h"
#include "units/ColorTable34.h"
#include "units/ColorTable36.h"
#include "units/ColorTable37.h"
#include "units/Info.h"
#include "units/InputTable34.h"
#include "units/InputTable36.h"
#include "units/InputTable37.h"
#include "units/InputTable43.h"
#include "units/OutputTable33.h"

// These classes are not of standard layout; both compilers define offsetof for them all the same.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

#define FIELD(T, f, at) static_assert(offsetof(T, f) == at, #T "::" #f " moved")
#define SIZE(T, bytes) static_assert(sizeof(T) == bytes, "size of " #T " changed")
#define BASE(T, B) static_assert(std::is_base_of_v<B, T>, #T " no longer derives from " #B)
#define PLAIN(T) static_assert(!std::is_polymorphic_v<T>, #T " has become polymorphic")

namespace {

using namespace ICC40::ICC4_HEADER;
using namespace ICC40::ICCFILE;
using namespace ICC40::ICC_UNIT;
using ColorLch::CLCH;
using ICC40::ICC_ENG_S4::CIccEngineS;
using namespace KX_Tiff_STL3;

// ---------------------------------------------------------------------------------------------
// The platform's own sizes that the numbers below are made of

SIZE(void*, 8);
SIZE(std::string, 32);
SIZE(std::vector<int>, 24);

// ---------------------------------------------------------------------------------------------
// Codes

static_assert(std::is_same_v<std::underlying_type_t<ColorSpaceSignature>, int>);
static_assert(std::is_same_v<std::underlying_type_t<Intent>, int>);
static_assert(std::is_same_v<std::underlying_type_t<icTagSignature>, unsigned>);
static_assert(std::is_same_v<std::underlying_type_t<icTagTypeSignature>, unsigned>);
static_assert(std::is_same_v<std::underlying_type_t<TiffTagSignature>, unsigned>);
static_assert(std::is_same_v<std::underlying_type_t<FieldType>, unsigned>);
SIZE(ColorLch::ColorSpace, 4);

// ---------------------------------------------------------------------------------------------
// Profile file

PLAIN(icTagBase);
SIZE(icTagBase, 8);

BASE(iccTagBase, icTagBase);
FIELD(iccTagBase, typeSignature, 8);
FIELD(iccTagBase, reserved, 12);
FIELD(iccTagBase, tagSignature, 16);
FIELD(iccTagBase, size, 20);
FIELD(iccTagBase, data, 24);
SIZE(iccTagBase, 32);

BASE(CXYZType, iccTagBase);
FIELD(CXYZType, fixedX, 32);
FIELD(CXYZType, fixedY, 36);
FIELD(CXYZType, fixedZ, 40);
FIELD(CXYZType, X, 48);
FIELD(CXYZType, Y, 56);
FIELD(CXYZType, Z, 64);
SIZE(CXYZType, 72);

BASE(CCurveType, iccTagBase);
FIELD(CCurveType, count, 32);
FIELD(CCurveType, entries, 40);
SIZE(CCurveType, 48);

BASE(CTextType, iccTagBase);
FIELD(CTextType, text, 32);
SIZE(CTextType, 40);

BASE(CTextDescriptionType, iccTagBase);
FIELD(CTextDescriptionType, length, 32);
FIELD(CTextDescriptionType, text, 40);
SIZE(CTextDescriptionType, 48);

BASE(CDataType, iccTagBase);
SIZE(CDataType, 32);

BASE(CChad, iccTagBase);
FIELD(CChad, matrix, 32);
SIZE(CChad, 104);

BASE(CLut8Type, iccTagBase);
static_assert(!std::is_base_of_v<CLut16Type, CLut8Type>);
FIELD(CLut8Type, inputChannels, 32);
FIELD(CLut8Type, outputChannels, 33);
FIELD(CLut8Type, gridPoints, 34);
FIELD(CLut8Type, reservedByte, 35);
FIELD(CLut8Type, matrix, 36);
FIELD(CLut8Type, inputEntries, 72);
FIELD(CLut8Type, outputEntries, 74);
FIELD(CLut8Type, inputTables, 80);
FIELD(CLut8Type, colorTable, 88);
FIELD(CLut8Type, outputTables, 96);
SIZE(CLut8Type, 104);

BASE(CLut16Type, iccTagBase);
static_assert(!std::is_base_of_v<CLut8Type, CLut16Type>);
static_assert(!std::is_base_of_v<CLut, CLut16Type>);
FIELD(CLut16Type, inputChannels, 32);
FIELD(CLut16Type, outputChannels, 33);
FIELD(CLut16Type, gridPoints, 34);
FIELD(CLut16Type, reservedByte, 35);
FIELD(CLut16Type, matrix, 36);
FIELD(CLut16Type, inputEntries, 72);
FIELD(CLut16Type, outputEntries, 74);
FIELD(CLut16Type, inputTables, 80);
FIELD(CLut16Type, colorTable, 88);
FIELD(CLut16Type, outputTables, 96);
SIZE(CLut16Type, 104);

BASE(CLut, iccTagBase);
FIELD(CLut, inputChannels, 32);
FIELD(CLut, outputChannels, 33);
FIELD(CLut, reservedBytes, 34);
FIELD(CLut, offsetB, 36);
FIELD(CLut, offsetMatrix, 40);
FIELD(CLut, offsetM, 44);
FIELD(CLut, offsetClut, 48);
FIELD(CLut, offsetA, 52);
FIELD(CLut, curvesB, 56);
FIELD(CLut, curveM, 80);
FIELD(CLut, grid, 88);
FIELD(CLut, curvesA, 96);
SIZE(CLut, 152);

FIELD(LutGrid, gridPoints, 0);
FIELD(LutGrid, precision, 16);
FIELD(LutGrid, padding, 17);
FIELD(LutGrid, values, 24);
SIZE(LutGrid, 32);

// The header has the offsets of ICC.1:2010 7.2.
FIELD(icHeader, size, 0);
FIELD(icHeader, cmmType, 4);
FIELD(icHeader, version, 8);
FIELD(icHeader, deviceClass, 12);
FIELD(icHeader, colorSpace, 16);
FIELD(icHeader, pcs, 20);
FIELD(icHeader, date, 24);
FIELD(icHeader, magic, 36);
FIELD(icHeader, platform, 40);
FIELD(icHeader, flags, 44);
FIELD(icHeader, manufacturer, 48);
FIELD(icHeader, model, 52);
FIELD(icHeader, attributes, 56);
FIELD(icHeader, renderingIntent, 64);
FIELD(icHeader, illuminant, 68);
FIELD(icHeader, creator, 80);
FIELD(icHeader, idAndReserved, 84);
SIZE(icHeader, 128);
FIELD(icDateTime, year, 0);
FIELD(icDateTime, month, 2);
FIELD(icDateTime, day, 4);
FIELD(icDateTime, hours, 6);
FIELD(icDateTime, minutes, 8);
FIELD(icDateTime, seconds, 10);
SIZE(icDateTime, 12);

PLAIN(IccFile4);
FIELD(IccFile4, header, 0);
FIELD(IccFile4, tags, 128);
SIZE(IccFile4, 152);

// ---------------------------------------------------------------------------------------------
// Run state and engine

PLAIN(Info);
FIELD(Info, profileState, 0);
FIELD(Info, reserved, 4);
FIELD(Info, inputColor, 8);
FIELD(Info, outputColor, 12);
FIELD(Info, engineStatus, 16);
FIELD(Info, intent, 20);
FIELD(Info, workingBuf, 24);
FIELD(Info, srcBuf, 32);
FIELD(Info, dstBuf, 40);
FIELD(Info, workingCount, 48);
FIELD(Info, workingSize, 52);
FIELD(Info, adjustL, 56);
FIELD(Info, adjustC, 60);
FIELD(Info, adjustH, 64);
FIELD(Info, conversionType, 68);
FIELD(Info, currentProfile, 72);
FIELD(Info, currentProfile2, 104);
SIZE(Info, 136);

PLAIN(CIccEngineS);
BASE(CIccEngineS, Info);
FIELD(CIccEngineS, profileState, 0);
FIELD(CIccEngineS, outputColor, 12);
FIELD(CIccEngineS, iccFile, 136);
FIELD(CIccEngineS, inLutAux0, 288);
FIELD(CIccEngineS, inLut0, 296);
FIELD(CIccEngineS, inLutAux1, 304);
FIELD(CIccEngineS, inLut1, 312);
FIELD(CIccEngineS, inLutAux2, 320);
FIELD(CIccEngineS, inLut2, 328);
FIELD(CIccEngineS, cells, 336);
FIELD(CIccEngineS, outLut, 1179984);
FIELD(CIccEngineS, fractionBits, 1966416);
SIZE(CIccEngineS, 1966424);
SIZE(CIccEngineS::cells, 1179648);
SIZE(CIccEngineS::outLut, 786432);
// Strides of the cells: i slowest, then j, k, tetrahedron, coefficient.
FIELD(CIccEngineS, cells[1][0][0][0][0], 336 + 73728);
FIELD(CIccEngineS, cells[0][1][0][0][0], 336 + 4608);
FIELD(CIccEngineS, cells[0][0][1][0][0], 336 + 288);
FIELD(CIccEngineS, cells[0][0][0][1][0], 336 + 48);

// ---------------------------------------------------------------------------------------------
// Tables

FIELD(Base, name, 8);
SIZE(Base, 16);

BASE(InputTable33, Base);
FIELD(InputTable33, step, 16);
FIELD(InputTable33, curves, 24);
FIELD(InputTable33, lookup, 49176);
FIELD(InputTable33, depth, 835608);
SIZE(InputTable33, 835616);

// The derived tables' own field lies in the padding behind `depth`: the size stays.
BASE(InputTable34, InputTable33);
FIELD(InputTable34, extra, 835612);
SIZE(InputTable34, 835616);
BASE(InputTable36, InputTable33);
FIELD(InputTable36, extra, 835612);
SIZE(InputTable36, 835616);
BASE(InputTable37, InputTable33);
FIELD(InputTable37, extra, 835612);
SIZE(InputTable37, 835616);

BASE(InputTable43, Base);
static_assert(!std::is_base_of_v<InputTable33, InputTable43>);
FIELD(InputTable43, step, 16);
FIELD(InputTable43, curves, 24);
FIELD(InputTable43, depth, 65560);
SIZE(InputTable43, 65568);

BASE(OutputTable33, Base);
FIELD(OutputTable33, step, 16);
FIELD(OutputTable33, divisor, 24);
FIELD(OutputTable33, channels, 32);
FIELD(OutputTable33, entries, 36);
FIELD(OutputTable33, outputMode, 40);
FIELD(OutputTable33, curves, 44);
FIELD(OutputTable33, lookup, 114732);
SIZE(OutputTable33, 1949744);

BASE(ColorTable33, Base);
FIELD(ColorTable33, nodePositions, 16);
FIELD(ColorTable33, nodeStep, 24);
FIELD(ColorTable33, shift, 32);
FIELD(ColorTable33, mask, 36);
FIELD(ColorTable33, gridPoints, 40);
FIELD(ColorTable33, inputChannels, 44);
FIELD(ColorTable33, outputChannels, 48);
FIELD(ColorTable33, grid, 52);
FIELD(ColorTable33, grid[1][0][0][0], 52 + 30492);
FIELD(ColorTable33, grid[0][1][0][0], 52 + 924);
FIELD(ColorTable33, grid[0][0][1][0], 52 + 28);
SIZE(ColorTable33, 1006288);
BASE(ColorTable34, ColorTable33);
SIZE(ColorTable34, 1006288);
BASE(ColorTable36, ColorTable33);
SIZE(ColorTable36, 1006288);
BASE(ColorTable37, ColorTable33);
SIZE(ColorTable37, 1006288);
// Each of the wider tables derives from ColorTable33 itself.
static_assert(!std::is_base_of_v<ColorTable34, ColorTable36>);
static_assert(!std::is_base_of_v<ColorTable34, ColorTable37>);
static_assert(!std::is_base_of_v<ColorTable36, ColorTable37>);

// ---------------------------------------------------------------------------------------------
// TIFF

FIELD(TiffTag, tag, 8);
FIELD(TiffTag, type, 12);
FIELD(TiffTag, count, 16);
FIELD(TiffTag, value, 20);
FIELD(TiffTag, data, 24);
SIZE(TiffTag, 32);
BASE(BitsPerSampleTag, TiffTag);
SIZE(BitsPerSampleTag, 32);
BASE(ResolutionTag, TiffTag);
SIZE(ResolutionTag, 32);
BASE(Exif_IFD_Tag, TiffTag);
SIZE(Exif_IFD_Tag, 32);

FIELD(Tiff, IFDOffset, 8);
FIELD(Tiff, tags, 16);
SIZE(Tiff, 40);

BASE(CTiff, Tiff);
FIELD(CTiff, Width, 40);
FIELD(CTiff, Length, 44);
FIELD(CTiff, Samples, 48);
FIELD(CTiff, Bits, 52);
FIELD(CTiff, RowBytes, 56);
FIELD(CTiff, Resolution, 60);
FIELD(CTiff, ImageBuf, 64);
SIZE(CTiff, 72);

PLAIN(ErrCode);
SIZE(ErrCode, 4);
SIZE(DataType, 64);

// ---------------------------------------------------------------------------------------------
// Colour math and exported tables

PLAIN(CLCH);
FIELD(CLCH, L, 0);
FIELD(CLCH, C, 8);
FIELD(CLCH, H, 16);
FIELD(CLCH, a, 24);
FIELD(CLCH, b, 32);
FIELD(CLCH, R, 40);
FIELD(CLCH, G, 48);
FIELD(CLCH, B, 56);
FIELD(CLCH, X, 64);
FIELD(CLCH, Y, 72);
FIELD(CLCH, Z, 80);
FIELD(CLCH, Xw, 88);
FIELD(CLCH, Yw, 96);
FIELD(CLCH, Zw, 104);
FIELD(CLCH, RGB2XYZ_Matrix, 112);
FIELD(CLCH, XYZ2RGB_Matrix, 184);
SIZE(CLCH, 256);

SIZE(sRGB_D50, 72);
SIZE(inv_ColorMatchRGB_D50, 72);
SIZE(strColor, 320);
SIZE(strIntent, 32);
SIZE(strErr, 320);
SIZE(MaxLutSize, 4);
SIZE(ColorTable33::LUT_Cell, 4);
SIZE(ColorTable33::LUT_Size33, 4);

// ---------------------------------------------------------------------------------------------
// Virtual slots. The destructor is slot 1 and fills the first two entries of the virtual table
// (complete and deleting destructor), so that slot n > 1 is entry n. A pointer to a virtual member
// function holds 8 * entry and, in a second word, how far `this` moves. The lowest bit tells that
// it is virtual: of the first word, or, in the C++ ABI for Arm, of the second.

#define VIRTUAL_DESTRUCTOR(T) \
  static_assert(std::has_virtual_destructor_v<T>, #T " has lost its virtual destructor")
VIRTUAL_DESTRUCTOR(iccTagBase);
VIRTUAL_DESTRUCTOR(Base);
VIRTUAL_DESTRUCTOR(TiffTag);
VIRTUAL_DESTRUCTOR(Tiff);

constexpr std::ptrdiff_t kNotVirtual = -1;

template <class Method>
std::ptrdiff_t SlotOf(Method method) {
  struct {
    std::ptrdiff_t entry, adjustment;
  } raw;
  static_assert(sizeof(method) == sizeof(raw));
  std::memcpy(&raw, &method, sizeof(raw));
#if defined(__aarch64__)
  std::ptrdiff_t& flagged = raw.adjustment;
#else
  std::ptrdiff_t& flagged = raw.entry;
#endif
  if ((flagged & 1) == 0) return kNotVirtual;
  flagged -= 1;
  if (raw.adjustment != 0) return kNotVirtual;
  return raw.entry / static_cast<std::ptrdiff_t>(sizeof(void*));
}

template <class T, class... Arguments>
using Method = int (T::*)(Arguments...);

using Word = unsigned short&;
using Number = int&;

template <class T>
using InitialBytes = Method<T, icTagSignature, unsigned char*, int>;
template <class T>
using InitialEmpty = Method<T, icTagSignature, icTagTypeSignature>;
template <class T>
using ConvertWords = Method<T, Word, Word, Word, Word, Word, Word, Word>;
template <class T>
using ConvertBytes = Method<T, unsigned char*, int>;
template <class T>
using ConvertInfo = Method<T, Info*>;
template <class T>
using ConvertNumbers = Method<T, Number, Number, Number, Number, Number, Number, Number>;

struct Row {
  const char* what;
  std::ptrdiff_t actual, slot;
};

template <class T>
std::vector<Row> TagRows() {
  return {
      {"Initial(signature, data, size)", SlotOf<InitialBytes<T>>(&T::Initial), 2},
      {"Initial(signature, type)", SlotOf<InitialEmpty<T>>(&T::Initial), 3},
      {"Read", SlotOf<Method<T, FILE*>>(&T::Read), 4},
      {"Save", SlotOf<Method<T, FILE*>>(&T::Save), 5},
  };
}

template <class T>
std::vector<Row> TableRows() {
  return {
      {"Conversion(unsigned short&, ...)", SlotOf<ConvertWords<T>>(&T::Conversion), 2},
      {"Conversion(unsigned char*, int)", SlotOf<ConvertBytes<T>>(&T::Conversion), 3},
      {"Conversion(Info*)", SlotOf<ConvertInfo<T>>(&T::Conversion), 4},
  };
}

template <class T>
std::vector<Row> ColorTableRows() {
  std::vector<Row> rows = TableRows<T>();
  rows.push_back({"Conversion(int&, ...)", SlotOf<ConvertNumbers<T>>(&T::Conversion), 5});
  rows.push_back({"Initial(lut)", SlotOf<Method<T, CLut16Type*>>(&T::Initial), 6});
  rows.push_back(
      {"Initial(lut, tag)", SlotOf<Method<T, CLut16Type*, iccTagBase*>>(&T::Initial), 7});
  return rows;
}

template <class T>
std::vector<Row> TiffTagRows() {
  return {
      {"GetValue", SlotOf(&T::GetValue), 2},
      {"SaveFile", SlotOf(&T::SaveFile), 3},
      {"GetData", SlotOf(&T::GetData), 4},
  };
}

template <class T>
std::vector<Row> TiffRows() {
  return {
      {"Reset", SlotOf(&T::Reset), 2},
      {"CheckFile", SlotOf(&T::CheckFile), 3},
      {"ReadTiff", SlotOf(&T::ReadTiff), 4},
      {"SaveTiff", SlotOf(&T::SaveTiff), 5},
      {"ReadFile", SlotOf(&T::ReadFile), 6},
      {"SaveFile", SlotOf(&T::SaveFile), 7},
      {"SaveRaw", SlotOf(&T::SaveRaw), 8},
      {"CreateTag", SlotOf(&T::CreateTag), 9},
      {"WriteHeader", SlotOf(&T::WriteHeader), 10},
  };
}

std::vector<Row> OutputTableRows() {
  using T = OutputTable33;
  std::vector<Row> rows = TableRows<T>();
  rows.push_back({"Interpolation1D", SlotOf<Method<T, int>>(&T::Interpolation1D), 5});
  rows.push_back({"Initial(CLut16Type*)", SlotOf<Method<T, CLut16Type*>>(&T::Initial), 6});
  rows.push_back({"Initial(CLut8Type*)", SlotOf<Method<T, CLut8Type*>>(&T::Initial), 7});
  return rows;
}

std::vector<Row> XyzRows() {
  using T = CXYZType;
  std::vector<Row> rows = TagRows<T>();
  rows.push_back({"Initial(signature, X, Y, Z)",
                  SlotOf<Method<T, icTagSignature, double, double, double>>(&T::Initial), 6});
  return rows;
}

TEST(Layout, VirtualSlots) {
  const struct {
    const char* name;
    std::vector<Row> rows;
  } kClasses[] = {
      {"iccTagBase", TagRows<iccTagBase>()},
      {"CXYZType", XyzRows()},
      {"CCurveType", TagRows<CCurveType>()},
      {"CTextType", TagRows<CTextType>()},
      {"CTextDescriptionType", TagRows<CTextDescriptionType>()},
      {"CDataType", TagRows<CDataType>()},
      {"CChad", TagRows<CChad>()},
      {"CLut8Type", TagRows<CLut8Type>()},
      {"CLut16Type", TagRows<CLut16Type>()},
      {"CLut", TagRows<CLut>()},
      {"Base", TableRows<Base>()},
      {"InputTable33", TableRows<InputTable33>()},
      {"InputTable34", TableRows<InputTable34>()},
      {"InputTable36", TableRows<InputTable36>()},
      {"InputTable37", TableRows<InputTable37>()},
      {"InputTable43", TableRows<InputTable43>()},
      {"OutputTable33", OutputTableRows()},
      {"ColorTable33", ColorTableRows<ColorTable33>()},
      {"ColorTable34", ColorTableRows<ColorTable34>()},
      {"ColorTable36", ColorTableRows<ColorTable36>()},
      {"ColorTable37", ColorTableRows<ColorTable37>()},
      {"TiffTag", TiffTagRows<TiffTag>()},
      {"BitsPerSampleTag", TiffTagRows<BitsPerSampleTag>()},
      {"ResolutionTag", TiffTagRows<ResolutionTag>()},
      {"Exif_IFD_Tag", TiffTagRows<Exif_IFD_Tag>()},
      {"Tiff", TiffRows<Tiff>()},
      {"CTiff", TiffRows<CTiff>()},
  };
  for (const auto& cls : kClasses) {
    for (const Row& row : cls.rows) {
      EXPECT_EQ(row.actual, row.slot) << cls.name << "::" << row.what;
    }
  }
}

// Which class of the hierarchy declares a method shows in the type of the pointer to it.
template <class Method>
struct DeclaringClass;
template <class T, class R, class... Arguments>
struct DeclaringClass<R (T::*)(Arguments...)> {
  using type = T;
};
template <class T, class R, class... Arguments>
struct DeclaringClass<R (T::*)(Arguments...) const> {
  using type = T;
};

#define DECLARED_BY(T, method, Owner)                                              \
  static_assert(std::is_same_v<DeclaringClass<decltype(&T::method)>::type, Owner>, \
                #T "::" #method " is declared elsewhere")

DECLARED_BY(CXYZType, Save, CXYZType);
DECLARED_BY(CCurveType, Save, CCurveType);
DECLARED_BY(CTextType, Save, iccTagBase);
DECLARED_BY(CTextDescriptionType, Save, CTextDescriptionType);
DECLARED_BY(CDataType, Save, iccTagBase);
DECLARED_BY(CChad, Save, iccTagBase);
DECLARED_BY(CLut8Type, Save, iccTagBase);
DECLARED_BY(CLut16Type, Save, CLut16Type);
DECLARED_BY(CLut, Save, iccTagBase);
DECLARED_BY(CLut16Type, Read, iccTagBase);
DECLARED_BY(BitsPerSampleTag, GetValue, BitsPerSampleTag);
DECLARED_BY(ResolutionTag, GetValue, ResolutionTag);
DECLARED_BY(Exif_IFD_Tag, GetValue, TiffTag);
DECLARED_BY(ResolutionTag, SaveFile, TiffTag);
DECLARED_BY(CTiff, ReadTiff, CTiff);
DECLARED_BY(CTiff, ReadFile, CTiff);
DECLARED_BY(CTiff, Reset, Tiff);
DECLARED_BY(CTiff, CheckFile, Tiff);
DECLARED_BY(CTiff, SaveTiff, Tiff);
DECLARED_BY(CTiff, SaveFile, Tiff);
DECLARED_BY(CTiff, SaveRaw, Tiff);
DECLARED_BY(CTiff, CreateTag, Tiff);
DECLARED_BY(CTiff, WriteHeader, Tiff);

}  // namespace
