#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Apps/Check/Check.h"
#include "Apps/Check/Description.h"
#include "Apps/Check/Document.h"

namespace apps::check {

using Item = Document::Item;
using Type = Document::Type;
using Severity = Finding::Severity;

/// Where the findings of all documents of one text are gathered.
class Findings {
 public:
  void add(Place place, Severity severity, std::string sentence, std::string advice);
  bool areEnough() const;
  /// In the text's order.
  std::vector<Finding> take();

 private:
  std::vector<Finding> all_;
};

/// Checks one document: a file, or a line of a scenario.
class Checker {
 public:
  /// How the document reaches devices.
  enum class Use {
    sent,     ///< as it stands
    carried,  ///< by a line of a scenario, which leaves out what its matter does not need
  };

  Checker(const Document& document, const Options& options, Findings& findings, Use use)
      : document_(document), options_(options), findings_(findings), use_(use) {}

  void duplicates();  ///< keys that stand twice, anywhere

  void pushPayload(const Item& item);  ///< one that is sent as it stands
  void payload(const Item& item);
  void campaignAnswer(const Item& item);  ///< whichever service's it is
  void triggers(const Item& item);
  void campaign(const Item& item);
  void condition(const Item& item);
  void configuration(const Item& item);
  /// Something that may be, or hold, payloads, campaigns or messages.
  void whatever(const Item& item, int depth = 0);

  void object(const Item& item, std::string_view kind);
  void report(const Item& at, Severity severity, std::string sentence, std::string advice = "");
  void reportKey(const Item& at, Severity severity, std::string sentence, std::string advice = "");

 private:
  using Members = std::map<std::string, Item, std::less<>>;

  void unknownKey(const Item& item, const std::string& name, const ObjectKind& kind, const Members& members);
  bool isAstray(const Item& item, const std::string& name, const ObjectKind& kind);
  void missingKeys(const Item& item, const ObjectKind& kind, const Members& members);
  void value(const Item& item, const Key& key);
  void wrongType(const Item& item, const Key& key);
  void text(const Item& item, const Key& key);
  void flag(const Item& item, const Key& key);
  void moment(const Item& item, const Key& key, std::string_view unit);
  void momentAsText(const Item& item, const Key& key, double factor);
  void period(const Item& item, const Key& key, std::string_view unit);
  void timeOfDay(const Item& item, const Key& key);
  void link(const Item& item, const Key& key);

  void nothingToShow(const Item& item);
  void nothingAtAll(const Item& item);
  void localPayload(const Item& payload);
  void wrapped(const Item& item);
  void maximumTimes(const Item& campaign);
  void conditionsEvent(const Item& campaign);
  void cardAction(const Item& action);
  void repeatedCards(const Item& list);
  void repeatedCampaigns(const Item& list);
  void refusals(const Item& configuration);
  void textsForOthers(const Item& filter);
  void endpoints(const Item& endpoints);
  void conditionProblem(const Item& condition, const std::string& problem);

  const Document& document_;
  const Options& options_;
  Findings& findings_;
  const Use use_;
  Item payload_;            // the one that is being checked
  bool mayBePast_ = false;  // of the campaign that is being checked: it is over
};

/// "text", "a number", "true" and so on.
std::string shownType(const Item& item);
/// The value as it is written, shortened, on one line.
std::string shownValue(const Item& item);
std::string inQuotes(std::string_view text);
/// "2023-09-01"; "the year 56000" for what is far away.
std::string shownDate(double secondsSince1970);
/// A whole number where it is one.
std::string shownNumber(double number);
/// Of a number, or a text that is one as a whole; nothing for anything else.
std::optional<double> numberIn(const Item& item);
/// Why nothing can open the link, with the effect of that, and what to write instead where that is plain; empty for one
/// that can be opened.
std::pair<std::string, std::string> linkProblem(std::string_view link, const std::vector<std::string>& schemes,
                                                std::string_view effect = "nothing is opened");

}  // namespace apps::check
