// Text in a foreign file's code page: bytes for each code page, and a
// character the code page lacks refused with the place named.
#include <gtest/gtest.h>

#include <string>

#include "zmdb/dal/formats/format.h"
#include "zmdb/runtime/error.h"

namespace zmdb::dal::formats {
namespace {

struct EncodeCase {
  const char* utf8;
  int codePage;
  std::string bytes;
};

TEST(EncodeText, BytesInTheDeclaredCodePage) {
  const EncodeCase cases[] = {
      {"Paper", 936, "Paper"}, {"墨水", 936, "\xC4\xAB\xCB\xAE"},
      {"墨水", 65001, "墨水"}, {"café", 1252, "caf\xE9"},
      {"", 936, ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(EncodeText(c.utf8, c.codePage, "row 1, field Item"), c.bytes) << c.utf8;
  }
}

TEST(EncodeText, ACharacterTheCodePageLacksNamesTheRowAndField) {
  for (const int codePage : {1252, 437}) {
    try {
      EncodeText("墨水", codePage, "row 7, field Item");
      ADD_FAILURE() << codePage;
    } catch (const rt::PlatformError& e) {
      EXPECT_NE(std::string(e.what()).find("row 7, field Item"), std::string::npos)
          << std::string(e.what());
    }
  }
}

}  // namespace
}  // namespace zmdb::dal::formats
