#include "ZNPlatform/UIKit/UITableViewCell.h"

#include "ZNPlatform/Foundation/Exception.h"

void UITableViewCell::connectOutlet(const std::string& name, const std::shared_ptr<UIView>&) {
  throw zn::Exception("the cell has no outlet \"" + name + "\"");
}
