#include "Apps/zinextension/Options.h"

#include "Apps/CommandLine.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace zinextension {

namespace {

constexpr const char* kAbout =
    R"(zinextension: a notification service extension

  Does what runs beside the application when a push arrives: it leaves the push in the storage that
  the application shares with it, and the application's next inbox synchronisation takes it in. Any
  number may run at the same time, also while the application does.

  Reads push payloads, one JSON object a line. Each is stored before the next line is read, with the
  time when it came as "received_epoch_val" in its "zintar", unless it has one. What has no place in
  an inbox is left out: pushes of other senders (without "zintar"), silent ones ("silentPush" in
  it), and those without a campaign ("cid" in it). Blank lines, and lines that start with #, are
  skipped. A line that cannot be used is reported, and the others are stored all the same.
)";

constexpr const char* kMore =
    R"(EXAMPLES
  $ echo '{"aps": {"alert": "Hello"}, "zintar": {"cid": "c1"}}' |
      zinextension --home ~/.local/share/my-app --group group.my-app --app app-1

EXIT STATUS
  0  Everything that belongs into the inbox is stored, or this text was printed.
  1  The storage cannot be written, or the input not be read. Standard error says why.
  2  An option or a line cannot be used. Standard error says which and why.
)";

/// What the options leave open comes from the configuration.
void complete(Options& options, const std::string& configuration) {
  std::string error;
  const auto& account = ZNConfigDataManager::sharedInstance();
  if (!configuration.empty() && !account->loadFile(configuration, &error)) throw apps::UsageError(error);
  if (options.group.empty()) options.group = account->getAppGroupID().string();
  if (options.application.empty()) options.application = account->getZinAppID().string();
  if (options.group.empty()) throw apps::UsageError("the app group is needed: --group, or \"appGroupID\" in --config");
  if (options.application.empty()) {
    throw apps::UsageError("the application id is needed: --app, or \"appID\" in --config");
  }
}

}  // namespace

std::optional<int> readOptions(int count, char** arguments, Options& options) {
  std::string configuration;
  apps::CommandLine line(kAbout, [] { return kMore; });
  line.text("FILE", "The payloads; standard input without one, or with \"-\".", options.file);
  line.text("--home DIR", "The application's home folder (needed).", options.home, apps::CommandLine::Need::required);
  line.text("--config FILE", "The application's configuration; \"appID\" and \"appGroupID\" are taken from it.",
            configuration);
  line.text("--group NAME", "The app group, instead of the configuration's.", options.group);
  line.text("--app ID", "The application id, instead of the configuration's.", options.application);
  line.pair("--card-click CAMPAIGN CARD",
            "The user tapped that card of that campaign's push: the application learns it\n"
            "with the click, which follows. No payload is read.",
            options.cardClick);
  line.check([&] { complete(options, configuration); });
  return line.read(count, arguments);
}

}  // namespace zinextension
