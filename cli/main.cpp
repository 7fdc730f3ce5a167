#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "base/cli_error.h"
#include "base/frame_memory.h"
#include "base/log_sink.h"
#include "base/standard_output.h"
#include "commands/commands.h"
#include "files/pending_files.h"

namespace mirvo_cli {
namespace {

// A standard descriptor closed by the caller would be the number the next
// opened file gets, and messages meant for stderr would land in an output.
// /dev/null takes each closed one's place; false if it cannot. Standard
// output gets it read-only, so that what the program prints fails (and the
// call with it) instead of vanishing.
bool OpenStandardDescriptors() {
  for (int fd = 0; fd <= 2; ++fd) {
    if (fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
    const int got = open("/dev/null", fd == 2 ? O_WRONLY : O_RDONLY);
    if (got != fd) return false;  // the lower ones are open, so it must be this one
    if (fd == 1) MarkStandardOutputClosed();
  }
  return true;
}

int Dispatch(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  bool verbose = false;
  // Global options stand before the command.
  while (!args.empty() && !args[0].empty() && args[0][0] == '-') {
    const std::string opt = args[0];
    if (opt == "--help" || opt == "-h") {
      PrintText(UsageText());
      return kExitOk;
    }
    if (opt == "--version") {
      Print("mirvo %s\n", MIRVO_VERSION);
      return kExitOk;
    }
    if (opt == "--verbose" || opt == "-v") {
      verbose = true;
      args.erase(args.begin());
      continue;
    }
    throw UsageError("mirvo: unknown option " + opt + " (see mirvo --help)");
  }
  if (args.empty()) {
    std::fputs(UsageText().c_str(), stderr);
    return kExitUsageError;
  }
  InstallLogSink(verbose);
  const std::string command = args[0];
  args.erase(args.begin());
  if (command == "help") {
    PrintText(UsageText());
    return kExitOk;
  }
  if (const Command* c = FindCommand(command)) return RunCommand(*c, args);
  throw UsageError("mirvo: unknown command '" + command + "' (see mirvo --help)");
}

}  // namespace
}  // namespace mirvo_cli

int main(int argc, char** argv) {
  using namespace mirvo_cli;
  if (!OpenStandardDescriptors()) return kExitDataError;  // nowhere to say why
  // A broken pipe on standard output is a failed write like any other: one
  // line and status 1, not a silent death by the signal.
  std::signal(SIGPIPE, SIG_IGN);
  RemoveTemporariesOnSignals();
  KeepFrameMemory();
  // Every failure ends as one line on stderr and a defined exit status.
  try {
    const int status = Dispatch(argc, argv);
    FinishStandardOutput();
    return status;
  } catch (const CliError& e) {
    std::fflush(stdout);
    // Usage errors already name the command ("mirvo run: ..."); data errors start with the file.
    const bool named = std::strncmp(e.what(), "mirvo ", 6) == 0 || std::strncmp(e.what(), "mirvo: ", 7) == 0;
    std::fprintf(stderr, "%s%s\n", named ? "" : "mirvo: ", Printable(e.what()).c_str());
    return e.exit_status();
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "mirvo: out of memory\n");
  } catch (const std::exception& e) {
    std::fprintf(stderr, "mirvo: internal error: %s\n", Printable(e.what()).c_str());
  } catch (...) {
    std::fprintf(stderr, "mirvo: internal error\n");
  }
  return kExitDataError;
}
