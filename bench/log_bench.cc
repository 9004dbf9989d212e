// A line of the Log control beside a plain queue of lines, both full: what comes in at the end goes
// out at the start. The number of lines must not matter.
#include "controls/log_ctrl.h"

#include <benchmark/benchmark.h>
#include <deque>
#include <string>

namespace {

using namespace velto;

constexpr int16_t kLines = 32'767;
const std::string kText = "S6F11W sent to the host, event 4711, 3 reports, 12 values";

void BM_QueueLine(benchmark::State &state) {
  std::deque<std::string> lines(kLines, kText);
  for (auto _ : state) {
    lines.push_back(kText);
    lines.pop_front();
  }
  benchmark::DoNotOptimize(lines.back().data());
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_QueueLine);

// Lines in the list, and 1 for date and time in front of each.
void BM_TraceLine(benchmark::State &state) {
  EventLoop loop;
  CVeltoLogCtrl log(loop);
  log.SetLineMax(static_cast<int16_t>(state.range(0)));
  log.SetDate(state.range(1) != 0);
  log.SetTime(state.range(1) != 0);
  for (int64_t i = 0; i < state.range(0); ++i)
    log.Trace(kText);
  for (auto _ : state)
    log.Trace(kText);
  benchmark::DoNotOptimize(log.view().lines.back().data());
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_TraceLine)
    ->ArgNames({"lines", "stamp"})
    ->Args({100, 0})
    ->Args({kLines, 0})
    ->Args({kLines, 1});

} // namespace
