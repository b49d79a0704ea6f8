#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Bench {

/// One of those that do a piece of work, ours or a peer. `run` is empty when the peer is not
/// installed.
struct Contender {
  std::string label;
  std::function<void(benchmark::State&)> run;
};

/// The contender that calls `once` over and over with a `Subject` made from `arguments`; `void`
/// stands for a subject that is not installed.
template <class Subject, class Once, class... Arguments>
Contender contender(std::string label, Once once, Arguments... arguments) {
  if constexpr (std::is_void_v<Subject>) {
    return {std::move(label), nullptr};
  } else {
    return {std::move(label), [=](benchmark::State& state) {
              Subject subject(arguments...);
              for (auto _ : state) once(subject);
            }};
  }
}

/// How a benchmark is to be measured, beyond the defaults.
enum class Measure {
  /// Processor time, over as many iterations as it takes.
  time,
  /// What the run itself gives with `SetIterationTime`, one iteration a repetition.
  ownTime,
  /// The counter "bytes" of such a run, once.
  bytes,
};

/// What ours is to be beside a peer: the goal, and what it must never exceed. Zeros: no demand.
struct Goal {
  double goal = 0;
  double bound = 0;
};

/// The same work, done by ours and by peers.
struct Work {
  /// Peers that one goal is set beside; of several, beside the fastest.
  struct Beside {
    Goal goal;
    std::vector<std::string> peers = {};
  };

  std::string name;
  /// A measured run does the work this many times.
  double per = 1;
  Measure measure = Measure::time;
  /// Goals are nanoseconds on top of the peer instead of ratios to it.
  bool isDifference = false;
  std::string ours = {};
  std::vector<Beside> beside = {};

  std::string benchmarkName(std::string const& label) const { return name + '/' + label; }
};

/// A quantity that grows: one benchmark for each of `points`, whose values are fitted with a
/// straight line.
struct Growth {
  std::string name;
  /// What the slope is in, after "ns" or "B".
  std::string unit;
  double per = 1;
  /// What is fitted is the value for each of the point's units.
  bool isShare = false;
  Measure measure = Measure::time;
  std::vector<double> points = {};
  /// The point that the line is drawn on to; it is measured when `measuresBeyond`. 0 for none.
  double beyond = 0;

  /// What is fitted, of a value that was measured at `point`.
  double valueOf(double measured, double point) const {
    return measured / (isShare ? per * point : per);
  }
  std::string benchmarkName(double point) const {
    return name + '/' + std::to_string(static_cast<long>(point));
  }
};

inline bool measuresBeyond = false;

/// Everything that was registered, in the order in which it is to be printed.
std::vector<Work>& works();
std::vector<Growth>& growths();

/// How each benchmark is measured, by its name.
std::map<std::string, Measure>& measures();

/// Registers the benchmark `name`; nothing when `run` is empty.
void registerRun(std::string const& name, Measure measure,
                 std::function<void(benchmark::State&)> const& run);

/// Registers `work`, its own benchmark first.
class Registration {
 public:
  Registration(Work work, Contender const& ours);
  /// Adds peers under one goal.
  Registration& beside(Goal goal, std::vector<Contender> const& peers);

 private:
  std::size_t place_;
};

/// Registers `growth`; `run` is given the state and the point.
void registerGrowth(Growth growth, std::function<void(benchmark::State&, double point)> const& run);

}  // namespace Bench
