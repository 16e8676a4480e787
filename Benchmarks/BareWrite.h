#pragma once

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <string>

#include "Benchmarks/BenchmarkDevice.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn::test {

enum class BareWrite {
  renamed,  ///< write, fdatasync and rename: what the disk takes whatever we do
  safely,  ///< and the folder's sync, without which a power cut may bring the old file back: all that a save does to it
};

/// The same number of bytes without anything of ours.
inline void writeBare(benchmark::State& state, const Data& bytes, BareWrite how) {
  const std::string home = benchmarkDevice().home();
  const std::string path = home + "/bare";
  const std::string temporary = path + ".new";
  for (auto _ : state) {
    const int file = ::open(temporary.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
    bool done = ::write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    done = ::fdatasync(file) == 0 && done;
    ::close(file);
    done = ::rename(temporary.c_str(), path.c_str()) == 0 && done;
    if (how == BareWrite::safely) {
      const int folder = ::open(home.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
      done = ::fsync(folder) == 0 && done;
      ::close(folder);
    }
    if (!done) return state.SkipWithError("the bytes were not written");
  }
}

}  // namespace zn::test
