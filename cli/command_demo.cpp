#include "commands.h"
namespace mirvo_cli {
int CommandDemo(const std::vector<std::string>&) { return 0; }
}  // namespace mirvo_cli
