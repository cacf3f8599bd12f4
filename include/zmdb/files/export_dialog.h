// The export-type dialog frmDataType: a form holding the list of export
// types and two buttons, shown modally through the host. Its list is filled
// once per form instance (the Tag "LOADED" marks it); its captions are set
// and the default type selected each time it is shown. The choice goes to
// the library-wide export selection (type and its list text).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "zmdb/runtime/object.h"

namespace zmdb::files {

class DataTypeForm : public rt::Object {
 public:
  std::string TypeName() const override { return "frmDataType"; }
  // Late-bound: Tag, DefaultType, ListIndex, ListCount, List(i), Text, and
  // the captions cmdOK / cmdCancel; Show runs the dialog.
  rt::Variant GetProperty(std::string_view name, const std::vector<rt::Variant>& index) override;
  void SetProperty(std::string_view name, const rt::Variant& value,
                   const std::vector<rt::Variant>& index) override;
  rt::Variant Call(std::string_view name, std::vector<rt::Variant>& args) override;

  // Shows the form modally: activates it, asks the host for the choice and
  // stores it as the selected type (-1 for Cancel) and its text.
  void Show();

  std::int32_t defaultType = 0;
  std::string tag;
  const std::vector<std::string>& items() const { return items_; }
  std::int32_t listIndex() const { return listIndex_; }

 private:
  void Activate();
  // ListIndex := value; -1 clears the selection, other values outside the
  // list are refused with error 380.
  void SetListIndex(std::int32_t value);

  std::vector<std::string> items_;
  std::int32_t listIndex_ = -1;
  std::string okCaption_;
  std::string cancelCaption_;
};

// This thread's export-type dialog (made on first use; the component's
// teardown unloads and drops it, so the next use makes a fresh one).
std::shared_ptr<DataTypeForm> ExportTypeDialog();

}  // namespace zmdb::files
