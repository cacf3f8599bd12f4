// The headless list and combo boxes: the text AddItem takes from what it is
// given (a field object gives its value's text), and where a sorted list puts
// each item and its ItemData.
#include "zmdb/ui/controls.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "raised.h"
#include "zmdb/dal/recordset.h"
#include "zmdb/dal/typecodes.h"
#include "zmdb/runtime/convert.h"

namespace zmdb::ui {
namespace {

using rt::Variant;
using Items = std::vector<std::string>;

// A disconnected recordset of one row holding `value` in field V of `type`.
rt::ObjectRef FieldHolding(std::int32_t type, const Variant& value) {
  auto rs = dal::Recordset::Create();
  rs->fields()->Append("V", type, type == dal::typecodes::ado::adVarWChar ? 20 : 0);
  rs->SetLockType(3);  // optimistic: the row can be written
  rs->Open();
  rs->AddNew();
  rs->fields()->Item(Variant("V"))->SetValue(value);
  rs->Update();
  return rs->fields()->Item(Variant("V"));
}

TEST(ListControl, AddItemTextOfEachKindOfArgument) {
  using namespace dal::typecodes::ado;
  const struct {
    const char* what;
    Variant item;
    const char* text;
  } cases[] = {
      {"a number", Variant(std::int32_t{0}), "0"},
      {"a field of text", Variant(FieldHolding(adVarWChar, Variant("梨子"))), "梨子"},
      {"a field holding zero", Variant(FieldHolding(adInteger, Variant(std::int32_t{0}))), "0"},
      {"a field holding a fraction", Variant(FieldHolding(adDouble, Variant(0.25))), "0.25"},
      {"a field holding a date",
       Variant(FieldHolding(adDate, Variant(rt::CDate(Variant("2024-03-05"))))), "2024-03-05"},
  };
  for (const auto& c : cases) {
    auto list = NewControl("ListBox");
    rt::CallMethod(Variant(list), "AddItem", {c.item});
    EXPECT_EQ(rt::CStr(rt::GetProp(Variant(list), "List", {Variant(std::int32_t{0})})), c.text)
        << c.what;
  }
}

TEST(ListControl, SortedListPlacesItemsAndTheirData) {
  const Variant list(NewControl("ComboBox"));
  rt::SetProp(list, "Sorted", Variant(true));
  const struct {
    const char* item;
    std::int32_t newIndex;
  } additions[] = {{"pear", 0}, {"Apple", 0}, {"梨子", 2}, {"banana", 1}, {"apple", 1}};
  std::int32_t n = 0;
  for (const auto& a : additions) {
    rt::CallMethod(list, "AddItem", {Variant(a.item)});
    EXPECT_EQ(rt::CLng(rt::GetProp(list, "NewIndex")), a.newIndex) << a.item;
    rt::SetProp(list, "ItemData", Variant(++n), {rt::GetProp(list, "NewIndex")});
  }
  const auto& control = dynamic_cast<const ListControl&>(*list.AsObject());
  // Letter case does not order items; an equal item goes after the one there.
  EXPECT_EQ(control.items(), (Items{"Apple", "apple", "banana", "pear", "梨子"}));
  EXPECT_EQ(control.itemData(), (std::vector<std::int32_t>{2, 5, 4, 1, 3}));

  // Sorting cannot be switched once there are items; an unsorted list appends.
  EXPECT_EQ(dal::testing::RaisedNumber([&] { rt::SetProp(list, "Sorted", Variant(false)); }),
            rt::err::kInvalidPropertyValue);
  const Variant plain(NewControl("ListBox"));
  for (const char* item : {"pear", "Apple"}) rt::CallMethod(plain, "AddItem", {Variant(item)});
  EXPECT_EQ(rt::CLng(rt::GetProp(plain, "NewIndex")), 1);
  rt::CallMethod(plain, "Clear");
  EXPECT_EQ(rt::CLng(rt::GetProp(plain, "NewIndex")), -1);
}

}  // namespace
}  // namespace zmdb::ui
