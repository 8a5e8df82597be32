// Benchmark main: runs every registered case single-threaded and prints a
// table of Mpix/s per conversion and size.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <random>

#include "bench_common.h"

namespace kel::bench {

namespace {

// Splits "<conversion>/<impl>/<w>x<h>[/real_time...]" into its parts.
bool ParseName(const std::string& name, std::string* conversion,
               std::string* impl, std::string* size, double* pixels) {
  const size_t a = name.find('/');
  if (a == std::string::npos) return false;
  const size_t b = name.find('/', a + 1);
  if (b == std::string::npos) return false;
  const size_t c = name.find('/', b + 1);
  *conversion = name.substr(0, a);
  *impl = name.substr(a + 1, b - a - 1);
  *size = name.substr(b + 1, c == std::string::npos ? c : c - b - 1);
  int w = 0, h = 0;
  if (std::sscanf(size->c_str(), "%dx%d", &w, &h) != 2) return false;
  *pixels = static_cast<double>(w) * h;
  return true;
}

struct Row {
  std::map<std::string, double> mpixByImpl;
};

class TableReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      std::string conversion, impl, size;
      double pixels = 0;
      if (!ParseName(run.benchmark_name(), &conversion, &impl, &size, &pixels))
        continue;
      const double seconds = run.GetAdjustedRealTime() /
                             benchmark::GetTimeUnitMultiplier(run.time_unit);
      rows_[conversion + " " + size].mpixByImpl[impl] = pixels / seconds / 1e6;
    }
  }

  void PrintTable() const {
    std::printf("\n%-46s %9s %9s %-8s %7s %9s %7s\n", "conversion / size",
                "kelCC", "best peer", "(peer)", "speedup", "memcpy", "of lim");
    for (const auto& [key, row] : rows_) {
      auto get = [&](const char* impl) {
        auto it = row.mpixByImpl.find(impl);
        return it == row.mpixByImpl.end() ? 0.0 : it->second;
      };
      const double ours = get("kelcc"), limit = get("memcpy");
      double peer = 0;
      std::string peerName = "-";
      for (const auto& [impl, mpix] : row.mpixByImpl) {
        if (impl == "kelcc" || impl == "memcpy") continue;
        if (mpix > peer) peer = mpix, peerName = impl;
      }
      std::printf("%-46s %9.1f ", key.c_str(), ours);
      if (peer > 0)
        std::printf("%9.1f %-8s %6.2fx ", peer, peerName.c_str(), ours / peer);
      else
        std::printf("%9s %-8s %7s ", "-", "-", "-");
      if (limit > 0)
        std::printf("%9.1f %6.2f\n", limit, ours / limit);
      else
        std::printf("%9s %7s\n", "-", "-");
    }
  }

 private:
  std::map<std::string, Row> rows_;
};

}  // namespace

void Add(const std::string& conversion, const std::string& impl, int w, int h,
         std::function<void()> run) {
  const std::string name = conversion + "/" + impl + "/" + std::to_string(w) +
                           "x" + std::to_string(h);
  const double pixels = static_cast<double>(w) * h;
  benchmark::RegisterBenchmark(name.c_str(),
                               [run, pixels](benchmark::State& state) {
                                 for (auto _ : state) {
                                   run();
                                   benchmark::ClobberMemory();
                                 }
                                 state.counters["Mpix/s"] = benchmark::Counter(
                                     pixels / 1e6 * state.iterations(),
                                     benchmark::Counter::kIsRate);
                               })
      ->Unit(benchmark::kMicrosecond)
      ->UseRealTime();
}

void AddMemcpyLimit(const std::string& conversion, int w, int h,
                    size_t bytesRead, size_t bytesWritten) {
  const size_t n = (bytesRead + bytesWritten) / 2;
  uint8_t* src = RandomBuffer(n, 7);
  uint8_t* dst = RandomBuffer(n, 8);
  Add(conversion, "memcpy", w, h, [=] { std::memcpy(dst, src, n); });
}

uint8_t* RandomBuffer(size_t bytes, uint32_t seed) {
  static std::vector<std::unique_ptr<uint8_t[]>> keep;
  auto buf = std::make_unique<uint8_t[]>(bytes + 64);
  std::mt19937 rng(seed);
  for (size_t i = 0; i < bytes + 64; ++i) buf[i] = static_cast<uint8_t>(rng());
  uint8_t* p = buf.get();
  keep.push_back(std::move(buf));
  return p;
}

}  // namespace kel::bench

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  kel::bench::TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintTable();
  benchmark::Shutdown();
  return 0;
}
