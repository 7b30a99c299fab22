#pragma once

// A second, independent set of declarations of everything that libKXCMS.so exports. A program
// compiled against this file and linked with the library works only if names, argument types,
// base classes, field order and virtual order are what applications in the field rely on.
// Nothing of the library's own headers is included; members have names of their own.

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

// ---------------------------------------------------------------------------------------------
// Codes

namespace ICC40 {

namespace ICCFILE {

enum ColorSpaceSignature : int {
  RGB = 0,
  RGB_16,
  Lab,
  Lab_16,
  CMYK,
  CMYK_16,
  XYZ,
  XYZ_16,
  sRGB220,
  sRGB220_16,
  sRGB100,
  sRGB100_16,
  sRGB,
  sRGB_16,
  CMY,
  CMY_16,
  CLR6,
  CLR6_16,
  CLR7,
  CLR7_16,
  Adobe100,
  Adobe100_16,
  Adobe,
  Adobe_16,
  Apple100,
  Apple100_16,
  Apple,
  Apple_16,
  ColorMatch100,
  ColorMatch100_16,
  ColorMatch,
  ColorMatch_16,
  Ycc,
  Ycc_16,
  sRGB_KodakPhoto,
  sRGB_KodakPhoto_16,
  sRGB_KodakMix,
  sRGB_KodakMix_16,
  sRGB_KodakText,
  sRGB_KodakText_16,
  NoColor = 65535
};

enum Intent : int { Percepture = 0, Relative, Saturation, Absolute };

}  // namespace ICCFILE

namespace ICC4_HEADER {

enum icTagSignature : uint32_t {
  TagA2B0 = 0x41324230,
  TagA2B1 = 0x41324231,
  TagA2B2 = 0x41324232,
  TagB2A0 = 0x42324130,
  TagB2A1 = 0x42324131,
  TagB2A2 = 0x42324132,
  TagBkpt = 0x626B7074,
  TagChad = 0x63686164,
  TagCprt = 0x63707274,
  TagDesc = 0x64657363,
  TagRTRC = 0x72545243,
  TagRXYZ = 0x7258595A,
  TagWtpt = 0x77747074
};

enum icTagTypeSignature : uint32_t {
  TypeMft2 = 0x6D667432,
  TypeMAB = 0x6D414220,
  TypeMBA = 0x6D424120,
  TypeText = 0x74657874,
  TypeCurv = 0x63757276
};

struct icTagBase {
  uint32_t type;
  uint32_t zero;
};

}  // namespace ICC4_HEADER

// ---------------------------------------------------------------------------------------------
// Profile file

namespace ICCFILE {

using ICC4_HEADER::icTagSignature;
using ICC4_HEADER::icTagTypeSignature;

struct iccTagBase : ICC4_HEADER::icTagBase {
  iccTagBase();
  virtual ~iccTagBase();
  virtual int Initial(icTagSignature, unsigned char*, int);
  virtual int Initial(icTagSignature, icTagTypeSignature);
  virtual int Read(FILE*);
  virtual int Save(FILE*);

  uint32_t signature;
  int32_t bytes;
  unsigned char* copy;
};

struct CXYZType : iccTagBase {
  using iccTagBase::Initial;
  CXYZType();
  ~CXYZType() override;
  int Initial(icTagSignature, unsigned char*, int) override;
  int Save(FILE*) override;
  virtual int Initial(icTagSignature, double, double, double);

  int32_t fixedX, fixedY, fixedZ;
  double realX, realY, realZ;
};

struct CCurveType : iccTagBase {
  using iccTagBase::Initial;
  CCurveType();
  ~CCurveType() override;
  int Initial(icTagSignature, unsigned char*, int) override;
  int Save(FILE*) override;
  int Initial(icTagSignature, unsigned char*);
  int Initial(icTagSignature);

  uint32_t points;
  uint16_t* values;
};

struct CTextType : iccTagBase {
  using iccTagBase::Initial;
  CTextType();
  ~CTextType() override;
  int Initial(icTagSignature, unsigned char*, int) override;

  unsigned char* characters;
};

struct CTextDescriptionType : iccTagBase {
  using iccTagBase::Initial;
  CTextDescriptionType();
  ~CTextDescriptionType() override;
  int Initial(icTagSignature, unsigned char*, int) override;
  int Save(FILE*) override;

