// Prints how many microseconds it takes to load the last of some shared libraries into a process that has loaded the
// others, and nothing besides.

#include <dlfcn.h>

#include <chrono>
#include <cstdio>

int main(int count, char** arguments) {
  std::chrono::duration<double, std::micro> taken{};
  for (int index = 1; index < count; ++index) {
    const auto begin = std::chrono::steady_clock::now();
    if (!dlopen(arguments[index], RTLD_NOW | RTLD_GLOBAL)) {
      std::fprintf(stderr, "%s\n", dlerror());
      return 1;
    }
    taken = std::chrono::steady_clock::now() - begin;
  }
  std::printf("%.1f\n", taken.count());
  return 0;
}
