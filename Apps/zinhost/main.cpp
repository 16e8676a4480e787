// zinhost: a small shop on the desktop, which shows how an application integrates the module.

#include <QApplication>
#include <chrono>
#include <cstdio>
#include <filesystem>

#include "Apps/CommandLine.h"
#include "Apps/zinhost/ShopWindow.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace {

struct Options {
  std::string configuration;
  std::string home;
  bool inBackground = false;
  bool timesStart = false;
  std::vector<std::string> links;
};

std::optional<int> readOptions(int count, char** arguments, Options& options) {
  const std::filesystem::path own = std::filesystem::read_symlink("/proc/self/exe");
  options.configuration = own.parent_path().parent_path() / "share/zintar/zinhost.json";
  apps::CommandLine line("zinhost: a small shop with push, an inbox and device triggers\n", [] { return ""; });
  line.text("--configuration FILE", "What it starts with. Usually the installed zinhost.json.", options.configuration);
  line.text("--home DIR", "Where it keeps its files. Usually in the user's data folder.", options.home);
  line.flag("--background", "Show no window until somebody wants to see one.", options.inBackground);
  line.flag("--time-start", "Print how many milliseconds the parts of the start took, and end.", options.timesStart);
  line.each("links", "Links to open.", [&](const std::string& link) { options.links.push_back(link); });
  return line.read(count, arguments);
}

zn::Value readConfiguration(const std::string& file) {
  std::string error;
  zn::JsonError malformed;
  const auto bytes = zn::readFile(file, &error);
  if (!bytes) throw zn::Exception(error.empty() ? "there is no file " + file : error);
  const auto read =
      zn::parseJson({reinterpret_cast<const char*>(bytes->data()), bytes->size()}, &malformed, {.allowComments = true});
  if (!read) throw zn::Exception(file + ": " + malformed.text);
  for (const char* key : {"id", "name", "user", "inboxTitle"}) {
    if (!(*read)["application"][key].isString()) throw zn::Exception(file + ": \"application\" lacks \"" + key + "\"");
  }
  return *read;
}

int run(int count, char** arguments, const Options& options) {
  // Prints how long a part of the start took, if somebody wants to know.
  auto done = [&, last = std::chrono::steady_clock::now()](const char* part) mutable {
    const auto before = std::exchange(last, std::chrono::steady_clock::now());
    const std::chrono::duration<double, std::milli> took = last - before;
    if (options.timesStart) std::printf("%-14s %6.1f ms\n", part, took.count());
  };
  const zn::Value configuration = readConfiguration(options.configuration);
  const zn::Value& application = configuration["application"];
  const auto text = [&](const char* key) { return std::string(application[key].string()); };
  zn::QtDevice::Options deviceOptions;
  deviceOptions.applicationID = text("id");
  deviceOptions.name = text("name");
  deviceOptions.home = options.home;
  deviceOptions.vapidKey = text("vapidKey");
  deviceOptions.acceptPlainPushes = application["acceptPlainPushes"].boolean();
  const auto schemes = application["linkSchemes"].elements();
  for (const zn::Value& each : schemes) deviceOptions.linkSchemes.emplace_back(each.string());
  if (zn::QtDevice::handOver(deviceOptions, options.links)) return 0;  // it runs already

  const QApplication qt(count, arguments);
  QApplication::setDesktopFileName(QString::fromStdString(text("id")));
  QApplication::setQuitOnLastWindowClosed(!options.inBackground);
  QPalette colours = QApplication::palette();
  const QColor ofInbox(0xF4, 0xF5, 0xF7);
  if (colours.color(QPalette::Window).lightness() > 128) colours.setColor(QPalette::Window, ofInbox);
  QApplication::setPalette(colours);
  done("Qt");

  const auto device = std::make_shared<zn::QtDevice>(deviceOptions);
  zn::Device::install(device);
  ZNConfigDataManager::sharedInstance()->apply(configuration["account"]);  // before anything of the module is made

  const auto shop = std::make_shared<zinhost::Shop>(device);
  zinhost::ShopWindow window(shop, text("name"), text("inboxTitle"));
  done("device, inbox");
  if (!options.inBackground) window.show();
  shop->start(text("user"));
  if (options.timesStart) {
    QCoreApplication::processEvents();
    done("module, first picture");
    return apps::finishOutput();
  }
  if (!options.links.empty()) shop->open(options.links);
  return QApplication::exec();
}

}  // namespace

int main(int count, char** arguments) {
  Options options;
  if (const auto status = readOptions(count, arguments, options)) return *status;
  try {
    return run(count, arguments, options);
  } catch (const std::exception& problem) {
    return apps::complain(problem.what(), apps::kFailed);
  }
}
