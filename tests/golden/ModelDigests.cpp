#include "tests/golden/ModelDigests.h"

#include "tests/reference/Reference.h"

namespace reference {
namespace {

class ModelChain : public corpus::Chain {
 public:
  void SetProfile(const corpus::Bytes& profile, const corpus::Selection& s) override {
    pipeline_ = Pipeline();
    reference::SetProfile(pipeline_, profile, s.intent, s.inputCode, s.outputCode, s.lightness,
                          s.chroma, s.hueDeg);
  }
  void AdjustLch(double lightness, double chroma, double hueDeg) override {
    reference::AdjustLch(pipeline_, lightness, chroma, hueDeg);
  }
  void AdjustOutput(std::array<corpus::Bytes, 3> curves) override {
    reference::AdjustOutput(pipeline_, curves[0].data(), curves[1].data(), curves[2].data(),
                            static_cast<int>(curves[0].size()));
  }
  std::array<int, 3> State() const override {
    return {pipeline_.outputCode, pipeline_.status, pipeline_.conversionType};
  }
  corpus::Tables CurrentTables() const override {
    if (pipeline_.input[0].empty()) return {};
    corpus::Tables tables;
    for (std::size_t c = 0; c < 3; ++c) {
      tables.input[c] = pipeline_.input[c];
      tables.output[c] = pipeline_.output[c];
    }
    // Cells, tetrahedra and coefficients lie in one row.
    static_assert(sizeof(Cell) == 6 * 12 * sizeof(std::uint32_t));
    tables.cells = {pipeline_.cells[0][0].data(), pipeline_.cells.size() * 6 * 12};
    return tables;
  }
  void Convert(corpus::Bytes& source, corpus::Bytes& destination, int pixels) override {
    reference::Convert(pipeline_, source.data(), destination.data(), pixels);
  }
  void ConvertWide(corpus::Bytes& source, std::vector<unsigned short>& destination,
                   int pixels) override {
    reference::Convert(pipeline_, source.data(), destination.data(), pixels);
  }

 private:
  Pipeline pipeline_;
};

}  // namespace

corpus::Digests ModelDigests() {
  ModelChain model;
  return corpus::DigestsOf(model);
}

}  // namespace reference
