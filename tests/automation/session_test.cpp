// The automation session, driven by scenarios of requests and the responses
// expected (each expected object is matched as a subset of the response).
#include "zmdb/automation/session.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "dal/sqlite/backend_p.h"
#include "raised.h"
#include "temp_folder.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/datetime.h"

namespace zmdb::automation {
namespace {

// True when every member of `expected` is in `actual` with a matching value;
// arrays must match element by element, scalars exactly.
bool Matches(const Json& expected, const Json& actual, std::string& where) {
  if (expected.is_object()) {
    if (!actual.is_object()) return where = "not an object", false;
    for (const auto& [key, value] : expected.items()) {
      if (!actual.contains(key)) return where = "missing " + key, false;
      if (!Matches(value, actual.at(key), where)) return where = key + "." + where, false;
    }
    return true;
  }
  if (expected.is_array()) {
    if (!actual.is_array() || actual.size() != expected.size()) return where = "array size", false;
    for (std::size_t i = 0; i < expected.size(); ++i) {
      if (!Matches(expected[i], actual[i], where))
        return where = std::to_string(i) + "." + where, false;
    }
    return true;
  }
  if (expected.is_number() && actual.is_number())
    return expected.get<double>() == actual.get<double>();
  return expected == actual;
}

// "@DB@" and "@OTHER@" in a request's texts stand for two fresh file-store
// databases of the scenario.
Json WithDatabase(Json j, const std::string& path) {
  if (j.is_string()) {
    std::string text = j.get<std::string>();
    for (const auto& [mark, file] :
         {std::pair<std::string, std::string>{"@DB@", path}, {"@OTHER@", path + ".other.mdb"}}) {
      for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at))
        text.replace(at, mark.size(), file);
    }
    return text;
  }
  if (j.is_object() || j.is_array()) {
    for (auto& item : j) item = WithDatabase(item, path);
  }
  return j;
}

TEST(Session, Scenarios) {
  std::ifstream in(std::string(ZMDB_TEST_DATA) + "/session_cases.json");
  ASSERT_TRUE(in) << "cannot read session_cases.json";
  const Json scenarios = Json::parse(in);
  const zmdb::testing::TempFolder dir;
  int n = 0;
  for (const Json& scenario : scenarios) {
    SCOPED_TRACE(scenario.at("name").get<std::string>());
    const std::string db = dir / ("s" + std::to_string(++n) + ".mdb");
    for (const std::string& file : {db, db + ".other.mdb"})
      dal::sqlite::OpenDatabase({file, true, false, 5000})->Close();
    Session session;
    int step = 0;
    for (const Json& s : scenario.at("steps")) {
      ++step;
      const Json response = session.Handle(WithDatabase(s.at("request"), db));
      std::string where;
      EXPECT_TRUE(Matches(s.at("expect"), response, where))
          << "step " << step << ": " << where << "\n  got " << response.dump();
      if (!s.at("expect").contains("raised")) {
        EXPECT_FALSE(response.contains("raised")) << "step " << step << ": " << response.dump();
      }
    }
  }
}

TEST(Session, ValuesRoundTripThroughJson) {
  HandleTable handles;
  const rt::Variant values[] = {
      rt::Variant(),
      rt::Variant::Null(),
      rt::Variant::Missing(),
      rt::Variant(true),
      rt::Variant(42),
      rt::Variant(2.5),
      rt::Variant("中文"),
      rt::Variant(rt::MakeDate(2004, 8, 30, 13, 5, 9)),
      rt::Variant(rt::SafeArray(rt::VarType::Variant, 1, {rt::Variant("a"), rt::Variant(2)})),
      rt::Variant(rt::SafeArray()),
      rt::Variant(
          rt::Record("Record", {{"FieldName", rt::Variant("A")}, {"FieldVal", rt::Variant(1)}})),
  };
  for (const rt::Variant& v : values) {
    const Json j = ToJson(v, handles);
    EXPECT_EQ(FromJson(j, handles), v) << j.dump();
  }
  // A plain JSON array has lower bound 0.
  EXPECT_EQ(FromJson(Json::array({1}), handles).AsArray().LBound(), 0);
}

// ------------------------------------------------------------ hostile input

// `open` n times, then `inner`, then `close` n times.
std::string Nested(std::string_view open, std::string_view inner, std::string_view close,
                   std::size_t n) {
  std::string out;
  out.reserve(n * (open.size() + close.size()) + inner.size());
  for (std::size_t i = 0; i < n; ++i) out += open;
  out += inner;
  for (std::size_t i = 0; i < n; ++i) out += close;
  return out;
}

