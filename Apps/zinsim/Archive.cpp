#include "Apps/zinsim/Archive.h"

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Apps/zinsim/Shapes.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"

namespace zinsim {

using zn::Value;

namespace {

constexpr const char* kClassKey = "$class";

/// Archivers keep the addresses of names.
const char* kept(std::string_view name) {
  static zn::NeverDestroyed<std::set<std::string, std::less<>>> names;
  return names->emplace(name).first->c_str();
}

bool isRecord(const Value& value) { return value.isDictionary() && !value[kClassKey].isNil(); }

Value mutableValue(const Value& value) {
  if (isRecord(value)) throw UsageError("a record can stand in a field or in an array of records only");
  if (value.isArray()) {
    Value copy = Value::array();
    for (const Value& element : value.elements()) copy.append(mutableValue(element));
    return copy.mutableCopy();
  }
  if (value.isDictionary()) {
    Value copy = Value::dictionary();
    for (const auto& entry : value.entries()) copy.setObjectNilHandled(mutableValue(entry.value), entry.name());
    return copy.mutableCopy();
  }
  return value;
}

class Record : public zn::Coding {
 public:
  explicit Record(const Value& description) {
    const Value& name = description[kClassKey];
    if (!shape::name.fits(name)) throw UsageError("a record needs its class's name under \"$class\"");
    className_ = kept(name.string());
    for (const auto& entry : description.entries()) {
      if (entry.name() != kClassKey) fields_.push_back(fieldFrom(entry));
    }
  }

  const char* archivedClassName() const override { return className_; }

  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override {
    for (const Field& encode : fields_) encode(coder);
  }

 private:
  using Field = std::function<void(zn::NSKeyedArchiver&)>;

  static Field fieldFrom(const Value::Entry& entry) {
    const char* const key = kept(entry.name());
    const Value& value = entry.value;
    if (isRecord(value)) {
      return [key, record = std::make_shared<const Record>(value)](auto& coder) { coder.encodeObject(record, key); };
    }
    if (!value.elements().empty() && isRecord(value.elements().front())) {
      std::vector<std::shared_ptr<const zn::Coding>> records;
      for (const Value& element : value.elements()) {
        if (!isRecord(element)) throw UsageError("an array holds either records or values: " + shown(element));
        records.push_back(std::make_shared<Record>(element));
      }
      return [key, records](auto& coder) { coder.encodeObjects(records, true, key); };
    }
    if (value.isBoolean()) return [key, is = value.boolean()](auto& coder) { coder.encodeBool(is, key); };
    return [key, made = value.isNull() ? zn::nil : mutableValue(value)](auto& coder) { coder.encodeObject(made, key); };
  }

  const char* className_ = "";
  std::vector<Field> fields_;
};

}  // namespace

zn::Data archivedRecord(const Value& description) {
  if (!isRecord(description)) throw UsageError("the root of an archive is a record: {\"$class\": NAME, ...}");
  return zn::NSKeyedArchiver::archivedDataWithRootObject(Record(description));
}

}  // namespace zinsim
