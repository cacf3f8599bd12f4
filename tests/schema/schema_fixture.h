// A component object over a fresh file with a default database, and what a
// schema change must keep of a table, read after reopening the file.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "component_fixture.h"
#include "zmdb/dal/recordset.h"

namespace zmdb::testing {

class SchemaTest : public ComponentTest {
 protected:
  using Variant = rt::Variant;

  // Close the default database and open the file again.
  void Reopen() {
    if (obj_->dbGetConnect(true)) {
      ASSERT_TRUE(obj_->dbCloseConnect(true));
    }
    ASSERT_TRUE(obj_->dbOpenDateBase(path_, ""));
  }
  Variant db() { return Variant(obj_->dbGetConnect(true)); }
  Variant Table(const std::string& t) {
    return rt::ItemOf(rt::GetProp(db(), "TableDefs"), Variant(t));
  }
  Variant Field(const std::string& t, const std::string& f) {
    return rt::ItemOf(rt::GetProp(Table(t), "Fields"), Variant(f));
  }

  // Everything about a table a schema change must keep: its rows (in the
  // order of `orderBy`), its description, each field's type, size,
  // attributes, Required, Allow Zero Length, default and description, and
  // the indexes named.
  std::vector<std::string> Shape(const std::string& t, const std::string& orderBy,
                                 const std::vector<std::string>& indexes) {
    std::vector<std::string> out;
    auto cn = Connect();
    auto rs = Open(cn, "SELECT * FROM " + t + " ORDER BY " + orderBy);
    for (; !rs->AtEOF(); rs->MoveNext()) {
      std::string row;
      for (std::int32_t i = 0; i < rs->fields()->Count(); ++i) {
        row += rt::TextOf(rs->fields()->Item(Variant(i))->Value()) + "|";
      }
      out.push_back(row);
    }
    cn->Close();
    out.push_back("described " + Description(Table(t)));
    const Variant fields = rt::GetProp(Table(t), "Fields");
    for (std::int32_t i = 0; i < rt::CLng(rt::GetProp(fields, "Count")); ++i) {
      const Variant f = rt::ItemOf(fields, Variant(i));
      std::string line = rt::CStr(rt::GetProp(f, "Name"));
      for (const char* p : {"Type", "Size", "Attributes", "Required", "AllowZeroLength"})
        line += " " + rt::CStr(rt::GetProp(f, p));
      out.push_back(line + " [" + rt::CStr(rt::GetProp(f, "DefaultValue")) + "] " + Description(f));
    }
    const rt::SafeArray defs = obj_->dbIndexDefs(t);
    for (const Variant& r : defs.items()) {
      const rt::Record& rec = r.AsRecord();
      if (std::find(indexes.begin(), indexes.end(), rt::CStr(rec["Name"])) == indexes.end())
        continue;
      std::string s;
      for (const auto& [name, v] : rec.members()) s += name + "=" + rt::CStr(v) + " ";
      out.push_back(s);
    }
    return out;
  }

  // The Description property of a table or field ("" when it has none).
  static std::string Description(const Variant& object) {
    try {
      return rt::CStr(rt::GetProp(
          rt::ItemOf(rt::GetProp(object, "Properties"), Variant("Description")), "Value"));
    } catch (const rt::PlatformError&) {
      return "";
    }
  }

  // The index record named `name` of table `t`, or an empty record.
  rt::Record IndexNamed(const std::string& t, const std::string& name) {
    const rt::SafeArray defs = obj_->dbIndexDefs(t);
    for (const Variant& r : defs.items()) {
      if (rt::CStr(r.AsRecord()["Name"]) == name) return r.AsRecord();
    }
    return {};
  }

  // Give field `f` of table `t` a description.
  void Describe(const std::string& t, const std::string& f, const std::string& text) {
    const Variant field = Field(t, f);
    rt::CallMethod(rt::GetProp(field, "Properties"), "Append",
                   {rt::CallMethod(field, "CreateProperty",
                                   {Variant("Description"), Variant(10), Variant(text)})});
  }
};

}  // namespace zmdb::testing
