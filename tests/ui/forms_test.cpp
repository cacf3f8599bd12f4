// The form inventory: the form files of tests/data/forms/cases.json read
// through dbGetFormCtlInfo (every control, its place and its properties, or
// the line a malformed file fails on), the class filter and LoSplitVBLineInfo
// over the tables of the same file, and the parser on cut, mutated and
// extreme text.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>

#include "component_fixture.h"
#include "zmdb/runtime/errors.h"
#include "zmdb/ui/form_text.h"

namespace zmdb::testing {
namespace {

using nlohmann::json;
using rt::Variant;

const std::string kForms = std::string(ZMDB_TEST_DATA) + "/forms/";

std::string ReadBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

json Cases(const char* part = "forms") {
  std::ifstream in(kForms + "cases.json");
  return json::parse(in)[part];
}

class FormsTest : public ComponentTest {};

TEST_F(FormsTest, EachFormFileGivesItsControlsOrItsError) {
  for (const json& c : Cases()) {
    const std::string file = c["file"];
    SCOPED_TRACE(file);
    obj_->dbClearError();
    const rt::SafeArray got =
        obj_->dbGetFormCtlInfo(kForms + file, "", c.value("encoding", std::string()));
    if (c.contains("error")) {
      EXPECT_FALSE(got.allocated());
      const ErrStruct e = obj_->dbGetLastError();
      EXPECT_EQ(e.Number, rt::err::kBadFileFormat);
      EXPECT_NE(e.Description.find("Invalid file format"), std::string::npos) << e.Description;
      EXPECT_NE(e.Description.find("line " + std::to_string(c["error_line"].get<int>()) + ": "),
                std::string::npos)
          << e.Description;
      EXPECT_NE(e.Description.find(c["error"].get<std::string>()), std::string::npos)
          << e.Description;
      continue;
    }
    ASSERT_TRUE(got.allocated()) << obj_->dbGetLastError().Description;
    EXPECT_EQ(obj_->dbGetLastError().Number, 0);
    EXPECT_EQ(got.elementType(), rt::VarType::Record);
    const json& want = c["controls"];
    ASSERT_EQ(got.size(), want.size());
    EXPECT_EQ(got.LBound(), 1);
    for (std::int32_t i = 1; i <= got.UBound(); ++i) {
      const rt::Record& r = got.at(i).AsRecord();
      const json& w = want[static_cast<std::size_t>(i - 1)];
      SCOPED_TRACE(w["Name"].get<std::string>());
      EXPECT_EQ(r.typeName(), "FormCtlInfo");
      for (const char* member : {"Name", "Class", "Library", "Parent"})
        EXPECT_EQ(r[member].AsString(), w[member].get<std::string>()) << member;
      EXPECT_EQ(r["Index"].AsLong(), w["Index"].get<int>());
      const rt::SafeArray& props = r["Properties"].AsArray();
      EXPECT_EQ(props.LBound(), 1);
      EXPECT_EQ(props.size(), w["count"].get<std::size_t>());
      for (const auto& [name, value] : w["props"].items()) {
        bool found = false;
        for (const Variant& p : props.items()) {
          if (p.AsRecord()["Name"].AsString() != name) continue;
          EXPECT_EQ(p.AsRecord()["Value"].AsString(), value.get<std::string>()) << name;
          found = true;
        }
        EXPECT_TRUE(found) << name;
      }
    }
  }
}

TEST_F(FormsTest, TheClassFilterIgnoresCaseAndMayNameTheLibrary) {
  for (const json& c : Cases("class_filter")) {
    const std::string type = c[0];
    const rt::SafeArray got = obj_->dbGetFormCtlInfo(kForms + "options.frm", type);
    ASSERT_TRUE(got.allocated()) << type;
    EXPECT_EQ(got.LBound(), 1) << type;
    std::vector<std::string> names;
    for (const Variant& v : got.items()) names.push_back(v.AsRecord()["Name"].AsString());
    EXPECT_EQ(names, c[1].get<std::vector<std::string>>()) << type;
  }
}

TEST_F(FormsTest, FilesThatCannotBeReadAreRecorded) {
  const auto dir = std::filesystem::temp_directory_path();
  struct Case {
    std::string file, encoding;
    std::int32_t number;
  };
  const std::vector<Case> cases = {
      {kForms + "no_such_form.frm", "", rt::err::kFileNotFound},
      {"", "", rt::err::kBadFileNumber},
      {dir.string(), "", rt::err::kPathFileAccess},
      {kForms + "login.frm", "latin1", rt::err::kInvalidProcCall},
  };
  for (const auto& c : cases) {
    obj_->dbClearError();
    EXPECT_FALSE(obj_->dbGetFormCtlInfo(c.file, "", c.encoding).allocated()) << c.file;
    EXPECT_EQ(obj_->dbGetLastError().Number, c.number) << c.file;
  }
}

TEST_F(FormsTest, CodePage936ReadAsUtf8KeepsTheStructureButNotTheText) {
  const rt::SafeArray got = obj_->dbGetFormCtlInfo(kForms + "staff_gbk.frm");
  ASSERT_EQ(got.size(), 2u);
  const rt::Record& label = got.at(2).AsRecord();
  EXPECT_EQ(label["Name"].AsString(), "lblDept");
  EXPECT_NE(label["Properties"].AsArray().at(1).AsRecord()["Value"].AsString(), "部门名称");
}

TEST_F(FormsTest, LoSplitVBLineInfoOverLines) {
  for (const json& c : Cases("split_lines")) {
    const std::string line = c[0];
    std::string key = "old key", value = "old value";
    EXPECT_EQ(obj_->LoSplitVBLineInfo(line, key, value), c[1].get<bool>()) << line;
    EXPECT_EQ(key, c[2].get<std::string>()) << line;
    EXPECT_EQ(value, c[3].get<std::string>()) << line;
  }
  EXPECT_EQ(obj_->dbGetLastError().Number, 0);
}

// ------------------------------------------------------------- the parser

TEST(FormText, KeepsTheHeaderObjectsFormAndAttributes) {
  const ui::FormText login = ui::ParseFormText(ReadBytes(kForms + "login.frm"));
  ASSERT_FALSE(login.error);
  EXPECT_EQ(login.version, "5.00");
  EXPECT_TRUE(login.objects.empty());
  EXPECT_EQ(login.form.name, "frmLogin");
  EXPECT_EQ(login.form.cls, "Form");
  EXPECT_EQ(login.form.parent, "");
  ASSERT_EQ(login.attributes.size(), 5u);
  EXPECT_EQ(login.attributes.front(), (ui::FormProperty{"VB_Name", "frmLogin"}));
  EXPECT_EQ(login.attributes.back(), (ui::FormProperty{"VB_Exposed", "False"}));
  ASSERT_GE(login.form.properties.size(), 14u);
  EXPECT_EQ(login.form.properties[1], (ui::FormProperty{"Caption", "登录"}));
  EXPECT_EQ(login.form.properties[6], (ui::FormProperty{"Font.Name", "宋体"}));
  EXPECT_EQ(login.form.properties[12], (ui::FormProperty{"Font.Strikethrough", "0"}));
  EXPECT_EQ(login.form.properties[13], (ui::FormProperty{"Icon", "\"frmLogin.frx\":0000"}));

  const ui::FormText options = ui::ParseFormText(ReadBytes(kForms + "options.frm"));
  ASSERT_FALSE(options.error);
  ASSERT_EQ(options.objects.size(), 2u);
  EXPECT_EQ(options.objects[1],
            "\"{F9043C88-F6F2-101A-A3C9-08002B2F49FB}#1.2#0\"; \"COMDLG32.OCX\"");
}

TEST(FormText, AByteOrderMarkAndBareLineFeedsAreAccepted) {
  std::string text = ReadBytes(kForms + "login.frm");
  std::erase(text, '\r');
  const ui::FormText form = ui::ParseFormText("\xEF\xBB\xBF" + text);
  ASSERT_FALSE(form.error) << form.error->message;
  EXPECT_EQ(form.controls.size(), 5u);
}

// Every cut of a form before its outer block ends is an error; once the
// outer End is in, the controls are all there, unless the cut leaves an
// Attribute line without its "=".
TEST(FormText, EveryTruncationInsideTheFormIsAnError) {
  const std::string text = ReadBytes(kForms + "options.frm");
  const std::size_t outerEnd = text.find("\r\nEnd\r\n") + 5;
  for (std::size_t cut = 0; cut < text.size(); ++cut) {
    const ui::FormText form = ui::ParseFormText(std::string_view(text).substr(0, cut));
    if (cut < outerEnd) {
      ASSERT_TRUE(form.error) << "cut at " << cut;
    } else {
      if (form.error) {
        ASSERT_NE(form.error->message.find("Attribute"), std::string::npos) << "cut at " << cut;
        ASSERT_GE(form.error->line, 123u) << "cut at " << cut;
        continue;
      }
      ASSERT_EQ(form.controls.size(), 10u) << "cut at " << cut;
    }
  }
}

// Random byte changes: never a crash, and whatever parses is consistent
// (every parent is the form or a control begun before).
TEST(FormText, MutatedTextParsesOrFailsCleanly) {
  const std::string text = ReadBytes(kForms + "options.frm");
  std::mt19937 random(18);
  std::uniform_int_distribution<std::size_t> at(0, text.size() - 1);
  std::uniform_int_distribution<int> byte(0, 255);
  int parsed = 0;
  for (int round = 0; round < 400; ++round) {
    std::string mutated = text;
    for (int k = 0; k < 1 + round % 4; ++k) mutated[at(random)] = static_cast<char>(byte(random));
    const ui::FormText form = ui::ParseFormText(mutated);
    if (form.error) continue;
    ++parsed;
    std::vector<std::string> seen = {form.form.name};
    for (const auto& c : form.controls) {
      EXPECT_NE(std::find(seen.begin(), seen.end(), c.parent), seen.end()) << c.name;
      seen.push_back(c.name);
    }
  }
  EXPECT_GT(parsed, 0);
}

TEST(FormText, DeepNestingAndLongLinesNeedNoRecursion) {
  constexpr int kDepth = 20000;
  std::string text = "VERSION 5.00\nBegin VB.Form f\n";
  for (int i = 0; i < kDepth; ++i) text += "Begin VB.Frame c" + std::to_string(i) + "\n";
  text += "Tag = \"" + std::string(1 << 20, 'x') + "\"\n";
  text += "Caption = " + std::string(1 << 20, '"') + "\n";
  for (int i = 0; i <= kDepth; ++i) text += "End\n";
  const ui::FormText form = ui::ParseFormText(text);
  ASSERT_FALSE(form.error) << form.error->message;
  ASSERT_EQ(form.controls.size(), static_cast<std::size_t>(kDepth));
  EXPECT_EQ(form.controls.back().parent, "c" + std::to_string(kDepth - 2));
  ASSERT_EQ(form.controls.back().properties.size(), 2u);
  EXPECT_EQ(form.controls.back().properties[0].value.size(), std::size_t{1} << 20);
  // A quote run of even length is a string of half as many quotes.
  EXPECT_EQ(form.controls.back().properties[1].value, std::string((1 << 19) - 1, '"'));
}

}  // namespace
}  // namespace zmdb::testing
