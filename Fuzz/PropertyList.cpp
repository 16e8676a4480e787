// Bytes that somebody else wrote, read as a property list, binary or XML. What was read can be written and read again,
// and entries of an older inbox file become entries of the inbox.

#include "ZNPlatform/Foundation/PropertyList.h"
#include "Fuzz/FuzzDevice.h"
#include "ZNMessaging/Constants/ZNInboxExposedConstants.h"
#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxModel.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zn::fuzz::device();
  std::string error;
  const auto value = zn::parsePropertyList({data, size}, &error);
  zn::fuzz::require(value.has_value() == error.empty());
  if (!value) return 0;
  const zn::Data list = zn::binaryPropertyList(*value);
  const auto again = zn::parsePropertyList(list);
  zn::fuzz::require(again && zn::binaryPropertyList(*again) == list);
  const zn::Value entries = value->validObjectForKey(ZN_PUSH_MESSAGES_INFO);
  for (const zn::Value& entry : entries.elements()) ZNInboxModel::initWithLegacyInboxPlistPayload(entry);
  return 0;
}
