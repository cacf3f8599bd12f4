// The component object's life cycle, its connection-resolution rules and the
// shared ValueOrDefault helper.
#include "zmdb/frame/component.h"

#include "zmdb/dal/stores/builtin.h"
#include "zmdb/frame/state.h"
#include "zmdb/runtime/convert.h"
#include "zmdb/runtime/host.h"

namespace zmdb {

// Every connection and database the object opens reaches its store through
// the registry, so the library's own stores are in place before any is used.
clsZMDBFunc::clsZMDBFunc() {
  dal::RegisterBuiltInStores();
}

clsZMDBFunc::~clsZMDBFunc() {
  // Each step runs even when an earlier one failed. The default database,
  // workspace and engine are library-wide: ending any one object drops them
  // for every object on this thread, which is the intended behaviour.
  auto step = [](auto&& f) {
    try {
      f();
    } catch (...) {
    }
  };
  frame::LibraryState& lib = frame::Library();
  step([&] {
    rt::ObjectRef form = frame::ExportDialog();
    rt::CurrentHost().Unload(*form);
    lib.exportDialog.reset();
  });
  step([&] { workingRecordset_.reset(); });
  step([&] { defaultConnection_.reset(); });
  step([&] { lib.defaultDatabase.reset(); });
  step([&] { lib.workspace.reset(); });
  step([&] { currentTableDef_.reset(); });
  step([&] { lib.engine.reset(); });
}

ResolvedStore clsZMDBFunc::ResolveTwoStore(const rt::Variant& Conn, bool acceptCatalog) const {
  if (Conn.IsMissing()) {
    const rt::ObjectRef& db = frame::Library().defaultDatabase;
    if (!db) return {StorePath::None, {}};
    return {StorePath::Dao, rt::Variant(db)};
  }
  const std::string type = rt::TypeName(Conn);
  if (type == "Connection") return {StorePath::Ado, Conn};
  if (type == "Database") return {StorePath::Dao, Conn};
  if (acceptCatalog && type == "Catalog") return {StorePath::Catalog, Conn};
  return {StorePath::Other, {}};
}

std::optional<rt::Variant> clsZMDBFunc::ResolveAdoOnly(const rt::Variant& Conn) const {
  if (Conn.IsMissing()) {
    if (!defaultConnection_) return std::nullopt;
    return rt::Variant(defaultConnection_);
  }
  // Taken as a Connection without asking its type first: anything else fails
  // the conversion, as assigning it to a Connection variable would.
  if (!Conn.IsObject() || !Conn.AsObject()) rt::Raise(rt::err::kTypeMismatch);
  if (Conn.AsObject()->TypeName() != "Connection") rt::Raise(rt::err::kTypeMismatch);
  return Conn;
}

std::string clsZMDBFunc::ValueOrDefault(const rt::Variant& Value, const rt::Variant& Default) {
  // Errors here show the debug box and resume at the next statement, so a
  // failing test of the value falls into the branch it guarded.
  auto resume = [&](auto&& statement) {
    try {
      statement();
    } catch (...) {
      ShowDebugError(
          rt::Variant(rt::ObjectRef(std::make_shared<ErrObject>(rt::ErrorFromCurrentException()))));
    }
  };
  std::string result;
  const bool defaultMissing = rt::TypeName(Default) == "Error";
  auto defaultText = [&] {
    if (!defaultMissing) resume([&] { result = rt::CStr(Default); });
  };
  const std::string type = rt::TypeName(Value);
  if (type == "Field" || type == "String") {
    std::string text;
    resume([&] {
      if (type == "String") {
        text = Value.AsString();
      } else {
        const rt::Variant v = rt::GetProp(Value, "Value");
        if (!v.IsNull()) text = rt::CStr(v);
      }
    });
    if (text.empty()) {
      defaultText();
    } else {
      result = text;
    }
    return result;
  }
  bool useDefault = true;  // stays true when the test itself fails (resume next)
  resume([&] {
    // Value = 0 compares numerically; Value = "" compares as text (a string
    // literal against a Variant); a Null takes part in neither.
    const auto isZero = rt::Compare(Value, rt::Variant(std::int32_t{0}));
    const bool isEmptyText = !Value.IsNull() && rt::CStr(Value).empty();
    useDefault = (isZero && *isZero == 0) || isEmptyText || Value.IsNull();
  });
  if (useDefault) {
    defaultText();
  } else {
    resume([&] { result = rt::CStr(Value); });
  }
  return result;
}

}  // namespace zmdb
