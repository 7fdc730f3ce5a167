#pragma once

#include <string>
#include <vector>

namespace mirvo_cli {

// Each command takes the arguments after its name and returns the exit
// status; errors are thrown as CliError.
int CommandDemo(const std::vector<std::string>& args);
int CommandRun(const std::vector<std::string>& args);
int CommandStats(const std::vector<std::string>& args);
int CommandTable(const std::vector<std::string>& args);
int CommandView(const std::vector<std::string>& args);

}  // namespace mirvo_cli
