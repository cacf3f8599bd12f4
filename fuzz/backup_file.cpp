// The recordset text backup file read by dbRestoreRecordset. The first byte
// of an input picks the separator (bits 0-1: "," "|" tab ";"), the encoding
// (bit 2: GBK) and whether a note line comes first (bit 3); the rest is the
// file. Any file is restored or refused with the failure value (Nothing),
// never by a crash; and what was restored writes back and reads back to the
// same file: backup -> restore -> backup gives the first backup's text again.
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz_check.h"
#include "temp_folder.h"
#include "zmdb/frame/component.h"
#include "zmdb/runtime/host.h"

namespace {

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static const char* const kSeparators[] = {",", "|", "\t", ";"};
  const std::string separator = kSeparators[data[0] & 3];
  const std::string encoding = (data[0] & 4) ? "GBK" : "";
  const bool note = (data[0] & 8) != 0;

  static const auto host = std::make_shared<zmdb::rt::HeadlessHost>();
  zmdb::rt::ScopedHost scope(host);
  host->SetEcho(false);
  host->ClearRecord();
  const auto& folder = zmdb::fuzz::TempFolder();
  const std::string input = (folder / "input.txt").string();
  const std::string first = (folder / "first.txt").string();
  const std::string second = (folder / "second.txt").string();
  {
    std::ofstream out(input, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data + 1), static_cast<std::streamsize>(size - 1));
  }

  zmdb::clsZMDBFunc component;
  const auto restored = component.dbRestoreRecordset(input, separator, note, "", "", "",
                                                     zmdb::rt::Variant::Missing(), encoding);
  if (!restored) {
    FUZZ_CHECK(component.dbGetLastError().Number != 0);
    return 0;
  }
  if (!component.dbBackupRecordset(restored, first, separator)) return 0;
  const auto again = component.dbRestoreRecordset(first, separator, true);
  FUZZ_CHECK(again != nullptr);
  FUZZ_CHECK(component.dbBackupRecordset(again, second, separator));
  FUZZ_CHECK(ReadAll(first) == ReadAll(second));
  return 0;
}
