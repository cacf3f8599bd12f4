// The host's file table: numbered text files, one table per host thread.
#include "zmdb/files/file_table.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "zmdb/runtime/error.h"

namespace zmdb::files {

namespace {

constexpr std::size_t kBufferSize = std::size_t{1} << 16;

struct OpenFile {
  bool input = true;
  std::FILE* file = nullptr;
  // Input: the bytes read ahead and how far the lines have used them.
  std::vector<char> buffer;
  std::size_t pos = 0;
  std::size_t end = 0;
  bool drained = false;

  ~OpenFile() {
    if (file != nullptr) std::fclose(file);
  }

  // Read ahead when every byte read so far is used; false at the end.
  bool Fill() {
    if (pos < end) return true;
    if (drained) return false;
    end = std::fread(buffer.data(), 1, buffer.size(), file);
    pos = 0;
    if (end == 0) {
      if (std::ferror(file) != 0) rt::Raise(rt::err::kPathFileAccess);
      drained = true;
    }
    return end > 0;
  }
};

struct Table {
  std::array<std::unique_ptr<OpenFile>, kMaxFileNumber + 1> files;
};

Table& ThisThread() {
  thread_local Table table;
  return table;
}

std::unique_ptr<OpenFile>& SlotOf(int number) {
  if (number < 1 || number > kMaxFileNumber) rt::Raise(rt::err::kBadFileNumber);
  return ThisThread().files[static_cast<std::size_t>(number)];
}

OpenFile& Opened(int number) {
  auto& slot = SlotOf(number);
  if (!slot) rt::Raise(rt::err::kBadFileNumber);
  return *slot;
}

std::unique_ptr<OpenFile>& FreeSlot(int number) {
  auto& slot = SlotOf(number);
  if (slot) rt::Raise(rt::err::kFileAlreadyOpen);
  return slot;
}

}  // namespace

int FreeFile() {
  auto& files = ThisThread().files;
  for (int n = 1; n <= kMaxFileNumber; ++n)
    if (!files[static_cast<std::size_t>(n)]) return n;
  rt::Raise(rt::err::kTooManyFiles);
}

void OpenForInput(int number, const std::string& path) {
  auto& slot = FreeSlot(number);
  std::error_code ec;
  const auto status = std::filesystem::status(path, ec);
  if (path.empty() || !std::filesystem::exists(status)) rt::Raise(rt::err::kFileNotFound);
  if (std::filesystem::is_directory(status)) rt::Raise(rt::err::kPathFileAccess);
  auto f = std::make_unique<OpenFile>();
  f->file = std::fopen(path.c_str(), "rb");
  if (f->file == nullptr) rt::Raise(rt::err::kPathFileAccess);
  f->buffer.resize(kBufferSize);
  slot = std::move(f);
}

void OpenForOutput(int number, const std::string& path) {
  auto& slot = FreeSlot(number);
  if (path.empty()) rt::Raise(rt::err::kFileNotFound);
  const auto parent = std::filesystem::path(path).parent_path();
  std::error_code ec;
  if (!parent.empty() && !std::filesystem::is_directory(parent, ec))
    rt::Raise(rt::err::kPathNotFound);
  auto f = std::make_unique<OpenFile>();
  f->input = false;
  f->file = std::fopen(path.c_str(), "wb");
  if (f->file == nullptr) rt::Raise(rt::err::kPathFileAccess);
  std::setvbuf(f->file, nullptr, _IOFBF, kBufferSize * 4);
  slot = std::move(f);
}

void Close(int number) {
  if (number < 1 || number > kMaxFileNumber) return;
  auto owned = std::move(ThisThread().files[static_cast<std::size_t>(number)]);
  if (!owned) return;
  std::FILE* file = owned->file;
  owned->file = nullptr;
  // What an output file could not write reaches its caller here.
  if (std::fclose(file) != 0 && !owned->input) rt::Raise(rt::err::kPathFileAccess);
}

bool IsOpen(int number) {
  return number >= 1 && number <= kMaxFileNumber &&
         ThisThread().files[static_cast<std::size_t>(number)] != nullptr;
}

bool Eof(int number) {
  OpenFile& f = Opened(number);
  if (!f.input) rt::Raise(rt::err::kBadFileMode);
  return !f.Fill();
}

std::string LineInput(int number) {
  OpenFile& f = Opened(number);
  if (!f.input) rt::Raise(rt::err::kBadFileMode);
  if (!f.Fill()) rt::Raise(rt::err::kInputPastEnd);
  std::string line;
  while (f.Fill()) {
    const char* first = f.buffer.data() + f.pos;
    const char* last = f.buffer.data() + f.end;
    const char* stop = std::find_if(first, last, [](char c) { return c == '\n' || c == '\r'; });
    line.append(first, stop);
    f.pos += static_cast<std::size_t>(stop - first);
    if (stop == last) continue;
    ++f.pos;
    // CR LF is one ending, even when the buffer ends between the two.
    if (*stop == '\r' && f.Fill() && f.buffer[f.pos] == '\n') ++f.pos;
    break;
  }
  return line;
}

void PrintLine(int number, std::string_view line) {
  OpenFile& f = Opened(number);
  if (f.input) rt::Raise(rt::err::kBadFileMode);
  if (std::fwrite(line.data(), 1, line.size(), f.file) != line.size() ||
      std::fwrite("\r\n", 1, 2, f.file) != 2)
    rt::Raise(rt::err::kPathFileAccess);
}

}  // namespace zmdb::files
