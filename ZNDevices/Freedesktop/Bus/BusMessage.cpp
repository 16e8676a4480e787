#include "ZNDevices/Freedesktop/Bus/BusMessage_p.h"

#include <cstdint>
#include <vector>

namespace zn {

BusMessage& BusMessage::check(int result) {
  if (result < 0) *this = BusMessage();
  return *this;
}

BusMessage& BusMessage::appendBytes(const Data& bytes) {
  return check(message_ ? sd_bus_message_append_array(message_, 'y', bytes.data(), bytes.size()) : 0);
}

BusMessage& BusMessage::appendDictionary(const Value& dictionary) {
  return container('a', "{sv}", [&] {
    for (const Value::Entry& entry : dictionary.entries()) {
      const std::string key(entry.key.string());
      const Value& value = entry.value;
      if (value.isString()) {
        append("{sv}", key.c_str(), "s", std::string(value.string()).c_str());
      } else if (value.isBoolean()) {
        append("{sv}", key.c_str(), "b", static_cast<int>(value.boolean()));
      } else if (value.isNumber()) {
        append("{sv}", key.c_str(), "x", value.longLongValue());
      } else if (value.isData()) {
        container('e', "sv", [&] {
          append("s", key.c_str());
          container('v', "ay", [&] { appendBytes(Data(value.data().begin(), value.data().end())); });
        });
      }
    }
  });
}

std::string BusMessage::readString() {
  const char* text = nullptr;
  return message_ && sd_bus_message_read(message_, "s", &text) > 0 ? text : "";
}

Data BusMessage::readBytes() {
  const void* bytes = nullptr;
  std::size_t size = 0;
  if (!message_ || sd_bus_message_read_array(message_, 'y', &bytes, &size) <= 0) return {};
  const auto* first = static_cast<const std::uint8_t*>(bytes);
  return {first, first + size};
}

namespace {

template <class T>
Value readNumber(sd_bus_message* message, char type) {
  T number{};
  return sd_bus_message_read_basic(message, type, &number) > 0 ? Value(number) : nil;
}

Value readBasic(sd_bus_message* message, char type) {
  switch (type) {
    case SD_BUS_TYPE_BYTE:
      return readNumber<std::uint8_t>(message, type);
    case SD_BUS_TYPE_BOOLEAN: {
      int truth = 0;
      return sd_bus_message_read_basic(message, type, &truth) > 0 ? Value(truth != 0) : nil;
    }
    case SD_BUS_TYPE_INT16:
      return readNumber<std::int16_t>(message, type);
    case SD_BUS_TYPE_UINT16:
      return readNumber<std::uint16_t>(message, type);
    case SD_BUS_TYPE_INT32:
      return readNumber<std::int32_t>(message, type);
    case SD_BUS_TYPE_UINT32:
      return readNumber<std::uint32_t>(message, type);
    case SD_BUS_TYPE_INT64:
      return readNumber<std::int64_t>(message, type);
    case SD_BUS_TYPE_UINT64:
      return readNumber<std::uint64_t>(message, type);
    case SD_BUS_TYPE_DOUBLE:
      return readNumber<double>(message, type);
    case SD_BUS_TYPE_STRING:
    case SD_BUS_TYPE_OBJECT_PATH:
    case SD_BUS_TYPE_SIGNATURE: {
      const char* text = nullptr;
      return sd_bus_message_read_basic(message, type, &text) > 0 ? Value(text) : nil;
    }
    default:
      sd_bus_message_skip(message, nullptr);
      return Value::null();
  }
}

}  // namespace

/// The bus itself limits how deep containers nest (64 levels), so this may recurse.
Value BusMessage::readValue() {
  char type = 0;
  const char* contents = nullptr;
  if (!message_ || sd_bus_message_peek_type(message_, &type, &contents) <= 0) return nil;
  if (type == SD_BUS_TYPE_ARRAY && contents[0] == SD_BUS_TYPE_BYTE) return Value::data(readBytes());
  if (type != SD_BUS_TYPE_ARRAY && type != SD_BUS_TYPE_VARIANT && type != SD_BUS_TYPE_STRUCT) {
    return readBasic(message_, type);
  }
  if (sd_bus_message_enter_container(message_, type, contents) <= 0) return nil;
  const std::string inner = contents;
  Value result;
  if (type == SD_BUS_TYPE_VARIANT) {
    result = readValue();
  } else if (inner.starts_with("{s")) {
    std::vector<Value::Entry> entries;
    while (sd_bus_message_enter_container(message_, SD_BUS_TYPE_DICT_ENTRY, inner.substr(1, inner.size() - 2).c_str()) >
           0) {
      const std::string key = readString();
      entries.push_back({key, readValue()});
      sd_bus_message_exit_container(message_);
    }
    result = Value::dictionary(std::move(entries));
  } else if (inner.starts_with("{")) {
    while (sd_bus_message_skip(message_, inner.c_str()) > 0) {
    }
    result = Value::null();
  } else {
    result = Value::array();
    for (Value element = readValue(); !element.isNil(); element = readValue()) result.append(std::move(element));
  }
  sd_bus_message_exit_container(message_);
  return result;
}

}  // namespace zn
