#include "ZNPlatform/UIKit/UIStoryboard.h"

#include <algorithm>
#include <climits>
#include <initializer_list>
#include <string_view>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/UIKit/UILabel.h"
#include "ZNPlatform/UIKit/UITableView.h"

using zn::Value;

struct UIStoryboard::Contents {
  std::string path;
  Value root;
  Classes classes;
};

namespace {

using ContentsPtr = std::shared_ptr<const UIStoryboard::Contents>;
using Connect = std::function<void(const std::string& name, const std::shared_ptr<UIView>& view)>;

/// One object of the file, and where it stands there.
class Description {
 public:
  Description(ContentsPtr contents, Value object, std::string place)
      : contents_(std::move(contents)), object_(std::move(object)), place_(std::move(place)) {
    if (!object_.isDictionary()) refuse("is no object");
  }

  [[noreturn]] void refuse(const std::string& why) const {
    throw zn::Exception(contents_->path + ": " + place_ + " " + why);
  }
  void allowOnly(std::initializer_list<std::string_view> keys) const {
    for (const auto& entry : object_.entries()) {
      if (std::find(keys.begin(), keys.end(), entry.name()) == keys.end()) {
        refuse("has an unknown key \"" + std::string(entry.name()) + "\"");
      }
    }
  }

  bool has(std::string_view key) const { return !object_[key].isNil(); }
  std::string text(std::string_view key) const {
    if (!object_[key].isString()) refuse("needs a text under \"" + std::string(key) + "\"");
    return std::string(object_[key].string());
  }
  double number(std::string_view key) const {
    if (!object_[key].isNumber() || object_[key].isBoolean())
      refuse("needs a number under \"" + std::string(key) + "\"");
    return object_[key].doubleValue();
  }
  int count(std::string_view key) const {
    const double value = number(key);
    if (!(value >= 0 && value <= INT_MAX)) refuse("needs a number from 0 under \"" + std::string(key) + "\"");
    return static_cast<int>(value);
  }
  bool boolean(std::string_view key) const {
    if (!object_[key].isBoolean()) refuse("needs true or false under \"" + std::string(key) + "\"");
    return object_[key].boolean();
  }
  /// What four numbers make.
  template <class Sides>
  Sides sides(std::string_view key) const {
    std::vector<double> all;
    for (const Value& each : object_[key].elements()) {
      if (each.isNumber() && !each.isBoolean()) all.push_back(each.doubleValue());
    }
    if (all.size() != 4 || object_[key].size() != 4) refuse("needs four numbers under \"" + std::string(key) + "\"");
    return {all[0], all[1], all[2], all[3]};
  }
  /// Which of the choices.
  std::size_t choice(std::string_view key, std::initializer_list<std::string_view> choices) const {
    const auto found = std::find(choices.begin(), choices.end(), text(key));
    if (found == choices.end()) refuse("has an unknown \"" + std::string(key) + "\": \"" + text(key) + "\"");
    return static_cast<std::size_t>(found - choices.begin());
  }
  Description object(std::string_view key) const { return {contents_, object_[key], place_ + "." + std::string(key)}; }
  std::vector<Description> objects(std::string_view key) const {
    if (has(key) && !object_[key].isArray()) refuse("needs an array under \"" + std::string(key) + "\"");
    std::vector<Description> all;
    for (const Value& each : object_[key].elements()) {
      all.emplace_back(contents_, each, place_ + "." + std::string(key) + "[" + std::to_string(all.size()) + "]");
    }
    return all;
  }
  std::vector<std::string> keys() const {
    std::vector<std::string> all;
    for (const auto& entry : object_.entries()) all.emplace_back(entry.name());
    return all;
  }
  /// A colour by its name in the file's own table.
  UIColor color(std::string_view key) const {
    const Description colors(contents_, contents_->root["colors"], "colors");
    const std::string name = text(key);
    if (!colors.has(name)) refuse("names an unknown colour \"" + name + "\"");
    const Description both = colors.object(name);
    both.allowOnly({"light", "dark"});
    const auto light = UIColor::colorWithHexText(both.text("light"));
    const auto dark = UIColor::colorWithHexText(both.text("dark"));
    if (!light || !dark) both.refuse("needs two colours of the form \"#RRGGBB\"");
    return {light->light, dark->light};
  }
  const ContentsPtr& contents() const { return contents_; }

