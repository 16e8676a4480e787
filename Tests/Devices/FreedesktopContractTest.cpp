#include "Tests/Devices/PooledContract.h"
#include "ZNDevices/Freedesktop/FreedesktopDevice.h"

INSTANTIATE_TEST_SUITE_P(Freedesktop, DeviceContract, zn::test::pooledKinds<zn::FreedesktopDevice>(),
                         zn::test::nameOfKind);
