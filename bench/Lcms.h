#ifndef KXCMS_BENCH_LCMS_H
#define KXCMS_BENCH_LCMS_H

#include <lcms2.h>

#include <memory>
#include <string>
#include <type_traits>

namespace Bench {

// Little CMS, the peer: its handles as owners, its transforms without the cache of one pixel, which
// serves flat colours only.

struct CloseProfile {
  void operator()(cmsHPROFILE profile) const { cmsCloseProfile(profile); }
};
using LcmsProfile = std::unique_ptr<std::remove_pointer_t<cmsHPROFILE>, CloseProfile>;

struct DeleteTransform {
  void operator()(cmsHTRANSFORM transform) const { cmsDeleteTransform(transform); }
};
using LcmsTransform = std::unique_ptr<std::remove_pointer_t<cmsHTRANSFORM>, DeleteTransform>;

inline LcmsProfile OpenLcmsProfile(const std::string& path) {
  return LcmsProfile(cmsOpenProfileFromFile(path.c_str(), "r"));
}

inline LcmsProfile LcmsSrgb() {
  return LcmsProfile(cmsCreate_sRGBProfile());
}

inline LcmsTransform MakeLcmsTransform(const LcmsProfile& source, int sourceBytes,
                                       const LcmsProfile& destination, int destinationBytes,
                                       cmsUInt32Number intent = INTENT_PERCEPTUAL) {
  const auto format = [](int bytes) { return bytes == 1 ? TYPE_RGB_8 : TYPE_RGB_16; };
  return LcmsTransform(cmsCreateTransform(source.get(), format(sourceBytes), destination.get(),
                                          format(destinationBytes), intent, cmsFLAGS_NOCACHE));
}

}  // namespace Bench

#endif
