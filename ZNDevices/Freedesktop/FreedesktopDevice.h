#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ZNPlatform/HeadlessDevice.h"

namespace zn {

/// What a desktop asks of its host. Thread: the main thread. Lifetime: the device holds it weakly.
class ZN_EXPORT DesktopHost {
 public:
  virtual ~DesktopHost() = default;
  /// Somebody wants to see the application: a notification was clicked, or it was started a second time. Show a window
  /// and raise it. `token` is what the desktop gives for that (xdg-activation, startup notification); may be empty.
  virtual void activate(const std::string& /*token*/) {}
  /// It was started with these links, or somebody opened one of the schemes that its desktop file names.
  virtual void open(const std::vector<std::string>& /*links*/) {}
};

/// A desktop session without a toolkit: the headless device with real notifications (org.freedesktop.Notifications, or
/// the portal in a sandbox), push (UnifiedPush), a badge on the launcher, and links. It speaks D-Bus on one thread of
/// its own, and works with a pumped or an own main queue, in Qt, GTK, SDL or no toolkit at all.
///
///     zn::FreedesktopDevice::Options options;
///     options.applicationID = "com.example.Shop";
///     if (zn::FreedesktopDevice::handOver(options)) return 0;  // it runs already, and has come to the front
///     auto device = std::make_shared<zn::FreedesktopDevice>(options);
///     zn::Device::install(device);
///     …                  // configuration, delegates, initializeMessagingWithLaunchOptions
///     device->start();   // clicks and pushes are delivered from now on
///
/// The session may lack any of what it talks to, and any of that may come late, go away, hang or answer nonsense: no
/// call waits for it. What the session lacks is told once, as a diagnostic of the system log; `missing` lists it.
///
/// A device token is a subscription as the web writes it, {"endpoint":"…","keys":{"auth":"…","p256dh":"…"}}, and a push
/// a message that is encrypted for it (RFC 8291), whose text is the payload as JSON. The keys are made with each
/// registration, which is made anew for another user (zn::UserSession), when the user opts out of push or in again, and
/// where the old one cannot be read: the application then gets another token.
///
/// On disk, below the home, mode 0600: Library/DesktopNotifications (permission, and what waits or stands on the
/// screen), Library/DesktopPush (the push registration with its private key), Library/DesktopApplication (the badge).
///
/// Thread: any, unless an operation says otherwise. Lives until the process ends, once it is installed.
class ZN_EXPORT FreedesktopDevice : public HeadlessDevice {
 public:
  struct Options {
    /// The application's name on the bus, of its desktop file and of its folder, such as "com.example.Shop". One that
    /// is no bus name (two parts or more of letters, digits, "_" and "-") has notifications, but neither push nor a
    /// start from outside.
    std::string applicationID = "zintar";
    std::string name;  ///< for people, beside its notifications; empty: applicationID
    std::string icon;  ///< from the icon theme, or the absolute path of a file; empty: applicationID
    std::string home;  ///< as HeadlessDevice::Options has it, and so the next two
    MainQueue mainQueue = MainQueue::ownThread;
    unsigned backgroundThreads = 2;
    /// Schemes of links that a click may open, in lower case; everything else is refused with a diagnostic. A host that
    /// takes links of its own scheme adds that.
    std::vector<std::string> linkSchemes = {"http", "https", "mailto"};
    std::string busAddress;  ///< empty: the session's bus
    /// The public VAPID key of who sends the pushes (RFC 8292), in base64url, as `zinpush --print-key` prints it: a
    /// push server then takes pushes from nobody else. Empty: from whoever knows the endpoint.
    std::string vapidKey;
    /// Takes pushes that are not encrypted, too: for development, since whoever carries one can read it, and whoever
    /// learns the endpoint can make one.
    bool acceptPlainPushes = false;
  };

  /// Throws Exception as HeadlessDevice does, and for a `vapidKey` that is none. Nothing is sent or delivered before
  /// `start`.
  explicit FreedesktopDevice(Options options);
  ~FreedesktopDevice() override;

  /// Whether another process runs on this home and took over what this one was started for: activating the application,
  /// or opening `links`. Call it before the device is made, and end the process where it is true. Waits for the other
  /// one, 5 seconds at most; false where it does not answer.
  static bool handOver(const Options& options, const std::vector<std::string>& links = {});

  /// Connects to the session: call it once delegates and module are set up, since what came while the process did not
  /// run is delivered from then on. A second call does nothing.
  void start();

  /// Who is told of activations; asked on the main thread. One without a host is a process without windows.
  void setHost(const std::weak_ptr<DesktopHost>& host);

  /// Whether the application is in front of the user: "active" while one of its windows has the focus, else
  /// "background". At first "background". For hosts without a toolkit's device, which tell it.
  void setApplicationState(UIApplicationState state);
  /// A window was shown or restored where there was none: UIApplicationWillEnterForegroundNotification. Main thread.
  void enterForeground();

  /// The user's choice, as a host's own settings offer it; kept. Until a permission was requested or this was called,
  /// nothing is decided, and nothing is shown.
  void setNotificationsAllowed(bool allowed);

  /// What the session lacks at the moment for notifications, in words: "a notification server", "clicks and buttons in
  /// notifications". What it has not answered for yet is not listed.
  std::vector<std::string> missing() const;

  void shutDown() override;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace zn
