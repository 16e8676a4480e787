#pragma once

#include <memory>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

/// Where the user came from when the application was opened: a push, a link, or key-value pairs. Immutable. Thread:
/// any.
///
/// A source counts only when it is valid:
/// - a push (another sender's): its payload is a dictionary and not empty;
/// - one of the library's own pushes: its payload has "zintar.cid";
/// - a link: it is an absolute URL whose query has a parameter with a name that begins with "utm_";
/// - key-value pairs: a key begins with "utm_".
class ZN_EXPORT ZNSource {
 public:
  enum class Kind { push, zinPush, url, info };

  static std::shared_ptr<const ZNSource> initSourceWithPushPayload(const zn::Value& payload);
  static std::shared_ptr<const ZNSource> initZinSourceWithPushPayload(const zn::Value& payload);
  /// The link as text; a value that is no text makes a source that is not valid.
  static std::shared_ptr<const ZNSource> initSourceWithURL(const zn::Value& url);
  static std::shared_ptr<const ZNSource> initSourceWithSourceInfoDict(const zn::Value& pairs);

  bool isValidSource() const;
  Kind kind() const { return kind_; }
  const zn::Value& value() const { return value_; }  ///< the payload, the link's text, or the pairs

  ZNSource(Kind kind, const zn::Value& value) : kind_(kind), value_(value) {}

 private:
  const Kind kind_;
  const zn::Value value_;
};
