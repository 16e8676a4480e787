#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Apps/zinsim/Arguments.h"
#include "Apps/zinsim/Printed.h"

namespace zinsim {

/// One operation that `call` can call. A new one is one more entry in its class's table.
struct Operation {
  const char* selector;
  std::vector<Parameter> parameters;
  /// What it returns; nothing where it returns nothing.
  std::function<std::optional<zn::Value>(const Arguments&)> run;
};

/// The operations of one class of the module.
struct OperationTable {
  const char* className;
  const std::vector<Operation>& operations;
};

const std::vector<Operation>& messagingOperations();
const std::vector<Operation>& messagingUtilsOperations();
const std::vector<Operation>& notificationHandlerOperations();
const std::vector<Operation>& proxyOperations();
const std::vector<Operation>& inboxOperations();
const std::vector<Operation>& inboxHandlerOperations();
const std::vector<Operation>& deviceTriggersHandlerOperations();
const std::vector<Operation>& deviceTriggersDataManagerOperations();
const std::vector<Operation>& deviceTriggerUtilsOperations();

const std::vector<OperationTable>& operationTables();

/// Throws UsageError where there is no such class or operation.
const Operation& operationNamed(std::string_view className, std::string_view selector);
/// The operation that sets a property, one that can be read and set.
const Operation& setterNamed(std::string_view className, std::string_view property);

/// An entry of a table: a body that returns something is printed.
template <class Body>
Operation operation(const char* selector, std::vector<Parameter> parameters, Body body) {
  return {selector, std::move(parameters),
          [body = std::move(body)](const Arguments& arguments) -> std::optional<zn::Value> {
            if constexpr (std::is_void_v<std::invoke_result_t<Body, const Arguments&>>) {
              body(arguments);
              return std::nullopt;
            } else {
              return printed(body(arguments));
            }
          }};
}

}  // namespace zinsim
