#pragma once

#include <string>
#include <vector>

namespace zinextension {

struct Options {
  bool help = false;
  std::string home;
  std::string group;
  std::string application;
  bool isCardClick = false;
  std::string campaign;  ///< of a card click, like the next
  std::string card;
  std::string file = "-";
};

/// Throws zn::Exception for options that cannot be used.
Options parsedOptions(const std::vector<std::string>& arguments);

std::string helpText();

}  // namespace zinextension
