#pragma once

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZNPlatform/Foundation/Value.h"

/// Base of records that come from the server as dictionaries and are kept in archives. It takes nothing from the
/// dictionary itself.
class ZN_EXPORT ZNModelObject : public zn::Coding {};
