#pragma once

#include <string>
#include <vector>

namespace mirvo_cli {

// One command of the program. `run` takes the arguments after the command's
// name and returns the exit status; errors are thrown as CliError. Help is
// handled by the dispatcher, so a command never sees --help.
struct Command {
  const char* name;
  const char* summary;  // one line in the program's usage text
  const char* help;     // the text of mirvo <name> --help
  int (*run)(const std::vector<std::string>& args);
};

extern const Command kCommandCalibrate;
extern const Command kCommandDemo;
extern const Command kCommandDng;
extern const Command kCommandLearn;
extern const Command kCommandPreview;
extern const Command kCommandRun;
extern const Command kCommandReport;
extern const Command kCommandStats;
extern const Command kCommandTable;
extern const Command kCommandView;

// Every command, in the order the usage text lists them.
const std::vector<const Command*>& Commands();
// The command called `name`, or nullptr.
const Command* FindCommand(const std::string& name);
// The program's usage text, with one line per command.
std::string UsageText();

// Runs a command: its help when the arguments ask for it, the command otherwise.
int RunCommand(const Command& command, const std::vector<std::string>& args);

}  // namespace mirvo_cli
