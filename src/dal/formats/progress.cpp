// The observer of rows written by a SELECT ... INTO on this thread.
#include <utility>

#include "zmdb/dal/formats/format.h"

namespace zmdb::dal::formats {

namespace {
thread_local RowObserver tObserver;
}  // namespace

ScopedRowObserver::ScopedRowObserver(RowObserver observer) : previous_(std::move(tObserver)) {
  tObserver = std::move(observer);
}

ScopedRowObserver::~ScopedRowObserver() {
  tObserver = std::move(previous_);
}

void NotifyRowsWritten(std::int64_t rowsWritten) {
  if (tObserver) tObserver(rowsWritten);
}

}  // namespace zmdb::dal::formats
