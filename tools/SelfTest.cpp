#include "SelfTest.h"

#include <omp.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>

#include "../corpus/Corpus.h"
#include "GoldenDigests.h"
#include "InputFile.h"
#include "ProfileSource.h"
#include "Refusal.h"
#include "base/CpuLevel.h"
#include "engine/CIccEngineS.h"

namespace {

using corpus::Bytes;
using ICC40::ICC_ENG_S4::CIccEngineS;

constexpr std::size_t kLevels16 = 65536;
// Far above the list inside; keeps an endless device from filling the memory.
constexpr std::size_t kLargestList = 1u << 20;

/// The library's engine, a new one for every profile.
class LibraryChain : public corpus::Chain {
 public:
  explicit LibraryChain(int threads) : threads_(threads) {}

  void SetProfile(const Bytes& bytes, const corpus::Selection& s) override {
    const PrivateProfile profile(bytes);
    engine_ = std::make_unique<CIccEngineS>();
    // The engine's constructor has set its own idea of both.
    omp_set_dynamic(0);
    omp_set_num_threads(threads_);
    engine_->SetProfile(profile.path().c_str(), static_cast<ICC40::ICCFILE::Intent>(s.intent),
                        static_cast<ICC40::ICCFILE::ColorSpaceSignature>(s.inputCode),
                        static_cast<ICC40::ICCFILE::ColorSpaceSignature>(s.outputCode), s.lightness,
                        s.chroma, s.hueDeg);
  }
  void AdjustLch(double lightness, double chroma, double hueDeg) override {
    engine_->Adjust_Lch(lightness, chroma, hueDeg);
  }
  void AdjustOutput(std::array<Bytes, 3> curves) override {
    engine_->Adjust_Output(curves[0].data(), curves[1].data(), curves[2].data(),
                           static_cast<int>(curves[0].size()));
  }
  std::array<int, 3> State() const override {
    return {engine_->outputColor, engine_->engineStatus, engine_->conversionType};
  }
  corpus::Tables CurrentTables() const override {
    if (engine_->inLut0 == nullptr) return {};
    const std::size_t levels = engine_->inputColor == ICC40::ICCFILE::RGB ? 256 : kLevels16;
    corpus::Tables tables;
    tables.input = {
        {{engine_->inLut0, levels}, {engine_->inLut1, levels}, {engine_->inLut2, levels}}};
    tables.cells = {&engine_->cells[0][0][0][0][0], sizeof engine_->cells / sizeof(std::uint32_t)};
    for (std::size_t c = 0; c < 3; ++c) tables.output[c] = engine_->outLut[c];
    return tables;
  }
  void Convert(Bytes& source, Bytes& destination, int pixels) override {
    engine_->Conversion(source.data(), destination.data(), pixels);
  }
  void ConvertWide(Bytes& source, std::vector<unsigned short>& destination, int pixels) override {
    engine_->Conversion(source.data(), destination.data(), pixels);
  }

 private:
  int threads_;
  std::unique_ptr<CIccEngineS> engine_;
};

std::string ReadText(const std::string& path) {
  const Stream stream = OpenInput(path);
  std::string text;
  char block[4096];
  while (const std::size_t got = std::fread(block, 1, sizeof block, stream.get())) {
    if (text.size() > kLargestList) throw Refusal(Exit::InputUnreadable, path + ": too large");
    text.append(block, got);
  }
  if (std::ferror(stream.get()) != 0) {
    throw Refusal(Exit::InputUnreadable, path + ": " + std::strerror(errno));
  }
  return text;
}

corpus::Digests Expected(const std::optional<std::string>& path) {
  const std::optional<corpus::Digests> digests =
      corpus::ParseDigests(path ? ReadText(*path) : kGoldenDigests);
  if (!digests || digests->empty()) {
    throw Refusal(Exit::InputUnreadable, path.value_or("built-in list") + ": no list of digests");
  }
  return *digests;
}

/// Prints one line for every name that is not on both sides with the same digest.
/// @return their number
std::size_t PrintDifferences(const corpus::Digests& expected, const corpus::Digests& computed) {
  std::size_t differences = 0;
  for (const auto& [name, value] : computed) {
    const auto listed = expected.find(name);
    if (listed != expected.end() && listed->second == value) continue;
    std::cout << "mismatch: " << name << ": expected "
              << (listed == expected.end() ? "nothing" : corpus::Hexadecimal(listed->second))
              << ", computed " << corpus::Hexadecimal(value) << '\n';
    ++differences;
  }
  for (const auto& [name, value] : expected) {
    if (computed.contains(name)) continue;
    std::cout << "mismatch: " << name << ": expected " << corpus::Hexadecimal(value)
              << ", computed nothing\n";
    ++differences;
  }
  return differences;
}

}  // namespace

void RunSelfTest(const SelfTestRequest& request) {
  const corpus::Digests expected = Expected(request.digests);
  const int threads = request.threads > 0 ? request.threads : omp_get_num_procs();
  std::cout << "level: " << ICC40::NameOf(ICC40::ChosenCpuLevel()) << "\nthreads: " << threads
            << '\n';
  LibraryChain chain(threads);
  const corpus::Digests computed = corpus::DigestsOf(chain);
  const std::size_t differences = PrintDifferences(expected, computed);
  if (differences != 0) {
    throw Refusal(Exit::WouldBeWrong, std::to_string(differences) + " of " +
                                          std::to_string(computed.size()) +
                                          " digests differ: this machine computes other colours");
  }
  std::cout << "ok: " << computed.size() << " digests\n";
}

void RequireSelfTest() {
  LibraryChain chain(omp_get_num_procs());
  if (corpus::DigestsOf(chain) != Expected(std::nullopt)) {
    throw Refusal(Exit::WouldBeWrong, "selftest: this machine computes other colours");
  }
}
