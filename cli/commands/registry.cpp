#include <cstdio>

#include "base/cli_error.h"
#include "commands/args.h"
#include "commands/commands.h"
#include "workbench/files/file_error.h"

namespace mirvo_cli {

const std::vector<const Command*>& Commands() {
  static const std::vector<const Command*> commands = {&kCommandDemo,      &kCommandRun,   &kCommandReport,
                                                       &kCommandStats,     &kCommandTable, &kCommandView,
                                                       &kCommandCalibrate, &kCommandLearn};
  return commands;
}

const Command* FindCommand(const std::string& name) {
  for (const Command* c : Commands()) {
    if (name == c->name) return c;
  }
  return nullptr;
}

std::string UsageText() {
  std::string text =
      "usage: mirvo <command> [options]\n"
      "\n"
      "Estimates residual colour shading from camera statistics and writes corrected\n"
      "lens shading tables, driving the library as the camera stack does.\n"
      "\n"
      "commands:\n";
  for (const Command* c : Commands()) {
    std::string name = c->name;
    name.resize(11, ' ');
    text += "  " + name + c->summary + "\n";
  }
  text +=
      "\n"
      "options:\n"
      "  -h, --help     show this help (mirvo <command> --help for a command)\n"
      "  --version      show the version\n"
      "  -v, --verbose  also show the library's debug log lines\n"
      "\n"
      "exit status: 0 success, 1 bad input data or unwritable output, 2 usage error\n";
  return text;
}

int RunCommand(const Command& command, const std::vector<std::string>& args) {
  if (WantsHelp(args)) {
    std::fputs(command.help, stdout);
    return kExitOk;
  }
  // The workstation library's faults name their file and problem already;
  // the program only decides the exit status.
  try {
    return command.run(args);
  } catch (const mirvo::workbench::FileError& e) {
    if (e.unnamed()) throw UsageError("mirvo: " + e.reason());
    throw DataError(e.what());
  } catch (const mirvo::workbench::WorkbenchError& e) {
    throw DataError(e.what());
  }
}

}  // namespace mirvo_cli
