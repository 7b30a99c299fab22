#include <algorithm>
#include <string>

#include "fuzz/FuzzSupport.h"
#include "fuzz/ProfileView.h"
#include "profile/Models.h"
#include "profile/ProfileReader.h"
#include "tests/profile/ProfileInvariants.h"

// A profile's bytes, read strictly: a refusal has a place and a sentence; what is read holds its
// invariants, within the memory that it may take, and its tables have the values of the bytes.

namespace {

using namespace kxcms;
using fuzz::FileView;

void CheckRefusal(const ProfileError& error) {
  const std::string sentence = error.what();
  FUZZ_CHECK(sentence.size() > 10 && sentence.size() < 200 && sentence.back() == '.');
  FUZZ_CHECK(
      std::all_of(sentence.begin(), sentence.end(), [](char c) { return c >= ' ' && c <= '~'; }));
  // Elements may be claimed to lie up to 4 GiB behind their tag.
  FUZZ_CHECK(error.offset < std::uint64_t{1} << 34);
}

/// The bytes of the tag, which are known to be there; its entry is the only one of that name.
FileView TagBytes(const FileView& file, const DeviceProfile& profile, Signature signature) {
  const auto entry = std::find_if(profile.tags.begin(), profile.tags.end(),
                                  [&](const auto& tag) { return tag.signature == signature; });
  FUZZ_CHECK(entry != profile.tags.end());
  return file.Tag({signature, entry->offset, entry->sizeBytes});
}

// `values` as they stand from `at` on. @return where they end.
std::uint64_t CheckValues(const std::vector<std::uint16_t>& values, int maximum,
                          const FileView& tag, std::uint64_t at) {
  const std::uint64_t width = maximum == 255 ? 1 : 2;
  FUZZ_CHECK(at + width * values.size() <= tag.size());
  for (const unsigned value : values) {
    FUZZ_CHECK(value == (width == 1 ? tag.U8(at) : tag.U16(at)));
    at += width;
  }
  return at;
}

// The tables of lut8Type and lut16Type lie one behind the other; of the others, the CLUT is
// checked.
void CheckTable(const LookupTable& table, const FileView& tag) {
  FUZZ_CHECK(table.type == tag.U32(0));
  const bool isLut = table.type == MakeSignature("mft1") || table.type == MakeSignature("mft2");
  std::uint64_t at = table.type == MakeSignature("mft1") ? 48 : 52;
  for (const Element& element : table.elements) {
    if (const auto* grid = std::get_if<ColorGrid>(&element)) {
      if (!isLut) at = std::uint64_t{tag.U32(24)} + 20;
      at = CheckValues(grid->values, grid->maximum, tag, at);
    }
    const auto* set = std::get_if<CurveSet>(&element);
    if (set == nullptr || !isLut) continue;
    for (const Curve& curve : set->curves) {
      const auto& samples = std::get<SampledCurve>(curve);
      at = CheckValues(samples.values, samples.maximum, tag, at);
    }
  }
}

void CheckMatrixTrc(const MatrixTrc& model, const FileView& file, const DeviceProfile& profile) {
  constexpr Signature kColorants[] = {MakeSignature("rXYZ"), MakeSignature("gXYZ"),
                                      MakeSignature("bXYZ")};
  constexpr Signature kCurves[] = {MakeSignature("rTRC"), MakeSignature("gTRC"),
                                   MakeSignature("bTRC")};
  for (std::size_t n = 0; n < 3; ++n) {
    const FileView colorant = TagBytes(file, profile, kColorants[n]);
    for (std::size_t row = 0; row < 3; ++row) {
      FUZZ_CHECK(model.matrix[3 * row + n] == colorant.S32(8 + 4 * row) / 65536.0);
    }
    const auto* samples = std::get_if<SampledCurve>(&model.curves[n]);
    const FileView curve = TagBytes(file, profile, kCurves[n]);
    FUZZ_CHECK((samples != nullptr) == (curve.U32(0) == MakeSignature("curv") && curve.U32(8) > 1));
    if (samples == nullptr) continue;
    FUZZ_CHECK(samples->values.size() == curve.U32(8));
    CheckValues(samples->values, 65535, curve, 12);
  }
}

/// Whether a model is one of the profile's, or none where there is none.
void CheckModel(const Model& model, const DeviceProfile& profile,
                const std::array<std::optional<LookupTable>, 3>& tables) {
  const bool isTable = std::any_of(tables.begin(), tables.end(), [&](const auto& table) {
    return table && model.table == &*table;
  });
  const bool isMatrixTrc = profile.matrixTrc && model.matrixTrc == &*profile.matrixTrc;
  const bool hasAny = tables[0] || tables[1] || tables[2] || profile.matrixTrc;
  FUZZ_CHECK((isTable || model.table == nullptr) && (isMatrixTrc || model.matrixTrc == nullptr));
  FUZZ_CHECK(int{isTable} + int{isMatrixTrc} == int{hasAny});
}

void CheckProfile(const DeviceProfile& profile, const FileView& file) {
  const profile_invariants::Inspection inspection(profile);
  if (!inspection.broken().empty()) std::fprintf(stderr, "%s\n", inspection.broken().c_str());
  FUZZ_CHECK(inspection.broken().empty());
  FUZZ_CHECK(profile.sizeBytes == file.U32(0) && profile.sizeBytes <= file.size());
  FUZZ_CHECK(profile.tags.size() == file.U32(fuzz::kHeaderBytes));
  for (const auto* tables : {&profile.deviceToPcs, &profile.pcsToDevice}) {
    for (const auto& table : *tables) {
      if (table) CheckTable(*table, TagBytes(file, profile, table->tag));
    }
  }
  if (profile.matrixTrc) CheckMatrixTrc(*profile.matrixTrc, file, profile);
  for (const auto intent : {RenderingIntent::kPerceptual, RenderingIntent::kRelative,
                            RenderingIntent::kSaturation, RenderingIntent::kAbsolute}) {
    CheckModel(ModelFor(profile, intent), profile, profile.deviceToPcs);
    CheckModel(DestinationModelFor(profile, intent), profile, profile.pcsToDevice);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  fuzz::PrepareProcess(*argc, *argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    CheckProfile(ReadProfile({data, size}), FileView(data, size));
  } catch (const ProfileError& error) {
    CheckRefusal(error);
  }
  return 0;
}