 private:
  ContentsPtr contents_;
  Value object_;
  std::string place_;
};

std::shared_ptr<UIView> makeView(const Description& description, const Connect& connect);

/// What all kinds of views may say.
void applyCommon(const Description& description, const std::shared_ptr<UIView>& view, const Connect& connect) {
  if (description.has("frame")) view->setFrame(description.sides<CGRect>("frame"));
  if (description.has("backgroundColor")) view->setBackgroundColor(description.color("backgroundColor"));
  for (const Description& each : description.objects("subviews")) view->addSubview(makeView(each, connect));
  if (description.has("outlet")) connect(description.text("outlet"), view);
}

std::shared_ptr<UIView> makeLabel(const Description& description) {
  description.allowOnly({"kind", "outlet", "frame", "font", "textColor", "lines", "alignment", "hugsContent"});
  const auto label = std::make_shared<UILabel>();
  if (description.has("font")) {
    const Description font = description.object("font");
    font.allowOnly({"name", "size"});
    label->setFont(UIFont::fontWithName(font.text("name"), font.number("size")));
  }
  if (description.has("textColor")) label->setTextColor(description.color("textColor"));
  if (description.has("lines")) label->setNumberOfLines(description.count("lines"));
  if (description.has("alignment")) {
    label->setTextAlignment(static_cast<NSTextAlignment>(description.choice("alignment", {"left", "center", "right"})));
  }
  if (description.has("hugsContent")) label->setHugsContent(description.boolean("hugsContent"));
  return label;
}

std::shared_ptr<UIView> makeStack(const Description& description) {
  description.allowOnly({"kind", "outlet", "frame", "backgroundColor", "axis", "spacing", "margins", "subviews"});
  const auto stack = std::make_shared<UIStackView>();
  stack->setAxis(static_cast<UILayoutConstraintAxis>(description.choice("axis", {"horizontal", "vertical"})));
  if (description.has("spacing")) stack->setSpacing(description.number("spacing"));
  if (description.has("margins")) stack->setLayoutMargins(description.sides<UIEdgeInsets>("margins"));
  return stack;
}

std::shared_ptr<UITableViewCell> makeCell(const Description& description) {
  description.allowOnly({"class", "frame", "backgroundColor", "subviews"});
  const auto& classes = description.contents()->classes.cells;
  const auto known = classes.find(description.text("class"));
  if (known == classes.end()) description.refuse("names an unknown class \"" + description.text("class") + "\"");
  const auto cell = known->second();
  applyCommon(description, cell, [&](const std::string& name, const auto& view) { cell->connectOutlet(name, view); });
  cell->awakeFromNib();
  return cell;
}

std::shared_ptr<UIView> makeTable(const Description& description) {
  description.allowOnly({"kind", "outlet", "frame", "backgroundColor", "cells"});
  const auto table = std::make_shared<UITableView>();
  const Description cells = description.object("cells");
  for (const std::string& identifier : cells.keys()) {
    const Description cell = cells.object(identifier);
    makeCell(cell);
    table->registerCell(identifier, [cell] { return makeCell(cell); });
  }
  return table;
}

std::shared_ptr<UIView> makePlain(const Description& description) {
  description.allowOnly({"kind", "outlet", "frame", "backgroundColor", "subviews"});
  return std::make_shared<UIView>();
}

std::shared_ptr<UIView> makeView(const Description& description, const Connect& connect) {
  constexpr std::shared_ptr<UIView> (*makers[])(const Description&) = {&makePlain, &makeLabel, &makeStack, &makeTable};
  const auto view = makers[description.choice("kind", {"view", "label", "stack", "table"})](description);
  applyCommon(description, view, connect);
  return view;
}

}  // namespace

UIStoryboard::UIStoryboard(std::shared_ptr<const Contents> contents) : contents_(std::move(contents)) {}
UIStoryboard::~UIStoryboard() = default;

std::shared_ptr<UIStoryboard> UIStoryboard::storyboardWithName(const std::string& name, const NSBundle& bundle,
                                                               Classes classes) {
  const std::string path = bundle.pathForResource(name, "storyboard.json");
  if (path.empty()) {
    const std::string folder = bundle.resourcePath().empty() ? "share/zintar" : bundle.resourcePath();
    throw zn::Exception("there is no " + name + ".storyboard.json in " + folder);
  }
  std::string error;
  const auto bytes = zn::readFile(path, &error);
  if (!bytes) throw zn::Exception(error);
  zn::JsonError mistake;
  auto root =
      zn::parseJson({reinterpret_cast<const char*>(bytes->data()), bytes->size()}, &mistake, {.allowComments = true});
  if (!root) throw zn::Exception(path + ": " + mistake.text);
  return std::make_shared<UIStoryboard>(
      std::make_shared<const Contents>(Contents{path, *std::move(root), std::move(classes)}));
}

std::shared_ptr<UIViewController> UIStoryboard::instantiateViewControllerWithIdentifier(
    const std::string& identifier) const {
  const Description root(contents_, contents_->root, "the file");
  root.allowOnly({"colors", "screens"});
  const Description screens(contents_, contents_->root["screens"], "screens");
  if (!screens.has(identifier)) screens.refuse("has no screen \"" + identifier + "\"");
  const Description screen = screens.object(identifier);
  screen.allowOnly({"class", "view"});
  const auto known = contents_->classes.screens.find(screen.text("class"));
  if (known == contents_->classes.screens.end()) {
    screen.refuse("names an unknown class \"" + screen.text("class") + "\"");
  }
  const auto controller = known->second();
  controller->setStoryboardView(makeView(screen.object("view"), [&](const std::string& name, const auto& view) {
    controller->connectOutlet(name, view);
  }));
  controller->awakeFromNib();
  return controller;
}
