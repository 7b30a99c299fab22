#include "units/Info.h"

#include <climits>
#include <cstdint>
#include <new>

#include "base/Diagnostics.h"
#include "codes/ColorCodeTable.h"
#include "codes/ResultCodes.h"
#include "units/WorkingBufferSizes.h"

namespace ICC40 {
namespace ICC_UNIT {
namespace {

// Stores a profile name and tells whether it changed. An empty string counts as "none remembered",
// so a given empty name is a change every time; kept as it is.
bool Remember(std::string& remembered, char const* name) {
  if (remembered.empty()) {
    if (name == nullptr) return false;
    remembered = name;
    return true;
  }
  if (name == nullptr) {
    remembered.clear();
    return true;
  }
  if (remembered == name) return false;
  remembered = name;
  return true;
}

// Stores a value and tells whether it changed.
bool Store(int& stored, int value) {
  if (stored == value) return false;
  stored = value;
  return true;
}

// `Lab` has an input class although profile selection refuses it.
int InputClass(int code) {
  const kxcms::ColorCode* known = kxcms::FindColorCode(code);
  return known == nullptr ? 0 : known->inputClass;
}

int OutputClass(int code) {
  const kxcms::ColorCode* known = kxcms::FindColorCode(code);
  return known == nullptr ? 0 : known->outputClass;
}

// Samples per pixel of a conversion type, 0 for an unknown one.
int ChannelCount(int conversionType) {
  constexpr int kChannels[] = {0, 3, 3, 4, 4, 6, 6, 7, 7};
  const int inputClass = conversionType >> 8;
  const int outputClass = conversionType & 0xFF;
  if ((inputClass != 1 && inputClass != 2) || outputClass > 8) return 0;
  return kChannels[outputClass];
}

// A buffer of `sampleCount` samples, new[]. A negative count or one that an int cannot hold is
// refused like any other length that an array cannot have, whatever the compiler makes of it.
unsigned short* NewSamples(std::int64_t sampleCount) {
  if (sampleCount < 0 || sampleCount > INT_MAX) throw std::bad_array_new_length();
  return new unsigned short[static_cast<std::size_t>(sampleCount)];
}

}  // namespace

Info::Info()
    : profileState(ICCFILE::kNoColorCode),
      reserved(ICCFILE::kNoColorCode),
      inputColor(ICCFILE::kNoColorCode),
      outputColor(ICCFILE::kNoColorCode),
      engineStatus(IccResultNotSet),
      intent(ICCFILE::Percepture),
      workingBuf(nullptr),
      srcBuf(nullptr),
      dstBuf(nullptr),
      workingCount(0),
      workingSize(0),
      adjustL(0),
      adjustC(0),
      adjustH(0),
      conversionType(IccResultNoConversionType) {}

Info::~Info() {
  DeleteWorkingBuf();
}

int Info::Reset() {
  profileState = ICCFILE::kNoColorCode;
  reserved = ICCFILE::kNoColorCode;
  inputColor = ICCFILE::kNoColorCode;
  outputColor = ICCFILE::kNoColorCode;
  conversionType = IccResultNoConversionType;
  workingCount = 0;
  workingSize = 0;
  adjustL = 0;
  adjustC = 0;
  adjustH = 0;
  srcBuf = nullptr;
  dstBuf = nullptr;
  DeleteWorkingBuf();
  return 0;
}

int Info::DeleteWorkingBuf() {
  ForgetWorkingBuffer(*this);
  delete[] workingBuf;
  workingBuf = nullptr;
  return 0;
}

int Info::CheckCurrentProfile(char const* name1, char const* name2) {
  const bool changed = Remember(currentProfile, name1);
  if (Remember(currentProfile2, name2)) return 1;
  return changed ? 1 : 0;
}

int Info::CheckLch(int L, int c, int h) {
  const bool changedL = Store(adjustL, L);
  const bool changedC = Store(adjustC, c);
  const bool changedH = Store(adjustH, h);
  return changedL || changedC || changedH ? 1 : 0;
}

void Info::CheckConversionType() {
  conversionType = (InputClass(inputColor) << 8) + OutputClass(outputColor);
}

int Info::CheckWorkingBuf(unsigned char* src, unsigned char* dst, int count) {
  srcBuf = src;
  dstBuf = dst;
  if (count == workingCount) return IccResultOk;

  workingCount = count;
  workingSize = 0;
  const int channels = ChannelCount(conversionType);
  if (channels == 0) return IccResultNoConversionType;

  const std::int64_t sampleCount = std::int64_t{count} * channels;
  if (sampleCount >= INT_MIN && sampleCount <= INT_MAX) {
    workingSize = static_cast<int>(sampleCount);
  }
  DeleteWorkingBuf();
  try {
    workingBuf = NewSamples(sampleCount);
    NoteWorkingBuffer(*this, workingSize);
  } catch (const std::bad_alloc& failure) {
    DeleteWorkingBuf();
    ReportBadAlloc(failure);
  }
  return IccResultOk;
}

}  // namespace ICC_UNIT
}  // namespace ICC40
