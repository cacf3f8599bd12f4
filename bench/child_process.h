// What the benchmarks against a peer program share: each side runs in a
// child process of its own, so its peak resident memory (getrusage of the
// child) is its own, and both sides' times and peaks are reported together.
#pragma once

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "bench_sizes.h"

namespace zmdb::bench {

// What one child process cost: its wall time and its peak resident memory.
struct ChildRun {
  double seconds = 0;
  double peakMiB = 0;
  bool ok = false;
};

inline ChildRun Wait(pid_t pid, Clock::time_point start) {
  ChildRun run;
  int status = 0;
  rusage usage{};
  if (pid > 0 && wait4(pid, &status, 0, &usage) == pid) {
    run.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    run.peakMiB = static_cast<double>(usage.ru_maxrss) / 1024.0;  // kilobytes on Linux
  }
  run.seconds = SecondsSince(start);
  return run;
}

// `work` in a child process; the child's exit code is 0 when it answers true.
inline ChildRun InChild(const std::function<bool()>& work) {
  const auto start = Clock::now();
  const pid_t pid = fork();
  if (pid == 0) _exit(work() ? 0 : 1);
  return Wait(pid, start);
}

// The program `program` (found on the PATH) with `args`, its standard output
// into `out` when given, else (with its standard error) into /dev/null when
// `quiet`.
inline ChildRun Program(const char* program, const std::vector<std::string>& args,
                        const std::string& out = "", bool quiet = false) {
  const auto start = Clock::now();
  const pid_t pid = fork();
  if (pid == 0) {
    if (!out.empty() || quiet) {
      const int fd = out.empty() ? open("/dev/null", O_WRONLY)
                                 : open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
      dup2(fd, STDOUT_FILENO);
      if (quiet) dup2(fd, STDERR_FILENO);
      close(fd);
    }
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program));
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    execvp(program, argv.data());
    _exit(127);
  }
  return Wait(pid, start);
}

// Both sides of a benchmark: the time and the highest peak of each, the
// peer's counters named after it ("shell_s", "shell_peak_MiB").
struct Sides {
  std::string peer;
  double ours = 0, theirs = 0, oursPeak = 0, theirsPeak = 0;

  // One iteration: ours timed by hand, the peer's beside it.
  void Add(benchmark::State& state, const ChildRun& run, const ChildRun& other) {
    if (!run.ok || !other.ok) state.SkipWithError("a side failed");
    state.SetIterationTime(run.seconds);
    ours += run.seconds;
    theirs += other.seconds;
    oursPeak = std::max(oursPeak, run.peakMiB);
    theirsPeak = std::max(theirsPeak, other.peakMiB);
  }
  void Report(benchmark::State& state, int rows) const {
    const double n = static_cast<double>(state.iterations());
    state.counters["time_ratio"] = ours / theirs;
    state.counters["ours_s"] = ours / n;
    state.counters[peer + "_s"] = theirs / n;
    state.counters["ours_peak_MiB"] = oursPeak;
    state.counters[peer + "_peak_MiB"] = theirsPeak;
    state.counters["rows"] = rows;
  }
};

}  // namespace zmdb::bench
