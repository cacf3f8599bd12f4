#include "zmdb/files/export_dialog.h"

#include <mutex>

#include "zmdb/files/export_plan.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/runtime/host.h"

namespace zmdb::files {

using rt::NameEquals;
using rt::Variant;

namespace {
constexpr const char* kLoaded = "LOADED";
}  // namespace

void DataTypeForm::Activate() {
  okCaption_ = "确定(&O)";
  cancelCaption_ = "取消(&C)";
  if (tag != kLoaded) {
    tag = kLoaded;
    for (const std::string& text : DataTypeListTexts()) items_.push_back(text);
  }
  SetListIndex(defaultType);
}

void DataTypeForm::SetListIndex(std::int32_t value) {
  if (value < -1 || value >= static_cast<std::int32_t>(items_.size())) {
    rt::RaiseDetailed(rt::err::kInvalidPropertyValue,
                      "lstTypes.ListIndex cannot be " + std::to_string(value));
  }
  listIndex_ = value;
}

void DataTypeForm::Show() {
  Activate();
  const int choice = rt::CurrentHost().ChooseDataType(
      rt::TypeDialogView{items_, listIndex_, okCaption_, cancelCaption_});
  frame::LibraryState& lib = frame::Library();
  if (choice < 0) {  // Cancel, or the dialog closed
    lib.selectedType = eDT_NONE;
    return;
  }
  // OK and a double-click on the list take the entry chosen.
  SetListIndex(choice);
  lib.selectedType = listIndex_;
  lib.selectedTypeText = items_[static_cast<std::size_t>(listIndex_)];
}

Variant DataTypeForm::GetProperty(std::string_view name, const std::vector<Variant>& index) {
  if (NameEquals(name, "Tag")) return Variant(tag);
  if (NameEquals(name, "DefaultType")) return Variant(defaultType);
  if (NameEquals(name, "ListIndex")) return Variant(listIndex_);
  if (NameEquals(name, "ListCount")) return Variant(static_cast<std::int32_t>(items_.size()));
  if (NameEquals(name, "Text")) {
    return Variant(listIndex_ < 0 ? std::string() : items_[static_cast<std::size_t>(listIndex_)]);
  }
  if (NameEquals(name, "List")) {
    const std::int32_t i = rt::CLng(rt::ArgAt(index, 0));
    if (i < 0 || i >= static_cast<std::int32_t>(items_.size())) {
      rt::RaiseStandard(rt::err::kInvalidPropertyArrayIndex);
    }
    return Variant(items_[static_cast<std::size_t>(i)]);
  }
  if (NameEquals(name, "cmdOK")) return Variant(okCaption_);
  if (NameEquals(name, "cmdCancel")) return Variant(cancelCaption_);
  return Object::GetProperty(name, index);
}

void DataTypeForm::SetProperty(std::string_view name, const Variant& value,
                               const std::vector<Variant>& index) {
  if (NameEquals(name, "Tag")) {
    tag = rt::CStr(value);
  } else if (NameEquals(name, "DefaultType")) {
    defaultType = rt::CInt(value);
  } else if (NameEquals(name, "ListIndex")) {
    SetListIndex(rt::CLng(value));
  } else {
    Object::SetProperty(name, value, index);
  }
}

Variant DataTypeForm::Call(std::string_view name, std::vector<Variant>& args) {
  if (NameEquals(name, "Show")) {
    Show();
    return {};
  }
  return Object::Call(name, args);
}

std::shared_ptr<DataTypeForm> ExportTypeDialog() {
  static std::once_flag installed;
  std::call_once(installed, [] {
    frame::SetExportDialogFactory([] { return std::make_shared<DataTypeForm>(); });
  });
  auto form = std::dynamic_pointer_cast<DataTypeForm>(frame::ExportDialog());
  if (!form) {
    // A stand-in form made before the factory was installed gives way.
    form = std::make_shared<DataTypeForm>();
    frame::Library().exportDialog = form;
  }
  return form;
}

}  // namespace zmdb::files
