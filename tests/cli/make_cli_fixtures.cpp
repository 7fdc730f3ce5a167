// Writes the end-to-end test inputs into the directory given.
#include <cstdio>
#include <exception>

#include "cli_fixtures.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_cli_fixtures DIR\n");
    return 2;
  }
  try {
    mirvo_cli_test::WriteFixtures(argv[1]);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "make_cli_fixtures: %s\n", e.what());
    return 1;
  }
  return 0;
}