  uint32_t length;
  unsigned char* characters;
};

struct CDataType : iccTagBase {
  using iccTagBase::Initial;
  CDataType();
  ~CDataType() override;
  int Initial(icTagSignature, unsigned char*, int) override;
};

struct CChad : iccTagBase {
  using iccTagBase::Initial;
  CChad();
  ~CChad() override;
  int Initial(icTagSignature, unsigned char*, int) override;

  double rows[3][3];
};

struct GridRecord {
  unsigned char gridPoints[16];
  unsigned char precision;
  unsigned char padding[3];
  unsigned char* values;
};

struct CLut : iccTagBase {
  using iccTagBase::Initial;
  CLut();
  ~CLut() override;
  int Initial(icTagSignature, unsigned char*, int) override;

  unsigned char ins, outs, byte10, byte11;
  uint32_t offsetB, offsetMatrix, offsetM, offsetClut, offsetA;
  CCurveType* curvesB[3];
  CCurveType* curveM;
  GridRecord* grid;
  CCurveType* curvesA[7];
};

struct CLut8Type : iccTagBase {
  using iccTagBase::Initial;
  CLut8Type();
  ~CLut8Type() override;
  int Initial(icTagSignature, unsigned char*, int) override;

  unsigned char ins, outs, grid, byte11;
  int32_t matrix[9];
  uint16_t inPoints, outPoints;
  unsigned char *inCurves, *nodes, *outCurves;
};

struct CLut16Type : iccTagBase {
  using iccTagBase::Initial;
  CLut16Type();
  explicit CLut16Type(CLut*);
  ~CLut16Type() override;
  int Initial(icTagSignature, unsigned char*, int) override;
  int Save(FILE*) override;

  unsigned char ins, outs, grid, byte11;
  int32_t matrix[9];
  uint16_t inPoints, outPoints;
  uint16_t *inCurves, *nodes, *outCurves;
};

struct ProfileHeader {
  uint32_t size, cmm, version, deviceClass, colourSpace, connectionSpace;
  uint16_t date[6];
  uint32_t magic, platform, flags, manufacturer, model;
  unsigned char attributes[8];
  uint32_t intent;
  int32_t illuminant[3];
  uint32_t creator;
  unsigned char rest[44];
};

struct IccFile4 {
  IccFile4();
  ~IccFile4();
  int ReadFile(char const*);
  int ReadFile(FILE*);
  int ReadHeader(FILE*);
  int AddIccTagData(unsigned int, unsigned int, unsigned int, FILE*);
  std::shared_ptr<iccTagBase> CreateNewTag(icTagSignature, unsigned char*, int);
  std::shared_ptr<iccTagBase> GetTag(icTagSignature);
  void Reset();
  int SaveFile(char const*);
  int WriteHeader(FILE*, int);
  int WriteTagListHeader(FILE*);
  int WriteTagListData(FILE*);

  ProfileHeader head;
  std::vector<std::shared_ptr<iccTagBase>> list;
};

}  // namespace ICCFILE

// ---------------------------------------------------------------------------------------------
// Run state and tables

namespace ICC_UNIT {

using ICCFILE::CLut16Type;
using ICCFILE::CLut8Type;
using ICCFILE::ColorSpaceSignature;
using ICCFILE::CXYZType;
using ICCFILE::iccTagBase;

struct Info {
  Info();
  ~Info();
  int Reset();
  int DeleteWorkingBuf();
  int CheckCurrentProfile(char const*, char const*);
  int CheckLch(int, int, int);
  void CheckConversionType();
  int CheckWorkingBuf(unsigned char*, unsigned char*, int);

  int profile, spare, in, out, status, intentCode;
  uint16_t* work;
  unsigned char *from, *to;
  int count, elements;
  int dL, dC, dH;
  int type;
  std::string path1, path2;
};

struct Base {
  virtual ~Base();
  virtual int Conversion(unsigned short&, unsigned short&, unsigned short&, unsigned short&,
                         unsigned short&, unsigned short&, unsigned short&);
  virtual int Conversion(unsigned char*, int);
  virtual int Conversion(Info*);

