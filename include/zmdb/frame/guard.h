// The guard kinds: what a public method does when something it calls fails.
#pragma once

namespace zmdb::frame {

enum class GuardKind {
  Recording,   // record the last error (debug box if set), return the failure value
  Silent,      // return the failure value, record and show nothing
  Unguarded,   // let the error reach the caller as a failed call
  ResumeNext,  // skip each failing statement; nothing recorded or shown
  OwnHandler,  // the method's own handler decides
};

}  // namespace zmdb::frame
