#pragma once

/// Names of the inbox: the ZN_EXP_ set is for hosts, the ZN_ set for the module itself. Both have the same values.

inline constexpr const char* ZN_EXP_STORYBOARD = "ZNInbox";
inline constexpr const char* ZN_EXP_STORYBOARD_INBOX = "Inbox";
inline constexpr const char* ZN_EXP_DATA = "data";
inline constexpr const char* ZN_EXP_PUSH_APP_EXTRA = "app_extra";
inline constexpr const char* ZN_EXP_PUSH_TIME = "c_cr_t";
inline constexpr const char* ZN_EXP_PUSH_ALERT = "alert";
inline constexpr const char* ZN_EXP_PUSH_APS = "aps";
inline constexpr const char* ZN_EXP_PUSH_IS_GIVEN = "isGiven";
inline constexpr const char* ZN_EXP_PUSH_IS_READ = "isRead";
inline constexpr const char* ZN_EXP_PUSH_ZINTAR = "zintar";

inline constexpr const char* ZN_STORYBOARD = ZN_EXP_STORYBOARD;
inline constexpr const char* ZN_STORYBOARD_INBOX = ZN_EXP_STORYBOARD_INBOX;
inline constexpr const char* ZN_DATA = ZN_EXP_DATA;
inline constexpr const char* ZN_PUSH_APP_EXTRA = ZN_EXP_PUSH_APP_EXTRA;
inline constexpr const char* ZN_PUSH_TIME = ZN_EXP_PUSH_TIME;
inline constexpr const char* ZN_PUSH_IS_GIVEN = ZN_EXP_PUSH_IS_GIVEN;
inline constexpr const char* ZN_PUSH_IS_READ = ZN_EXP_PUSH_IS_READ;
inline constexpr const char* ZN_PUSH_MESSAGES_INFO = "messagesInfo";
inline constexpr const char* ZN_PUSH_SCREEN_DATA = "screenData";
inline constexpr const char* ZN_PUSH_SCREEN_NAME = "screenName";
inline constexpr const char* ZN_MEDIA_ATTACHMENT = "media-attachment";
inline constexpr const char* ZN_INBOX_EXPIRY = "inbox_expiry";
inline constexpr const char* ZN_LAST_UPDATED_INBOX = "ZN_lastUpdatedTimeForInbox";
