#include "Apps/zinextension/Options.h"

#include <cstddef>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace zinextension {

namespace {

constexpr const char* kHelp =
    R"(zinextension: a notification service extension

USAGE
  zinextension --home DIR [--config FILE] [--group NAME] [--app ID] [FILE]
  zinextension --home DIR ... --card-click CAMPAIGN CARD

  Does what runs beside the application when a push arrives: it leaves the push in the storage that
  the application shares with it, and the application's next inbox synchronisation takes it in. Any
  number may run at the same time, also while the application does.

  Reads push payloads, one JSON object a line, from FILE or standard input. Each is stored before the
  next line is read, with the time when it came as "received_epoch_val" in its "zintar", unless it
  has one. What has no place in an inbox is left out: pushes of other senders (without "zintar"),
  silent ones ("silentPush" in it), and those without a campaign ("cid" in it). Blank lines, and
  lines that start with #, are skipped. A line that cannot be used is reported, and the others are
  stored all the same.

OPTIONS
  --home DIR         The application's home folder.
  --config FILE      The application's configuration; "appID" and "appGroupID" are taken from it.
  --group NAME       The app group, instead of the configuration's.
  --app ID           The application id, instead of the configuration's.
  --card-click CAMPAIGN CARD
                     The user tapped that card of that campaign's push: the application learns it
                     with the click, which follows. No payload is read.
  --help             Print this text.

EXAMPLES
  $ echo '{"aps": {"alert": "Hello"}, "zintar": {"cid": "c1"}}' |
      zinextension --home ~/.local/share/my-app --group group.my-app --app app-1

EXIT STATUS
  0  Everything that belongs into the inbox is stored, or this text was printed.
  1  The storage cannot be written, or the input not be read. Standard error says why.
  2  An option or a line cannot be used. Standard error says which and why.
)";

}  // namespace

Options parsedOptions(const std::vector<std::string>& arguments) {
  Options options;
  std::string configuration;
  std::size_t index = 0;
  const auto next = [&](const std::string& option) {
    if (++index == arguments.size()) throw zn::Exception("option " + option + " needs a value");
    return arguments[index];
  };
  for (; index < arguments.size(); ++index) {
    const auto equals = arguments[index].starts_with("--") ? arguments[index].find('=') : std::string::npos;
    const std::string option = arguments[index].substr(0, equals);
    const auto value = [&] { return equals == std::string::npos ? next(option) : arguments[index].substr(equals + 1); };
    if (option == "--help" || option == "-h") {
      options.help = true;
      return options;
    }
    if (option == "--home") {
      options.home = value();
    } else if (option == "--config") {
      configuration = value();
    } else if (option == "--group") {
      options.group = value();
    } else if (option == "--app") {
      options.application = value();
    } else if (option == "--card-click") {
      options.isCardClick = true;
      options.campaign = value();
      options.card = next(option);
    } else if (option.starts_with("-") && option != "-") {
      throw zn::Exception("unknown option " + option);
    } else {
      options.file = option;
    }
  }
  if (options.home.empty()) throw zn::Exception("option --home is needed");
  std::string error;
  const auto& account = ZNConfigDataManager::sharedInstance();
  if (!configuration.empty() && !account->loadFile(configuration, &error)) throw zn::Exception(error);
  if (options.group.empty()) options.group = account->getAppGroupID().string();
  if (options.application.empty()) options.application = account->getZinAppID().string();
  if (options.group.empty()) throw zn::Exception("the app group is needed: --group, or \"appGroupID\" in --config");
  if (options.application.empty()) throw zn::Exception("the application id is needed: --app, or \"appID\" in --config");
  return options;
}

std::string helpText() { return kHelp; }

}  // namespace zinextension
