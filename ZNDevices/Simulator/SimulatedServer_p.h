#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>

#include "ZNDevices/Simulator/Effects_p.h"
#include "ZNDevices/Simulator/TaskLine_p.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace zn {

/// Answers each service's requests as it was told, through the line of tasks. Thread: any.
class SimulatedServer : public ZNNetworkTransport {
 public:
  SimulatedServer(EffectSinkPtr effects, std::shared_ptr<TaskLine> line)
      : effects_(std::move(effects)), line_(std::move(line)) {}

  void execute(const ZNNetworkRequest& request, std::function<void(Value response)> completion) override;

  void setAnswer(int service, const Value& answer);
  void hold(int service);
  bool answerOldest(int service, const Value& answer);

 private:
  using Completion = std::function<void(Value response)>;
  struct Service {
    Value answer;
    bool holds = false;
    std::deque<Completion> kept;
  };
  void give(Completion completion, const Value& answer);

  const EffectSinkPtr effects_;
  const std::shared_ptr<TaskLine> line_;
  Mutex mutex_;
  std::map<int, Service> services_ ZN_GUARDED_BY(mutex_);
};

}  // namespace zn
