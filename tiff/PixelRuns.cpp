#include "PixelRuns.h"

#include <algorithm>

#include "../base/FileStream.h"

namespace KX_Tiff_STL3 {

void PixelRuns::Append(std::uint64_t offset, std::uint64_t sizeBytes) {
  if (sizeBytes == 0) return;
  if (!runs_.empty() && runs_.back().offset + runs_.back().sizeBytes == offset) {
    runs_.back().sizeBytes += sizeBytes;
  } else {
    const std::uint64_t begin = runs_.empty() ? 0 : runs_.back().begin + runs_.back().sizeBytes;
    runs_.push_back({offset, begin, sizeBytes});
  }
}

void PixelRuns::Read(FILE* file, std::uint64_t at, unsigned char* to,
                     std::uint64_t sizeBytes) const {
  auto run = std::partition_point(runs_.begin(), runs_.end(), [at](const Run& candidate) {
    return candidate.begin + candidate.sizeBytes <= at;
  });
  for (; sizeBytes > 0 && run != runs_.end(); ++run) {
    const std::uint64_t skipped = at - run->begin;
    const std::uint64_t part = std::min(sizeBytes, run->sizeBytes - skipped);
    ReadApart(file, run->offset + skipped, to, part);
    at += part;
    to += part;
    sizeBytes -= part;
  }
  std::fill_n(to, sizeBytes, static_cast<unsigned char>(0));
}

}  // namespace KX_Tiff_STL3
