// Codec and SML, each beside its yardstick. Ratios and rates are printed as counters.
#include "bench_messages.h"
#include "secs2/item_codec.h"
#include "secs2/message.h"
#include "secs2/sml_printer.h"

#include <benchmark/benchmark.h>
#include <cstring>

namespace {

using namespace velto;

constexpr uint32_t kArray = 100'000;

CHSecsMessage arrayMessage() {
  CHSecsMessage message;
  uint8_t *data = message.root.makeArray(format::kU4, kArray);
  for (uint32_t i = 0; i < kArray; ++i)
    std::memcpy(data + 4 * i, &i, 4);
  return message;
}

size_t itemCount(const CHSecsMessage &message) {
  size_t count = 0;
  forEachItem(message.root, [&count](const CHSecsItem &) { ++count; });
  return count;
}

// Yardstick: the array's bytes copied and put into the other byte order.
void BM_CopyAndSwap(benchmark::State &state) {
  const Bytes from = encoded(arrayMessage());
  std::vector<uint32_t> to(kArray);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data() + 14, 4 * kArray);
    for (uint32_t &value : to)
      value = __builtin_bswap32(value);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 4 * kArray);
}
BENCHMARK(BM_CopyAndSwap);

void BM_DecodeArray(benchmark::State &state) {
  const Bytes bytes = encoded(arrayMessage());
  CHSecsMessage message;
  for (auto _ : state) {
    message.Decode(bytes);
    benchmark::DoNotOptimize(message.root.bytes().data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 4 * kArray);
}
BENCHMARK(BM_DecodeArray);

void BM_EncodeArray(benchmark::State &state) {
  const CHSecsMessage message = arrayMessage();
  Bytes bytes;
  for (auto _ : state) {
    message.Encode(bytes);
    benchmark::DoNotOptimize(bytes.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * 4 * kArray);
}
BENCHMARK(BM_EncodeArray);

void decodeItems(benchmark::State &state, const CHSecsMessage &source) {
  const Bytes bytes = encoded(source);
  const auto items = static_cast<double>(itemCount(source));
  for (auto _ : state) {
    CHSecsMessage message;
    message.Decode(bytes);
    benchmark::DoNotOptimize(message.root.children().data());
  }
  state.counters["ns/item"] = benchmark::Counter(
      items * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_DecodeList30000(benchmark::State &state) { decodeItems(state, listMessage(30'000)); }
BENCHMARK(BM_DecodeList30000);

void BM_DecodeEventReport(benchmark::State &state) { decodeItems(state, eventReport()); }
BENCHMARK(BM_DecodeEventReport);

void BM_PrintSml(benchmark::State &state) {
  const CHSecsMessage message = listMessage(static_cast<uint32_t>(state.range(0)));
  size_t size = 0;
  for (auto _ : state)
    size += RenderSml(message).size();
  state.SetBytesProcessed(static_cast<int64_t>(size));
}
BENCHMARK(BM_PrintSml)->RangeMultiplier(10)->Range(1'000, 1'000'000)->Unit(benchmark::kMillisecond);

void BM_ParseSml(benchmark::State &state) {
  CHSecsMessage message = listMessage(static_cast<uint32_t>(state.range(0)));
  std::string sml = "S6F11W\r\n{\r\n";
  Bytes bytes(*EncodedItemSize(message.root));
  EncodeItem(message.root, bytes.data());
  SmlItemPlace place;
  sml.clear();
  RenderItems(sml, bytes, place, nullptr, 0);
  for (auto _ : state) {
    if (!message.SetFromSml(sml))
      state.SkipWithError("does not parse");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sml.size()));
}
BENCHMARK(BM_ParseSml)->RangeMultiplier(10)->Range(1'000, 1'000'000)->Unit(benchmark::kMillisecond);

} // namespace