// A request line calling dbGetDAODesc with `value` (JSON text) for its Long argument.
std::string DaoDescLine(const std::string& value) {
  return R"({"call":"dbGetDAODesc","args":{"feDAO":)" + value + "}}";
}

// Every line, however bad, gets one JSON answer with the error it raised, and
// the session serves the next line as usual.
TEST(Session, HostileLinesAreAnsweredWithAnError) {
  constexpr std::int32_t kOverflow = 6;
  constexpr std::int32_t kTooDeep = 28;
  const struct {
    const char* what;
    std::string line;
    std::int32_t number;
  } kCases[] = {
      {"a line that is not JSON", "{not json", rt::err::kInvalidProcCall},
      {"a number past the double range", R"({"x":1e400})", kOverflow},
      {"a negative one as an argument", DaoDescLine("-1e400"), kOverflow},
      {"a Long argument past 32 bits", DaoDescLine("99999999999"), kOverflow},
      {"a Long argument past 64 bits", DaoDescLine("18446744073709551616"), kOverflow},
      {"an error code past 32 bits", DaoDescLine(R"({"error":99999999999})"), kOverflow},
      {"a negative error code past 32 bits", DaoDescLine(R"({"error":-99999999999})"), kOverflow},
      {"a lower bound past 32 bits", DaoDescLine(R"({"lbound":99999999999,"items":[1]})"),
       kOverflow},
      {"a box answer past 32 bits",
       R"({"call":"dbGetDAODesc","args":{"feDAO":10},"answers":[4294967297]})", kOverflow},
      {"20,000 nested arrays as an argument", DaoDescLine(Nested("[", "1", "]", 20'000)), kTooDeep},
      {"20,000 nested objects as an argument", DaoDescLine(Nested(R"({"a":)", "1", "}", 20'000)),
       kTooDeep},
      {"100,000 nested arrays as the line", Nested("[", "", "]", 100'000), kTooDeep},
      {"100,000 nested objects as the line", Nested(R"({"a":)", "1", "}", 100'000), kTooDeep},
      {"100,000 arrays never closed", std::string(100'000, '['), kTooDeep},
  };
  Session session;
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.what);
    const std::string answer = session.HandleLine(c.line);
    EXPECT_EQ(answer.find('\n'), std::string::npos);
    const Json j = Json::parse(answer);
    ASSERT_TRUE(j.contains("raised")) << answer;
    EXPECT_EQ(j.at("raised").at("Number"), c.number) << answer.substr(0, 300);
    EXPECT_EQ(Json::parse(session.HandleLine(DaoDescLine("10"))).at("result"), "edbText");
  }
}

// Arrays and objects nest up to the limit and no further, read directly or
// sent as an argument; text inside strings does not count.
TEST(Session, ValuesNestUpToTheLimit) {
  using dal::testing::RaisedNumber;
  HandleTable handles;
  for (const auto& [open, close] : {std::pair{"[", "]"}, std::pair{R"({"a":)", "}"}}) {
    SCOPED_TRACE(open);
    const Json atLimit = Json::parse(Nested(open, "1", close, kMaxValueDepth));
    const Json past = Json::parse(Nested(open, "1", close, kMaxValueDepth + 1));
    EXPECT_EQ(RaisedNumber([&] { FromJson(atLimit, handles); }), 0);
    EXPECT_EQ(RaisedNumber([&] { FromJson(past, handles); }), 28);
    // Through a session the value at the limit is read, then refused by the Long argument.
    Session session;
    const Json read = Json::parse(session.HandleLine(DaoDescLine(atLimit.dump())));
    EXPECT_EQ(read.at("raised").at("Number"), 13) << read.dump();
  }
  // An array in {"lbound", "items"} form counts its object and its items.
  const Json items =
      Json::parse(Nested("[", R"({"lbound":1,"items":[1]})", "]", kMaxValueDepth - 2));
  EXPECT_EQ(RaisedNumber([&] { FromJson(items, handles); }), 0);
  EXPECT_EQ(RaisedNumber([&] { FromJson(Json::array({items}), handles); }), 28);

  const struct {
    const char* text;
    std::size_t depth;
  } kDepths[] = {
      {"1", 0},
      {R"({"a":[1,{"b":[]}],"c":{}})", 4},
      {R"(["[[[", "\"{{", "\\", ["]"]])", 2},
      {R"(["unclosed \"[[[)", 1},
      {"]]]}}[", 1},
  };
  for (const auto& c : kDepths) EXPECT_EQ(NestingDepth(c.text), c.depth) << c.text;
}

}  // namespace
}  // namespace zmdb::automation