  char const* label;
};

struct InputTable33 : Base {
  InputTable33();
  ~InputTable33() override;
  int Conversion(unsigned short&, unsigned short&, unsigned short&, unsigned short&,
                 unsigned short&, unsigned short&, unsigned short&) override;
  int Conversion(unsigned char*, int) override;
  int Conversion(Info*) override;
  int Initial(CLut16Type*, ColorSpaceSignature);
  int Initial(InputTable33*);
  int Change_Lut16_To_Lut8();
  int Change_Lut16_To_Lab8();
  int Change_Lut16_To_Lab16();

  double spacing;
  uint32_t points[3][4096];
  uint32_t table[3][65536];
  uint32_t bits;
};

struct InputTable34 : InputTable33 {
  InputTable34();
  ~InputTable34() override;
  using InputTable33::Conversion;
  int Conversion(unsigned char*, int) override;
  int Conversion(Info*) override;

  uint32_t extra;
};

struct InputTable36 : InputTable33 {
  InputTable36();
  ~InputTable36() override;
  using InputTable33::Conversion;
  int Conversion(unsigned char*, int) override;
  int Conversion(Info*) override;

  uint32_t extra;
};

struct InputTable37 : InputTable33 {
  InputTable37();
  ~InputTable37() override;
  using InputTable33::Conversion;
  int Conversion(unsigned char*, int) override;
  int Conversion(Info*) override;

  uint32_t extra;
};

struct InputTable43 : Base {
  InputTable43();
  ~InputTable43() override;
  int Conversion(unsigned short&, unsigned short&, unsigned short&, unsigned short&,
                 unsigned short&, unsigned short&, unsigned short&) override;
  int Conversion(unsigned char*, int) override;
  int Conversion(Info*) override;
  int Initial(CLut16Type*);

  double spacing;
  uint32_t points[4][4096];
  uint32_t bits;
};

struct OutputTable33 : Base {
  OutputTable33();
  ~OutputTable33() override;
  int Conversion(unsigned short&, unsigned short&, unsigned short&, unsigned short&,
                 unsigned short&, unsigned short&, unsigned short&) override;
  int Conversion(unsigned char*, int) override;
  int Conversion(Info*) override;
  virtual int Interpolation1D(int);
  virtual int Initial(CLut16Type*);
  virtual int Initial(CLut8Type*);
  int Initial(unsigned char*, unsigned char*, unsigned char*, int);
  int ResetTable();
  int OutputRGB8();
  int OutputGamma100(ColorSpaceSignature);
  int OutputCMYK_8();
  int OutputCMYK_16();
  int OutputCLR6_8();
  int OutputCLR6_16();
  int OutputCLR7_8();
  int OutputCLR7_16();
  int OutputLab_8();
  int OutputLab_16();
  int OutputGamma_sRGB();
  int OutputGamma_sRGB_16();
  int OutputGamma180(ColorSpaceSignature);
  int OutputGamma180_16(ColorSpaceSignature);
  int OutputGamma_KodakPhoto();
  int OutputGamma_KodakPhoto_16();
  int OutputGamma_KodakMix();
  int OutputGamma_KodakMix_16();
  int OutputGamma_KodakText();
  int OutputGamma_KodakText_16();
  int KodakCurve(int, int, double, double, double);

  double spacing, fractionDivisor;
  int32_t planes, perPlane;
  uint32_t packing;
  uint32_t points[7][4096];
  uint32_t table[7][65536];
};

struct ColorTable33 : Base {
  ColorTable33();
  ~ColorTable33() override;
  int Conversion(unsigned short&, unsigned short&, unsigned short&, unsigned short&,
                 unsigned short&, unsigned short&, unsigned short&) override;
  int Conversion(unsigned char*, int) override;
  int Conversion(Info*) override;
  virtual int Conversion(int&, int&, int&, int&, int&, int&, int&);
  virtual int Initial(CLut16Type*);
  virtual int Initial(CLut16Type*, iccTagBase*);
  int SetColorTable(int*, int);
  int TableResize(int);
  int Adjust_Lch(double, double, double);
  int Adjust_WhitePoint(CXYZType*);
  int Lab2RGB100_16_1D(OutputTable33*, ColorSpaceSignature, CXYZType*);
  int Lab2RGB100_16(CLut16Type*, ColorSpaceSignature, CXYZType*);

  static const int LUT_Cell;
  static const int LUT_Size33;

