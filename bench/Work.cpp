#include "Work.h"

namespace Bench {

std::vector<Work>& works() {
  static std::vector<Work> all;
  return all;
}

std::vector<Growth>& growths() {
  static std::vector<Growth> all;
  return all;
}

std::map<std::string, Measure>& measures() {
  static std::map<std::string, Measure> all;
  return all;
}

void registerRun(std::string const& name, Measure measure,
                 std::function<void(benchmark::State&)> const& run) {
  if (!run) return;
  measures()[name] = measure;
  auto* const registered = benchmark::RegisterBenchmark(name.c_str(), run);
  if (measure != Measure::time) registered->UseManualTime()->Iterations(1);
  if (measure == Measure::bytes) registered->Repetitions(1);
}

Registration::Registration(Work work, Contender const& ours) : place_(works().size()) {
  work.ours = ours.label;
  registerRun(work.benchmarkName(ours.label), work.measure, ours.run);
  works().push_back(std::move(work));
}

Registration& Registration::beside(Goal goal, std::vector<Contender> const& peers) {
  Work& work = works()[place_];
  Work::Beside& added = work.beside.emplace_back(Work::Beside{goal, {}});
  for (Contender const& peer : peers) {
    added.peers.push_back(peer.label);
    registerRun(work.benchmarkName(peer.label), work.measure, peer.run);
  }
  return *this;
}

void registerGrowth(Growth growth,
                    std::function<void(benchmark::State&, double point)> const& run) {
  std::vector<double> points = growth.points;
  if (measuresBeyond && growth.beyond > 0) points.push_back(growth.beyond);
  for (double const point : points) {
    registerRun(growth.benchmarkName(point), growth.measure,
                [run, point](benchmark::State& state) { run(state, point); });
  }
  growths().push_back(std::move(growth));
}

}  // namespace Bench
