#pragma once

#include <memory>
#include <span>

#include "ZNMessaging/ZNInbox/ZNInboxStorage/InboxList.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZintarCore/GuardedFields.h"

/// The inbox as a whole, and the root object of the inbox file: the entries and the time of the last synchronisation
/// with the server that brought any. Thread: any; each property is read and replaced as one step.
class ZN_EXPORT ZNInboxData : public zn::Coding {
 public:
  /// `init`: an empty inbox. The time of the last server synchronisation moves in from the key that older versions kept
  /// it under in the standard user defaults (the key is removed), and is 1970 otherwise.
  static std::shared_ptr<ZNInboxData> init();
  /// `initWithCoder:`
  static std::shared_ptr<ZNInboxData> initWithCoder(zn::NSKeyedUnarchiver& coder);
  /// The classes that an inbox file holds.
  static std::span<const zn::ArchivedClass> archivedClasses();

  /// Newest first; null stands for no list and counts as empty.
  zn::InboxListPtr inboxMessages() const { return fields_.get(&Fields::inboxMessages); }
  void setInboxMessages(zn::InboxListPtr messages);
  /// A date, or nil from an archive without it.
  ZN_PROPERTY(zn::Value, lastUpdatedFromServerSync, setLastUpdatedFromServerSync)
  /// A container of its own with the list and the time of this moment; the entries are shared.
  std::shared_ptr<ZNInboxData> snapshot() const { return std::make_shared<ZNInboxData>(*this); }

  const char* archivedClassName() const override { return "ZNInboxData"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override;

 private:
  struct Archived;
  struct Fields {
    zn::InboxListPtr inboxMessages = std::make_shared<const zn::InboxList>();
    zn::Value lastUpdatedFromServerSync;
  };
  zn::GuardedFields<Fields> fields_;
};
