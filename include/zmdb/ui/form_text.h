// Form description text: the text form in which desktop forms are saved.
//
//   VERSION 5.00
//   Object = "{...}#2.0#0"; "COMCTL.OCX"
//   Begin VB.Form frmMain
//      Caption         =   "Main"
//      BeginProperty Font
//         Name            =   "SimSun"
//      EndProperty
//      Begin VB.Frame fraOptions
//         Begin VB.OptionButton optKind
//            Index           =   0
//         End
//      End
//   End
//   Attribute VB_Name = "frmMain"
//   (code)
//
// The parser reads the header, the object lines, the one outer block (the
// form) with its nested blocks (the controls) and the attribute lines after
// it; the code that follows is not read. It works line by line with plain
// scans (no regular expressions), so its time is linear in the text's size,
// and it never fails by exception: malformed text gives an error with the
// line it was found on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zmdb::ui {

// One property as written: properties inside BeginProperty groups are
// flattened, their names prefixed with the groups' names ("Font.Name",
// "ColumnHeaders.ColumnHeader(1).Text").
struct FormProperty {
  std::string name;
  std::string value;  // as SplitKeyValue gives it

  bool operator==(const FormProperty&) const = default;
};

// One Begin ... End block: the form itself or one of its controls.
struct FormControl {
  std::string name;
  std::string cls;          // "CommandButton" of "VB.CommandButton"
  std::string library;      // "VB" of "VB.CommandButton" ("" when the type has no ".")
  std::string parent;       // the name of the enclosing block ("" for the form)
  std::int32_t index = -1;  // the Index property of a control-array member, else -1
  std::vector<FormProperty> properties;
};

struct FormTextError {
  std::size_t line = 0;  // 1-based
  std::string message;
};

struct FormText {
  std::string version;               // "5.00"
  std::vector<std::string> objects;  // the values of the Object lines
  FormControl form;
  std::vector<FormControl> controls;     // in the order their blocks begin
  std::vector<FormProperty> attributes;  // Attribute lines: "VB_Name" -> "frmMain"
  std::optional<FormTextError> error;    // set when the text is malformed (then
                                         // nothing else is to be used)
};

// Splits one line at its first "=" into a trimmed key and value. True when the
// line is a key-value line: it has an "=", the key is not empty and holds no
// double quote (so `MsgBox "a=b"` is not one). The value is the text after the
// "=", trimmed, without a trailing comment (a "'" outside quotes, as in
// `BorderStyle = 1 'Fixed Single`); a value that is exactly one quoted string
// loses its quotes and has its doubled quotes made single ("Say ""hi""" ->
// Say "hi"). Any other value stays as written: `&H00FF0000&`, `$"f.frx":0000`,
// `"{GUID}#2.0#0"; "X.OCX"`. On False both outputs are emptied.
bool SplitKeyValue(std::string_view line, std::string& key, std::string& value);

// Parses form description text (UTF-8; a leading byte-order mark is skipped).
FormText ParseFormText(std::string_view text);

}  // namespace zmdb::ui
