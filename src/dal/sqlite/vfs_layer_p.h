// A file layer stacked on another: every call of the layer below that a
// layer does not change is handed on to it unchanged.
#pragma once

#include <sqlite3.h>

namespace zmdb::dal::sqlite {

// Fill `vfs` as a layer named `name` over `below`, whose files are
// `fileBytes` of the layer's own followed by those of the layer below. Every
// call is handed on to `below` (kept in pAppData) except xOpen, which the
// caller sets; a caller may replace any other call afterwards.
void StackVfs(sqlite3_vfs& vfs, sqlite3_vfs* below, const char* name, int fileBytes);

// The layer below a layer filled by StackVfs.
inline sqlite3_vfs* Below(sqlite3_vfs* vfs) {
  return static_cast<sqlite3_vfs*>(vfs->pAppData);
}

}  // namespace zmdb::dal::sqlite
