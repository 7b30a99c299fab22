#include "engine/EnginePipeline.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace ICC40 {
namespace ICC_ENG_S4 {

namespace {

// Any thread may look through the places for the one of its engine, without a lock: they stay once
// they are made and are only taken and left. What stands in one is its engine's, and so one
// thread's at a time.
struct Place {
  std::atomic<const CIccEngineS*> owner = nullptr;  // null: free
  FixedPipeline pipeline;
  std::array<unsigned int*, 6> arrays{};  // as they were made; in the order of the fields
  std::atomic<Place*> next = nullptr;
};

// Found by their address, most engines are the only one in their row. Never destroyed: engines of
// static storage may outlive the rows.
constexpr std::size_t kRows = 64;
union Rows {
  Place first[kRows];

  constexpr Rows() : first{} {}
  // A default one would be deleted, as Place has one of its own.
  ~Rows() {}  // NOLINT(modernize-use-equals-default)
};
constinit Rows rows;

Place& RowOf(const CIccEngineS& engine) {
  // Engines lie at multiples of 64 or not far from them. Fibonacci hashing: the top bits of the
  // product with 2^64 divided by the golden ratio depend on all bits of the address.
  const std::uint64_t address = reinterpret_cast<std::uintptr_t>(&engine) / 64;
  return rows.first[(address * 0x9E3779B97F4A7C15u) >> 58];
}

Place* FindPlace(const CIccEngineS& engine) {
  for (Place* place = &RowOf(engine); place != nullptr;
       place = place->next.load(std::memory_order_acquire)) {
    if (place->owner.load(std::memory_order_acquire) == &engine) return place;
  }
  return nullptr;
}

Place& TakePlace(const CIccEngineS& engine) {
  for (Place* place = &RowOf(engine);;) {
    const CIccEngineS* nobody = nullptr;
    if (place->owner.compare_exchange_strong(nobody, &engine)) return *place;
    Place* next = place->next.load();
    if (next == nullptr) {
      auto made = std::make_unique<Place>();
      if (place->next.compare_exchange_strong(next, made.get())) next = made.release();
    }
    place = next;
  }
}

Place& PlaceOf(CIccEngineS& engine) {
  if (Place* place = FindPlace(engine)) return *place;
  Place& place = TakePlace(engine);
  place.pipeline = FixedPipeline({{}, engine.cells, engine.outLut});
  place.arrays = {};
  return place;
}

std::array<unsigned int**, 6> FieldsOf(CIccEngineS& engine) {
  return {&engine.inLutAux0, &engine.inLut0,    &engine.inLutAux1,
          &engine.inLut1,    &engine.inLutAux2, &engine.inLut2};
}

std::array<unsigned int*, 6> ArraysOf(const CIccEngineS& engine) {
  return {engine.inLutAux0, engine.inLut0,    engine.inLutAux1,
          engine.inLut1,    engine.inLutAux2, engine.inLut2};
}

}  // namespace

FixedPipeline& PipelineOf(CIccEngineS& engine) {
  return PlaceOf(engine).pipeline;
}

FixedPipeline* FindPipeline(const CIccEngineS& engine) {
  Place* const place = FindPlace(engine);
  return place == nullptr ? nullptr : &place->pipeline;
}

void DropPipeline(const CIccEngineS& engine) {
  Place* const place = FindPlace(engine);
  if (place == nullptr) return;
  place->pipeline = FixedPipeline();
  place->owner.store(nullptr, std::memory_order_release);
}

void ProvideInputArrays(CIccEngineS& engine, std::size_t levels) {
  Place& place = PlaceOf(engine);
  const bool areOwn =
      place.pipeline.tables().input[0].size() == levels && ArraysOf(engine) == place.arrays;
  if (areOwn) return;
  ReleaseInputArrays(engine);
  for (unsigned int** field : FieldsOf(engine)) *field = new unsigned int[levels];
  place.arrays = ArraysOf(engine);
  place.pipeline.UseInput(
      {{{engine.inLut0, levels}, {engine.inLut1, levels}, {engine.inLut2, levels}}});
}

void ReleaseInputArrays(CIccEngineS& engine) {
  if (FixedPipeline* pipeline = FindPipeline(engine)) pipeline->UseInput({});
  for (unsigned int** field : FieldsOf(engine)) delete[] std::exchange(*field, nullptr);
}

FixedPipeline* OwnPipelineOf(const CIccEngineS& engine) {
  Place* const place = FindPlace(engine);
  if (place == nullptr) return nullptr;
  const auto& own = place->pipeline.tables().input;
  const bool areOwn = engine.inLut0 == own[0].data() && engine.inLut1 == own[1].data() &&
                      engine.inLut2 == own[2].data();
  return areOwn ? &place->pipeline : nullptr;
}

FixedTables TablesOf(const CIccEngineS& engine) {
  const std::array<const unsigned int*, 3> input = {engine.inLut0, engine.inLut1, engine.inLut2};
  auto levels = static_cast<std::size_t>(InputLevelsOf(engine.inputColor));
  if (const FixedPipeline* pipeline = FindPipeline(engine)) {
    // A single array of the pipeline's among a program's bounds them all.
    for (std::size_t c = 0; c < 3; ++c) {
      const std::span<const std::uint32_t> own = pipeline->tables().input[c];
      if (!own.empty() && input[c] == own.data()) levels = own.size();
    }
  }
  return {
      {{{input[0], levels}, {input[1], levels}, {input[2], levels}}}, engine.cells, engine.outLut};
}

}  // namespace ICC_ENG_S4
}  // namespace ICC40
