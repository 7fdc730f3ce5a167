#pragma once

#include <string>
#include <vector>

namespace mirvo_cli {

// `mirvo run` inside another program (the Python package's corpus tasks):
// `args` are the options after the command's name, exactly as the program
// takes them, and the outputs are the program's, byte for byte. Installs no
// signal handler and never exits: a failure is thrown as CliError with the
// line the program would print (without its "mirvo: " prefix).
// Sets the program's heap policy for frames (KeepFrameMemory), process-wide.
void RunInProcess(const std::vector<std::string>& args);

}  // namespace mirvo_cli
