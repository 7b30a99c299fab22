#include <gtest/gtest.h>
#include <lcms2.h>
#include <lcms2_plugin.h>

#include <filesystem>
#include <map>
#include <memory>

#include "profile/ProfileReader.h"
#include "tests/DebianProfiles.h"
#include "tests/profile/ProfileForms.h"

// What `ReadProfile` takes from a profile, beside what Little CMS takes from it.

namespace kxcms {
namespace {

using profile_bytes::Bytes;

struct CloseProfile {
  void operator()(void* handle) const { cmsCloseProfile(handle); }
};
using LcmsProfile = std::unique_ptr<void, CloseProfile>;

LcmsProfile OpenWithLcms(const Bytes& bytes) {
  return LcmsProfile(cmsOpenProfileFromMem(bytes.data(), static_cast<unsigned>(bytes.size())));
}

template <typename Value>
const Value* TagOf(const LcmsProfile& profile, Signature signature) {
  return static_cast<const Value*>(
      cmsReadTag(profile.get(), static_cast<cmsTagSignature>(signature)));
}

// ---- Curves and lookup tags ---------------------------------------------------------------------

void ExpectParameters(const cmsToneCurve& theirs, int type, const std::vector<double>& parameters) {
  ASSERT_EQ(cmsGetToneCurveParametricType(&theirs), type);
  for (std::size_t n = 0; n < parameters.size(); ++n) {
    EXPECT_EQ(cmsGetToneCurveParams(&theirs)[n], parameters[n]) << n;
  }
}

void ExpectValues(const std::vector<std::uint16_t>& ours, int maximum,
                  const cmsUInt16Number* theirs) {
  for (std::size_t n = 0; n < ours.size(); ++n) {
    ASSERT_EQ(ours[n] * (65535 / maximum), theirs[n]) << n;
  }
}

void ExpectSame(const Curve& ours, const cmsToneCurve& theirs) {
  if (std::holds_alternative<IdentityCurve>(ours)) ExpectParameters(theirs, 1, {1});
  if (const auto* gamma = std::get_if<GammaCurve>(&ours)) {
    ExpectParameters(theirs, 1, {gamma->gamma});
  }
  if (const auto* p = std::get_if<ParametricCurve>(&ours)) {
    const std::size_t kCounts[] = {1, 3, 4, 5, 7};
    std::vector<double> parameters = {p->g, p->a, p->b, p->c, p->d, p->e, p->f};
    parameters.resize(kCounts[p->function]);
    ExpectParameters(theirs, p->function + 1, parameters);
  }
  if (const auto* table = std::get_if<SampledCurve>(&ours)) {
    ASSERT_EQ(cmsGetToneCurveEstimatedTableEntries(&theirs), table->values.size());
    ExpectValues(table->values, table->maximum, cmsGetToneCurveEstimatedTable(&theirs));
  }
}

void ExpectSame(const Element& ours, const cmsStage& stage) {
  void* const data = cmsStageData(&stage);
  if (const auto* set = std::get_if<CurveSet>(&ours)) {
    ASSERT_EQ(cmsStageType(&stage), cmsSigCurveSetElemType);
    const auto& theirs = *static_cast<_cmsStageToneCurvesData*>(data);
    ASSERT_EQ(theirs.nCurves, 3u);
    for (std::size_t n = 0; n < 3; ++n) ExpectSame(set->curves[n], *theirs.TheCurves[n]);
  }
  if (const auto* matrix = std::get_if<MatrixElement>(&ours)) {
    ASSERT_EQ(cmsStageType(&stage), cmsSigMatrixElemType);
    const auto& theirs = *static_cast<_cmsStageMatrixData*>(data);
    for (std::size_t n = 0; n < 9; ++n) EXPECT_EQ(matrix->matrix[n], theirs.Double[n]);
    for (std::size_t n = 0; n < 3; ++n) {
      EXPECT_EQ(matrix->offset[n], theirs.Offset == nullptr ? 0 : theirs.Offset[n]);
    }
  }
  if (const auto* grid = std::get_if<ColorGrid>(&ours)) {
    ASSERT_EQ(cmsStageType(&stage), cmsSigCLutElemType);
    const auto& theirs = *static_cast<_cmsStageCLutData*>(data);
    for (std::size_t n = 0; n < 3; ++n) {
      EXPECT_EQ(static_cast<unsigned>(grid->points[n]), theirs.Params->nSamples[n]);
    }
    ASSERT_EQ(theirs.nEntries, grid->values.size());
    ExpectValues(grid->values, grid->maximum, theirs.Tab.T);
  }
}

void ExpectSame(const LookupTable& ours, const LcmsProfile& profile) {
  const auto* pipeline = TagOf<cmsPipeline>(profile, ours.tag);
  ASSERT_NE(pipeline, nullptr);
  const cmsStage* stage = cmsPipelineGetPtrToFirstStage(pipeline);
  // Little CMS keeps the matrix of a lut tag whatever the input is.
  const bool isLut = ours.type == MakeSignature("mft1") || ours.type == MakeSignature("mft2");
  if (isLut && !std::holds_alternative<MatrixElement>(ours.elements[0]) &&
      cmsStageType(stage) == cmsSigMatrixElemType) {
    stage = cmsStageNext(stage);
  }
  for (const Element& element : ours.elements) {
    ASSERT_NE(stage, nullptr);
    ExpectSame(element, *stage);
    stage = cmsStageNext(stage);
  }
  EXPECT_EQ(stage, nullptr);
}

// ---- The profile --------------------------------------------------------------------------------

// s15Fixed16 words are exact in both; Little CMS puts them together from two halves.
constexpr double kFixed = 1e-12;

void ExpectSame(const Xyz& ours, const cmsCIEXYZ* theirs) {
  ASSERT_NE(theirs, nullptr);
  EXPECT_NEAR(ours[0], theirs->X, kFixed);
  EXPECT_NEAR(ours[1], theirs->Y, kFixed);
  EXPECT_NEAR(ours[2], theirs->Z, kFixed);
}

void ExpectSame(const MatrixTrc& ours, const LcmsProfile& profile) {
  constexpr Signature kColorants[] = {MakeSignature("rXYZ"), MakeSignature("gXYZ"),
                                      MakeSignature("bXYZ")};
  constexpr Signature kCurves[] = {MakeSignature("rTRC"), MakeSignature("gTRC"),
                                   MakeSignature("bTRC")};
  for (std::size_t n = 0; n < 3; ++n) {
    ExpectSame(Xyz{ours.matrix[n], ours.matrix[3 + n], ours.matrix[6 + n]},
               TagOf<cmsCIEXYZ>(profile, kColorants[n]));
    const auto* curve = TagOf<cmsToneCurve>(profile, kCurves[n]);
    ASSERT_NE(curve, nullptr);
    ExpectSame(ours.curves[n], *curve);
  }
}

/// As UTF-16 of ASCII, which is all that is compared.
void ExpectSameText(const std::string& ours, const LcmsProfile& profile, Signature signature) {
  const auto* text = TagOf<cmsMLU>(profile, signature);
  std::vector<char> theirs(text == nullptr ? 1 : cmsMLUgetASCII(text, "en", "US", nullptr, 0) + 1);
  if (text != nullptr) {
    cmsMLUgetASCII(text, "en", "US", theirs.data(), static_cast<unsigned>(theirs.size()));
  }
  EXPECT_EQ(ours, theirs.data());
}

void ExpectSame(const DeviceProfile& ours, const LcmsProfile& theirs) {
  cmsHPROFILE const handle = theirs.get();
  EXPECT_EQ(ours.version >> 16, cmsGetEncodedICCversion(handle) >> 16);
  EXPECT_EQ(ours.deviceClass, cmsGetDeviceClass(handle));
  EXPECT_EQ(ours.colorSpace, cmsGetColorSpace(handle));
  EXPECT_EQ(ours.pcs == PcsSpace::kLab ? cmsSigLabData : cmsSigXYZData, cmsGetPCS(handle));
  EXPECT_EQ(ours.manufacturer, cmsGetHeaderManufacturer(handle));
  EXPECT_EQ(ours.model, cmsGetHeaderModel(handle));
  EXPECT_EQ(ours.creator, cmsGetHeaderCreator(handle));
  EXPECT_EQ(static_cast<unsigned>(ours.headerIntent), cmsGetHeaderRenderingIntent(handle));
  ExpectSameText(ours.description, theirs, MakeSignature("desc"));
  ExpectSameText(ours.copyright, theirs, MakeSignature("cprt"));

  ASSERT_EQ(static_cast<int>(ours.tags.size()), cmsGetTagCount(handle));
  for (unsigned n = 0; n < ours.tags.size(); ++n) {
    EXPECT_EQ(ours.tags[n].signature, cmsGetTagSignature(handle, n));
  }
  EXPECT_EQ(ours.hasMediaWhite, cmsIsTag(handle, cmsSigMediaWhitePointTag) != 0);
  if (ours.hasMediaWhite) {
    ExpectSame(ours.mediaWhite, TagOf<cmsCIEXYZ>(theirs, MakeSignature("wtpt")));
  }
  EXPECT_EQ(ours.mediaBlack.has_value(), cmsIsTag(handle, cmsSigMediaBlackPointTag) != 0);
  if (ours.mediaBlack) {
    ExpectSame(*ours.mediaBlack, TagOf<cmsCIEXYZ>(theirs, MakeSignature("bkpt")));
  }
  EXPECT_EQ(ours.adaptation.has_value(), cmsIsTag(handle, cmsSigChromaticAdaptationTag) != 0);
  if (ours.adaptation) {
    // Three rows of three, as numbers.
    const auto* chad = TagOf<double>(theirs, MakeSignature("chad"));
    for (std::size_t n = 0; n < 9; ++n) EXPECT_NEAR((*ours.adaptation)[n], chad[n], kFixed);
  }
  for (const auto* tables : {&ours.deviceToPcs, &ours.pcsToDevice}) {
    for (const auto& table : *tables) {
      if (table) ExpectSame(*table, theirs);
    }
  }
  if (ours.matrixTrc) ExpectSame(*ours.matrixTrc, theirs);
}

// ---- Tests --------------------------------------------------------------------------------------

TEST(LittleCms, ReadsTheSameInEveryForm) {
  for (const auto& form : profile_forms::Forms()) {
    SCOPED_TRACE(form.name);
    const LcmsProfile theirs = OpenWithLcms(form.bytes);
    ASSERT_NE(theirs, nullptr);
    ExpectSame(ReadProfile(form.bytes), theirs);
  }
}

constexpr char kNamedColors[] =
    "The profile is a named colour profile, 'nmcl'; 'scnr', 'mntr', 'prtr' and 'spac' are "
    "supported.";
constexpr char kAbstract[] =
    "The profile is an abstract profile, 'abst'; 'scnr', 'mntr', 'prtr' and 'spac' are supported.";
constexpr char kGray[] = "The colour space of the profile is 'GRAY'; 'RGB ' is supported.";
constexpr char kCmyk[] = "The colour space of the profile is 'CMYK'; 'RGB ' is supported.";
constexpr char kLab[] = "The colour space of the profile is 'Lab '; 'RGB ' is supported.";
constexpr char kXyz[] = "The colour space of the profile is 'XYZ '; 'RGB ' is supported.";

// Every profile that is refused, and why. All others are read.
const std::map<std::string, const char*> kRefused = {
    {"colord-data/Crayons.icc", kNamedColors},
    {"colord-data/x11-colors.icc", kNamedColors},
    {"icc-profiles-free/CineLogCurve.icc", kAbstract},
    {"icc-profiles-free/Gray-CIE_L.icc", kGray},
    {"icc-profiles-free/Gray.icc", kGray},
    {"icc-profiles-free/ITULab.icc", kLab},
    {"icc-profiles-free/LCMSLABI.ICM", kLab},
    {"icc-profiles-free/LCMSXYZI.ICM", kXyz},
    {"argyll-ref/lab2lab.icm", kLab},
    {"libgs-common/default_cmyk.icc", kCmyk},
    {"libgs-common/default_gray.icc", kGray},
    {"libgs-common/gray_to_k.icc", kCmyk},
    {"libgs-common/lab.icc", kLab},
    {"libgs-common/ps_cmyk.icc", kCmyk},
    {"libgs-common/ps_gray.icc", kGray},
    {"libgs-common/sgray.icc", kGray},
};

TEST(LittleCms, ReadsTheSameInDebiansProfiles) {
  std::size_t read = 0, refused = 0;
  for (const std::string package :
       {"colord-data", "icc-profiles-free", "argyll-ref", "libgs-common", "rawtherapee-data"}) {
    const std::vector<std::string> paths = debian::ProfilesOf(package);
    EXPECT_FALSE(paths.empty()) << package << " is not installed";
    for (const std::string& path : paths) {
      SCOPED_TRACE(path);
      const std::string name = package + "/" + std::filesystem::path(path).filename().string();
      const auto row = kRefused.find(name);
      const Bytes bytes = debian::ReadAll(path);
      try {
        const DeviceProfile ours = ReadProfile(bytes);
        EXPECT_TRUE(row == kRefused.end());
        const LcmsProfile theirs = OpenWithLcms(bytes);
        ASSERT_NE(theirs, nullptr);
        ExpectSame(ours, theirs);
        ++read;
      } catch (const ProfileError& error) {
        EXPECT_STREQ(error.what(), row == kRefused.end() ? "" : row->second);
        EXPECT_EQ(error.fault, ProfileFault::kUnsupported);
        ++refused;
      }
    }
  }
  EXPECT_EQ(refused, kRefused.size());
  std::printf("%zu profiles read, %zu refused\n", read, refused);
}

}  // namespace
}  // namespace kxcms