  int* positions;
  double spacing;
  int power, lowBits, perAxis, ins, outs;
  int node[33][33][33][7];
};

struct ColorTable34 : ColorTable33 {
  ColorTable34();
  ~ColorTable34() override;
  using ColorTable33::Conversion;
  int Conversion(unsigned short&, unsigned short&, unsigned short&, unsigned short&,
                 unsigned short&, unsigned short&, unsigned short&) override;
  int Conversion(Info*) override;
  int Conversion(int&, int&, int&, int&, int&, int&, int&) override;
};

struct ColorTable36 : ColorTable33 {
  ColorTable36();
  ~ColorTable36() override;
  using ColorTable33::Conversion;
  int Conversion(unsigned short&, unsigned short&, unsigned short&, unsigned short&,
                 unsigned short&, unsigned short&, unsigned short&) override;
  int Conversion(Info*) override;
  int Conversion(int&, int&, int&, int&, int&, int&, int&) override;
};

struct ColorTable37 : ColorTable33 {
  ColorTable37();
  ~ColorTable37() override;
  using ColorTable33::Conversion;
  int Conversion(unsigned short&, unsigned short&, unsigned short&, unsigned short&,
                 unsigned short&, unsigned short&, unsigned short&) override;
  int Conversion(Info*) override;
  int Conversion(int&, int&, int&, int&, int&, int&, int&) override;
};

}  // namespace ICC_UNIT

// ---------------------------------------------------------------------------------------------
// Engine

namespace ICC_ENG_S4 {

using ICCFILE::CLut16Type;
using ICCFILE::ColorSpaceSignature;
using ICCFILE::Intent;

struct CIccEngineS : ICC_UNIT::Info {
  CIccEngineS();
  ~CIccEngineS();
  void Reset();
  int Initial(int);
  int DeleteWorkingBuf();
  int SetProfile(char const*, Intent, ColorSpaceSignature, ColorSpaceSignature, double, double,
                 double);
  int SetProfile(char const*, char const*, Intent, ColorSpaceSignature, ColorSpaceSignature, double,
                 double, double);
  int SetIntent(Intent, ColorSpaceSignature, ColorSpaceSignature, double, double, double);
  int ConstructEngine(double, double, double);
  int InputColorSpace2RGB(double, double, double);
  ICCFILE::iccTagBase* GetMft2();
  void Set1DLutIn(CLut16Type*);
  void Set3DLut(CLut16Type*, double, double, double);
  int Set1DLutOut(CLut16Type*);
  int Conversion(unsigned char*, unsigned char*, int);
  int Conversion(unsigned char*, unsigned short*, int);
  int Conversion(char const*, char const*);
  int Adjust_Lch(double, double, double);
  int Adjust_Output(unsigned char*, unsigned char*, unsigned char*, int);

  ICCFILE::IccFile4 file;
  uint32_t *aux0, *in0, *aux1, *in1, *aux2, *in2;
  int32_t cell[16][16][16][6][12];
  uint32_t outTable[3][65536];
  int bitsOfFraction;
};

}  // namespace ICC_ENG_S4

}  // namespace ICC40

// ---------------------------------------------------------------------------------------------
// TIFF

namespace KX_Tiff_STL3 {

enum TiffTagSignature : uint32_t {
  NewSubfileType = 254,
  ImageWidth = 256,
  ImageLength = 257,
  BitsPerSample = 258,
  Compression = 259,
  Photometric = 262,
  StripOffsets = 273,
  SamplesPerPixel = 277,
  RowsPerStrip = 278,
  StripByteCounts = 279,
  XResolution = 282,
  YResolution = 283,
  PlanarConfiguration = 284,
  ResolutionUnit = 296,
  Software = 305,
  ExifPointer = 34665,
  EmbeddedProfile = 34675
};

enum FieldType : uint32_t { Byte = 1, Ascii, Short, Long, Rational, SByte, Undefined };

extern const uint32_t DataType[16];

struct ErrCode {
  int32_t code;
};

struct TiffTag {
  TiffTag();
  explicit TiffTag(TiffTagSignature);
  TiffTag(TiffTagSignature, FieldType, unsigned, unsigned, unsigned char*);
  TiffTag(unsigned, unsigned, unsigned, FILE*);
  TiffTag(TiffTag const&);
  TiffTag(TiffTag&&);
  TiffTag& operator=(TiffTag const&);
  TiffTag& operator=(TiffTag&&);
  virtual ~TiffTag();
  virtual unsigned GetValue() const;
  virtual int SaveFile(FILE*);
  virtual unsigned char* GetData() const;
  bool ValueIsOffset() const;

