// The file layer (SQLite VFS) of encrypted databases: it sits over the
// platform's own layer and seals every page on its way to the disk and
// opens it on its way back (cipher_p.h has the page format).
//
// Which bytes are pages:
//   main file  every write is one whole page; a read of part of a page (the
//              header at open, the change counter) reads and opens the page
//   log (WAL)  a 32-byte header, then frames of a 24-byte header and a page;
//              only the pages are sealed
//   journal    a header per sector, then records of a 4-byte page number, a
//              page and a 4-byte checksum; the page of a record lies at an
//              offset 4 past a multiple of 8 (sectors and records are
//              multiples of 8 long)
// A log or journal takes the key of the main file it belongs to. Other
// temporary files pass through; encrypted connections keep those in memory.
#include <sqlite3.h>

#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "cipher_p.h"
#include "vfs_layer_p.h"

namespace zmdb::dal::sqlite::cipher {

namespace {

constexpr std::uint64_t kWalHeader = 32;
constexpr std::uint64_t kFrameHeader = 24;

thread_local KeyRef t_keyForOpen;

// One open file: the platform's file follows this struct in the same block.
struct CipherFile {
  sqlite3_file base;
  sqlite3_file* real;
  KeyRef key;  // empty: the file passes through
  FileKind kind;
  CipherFile* main;  // a log's or journal's main file
  std::uint32_t pageSize;

