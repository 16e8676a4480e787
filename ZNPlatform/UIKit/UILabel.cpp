#include "ZNPlatform/UIKit/UILabel.h"

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"

void UILabel::setText(const zn::Value& text) {
  if (text && !text.isString()) throw zn::Exception("a label's text is a string, not " + zn::description(text));
  text_ = text;
}
