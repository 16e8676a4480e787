#include "Apps/zinsim/Session.h"

namespace zinsim {

Session::Session(std::shared_ptr<zn::Simulator> device, Show show)
    : device_(std::move(device)), show_(std::move(show)) {
  device_->setEffectObserver(show_);
}

Session::~Session() { device_->setEffectObserver(nullptr); }

void Session::print(std::string_view kind, const zn::Value& value,
                    std::initializer_list<std::pair<std::string_view, zn::Value>> others) const {
  zn::Effect effect{std::string(kind), zn::Value::dictionary({{kind, orNull(value)}})};
  for (const auto& [key, other] : others) effect.fields.setObjectNilHandled(orNull(other), key);
  show_(effect);
}

}  // namespace zinsim
