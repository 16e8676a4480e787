#pragma once

// What libplist needs for the same data: what our archives are compared with.

#include <benchmark/benchmark.h>
#include <plist/plist.h>

#include <cstdint>

#include "ZNPlatform/Foundation/KeyedArchive.h"

namespace zn::test {

inline plist_t parsedWithLibplist(const Data& archive) {
  plist_t tree = nullptr;
  plist_from_bin(reinterpret_cast<const char*>(archive.data()), static_cast<std::uint32_t>(archive.size()), &tree);
  return tree;
}

inline void freeBytesOfLibplist(char* bytes) {
#ifdef ZN_PLIST_HAS_MEM_FREE
  plist_mem_free(bytes);
#else
  plist_to_bin_free(bytes);
#endif
}

/// Writes the very structure that the archive holds.
inline void writeSameWithLibplist(benchmark::State& state, const Data& archive) {
  plist_t tree = parsedWithLibplist(archive);
  if (!tree) state.SkipWithError("libplist did not read the archive");
  for (auto _ : state) {
    char* bytes = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(tree, &bytes, &length);
    benchmark::DoNotOptimize(bytes);
    freeBytesOfLibplist(bytes);
  }
  plist_free(tree);
}

/// Only parses, and frees the tree: making records of it would come on top.
inline void parseWithLibplist(benchmark::State& state, const Data& archive) {
  for (auto _ : state) {
    plist_t tree = parsedWithLibplist(archive);
    if (!tree) return state.SkipWithError("libplist did not read the archive");
    plist_free(tree);
  }
}

}  // namespace zn::test
