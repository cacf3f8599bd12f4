// The form inventory: the controls of a form description file as records,
// and the splitting of one of its lines into key and value.
//
// Choices where the interface leaves them open:
// - The form's own block is not a control: the records are the blocks nested
//   in it, in the order they begin; a control placed directly on the form
//   has the form's name as Parent.
// - Index is the control-array index as a Long, -1 for a control that is not
//   a member of an array; the Index line stays among the Properties too.
// - Values are text as SplitKeyValue gives them (a quoted string unquoted,
//   anything else as written: "&H8000000F&" is not turned into a number).
// - No control (or none of the class asked for) gives an allocated, empty
//   array (LBound 1, UBound 0); only a failure leaves it unallocated.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "zmdb/frame/component.h"
#include "zmdb/runtime/error.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/runtime/object.h"
#include "zmdb/runtime/text_encoding.h"
#include "zmdb/ui/form_text.h"

namespace zmdb {

namespace {

using rt::Variant;

// The whole of a file's bytes.
std::string ReadWholeFile(const std::string& path) {
  if (path.empty()) rt::RaiseStandard(rt::err::kBadFileNumber);
  std::error_code ec;
  const std::filesystem::path p(path);
  if (!std::filesystem::exists(p, ec)) rt::RaiseDetailed(rt::err::kFileNotFound, path);
  if (std::filesystem::is_directory(p, ec)) rt::RaiseDetailed(rt::err::kPathFileAccess, path);
  std::ifstream in(p, std::ios::binary);
  if (!in) rt::RaiseDetailed(rt::err::kPathFileAccess, path);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// True when `control` is of the class a caller asks for: "" for every one,
// "Class" or "Library.Class", without regard to case.
bool OfClass(const ui::FormControl& control, const std::string& wanted) {
  if (wanted.empty()) return true;
  const std::string& name =
      wanted.find('.') == std::string::npos ? control.cls : control.library + "." + control.cls;
  return rt::NameEquals(name, wanted);
}

Variant ControlRecord(const ui::FormControl& control) {
  std::vector<Variant> properties;
  properties.reserve(control.properties.size());
  for (const auto& p : control.properties) {
    properties.emplace_back(
        rt::Record("FormProperty", {{"Name", Variant(p.name)}, {"Value", Variant(p.value)}}));
  }
  return Variant(rt::Record(
      "FormCtlInfo",
      {{"Name", Variant(control.name)},
       {"Class", Variant(control.cls)},
       {"Library", Variant(control.library)},
       {"Parent", Variant(control.parent)},
       {"Index", Variant(control.index)},
       {"Properties", Variant(rt::SafeArray(rt::VarType::Record, 1, std::move(properties)))}}));
}

}  // namespace

rt::SafeArray clsZMDBFunc::dbGetFormCtlInfo(const std::string& fsFormFile,
                                            const std::string& fsCtlType,
                                            const std::string& fsEncoding) {
  return Run("dbGetFormCtlInfo", rt::SafeArray(), [&](rt::SafeArray& result) {
    const rt::TextEncoding encoding = rt::EncodingNamed(fsEncoding);
    std::string text = ReadWholeFile(fsFormFile);
    if (encoding == rt::TextEncoding::Gbk) text = rt::GbkToUtf8(text);
    const ui::FormText form = ui::ParseFormText(text);
    if (form.error) {
      rt::RaiseDetailed(
          rt::err::kBadFileFormat,
          fsFormFile + " line " + std::to_string(form.error->line) + ": " + form.error->message);
    }
    std::vector<Variant> records;
    for (const auto& control : form.controls)
      if (OfClass(control, fsCtlType)) records.push_back(ControlRecord(control));
    result = rt::SafeArray(rt::VarType::Record, 1, std::move(records));
  });
}

bool clsZMDBFunc::LoSplitVBLineInfo(const std::string& fsLine, std::string& fsKey,
                                    std::string& fsValue) {
  return Run("LoSplitVBLineInfo", false,
             [&](bool& result) { result = ui::SplitKeyValue(fsLine, fsKey, fsValue); });
}

}  // namespace zmdb
