#pragma once

#include <unistd.h>

#include <cstdlib>

namespace zn {

/// Whether the process runs inside Flatpak or Snap, which let it reach the session through portals only.
inline bool isSandboxed() { return ::access("/.flatpak-info", F_OK) == 0 || ::secure_getenv("SNAP") != nullptr; }

inline constexpr const char* kPortalName = "org.freedesktop.portal.Desktop";
inline constexpr const char* kPortalPath = "/org/freedesktop/portal/desktop";

}  // namespace zn
