#pragma once

#include <functional>
#include <memory>
#include <string>

#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggers.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/ArchivedFile.h"
#include "ZNPlatform/Foundation/Mutex.h"

namespace zn {
class OwnerToken;
}

/// The store of device triggers: campaigns, how often each was shown, times and limits; one container in memory, read
/// when the store is made and written whole after every change. Times are milliseconds since 1970.
///
/// A damaged file is kept aside as "ZinDeviceTriggers.unreadable" before it is replaced. One that cannot be read now
/// stays as it is: what comes is kept in "ZinDeviceTriggers.later" until it can be read, and is then merged as a server
/// answer is; showings are added up. Each save, synchronisation and foreground entry tries again.
///
/// Ownership: one instance a process (sharedInstance), never destroyed. Thread: any; each operation changes the
/// container as one step. Operations that save block on the disk. No operation throws: a failure is logged, what was
/// changed before it stays changed, and nothing is written.
class ZN_EXPORT ZNDeviceTriggersDataManager {
 public:
  static const std::shared_ptr<ZNDeviceTriggersDataManager>& sharedInstance();
  /// `init`: loads the file; without one that can be read the container is empty.
  ZNDeviceTriggersDataManager();

  /// `saveDeviceTriggerCampaigns:andUpdateLastSyncTime:`: merges campaigns of a server answer (an array of
  /// dictionaries, or nil), drops stopped and expired ones, sorts, and saves. The time of the last synchronisation
  /// becomes now; with the flag false only if it is not 0, so that a device that never synchronised keeps asking for
  /// everything. A known campaign that came unchanged stays the record that it is, unless it holds fresh contents.
  void saveDeviceTriggerCampaigns(const zn::Value& campaigns, bool updateLastSyncTime);

  /// `getCampaignsForEvent:withAttributes:`: campaigns that the event triggers, in stored order. The log tells of every
  /// stored campaign.
  zn::CampaignList getCampaignsForEvent(const zn::Value& event, const zn::Value& attributes) const;
  /// `getStatusInstanceForCampaign:`: how often the campaign was shown; a fresh record, not stored, for one never
  /// shown; null for a campaign without an id.
  std::shared_ptr<const ZNDeviceTriggerStatus> getStatusInstanceForCampaign(
      const ZNDeviceTriggerCampaign& campaign) const;
  /// `updateCampaignShownForCampaign:`: counts a showing, and saves.
  void updateCampaignShownForCampaign(const ZNDeviceTriggerCampaign& campaign);

  /// `updateDeviceTriggersInPersistentStorage`: writes the file. False when it could not be written; that is logged.
  bool updateDeviceTriggersInPersistentStorage();
  /// Reads what could not be read before and writes what could not be written; nothing otherwise.
  void retryStorage();
  /// Removes what a damaged file was kept as: at a user reset, before the store is cleared.
  void forgetUnreadableFiles();
  std::string getDeviceTriggerFilePath() const;       ///< `getDeviceTriggerFilePath`
  zn::Value getDeviceTriggerLastUpdatedTime() const;  ///< `getDeviceTriggerLastUpdatedTime`: never nil

  std::shared_ptr<ZNDeviceTriggers> activeDeviceTriggers() const;  ///< never null
  /// null stands for an empty one.
  void setActiveDeviceTriggers(const std::shared_ptr<ZNDeviceTriggers>& triggers);

  /// `updateDeviceTriggersFromServerResponse:`: what the stored campaigns and an answer (an array of dictionaries)
  /// give; stores nothing.
  zn::CampaignList updateDeviceTriggersFromServerResponse(const zn::Value& campaigns) const;
  /// `updateStatusEntriesForCampaigns:`: in memory only.
  void updateStatusEntriesForCampaigns(const zn::CampaignList& campaigns);

  // Steps of saving a server answer, each on plain values; null campaigns are left out.

  /// Stored campaigns with those of the answer in place of their namesakes.
  static zn::CampaignList merged(const zn::CampaignList& stored, const zn::CampaignList& answer);
  /// Brings expiry times up to date and drops stale records. A stopped or vanished
  /// campaign's record stays, with its count, until its own expiry.
  static zn::StatusList reconciled(const zn::StatusList& statuses, const zn::CampaignList& campaigns, std::int64_t now);
  /// `removeExpiredCampaign:`; empty after a failure.
  static zn::CampaignList removeExpiredCampaign(const zn::CampaignList& campaigns, std::int64_t now);
  /// `sortCampaignByLastUpdatedTime:`: newest first, then by higher priority; null for no campaigns.
  static zn::CampaignListPtr sortCampaignByLastUpdatedTime(zn::CampaignList campaigns);
  static zn::Value getTriggerEvents(const zn::CampaignList& campaigns);  ///< `getTriggerEvents:`

 private:
  friend class ZNDeviceTriggersHandler;
  /// The active container for the owner of a piece of work; null once that has gone. A reset after this look replaces
  /// the container, so that what is changed in it does not last.
  std::shared_ptr<ZNDeviceTriggers> activeDeviceTriggersOf(const zn::OwnerToken& owner) const;
  /// saveDeviceTriggerCampaigns for a whole server answer, whose other limits are stored in the same step. The answer
  /// belongs to `container`: after a reset that is no longer the active one, and the answer changes nothing that lasts.
  void saveServerAnswer(const std::shared_ptr<ZNDeviceTriggers>& container, const zn::Value& campaigns,
                        bool updateLastSyncTime, const std::function<void(ZNDeviceTriggers::Fields&)>& limits);
  /// A showing counted in `container`, likewise.
  void updateCampaignShownForCampaign(const ZNDeviceTriggerCampaign& campaign,
                                      const std::shared_ptr<ZNDeviceTriggers>& container);
  /// An empty container, in memory only; the next save replaces the file, also one that could not be read until now.
  void startOver();
  void adopt(const std::shared_ptr<ZNDeviceTriggers>& stored);
  static zn::StatusList addedUp(const zn::StatusList& older, const zn::StatusList& newer);
  static zn::CampaignList withoutExpired(const zn::CampaignList& campaigns, std::int64_t now,
                                         zn::DroppedCampaigns* dropped = nullptr);
  /// Stored campaigns, or none, that the answer holds unchanged are themselves in the result.
  static zn::CampaignList campaignsIn(const zn::Value& answer, bool takesNameless, const zn::CampaignList& stored = {},
                                      zn::DroppedCampaigns* dropped = nullptr);
  static void tellOfAnswer(std::size_t count, const ZNDeviceTriggers& container);
  static void countShowing(ZNDeviceTriggers::Fields& fields, const ZNDeviceTriggerCampaign& campaign, std::int64_t now);

  mutable zn::Mutex mutex_;
  std::shared_ptr<ZNDeviceTriggers> activeDeviceTriggers_ ZN_GUARDED_BY(mutex_);
  zn::ArchivedFile file_;
};

namespace zn {
/// Now in whole milliseconds since 1970.
ZN_EXPORT std::int64_t millisecondsSince1970();
}  // namespace zn
