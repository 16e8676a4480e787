#pragma once

#include <functional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/Once.h"

namespace zn {

/// Stands for the caught exception among the arguments of a failure message.
struct Caught {};
inline constexpr Caught caught{};

/// A failure's log text with its arguments, formatted only when the failure happens. It keeps references: make it in
/// the call of `guarded`. Without arguments the text's one placeholder is the exception.
template <class... Arguments>
class FailureMessage {
 public:
  explicit FailureMessage(const char* text, const Arguments&... arguments) : text_(text), arguments_(arguments...) {}

  std::string textFor(const std::string& exception) const {
    return std::apply([&](const auto&... each) { return zn::format(text_, resolve(each, exception)...); }, arguments_);
  }

 private:
  template <class T>
  static FormatArgument resolve(const T& argument, const std::string& exception) {
    if constexpr (std::is_same_v<T, Caught>) {
      return FormatArgument(exception);
    } else {
      return FormatArgument(argument);
    }
  }
  const char* text_;
  std::tuple<const Arguments&...> arguments_;
};

/// Logs the exception being handled; part of `guarded`.
ZN_EXPORT void logCaughtException(const char* file, int line, const char* selector, const std::string& message);

namespace detail {
template <class R>
R neutral() {
  return R();
}
inline std::string failureText(const char* message, const std::string& exception) {
  return zn::format(message, exception);
}
template <class... A>
std::string failureText(const FailureMessage<A...>& message, const std::string& exception) {
  return message.textFor(exception);
}
}  // namespace detail

/// The exception guard of every operation: runs `body`; an exception that leaves it is logged with source file, line,
/// selector and message, and the neutral result (or that of `fallback`) is returned. Nothing passes to the caller.
/// Take locks inside the body, so that they are free again when the failure is logged; call completions outside it, in
/// a guard of their own (`guardedOnce`).
///
///     return zn::guarded("getAllNotificationCount", "exception while counting : %@", [&] { return list.size(); });
template <class Message, class Body, class Fallback = std::invoke_result_t<Body> (*)()>
std::invoke_result_t<Body> guarded(const char* selector, const Message& message, Body&& body,
                                   Fallback&& fallback = &detail::neutral<std::invoke_result_t<Body>>,
                                   const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  return stopExceptions(std::forward<Body>(body), [&] {
    logCaughtException(file, line, selector, detail::failureText(message, currentExceptionText()));
    return fallback();
  });
}

/// A host's completion as its operation calls it: passes on its first call only, whichever thread makes it, and none if
/// it is empty; what it throws is a failure of that operation like any other, logged and kept from whoever called.
template <class... Arguments>
std::function<void(Arguments...)> guardedOnce(const char* selector, const char* message,
                                              std::function<void(Arguments...)> completion,
                                              const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  if (!completion) return [](Arguments...) {};
  return once(std::function<void(Arguments...)>(
      [selector, message, completion = std::move(completion), file, line](Arguments... arguments) {
        guarded(
            selector, message, [&] { completion(std::forward<Arguments>(arguments)...); }, &detail::neutral<void>, file,
            line);
      }));
}

/// An operation that answers a completion exactly once, later or now: `start` gets the completion, as guardedOnce makes
/// it, and says whether it will answer later. Where it does not, or fails, the completion gets the neutral answer
/// (false, nil) now.
template <class... Arguments, class Start>
void answeredOnce(const char* selector, const char* message, std::function<void(Arguments...)> completion,
                  Start&& start, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  const auto answer = guardedOnce(selector, message, std::move(completion), file, line);
  const bool answersLater = guarded(
      selector, message, [&]() -> bool { return start(answer); }, &detail::neutral<bool>, file, line);
  if (!answersLater) answer(std::decay_t<Arguments>{}...);
}

}  // namespace zn
