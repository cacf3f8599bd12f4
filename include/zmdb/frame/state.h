// Library-wide state: one copy per host thread, shared by every component
// object on that thread (the data engine, the default workspace, the default
// database, the export-type dialog and the export selection).
#pragma once

#include <functional>
#include <string>

#include "zmdb/runtime/object.h"

namespace zmdb::frame {

struct LibraryState {
  rt::ObjectRef engine;           // created on first use by Engine()
  rt::ObjectRef workspace;        // the default workspace
  rt::ObjectRef defaultDatabase;  // the default database
  rt::ObjectRef exportDialog;     // the export-type dialog, created on first use
  rt::ObjectRef exportWorkspace;  // the workspace exports open their databases in
  int selectedType = -1;          // the export type picked in the dialog
  std::string selectedTypeText;   // its list text
};

// This thread's library-wide state.
LibraryState& Library();

using ObjectFactory = std::function<rt::ObjectRef()>;

// Engine() creates this thread's data engine on first use: the DAO-style
// engine of the data-access layer, or what an installed factory makes (tests
// install stand-ins).
void SetEngineFactory(ObjectFactory factory);
rt::ObjectRef Engine();

// The export subsystem installs the factory of the export-type dialog; until
// then a plain headless form stands in. ExportDialog() creates it on first use.
void SetExportDialogFactory(ObjectFactory factory);
rt::ObjectRef ExportDialog();

}  // namespace zmdb::frame
