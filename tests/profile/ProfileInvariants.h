#ifndef KXCMS_TESTS_PROFILE_PROFILEINVARIANTS_H
#define KXCMS_TESTS_PROFILE_PROFILEINVARIANTS_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "base/Limits.h"
#include "profile/DeviceProfile.h"

// What holds of every profile that was read, whatever its bytes: users of `DeviceProfile` look at
// nothing of this again.

namespace profile_invariants {

using namespace kxcms;

/// Collects what is broken, by name, and the memory that the profile's tables hold.
class Inspection {
 public:
  explicit Inspection(const DeviceProfile& profile) {
    bool hasModel = profile.matrixTrc.has_value();
    for (std::size_t n = 0; n < 3; ++n) {
      Add(profile.deviceToPcs[n], MakeSignature("A2B0") + static_cast<Signature>(n), profile.pcs);
      Add(profile.pcsToDevice[n], MakeSignature("B2A0") + static_cast<Signature>(n), profile.pcs);
      hasModel = hasModel || profile.deviceToPcs[n] || profile.pcsToDevice[n];
    }
    Check(hasModel, "a profile without a model");
    if (profile.matrixTrc) {
      Check(profile.pcs == PcsSpace::kXyz, "colorants without PCS XYZ");
      for (const Curve& curve : profile.matrixTrc->curves) Add(curve);
      Add(profile.matrixTrc->matrix);
    }
    for (const double value : profile.mediaWhite) Check(value > 0 && value <= 32768, "media white");
    for (const TagEntry& tag : profile.tags) {
      Check(std::uint64_t{tag.offset} + tag.sizeBytes <= profile.sizeBytes, "tag outside");
    }
    Add(profile.description);
    Add(profile.copyright);
    heldBytes_ += profile.tags.capacity() * sizeof(TagEntry);
    Check(heldBytes_ <= ReaderLimit(profile.sizeBytes), "memory out of proportion");
  }

  /// Empty if nothing is.
  const std::string& broken() const { return broken_; }

 private:
  void Check(bool holds, const char* what) {
    if (!holds) broken_ += std::string(broken_.empty() ? "" : ", ") + what;
  }

  void AddValues(const std::vector<std::uint16_t>& values, int maximum) {
    Check(maximum == 255 || maximum == 65535, "maximum of a table");
    Check(std::all_of(values.begin(), values.end(), [&](int value) { return value <= maximum; }),
          "value beyond the maximum");
    heldBytes_ += values.capacity() * sizeof(std::uint16_t);
  }

  void Add(const Curve& curve) {
    if (const auto* gamma = std::get_if<GammaCurve>(&curve)) {
      Check(gamma->gamma >= 0 && gamma->gamma < 256, "gamma");
    }
    if (const auto* p = std::get_if<ParametricCurve>(&curve)) {
      Check(p->function >= 0 && p->function <= 4, "parametric function");
      for (const double value : {p->g, p->a, p->b, p->c, p->d, p->e, p->f}) {
        Check(std::fabs(value) <= 32768, "parameter");
      }
      Check(p->a != 0 || (p->function != 1 && p->function != 2), "division by 0");
    }
    if (const auto* table = std::get_if<SampledCurve>(&curve)) {
      Check(table->values.size() >= 2, "table entries");
      AddValues(table->values, table->maximum);
    }
  }

  void Add(const Matrix3& m) {
    const double determinant = m[0] * (m[4] * m[8] - m[5] * m[7]) -
                               m[1] * (m[3] * m[8] - m[5] * m[6]) +
                               m[2] * (m[3] * m[7] - m[4] * m[6]);
    Check(std::isfinite(determinant) && determinant != 0, "singular matrix");
  }

  void Add(const ColorGrid& grid) {
    std::size_t count = 3;
    for (const int points : grid.points) {
      Check(points >= 2 && points <= 255, "grid points");
      count *= static_cast<std::size_t>(points);
    }
    Check(grid.values.size() == count, "values of a grid");
    AddValues(grid.values, grid.maximum);
  }

  void Add(const std::optional<LookupTable>& table, Signature signature, PcsSpace pcs) {
    if (!table) return;
    Check(table->tag == signature, "tag of a table");
    // The order of the elements: Curves, Grid, Matrix.
    std::string order;
    for (const Element& element : table->elements) {
      order += "CMG"[element.index()];
      if (const auto* set = std::get_if<CurveSet>(&element)) {
        for (const Curve& curve : set->curves) Add(curve);
      }
      if (const auto* matrix = std::get_if<MatrixElement>(&element)) {
        Add(matrix->matrix);
        for (const double value : matrix->offset) Check(std::fabs(value) <= 32768, "offset");
      }
      if (const auto* grid = std::get_if<ColorGrid>(&element)) Add(*grid);
    }
    const bool isForward = signature >> 8 == MakeSignature("A2B0") >> 8;
    const auto isOneOf = [&](std::initializer_list<const char*> orders) {
      return std::find(orders.begin(), orders.end(), order) != orders.end();
    };
    PcsEncoding encoding = pcs == PcsSpace::kXyz ? PcsEncoding::kXyz : PcsEncoding::kLab;
    switch (table->type) {
      case MakeSignature("mft1"):
        Check(isOneOf({"CGC"}) && pcs == PcsSpace::kLab, "lut8");
        break;
      case MakeSignature("mft2"):
        Check(order == (isForward || pcs == PcsSpace::kLab ? "CGC" : "MCGC"), "lut16");
        if (pcs == PcsSpace::kLab) encoding = PcsEncoding::kLegacyLab;
        break;
      case MakeSignature("mAB "):
        Check(isForward && isOneOf({"C", "CMC", "CGC", "CGCMC"}), "lutAToB");
        break;
      case MakeSignature("mBA "):
        Check(!isForward && isOneOf({"C", "CMC", "CGC", "CMCGC"}), "lutBToA");
        break;
      default:
        Check(false, "type of a table");
    }
    Check(table->pcs == encoding, "PCS encoding");
    heldBytes_ += table->elements.capacity() * sizeof(Element);
  }

  // UTF-8 without NUL, surrogates and longer forms than need be.
  void Add(const std::string& text) {
    heldBytes_ += text.capacity();
    for (std::size_t at = 0; at < text.size();) {
      const auto byte = [&](std::size_t n) {
        return at + n < text.size() ? static_cast<unsigned char>(text[at + n]) : 0u;
      };
      const unsigned lead = byte(0);
      const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
      std::uint32_t point = length == 1 ? lead : lead & (0x7F >> length);
      bool isWhole = lead != 0 && (lead < 0x80 || lead >= 0xC2) && lead < 0xF5;
      for (std::size_t n = 1; n < length; ++n) {
        isWhole = isWhole && byte(n) >> 6 == 2;
        point = point << 6 | (byte(n) & 0x3F);
      }
      constexpr std::uint32_t kLeast[] = {0, 1, 0x80, 0x800, 0x10000};
      Check(isWhole && point >= kLeast[length] && point < 0x110000 &&
                (point < 0xD800 || point > 0xDFFF),
            "UTF-8");
      at += length;
    }
  }

  std::string broken_;
  std::uint64_t heldBytes_ = 0;
};

}  // namespace profile_invariants

#endif