  std::uint32_t PageSize() const { return pageSize ? pageSize : main ? main->pageSize : 0; }
};

CipherFile* Of(sqlite3_file* f) {
  return reinterpret_cast<CipherFile*>(f);
}

std::vector<std::uint8_t>& Scratch(std::size_t size) {
  thread_local std::vector<std::uint8_t> buffer;
  if (buffer.size() < size) buffer.resize(size);
  return buffer;
}

// Reads a main file's page size from its plain header, when it has one.
void LearnMainPageSize(CipherFile* f) {
  std::uint8_t head[kPlainHeader] = {};
  if (f->real->pMethods->xRead(f->real, head, sizeof head, 0) != SQLITE_OK) return;
  if (const auto h = ParseHeader(head)) f->pageSize = h->pageSize;
}

// The pages of a log that lie in [off, off + amt): calls `each(pageOffset,
// at)` for every one wholly inside (`at` counted from `off`). False when a
// page is cut by the range's ends.
template <typename Each>
bool WalPages(std::uint64_t off, std::uint64_t amt, std::uint32_t pageSize, Each each) {
  if (pageSize == 0) return true;
  const std::uint64_t frame = kFrameHeader + pageSize;
  const std::uint64_t end = off + amt;
  std::uint64_t k = off <= kWalHeader ? 0 : (off - kWalHeader) / frame;
  for (;; ++k) {
    const std::uint64_t page = kWalHeader + k * frame + kFrameHeader;
    if (page >= end) return true;
    const bool starts = page >= off;
    const bool ends = page + pageSize <= end;
    if (starts && ends) {
      if (!each(page, page - off)) return false;
    } else if (page + pageSize > off) {
      return false;
    }
  }
}

bool IsJournalPage(const CipherFile* f, int amt, sqlite3_int64 off) {
  return f->PageSize() != 0 && static_cast<std::uint32_t>(amt) == f->PageSize() && off % 8 == 4;
}

int ReadMain(CipherFile* f, std::uint8_t* out, int amt, sqlite3_int64 off) {
  if (!f->pageSize) LearnMainPageSize(f);
  const std::uint64_t p = f->pageSize;
  if (p == 0) return f->real->pMethods->xRead(f->real, out, amt, off);
  const auto uoff = static_cast<std::uint64_t>(off);
  const std::uint64_t start = uoff - uoff % p;
  if (uoff - start + static_cast<std::uint64_t>(amt) > p) return SQLITE_IOERR_READ;
  const bool whole = start == uoff && static_cast<std::uint64_t>(amt) == p;
  std::uint8_t* page = whole ? out : Scratch(p).data();
  const int rc = f->real->pMethods->xRead(f->real, page, static_cast<int>(p),
                                          static_cast<sqlite3_int64>(start));
  if (rc == SQLITE_IOERR_SHORT_READ) {
    std::memset(out, 0, static_cast<std::size_t>(amt));
    return rc;
  }
  if (rc != SQLITE_OK) return rc;
  if (!OpenPage(*f->key, FileKind::Main, start, {page, p})) return SQLITE_IOERR_DATA;
  if (!whole) std::memcpy(out, page + (uoff - start), static_cast<std::size_t>(amt));
  return SQLITE_OK;
}

int ReadWal(CipherFile* f, std::uint8_t* out, int amt, sqlite3_int64 off) {
  const int rc = f->real->pMethods->xRead(f->real, out, amt, off);
  if (rc != SQLITE_OK) return rc;
  if (off == 0 && amt >= 12) {
    const std::uint32_t p = (std::uint32_t{out[8]} << 24) | (std::uint32_t{out[9]} << 16) |
                            (std::uint32_t{out[10]} << 8) | out[11];
    if (p >= 512 && p <= 65536) f->pageSize = p;
  }
  const std::uint32_t p = f->PageSize();
  // A whole frame is read while the log is recovered: a frame that does not
  // open (a write cut short by a crash) reads as zeros, which fails the
  // log's own checksum and ends the recovery there, as a torn frame does.
  const bool recovering = static_cast<std::uint64_t>(amt) == kFrameHeader + p;
  bool ok = true;
  const bool whole = WalPages(static_cast<std::uint64_t>(off), static_cast<std::uint64_t>(amt), p,
                              [&](std::uint64_t page, std::uint64_t at) {
                                std::span<std::uint8_t> image{out + at, p};
                                if (OpenPage(*f->key, FileKind::Wal, page, image)) return true;
                                if (!recovering) ok = false;
                                std::memset(image.data(), 0, image.size());
                                return true;
                              });
  if (!whole) return SQLITE_IOERR_READ;
  return ok ? SQLITE_OK : SQLITE_IOERR_DATA;
}

// --- the file methods ---

int Close(sqlite3_file* file) {
  CipherFile* f = Of(file);
  const int rc = f->real->pMethods ? f->real->pMethods->xClose(f->real) : SQLITE_OK;
  f->key.~KeyRef();
  return rc;
}

int Read(sqlite3_file* file, void* buf, int amt, sqlite3_int64 off) {
  CipherFile* f = Of(file);
  auto* out = static_cast<std::uint8_t*>(buf);
  if (!f->key) return f->real->pMethods->xRead(f->real, buf, amt, off);
  switch (f->kind) {
    case FileKind::Main:
      return ReadMain(f, out, amt, off);
    case FileKind::Wal:
      return ReadWal(f, out, amt, off);
    case FileKind::Journal: {
      const int rc = f->real->pMethods->xRead(f->real, buf, amt, off);
      // A record that does not open (cut short by a crash) reads as zeros,
      // which fails the record's checksum and ends the rollback there.
      if (rc == SQLITE_OK && IsJournalPage(f, amt, off) &&
          !OpenPage(*f->key, FileKind::Journal, static_cast<std::uint64_t>(off),
                    {out, static_cast<std::size_t>(amt)})) {
        std::memset(out, 0, static_cast<std::size_t>(amt));
      }
      return rc;
    }
  }
  return SQLITE_IOERR_READ;
}

int Write(sqlite3_file* file, const void* buf, int amt, sqlite3_int64 off) {
  CipherFile* f = Of(file);
  if (!f->key) return f->real->pMethods->xWrite(f->real, buf, amt, off);
  const auto* in = static_cast<const std::uint8_t*>(buf);
  const auto size = static_cast<std::size_t>(amt);
  const auto uoff = static_cast<std::uint64_t>(off);
  std::vector<std::uint8_t>& scratch = Scratch(size);
  std::memcpy(scratch.data(), in, size);
  std::uint8_t* image = scratch.data();
  try {
    switch (f->kind) {
      case FileKind::Main:
        if (uoff == 0) {
          // Page 1 sets the page size and must leave the cipher its bytes.
          if (size < kPlainHeader || in[20] != kReserve) return SQLITE_IOERR_WRITE;
          f->pageSize = static_cast<std::uint32_t>(size);
        }
        if (f->pageSize != size || uoff % size != 0) return SQLITE_IOERR_WRITE;
        SealPage(*f->key, FileKind::Main, uoff, {image, size});
        break;
      case FileKind::Wal: {
        if (uoff == 0 && size >= 12) {
          f->pageSize = (std::uint32_t{in[8]} << 24) | (std::uint32_t{in[9]} << 16) |
                        (std::uint32_t{in[10]} << 8) | in[11];
        }
        const std::uint32_t p = f->PageSize();
        if (!WalPages(uoff, size, p, [&](std::uint64_t page, std::uint64_t at) {
              SealPage(*f->key, FileKind::Wal, page, {image + at, p});
              return true;
            })) {
          return SQLITE_IOERR_WRITE;
        }
        break;
      }
      case FileKind::Journal:
        if (IsJournalPage(f, amt, off)) SealPage(*f->key, FileKind::Journal, uoff, {image, size});
        break;
    }
  } catch (const std::exception&) {
    return SQLITE_IOERR_WRITE;
  }
  return f->real->pMethods->xWrite(f->real, image, amt, off);
}

int Truncate(sqlite3_file* f, sqlite3_int64 size) {
  return Of(f)->real->pMethods->xTruncate(Of(f)->real, size);
}
int Sync(sqlite3_file* f, int flags) {
  return Of(f)->real->pMethods->xSync(Of(f)->real, flags);
}
int FileSize(sqlite3_file* f, sqlite3_int64* size) {
  return Of(f)->real->pMethods->xFileSize(Of(f)->real, size);
}
int Lock(sqlite3_file* f, int level) {
  return Of(f)->real->pMethods->xLock(Of(f)->real, level);
}
int Unlock(sqlite3_file* f, int level) {
  return Of(f)->real->pMethods->xUnlock(Of(f)->real, level);
}
int CheckReservedLock(sqlite3_file* f, int* out) {
  return Of(f)->real->pMethods->xCheckReservedLock(Of(f)->real, out);
}
int FileControl(sqlite3_file* f, int op, void* arg) {
  return Of(f)->real->pMethods->xFileControl(Of(f)->real, op, arg);
}
int SectorSize(sqlite3_file* f) {
  return Of(f)->real->pMethods->xSectorSize(Of(f)->real);
}
int DeviceCharacteristics(sqlite3_file* f) {
  return Of(f)->real->pMethods->xDeviceCharacteristics(Of(f)->real);
}
int ShmMap(sqlite3_file* f, int region, int size, int extend, void volatile** out) {
  return Of(f)->real->pMethods->xShmMap(Of(f)->real, region, size, extend, out);
}
int ShmLock(sqlite3_file* f, int offset, int n, int flags) {
  return Of(f)->real->pMethods->xShmLock(Of(f)->real, offset, n, flags);
}
void ShmBarrier(sqlite3_file* f) {
  Of(f)->real->pMethods->xShmBarrier(Of(f)->real);
}
int ShmUnmap(sqlite3_file* f, int deleteFlag) {
  return Of(f)->real->pMethods->xShmUnmap(Of(f)->real, deleteFlag);
}

// Version 2: shared memory for the log, no memory-mapped reads (those
// would bypass the opening of pages).
const sqlite3_io_methods kMethods = {2,
                                     Close,
                                     Read,
                                     Write,
                                     Truncate,
                                     Sync,
                                     FileSize,
                                     Lock,
                                     Unlock,
                                     CheckReservedLock,
                                     FileControl,
                                     SectorSize,
                                     DeviceCharacteristics,
                                     ShmMap,
                                     ShmLock,
                                     ShmBarrier,
                                     ShmUnmap,
                                     nullptr,
                                     nullptr};

// --- the layer ---

int Open(sqlite3_vfs* vfs, const char* name, sqlite3_file* file, int flags, int* outFlags) {
  auto* f = new (file) CipherFile{};
  f->base.pMethods = nullptr;
  f->real = reinterpret_cast<sqlite3_file*>(f + 1);
  std::memset(f->real, 0, static_cast<std::size_t>(Below(vfs)->szOsFile));
  const int rc = Below(vfs)->xOpen(Below(vfs), name, f->real, flags, outFlags);
  if (rc != SQLITE_OK) {
    if (f->real->pMethods) f->real->pMethods->xClose(f->real);
    f->key.~KeyRef();
    return rc;
  }
  if (flags & SQLITE_OPEN_MAIN_DB) {
    f->kind = FileKind::Main;
    f->key = t_keyForOpen;
    if (f->key) LearnMainPageSize(f);
  } else if (name && (flags & (SQLITE_OPEN_WAL | SQLITE_OPEN_MAIN_JOURNAL))) {
    sqlite3_file* main = sqlite3_database_file_object(name);
    if (main && main->pMethods == &kMethods) {
      f->main = Of(main);
      f->key = f->main->key;
      f->kind = (flags & SQLITE_OPEN_WAL) ? FileKind::Wal : FileKind::Journal;
    }
  }
  f->base.pMethods = &kMethods;
  return SQLITE_OK;
}

}  // namespace

const char* VfsName() {
  static constexpr const char* kName = "zmdb-cipher";
  static sqlite3_vfs vfs{};
  static std::once_flag once;
  std::call_once(once, [] {
    StackVfs(vfs, sqlite3_vfs_find(nullptr), kName, static_cast<int>(sizeof(CipherFile)));
    vfs.xOpen = Open;
    sqlite3_vfs_register(&vfs, 0);
  });
  return kName;
}

KeyForOpen::KeyForOpen(KeyRef key) {
  t_keyForOpen = std::move(key);
}

KeyForOpen::~KeyForOpen() {
  t_keyForOpen.reset();
}

}  // namespace zmdb::dal::sqlite::cipher
