#include "fault_vfs.h"

#include <array>
#include <cstring>
#include <mutex>
#include <set>

#include "dal/sqlite/vfs_layer_p.h"

namespace zmdb::testing {

namespace {

struct Arm {
  bool armed = false;
  int left = 0;  // operations still to pass before the first failure
  int code = SQLITE_OK;
  bool once = false;
  int failures = 0;
};

struct State {
  std::array<Arm, 3> arms;
  bool full = false;
  std::int64_t budget = 0;
  bool readOnly = false;
};

State g_state;
std::mutex g_mutex;  // the store may be used from a test's helper threads

struct FaultFile {
  sqlite3_file base;
  sqlite3_file* real;
  std::int64_t limit;  // the size writes may not pass while the disk is full
};

std::set<FaultFile*> g_files;

using dal::sqlite::Below;

sqlite3_file* Real(sqlite3_file* f) {
  return reinterpret_cast<FaultFile*>(f)->real;
}

// Whether this operation of kind `op` fails, and with which code.
int Trip(FaultVfs::Op op) {
  const std::lock_guard lock(g_mutex);
  Arm& arm = g_state.arms[static_cast<std::size_t>(op)];
  if (!arm.armed) return SQLITE_OK;
  if (arm.left > 0) {
    --arm.left;
    return SQLITE_OK;
  }
  if (arm.once && arm.failures > 0) return SQLITE_OK;
  ++arm.failures;
  return arm.code;
}

std::int64_t SizeOf(sqlite3_file* real) {
  sqlite3_int64 size = 0;
  if (real->pMethods && real->pMethods->xFileSize(real, &size) != SQLITE_OK) size = 0;
  return size;
}

int Close(sqlite3_file* f) {
  auto* ff = reinterpret_cast<FaultFile*>(f);
  {
    const std::lock_guard lock(g_mutex);
    g_files.erase(ff);
  }
  return ff->real->pMethods ? ff->real->pMethods->xClose(ff->real) : SQLITE_OK;
}
int Read(sqlite3_file* f, void* buf, int n, sqlite3_int64 offset) {
  if (const int rc = Trip(FaultVfs::Op::Read)) return rc;
  return Real(f)->pMethods->xRead(Real(f), buf, n, offset);
}
int Write(sqlite3_file* f, const void* buf, int n, sqlite3_int64 offset) {
  if (const int rc = Trip(FaultVfs::Op::Write)) return rc;
  {
    const std::lock_guard lock(g_mutex);
    auto* ff = reinterpret_cast<FaultFile*>(f);
    // A file system made read-only refuses every write (EROFS).
    if (g_state.readOnly) return SQLITE_IOERR_WRITE;
    if (g_state.full && offset + n > ff->limit) {
      ++g_state.arms[static_cast<std::size_t>(FaultVfs::Op::Write)].failures;
      return SQLITE_FULL;
    }
  }
  return Real(f)->pMethods->xWrite(Real(f), buf, n, offset);
}
int Truncate(sqlite3_file* f, sqlite3_int64 size) {
  {
    const std::lock_guard lock(g_mutex);
    if (g_state.readOnly) return SQLITE_IOERR_TRUNCATE;
  }
  return Real(f)->pMethods->xTruncate(Real(f), size);
}
int Sync(sqlite3_file* f, int flags) {
  if (const int rc = Trip(FaultVfs::Op::Sync)) return rc;
  return Real(f)->pMethods->xSync(Real(f), flags);
}
int FileSize(sqlite3_file* f, sqlite3_int64* size) {
  return Real(f)->pMethods->xFileSize(Real(f), size);
}
int Lock(sqlite3_file* f, int level) {
  return Real(f)->pMethods->xLock(Real(f), level);
}
int Unlock(sqlite3_file* f, int level) {
  return Real(f)->pMethods->xUnlock(Real(f), level);
}
int CheckReservedLock(sqlite3_file* f, int* out) {
  return Real(f)->pMethods->xCheckReservedLock(Real(f), out);
}
int FileControl(sqlite3_file* f, int op, void* arg) {
  return Real(f)->pMethods->xFileControl(Real(f), op, arg);
}
int SectorSize(sqlite3_file* f) {
  return Real(f)->pMethods->xSectorSize(Real(f));
}
int DeviceCharacteristics(sqlite3_file* f) {
  return Real(f)->pMethods->xDeviceCharacteristics(Real(f));
}
int ShmMap(sqlite3_file* f, int page, int size, int extend, void volatile** out) {
  return Real(f)->pMethods->xShmMap(Real(f), page, size, extend, out);
}
int ShmLock(sqlite3_file* f, int offset, int n, int flags) {
  return Real(f)->pMethods->xShmLock(Real(f), offset, n, flags);
}
void ShmBarrier(sqlite3_file* f) {
  Real(f)->pMethods->xShmBarrier(Real(f));
}
int ShmUnmap(sqlite3_file* f, int deleteFlag) {
  return Real(f)->pMethods->xShmUnmap(Real(f), deleteFlag);
}
int Fetch(sqlite3_file* f, sqlite3_int64 offset, int n, void** out) {
  // Pages are read through Read, so that read faults reach them.
  (void)f, (void)offset, (void)n;
  *out = nullptr;
  return SQLITE_OK;
}
int Unfetch(sqlite3_file* f, sqlite3_int64 offset, void* p) {
  (void)f, (void)offset, (void)p;
  return SQLITE_OK;
}

const sqlite3_io_methods kMethods = {3,
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
                                     Fetch,
                                     Unfetch};

int Open(sqlite3_vfs* vfs, const char* name, sqlite3_file* f, int flags, int* outFlags) {
  auto* ff = reinterpret_cast<FaultFile*>(f);
  ff->real = reinterpret_cast<sqlite3_file*>(ff + 1);
  std::memset(ff->real, 0, static_cast<std::size_t>(Below(vfs)->szOsFile));
  const int rc = Below(vfs)->xOpen(Below(vfs), name, ff->real, flags, outFlags);
  if (rc != SQLITE_OK) {
    f->pMethods = nullptr;
    return rc;
  }
  f->pMethods = &kMethods;
  const std::lock_guard lock(g_mutex);
  ff->limit = SizeOf(ff->real) + g_state.budget;
  g_files.insert(ff);
  return SQLITE_OK;
}
int Access(sqlite3_vfs* v, const char* name, int flags, int* out) {
  const int rc = Below(v)->xAccess(Below(v), name, flags, out);
  const std::lock_guard lock(g_mutex);
  if (rc == SQLITE_OK && flags == SQLITE_ACCESS_READWRITE && g_state.readOnly) *out = 0;
  return rc;
}
}  // namespace

void FaultVfs::Install() {
  static sqlite3_vfs vfs{};
  static std::once_flag once;
  std::call_once(once, [] {
    sqlite3_initialize();
    dal::sqlite::StackVfs(vfs, sqlite3_vfs_find(nullptr), "zmdb-faults",
                          static_cast<int>(sizeof(FaultFile)));
    vfs.xOpen = Open;
    vfs.xAccess = Access;
    sqlite3_vfs_register(&vfs, 1);
  });
}

void FaultVfs::Fail(Op op, int nth, int code, bool once) {
  const std::lock_guard lock(g_mutex);
  g_state.arms[static_cast<std::size_t>(op)] = {true, nth > 1 ? nth - 1 : 0, code, once, 0};
}

void FaultVfs::DiskFull(std::int64_t budget) {
  const std::lock_guard lock(g_mutex);
  g_state.full = true;
  g_state.budget = budget;
  for (FaultFile* f : g_files) f->limit = SizeOf(f->real) + budget;
}

void FaultVfs::ReadOnly() {
  const std::lock_guard lock(g_mutex);
  g_state.readOnly = true;
}

void FaultVfs::Clear() {
  const std::lock_guard lock(g_mutex);
  g_state = State{};
}

}  // namespace zmdb::testing
