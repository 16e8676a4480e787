#pragma once

#include <memory>
#include <string>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/UIKit/UIView.h"

enum class UITableViewCellEditingStyle { none = 0, delete_ = 1, insert = 2 };

/// What shows one row of a table. A table uses few of them for many rows: one whose row is out of sight is filled anew
/// for another. Thread and ownership: as UIView.
class ZN_EXPORT UITableViewCell : public UIView {
 public:
  const std::string& reuseIdentifier() const { return reuseIdentifier_; }  ///< of the prototype it was made from
  void setReuseIdentifier(std::string identifier) { reuseIdentifier_ = std::move(identifier); }

  /// Takes a label, or another part of it, under the name by which the cell's class knows it. The base class has none:
  /// throws zn::Exception.
  virtual void connectOutlet(const std::string& name, const std::shared_ptr<UIView>& view);
  virtual void awakeFromNib() {}     ///< once, after all outlets are connected
  virtual void prepareForReuse() {}  ///< before it is filled for another row

 private:
  std::string reuseIdentifier_;
};