  uint32_t number, kind, items, content;
  unsigned char* block;
};

struct BitsPerSampleTag : TiffTag {
  BitsPerSampleTag(unsigned, unsigned, unsigned, FILE*);
  ~BitsPerSampleTag() override;
  unsigned GetValue() const override;
};

struct ResolutionTag : TiffTag {
  ResolutionTag(unsigned, unsigned, unsigned, FILE*);
  ~ResolutionTag() override;
  unsigned GetValue() const override;
};

struct Exif_IFD_Tag : TiffTag {
  Exif_IFD_Tag(unsigned, unsigned, unsigned, FILE*);
  ~Exif_IFD_Tag() override;
};

struct Tiff {
  Tiff();
  explicit Tiff(char const*);
  virtual ~Tiff();
  virtual void Reset();
  virtual int CheckFile(FILE*);
  virtual int ReadTiff(FILE*);
  virtual int SaveTiff(FILE*);
  virtual int ReadFile(char const*);
  virtual int SaveFile(char const*);
  virtual int SaveRaw(char const*);
  virtual std::shared_ptr<TiffTag> CreateTag(unsigned, unsigned, unsigned, FILE*);
  virtual int WriteHeader(FILE*);
  void AddTags(unsigned, unsigned, unsigned, FILE*);
  int ReadImage(FILE*);
  int ReadMultiStripOffset(FILE*);
  template <class T>
  void Pack(int, int);
  std::shared_ptr<TiffTag> GetTag(TiffTagSignature);
  unsigned GetTagValue(TiffTagSignature);
  int WriteIFD(FILE*);
  int WriteTagData(FILE*);
  int WriteImageData(FILE*);
  int WriteData_Exif_IFD_Tag(FILE*);
  int SetTag(std::shared_ptr<TiffTag>);
  int SetTagValue(TiffTagSignature, unsigned);

  uint32_t firstDirectory;
  std::vector<std::shared_ptr<TiffTag>> list;
};

extern template void Tiff::Pack<unsigned char>(int, int);
extern template void Tiff::Pack<unsigned short>(int, int);

struct CTiff : Tiff {
  CTiff();
  explicit CTiff(char const*);
  CTiff(int, int, int, int, int, int);
  ~CTiff() override;
  int ReadTiff(FILE*) override;
  int ReadFile(char const*) override;
  int CreateNew(int, int, int, int, int, int);
  int CreateNew(int, int, int, int, int, char const*);
  int CreateNew(int, int, int, int, int, char const*, char const*);
  int SetTag(TiffTagSignature, unsigned short, unsigned, unsigned, unsigned char*);
  int SetTagValue(TiffTagSignature, unsigned);
  unsigned char* GetImageBuf();
  void SetImageBuf(unsigned char*, bool);
  void ForgetImageBuf();
  int GetRow(unsigned char*, int, int);
  int GetRow(unsigned short*, int, int);
  int PutRow(unsigned char*, int, int);
  int PutRow(unsigned short*, int, int);
  int GetRowColumn(unsigned char*, int, int, int, int);
  int GetRowColumn(unsigned short*, int, int, int, int);
  int SetRowColumn(unsigned char*, int, int, int, int);
  int SetRowColumn(unsigned short*, int, int, int, int);
  unsigned char* GetXY(int, int);
  unsigned char* GetXY_M(int, int);
  unsigned char* GetXY_Q(int, int);
  unsigned char* GetXY_MQ(int, int);
  int SetIccProfile(char*);
  void SaveIccProfile(char*);
  void RemoveIcc();

  int32_t width, length, samples, depth, rowSize, dpi;
  unsigned char* pixels;
};

}  // namespace KX_Tiff_STL3

// ---------------------------------------------------------------------------------------------
// Colour math

