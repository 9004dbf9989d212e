// What a call of the C interface costs: a member found by its name or its number, a value handed
// over. Beside it the same property through the class itself.

#include "controls/gem_ctrl.h"
#include "module/velto.h"

#include <benchmark/benchmark.h>

namespace {

constexpr velto_value integer(int64_t number) { return {VELTO_INTEGER, number, 0, nullptr, 0}; }

/// A VeltoGem on a loop of its own.
class Gem {
public:
  Gem() : loop_(velto_loop_new()), control(velto_create(loop_, "VeltoGem")) {}
  ~Gem() { velto_loop_free(loop_); }
  Gem(const Gem &) = delete;
  Gem &operator=(const Gem &) = delete;

private:
  velto_loop *loop_;

public:
  velto_control *control;
};

void check(benchmark::State &state, velto_status status) {
  if (status != VELTO_OK)
    state.SkipWithError(velto_last_error());
}

void BM_ClassSetNumber(benchmark::State &state) {
  velto::EventLoop loop;
  velto::CVeltoGemCtrl gem(loop);
  int32_t value = 5;
  for (auto _ : state) {
    gem.SetT3(value ^= 3);
    benchmark::DoNotOptimize(gem.T3());
  }
}
BENCHMARK(BM_ClassSetNumber);

// One of the first members and one of the last.
void BM_CGetNumber(benchmark::State &state) {
  const Gem gem;
  const char *name = state.range(0) == 0 ? "T3" : "SecsIRetry";
  velto_value value;
  for (auto _ : state)
    check(state, velto_get(gem.control, name, nullptr, 0, &value));
}
BENCHMARK(BM_CGetNumber)->ArgName("late")->Arg(0)->Arg(1);

void BM_CGetNumberById(benchmark::State &state) {
  const Gem gem;
  velto_value value;
  constexpr int32_t kT3 = 39;
  for (auto _ : state)
    check(state, velto_get_id(gem.control, kT3, nullptr, 0, &value));
}
BENCHMARK(BM_CGetNumberById);

void BM_CSetNumber(benchmark::State &state) {
  const Gem gem;
  int64_t value = 5;
  for (auto _ : state)
    check(state, velto_set(gem.control, "T3", nullptr, 0, integer(value ^= 3)));
}
BENCHMARK(BM_CSetNumber);

void BM_CGetText(benchmark::State &state) {
  const Gem gem;
  velto_value value;
  for (auto _ : state)
    check(state, velto_get(gem.control, "IPAddress", nullptr, 0, &value));
}
BENCHMARK(BM_CGetText);

void BM_CSetText(benchmark::State &state) {
  const Gem gem;
  const velto_value values[] = {{VELTO_TEXT, 0, 0, "10.0.0.17", 9},
                                {VELTO_TEXT, 0, 0, "10.0.0.18", 9}};
  size_t next = 0;
  for (auto _ : state)
    check(state, velto_set(gem.control, "IPAddress", nullptr, 0, values[next ^= 1]));
}
BENCHMARK(BM_CSetText);

} // namespace
