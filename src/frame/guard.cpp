#include "zmdb/frame/guard.h"

#include "zmdb/frame/component.h"
#include "zmdb/frame/methods.h"

namespace zmdb {

// The guard kind of a method, from the method table. A name missing from the
// table is a programming error in the library itself.
frame::GuardKind clsZMDBFunc::KindOf(std::string_view method) {
  const frame::MethodSpec* spec = frame::FindMethod(method);
  if (!spec) throw std::logic_error("method not in the method table: " + std::string(method));
  return spec->guard;
}

void clsZMDBFunc::HandleFailure(frame::GuardKind kind, const rt::ErrorInfo& e) {
  if (kind == frame::GuardKind::Recording) RecordError(e);
  // Silent, resume-next and own handlers record nothing here; an own handler
  // does its reporting in the method's onError.
}

}  // namespace zmdb
