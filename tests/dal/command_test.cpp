// Parameter values: an object given as a value stands for its default value.
#include "zmdb/dal/command.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "raised.h"
#include "zmdb/runtime/object.h"

namespace zmdb::dal {
namespace {

using rt::Variant;

std::shared_ptr<Parameter> NewParameter(const Variant& value) {
  return Command::Create()->CreateParameter("@p", 200, 1, 10, value);
}

Variant Ref(const std::shared_ptr<Parameter>& p) {
  return Variant(rt::ObjectRef(p));
}

// Setting Value, creating with a value and executing with an array of values
// all keep data, never the object: a parameter given itself (or two given
// each other) would otherwise hold a reference cycle that is never freed.
TEST(ParameterValue, AnObjectGivesItsDefaultValue) {
  auto source = NewParameter(Variant("text"));
  auto p = NewParameter(Ref(source));
  EXPECT_EQ(p->data().value, Variant("text"));

  p->SetProperty("Value", Variant(std::int32_t{7}), {});
  p->SetProperty("Value", Ref(p), {});
  EXPECT_EQ(p->data().value, Variant(std::int32_t{7}));
  source->SetProperty("Value", Ref(p), {});
  p->SetProperty("Value", Ref(source), {});
  EXPECT_EQ(p->data().value, Variant(std::int32_t{7}));
  EXPECT_EQ(p.use_count(), 1);
  EXPECT_EQ(source.use_count(), 1);

  EXPECT_EQ(testing::RaisedNumber([&] { p->SetProperty("Value", Variant(rt::ObjectRef{}), {}); }),
            91);
  EXPECT_EQ(p->data().value, Variant(std::int32_t{7}));
}

}  // namespace
}  // namespace zmdb::dal
