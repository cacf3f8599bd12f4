#include "zmdb/ui/controls.h"

#include <algorithm>

#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/text.h"

namespace zmdb::ui {

namespace {
[[noreturn]] void Refuse(std::string_view property) {
  rt::Raise(rt::err::kInvalidPropertyValue,
            rt::ErrorText(rt::err::kInvalidPropertyValue) + ": " + std::string(property));
}
}  // namespace

// The position an indexed property names; error 381 ("Invalid property array
// index") outside the list, as the host's list controls answer.
std::size_t ListControl::CheckedIndex(const std::vector<rt::Variant>& index) const {
  if (index.size() != 1) rt::Raise(rt::err::kWrongArgCount);
  const std::int32_t i = rt::CLng(index[0]);
  if (i < 0 || static_cast<std::size_t>(i) >= items_.size()) {
    rt::RaiseStandard(rt::err::kInvalidPropertyArrayIndex);
  }
  return static_cast<std::size_t>(i);
}

rt::Variant ListControl::GetProperty(std::string_view name, const std::vector<rt::Variant>& index) {
  if (rt::NameEquals(name, "ListCount"))
    return rt::Variant(static_cast<std::int32_t>(items_.size()));
  if (rt::NameEquals(name, "ItemData")) return rt::Variant(itemData_[CheckedIndex(index)]);
  if (rt::NameEquals(name, "List")) return rt::Variant(items_[CheckedIndex(index)]);
  if (rt::NameEquals(name, "ListIndex")) return rt::Variant(listIndex_);
  if (rt::NameEquals(name, "NewIndex")) return rt::Variant(newIndex_);
  if (rt::NameEquals(name, "Sorted")) return rt::Variant(sorted_);
  if (rt::NameEquals(name, "Text")) return DefaultValue();
  return Object::GetProperty(name, index);
}

void ListControl::SetProperty(std::string_view name, const rt::Variant& value,
                              const std::vector<rt::Variant>& index) {
  if (rt::NameEquals(name, "ItemData")) {
    itemData_[CheckedIndex(index)] = rt::CLng(value);
  } else if (rt::NameEquals(name, "ListIndex")) {
    const std::int32_t i = rt::CLng(value);
    if (i < -1 || i >= static_cast<std::int32_t>(items_.size())) Refuse(name);
    listIndex_ = i;
  } else if (rt::NameEquals(name, "Sorted")) {
    // Only an empty list can start sorting: the items it holds stay in place.
    const bool sorted = rt::CBool(value);
    if (sorted != sorted_ && !items_.empty()) Refuse(name);
    sorted_ = sorted;
  } else {
    Object::SetProperty(name, value, index);
  }
}

// AddItem takes the item's text from its argument: a field object gives its
// value, anything else its text form. A sorted list puts it after the items
// that do not sort after it; any other list appends it. Its ItemData is 0.
rt::Variant ListControl::Call(std::string_view name, std::vector<rt::Variant>& args) {
  if (rt::NameEquals(name, "AddItem")) {
    if (args.empty()) rt::Raise(rt::err::kArgNotOptional);
    const rt::Variant& item = args[0];
    std::string text = item.IsObject() ? rt::CStr(item.AsObject()->DefaultValue()) : rt::CStr(item);
    auto at = items_.end();
    if (sorted_) {
      const std::u32string key = rt::FoldCase(text);
      at = std::upper_bound(
          items_.begin(), items_.end(), key,
          [](const std::u32string& k, const std::string& s) { return k < rt::FoldCase(s); });
    }
    const auto pos = at - items_.begin();
    items_.insert(at, std::move(text));
    itemData_.insert(itemData_.begin() + pos, 0);
    newIndex_ = static_cast<std::int32_t>(pos);
    if (listIndex_ >= newIndex_) ++listIndex_;  // the selection stays on its item
    return {};
  }
  if (rt::NameEquals(name, "Clear")) {
    items_.clear();
    itemData_.clear();
    listIndex_ = -1;
    newIndex_ = -1;
    return {};
  }
  return Object::Call(name, args);
}

rt::Variant ListControl::DefaultValue() {
  if (listIndex_ < 0) return rt::Variant(std::string());
  return rt::Variant(items_[static_cast<std::size_t>(listIndex_)]);
}

rt::Variant ProgressControl::GetProperty(std::string_view name,
                                         const std::vector<rt::Variant>& index) {
  if (rt::NameEquals(name, "Visible")) return rt::Variant(visible_);
  if (rt::NameEquals(name, "ValueHistory")) {
    return rt::Variant(rt::SafeArray(rt::VarType::Variant, 0, values_));
  }
  if (rt::NameEquals(name, "CaptionHistory")) {
    return rt::Variant(rt::SafeArray(rt::VarType::Variant, 0, captions_));
  }
  if (isProgressBar()) {
    if (rt::NameEquals(name, "Max")) return rt::Variant(max_);
    if (rt::NameEquals(name, "Min")) return rt::Variant(min_);
    if (rt::NameEquals(name, "Value")) return values_.empty() ? rt::Variant(min_) : values_.back();
  } else if (rt::NameEquals(name, "Caption")) {
    return DefaultValue();
  }
  return Object::GetProperty(name, index);
}

void ProgressControl::SetProperty(std::string_view name, const rt::Variant& value,
                                  const std::vector<rt::Variant>& index) {
  if (rt::NameEquals(name, "Visible")) {
    visible_ = rt::CBool(value);
    return;
  }
  if (isProgressBar()) {
    if (rt::NameEquals(name, "Max")) {
      const double m = rt::CDbl(value);
      if (m <= min_) Refuse(name);
      max_ = m;
      return;
    }
    if (rt::NameEquals(name, "Min")) {
      const double m = rt::CDbl(value);
      if (m >= max_) Refuse(name);
      min_ = m;
      return;
    }
    if (rt::NameEquals(name, "Value")) {
      const double v = rt::CDbl(value);
      if (v < min_ || v > max_) Refuse(name);
      values_.push_back(value);
      return;
    }
  } else if (rt::NameEquals(name, "Caption")) {
    captions_.push_back(rt::Variant(rt::CStr(value)));
    return;
  }
  Object::SetProperty(name, value, index);
}

rt::Variant ProgressControl::DefaultValue() {
  if (isProgressBar()) return values_.empty() ? rt::Variant(min_) : values_.back();
  return captions_.empty() ? rt::Variant(std::string()) : captions_.back();
}

rt::ObjectRef NewControl(std::string_view typeName) {
  if (typeName == "ListBox" || typeName == "ComboBox") {
    return std::make_shared<ListControl>(std::string(typeName));
  }
  if (typeName == "ProgressBar" || typeName == "Label") {
    return std::make_shared<ProgressControl>(std::string(typeName));
  }
  return nullptr;
}

}  // namespace zmdb::ui
