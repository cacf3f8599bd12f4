#include "zmdb/frame/state.h"

#include "zmdb/dal/dao/dao.h"
#include "zmdb/dal/stores/builtin.h"
#include "zmdb/runtime/error.h"

namespace zmdb::frame {

namespace {
// A form with no behaviour of its own: what the export-type dialog is until
// the export subsystem installs the real one. Unloading it is harmless.
class PlainForm : public rt::Object {
 public:
  std::string TypeName() const override { return "frmDataType"; }
};

ObjectFactory& EngineFactory() {
  static ObjectFactory factory;
  return factory;
}

ObjectFactory& DialogFactory() {
  static ObjectFactory factory = [] { return std::make_shared<PlainForm>(); };
  return factory;
}
}  // namespace

LibraryState& Library() {
  thread_local LibraryState state;
  return state;
}

void SetEngineFactory(ObjectFactory factory) {
  EngineFactory() = std::move(factory);
}

rt::ObjectRef Engine() {
  LibraryState& lib = Library();
  if (!lib.engine) {
    dal::RegisterBuiltInStores();
    // Without an installed factory the engine is the file store's own.
    lib.engine = EngineFactory() ? EngineFactory()() : std::make_shared<dal::dao::DBEngine>();
  }
  return lib.engine;
}

void SetExportDialogFactory(ObjectFactory factory) {
  DialogFactory() = std::move(factory);
}

rt::ObjectRef ExportDialog() {
  LibraryState& lib = Library();
  if (!lib.exportDialog) lib.exportDialog = DialogFactory()();
  return lib.exportDialog;
}

}  // namespace zmdb::frame