namespace ColorLch {

enum ColorSpace : int {
  SpaceSRGB = 0,
  SpaceAdobe,
  SpaceApple,
  SpaceColorMatch,
  SpaceDefault = 65535
};

struct CLCH {
  CLCH(double, double, double);
  ~CLCH();
  CLCH& operator=(CLCH const&);
  void SetColorSpace(ColorSpace);
  void SetWhite(double, double, double);
  void LCH2LAB();
  void LAB2XYZ();
  void XYZ2RGB();
  void RGB2XYZ();
  void XYZ2LAB();
  void LAB2LCH();
  void PutData_Lch(double, double, double);
  void PutData_Lab(double, double, double);
  void PutData_RGB(double, double, double);
  void PutData_XYZ(double, double, double);
  void Adjust(double, double, double);

  double l, chroma, hue;
  double labA, labB;
  double red, green, blue;
  double x, y, z;
  double whiteX, whiteY, whiteZ;
  double toXYZ[9];
  double toRGB[9];
};

}  // namespace ColorLch

double sRGB_Gamma_Decode(double);
double sRGB_Gamma_Encode(double);
int sRGB_Gamma_Decode255(unsigned char);
int sRGB_Gamma_Encode255(unsigned char);
double RGB2Density(double);
double RGB2Density255(unsigned char);
double Density2RGB(double);
int Density2RGB255(double);
int XYZtoCorColorTemp(double*, double*);
void RGB2HSB(int, int, int, int&, int&, int&);

extern const double sRGB_D50[9];
extern const double inv_sRGB_D50[9];
extern const double AdobeRGB_D50[9];
extern const double inv_AdobeRGB_D50[9];
extern const double AppleRGB_D50[9];
extern const double inv_AppleRGB_D50[9];
extern const double ColorMatchRGB_D50[9];
extern const double inv_ColorMatchRGB_D50[9];

// ---------------------------------------------------------------------------------------------
// C interface, engine slots and tables of names

extern ICC40::ICC_ENG_S4::CIccEngineS IccEngine;
extern ICC40::ICC_ENG_S4::CIccEngineS IccEngine_2nd;
extern ICC40::ICC_ENG_S4::CIccEngineS IccEngine_3rd;

extern const char* const strColor[40];
extern const char* const strIntent[4];
extern const char* const strErr[40];
extern const int MaxLutSize;

const char* Name();

extern "C" {

using KxColor = ICC40::ICCFILE::ColorSpaceSignature;
using KxIntent = ICC40::ICCFILE::Intent;

int KX_Icc_SetProfile(char const*, char const*, KxIntent, KxColor, KxColor);
int KX_Icc_SetProfile_2nd(char const*, char const*, KxIntent, KxColor, KxColor);
int KX_Icc_SetProfile_3rd(char const*, char const*, KxIntent, KxColor, KxColor);
int KX_Icc_SetProfileF(char const*, char const*, KxIntent, KxColor, KxColor);
int KX_Icc_SetIntent(KxIntent, KxColor, KxColor);
int KX_Icc_SetIntent_2nd(KxIntent, KxColor, KxColor);
int KX_Icc_SetIntent_3rd(KxIntent, KxColor, KxColor);
int KX_Icc_Adjust(unsigned char*, unsigned char*, unsigned char*, int, double, double, double);
int KX_Icc_Adjust_2nd(unsigned char*, unsigned char*, unsigned char*, int, double, double, double);
int KX_Icc_Adjust_3rd(unsigned char*, unsigned char*, unsigned char*, int, double, double, double);
int KX_Icc_Initial(int);
int KX_Icc_Convert2(unsigned char*, unsigned char*, int);
int KX_Icc_Convert2_2nd(unsigned char*, unsigned char*, int);
int KX_Icc_Convert2_3rd(unsigned char*, unsigned char*, int);
int KX_Icc_Convert(unsigned char*, unsigned char*, int);
int KX_Icc_DeleteWorkingBuf(void);
int KX_Icc_ConvertFile(char const*, char const*);
int KX_Icc_ConvertFile_2nd(char const*, char const*);
int KX_Icc_ConvertFile_3rd(char const*, char const*);

int ConfigFile(char const*);
int ConfigGetInt(char const*, char const*, int);
char const* ConfigGetString(char const*, char const*, char const*);
int ConfigSetInt(char const*, char const*, int);
int ConfigSetString(char const*, char const*, char const*);
int ConfigFile2(char const*);
int ConfigGetInt2(char const*, char const*, int);
char const* ConfigGetString2(char const*, char const*, char const*);
int ConfigSetInt2(char const*, char const*, int);
int ConfigSetString2(char const*, char const*, char const*);
}
