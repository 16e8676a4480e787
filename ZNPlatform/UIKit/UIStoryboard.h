#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/NSBundle.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/UIKit/UITableViewCell.h"
#include "ZNPlatform/UIKit/UIViewController.h"

/// Screens that are described in a resource file: which class, which views, where, in which fonts and colours. The file
/// is JSON with comments, "NAME.storyboard.json"; ZNInbox.storyboard.json shows and explains all that may stand in one.
///
/// Thread: the main thread. Nothing in the file is skipped silently: what is unknown, missing or of a wrong type is
/// refused by name.
class ZN_EXPORT UIStoryboard {
 public:
  /// The classes that the file may name: how an object of each is made.
  struct Classes {
    std::map<std::string, std::function<std::shared_ptr<UIViewController>()>> screens;
    std::map<std::string, std::function<std::shared_ptr<UITableViewCell>()>> cells;
  };

  /// `storyboardWithName:bundle:`, with the classes that belong to the bundle. Throws zn::Exception when the file is
  /// missing or is not JSON.
  static std::shared_ptr<UIStoryboard> storyboardWithName(const std::string& name, const NSBundle& bundle,
                                                          Classes classes);
  /// `instantiateViewControllerWithIdentifier:`: a new screen with its outlets connected; its view counts as loaded on
  /// its first use. One cell of each prototype is made at once, so that a mistake in one shows here. Throws
  /// zn::Exception for an unknown identifier and for a description that cannot be followed.
  std::shared_ptr<UIViewController> instantiateViewControllerWithIdentifier(const std::string& identifier) const;

  struct Contents;  ///< what was read
  explicit UIStoryboard(std::shared_ptr<const Contents> contents);
  ~UIStoryboard();

 private:
  const std::shared_ptr<const Contents> contents_;
};
