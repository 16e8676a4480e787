#pragma once

#include <filesystem>
#include <string>

#include "Platform/Foundation/TemporaryFolder.h"

namespace zn::test {

class TemporaryFolder : public zn::TemporaryFolder {
 public:
  TemporaryFolder() : zn::TemporaryFolder("zntest") {}
};

}  // namespace zn::test
