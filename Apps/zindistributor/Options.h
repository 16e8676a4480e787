#pragma once

#include <optional>
#include <string>

#include "Apps/zindistributor/Faults.h"

namespace zindistributor {

struct Options {
  std::string folder;
  std::string name = "zindistributor";  ///< the last part of the name on the bus
  int port = 8089;                      ///< 0: one that is free
  int onlyVersion = 0;                  ///< of the interfaces; 0: both
  int patience = 25;                    ///< seconds that a connector may take to answer
  bool showEndpoints = false;
  Faults faults{};
};

/// Nothing where the program shall go on, otherwise its exit status.
std::optional<int> readOptions(int count, char** arguments, Options& options);

}  // namespace zindistributor
