// A push that anybody may post: opened only where it was sealed for this device.

#include "ZNDevices/Freedesktop/WebPush/PushMessage_p.h"

#include "Fuzz/FuzzDevice.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace {

zn::webpush::Secrets device() {  // for which the seeds are sealed
  const auto bytes = [](const char* text) { return zn::dataFromBase64UrlText(text).value(); };
  return {zn::P256Key::ofPair(
              bytes("q1dXpw3UpT5VOmu_cf_v6ih07Aems3njxI-JWgLcM94"),
              bytes("BCVxsr7N_eNgVRqvHtD0zTZsEc6-VV-JvLexhqUzORcxaOzi6-AYWXvTBHm4bjyPjs7Vd8pZGH6SRpkNtoIAiw4"))
              .value(),
          bytes("BTBZMqHH6r4Tts7J_aSIgg")};
}

bool isSeed(std::string_view text) {
  return text.empty() || text == "When I grow up, I want to be a watermelon" ||
         text == R"({"aps": {"alert": "Hello"}, "zintar": {"cid": "seed"}})" ||
         text == std::string(zn::webpush::kMostText, ' ');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const zn::webpush::Secrets own = device();
  const zn::webpush::Opened message = zn::webpush::open(own, {data, size});
  zn::fuzz::require(message.text.has_value() == message.problem.empty());
  zn::fuzz::require(!message.text || isSeed(zn::fuzz::textOf(*message.text)));
  return 0;
}
