#include "commands/in_process.h"

#include "base/cli_error.h"
#include "base/frame_memory.h"
#include "commands/commands.h"

namespace mirvo_cli {

void RunInProcess(const std::vector<std::string>& args) {
  KeepFrameMemory();  // as the program's main does
  const int status = kCommandRun.run(args);
  if (status != kExitOk) throw DataError("mirvo run: ended with status " + std::to_string(status));
}

}  // namespace mirvo_cli
