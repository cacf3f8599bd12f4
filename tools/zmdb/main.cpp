// zmdb: the component object on the command line.
//   zmdb session | call ...            the automation interface (JSON)
//   zmdb tables | schema | query ...   a database's catalogue and rows, for people
//   zmdb backup | restore ...          a table or query to and from a text backup file
//   zmdb export ...                    a query's rows into another database or file format
#include <iostream>

#include "commands.h"
#include "database.h"

int main(int argc, char** argv) {
  using namespace zmdb::cli;
  CLI::App app{"zmdb: drive the ZMDBFunc component object from scripts and the shell"};
  app.require_subcommand(1);
  Commands commands;
  AddAutomationCommands(app, commands);
  AddCatalogueCommands(app, commands);
  AddQueryCommand(app, commands);
  AddBackupCommands(app, commands);
  AddExportCommand(app, commands);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::cerr << "zmdb: " << ErrorLine(e) << " (see zmdb --help)\n";
    return 1;
  }
  for (const auto& [command, action] : commands.actions) {
    if (command->parsed()) return action();
  }
  return 1;
}
