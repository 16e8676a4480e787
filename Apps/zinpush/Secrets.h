#pragma once

#include <string>
#include <vector>

namespace zinpush {

/// The program's arguments, of which the process itself no longer shows the secrets: a token is overwritten where the
/// system, and so everybody, reads the command line.
class Arguments {
 public:
  Arguments(int count, char** arguments);

  int count() const { return static_cast<int>(texts_.size()); }
  char** all() { return pointers_.data(); }

 private:
  std::vector<std::string> texts_;
  std::vector<char*> pointers_;
};

/// Whether that is a device token itself, and not the name of a file.
bool isToken(const std::string& text);

/// A process that crashes leaves no image of its memory.
void keepOutOfCoreDumps();

}  // namespace zinpush
