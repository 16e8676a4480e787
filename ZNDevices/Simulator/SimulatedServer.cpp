#include "ZNDevices/Simulator/SimulatedServer_p.h"

namespace zn {

void SimulatedServer::give(Completion completion, const Value& answer) {
  line_->queue(Queue::global, 0, [completion = std::move(completion), answer] { completion(answer); });
}

void SimulatedServer::execute(const ZNNetworkRequest& request, Completion completion) {
  const int service = static_cast<int>(request.service());
  effects_->emit("request", service, {{"body", request.requestBody()}});
  Value answer;
  {
    Lock lock(mutex_);
    Service& script = services_[service];
    if (script.holds) {
      script.kept.push_back(std::move(completion));
      return;
    }
    answer = script.answer;
  }
  give(std::move(completion), answer);
}

void SimulatedServer::setAnswer(int service, const Value& answer) {
  Lock lock(mutex_);
  services_[service].answer = answer;
  services_[service].holds = false;
}

void SimulatedServer::hold(int service) {
  Lock lock(mutex_);
  services_[service].holds = true;
}

bool SimulatedServer::answerOldest(int service, const Value& answer) {
  Completion oldest;
  {
    Lock lock(mutex_);
    auto& kept = services_[service].kept;
    if (kept.empty()) return false;
    oldest = std::move(kept.front());
    kept.pop_front();
  }
  give(std::move(oldest), answer);
  return true;
}

}  // namespace zn
