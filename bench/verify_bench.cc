// Verification beside the decoding of the same message.
#include "bench_messages.h"
#include "secs2/verifier.h"

#include <benchmark/benchmark.h>

namespace {

using namespace velto;

void decode(benchmark::State &state, const CHSecsMessage &source) {
  const Bytes bytes = encoded(source);
  CHSecsMessage message;
  for (auto _ : state) {
    message.Decode(bytes);
    benchmark::DoNotOptimize(message.root.children().data());
  }
}

void verify(benchmark::State &state, CHSecsMessage source) {
  CHSecsVerifier slot;
  slot.isEquipmentSide = false;
  slot.message = std::move(source);
  for (auto _ : state) {
    if (slot.Verify(true) != VerificationCorrect)
      state.SkipWithError("not correct");
  }
}

void BM_DecodeReport(benchmark::State &state) { decode(state, eventReport()); }
BENCHMARK(BM_DecodeReport);
void BM_VerifyReport(benchmark::State &state) { verify(state, eventReport()); }
BENCHMARK(BM_VerifyReport);

// S1F3 with 30,000 identifiers, each of which is looked at.
void BM_DecodeList(benchmark::State &state) { decode(state, listMessage(30'000)); }
BENCHMARK(BM_DecodeList);
void BM_VerifyList(benchmark::State &state) {
  CHSecsMessage message = listMessage(30'000);
  message.header.setStream(1);
  message.header.functionByte = 3;
  message.header.setWbit(true);
  CHSecsVerifier slot;
  slot.message = std::move(message);
  for (CHSecsItem &leaf : slot.message.root.children())
    leaf.setNumber(1, format::kU4);
  for (auto _ : state) {
    if (slot.Verify(true) != VerificationCorrect)
      state.SkipWithError("not correct");
  }
}
BENCHMARK(BM_VerifyList);

} // namespace
