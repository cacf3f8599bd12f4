// Headless stand-ins for the host's controls, honouring the late-bound
// contracts the library relies on:
//   list and combo boxes: AddItem, ListCount, ItemData(i), List(i), Clear,
//     Sorted (kept in order without regard to case), NewIndex (where the
//     last AddItem put its item)
//   progress bars: Visible, Min, Max, Value (a value outside Min..Max is refused)
//   labels: Visible, Caption
// Every value stored into Value or Caption is kept, so a test or script can
// see the whole history of what the library showed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "zmdb/runtime/object.h"

namespace zmdb::ui {

class ListControl : public rt::Object {
 public:
  explicit ListControl(std::string typeName) : typeName_(std::move(typeName)) {}
  std::string TypeName() const override { return typeName_; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;
  rt::Variant DefaultValue() override;

  const std::vector<std::string>& items() const { return items_; }
  const std::vector<std::int32_t>& itemData() const { return itemData_; }

 private:
  std::size_t CheckedIndex(const std::vector<rt::Variant>& index) const;

  std::string typeName_;
  std::vector<std::string> items_;
  std::vector<std::int32_t> itemData_;
  std::int32_t listIndex_ = -1;
  std::int32_t newIndex_ = -1;
  bool sorted_ = false;
};

// A progress bar (type name "ProgressBar") or a label ("Label"). Besides the
// host's members, both answer the read-only properties ValueHistory and
// CaptionHistory: every Value and Caption set, in order (arrays from 0).
class ProgressControl : public rt::Object {
 public:
  // The scale's top before Max is set; a label keeps it.
  static constexpr double kDefaultMax = 100;

  explicit ProgressControl(std::string typeName) : typeName_(std::move(typeName)) {}
  std::string TypeName() const override { return typeName_; }
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant DefaultValue() override;

  bool visible() const { return visible_; }
  double max() const { return max_; }
  const std::vector<rt::Variant>& valueHistory() const { return values_; }
  const std::vector<rt::Variant>& captionHistory() const { return captions_; }
  bool isProgressBar() const { return typeName_ == "ProgressBar"; }

 private:
  std::string typeName_;
  bool visible_ = false;
  double min_ = 0, max_ = kDefaultMax;
  std::vector<rt::Variant> values_;
  std::vector<rt::Variant> captions_;
};

// A new headless control by its type name: "ListBox", "ComboBox",
// "ProgressBar" or "Label"; nullptr for any other name.
rt::ObjectRef NewControl(std::string_view typeName);

}  // namespace zmdb::ui
