#pragma once

// What the delegate proxy's exception guards log.

inline constexpr const char* kProxyFailure = "Exception in the delegate proxy : %@";
