#include "Apps/zindistributor/Store.h"

#include <systemd/sd-id128.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zindistributor {

using zn::Value;

namespace {

/// Nothing where there is no such file.
std::optional<Value> readJson(const std::string& path) {
  std::string error;
  const auto bytes = zn::readFile(path, &error);
  if (!bytes && error.empty()) return std::nullopt;
  zn::JsonError problem;
  const auto value =
      bytes ? zn::parseJson({reinterpret_cast<const char*>(bytes->data()), bytes->size()}, &problem) : std::nullopt;
  if (!value) throw zn::Exception(path + ": " + (bytes ? problem.text : error));
  return zn::decodeTaggedValues(*value);
}

void writeJson(const std::string& path, const Value& value) {
  const std::string text = zn::jsonText(value) + "\n";
  std::string error;
  if (!zn::replaceFile(path, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, &error)) {
    throw zn::Exception(error);
  }
}

std::string textOf(const Value& dictionary, const char* key) { return std::string(dictionary[key].string()); }

}  // namespace

std::string randomText() {
  sd_id128_t number{};
  if (sd_id128_randomize(&number) < 0) throw zn::Exception("there are no random numbers");
  std::array<char, SD_ID128_STRING_MAX> text{};
  return sd_id128_to_string(number, text.data());
}

double now() { return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count(); }

Store::Store(const std::string& folder) : file_(folder + "/registrations.json"), messages_(folder + "/messages") {
  std::string error;
  if (!zn::createDirectoryAtPath(messages_, true, &error)) throw zn::Exception(error);
  lock_ = zn::FileLock::tryNow(folder + "/lock", &error);
  if (!lock_) throw zn::Exception(error.empty() ? folder + " is in use by another process" : error);
  readRegistrations();
  readMessages();
}

void Store::readRegistrations() {
  const Value all = readJson(file_).value_or(Value::dictionary());
  for (const auto& [token, kept] : all.entries()) {
    registrations_[std::string(token.string())] =
        std::make_shared<Registration>(Registration{.token = std::string(token.string()),
                                                    .service = textOf(kept, "service"),
                                                    .version = static_cast<int>(kept["version"].integer()),
                                                    .path = textOf(kept, "path"),
                                                    .vapid = textOf(kept, "vapid"),
                                                    .known = textOf(kept, "known")});
  }
}

void Store::readMessages() {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(messages_)) files.push_back(entry.path());
  std::sort(files.begin(), files.end());  // their names are numbers of one length
  for (const auto& file : files) {
    const std::string name = file.filename().string();
    std::uint64_t number = 0;
    const auto [end, problem] = std::from_chars(name.data(), name.data() + name.size(), number);
    const bool isMessage = problem == std::errc() && end == name.data() + name.size();
    const Value kept = isMessage ? readJson(file.string()).value_or(zn::nil) : zn::nil;
    const auto registration = withToken(textOf(kept, "token"));
    if (!registration) {  // a file that was being written when a process ended, or nobody's message
      zn::removeItemAtPath(file.string());
      continue;
    }
    last_ = std::max(last_, number);
    const auto body = kept["body"].data();
    registration->waiting.push_back({textOf(kept, "id"), zn::Data(body.begin(), body.end()),
                                     kept["expires"].doubleValue(), textOf(kept, "topic"), file.string()});
  }
}

std::shared_ptr<Registration> Store::withToken(const std::string& token) const {
  const auto found = registrations_.find(token);
  return found == registrations_.end() ? nullptr : found->second;
}

std::shared_ptr<Registration> Store::withPath(const std::string& path) const {
  for (const auto& [token, each] : registrations_) {
    if (each->path == path) return each;
  }
  return nullptr;
}

bool Store::holds(const std::shared_ptr<Registration>& registration) const {
  return withToken(registration->token) == registration;
}

void Store::add(const std::shared_ptr<Registration>& registration) {
  registrations_[registration->token] = registration;
  save();
}

void Store::save() const {
  Value all = Value::dictionary();
  for (const auto& [token, each] : registrations_) {
    all.setObjectNilHandled(Value::dictionary({{"service", each->service},
                                               {"version", each->version},
                                               {"path", each->path},
                                               {"vapid", each->vapid},
                                               {"known", each->known}}),
                            token);
  }
  writeJson(file_, all);
}

void Store::remove(const std::shared_ptr<Registration>& registration) {
  if (!holds(registration)) return;
  while (!registration->waiting.empty()) remove(*registration, 0);
  registrations_.erase(registration->token);
  save();
}

void Store::append(Registration& registration, Message message) {
  std::array<char, 32> name{};
  std::snprintf(name.data(), name.size(), "%020llu", static_cast<unsigned long long>(++last_));
  message.file = messages_ + "/" + name.data();
  writeJson(message.file, Value::dictionary({{"token", registration.token},
                                             {"id", message.id},
                                             {"expires", message.expires},
                                             {"topic", message.topic},
                                             {"body", Value::data(message.body)}}));
  registration.waiting.push_back(std::move(message));
}

void Store::remove(Registration& registration, std::size_t index) {
  const auto message = registration.waiting.begin() + static_cast<std::ptrdiff_t>(index);
  zn::removeItemAtPath(message->file);
  registration.waiting.erase(message);
}

}  // namespace zindistributor
