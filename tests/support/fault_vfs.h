// Faults injected under the file store: a file layer registered as the
// process's default, wrapping the real one, so that every file the store
// opens (through the cipher layer too, which stacks on the default) passes
// through it. Faults are armed for the calling test and cleared by Clear().
#pragma once

#include <sqlite3.h>

#include <cstdint>

namespace zmdb::testing {

class FaultVfs {
 public:
  enum class Op { Read, Write, Sync };

  // Register the layer as the default (once per process; idempotent). Call
  // before the first file is opened, and before the cipher layer is first
  // used, so that it sits under everything.
  static void Install();

  // The `nth` operation of kind `op` from now on (1 = the next one) fails
  // with `code`, and every later one of that kind too unless `once`.
  static void Fail(Op op, int nth, int code, bool once = false);
  // Writes that would grow a file beyond its size at this moment (or, for a
  // file opened later, at its opening) by more than `budget` bytes fail with
  // SQLITE_FULL.
  static void DiskFull(std::int64_t budget);
  // The file system turns read-only under the open files: every write and
  // truncation fails, and the system answers that no file may be written.
  static void ReadOnly();
  // Back to a healthy disk.
  static void Clear();
};

// Clears every fault when it goes out of scope.
struct ScopedFaults {
  ScopedFaults() = default;
  ~ScopedFaults() { FaultVfs::Clear(); }
  ScopedFaults(const ScopedFaults&) = delete;
  ScopedFaults& operator=(const ScopedFaults&) = delete;
};

}  // namespace zmdb::testing
