#include "Apps/zinsim/Operations.h"

#include <algorithm>
#include <cctype>

#include "Apps/zinsim/Fields.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"

namespace zinsim {

const std::vector<OperationTable>& operationTables() {
  static const zn::NeverDestroyed tables(
      std::vector<OperationTable>{{"ZNMessaging", messagingOperations()},
                                  {"ZNMessagingUtils", messagingUtilsOperations()},
                                  {"ZNNotificationHandler", notificationHandlerOperations()},
                                  {"ZNAppDelegateMessagingProxy", proxyOperations()},
                                  {"ZNInbox", inboxOperations()},
                                  {"ZNInboxHandler", inboxHandlerOperations()},
                                  {"ZNDeviceTriggersHandler", deviceTriggersHandlerOperations()},
                                  {"ZNDeviceTriggersDataManager", deviceTriggersDataManagerOperations()},
                                  {"ZNDeviceTriggerUtils", deviceTriggerUtilsOperations()}});
  return *tables;
}

namespace {

const std::vector<Operation>& operationsOf(std::string_view className) {
  for (const OperationTable& table : operationTables()) {
    if (className == table.className) return table.operations;
  }
  throw UsageError("this version serves no calls on \"" + std::string(className) + "\"");
}

const Operation* find(const std::vector<Operation>& operations, std::string_view selector) {
  const auto found =
      std::find_if(operations.begin(), operations.end(), [&](const auto& each) { return selector == each.selector; });
  return found == operations.end() ? nullptr : &*found;
}

}  // namespace

const Operation& operationNamed(std::string_view className, std::string_view selector) {
  if (const Operation* found = find(operationsOf(className), selector)) return *found;
  throw UsageError("unknown operation \"" + std::string(selector) + "\" of " + std::string(className));
}

const Operation& setterNamed(std::string_view className, std::string_view property) {
  const auto& operations = operationsOf(className);
  if (!property.empty() && find(operations, property)) {
    std::string setter = "set" + std::string(property) + ":";
    setter[3] = static_cast<char>(std::toupper(static_cast<unsigned char>(setter[3])));
    if (const Operation* found = find(operations, setter)) return *found;
  }
  throw UsageError(std::string(className) + " has no property \"" + std::string(property) + "\" that can be set");
}

}  // namespace zinsim
