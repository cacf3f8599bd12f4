// The command groups of zmdb. Each group adds its subcommands to the
// application and the action each runs when chosen.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace zmdb::cli {

struct Commands {
  std::vector<std::pair<CLI::App*, std::function<int()>>> actions;
  void Add(CLI::App* command, std::function<int()> action) {
    actions.emplace_back(command, std::move(action));
  }
};

// session, call: the automation interface (JSON).
void AddAutomationCommands(CLI::App& app, Commands& commands);
// tables, schema: the catalogue of a database.
void AddCatalogueCommands(CLI::App& app, Commands& commands);
// query: rows of a statement as text, CSV or JSON.
void AddQueryCommand(CLI::App& app, Commands& commands);
// backup, restore: a table or query to and from a text backup file.
void AddBackupCommands(CLI::App& app, Commands& commands);
// export: a query's rows into another database or file format.
void AddExportCommand(CLI::App& app, Commands& commands);

// Runs a command for people: success is exit code 0; any failure (a
// CommandError, an error of the library) is one line "zmdb NAME: why" on
// stderr and exit code 1.
int RunGuarded(const std::string& name, const std::function<void()>& body);

}  // namespace zmdb::cli
