#pragma once

namespace apps {

/// Ends this process's TCP connections from a local port, to one remote port or (0) to all: both sides see the
/// connection closed at once. The HTTP library offers a handler no way to do that. The descriptors stay its own.
void endConnections(int localPort, int remotePort);

}  // namespace apps
