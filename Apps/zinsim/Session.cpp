#include "Apps/zinsim/Session.h"

#include "Apps/zinsim/Commands.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace zinsim {

using zn::Value;

namespace {

bool isSkipped(std::string_view line) {
  return line.starts_with('#') || line.find_first_not_of(" \t\r\f\v") == std::string_view::npos;
}

Value objectIn(std::string_view line) {
  zn::JsonError error;
  const auto parsed = zn::parseJson(zn::sanitizedUtf8(line), &error);
  if (!parsed) {
    // The place inside the line is a column; the text's own line number would be 1 always.
    std::string_view reason = error.text;
    const std::size_t place = reason.find(": ");
    if (place != std::string_view::npos) reason.remove_prefix(place + 2);
    throw UsageError("not JSON: column " + std::to_string(error.column) + ": " + std::string(reason));
  }
  if (!parsed->isDictionary()) throw UsageError("a command is a JSON object, not " + shown(*parsed));
  return zn::decodeTaggedValues(*parsed);
}

}  // namespace

Session::Session(std::shared_ptr<zn::Simulator> device, Show show)
    : device_(std::move(device)), show_(std::move(show)) {
  device_->setEffectObserver(show_);
}

Session::~Session() { device_->setEffectObserver(nullptr); }

void Session::print(std::string_view kind, const Value& value,
                    std::initializer_list<std::pair<std::string_view, Value>> others) const {
  zn::Effect effect{std::string(kind), Value::dictionary({{kind, orNull(value)}})};
  for (const auto& [key, other] : others) effect.fields.setObjectNilHandled(orNull(other), key);
  show_(effect);
}

void runLine(std::string_view line, Session& session, const std::function<void(const std::string&)>& warn) {
  if (isSkipped(line)) return;
  try {
    const Value text = objectIn(line);
    const Command& command = commandIn(text);
    const Fields fields(command.name, command.fields, text, session);
    for (const std::string& field : fields.ignored()) {
      warn(unknownField(command, field));
    }
    command.run(fields);
  } catch (const zn::Exception& refusal) {
    throw UsageError(refusal.reason());
  }
  session.device().runUntilIdle();
}

}  // namespace zinsim
