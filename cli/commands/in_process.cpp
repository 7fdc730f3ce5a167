#include "commands/in_process.h"

#include "base/cli_error.h"
#include "base/frame_memory.h"
#include "commands/commands.h"

namespace mirvo_cli {

void RunInProcess(const std::vector<std::string>& args) {
  KeepFrameMemory();  // as the program's main does
  // Through the dispatcher, which turns the workstation library's faults
  // into the program's errors.
  const int status = RunCommand(kCommandRun, args);
  if (status != kExitOk) throw DataError("mirvo run: ended with status " + std::to_string(status));
}

}  // namespace mirvo_cli
