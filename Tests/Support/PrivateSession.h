#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "Tests/Support/Awaited.h"
#include "Tests/Support/Process.h"
#include "Tests/Support/TestHome.h"

namespace zn::test {

/// Why tests that need these programs are skipped, or "".
inline std::string lackOf(const std::vector<std::string>& programs) {
  const char* const path = std::getenv("PATH");
  for (const std::string& program : programs) {
    std::istringstream folders(path ? path : "");
    bool isThere = false;
    for (std::string folder; std::getline(folders, folder, ':');) {
      isThere = isThere || ::access((folder + "/" + program).c_str(), X_OK) == 0;
    }
    if (!isThere) return program + " is not installed";
  }
  return "";
}

/// A session of its own: a bus, and what is started on it, in a temporary folder. Each party can be ended, killed and
/// started again; whatever still runs ends with the object.
class PrivateSession {
 public:
  PrivateSession() {
    for (const char* folder : {"services", "run", "home"}) std::filesystem::create_directory(folder_ / folder);
    std::filesystem::permissions(folder_ / "run", std::filesystem::perms::owner_all);
    std::ofstream(folder_ / "bus.conf") << "<busconfig><type>session</type><listen>" << address()
                                        << "</listen><servicedir>" << folder_ / "services"
                                        << "</servicedir><policy context=\"default\"><allow send_destination=\"*\"/>"
                                           "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>\n";
    startBus();
  }

  std::string path(const std::string& name) const { return folder_ / name; }
  std::string address() const { return "unix:path=" + (folder_ / "socket"); }
  /// For what is started here.
  Environment environment() const {
    return {{"DBUS_SESSION_BUS_ADDRESS", address()},
            {"DISPLAY", display_},
            {"HOME", folder_ / "home"},
            {"TMPDIR", folder_ / "run"},  // what is killed leaves nothing elsewhere
            {"XDG_RUNTIME_DIR", folder_ / "run"},
            {"XDG_DATA_HOME", folder_ / "home/share"},
            {"XDG_CONFIG_HOME", folder_ / "home/config"}};
  }

  void startBus() {
    bus_ = std::make_unique<Process>(std::vector<std::string>{"dbus-daemon", "--nofork", "--print-address",
                                                              "--config-file=" + (folder_ / "bus.conf")},
                                     environment());
    bus_->line();
  }
  void endBus() { bus_.reset(); }
  /// What the bus starts when somebody calls the name.
  void addService(const std::string& name, const std::string& command) const {
    std::ofstream(folder_ / ("services/" + name + ".service"))
        << "[D-BUS Service]\nName=" << name << "\nExec=" << command << "\n";
  }

  void startDisplay() {
    // It picks a number that is free, and tells it.
    xServer_ = std::make_unique<Process>(
        std::vector<std::string>{"Xvfb", "-displayfd", "1", "-screen", "0", "1280x800x24", "-nolisten", "tcp"});
    display_ = ":" + xServer_->line();
  }

  /// A real notification daemon. Needs the display.
  void startDunst() {
    std::ofstream(folder_ / "dunstrc") << "[global]\ndmenu = /bin/sh " << folder_ / "pick"
                                       << "\n";
    dunst_ = std::make_unique<Process>(std::vector<std::string>{"dunst", "-conf", folder_ / "dunstrc"}, environment());
    waitForDunst();
  }
  void killDunst() { dunst_.reset(); }
  /// The real portal, with the back end that hands notifications on to the daemon. Needs the display, and comes before
  /// dunst: the back end looks for a daemon when it is asked first.
  void startPortal() {
    Environment settings = environment();
    settings["XDG_CURRENT_DESKTOP"] = "GNOME";  // whose choice of back ends is this one
    const auto start = [&](const std::string& part, const std::string& name) {
      portal_.push_back(std::make_unique<Process>(std::vector<std::string>{kPortalFolder + part}, settings));
      waitForName(name);
    };
    start("xdg-desktop-portal-gtk", "org.freedesktop.impl.portal.desktop.gtk");
    start("xdg-desktop-portal", "org.freedesktop.portal.Desktop");
  }
  static constexpr const char* kPortalFolder = "/usr/libexec/";
  /// `dunstctl` with these arguments. Returns whether it succeeded.
  bool dunstctl(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "dunstctl");
    return Process(arguments, environment()).end(0) == 0;
  }
  /// How many notifications it shows at the moment; -1 where it does not answer.
  int displayedByDunst() const {
    Process asking({"dunstctl", "count", "displayed"}, environment());
    const std::string answer = asking.line();
    return asking.end(0) == 0 ? std::atoi(answer.c_str()) : -1;
  }
  /// Makes the button with this label the one that is chosen where a notification's buttons are listed.
  void chooseButtons(const std::string& label) const {
    std::ofstream(folder_ / "pick") << "grep -F -- '" << label << "'\n";
  }

 private:
  void waitForName(const std::string& name) const {
    waitUntil([&] {
      Process asking({"dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                      "org.freedesktop.DBus.GetNameOwner", "string:" + name},
                     environment());
      return asking.end(0) == 0;
    });
  }
  void waitForDunst() const {
    waitUntil([this] { return displayedByDunst() >= 0; });
  }

  MemoryFolder folder_;
  std::string display_;
  std::unique_ptr<Process> bus_;  // the others end before
  std::unique_ptr<Process> xServer_;
  std::unique_ptr<Process> dunst_;
  std::vector<std::unique_ptr<Process>> portal_;
};

/// What starts a program inside a sandbox as Flatpak makes it for that application, or nothing where there can be none.
/// The folder tree is a new one, since the file that tells of the sandbox would be seen by every process in the old
/// one.
inline std::vector<std::string> sandboxFor(const std::string& applicationID, const std::string& folder) {
  const std::string info = folder + "/flatpak-info";
  std::ofstream(info) << "[Application]\nname=" << applicationID << "\n";
  std::vector<std::string> command = {"bwrap", "--tmpfs", "/", "--ro-bind", info, "/.flatpak-info"};
  for (const auto& each : std::filesystem::directory_iterator("/")) {
    const std::string path = each.path();
    if (each.is_symlink()) {
      command.insert(command.end(), {"--symlink", std::filesystem::read_symlink(path), path});
    } else if (each.is_directory()) {
      command.insert(command.end(), {"--dev-bind", path, path});
    }
  }
  std::vector<std::string> trial = command;
  trial.emplace_back("true");
  return Process(trial).end(0) == 0 ? command : std::vector<std::string>();
}

}  // namespace zn::test
