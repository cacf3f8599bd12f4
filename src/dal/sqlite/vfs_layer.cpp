#include "vfs_layer_p.h"

namespace zmdb::dal::sqlite {

namespace {

int Delete(sqlite3_vfs* v, const char* name, int sync) {
  return Below(v)->xDelete(Below(v), name, sync);
}
int Access(sqlite3_vfs* v, const char* name, int flags, int* out) {
  return Below(v)->xAccess(Below(v), name, flags, out);
}
int FullPathname(sqlite3_vfs* v, const char* name, int n, char* out) {
  return Below(v)->xFullPathname(Below(v), name, n, out);
}
void* DlOpen(sqlite3_vfs* v, const char* name) {
  return Below(v)->xDlOpen(Below(v), name);
}
void DlError(sqlite3_vfs* v, int n, char* out) {
  Below(v)->xDlError(Below(v), n, out);
}
void (*DlSym(sqlite3_vfs* v, void* lib, const char* sym))(void) {
  return Below(v)->xDlSym(Below(v), lib, sym);
}
void DlClose(sqlite3_vfs* v, void* lib) {
  Below(v)->xDlClose(Below(v), lib);
}
int Randomness(sqlite3_vfs* v, int n, char* out) {
  return Below(v)->xRandomness(Below(v), n, out);
}
int Sleep(sqlite3_vfs* v, int micro) {
  return Below(v)->xSleep(Below(v), micro);
}
int CurrentTime(sqlite3_vfs* v, double* out) {
  return Below(v)->xCurrentTime(Below(v), out);
}
int GetLastError(sqlite3_vfs* v, int n, char* out) {
  return Below(v)->xGetLastError ? Below(v)->xGetLastError(Below(v), n, out) : 0;
}
int CurrentTimeInt64(sqlite3_vfs* v, sqlite3_int64* out) {
  return Below(v)->xCurrentTimeInt64(Below(v), out);
}

}  // namespace

void StackVfs(sqlite3_vfs& vfs, sqlite3_vfs* below, const char* name, int fileBytes) {
  vfs.iVersion = 2;
  vfs.szOsFile = fileBytes + below->szOsFile;
  vfs.mxPathname = below->mxPathname;
  vfs.zName = name;
  vfs.pAppData = below;
  vfs.xDelete = Delete;
  vfs.xAccess = Access;
  vfs.xFullPathname = FullPathname;
  vfs.xDlOpen = DlOpen;
  vfs.xDlError = DlError;
  vfs.xDlSym = DlSym;
  vfs.xDlClose = DlClose;
  vfs.xRandomness = Randomness;
  vfs.xSleep = Sleep;
  vfs.xCurrentTime = CurrentTime;
  vfs.xGetLastError = GetLastError;
  vfs.xCurrentTimeInt64 = CurrentTimeInt64;
}

}  // namespace zmdb::dal::sqlite
