#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Apps/zinstory/Page.h"
#include "ZNDevices/Simulator/Simulator.h"

namespace zinstory {

/// Carries out the steps of the story and shows what the module did in each.
class Teller {
 public:
  Teller(std::shared_ptr<zn::Simulator> device, Page& page);
  ~Teller();
  Teller(const Teller&) = delete;
  Teller& operator=(const Teller&) = delete;

  zn::Simulator& device() { return *device_; }

  /// Lets a minute pass, does `action`, runs what it set off, and shows the effects.
  void step(const std::string& name, const std::function<void()>& action);

 private:
  void show(const zn::Effect& effect);
  void showEvent(const zn::Effect& effect);
  void showBadge(const zn::Effect& effect);

  const std::shared_ptr<zn::Simulator> device_;
  Page& page_;
  bool isFirstStep_ = true;
  long badge_ = 0;
};

std::string dateText(double secondsSince1970);  ///< "14 November 2023, 22:13:20 UTC"
std::string timeText(const zn::Value& date);    ///< "22:13:20", or "-" for what is no date

}  // namespace zinstory
