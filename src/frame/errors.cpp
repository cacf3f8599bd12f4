// Error capture and reporting: the last error, the debug box, the display of
// a connection's error collection.
#include "zmdb/frame/component.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/host.h"

namespace zmdb {

namespace {
// The three-line prompt of the debug box and of the error display.
std::string ErrorPrompt(const rt::Variant& number, const rt::Variant& source,
                        const rt::Variant& description) {
  return "Number:" + rt::CStr(number) + "\r\n" + "Source:" + rt::CStr(source) + "\r\n" +
         "Text:" + rt::CStr(description);
}
}  // namespace

rt::Variant ErrObject::GetProperty(std::string_view name, const std::vector<rt::Variant>& index) {
  if (rt::NameEquals(name, "Number")) return rt::Variant(info_.Number);
  if (rt::NameEquals(name, "Source")) return rt::Variant(info_.Source);
  if (rt::NameEquals(name, "Description")) return rt::Variant(info_.Description);
  return Object::GetProperty(name, index);
}

void clsZMDBFunc::ShowDebugError(const rt::Variant& errObject) {
  if (!debug_) return;
  const std::string prompt =
      ErrorPrompt(rt::GetProp(errObject, "Number"), rt::GetProp(errObject, "Source"),
                  rt::GetProp(errObject, "Description"));
  rt::MsgBox(prompt, rt::mb::kOKOnly, "DebugMode");
}

void clsZMDBFunc::RecordError(const rt::ErrorInfo& e) {
  ShowDebugError(rt::Variant(rt::ObjectRef(std::make_shared<ErrObject>(e))));
  lastError_.Description = e.Description;
  lastError_.Number = e.Number;
  lastError_.Source = e.Source;
}

ErrStruct clsZMDBFunc::dbGetLastError() const {
  return lastError_;
}

void clsZMDBFunc::dbClearError() {
  lastError_ = ErrStruct{};
}

// The result is never assigned, so it is Empty whatever the flag.
rt::Variant clsZMDBFunc::dbSetDebug(bool fbDebug) {
  debug_ = fbDebug;
  return {};
}

void clsZMDBFunc::dbSetAppTitle(const std::string& fsAppTitle) {
  rt::SetAppTitle(fsAppTitle);
}

// One box per error of the connection's Errors collection, in order, bearing
// the application title; shown whatever the debug flag says.
void clsZMDBFunc::dbDisplayADOError(rt::Variant& cn) {
  const rt::Variant errors = rt::GetProp(cn, "Errors");
  const std::int32_t count = rt::CLng(rt::GetProp(errors, "Count"));
  for (std::int32_t i = 0; i < count; ++i) {
    const rt::Variant e = rt::GetProp(errors, "Item", {rt::Variant(i)});
    rt::MsgBox(ErrorPrompt(rt::GetProp(e, "Number"), rt::GetProp(e, "Source"),
                           rt::GetProp(e, "Description")),
               rt::mb::kOKOnly);
  }
}

}  // namespace zmdb
