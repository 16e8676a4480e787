#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ZNPlatform/Foundation/Value.h"

/// Reads what authors of campaigns and host teams write, and says what a device would silently make of a mistake in it.
/// What objects may hold stands in description.json beside this file.
namespace apps::check {

enum class Kind {
  payload,        ///< a push payload, as it is sent
  campaigns,      ///< what the services of campaigns, segments and the inbox answer, or one campaign; comments allowed
  condition,      ///< an event condition, or the "condition" of a campaign
  configuration,  ///< what ZNConfigDataManager::loadFile reads; comments allowed
  scenario        ///< lines for zinsim
};

struct Finding {
  /// An error is refused, or cannot do what was meant; a warning probably was not meant.
  enum class Severity { error, warning } severity = Severity::warning;
  int line = 1;          ///< from 1
  int column = 1;        ///< from 1, in bytes
  std::string sentence;  ///< what is wrong and what happens on the device; one line without a full stop
  std::string advice;    ///< what to write instead; empty where the sentence says it
};

/// What a scenario's command says of one of its lines. `field`: the key where it stands, empty for the whole line.
struct LineProblem {
  Finding::Severity severity = Finding::Severity::error;
  std::string field = {};
  std::string sentence = {};
  std::string advice = {};
};

struct Options {
  double now = 0;  ///< seconds since 1970, for dates in the past; 0: no date counts as past
  /// Schemes of links that the application opens, such as "shop", beside http and https. Empty: any.
  std::vector<std::string> linkSchemes = {};
  std::size_t longestPayload = 3993;  ///< bytes of a payload without blanks that fit into an encrypted push
  bool allowComments = false;         ///< in payloads and conditions too, for a sender that takes them out
  bool isOwnPush = false;             ///< of a payload: it should be the library's own, and not of somebody else
  /// What the scenario runner itself would refuse or ignore in a line. None: only what lines carry is checked.
  std::function<std::vector<LineProblem>(const zn::Value& line)> lineProblems = {};
};

/// What the text seems to be, by its keys, misspelt ones included; nothing where they do not tell.
std::optional<Kind> kindOf(std::string_view text);

/// What is to be said of the text, in its order; empty where nothing is. Never throws because of the text; of a great
/// many findings the first thousand. Takes memory in proportion to the text. Any thread.
std::vector<Finding> check(Kind kind, std::string_view text, const Options& options = {});

/// "payload", "campaigns" and so on.
std::string_view nameOf(Kind kind);
std::optional<Kind> kindNamed(std::string_view name);

/// "file:line:column: error: sentence (advice)".
std::string lineFor(const std::string& file, const Finding& finding);

}  // namespace apps::check
