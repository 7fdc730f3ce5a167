#include "commands/dng_input.h"

#include <string>

#include "commands/args.h"

namespace mirvo_cli {

void RejectGeometryWithDng(const Args& args) {
  for (const char* name : {"--width", "--height", "--bits", "--pattern", "--mipi", "--black-level"})
    if (args.Has(name))
      args.Fail(std::string(name) + " cannot go with --dng: the DNG file states its own geometry and levels");
}

}  // namespace mirvo_cli
