// Page encryption of file-store databases: the key, the on-disk page format
// and the SQLite file layer (VFS) that applies them.
//
// Every page of an encrypted database, of its write-ahead log and of its
// rollback journal is sealed with AES-256-GCM under a key derived from the
// password with PBKDF2-HMAC-SHA256. SQLite is told to leave the last
// kReserve bytes of each page unused, and the seal lives there:
//
//   page:  [ ciphertext .............. | nonce 12 | tag 16 | spare 4 ]
//
// The nonce is drawn at random for every write. The associated data binds a
// page to where it lies (which file, at which offset) and, for page 1, to
// the plain header. Page 1 of the main file keeps its first 24 bytes out of
// the ciphertext: bytes 0..15 hold the salt instead of SQLite's fixed magic
// text (put back on reading), bytes 16..23 (page size, format versions,
// reserved bytes) stay as SQLite wrote them, and the spare bytes hold the
// KDF's iteration count.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace zmdb::dal::sqlite::cipher {

inline constexpr std::size_t kSaltSize = 16;
inline constexpr std::size_t kKeySize = 32;
inline constexpr std::size_t kNonceSize = 12;
inline constexpr std::size_t kTagSize = 16;
inline constexpr std::size_t kSpareSize = 4;
// Bytes at the end of every page that SQLite leaves to the cipher.
inline constexpr int kReserve = static_cast<int>(kNonceSize + kTagSize + kSpareSize);
// Bytes at the start of page 1 kept out of the ciphertext.
inline constexpr std::size_t kPlainHeader = 24;
// SQLite's magic text, which an encrypted file holds the salt in place of.
inline constexpr std::string_view kSqliteMagic{"SQLite format 3\0", 16};
// PBKDF2-HMAC-SHA256 iterations for new files.
inline constexpr std::uint32_t kDefaultIterations = 600000;

// Which file of a database a page image belongs to; part of what a page is
// bound to, so a page moved from one file into another fails to open.
enum class FileKind : std::uint8_t { Main = 'D', Wal = 'W', Journal = 'J' };

// A derived key with what it was derived from (the password itself is not
// kept). Wiped when destroyed.
struct Key {
  std::array<std::uint8_t, kKeySize> bytes{};
  std::array<std::uint8_t, kSaltSize> salt{};
  std::uint32_t iterations = kDefaultIterations;
  Key() = default;
  Key(const Key&) = default;
  Key& operator=(const Key&) = default;
  ~Key();
};
using KeyRef = std::shared_ptr<const Key>;

// The key `password` gives with `salt` after `iterations` rounds of
// PBKDF2-HMAC-SHA256.
KeyRef DeriveKey(std::string_view password, std::span<const std::uint8_t, kSaltSize> salt,
                 std::uint32_t iterations);

// A key for a new file: a fresh random salt, the iteration count new files
// get (NewFileIterations()).
KeyRef NewKey(std::string_view password);

// The iteration count new files get: kDefaultIterations unless set otherwise
// (tests make many files and do not need the full cost). 0 restores the default.
std::uint32_t NewFileIterations();
void SetNewFileIterations(std::uint32_t iterations);

// What the plain start of a main file says.
struct FileHeader {
  bool encrypted = false;
  std::uint32_t pageSize = 0;
  std::array<std::uint8_t, kSaltSize> salt{};
};

// Reads the first kPlainHeader bytes of a file: a plain SQLite file (magic
// text), an encrypted one (salt, then a header that reserves kReserve bytes
// a page), or neither (no value).
std::optional<FileHeader> ParseHeader(std::span<const std::uint8_t> head);

// Seals the page image `page` (its whole size is the page size) in place,
// as it is written to `kind` at byte `offset`. For page 1 of the main file
// the salt and iteration count of `key` go into the page as well.
void SealPage(const Key& key, FileKind kind, std::uint64_t offset, std::span<std::uint8_t> page);

// Opens a sealed page image in place; false when it fails its check (a
// wrong key, or the page changed on disk).
bool OpenPage(const Key& key, FileKind kind, std::uint64_t offset, std::span<std::uint8_t> page);

// The iteration count page 1 of a main file carries.
std::uint32_t IterationsOfPage1(std::span<const std::uint8_t> page);

// The name the cipher's file layer is registered under, registering it on
// the first call.
const char* VfsName();

// While it lives, the next main database file this thread opens through the
// cipher's file layer (sqlite3_open_v2, ATTACH) is read and written with
// `key`. Main files opened without one pass through unchanged.
class KeyForOpen {
 public:
  explicit KeyForOpen(KeyRef key);
  ~KeyForOpen();
  KeyForOpen(const KeyForOpen&) = delete;
  KeyForOpen& operator=(const KeyForOpen&) = delete;
};

}  // namespace zmdb::dal::sqlite::cipher
